// Reports against files: dumps/NAME.dump holds the TX and the RX dump, a line each; beside it NAME.MODE.expected holds
// the report, "< LINE" for a line on the console and "status DOCUMENT" for a status document, in their order. With
// REWRITE_EXPECTED set in the environment the expected files that exist are written anew: to add one, make it empty.
#include "diagnostics/linkReport.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "diagnostics/linkDump.h"
#include "support/capturedReplies.h"
#include "support/recordingPlatform.h"

namespace {

std::filesystem::path dumpDirectory()
{
    return DUMP_DIRECTORY;
}

struct ReportCase {
    std::string dump;
    std::string mode;
    std::filesystem::path expected;
};

[[maybe_unused]] void PrintTo(const ReportCase& report, std::ostream* out)
{
    *out << report.expected.filename().string();
}

std::vector<ReportCase> allCases()
{
    std::vector<ReportCase> cases;
    for (const auto& entry : std::filesystem::directory_iterator(dumpDirectory())) {
        if (entry.path().extension() == ".expected") {
            const std::filesystem::path name = entry.path().stem();  // NAME.MODE
            cases.push_back({name.stem().string(), name.extension().string().substr(1), entry.path()});
        }
    }
    std::sort(cases.begin(), cases.end(),
              [](const ReportCase& left, const ReportCase& right) { return left.expected < right.expected; });
    return cases;
}

std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// Replies as "< LINE"; one without CR LF would show as what it is.
std::string replyLines(std::string replies)
{
    std::string lines;
    for (std::size_t end = replies.find("\r\n"); end != std::string::npos; end = replies.find("\r\n")) {
        lines += "< " + replies.substr(0, end) + '\n';
        replies.erase(0, end + 2);
    }
    return replies.empty() ? lines : lines + "not ended: " + replies + '\n';
}

std::string statusLines()
{
    std::string lines;
    for (const recording::Update& update : recording::take().updates) {
        lines += (update.store == recording::Store::status ? "status " : "settings ") + update.document + '\n';
    }
    return lines;
}

std::string reportOf(const std::string& mode, const std::string& tx, const std::string& rx)
{
    recording::reset();
    CapturedReplies replies;
    const OutputFile messages;
    const CapturedOutput captured(messages);
    reportLink(mode, tx, rx);
    return replyLines(replies.take()) + statusLines();
}

class LinkReport : public testing::TestWithParam<ReportCase> {};

TEST_P(LinkReport, IsAsExpected)
{
    const ReportCase& example = GetParam();
    std::istringstream dumps(contentOf(dumpDirectory() / (example.dump + ".dump")));
    std::string tx;
    std::string rx;
    ASSERT_TRUE(std::getline(dumps, tx) && std::getline(dumps, rx));
    const std::string report = reportOf(example.mode, tx, rx);
    if (std::getenv("REWRITE_EXPECTED") != nullptr) {
        std::ofstream(example.expected, std::ios::binary) << report;
    }
    EXPECT_EQ(report, contentOf(example.expected));
}

INSTANTIATE_TEST_SUITE_P(Dumps, LinkReport, testing::ValuesIn(allCases()),
                         [](const auto& example) { return example.param.dump + "_" + example.param.mode; });

TEST(LinkReportModes, EveryModeHasAReportToCompareWith)
{
    for (const std::string mode : {"all", "allhex", "mse", "maxerr", "hpd", "5vstat", "devtype", "tmdsclk", "ber",
                                   "retr", "cablelen", "update"}) {
        EXPECT_TRUE(std::filesystem::exists(dumpDirectory() / ("newChips." + mode + ".expected"))) << mode;
    }
}

TEST(LinkReportModes, OtherWordsDoNothing)
{
    const std::string tx = "TX:" + std::string(70, '9');
    const std::string rx = "RX:" + std::string(70, '1');
    for (const std::string mode : {"", "ALL", "All", "all ", " all", "al", "allhexx", "mse,ber", "UPDATE"}) {
        EXPECT_EQ(reportOf(mode, tx, rx), "") << mode;
    }
}

TEST(LinkReportModes, DumpsOfAnyLengthAreReported)
{
    const std::string tx = "TX:92" + std::string(68, '1');
    const std::string rx = "RX:13" + std::string(68, '1');
    for (std::size_t length = 0; length <= kLinkDumpLength; ++length) {
        EXPECT_NE(reportOf("all", tx.substr(0, length), rx.substr(0, length)), "");
        EXPECT_NE(reportOf("update", tx.substr(0, length), rx.substr(0, length)), "");
        const std::string raw = reportOf("allhex", tx.substr(0, length), rx.substr(0, length));
        EXPECT_EQ(raw.empty(), length < 5) << length;  // before the chip type is known
    }
}

TEST(LinkReportModes, AStatusDocumentThatFailsIsReportedAndTheNextOneWritten)
{
    recording::reset();
    CapturedReplies replies;
    const OutputFile messages;
    {
        const CapturedOutput captured(messages);
        recording::fail(recording::Fault::statusUpdate, 2);
        reportLink("update", "TX:92" + std::string(68, '1'), "RX:13" + std::string(68, '1'));
    }
    const auto updates = recording::take().updates;
    ASSERT_EQ(updates.size(), 6U);
    EXPECT_FALSE(updates[0].stored);
    EXPECT_FALSE(updates[1].stored);
    EXPECT_TRUE(updates[2].stored);
    EXPECT_TRUE(updates[5].stored);
    const std::string printed = messages.from(0);
    const std::size_t first = printed.find("user_config_update: ");
    ASSERT_NE(first, std::string::npos);
    const std::size_t second = printed.find("user_config_update: ", first + 1);
    ASSERT_NE(second, std::string::npos);
    EXPECT_EQ(printed.find("user_config_update: ", second + 1), std::string::npos);
    EXPECT_EQ(replies.take(), "");
}

}  // namespace
