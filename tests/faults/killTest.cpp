// Kills both instances and other writers at a random instant while they work through set commands and documents, again
// and again, and looks at what the settings store then holds:
// - every value whose reply was seen, and of the commands still on their way none but the first few;
// - no half of a document, neither after a kill nor in the eyes of a reader meanwhile;
// - nothing that SQLite's integrity check finds.
//
//     killTest [--kills N] [--seed S]
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <termios.h>

#include "endToEnd/testDevice.h"
#include "faults/processGroup.h"
#include "faults/sqliteFile.h"
#include "platform/local/local.h"
#include "support/pseudoTerminal.h"
#include "support/waiting.h"

namespace {

using std::chrono::steady_clock;
using Random = std::mt19937_64;
using Leaves = std::map<std::string, std::string>;  // path, JSON

int below(Random& random, int bound)
{
    return std::uniform_int_distribution<int>(0, bound - 1)(random);
}

// Documents: all leaves of one hold its number.

constexpr int kLeaves = 40;
constexpr int kLeafLength = 300;  // so that a document spreads over several pages

std::string documentText(const std::string& area, int number)
{
    const std::string value = '"' + std::to_string(number) + std::string(kLeafLength, '-') + '"';
    std::string text = "{\"" + area + "\":{";
    for (int i = 0; i < kLeaves; ++i) {
        text += (i > 0 ? ",\"" : "\"") + std::to_string(i) + "\":" + (i % 2 == 0 ? value : "{\"x\":" + value + '}');
    }
    return text + "}}";
}

// The number that all leaves below a path hold; 0 when there are none, -1 when they differ or it is no number.
int documentNumber(const Leaves& leaves, const std::string& area)
{
    std::set<std::string> values;
    int count = 0;
    for (auto leaf = leaves.lower_bound(area + '.'); leaf != leaves.end() && leaf->first.starts_with(area + '.');
         ++leaf) {
        values.insert(leaf->second);
        ++count;
    }
    if (count == 0) {
        return 0;
    }
    if (count != kLeaves || values.size() != 1) {
        return -1;
    }
    const std::string& value = *values.begin();
    int number = -1;
    std::from_chars(value.data() + 1, value.data() + value.size(), number);
    return number;
}

// Writes documents, and tells each that is stored.
int writeDocuments(int number)
{
    while (true) {
        ++number;
        if (local::update(local::Store::settings, documentText("document", number).c_str()) != 0) {
            std::perror("update");
            return 1;
        }
        std::cout << number << '\n' << std::flush;
    }
}

// Looks at the documents all the time.
int readDocuments()
{
    while (true) {
        for (const char* area : {"document", "shell"}) {
            const JsonToken tree(local::dump(local::Store::settings, area));
            if (tree == nullptr) {
                std::perror("dump");
                return 1;
            }
            const PlatformText text(json_token_to_string(tree.get()));
            const std::string all(text.get());
            // The first value, as often as there are leaves, or nothing at all.
            const std::size_t end = all.find(std::string(kLeafLength, '-'));
            if (end == std::string::npos) {
                if (all != "{}") {
                    std::cout << "no document: " << all << '\n' << std::flush;
                    return 1;
                }
                continue;
            }
            const std::size_t start = all.rfind('"', end);
            const std::string value = all.substr(start, end - start) + '-';
            int count = 0;
            for (std::size_t at = all.find(value); at != std::string::npos; at = all.find(value, at + 1)) {
                ++count;
            }
            if (count != kLeaves) {
                std::cout << "half a document: " << all << '\n' << std::flush;
                return 1;
            }
        }
    }
}

// The last whole line that is a number.
int lastNumber(const OutputFile& output, int before)
{
    std::istringstream lines(output.from(0));
    int number = before;
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        int value = 0;
        const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), value);
        if (error != std::errc() || end != line.data() + line.size()) {
            throw std::runtime_error("a writer says: " + line);
        }
        number = value;
    }
    return number;
}

// One console: types set commands, a few ahead of their replies.

struct Setting {
    const char* command;
    const char* path;
    bool isSwitch;
};

class Typist {
public:
    Typist(std::vector<Setting> settings, const Leaves& stored) : settings_(std::move(settings))
    {
        for (const Setting& setting : settings_) {
            const auto leaf = stored.find(setting.path);
            if (leaf != stored.end()) {
                replied_[setting.path] = leaf->second;
            }
        }
    }

    PseudoTerminal& line() { return line_; }
    [[nodiscard]] long replies() const { return replies_; }
    [[nodiscard]] std::size_t pending() const { return pending_.size(); }

    [[nodiscard]] bool isOpen() const
    {
        termios attributes{};
        return ::tcgetattr(line_.deviceFd(), &attributes) == 0 && (attributes.c_lflag & ECHO) == 0;
    }

