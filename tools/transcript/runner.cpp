#include <algorithm>

#include "transcript/backend.h"
#include "transcript/text.h"

namespace transcript {

namespace {

using Lines = std::vector<std::string>;

template <class Item>
Lines toLines(const std::vector<Item>& items)
{
    Lines lines;
    for (const Item& item : items) {
        lines.push_back(toLine(item));
    }
    return lines;
}

Lines runLines(const std::vector<std::string>& commands)
{
    Lines lines;
    for (const std::string& command : commands) {
        lines.push_back("run " + escaped(command));
    }
    return lines;
}

}  // namespace

std::vector<std::string> toLines(const Observed& seen)
{
    Lines lines = replyLines(seen.replies);
    for (const Lines& part : {toLines(seen.events), toLines(seen.calls), runLines(seen.runs)}) {
        lines.insert(lines.end(), part.begin(), part.end());
    }
    return lines;
}

namespace {

// Both lists in one, what stands in both first found by the longest common subsequence.
Lines difference(const Lines& expected, const Lines& seen)
{
    std::vector<std::vector<std::size_t>> common(expected.size() + 1, std::vector<std::size_t>(seen.size() + 1));
    for (std::size_t i = expected.size(); i-- > 0;) {
        for (std::size_t j = seen.size(); j-- > 0;) {
            common[i][j] =
                expected[i] == seen[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
        }
    }
    Lines lines;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < expected.size() || j < seen.size()) {
        if (i < expected.size() && j < seen.size() && expected[i] == seen[j]) {
            lines.push_back("    " + expected[i]);
            ++i;
            ++j;
        } else if (j == seen.size() || (i < expected.size() && common[i + 1][j] >= common[i][j + 1])) {
            lines.push_back("  - " + expected[i++]);
        } else {
            lines.push_back("  + " + seen[j++]);
        }
    }
    return lines;
}

class StepCheck {
public:
    StepCheck(const Step& step, const Observed& seen, Backend& backend) : step_(step), seen_(seen), backend_(backend) {}

    // The step's part of the transcript, marked where something differs.
    Lines run(Compare what)
    {
        compare(replyLines(step_.replies), replyLines(seen_.replies));
        if (what == Compare::replies) {
            return lines_;
        }
        compare(toLines(step_.events), toLines(seen_.events));
        compare(toLines(step_.calls), toLines(seen_.calls));
        compare(runLines(step_.runs), runLines(seen_.runs));
        for (const StoreCheck& check : step_.stores) {
            const Text value = backend_.read(check.store, check.path);
            const char* store = check.store == Store::settings ? "store settings " : "store status ";
            const std::string begin = store + check.path + " ";
            compare({begin + escaped(check.json.value_or("absent"))},
                    {begin + escaped(value ? normalised(*value) : "absent")});
        }
        for (const std::string& text : step_.prints) {
            if (seen_.printed.find(text) == std::string::npos) {
                missing("print " + escaped(text), "printed: " + escaped(seen_.printed));
            }
        }
        for (const LogCheck& check : step_.logs) {
            if (std::none_of(seen_.logs.begin(), seen_.logs.end(), [&](const LogCheck& log) {
                    return log.level == check.level && log.text.find(check.text) != std::string::npos;
                })) {
                std::string logged = "logged:";
                for (const LogCheck& log : seen_.logs) {
                    logged += " " + std::to_string(log.level) + " \"" + escaped(log.text) + '"';
                }
                missing("log " + std::to_string(check.level) + " " + escaped(check.text), logged);
            }
        }
        return lines_;
    }

    [[nodiscard]] bool good() const { return good_; }

private:
    void compare(const Lines& expected, const Lines& seen)
    {
        good_ = good_ && expected == seen;
        for (std::string& line : difference(expected, seen)) {
            lines_.push_back(std::move(line));
        }
    }

    void missing(const std::string& expected, const std::string& instead)
    {
        good_ = false;
        lines_.push_back("  - " + expected);
        lines_.push_back("  + " + instead);
    }

    const Step& step_;
    const Observed& seen_;
    Backend& backend_;
    Lines lines_;
    bool good_ = true;
};

std::string report(const Scenario& scenario, const Lines& lines, const std::string& cause)
{
    std::string text = scenario.file + ":" + std::to_string(scenario.line) + ": " + scenario.title + '\n';
    for (const std::string& line : lines) {
        text += line + '\n';
    }
    return text + cause;
}

}  // namespace

std::string run(const Scenario& scenario, Backend& backend, Compare what)
{
    Lines lines;
    try {
        bool started = false;
        for (const auto& item : scenario.items) {
            if (const auto* given = std::get_if<Given>(&item)) {
                backend.give(*given);
                continue;
            }
            const Step& step = std::get<Step>(item);
            if (!started) {
                backend.start();
                started = true;
            }
            lines.push_back("    " + step.source);
            const Observed seen = backend.perform(step);
            StepCheck check(step, seen, backend);
            for (std::string& line : check.run(what)) {
                lines.push_back(std::move(line));
            }
            if (!check.good()) {
                return report(scenario, lines,
                              "line " + std::to_string(step.line) + ": - is what was expected, + what was seen\n");
            }
        }
    } catch (const std::exception& error) {
        return report(scenario, lines, std::string(error.what()) + '\n');
    }
    return {};
}

}  // namespace transcript
