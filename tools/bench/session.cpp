#include "bench/session.h"

#include <cerrno>
#include <optional>
#include <termios.h>
#include <unistd.h>

#include "bench/lineSplitter.h"
#include "bench/notes.h"

namespace {

constexpr char kLeave = '\x1d';  // Ctrl-]

/// What standard input gives now; nothing at its end.
std::optional<std::string> readInput()
{
    std::string bytes(65'536, '\0');
    ssize_t count = 0;
    do {
        count = read(STDIN_FILENO, bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    if (count <= 0) {
        return std::nullopt;
    }
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

/// Hands every line of standard input to `take`, as it comes.
template <class Take>
void eachLine(Feed& feed, const Take& take)
{
    LineSplitter lines;
    while (true) {
        while (const auto line = lines.next()) {
            take(*line);
        }
        feed.await(STDIN_FILENO);
        const auto bytes = readInput();
        if (!bytes) {
            break;
        }
        lines.add(*bytes);
    }
    if (const auto line = lines.last()) {
        feed.typeLine(*line);
    }
}

/// Standard input as it comes, if it is a terminal.
class RawTerminal {
public:
    RawTerminal() : changed_(tcgetattr(STDIN_FILENO, &before_) == 0)
    {
        if (changed_) {
            termios raw = before_;
            cfmakeraw(&raw);
            raw.c_oflag = before_.c_oflag;
            tcsetattr(STDIN_FILENO, TCSADRAIN, &raw);
        }
    }
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;
    ~RawTerminal()
    {
        if (changed_) {
            tcsetattr(STDIN_FILENO, TCSADRAIN, &before_);
        }
    }

    [[nodiscard]] bool isTerminal() const { return changed_; }

private:
    termios before_{};
    bool changed_;
};

}  // namespace

void runTerminal(Feed& feed)
{
    eachLine(feed, [&](const std::string& line) { feed.type(line + '\r'); });
    feed.settle();
}

void runLines(Feed& feed)
{
    eachLine(feed, [&](const std::string& line) { feed.typeLine(line); });
}

void runRaw(Feed& feed, const std::string& greeting)
{
    const RawTerminal terminal;
    note(greeting + (terminal.isTerminal() ? " Ctrl-] leaves." : ""));
    while (true) {
        feed.await(STDIN_FILENO);
        const auto bytes = readInput();
        const std::size_t leave = bytes && terminal.isTerminal() ? bytes->find(kLeave) : std::string::npos;
        if (bytes) {
            feed.type(std::string_view(*bytes).substr(0, leave));
        }
        if (!bytes || leave != std::string::npos) {
            break;
        }
    }
    feed.settle();
}

void serveClients(Feed& feed, TcpServer& server)
{
    while (true) {
        feed.await(server.descriptor());
        feed.type(server.read());
        if (server.clientIsDone()) {
            feed.settle();
            server.dropClient();
        }
    }
}

void serveDevice(Receiver& receiver)
{
    while (true) {
        receiver.attend(-1);
    }
}
