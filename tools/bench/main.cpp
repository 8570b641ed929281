// receiver-bench: a receiver on your desk.
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>

#include "bench/completion.h"
#include "bench/feed.h"
#include "bench/lineEditor.h"
#include "bench/notes.h"
#include "bench/options.h"
#include "bench/ownProgram.h"
#include "bench/receiver.h"
#include "bench/scriptRun.h"
#include "bench/session.h"
#include "bench/standIns.h"
#include "bench/stores.h"
#include "bench/trace.h"
#include "support/failure.h"

namespace {

/// The bench's own descriptors must not land on those of the standard streams.
void openStandardStreams()
{
    for (int fd = 0; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0) {
            open("/dev/null", O_RDWR);  // takes the lowest number free, which is fd
        }
    }
}

/// Empty as well when it is not set.
std::string_view environmentValue(const char* variable)
{
    const char* value = std::getenv(variable);
    return value == nullptr ? "" : value;
}

/// Who has the console.
enum class Place { editedTerminal, plainTerminal, lines, raw, tcp, device };

Place placeOf(const Options& options)
{
    if (!options.device.empty()) {
        return Place::device;
    }
    if (!options.tcp.empty()) {
        return Place::tcp;
    }
    if (options.raw) {
        return Place::raw;
    }
    if (isatty(STDIN_FILENO) == 0) {
        return Place::lines;
    }
    const std::string_view terminal = environmentValue("TERM");
    return terminal.empty() || terminal == "dumb" || isatty(STDOUT_FILENO) == 0 ? Place::plainTerminal
                                                                                : Place::editedTerminal;
}

Trace::Looks looksOf(Place place)
{
    const bool seenAnyway = (place == Place::editedTerminal || place == Place::plainTerminal) &&
                            isatty(STDOUT_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
    return {.coloured = isatty(STDERR_FILENO) != 0 && environmentValue("NO_COLOR").empty(), .console = !seenAnyway};
}

const char* banner(Place place)
{
    switch (place) {
    case Place::editedTerminal:
        return "receiver-bench: Tab completes, help lists the commands, Ctrl-D leaves; --help: trace, record, TCP";
    case Place::plainTerminal:
        return "receiver-bench: type a command, help lists them, Ctrl-D leaves; --help: trace, record, TCP";
    case Place::raw: return "receiver-bench: standard input and output are the external console's port.";
    case Place::tcp:
    case Place::device: return "receiver-bench: Ctrl-C leaves; the external console is served on";
    case Place::lines: break;
    }
    return "receiver-bench: feeding standard input to the external console.";
}

void describe(const Receiver& receiver)
{
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

/// Throws Refused for what is no serial device.
void checkDevice(const std::string& device)
{
    const UniqueFd fd(open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!fd) {
        throw Refused("the device '" + device + "' cannot be opened: " + std::strerror(errno) +
                      "; name a serial device that is there and yours, such as /dev/ttyUSB0");
    }
    if (isatty(fd.get()) == 0) {
        throw Refused("'" + device + "' is no serial device; name one such as /dev/ttyUSB0");
    }
}

void editLines(const Receiver& receiver, Feed& feed)
{
    const std::string history =
        receiver.workspace().temporary() ? std::string() : receiver.workspace().file("history").string();
    LineEditor editor({.await = [&] { feed.await(STDIN_FILENO); }, .complete = completions}, history);
    while (const auto line = editor.next()) {
        feed.type(*line + '\r');
    }
    feed.settle();
}

/// One session at a receiver, from what its stores hold to what is saved of them.
class Bench {
public:
    explicit Bench(const Options& options)
        : options_(options), place_(placeOf(options)), trace_(looksOf(place_)),
          receiver_(options.directory, [this](const Happening& happening) { see(happening); })
    {
    }

    void run()
    {
        prepare();
        Feed feed(receiver_, recorder_.get());
        try {
            attach(feed);
        } catch (...) {
            keep();
            throw;
        }
        keep();
    }

    [[nodiscard]] Place place() const { return place_; }

private:
    void prepare()
    {
        if (!options_.device.empty()) {
            checkDevice(options_.device);
        }
        if (!options_.tcp.empty()) {
            server_ = std::make_unique<TcpServer>(options_.tcp);
        }
        if (!options_.state.empty()) {
            loadState(options_.state);
        }
        seedStores(receiver_.workspace().file("bench.boot"));
        if (!options_.record.empty()) {
            recorder_ = std::make_unique<Recorder>(receiver_, options_.record, options_.peers.absent);
        }
        receiver_.start({.watched = options_.trace || recorder_ != nullptr,
                         .inOrder = options_.trace,
                         .device = options_.device,
                         .peers = options_.peers});
        if (recorder_) {
            recorder_->begin();
        }
        started_ = true;
    }

    void attach(Feed& feed)
    {
        const std::string begin = banner(place_);
        switch (place_) {
        case Place::editedTerminal:
            describe(receiver_);
            note(begin);
            return editLines(receiver_, feed);
        case Place::plainTerminal:
            describe(receiver_);
            note(begin);
            return runTerminal(feed);
        case Place::lines:
            note(begin);
            describe(receiver_);
            return runLines(feed);
        case Place::raw: return runRaw(feed, begin);
        case Place::tcp:
            describe(receiver_);
            note(begin + " " + server_->address());
            writeReplies(server_->address() + "\n");
            return serveClients(feed, *server_);
        case Place::device:
            describe(receiver_);
            note(begin + " " + options_.device);
            return serveDevice(receiver_);
        }
    }

    void see(const Happening& happening)
    {
        if (started_ && happening.kind == Happening::Kind::printed) {
            if (server_) {
                server_->write(*happening.text);
            } else {
                writeReplies(*happening.text);
            }
        }
        if (recorder_) {
            recorder_->see(happening);
        }
        if (!options_.trace) {
            noteHappening(happening);
        } else if (started_) {
            trace_.see(happening);
        }
    }

    void keep()
    {
        if (recorder_) {
            recorder_->save();
        }
        if (!options_.save.empty()) {
            saveState(options_.save, receiver_.workspace().file("bench.boot"));
        }
    }

    const Options& options_;
    Place place_;
    Trace trace_;
    std::unique_ptr<TcpServer> server_;
    bool started_ = false;
    std::unique_ptr<Recorder> recorder_;
    Receiver receiver_;
};

int runScript(const Options& options)
{
    ScriptRun run{.file = options.script,
                  .compare = options.repliesOnly ? transcript::Compare::replies : transcript::Compare::everything,
                  .state = options.state,
                  .peers = options.peers,
                  .observer = {}};
    Trace trace({.coloured = isatty(STDERR_FILENO) != 0 && environmentValue("NO_COLOR").empty()});
    if (options.trace) {
        run.observer = [&](const Happening& happening) { trace.see(happening); };
    }
    return runScriptFile(run) ? kDone : kRefused;
}

int run(const Options& options)
{
    // Its end is noticed where it is written to; the children get their own.
    std::signal(SIGPIPE, SIG_IGN);
    const bool script = !options.script.empty();
    const Place place = placeOf(options);
    try {
        if (script) {
            return runScript(options);
        }
        Bench(options).run();
    } catch (const Stopped& stopped) {
        // What has no other end than a signal has not failed by it.
        return script || place == Place::lines || place == Place::raw ? 128 + stopped.signal : kDone;
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
