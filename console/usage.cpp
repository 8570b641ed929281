#include "console/usage.h"

#include <algorithm>
#include <utility>

namespace usage {

UsageField integer(std::string name, int lowest, int highest, std::string remark)
{
    return {.name = std::move(name),
            .kind = UsageField::Kind::integer,
            .lowest = lowest,
            .highest = highest,
            .remark = std::move(remark)};
}

UsageField text(std::string name, int lowest, int highest, std::string remark)
{
    return {.name = std::move(name), .lowest = lowest, .highest = highest, .remark = std::move(remark)};
}

UsageField oneOf(std::string name, std::vector<std::string> values)
{
    const auto isNumber = [](const std::string& value) {
        return value.find_first_not_of("0123456789") == std::string::npos;
    };
    const bool integer = std::all_of(values.begin(), values.end(), isNumber);
    return {.name = std::move(name),
            .kind = integer ? UsageField::Kind::integer : UsageField::Kind::text,
            .values = std::move(values)};
}

UsageField address(std::string name)
{
    return {.name = std::move(name), .kind = UsageField::Kind::address};
}

std::string answer(const CommandEntry& row, std::string_view rest)
{
    return std::string(row.name).append(" ").append(rest).append("\r\n");
}

std::string answer(const CommandEntry& row)
{
    return std::string(row.name).append("\r\n");
}

std::string place(std::string_view name)
{
    return std::string("{").append(name).append("}");
}

std::string quoted(std::string_view word)
{
    return std::string("\"").append(word).append("\"");
}

UsageForm status(const CommandEntry& row, UsageField field)
{
    const std::string reply = answer(row, place(field.name));
    return {.argument = "sta",
            .effect = "Answers the setting.",
            .fields = {std::move(field)},
            .replies = {{reply}, {"", "it is not in the store"}}};
}

UsageForm bare(std::string effect, std::vector<UsageReply> replies)
{
    return {.effect = std::move(effect), .replies = std::move(replies)};
}

}  // namespace usage
