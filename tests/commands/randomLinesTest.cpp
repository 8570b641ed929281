// 100,000 lines of valid commands, near misses and noise over the whole table: the process lives, every reply is one of
// the reply forms, nothing is stored on a refusal, and what is stored or published as JSON is well-formed. Seeded, so
// that a failure happens again; the failing line is shown.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "console/commandEntry.h"
#include "console/dispatcher.h"
#include "support/capturedReplies.h"
#include "support/quietError.h"
#include "support/recordingPlatform.h"
#include "support/replyForms.h"
#include "support/wholeJson.h"
#include "transcript/text.h"

// Pauses are not under test, and no program is to be run; see the link options.
extern "C" {
int __wrap_usleep(useconds_t /*pauseUs*/)
{
    return 0;
}

int __wrap_system(const char* /*command*/)
{
    return 0;
}
}

namespace {

constexpr int kLines = 100'000;
constexpr int kLinesBetweenStoreChecks = 500;
constexpr std::size_t kLongestLine = 9'999;  // what the intake keeps

// splitmix64, so that the lines are the same with every library.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::size_t below(std::size_t bound)
    {
        std::uint64_t mixed = state_ += 0x9E3779B97F4A7C15U;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
        return static_cast<std::size_t>((mixed ^ (mixed >> 31)) % bound);
    }

    bool chance(std::size_t percent) { return below(100) < percent; }

    template <class List>
    const auto& pick(const List& list)
    {
        return list[below(std::size(list))];
    }

private:
    std::uint64_t state_;
};

constexpr const char* kWords[] = {
    "on",
    "off",
    "sta",
    "list",
    "dev",
    "+",
    "-",
    "tog",
    "mute",
    "vol+",
    "vol-",
    "default",
    "save1",
    "int1",
    "int4",
    "follow",
    "fill",
    "letter box",
    "follow usb",
    "follow video",
    "manual",
    "local",
    "remote",
    "pulse",
    "closed",
    "open",
    "close",
    "ascii",
    "hex",
    "login",
    "non-login",
    "ip",
    "rs-232",
    "cec",
    "mem1",
    "never",
    "MCU",
    "VSRX",
    "mcu",
    "vtx",
    "rvrx",
    "[9600,8,0,1]",
    "[115200,7,2,2]",
    "[9600,8,3,1]",
    "[9600, 8,,0,1]",
    "[]",
    "[Welcome]",
    "[a]b]",
    "10.0.0.5",
    "10.0.0",
    "192.168.1.50 255.255.255.0 192.168.1.1",
    "1.2.3.4 5.6.7",
    "guest secret",
    "admin admin",
    "guest",
    "50 57 52 20 4F 4E",
    "0D0A",
    "PWR ON, PWR ON",
    "02:00:5E:10:00:01",
    "02005E100001",
    "RX24A00123",
};

constexpr const char* kFormats[] = {"%s",
                                    "%n",
                                    "%d",
                                    "%100000d",
                                    "%*d",
                                    "%",
                                    "%%",
                                    "%1$s",
                                    "\\r",
                                    "\\",
                                    "\"",
                                    "\"}",
                                    "\"},\"x\":{\"y\":\"",
                                    "{\"a\":1}",
                                    "'",
                                    "`reboot`",
                                    ";reboot",
                                    "$(reboot)",
                                    "\t"};

std::string noise(Random& random, std::size_t length)
{
    std::string bytes;
    while (bytes.size() < length) {
        const char byte = static_cast<char>(1 + random.below(255));
        if (byte != '\r' && byte != '\n') {  // these end a line
            bytes += byte;
        }
    }
    return bytes;
}

std::string number(Random& random)
{
    static constexpr int kBounds[] = {0,  1,  3,  5,  10,  12,  15,  22,   23,     30,     50,
                                      60, 61, 80, 81, 300, 600, 601, 3600, 65'535, 65'536, 1'000'000};
    std::string digits = std::to_string(random.pick(kBounds) + static_cast<int>(random.below(3)) - 1);
    if (random.chance(10)) {
        digits.insert(0, random.below(12), '0');
    }
    if (random.chance(15)) {
        digits.insert(0, random.chance(50) ? "-" : "+");
    }
    return random.chance(2) ? std::string(random.below(400), '9') : digits;
}

std::string argument(Random& random)
{
    switch (random.below(10)) {
    case 0: return {};
    case 1:
    case 2:
    case 3: return number(random);
    case 4: return random.pick(kFormats);
    case 5: return noise(random, random.below(60));
    default: return random.pick(kWords);
    }
}

