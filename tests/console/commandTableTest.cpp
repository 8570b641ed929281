// The command table against its transcription, and what each row says: reporter and help text.
#include <array>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "console/commandEntry.h"
#include "console/dispatcher.h"
#include "console/reporters.h"
#include "support/consoleRecord.h"
#include "support/recordingPlatform.h"
#include "support/standIns.h"

namespace {

struct ExpectedRow {
    std::string name;
    std::size_t matchLength;
    std::uint32_t flags;
    std::string jsonTemplate;
    std::string reporter;
    std::string help;
};

std::vector<ExpectedRow> readExpectedRows()
{
    std::ifstream file(COMMAND_TABLE_EXPECTED);
    std::vector<ExpectedRow> rows;
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with('#')) {
            continue;
        }
        std::istringstream fields(line);
        std::array<std::string, 6> field;
        for (std::string& text : field) {
            std::getline(fields, text, '\t');
        }
        rows.push_back({field[0], std::stoul(field[1]), static_cast<std::uint32_t>(std::stoul(field[2], nullptr, 16)),
                        field[3], field[4], field[5]});
    }
    return rows;
}

const std::vector<ExpectedRow>& expectedRows()
{
    static const std::vector<ExpectedRow> rows = readExpectedRows();
    return rows;
}

class CommandTable : public testing::Test {
protected:
    CommandTable() { recording::reset(); }

    std::string replyTo(const std::string& line)
    {
        UserCommandHandler(0, line.c_str(), static_cast<int>(line.size()));
        return console_.takeReplies();
    }

    std::string reported(const CommandEntry& entry, const ReportValue& value)
    {
        entry.reporter(entry.name, value);
        return console_.takeReplies();
    }

    ConsoleRecord console_;
};

TEST_F(CommandTable, holdsEveryRowInOrderByteForByte)
{
    ASSERT_EQ(kCommandTable.size(), expectedRows().size())
        << "a row's line in commandTable.expected is missing or too many";
    for (std::size_t i = 0; i < kCommandTable.size(); ++i) {
        const CommandEntry& entry = kCommandTable[i];
        const ExpectedRow& expected = expectedRows()[i];
        SCOPED_TRACE("row " + std::to_string(i) + " " + expected.name);
        EXPECT_EQ(entry.name, expected.name);
        EXPECT_EQ(entry.matchLength(), expected.matchLength);
        EXPECT_EQ(entry.flags, expected.flags);
        EXPECT_EQ(entry.jsonTemplate, expected.jsonTemplate);
        EXPECT_EQ(entry.help, expected.help);
        EXPECT_NE(entry.handler, nullptr);
    }
}

TEST_F(CommandTable, marksAllRowsButEleven)
{
    std::set<std::string> unmarked;
    for (const CommandEntry& entry : kCommandTable) {
        if ((entry.flags & kMarked) == 0) {
            unmarked.insert(entry.name);
        }
        EXPECT_EQ(entry.flags & ~(kMatchLengthMask | kMarked | kHiddenFromHelp), 0U) << entry.name;
    }
    EXPECT_EQ(unmarked, (std::set<std::string>{"help", "techelp", "Version", "System", "Type", "IPCFG", "CliMode",
                                               "CliUser", "CliPass", "CliIPAddr", "CliPort"}));
}

TEST_F(CommandTable, isReachedByEachNameButTheRepeatedOnes)
{
    std::set<std::string> seen;
    std::set<std::size_t> repeated;
    for (std::size_t i = 0; i < kCommandTable.size(); ++i) {
        bool stopped = false;
        const CommandEntry* found = findCommand(kCommandTable[i].name, stopped);
        ASSERT_NE(found, nullptr) << kCommandTable[i].name;
        EXPECT_FALSE(stopped);
        const bool isNew = seen.insert(kCommandTable[i].name).second;
        EXPECT_EQ(found == &kCommandTable[i], isNew) << kCommandTable[i].name;
        EXPECT_STREQ(found->name, kCommandTable[i].name);
        if (!isNew) {
            repeated.insert(i);
        }
    }
    EXPECT_EQ(repeated.size(), 3U);
}

// help X

TEST_F(CommandTable, answersHelpForEachNameWithItsTextUnlessItIsHidden)
{
    for (const ExpectedRow& expected : expectedRows()) {
        const bool hidden = (expected.flags & kHiddenFromHelp) != 0;
        const std::string wanted = hidden ? "" : expected.help + "\r\n";
        EXPECT_EQ(replyTo("help " + expected.name), wanted) << expected.name;
        EXPECT_EQ(replyTo("techelp " + expected.name), wanted) << expected.name;
    }
}

TEST_F(CommandTable, answersHelpForMoreThanANameWithNothing)
{
    for (const ExpectedRow& expected : expectedRows()) {
        EXPECT_EQ(replyTo("help " + expected.name + "."), "") << expected.name;
    }
}

// Reporters: what each kind prints for a name and a value.

struct Sample {
    ReportValue value;
    std::string printed;  // %n stands for the row's name
};

using Samples = std::map<std::string, std::vector<Sample>>;

