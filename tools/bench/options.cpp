#include "bench/options.h"

#include <algorithm>
#include <charconv>
#include <CLI/CLI.hpp>
#include <vector>

#include "bench/peers.h"
#include "support/failure.h"

namespace {

constexpr char kDescription[] =
    R"(receiver-bench starts all that a receiver is, without hardware: a private bus, stores seeded with a factory state,
both daemon instances, and stand-ins for the peer services that print each call they get.

At a terminal one types commands as at the RS-232 port: Tab completes, the arrow keys go back to earlier lines, help
lists the commands, Ctrl-C or Ctrl-D leaves. With standard input not a terminal it feeds the lines, prints the replies
on standard output, and ends. --tcp and --device serve the console to others instead, until Ctrl-C. All else goes to
standard error.)";

constexpr char kFooter[] =
    R"(In DIR are the stores, which stay, externalComd.log and internalComd.log; while the bench runs also console and hdbt,
the ports' names, and bus, the bus's socket. Stores that are there keep what they hold: only what is absent is seeded.
A DIR that was named also keeps history, the lines typed at a terminal.

A TCP client gets the bytes as they are. While one has the console, another is let in and closed at once; what the
console says while nobody is there is lost. A client that ends its sending still gets the replies to what it sent.

FILE of --state and --save is JSON with the objects settings, status and factory, each of which may be left out of a
file for --state. FILE of --script and --record is a transcript: '== TITLE', what is given, then '> LINE' and what comes
of it: '< REPLY', 'event ...', 'call ...', 'run ...'. Each scenario of a script runs on stores that hold what the script
gives (and what --state does), with one daemon; 'given state factory' gives all that a receiver leaves the factory with.

PEER is one of networkd, systemd, intermcud, displayControl, displayControlTelnetClient, wpcmdd. Every stand-in takes
what it is asked for, save that systemd refuses a new account named root, daemon or nobody; --peer PEER=fail answers
every call with an error, absent is not there, silent never answers, slow answers 2000 ms late, slow:MS so many.

A line of --trace is the time in seconds, who did it, and the words a transcript has for it: '>' typed, '<' replied
(both only where they are not on the same terminal; with --device they do not pass through the bench), event, store,
call with answer or failed, run; hdbt is what the console of the link printed. In a line of bench, a stand-in has ended
or the bus is no longer watched.

Environment: PLATFORM=local:DIR names DIR when no option does; without both it is a fresh directory, removed at the end.
TERM=dumb (or none) leaves line editing to the terminal. NO_COLOR, set to anything, has the trace uncoloured.

Exit status: 0 done, 1 a part did not start or went away, or a script went otherwise, 2 wrong usage, 128 + N standard
input (--raw or not) or a script was cut short by signal N; --tcp, --device and a terminal end with 0 by one.)";

constexpr int kSlowMs = 2000;

[[noreturn]] void refusePeer(const std::string& text)
{
    std::string services;
    for (const std::string& service : Peers::names()) {
        services += (services.empty() ? "" : ", ") + service;
    }
    throw WrongUsage("--peer takes PEER=fail, absent, silent, slow or slow:MS, PEER one of " + services + "; not '" +
                     text + "'");
}

void addPeer(const std::string& text, PeerPlan& plan)
{
    const std::size_t equals = text.find('=');
    const std::string service = text.substr(0, equals);
    std::string how = equals == std::string::npos ? "" : text.substr(equals + 1);
    const auto services = Peers::names();
    if (std::find(services.begin(), services.end(), service) == services.end()) {
        refusePeer(text);
    }
    constexpr std::string_view kSlow = "slow:";
    if (how == "fail") {
        plan.services[service].how = PeerAnswer::How::fails;
    } else if (how == "silent") {
        plan.services[service].how = PeerAnswer::How::silent;
    } else if (how == "absent") {
        plan.absent.insert(service);
    } else if (how == "slow") {
        plan.services[service].delayMs = kSlowMs;
    } else if (how.starts_with(kSlow)) {
        int& delay = plan.services[service].delayMs;
        const char* end = how.data() + how.size();
        const auto [stop, error] = std::from_chars(how.data() + kSlow.size(), end, delay);
        if (error != std::errc() || stop != end || delay < 0) {
            refusePeer(text);
        }
    } else {
        refusePeer(text);
    }
}