// An argument of the kind that the row's leaf asks for.
std::string fittingArgument(Random& random, std::string_view jsonTemplate)
{
    static constexpr const char* kSwitchWords[] = {"on", "off", "sta"};
    if (jsonTemplate.find("%d") != std::string_view::npos) {
        static constexpr const char* kNumberWords[] = {"sta", "+", "-", "[9600,8,0,1]", "[115200,7,2,2]", "mem1"};
        return random.chance(70) ? number(random) : random.pick(kNumberWords);
    }
    if (jsonTemplate.find("\"%s\"") != std::string_view::npos) {
        return random.pick(kWords);
    }
    return jsonTemplate.empty() ? std::string() : random.pick(kSwitchWords);
}

void spoil(Random& random, std::string& line)
{
    for (std::size_t times = 1 + random.below(3); times > 0 && !line.empty(); --times) {
        const std::size_t at = random.below(line.size());
        switch (random.below(7)) {
        case 0: line.erase(at, 1); break;
        case 1: line.insert(at, 1, line[at]); break;
        case 2: line[at] = static_cast<char>(line[at] ^ 0x20); break;
        case 3: line.insert(at, noise(random, 1)); break;
        case 4: line.insert(at, 1, ' '); break;
        case 5: line.resize(at); break;
        default: line += random.pick(kFormats);
        }
    }
}

std::string randomLine(Random& random)
{
    if (random.chance(10)) {
        return noise(random, random.chance(2) ? random.below(kLongestLine) : random.below(120));
    }
    const CommandEntry& row = random.pick(kCommandTable);
    std::string line = row.name;
    line += random.chance(85) ? " " : random.chance(50) ? "" : "   ";
    line += random.chance(70) ? fittingArgument(random, row.jsonTemplate) : argument(random);
    if (random.chance(5)) {
        line += ' ' + argument(random);
    }
    if (random.chance(1)) {
        line += std::string(random.below(kLongestLine - line.size()), random.chance(50) ? '1' : 'x');
    }
    if (random.chance(20)) {
        spoil(random, line);
    }
    for (char& byte : line) {
        if (byte == '\r' || byte == '\n' || byte == '\0') {
            byte = '*';
        }
    }
    return line;
}

class RandomLines : public testing::Test {
protected:
    RandomLines()
    {
        recording::reset();
        seedFromFile(FACTORY_STATE);
    }

    static void checkStores()
    {
        for (const auto store : {recording::Store::settings, recording::Store::status}) {
            for (const auto& [path, text] : recording::leaves(store)) {
                ASSERT_TRUE(isJson(text)) << path << ": " << escaped(text);
            }
        }
    }

    static void checkRecord(const recording::Record& record, bool refused)
    {
        for (const recording::Update& update : record.updates) {
            // A failed one wrote nothing; the hub's debug mode has no leaf and always fails.
            ASSERT_TRUE(!update.stored || isJson(update.document)) << escaped(update.document);
            ASSERT_FALSE(refused && update.stored) << escaped(update.document);
        }
        for (const recording::Event& event : record.events) {
            if (event.topic.ends_with("ConfigChanged")) {
                ASSERT_TRUE(event.payload && isJson(*event.payload)) << event.topic;
            }
        }
    }

    void run(const std::string& typed)
    {
        UserCommandHandler(0, typed.c_str(), static_cast<int>(typed.size()));
        const std::string reply = replies_.take();
        const std::string line = typed.substr(std::min(typed.find_first_not_of(' '), typed.size()));
        bool stopped = false;
        const CommandEntry* row = findCommand(line, stopped);
        ASSERT_TRUE(isReplyForm(row, line, reply)) << escaped(reply);
        checkRecord(recording::take(), reply.starts_with("Command FAILED"));
        answered_ += reply.empty() || reply.starts_with("Command FAILED") ? 0 : 1;
        refused_ += reply.starts_with("Command FAILED") ? 1 : 0;
        if (row != nullptr) {
            reached_.insert(row->name);
        }
    }

    CapturedReplies replies_;
    int answered_ = 0;
    int refused_ = 0;
    std::set<std::string> reached_;
};

TEST_F(RandomLines, leaveTheStoresWellFormedAndAreAnsweredInTheReplyForms)
{
    const QuietError quiet;
    Random random(20'240'229);
    for (int i = 0; i < kLines; ++i) {
        const std::string line = randomLine(random);
        ASSERT_NO_FATAL_FAILURE(run(line)) << "line " << i << ": " << escaped(line);
        if (i % kLinesBetweenStoreChecks == 0) {
            ASSERT_NO_FATAL_FAILURE(checkStores()) << "line " << i;
        }
    }
    checkStores();
    // The mix is one: every name was reached, and neither answers nor refusals are rare.
    std::set<std::string> names;
    for (const CommandEntry& entry : kCommandTable) {
        names.insert(entry.name);
    }
    EXPECT_EQ(reached_, names);
    EXPECT_GT(answered_, kLines / 10);
    EXPECT_GT(refused_, kLines / 10);
}

}  // namespace