    void type(Random& random)
    {
        constexpr std::size_t kAhead = 3;
        while (pending_.size() < kAhead) {
            const Setting& setting =
                settings_[static_cast<std::size_t>(below(random, static_cast<int>(settings_.size())))];
            constexpr int kLowest = 10;  // of all numbers here; 600 is the highest
            const bool on = below(random, 2) == 0;
            const std::string number = std::to_string(kLowest + below(random, 591));
            const std::string word = setting.isSwitch ? (on ? "on" : "off") : number;
            const std::string line = std::string(setting.command) + ' ' + word;
            pending_.push_back({setting.path, setting.isSwitch ? (on ? "true" : "false") : number, line + "\r\n"});
            line_.type(line + '\r');
        }
    }

    void noteReplies()
    {
        output_ += line_.takeOutput();
        while (!pending_.empty() && output_.starts_with(pending_.front().reply)) {
            output_.erase(0, pending_.front().reply.size());
            replied_[pending_.front().path] = pending_.front().json;
            pending_.pop_front();
            ++replies_;
        }
        if (pending_.empty() ? !output_.empty() : !pending_.front().reply.starts_with(output_)) {
            throw std::runtime_error("an unexpected reply: " + output_);
        }
    }

    // The store holds what was replied to, and the outcome of some first ones of the commands still on their way.
    [[nodiscard]] bool accounts(const Leaves& stored) const
    {
        Leaves expected = replied_;
        for (std::size_t done = 0;; ++done) {
            bool same = true;
            for (const auto& [path, json] : expected) {
                const auto leaf = stored.find(path);
                same = same && leaf != stored.end() && leaf->second == json;
            }
            if (same) {
                return true;
            }
            if (done == pending_.size()) {
                return false;
            }
            expected[pending_[done].path] = pending_[done].json;
        }
    }

private:
    struct Command {
        std::string path;
        std::string json;
        std::string reply;
    };

    std::vector<Setting> settings_;
    PseudoTerminal line_;
    std::string output_;
    std::deque<Command> pending_;
    Leaves replied_;
    long replies_ = 0;
};

struct Figures {
    long replies = 0;
    long documents = 0;
    long caughtCommands = 0;
    long caughtLogs = 0;
};

class Kills {
public:
    Kills(std::string self, std::uint64_t seed) : self_(std::move(self)), random_(seed) {}

    void round()
    {
        OutputFile logs[2];
        OutputFile writer;
        OutputFile shell;
        OutputFile reader;
        Typist consoles[] = {{{{"Blink", "control.ledMode", true},
                               {"ASwOutTime", "control.autoSwitch.aswOutTime", false},
                               {"APwrOffTime", "control.displayControl.output1.timer.autoPwrOff", false}},
                              stored_},
                             {{{"VOUTMute", "audio.audOut.allMute", true},
                               {"AutoSW", "control.autoSwitch.autoSWEnable", true},
                               {"ASwFstTime", "control.autoSwitch.aswFstTime", false}},
                              stored_}};
        const int before[] = {documentNumber(stored_, "document"), documentNumber(stored_, "shell")};
        {
            ProcessGroup group;
            const auto environment = device_.environment();
            const char* names[] = {"externalComd", "internalComd"};
            for (int i = 0; i < 2; ++i) {
                const std::string program = std::string(DAEMON_DIRECTORY) + '/' + names[i];
                group.start(program, {program, consoles[i].line().device()}, environment, logs[i].fd());
            }
            group.start(self_, {self_, "--writer", std::to_string(before[0])}, environment, writer.fd());
            group.start("/bin/sh", {"sh", "-c", shellLoop(before[1])}, environment, shell.fd());
            group.start(self_, {self_, "--reader"}, environment, reader.fd());
            work(consoles);
            group.kill();
        }
        for (Typist& console : consoles) {
            console.noteReplies();
            figures_.replies += console.replies();
            figures_.caughtCommands += console.pending() > 0 ? 1 : 0;
        }
        look();
        for (const Typist& console : consoles) {
            if (!console.accounts(stored_)) {
                throw std::runtime_error("a value whose reply was seen is not there");
            }
        }
        const OutputFile* outputs[] = {&writer, &shell};
        const char* areas[] = {"document", "shell"};
        for (int i = 0; i < 2; ++i) {
            const int told = lastNumber(*outputs[i], before[i]);
            const int found = documentNumber(stored_, areas[i]);
            if (found != told && found != told + 1) {
                throw std::runtime_error(std::string(areas[i]) + " number " + std::to_string(told) +
                                         " was stored, and there is " + std::to_string(found));
            }
            figures_.documents += told - before[i];
        }
        if (reader.size() > 0) {
            throw std::runtime_error("the reader says: " + reader.from(0));
        }
        for (const OutputFile& log : logs) {
            if (log.holds("corrupt", 0)) {
                throw std::runtime_error("a daemon says: " + log.from(0));
            }
        }
    }

