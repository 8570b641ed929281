#include "bench/privateBus.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <string_view>
#include <unistd.h>

#include "bench/limits.h"
#include "bench/ownProgram.h"
#include "support/failure.h"

namespace {

// Value escaping of D-Bus server addresses.
std::string escapedForAddress(std::string_view path)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isalnum(byte) != 0 || std::strchr("-_/.\\*", character) != nullptr) {
            out += character;
        } else {
            out += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
        }
    }
    return out;
}

std::string escapedForXml(std::string_view text)
{
    std::string out;
    for (const char character : text) {
        switch (character) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        default: out += character;
        }
    }
    return out;
}

void writeConfiguration(const std::filesystem::path& file, const std::string& address)
{
    std::ofstream stream(file, std::ios::binary);
    stream << "<busconfig>\n"
              "  <type>session</type>\n"
              "  <listen>"
           << escapedForXml(address)
           << "</listen>\n"
              "  <auth>EXTERNAL</auth>\n"
              "  <policy context=\"default\">\n"
              "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
              "    <allow eavesdrop=\"true\"/>\n"
              "    <allow own=\"*\"/>\n"
              "  </policy>\n"
              "</busconfig>\n";
    stream.close();
    if (!stream) {
        throw Refused("'" + file.string() + "' cannot be written");
    }
}

struct Pipe {
    UniqueFd reading;
    UniqueFd writing;
};

Pipe makePipe()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Refused(std::string("a pipe cannot be made: ") + std::strerror(errno));
    }
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

}  // namespace

PrivateBus::PrivateBus(const Workspace& workspace)
    : address_("unix:path=" + escapedForAddress(workspace.busSocket().native()))
{
    const auto configuration = workspace.file("bus.conf");
    writeConfiguration(configuration, address_);
    // The bus prints its address once it listens, and then the pipe is readable; also when it has ended.
    Pipe ready = makePipe();
    ChildProcess::Setup setup;
    setup.command = {programOnPath("dbus-daemon"),
                     "--nofork",
                     "--nopidfile",
                     "--nosyslog",
                     "--config-file=" + configuration.string(),
                     "--print-address=" + std::to_string(ready.writing.get())};
    setup.log = workspace.file("bus.log");
    setup.inherited = ready.writing.get();
    process_ = std::make_unique<ChildProcess>(setup);
    ready.writing.reset();
    pollfd readable{.fd = ready.reading.get(), .events = POLLIN, .revents = 0};
    while (poll(&readable, 1, kStartTimeMs) < 0 && errno == EINTR) {
    }
    if ((readable.revents & POLLIN) == 0) {
        process_->stop();
        throw Refused("the private bus does not start: " + process_->obituary());
    }
}
