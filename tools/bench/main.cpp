// receiver-bench: a receiver on your desk.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

#include "bench/notes.h"
#include "bench/ownProgram.h"
#include "bench/receiver.h"
#include "bench/session.h"
#include "bench/standIns.h"
#include "support/failure.h"

namespace {

constexpr char kDescription[] =
    R"(receiver-bench starts all that a receiver is, without hardware: a private bus, stores seeded with a factory state,
both daemon instances on pseudo-terminals, and stand-ins for the peer services that print each call they get.

At a terminal one types commands as at the RS-232 port; help lists them, Ctrl-C or Ctrl-D leaves. With standard input
not a terminal it feeds the lines, prints the replies on standard output, and ends. All else goes to standard error.)";

constexpr char kFooter[] =
    R"(In DIR are the stores, which stay, externalComd.log and internalComd.log; while the bench runs also console and hdbt,
the ports' names, and bus, the bus's socket. Stores that are there keep what they hold: only what is absent is seeded.

Every stand-in takes what it is asked for, save that systemd refuses a new account named root, daemon or nobody.

Environment: PLATFORM=local:DIR names DIR when no option does; without both it is a fresh directory, removed at the end.

Exit status: 0 done, 1 a part did not start or went away, 2 wrong usage, 128 + N a script was cut short by signal N.)";

struct Options {
    std::optional<std::string> directory;
};

/// Nothing when everything asked for has been printed.
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
    try {
        app.parse(count, arguments);
    } catch (const CLI::Success& wanted) {
        app.exit(wanted);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw WrongUsage(std::string(error.what()) + "; receiver-bench [--dir DIR], see receiver-bench --help");
    }
    if (app.count("--dir") != 0) {
        options.directory = named;
    } else if (app.count("DIR") != 0) {
        options.directory = positional;
    }
    if (options.directory && options.directory->empty()) {
        throw WrongUsage("DIR is empty; name a directory");
    }
    return options;
}

/// The bench's own descriptors must not land on those of the standard streams.
void openStandardStreams()
{
    for (int fd = 0; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0) {
            open("/dev/null", O_RDWR);  // takes the lowest number free, which is fd
        }
    }
}

void describe(const Receiver& receiver, bool attached)
{
    if (attached) {
        note("receiver-bench: type a command as at the RS-232 port, help lists them; Ctrl-C or Ctrl-D leaves.");
    } else {
        note("receiver-bench: feeding standard input to the external console.");
    }
    const Workspace& workspace = receiver.workspace();
    std::string peers;
    for (const std::string& peer : Peers::names()) {
        peers += (peers.empty() ? "" : ", ") + peer;
    }
    const std::string directory = workspace.directory().string();
    note("  ports      " + directory + "/console (externalComd), " + directory + "/hdbt (internalComd)");
    note("  logs       " + directory + "/externalComd.log, " + directory + "/internalComd.log");
    note("  stand-ins  " + peers);
    if (workspace.temporary()) {
        note("  The directory is removed at the end; --dir DIR names one that stays.");
    }
    note("  In another shell:");
    note("    export " + receiver.environmentLine());
    const std::string platformctl = siblingProgram("platformctl");
    note("    " + platformctl + " config get audio.audOut.allMute");
    note("    " + platformctl + " event watch");
}

int run(const Options& options)
{
    // Its end is noticed where it is written to; the children get their own.
    std::signal(SIGPIPE, SIG_IGN);
    const bool attached = isatty(STDIN_FILENO) != 0;
    try {
        Receiver receiver(options.directory, writeReplies);
        describe(receiver, attached);
        if (attached) {
            runTerminal(receiver);
        } else {
            runScript(receiver);
        }
    } catch (const Stopped& stopped) {
        return attached ? kDone : 128 + stopped.signal;  // leaving a terminal by Ctrl-C is no failure
    }
    return kDone;
}

int report(const std::exception& failure, int status)
{
    note(std::string("receiver-bench: ") + failure.what());
    return status;
}

}  // namespace

int main(int count, char** arguments)
{
    if (const auto status = runAsStandIn(count, arguments)) {
        return *status;
    }
    openStandardStreams();
    try {
        const auto options = parseOptions(count, arguments);
        return options ? run(*options) : kDone;
    } catch (const WrongUsage& failure) {
        return report(failure, kWrongUsage);
    } catch (const std::exception& failure) {
        return report(failure, kRefused);
    }
}