    [[nodiscard]] const Figures& figures() const { return figures_; }

private:
    // platformctl, over and over.
    static std::string shellLoop(int number)
    {
        const std::string text = documentText("shell", 0);
        std::string document;
        for (std::size_t at = 0;;) {
            const std::size_t zero = text.find("\"0-", at);
            document += text.substr(at, zero - at);
            if (zero == std::string::npos) {
                break;
            }
            document += "\"'$n'-";
            at = zero + 3;
        }
        return "n=" + std::to_string(number) + "; while n=$((n+1)); do '" + PLATFORMCTL + "' config update '" +
               document + "' || exit; echo $n; done";
    }

    // Until the random instant.
    void work(Typist (&consoles)[2])
    {
        constexpr int kInstants = 300'000;  // microseconds
        auto end = steady_clock::now() + std::chrono::microseconds(below(random_, kInstants));
        constexpr int kDuringStart = 5;  // one in five falls into the start
        if (below(random_, kDuringStart) != 0) {
            waitFor("the consoles", [&] { return consoles[0].isOpen() && consoles[1].isOpen(); });
            end = steady_clock::now() + std::chrono::microseconds(below(random_, kInstants));
        }
        while (steady_clock::now() < end) {
            for (Typist& console : consoles) {
                if (console.isOpen()) {
                    console.type(random_);
                    console.noteReplies();
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }

    // What the store holds, read as at the next start. Half of the times the write-ahead log stays for the daemons.
    void look()
    {
        const std::string path = device_.directory() + "/settings.db";
        if (!std::filesystem::exists(path)) {
            return;
        }
        std::error_code none;
        figures_.caughtLogs += std::filesystem::file_size(path + "-wal", none) > 0 && !none ? 1 : 0;
        SqliteFile file(path);
        if (below(random_, 2) == 0) {
            file.keepLog();
        }
        if (file.run("PRAGMA integrity_check") != std::vector<std::string>{"ok"}) {
            throw std::runtime_error("the integrity check fails");
        }
        stored_.clear();
        if (file.run("SELECT name FROM sqlite_master WHERE name = 'leaf'").empty()) {
            return;  // killed before the table was made
        }
        for (const std::string& row : file.run("SELECT path, value FROM leaf")) {
            const std::size_t bar = row.find('|');
            stored_[row.substr(0, bar)] = row.substr(bar + 1);
        }
        for (const char* area : {"document", "shell"}) {
            if (documentNumber(stored_, area) < 0) {
                throw std::runtime_error(std::string("half of ") + area);
            }
        }
    }

    std::string self_;
    Random random_;
    TestDevice device_;
    Leaves stored_;
    Figures figures_;
};

int killOften(const std::string& self, int count, std::uint64_t seed)
{
    std::cout << count << " kills, --seed " << seed << std::endl;
    const auto start = steady_clock::now();
    Kills kills(self, seed);
    for (int i = 1; i <= count; ++i) {
        try {
            kills.round();
        } catch (const std::exception& failure) {
            std::cout << "kill " << i << ": " << failure.what() << std::endl;
            return 1;
        }
    }
    const Figures& figures = kills.figures();
    std::cout << "replies seen: " << figures.replies << ", documents stored: " << figures.documents
              << ", consoles killed with commands on their way: " << figures.caughtCommands
              << ", kills that left a write-ahead log: " << figures.caughtLogs
              << ", seconds: " << std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start).count()
              << std::endl;
    if (figures.replies == 0 || figures.documents == 0) {
        std::cout << "there was nothing to lose" << std::endl;
        return 1;
    }
    std::cout << "nothing lost, nothing half, nothing damaged" << std::endl;
    return 0;
}

}  // namespace

int main(int argc, char* argv[])
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    int count = 25;
    std::uint64_t seed = std::random_device{}();
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string value = i + 1 < words.size() ? words[i + 1] : "";
        if (words[i] == "--writer") {
            return writeDocuments(std::stoi(value));
        }
        if (words[i] == "--reader") {
            return readDocuments();
        }
        if (words[i] == "--kills" && !value.empty()) {
            count = std::stoi(value);
            ++i;
        } else if (words[i] == "--seed" && !value.empty()) {
            seed = std::stoull(value);
            ++i;
        } else {
            std::cerr << "killTest [--kills N] [--seed S]\n";
            return 2;
        }
    }
    return killOften(std::filesystem::canonical("/proc/self/exe").string(), count, seed);
}
