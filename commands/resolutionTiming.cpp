#include "commands/resolutionTiming.h"

#include <iterator>
#include <optional>
#include <span>
#include <string_view>

#include "commands/settingChange.h"
#include "commands/usages.h"
#include "console/argumentText.h"

namespace {

using FormatList = std::span<const char* const>;

constexpr const char* kResolutions[] = {
    "1024x768p60",
    "1280x720p50",
    "1280x720p60",
    "1280x768p60",
    "1280x800p60",
    "1360x768p60",
    "1600x1200p60",
    "1920x1080p24",
    "1920x1080p25",
    "1920x1080p50",
    "1920x1080p60 (Default)",  // Kept: the remark is part of the stored text.
    "1920x1200p60",
    "2048x1080p60",
    "3840x2160p24",
    "3840x2160p25",
    "3840x2160p30",
    "3840x2160p50",
    "3840x2160p60",
    "4096x2160p24",
    "4096x2160p25",
    "4096x2160p30",
    "4096x2160p50",
    "4096x2160p60",
};
static_assert(std::size(kResolutions) == 23);

constexpr const char* kTimings[] = {
    "Native",   "1280x800", "1920x1080", "1024x768",  "1280x720",  "1920x1200",
    "1366x768", "800x600",  "1600x900",  "2560x1440", "3840x2160", "1440x900",
};
static_assert(std::size(kTimings) == 12);

constexpr char kTimingList[] = "00    Native\r\n"
                               "01    1280x800\r\n"
                               "02    1920x1080\r\n"
                               "03    1024x768\r\n"
                               "04    1280x720\r\n"
                               "05    1920x1200\r\n"
                               "06    1366x768\r\n"
                               "07    800x600\r\n"
                               "08    1600x900\r\n"
                               "09    2560x1440\r\n"
                               "10    3840x2160\r\n"
                               "11    1440x900\r\n";

constexpr std::size_t kMostIndexDigits = 2;

std::optional<int> indexOf(FormatList formats, std::string_view text)
{
    for (std::size_t i = 0; i < formats.size(); ++i) {
        if (text == formats[i]) {
            return static_cast<int>(i);
        }
    }
    return std::nullopt;
}

// An index as it would be printed: no leading zero.
std::optional<int> parseIndex(FormatList formats, std::string_view digits)
{
    if (digits.size() > kMostIndexDigits || (digits.size() > 1 && digits.starts_with('0'))) {
        return std::nullopt;
    }
    const auto index = decimalNumber(digits);
    return index && *index < static_cast<int>(formats.size()) ? index : std::nullopt;
}

int showIndex(FormatList formats, const CommandCall& call)
{
    const PlatformText stored = readText(call.jsonTemplate);
    if (stored == nullptr) {
        return 1;
    }
    const auto index = indexOf(formats, stored.get());
    return index ? uartReply("%s %d\r\n", call.name, *index) : refuse(call.line);
}

int setIndex(FormatList formats, const CommandCall& call)
{
    const auto index = parseIndex(formats, call.args);
    if (!index) {
        return refuse(call.line);
    }
    const char* format = formats[static_cast<std::size_t>(*index)];
    if (changeText(call, announce::video, PublishRule::unchangedEventOnly, format) && call.wantsReply()) {
        uartReply("%s %d\r\n", call.name, *index);
    }
    return 1;
}

int listResolutions()
{
    uartReply("index \t format\r\n");
    for (std::size_t i = 0; i < std::size(kResolutions); ++i) {
        uartReply("\t%02d\t%s\r\n", static_cast<int>(i), kResolutions[i]);
    }
    return 1;
}

void reportIndex(FormatList formats, const char* name, const ReportValue& value)
{
    if (const auto index = indexOf(formats, value.text())) {
        uartReply("%s %d\r\n", name, *index);
    }
}

}  // namespace

int outputResolutionCommand(const char* line, const char* name, const char* args, int fromEvent,
                            const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    const std::string_view word(args);
    if (word.empty()) {
        return refuse(line);
    }
    if (word == "sta") {
        return showIndex(kResolutions, call);
    }
    if (!scalerModeOn()) {
        return refuse(line);
    }
    if (word == "list") {
        return listResolutions();
    }
    return setIndex(kResolutions, call);
}

int preferredTimingCommand(const char* line, const char* name, const char* args, int fromEvent,
                           const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    if (std::string_view(args) == "sta") {
        return showIndex(kTimings, call);
    }
    return setIndex(kTimings, call);
}

int preferredTimingListCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                               const char* /*jsonTemplate*/)
{
    if (*args != '\0') {
        return refuse(line);
    }
    return uartReply("%s", kTimingList);
}

void report::resolutionIndex(const char* name, const ReportValue& value)
{
    reportIndex(kResolutions, name, value);
}

void report::timingIndex(const char* name, const ReportValue& value)
{
    reportIndex(kTimings, name, value);
}

namespace {

UsageForm indexForm(FormatList formats, const CommandEntry& row, bool needsScaler)
{
    UsageField index = usage::integer("index", 0, static_cast<int>(formats.size()) - 1, "no leading zero");
    index.meanings.assign(formats.begin(), formats.end());
    return {.argument = "{index}",
            .effect = "Chooses the format.",
            .fields = {index},
            .replies = {{usage::answer(row, "{index}")}},
            .stores = {{usage::quoted("{meaning}")}},
            .unchangedTopic = unchangedTopic(announce::video, PublishRule::unchangedEventOnly),
            .needsScaler = needsScaler};
}

UsageForm indexStatus(FormatList formats, const CommandEntry& row)
{
    UsageForm status =
        usage::status(row, usage::integer("index", 0, static_cast<int>(formats.size()) - 1, "of the stored format"));
    status.replies.push_back({usage::kRefusal, "the stored text is no format of the list"});
    return status;
}

Usage resolutionUsage(const CommandEntry& row)
{
    std::string list = "index \t format\r\n";
    for (std::size_t i = 0; i < std::size(kResolutions); ++i) {
        list += (i < 10 ? "\t0" : "\t") + std::to_string(i) + '\t' + kResolutions[i] + "\r\n";
    }
    return {.forms = {indexForm(kResolutions, row, true),
                      indexStatus(kResolutions, row),
                      {.argument = "list", .effect = "Answers the list.", .replies = {{list}}, .needsScaler = true}}};
}

Usage timingUsage(const CommandEntry& row)
{
    return {.forms = {indexForm(kTimings, row, false), indexStatus(kTimings, row)}};
}

Usage timingListUsage(const CommandEntry& /*row*/)
{
    return {.forms = {usage::bare("Answers the list of both inputs.", {{kTimingList}})}};
}

}  // namespace

void describeResolutions(UsageList& list)
{
    list.push_back({outputResolutionCommand, resolutionUsage});
    list.push_back({preferredTimingCommand, timingUsage});
    list.push_back({preferredTimingListCommand, timingListUsage});
}
