// What a transcript cannot show: what the change walk is called with, and that the documents to try at a bench, which
// hold the dumps of dumps/newChips.dump, bring the reports that are expected of those.
#include "diagnostics/linkMonitoring.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/support/ownership.h"
#include "support/capturedReplies.h"
#include "support/recordingPlatform.h"

namespace {

struct Walk {
    std::string document;
    std::string prefix;
    bool top;
};
std::vector<Walk> g_walks;

void noteWalk(json_token* document, const char* prefix, bool top)
{
    const PlatformText text(json_token_to_string(document));
    g_walks.push_back({text.get(), prefix, top});
}

std::string contentOf(const std::filesystem::path& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

class LinkMonitoring : public testing::Test {
protected:
    LinkMonitoring()
    {
        recording::reset();
        g_walks.clear();
    }

    static void change(CapturedReplies& replies, const char* payload)
    {
        const OutputFile messages;
        const CapturedOutput captured(messages);
        linkMonitoringChanged(replies.record(), payload, noteWalk);
    }
};

TEST_F(LinkMonitoring, TheRecordTakenForATextIsThePrefixOfTheWalk)
{
    for (const SourceType role : {kExternalConsole, kInternalHdbtLink}) {
        CapturedReplies replies(role);
        g_walks.clear();
        change(replies, "{\"video\":{\"a\":1}} and more");
        ASSERT_EQ(g_walks.size(), 1U);
        EXPECT_EQ(g_walks[0].document, "{\"video\":{\"a\":1}}");
        EXPECT_EQ(g_walks[0].prefix, std::string(1, static_cast<char>(role)));
        EXPECT_TRUE(g_walks[0].top);
    }
}

TEST_F(LinkMonitoring, NothingIsWalkedWhenThereIsNoDocument)
{
    CapturedReplies replies;
    recording::put(recording::Store::status, "video.vidIn.hdbtIn.hdbtIn1.connected", "true");
    for (const char* payload : {static_cast<const char*>(nullptr), "", "{", "null"}) {
        change(replies, payload);
    }
    EXPECT_TRUE(g_walks.empty());
    EXPECT_EQ(replies.take(), "");
}

TEST_F(LinkMonitoring, EveryDocumentToTryBringsItsReport)
{
    std::size_t documents = 0;
    for (const auto& entry : std::filesystem::directory_iterator(BENCH_DUMP_DIRECTORY)) {
        if (entry.path().extension() != ".json") {
            continue;
        }
        ++documents;
        SCOPED_TRACE(entry.path().filename());
        CapturedReplies replies;
        change(replies, contentOf(entry.path()).c_str());
        std::string report;
        std::istringstream lines(replies.take());
        for (std::string line; std::getline(lines, line);) {
            ASSERT_TRUE(line.ends_with('\r'));
            line.pop_back();
            report += "< " + line + '\n';
        }
        for (const recording::Update& update : recording::take().updates) {
            report += "status " + update.document + '\n';
        }
        const std::string mode = entry.path().stem().string();
        const auto expected = std::filesystem::path(DUMP_DIRECTORY) / ("newChips." + mode + ".expected");
        EXPECT_EQ(report, contentOf(expected));
        EXPECT_NE(report, "");
    }
    EXPECT_EQ(documents, 12U);  // one a mode
}

}  // namespace
