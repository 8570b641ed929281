// platformctl as a shell sees it, on a bus and stores of the test's own.
#include <algorithm>
#include <chrono>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "bench/privateBus.h"
#include "bench/workspace.h"
#include "program.h"
#include "shellSession.h"

namespace {

const std::string kPrograms = TOOLS_DIRECTORY;

class Platformctl : public testing::Test {
protected:
    [[nodiscard]] Environment environment() const
    {
        return {{"PLATFORM", "local:" + directory_.path()}, {"DBUS_SESSION_BUS_ADDRESS", bus_.address()}};
    }

    void expect(const std::string& transcript) const { expectTranscript(transcript, kPrograms, environment()); }

    [[nodiscard]] std::vector<std::string> command(std::vector<std::string> words) const
    {
        words.insert(words.begin(), kPrograms + "/platformctl");
        return words;
    }

    /// A watch or a serve, once it is in force.
    [[nodiscard]] std::unique_ptr<Program> started(const std::vector<std::string>& words) const
    {
        auto program = std::make_unique<Program>(command(words), environment());
        program->awaitOutput("{\"ready\":true}\n");
        return program;
    }

    TemporaryDirectory directory_;
    Workspace workspace_{directory_.path()};
    PrivateBus bus_{workspace_};
};

TEST_F(Platformctl, StoresTypedLeavesAndPrintsThemAsOneLineOfJson)
{
    expect(R"sh(
        $ platformctl config set audio.audOut.allMute true
        $ platformctl config set audio.audOut.volume -20
        $ platformctl config set system.model 'RX 5'
        $ platformctl config set system.ratio 1.5
        $ platformctl config get audio.audOut.allMute
        true
        $ platformctl config get audio.audOut.volume
        -20
        $ platformctl config get system.model
        "RX 5"
        $ platformctl config get system.ratio
        1.5
        $ platformctl config get audio
        {"audOut":{"allMute":true,"volume":-20}}
        $ platformctl config dump audio
        {"audio":{"audOut":{"allMute":true,"volume":-20}}}
        $ platformctl config dump video
        {}
        $ platformctl status dump
        {}
        $ platformctl config dump ''
        {}
    )sh");
}

TEST_F(Platformctl, TakesWhatIsNoJsonAsAString)
{
    for (const char* text : {"8n1", "10 20", "5x",  "",  "007",   "+5",   "1.",  ".5",       "-",      "--help",
                             "-h",  "True",  "NaN", "{", "{a:1}", "[1,]", "'a'", "a\\udcff", "null x", "1e"}) {
        EXPECT_EQ(run(command({"config", "set", "test.text", text}), environment()).status, 0) << text;
        const Result got = run(command({"config", "get", "test.text"}), environment());
        std::string escaped;
        for (const char character : std::string(text)) {
            escaped += character == '\\' ? "\\\\" : std::string(1, character);
        }
        EXPECT_EQ(got.output, "\"" + escaped + "\"\n");
    }
    expect(R"sh(
        $ platformctl config set test.text '"quoted"'
        $ platformctl config get test.text
        "quoted"
        $ platformctl config set test.text ' 12 '
        $ platformctl config get test.text
        12
        $ platformctl config set test.text -5
        $ platformctl config get test.text
        -5
        $ platformctl config set test.text null
        $ platformctl config get test.text
        null
        $ platformctl config set test.list '["a",{"b":1}]'
        $ platformctl config get test.list
        ["a",{"b":1}]
        $ platformctl config set test.branch '{"one":1,"two":{"three":true}}'
        $ platformctl config get test.branch.two.three
        true
        $ platformctl config get test.list[0]
        status 1
        error nothing at 'test.list[0]'
        $ platformctl config get test.list.b
        status 1
        error nothing at 'test.list.b'
    )sh");
}

TEST_F(Platformctl, MergesDocumentsAndRefusesBadOnes)
{
    expect(R"sh(
        $ platformctl config update '{"a":{"b":1,"c":[1,2]}}'
        $ platformctl config update '{"a":{"d":"x/y"}} trailing words'
        $ platformctl config dump
        {"a":{"b":1,"c":[1,2],"d":"x/y"}}
        $ printf '{"a":{"c":[3]}}\n' | platformctl config load -
        $ platformctl config get a.c
        [3]
        $ printf '{"a":{"b":2}}' > "${PLATFORM#local:}/document"; platformctl config load "${PLATFORM#local:}/document"
        $ platformctl config get a.b
        2
        $ platformctl config load /no/such/file
        status 1
        error '/no/such/file' cannot be read
        $ platformctl config load /
        status 1
        error '/' cannot be read
        $ platformctl config update ''
        status 1
        error the document
        $ platformctl config update '{"a":'
        status 1
        error the document
        $ platformctl config update '{"a":{"b":NaN,"c":[-Infinity]}}'
        status 1
        error the document
        $ platformctl config update '{"a":1}'
        status 1
        error the document
        $ platformctl config set a.b.c 1
        status 1
        error a value at 'a.b.c'
        $ platformctl config set '' 1
        status 1
        error a value at ''
        $ platformctl config set a..b 1
        status 1
        error a value at 'a..b'
        $ platformctl config set 'no-topic.b' 1
        status 1
        error a value at 'no-topic.b'
        $ platformctl config dump
        {"a":{"b":2,"c":[3],"d":"x/y"}}
    )sh");
}

TEST_F(Platformctl, SaysWhatWouldBeRightWhereAStoreRefuses)
{
    expect(R"sh(
        $ platformctl config set a.b 1
        $ platformctl config set a.b.c 2
        status 1
        error File exists; a value stands where this has a branch, or a branch where it has a value; 'platformctl config unset PATH' takes that away first
        $ platformctl status update '{"a":{"b":1}}'; platformctl status set a 2
        status 1
        error 'platformctl status unset PATH' takes that away first
        $ platformctl config unset a.b; platformctl config set a.b.c 2
        $ platformctl config set 'no-topic.b' 1
        status 1
        error Invalid argument; it takes a JSON object of named leaves, no name empty or with a dot, the first one a word of letters, digits and _
        $ PLATFORM=local:/dev/null/stores platformctl config get a.b
        status 1
        error the store in /dev/null/stores cannot be used: Not a directory; PLATFORM=local:DIR names another place
        $ PLATFORM=local:/dev/null/stores platformctl config set a.b 1
        status 1
        error Not a directory; PLATFORM=local:DIR names another place
        $ PLATFORM=local:/dev/null/stores platformctl status dump
        status 1
        error Not a directory; PLATFORM=local:DIR names another place
        $ PLATFORM=local:/proc/stores platformctl config unset a.b
        status 1
        error the store in /proc/stores cannot be used: No such file or directory; PLATFORM=local:DIR names another place
        $ PLATFORM=local:/proc/stores platformctl factory get MacAddr
        status 1
        error /proc/stores cannot be read: No such file or directory; PLATFORM=local:DIR names another place
        $ PLATFORM=local:/dev/null/stores platformctl factory get MacAddr
        status 1
        error Not a directory; PLATFORM=local:DIR names another place
        $ PLATFORM=local:/dev/null/stores platformctl factory set MacAddr x
        status 1
        error Not a directory; PLATFORM=local:DIR names another place
    )sh");
}

TEST_F(Platformctl, SaysThatAnotherWriterHoldsTheStore)
{
    expect("$ platformctl config set a.b 1\n");
    Program writer({"/bin/sh", "-c", "exec sqlite3 " + directory_.file("settings.db")}, environment());
    writer.write("BEGIN IMMEDIATE;\nSELECT 'held';\n");
    writer.awaitOutput("held\n");
    expect(R"sh(
        $ platformctl config set a.b 2
        status 1
        error Device or resource busy; another writer held it for 5 s; try again once that one is done
    )sh");
}

TEST_F(Platformctl, RemovesLeavesAndBranches)
{
    expect(R"sh(
        $ platformctl status update '{"a":{"b":1,"c":{"d":2,"e":3}}}'
        $ platformctl status unset a.c.d
        $ platformctl status dump
        {"a":{"b":1,"c":{"e":3}}}
        $ platformctl status unset a.c
        $ platformctl status dump
        {"a":{"b":1}}
        $ platformctl status unset a.c
        status 1
        error nothing at 'a.c'
        $ platformctl config dump
        {}
    )sh");
}

TEST_F(Platformctl, KeepsFactoryItemsAsTexts)
{
    expect(R"sh(
        $ platformctl factory dump
        {}
        $ platformctl factory get MacAddr
        status 1
        error no factory item 'MacAddr'
        $ platformctl factory set MacAddr 00:11:22:33:44:55
        $ platformctl factory get MacAddr
        "00:11:22:33:44:55"
        $ platformctl factory set SerialNumber 0012
        $ platformctl factory set ProductID ''
        $ platformctl factory set ManufactoryID --help
        $ platformctl factory dump
        {"MacAddr":"00:11:22:33:44:55","ManufactoryID":"--help","ProductID":"","SerialNumber":"0012"}
        $ platformctl factory set ProductID "$(platformctl factory get MacAddr)"
        $ platformctl factory get ProductID
        "00:11:22:33:44:55"
        $ platformctl factory set ProductID "$(printf 'a\377"b')"; platformctl factory get ProductID
        "a\udcff\"b"
        $ platformctl factory set ProductID '"\udcfe"'; platformctl factory get ProductID
        "\udcfe"
        $ platformctl factory set ProductID '"a\u0000b"'
        status 1
        error zero byte
    )sh");
}

TEST_F(Platformctl, CarriesBytesThatAreNoUtf8ThroughJson)
{
    expect(R"sh(
        $ platformctl config set test.bytes "$(printf 'a\377\303b')"
        $ platformctl config get test.bytes
        "a\udcff\udcc3b"
        $ platformctl config set test.again "$(platformctl config get test.bytes)"
        $ platformctl config dump
        {"test":{"again":"a\udcff\udcc3b","bytes":"a\udcff\udcc3b"}}
        $ platformctl config dump | platformctl status load -
        $ platformctl status dump
        {"test":{"again":"a\udcff\udcc3b","bytes":"a\udcff\udcc3b"}}
        $ platformctl config update '{"test":{"again":"\uDCC3\udca9 \ud83d\ude00 \ud83d\udc80 \\udc80"}}'
        $ platformctl config get test.again
        "é 😀 💀 \\udc80"
        $ platformctl config set test.again '"\udc7f \udd00 \ud800x"'
        $ platformctl config get test.again
        "� � �x"
        $ platformctl config set test.again "$(printf '\355\262\200 \300\257 \364\220\200\200 \342\202')"
        $ platformctl config get test.again
        "\udced\udcb2\udc80 \udcc0\udcaf \udcf4\udc90\udc80\udc80 \udce2\udc82"
    )sh");
}

TEST_F(Platformctl, ShowsWhatItChangesAndPublishesOnTheBus)
{
    const auto watch = started({"event", "watch"});
    expect(R"sh(
        $ platformctl config set audio.audOut.allMute true
        $ platformctl config set audio.audOut.allMute true
        $ platformctl status update '{"b":{"x":"/"},"a":{"y":[1]}}'
        $ platformctl event publish topic_1
        $ platformctl event publish topic_1 ''
        $ platformctl event publish topic_1 --help
        $ platformctl event publish topic_1 "$(printf 'a"\\\377')"
        $ printf 'x\0y\n' | platformctl event publish topic_1 -
        $ platformctl event publish last word
    )sh");
    watch->awaitOutput("\"word\"");
    EXPECT_EQ(watch->output(), R"({"ready":true}
{"topic":"audioUserConfigChanged","payload":"{\"audio\":{\"audOut\":{\"allMute\":true}}}","from":"settings"}
{"topic":"bStatusConfigChanged","payload":"{\"b\":{\"x\":\"/\"}}","from":"status"}
{"topic":"aStatusConfigChanged","payload":"{\"a\":{\"y\":[1]}}","from":"status"}
{"topic":"topic_1","payload":null,"from":"publisher"}
{"topic":"topic_1","payload":"","from":"publisher"}
{"topic":"topic_1","payload":"--help","from":"publisher"}
{"topic":"topic_1","payload":"a\"\\\udcff","from":"publisher"}
{"topic":"topic_1","payload":"x\u0000y\n","from":"publisher"}
{"topic":"last","payload":"word","from":"publisher"}
)");
    watch->signal(SIGTERM);
    EXPECT_EQ(watch->awaitEnd(), 0);
    EXPECT_EQ(watch->error(), "");
}

TEST_F(Platformctl, WatchesTheTopicsNamed)
{
    const auto watch = started({"event", "watch", "one", "two"});
    expect(R"sh(
        $ platformctl event publish three x
        $ platformctl event publish two x
        $ platformctl event publish one x
    )sh");
    watch->awaitOutput("\"one\"");
    EXPECT_EQ(watch->output(), R"({"ready":true}
{"topic":"two","payload":"x","from":"publisher"}
{"topic":"one","payload":"x","from":"publisher"}
)");
    watch->signal(SIGINT);
    EXPECT_EQ(watch->awaitEnd(), 0);
    expect(R"sh(
        $ platformctl event publish 1x
        status 1
        error '1x' is no topic
        $ platformctl event publish ''
        status 1
        error '' is no topic
        $ platformctl event watch a-b
        status 1
        error no such topic can be
    )sh");
}

TEST_F(Platformctl, CallsAndServesMethods)
{
    const auto serve = started({"lpc", "serve", "peer", "ask", "--reply", "--yes", "tell"});
    expect(R"sh(
        $ platformctl lpc call peer ask
        --yes
        $ platformctl lpc call peer tell ''
        --yes
        $ platformctl lpc call peer tell --fail
        --yes
        $ platformctl lpc call peer tell "$(printf '\377')"
        --yes
        $ platformctl lpc call peer other
        status 1
        error the service has no such method
        $ platformctl lpc call nobody ask
        status 1
        error no such service
        $ platformctl lpc serve peer
        status 1
        error already served
    )sh");
    serve->signal(SIGTERM);
    EXPECT_EQ(serve->awaitEnd(), 0);
    EXPECT_EQ(serve->output(), R"({"ready":true}
{"service":"peer","method":"ask","params":null}
{"service":"peer","method":"tell","params":""}
{"service":"peer","method":"tell","params":"--fail"}
{"service":"peer","method":"tell","params":"\udcff"}
)");
}

TEST_F(Platformctl, ServesEveryMethodWithoutDataOrWithAnError)
{
    const auto silent = started({"lpc", "serve", "silent"});
    const auto empty = started({"lpc", "serve", "empty", "--reply="});
    const auto failing = started({"lpc", "serve", "failing", "--fail"});
    expect(R"sh(
        $ platformctl lpc call silent any
        $ platformctl lpc call empty any | od -An -tx1 | tr -d " "
        0a
        $ platformctl lpc call failing any x
        status 1
        error answered with an error
    )sh");
    silent->signal(SIGINT);
    EXPECT_EQ(silent->awaitEnd(), 0);
}

TEST_F(Platformctl, ServesTheMethodsAfterTheEndOfOptions)
{
    const auto last = started({"lpc", "serve", "one", "first", "--reply", "--", "--", "second"});
    const auto all = started({"lpc", "serve", "--fail", "--", "two", "only"});
    expect(R"sh(
        $ platformctl lpc call one first
        --
        $ platformctl lpc call one second
        --
        $ platformctl lpc call one third
        status 1
        error the service has no such method
        $ platformctl lpc call two only
        status 1
        error answered with an error
        $ platformctl lpc call two other
        status 1
        error the service has no such method
    )sh");
}

TEST_F(Platformctl, PrintsARequestBeforeItDelaysAndEndsWhileItDelays)
{
    const auto serve = started({"lpc", "serve", "slow", "--delay", "600000"});
    Program call(command({"lpc", "call", "slow", "x"}), environment());
    serve->awaitOutput("\"method\":\"x\"");
    EXPECT_EQ(call.awaitEnd(), 1);
    EXPECT_NE(call.error().find("no answer within 3 s"), std::string::npos) << call.error();
    serve->signal(SIGTERM);
    EXPECT_EQ(serve->awaitEnd(), 0);
}

TEST_F(Platformctl, AnswersAfterTheDelay)
{
    const auto serve = started({"lpc", "serve", "slow", "--delay=200", "--reply", "late"});
    const auto start = std::chrono::steady_clock::now();
    expect("$ platformctl lpc call slow x\nlate\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
}

/// A pipe that is read only when the test wants.
class UnreadPipe {
public:
    explicit UnreadPipe(std::string path) : path_(std::move(path))
    {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        // For both directions, so that neither opening waits for another program.
        fd_.reset(open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        EXPECT_TRUE(fd_);
    }

    [[nodiscard]] const std::string& path() const { return path_; }

    [[nodiscard]] bool holds(int atLeast) const
    {
        return eventually([&] {
            int bytes = 0;
            return ioctl(fd_.get(), FIONREAD, &bytes) == 0 && bytes >= atLeast;
        });
    }

    [[nodiscard]] bool isFull() const { return holds(fcntl(fd_.get(), F_GETPIPE_SZ) - PIPE_BUF + 1); }

    void discardAll() const
    {
        char chunk[4096];
        while (read(fd_.get(), chunk, sizeof chunk) > 0) {
        }
    }

private:
    template <class Condition>
    static bool eventually(const Condition& condition)
    {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

    std::string path_;
    UniqueFd fd_;
};

TEST_F(Platformctl, EndsWhenToldToAlsoWhileNobodyReads)
{
    const std::string longText(100'000, 'x');  // more than a pipe takes
    for (const int signal : {SIGTERM, SIGINT}) {
        for (const bool serves : {false, true}) {
            const UnreadPipe pipe(directory_.file("pipe" + std::to_string(signal) + (serves ? "serve" : "watch")));
            const std::string line = "exec " + kPrograms + "/platformctl " +
                                     (serves ? "lpc serve peer" : "event watch") + " > " + pipe.path();
            Program program({"/bin/sh", "-c", line}, environment());
            ASSERT_TRUE(pipe.holds(1)) << program.error();
            pipe.discardAll();
            Program cause(command(serves ? std::vector<std::string>{"lpc", "call", "peer", "x", longText}
                                         : std::vector<std::string>{"event", "publish", "topic", longText}),
                          environment());
            ASSERT_TRUE(pipe.isFull()) << program.error() << cause.error();
            program.signal(signal);
            EXPECT_EQ(program.awaitEnd(), 0) << program.error();
        }
    }
}

TEST_F(Platformctl, PrintsLongLinesWholeToASlowReader)
{
    const UnreadPipe pipe(directory_.file("pipe"));
    Program reader({"/bin/sh", "-c", "read go; exec cat " + pipe.path()}, environment());
    Program watch({"/bin/sh", "-c", "exec " + kPrograms + "/platformctl event watch > " + pipe.path()}, environment());
    ASSERT_TRUE(pipe.holds(1)) << watch.error();
    const std::string longText(300'000, 'x');
    ASSERT_EQ(run(command({"event", "publish", "topic", "-"}), environment(), longText).status, 0);
    ASSERT_TRUE(pipe.isFull());
    reader.write("go\n");
    reader.awaitOutput("publisher\"}\n");
    EXPECT_EQ(reader.output(),
              "{\"ready\":true}\n{\"topic\":\"topic\",\"payload\":\"" + longText + "\",\"from\":\"publisher\"}\n");
}

TEST_F(Platformctl, ServesAgainWhenTheBusIsBack)
{
    const auto serve = started({"lpc", "serve", "peer", "--reply", "here"});
    bus_.process().stop();
    serve->awaitError("\n");
    EXPECT_EQ(serve->error(), "platformctl: the bus went away; the service 'peer' is served again once it is back\n");
    {
        PrivateBus again(workspace_);
        serve->awaitError("is back; the service 'peer' is served again\n");
        EXPECT_EQ(std::count(serve->error().begin(), serve->error().end(), '\n'), 2) << serve->error();
        expect("$ platformctl lpc call peer x\nhere\n");
    }
    serve->awaitError("is back; the service 'peer' is served again\nplatformctl: the bus went away");
    serve->signal(SIGTERM);
    EXPECT_EQ(serve->awaitEnd(), 0);
    EXPECT_EQ(serve->output(), R"({"ready":true}
{"service":"peer","method":"x","params":null}
)");
}

TEST_F(Platformctl, EndsWhenItsBusGoesAway)
{
    const auto watch = started({"event", "watch"});
    bus_.process().stop();
    EXPECT_EQ(watch->awaitEnd(), 1);
    expect(R"sh(
        $ platformctl event publish topic
        status 1
        error cannot be published
        $ platformctl lpc call peer x
        status 1
        error peer x
        $ platformctl event watch
        status 1
        error event bus
        $ platformctl lpc serve peer
        status 1
        error the service 'peer' cannot be served
    )sh");
}

TEST_F(Platformctl, SaysHowTheBusIsFoundWhereNoneAnswers)
{
    expect(R"sh(
        $ DBUS_SESSION_BUS_ADDRESS=unix:path=/no/bus platformctl event publish topic
        status 1
        error published: No such file or directory; no bus answers at unix:path=/no/bus (DBUS_SESSION_BUS_ADDRESS); set DBUS_SESSION_BUS_ADDRESS as receiver-bench prints it
        $ DBUS_SESSION_BUS_ADDRESS=unix:path=/no/bus platformctl event watch
        status 1
        error went away: No such file or directory; no bus answers at unix:path=/no/bus
        $ DBUS_SESSION_BUS_ADDRESS=unix:path=/no/bus platformctl lpc call peer x
        status 1
        error peer x cannot be called: No such file or directory; no bus answers at unix:path=/no/bus
        $ DBUS_SESSION_BUS_ADDRESS=unix:path=/no/bus platformctl lpc serve peer
        status 1
        error the service 'peer' cannot be served: No such file or directory; no bus answers at unix:path=/no/bus
        $ DBUS_SESSION_BUS_ADDRESS= DBUS_SYSTEM_BUS_ADDRESS=unix:path=/no/bus platformctl event publish topic
        status 1
        error no bus answers at unix:path=/no/bus (DBUS_SYSTEM_BUS_ADDRESS); set DBUS_SESSION_BUS_ADDRESS
        $ DBUS_SESSION_BUS_ADDRESS=/no/bus platformctl lpc call peer x
        status 1
        error no bus answers at /no/bus
        $ DBUS_SESSION_BUS_ADDRESS=unix: platformctl lpc call peer x
        status 1
        error Invalid argument; unix: (DBUS_SESSION_BUS_ADDRESS) is no address of a bus
        $ DBUS_SESSION_BUS_ADDRESS=unix: platformctl lpc serve peer
        status 1
        error Invalid argument; unix: (DBUS_SESSION_BUS_ADDRESS) is no address of a bus
        $ DBUS_SESSION_BUS_ADDRESS=unix: platformctl event publish topic
        status 1
        error Invalid argument; unix: (DBUS_SESSION_BUS_ADDRESS) is no address of a bus
        $ DBUS_SESSION_BUS_ADDRESS=unix: platformctl event watch topic
        status 1
        error Invalid argument; unix: (DBUS_SESSION_BUS_ADDRESS) is no address of a bus
    )sh");
}

TEST_F(Platformctl, SaysWhichNamesThereCanBe)
{
    const std::string longest(242, 's');
    const auto serve = started({"lpc", "serve", longest, "--reply", "here"});
    expect("$ platformctl lpc call " + longest + " x\nhere\n");
    expect("$ platformctl lpc call s" + longest + " x\nstatus 1\nerror is no service; a service is a letter\n");
    expect("$ platformctl lpc serve s" + longest + "\nstatus 1\nerror is no service; a service is a letter\n");
    expect("$ platformctl event publish " + std::string(200, 't') + "\n");
    expect("$ platformctl event publish " + std::string(201, 't') + "\nstatus 1\nerror at most 200\n");
    expect(R"sh(
        $ platformctl lpc call a.b X
        status 1
        error a.b X cannot be called: 'a.b' is no service; a service is a letter, _ or -, then letters, digits, _ or -
        $ platformctl lpc call 1a X
        status 1
        error '1a' is no service
        $ platformctl lpc call '' X
        status 1
        error '' is no service
        $ platformctl lpc call -- --a-1 X
        status 1
        error no such service runs on this bus
        $ platformctl lpc call peer bad-m
        status 1
        error peer bad-m cannot be called: 'bad-m' is no method; a method is a letter or _
    )sh");
}

TEST_F(Platformctl, TellsWrongUsageFromRefusal)
{
    expect(R"sh(
        $ platformctl
        status 2
        error one of config, status, factory, event, lpc must follow
        $ platformctl settings
        status 2
        error 'settings' is none of config, status, factory, event, lpc
        $ platformctl '' get x
        status 2
        error '' is none of config, status, factory, event, lpc
        $ platformctl config
        status 2
        error config takes one of get, set, update, load, unset, dump
        $ platformctl factory unset x
        status 2
        error 'unset' is none of get, set, dump
        $ platformctl config get
        status 2
        error a word is missing: platformctl config get PATH
        $ platformctl config get a b
        status 2
        error 'b' is one word too many
        $ platformctl config set a
        status 2
        error platformctl config set PATH VALUE
        $ platformctl config dump a b
        status 2
        error one word too many
        $ platformctl config get --all
        status 2
        error no option '--all'
        $ platformctl config get "$(printf 'two\nlines')"
        status 1
        error nothing at 'two?lines'
        $ platformctl config get -- --all
        status 1
        error nothing at '--all'
        $ platformctl event publish
        status 2
        error platformctl event publish TOPIC [TEXT]
        $ platformctl event publish a b c
        status 2
        error one word too many
        $ platformctl lpc call service
        status 2
        error platformctl lpc call SERVICE METHOD [TEXT]
        $ platformctl lpc serve
        status 2
        error platformctl lpc serve SERVICE
        $ platformctl lpc serve --fail
        status 2
        error lpc serve takes SERVICE
        $ platformctl lpc serve peer --delay soon
        status 2
        error --delay takes a number of milliseconds
        $ platformctl lpc serve peer --delay
        status 2
        error --delay takes a number of milliseconds
        $ platformctl lpc serve peer --reply
        status 2
        error --reply takes the TEXT
        $ platformctl lpc serve peer --slow
        status 2
        error no option '--slow'
        $ platformctl lpc serve --
        status 2
        error lpc serve takes SERVICE
        $ platformctl lpc serve peer 1x
        status 1
        error '1x' is no method
        $ platformctl lpc serve peer bad-m
        status 1
        error 'bad-m' is no method
        $ platformctl lpc serve peer ''
        status 1
        error '' is no method
        $ platformctl lpc serve peer -- --fail
        status 1
        error '--fail' is no method
        $ platformctl lpc serve ''
        status 1
        error '' is no service
        $ platformctl lpc serve a.b
        status 1
        error 'a.b' is no service
        $ PLATFORM=remote:host platformctl config dump
        status 1
        error PLATFORM names another engine
        $ platformctl config dump > /dev/full
        status 1
        error standard output cannot be written
    )sh");
}

TEST_F(Platformctl, ExplainsItself)
{
    const Result help = run(command({"--help"}), environment());
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.error, "");
    for (const char* word : {"get PATH", "set PATH VALUE", "update DOCUMENT", "load FILE|-", "unset PATH",
                             "dump [AREA]", "set KEY VALUE", "publish TOPIC [TEXT]", "watch [TOPIC...]",
                             "call SERVICE METHOD [TEXT]", "--reply TEXT", "--fail", "--delay MS", "Exit status"}) {
        EXPECT_NE(help.output.find(word), std::string::npos) << word;
    }
    EXPECT_EQ(run(command({"config", "--help"}), environment()).output, help.output);
    EXPECT_EQ(run(command({"lpc", "serve", "--help"}), environment()).output, help.output);
    EXPECT_EQ(run(command({"--version"}), environment()).output, "platformctl " RECEIVER_VERSION "\n");
}

}  // namespace