const Samples& samples()
{
    using V = ReportValue;
    const std::vector<Sample> uart{{V::integer(9600), "%n[9600,8,0,1]\r\n"}};
    static const Samples all{
        {"number", {{V::integer(0), "%n 0\r\n"}, {V::integer(-12), "%n -12\r\n"}, {V::boolean(true), "%n 1\r\n"}}},
        {"text", {{V::text("abc d"), "%n abc d\r\n"}, {V::text(""), "%n \r\n"}, {V::text("%s%n"), "%n %s%n\r\n"}}},
        {"silent", {{V::integer(1), ""}, {V::text("on"), ""}, {V::boolean(true), ""}}},
        {"onOff", {{V::boolean(true), "%n on\r\n"}, {V::boolean(false), "%n off\r\n"}, {V::integer(2), ""}}},
        {"offOn", {{V::boolean(true), "%n off\r\n"}, {V::boolean(false), "%n on\r\n"}, {V::integer(2), ""}}},
        {"hdcp",
         {{V::text("compliant"), "%n on\r\n"}, {V::text("non-compliant"), "%n off\r\n"}, {V::text("Compliant"), ""}}},
        {"lock", {{V::boolean(true), "Lock\r\n"}, {V::boolean(false), "Unlock\r\n"}, {V::integer(2), ""}}},
        {"timeout", {{V::integer(0), "%n never\r\n"}, {V::integer(3600), "%n 3600\r\n"}}},
        {"dhcp", {{V::text("DHCP"), "%n on\r\n"}, {V::text("static"), "%n off\r\n"}, {V::text("other"), ""}}},
        {"login", {{V::boolean(true), "%n on\r\n"}, {V::boolean(false), "%n off\r\n"}, {V::integer(2), ""}}},
        {"usbRoute", {{V::text("local"), "%n local\r\n"}, {V::text("remote"), "%n remote\r\n"}, {V::text("x"), ""}}},
        {"resolutionIndex", {{V::text("1920x1080p60 (Default)"), "%n 10\r\n"}, {V::text("no such"), ""}}},
        {"timingIndex",
         {{V::text("Native"), "%n 0\r\n"}, {V::text("1440x900"), "%n 11\r\n"}, {V::text("no such"), ""}}},
        {"uart1", uart},
        {"uart2", uart},
        {"uart3", uart},
        {"label", {{V::text("Hello [x]"), "%n[Hello [x]]\r\n"}, {V::text(""), "%n[]\r\n"}}},
        {"trigger", {{V::text("0D0A"), "%n\r\n"}, {V::text(""), ""}}},
        {"route", {{V::integer(3), "x3AVx1\r\nInputStatus 10\r\n"}}},
        {"edidMemory", {{V::integer(1), "%n mem1\r\n"}, {V::integer(8), "%n mem8\r\n"}}},
        {"ipAddress", {{V::text("10.0.0.2"), "%n 10.0.0.2"}}},
        {"ipNetmask", {{V::text("255.0.0.0"), " 255.0.0.0"}}},
        {"ipGateway", {{V::text("10.0.0.1"), " 10.0.0.1\r\n"}}},
        {"nameOnly", {{V::integer(0), "%n\r\n"}}},
    };
    return all;
}

std::string withName(const std::string& printed, const std::string& name)
{
    // Only a leading one: a value may hold the same characters.
    return printed.starts_with("%n") ? name + printed.substr(2) : printed;
}

TEST_F(CommandTable, reportsAValueAsItsReporterKindSays)
{
    TemporaryDirectory directory;
    StandIns standIns(directory.path());
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", (standIns.programDirectory() + ":" + path).c_str(), 1);
    for (const char* interface : {"interface1", "interface2", "interface3"}) {
        const std::string leaves = R"({"baudrate":9600,"databit":8,"parity":0,"stopbit":1})";
        recording::put(recording::Store::settings, std::string("system.uart.") + interface, leaves);
    }
    recording::put(recording::Store::status, "video.vidIn.hdbtIn.hdbtIn1.connected", "true");
    recording::put(recording::Store::status, "video.vidIn.hdmiIn.hdmiIn1.connected", "false");
    for (std::size_t i = 0; i < expectedRows().size(); ++i) {
        const ExpectedRow& expected = expectedRows()[i];
        const auto kind = samples().find(expected.reporter);
        ASSERT_NE(kind, samples().end()) << expected.reporter;
        for (const Sample& sample : kind->second) {
            EXPECT_EQ(reported(kCommandTable[i], sample.value), withName(sample.printed, expected.name))
                << expected.reporter << " of row " << i;
        }
    }
    ::setenv("PATH", path.c_str(), 1);
}

TEST_F(CommandTable, hasTelnetRestartedBeforeAPortIsReported)
{
    for (const CommandEntry& entry : kCommandTable) {
        recording::take();
        const bool isPort = std::string_view(entry.name) == "IPPort";
        if (!isPort && entry.reporter != report::number) {
            continue;
        }
        reported(entry, ReportValue::integer(24));
        const recording::Record record = recording::take();
        ASSERT_EQ(record.calls.size(), isPort ? 1U : 0U) << entry.name;
        if (isPort) {
            EXPECT_EQ(record.calls[0].service, "networkd");
            EXPECT_EQ(record.calls[0].method, "TelnetRestart");
            EXPECT_EQ(record.calls[0].params, "24");
        }
    }
}

TEST_F(CommandTable, endsTelnetSessionsWheneverTheLoginModeIsReported)
{
    TemporaryDirectory directory;
    StandIns standIns(directory.path());
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", (standIns.programDirectory() + ":" + path).c_str(), 1);
    for (const CommandEntry& entry : kCommandTable) {
        entry.reporter(entry.name, ReportValue::integer(2));
        const bool isLogin = std::string_view(entry.name) == "IPLogin";
        EXPECT_EQ(standIns.takeCommands().size(), isLogin ? 1U : 0U) << entry.name;
    }
    ::setenv("PATH", path.c_str(), 1);
}

}  // namespace