/// At most one of these says where the console is; all of them exclude a script.
void checkTogether(const Options& options)
{
    std::vector<const char*> places;
    for (const auto& [name, given] :
         std::initializer_list<std::pair<const char*, bool>>{{"--script", !options.script.empty()},
                                                             {"--device", !options.device.empty()},
                                                             {"--tcp", !options.tcp.empty()},
                                                             {"--raw", options.raw}}) {
        if (given) {
            places.push_back(name);
        }
    }
    if (places.size() > 1) {
        throw WrongUsage(std::string(places[0]) + " and " + places[1] +
                         " do not go together: each says who has the console; choose one");
    }
    if (!options.script.empty() && options.directory) {
        throw WrongUsage("--script takes no DIR: each scenario has fresh stores; --state FILE says what is in them");
    }
    if (!options.script.empty() && !options.save.empty()) {
        throw WrongUsage("--save needs one receiver, and a script has one for each scenario; leave one of them out");
    }
    if (!options.script.empty() && !options.record.empty()) {
        throw WrongUsage("--script and --record do not go together: what a script would record is the script");
    }
    if (!options.device.empty() && !options.record.empty()) {
        throw WrongUsage("--record sees what goes through the bench, and with --device the daemon has the port itself; "
                         "use --tcp or the terminal");
    }
    if (options.repliesOnly && options.script.empty()) {
        throw WrongUsage("--replies-only says what of a script is compared; it takes --script FILE");
    }
}

struct TextOption {
    const char* name;
    const char* value;
    std::string Options::*field;
    const char* help;
};
constexpr TextOption kTextOptions[] = {
    {"--tcp", "HOST:PORT", &Options::tcp,
     "serve the console on a TCP port, one client at a time; port 0 takes a free "
     "one; the address is printed on standard output"},
    {"--device", "PATH", &Options::device, "serve the console on a serial device, such as /dev/ttyUSB0"},
    {"--state", "FILE", &Options::state, "put this state into the stores first"},
    {"--save", "FILE", &Options::save, "write the state at the end"},
    {"--script", "FILE", &Options::script, "run a transcript (- is standard input) and show what goes otherwise"},
    {"--record", "FILE", &Options::record, "write the session as a transcript"},
};

struct Flag {
    const char* name;
    bool Options::*field;
    const char* help;
};
constexpr Flag kFlags[] = {
    {"--raw", &Options::raw, "a plain pipe to the port, byte for byte; at a terminal Ctrl-] leaves"},
    {"--trace", &Options::trace, "show events, calls, store changes and commands as they happen"},
    {"--replies-only", &Options::repliesOnly, "compare the replies of a script alone"},
};

}  // namespace

std::optional<Options> parseOptions(int count, char** arguments)
{
    Options options;
    CLI::App app(kDescription, "receiver-bench");
    app.footer(kFooter);
    app.set_version_flag("--version", "receiver-bench " RECEIVER_VERSION, "print the version and end");
    app.set_help_flag("-h,--help", "print this help and end");
    std::string named;
    std::string positional;
    app.add_option("--dir", named, "directory of the stores and logs")
        ->option_text("DIR")
        ->excludes(app.add_option("DIR", positional, "the same, as a word")->option_text("DIR"));
    for (const TextOption& option : kTextOptions) {
        app.add_option(option.name, options.*option.field, option.help)->option_text(option.value);
    }
    for (const Flag& flag : kFlags) {
        app.add_flag(flag.name, options.*flag.field, flag.help)->disable_flag_override();
    }
    std::vector<std::string> peers;
    app.add_option("--peer", peers, "how a stand-in answers: fail, absent, silent, slow or slow:MS; may be repeated")
        ->option_text("PEER=HOW")
        ->expected(1)
        ->take_all();
    try {
        app.parse(count, arguments);
    } catch (const CLI::Success& wanted) {
        app.exit(wanted);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw WrongUsage(std::string(error.what()) + "; receiver-bench [OPTION...] [DIR], see receiver-bench --help");
    }
    if (app.count("--dir") != 0) {
        options.directory = named;
    } else if (app.count("DIR") != 0) {
        options.directory = positional;
    }
    if (options.directory && options.directory->empty()) {
        throw WrongUsage("DIR is empty; name a directory");
    }
    for (const TextOption& option : kTextOptions) {
        if (app.count(option.name) != 0 && (options.*option.field).empty()) {
            throw WrongUsage(std::string(option.name) + " is empty; it takes " + option.value);
        }
    }
    for (const std::string& peer : peers) {
        addPeer(peer, options.peers);
    }
    checkTogether(options);
    return options;
}
