#include "shellSession.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>
#include <vector>

namespace {

struct Step {
    std::string command;
    std::string output;
    std::string error;
    int status = 0;
};

bool takePrefix(std::string& line, const std::string& prefix)
{
    if (!line.starts_with(prefix)) {
        return false;
    }
    line.erase(0, prefix.size());
    return true;
}

std::vector<Step> parse(const std::string& transcript)
{
    std::vector<Step> steps;
    std::istringstream lines(transcript);
    for (std::string line; std::getline(lines, line);) {
        line.erase(0, line.find_first_not_of(' '));
        if (line.empty()) {
            continue;
        }
        if (takePrefix(line, "$ ")) {
            steps.push_back({.command = line, .output = {}, .error = {}, .status = 0});
        } else if (takePrefix(line, "status ")) {
            steps.back().status = std::stoi(line);
        } else if (takePrefix(line, "error ")) {
            steps.back().error = line;
        } else {
            steps.back().output += line + "\n";
        }
    }
    return steps;
}

}  // namespace

void expectTranscript(const std::string& transcript, const std::string& programs, const Environment& environment)
{
    Environment all = environment;
    all["PATH"] = programs + ":/usr/bin:/bin";
    for (const Step& step : parse(transcript)) {
        const Result result = run({"/bin/sh", "-c", step.command}, all);
        EXPECT_EQ(result.output, step.output) << "$ " << step.command << "\n" << result.error;
        EXPECT_EQ(result.status, step.status) << "$ " << step.command << "\n" << result.error;
        EXPECT_NE(result.error.find(step.error), std::string::npos) << "$ " << step.command << "\n" << result.error;
        EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), step.error.empty() ? 0 : 1)
            << "$ " << step.command << "\n"
            << result.error;
    }
}
