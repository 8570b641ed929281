// Both instances among their peers for a long time: mixed traffic, every reply counted, and what the daemons have of
// the machine looked at behind every round. Prints what it did and fails when anything is lost or grows.
//
//     soakTest [--minutes N] [--seed S] [--programs DIRECTORY] [--tolerance KIB]
//
// DIRECTORY holds another build's externalComd and internalComd, such as build/release/bin; by KIB the private memory
// of each may grow.
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <thread>

#include "endToEnd/testDevice.h"
#include "peers/ownDevices.h"
#include "soak/checkedLine.h"
#include "soak/processFigures.h"
#include "soak/traffic.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    double minutes = 30;
    unsigned seed = 1;
    std::string programs = PROGRAM_DIRECTORY;
    long tolerance = 128;  // KiB
};

// One instance; what it prints is not kept.
class Instance {
public:
    Instance(const TestDevice& device, const std::string& programs, const std::string& name)
        : name_(name), line_(name), silence_(::open("/dev/null", O_WRONLY | O_CLOEXEC))
    {
        std::vector<std::string> words;
        if (canHaveOwnDevices()) {
            words = withOwnDevices(device.directory() + "-" + name, line_.device());
        }
        words.push_back(programs + "/" + name);
        words.push_back(line_.device());
        std::map<std::string, std::string> environment = device.environment();
        environment["ASAN_OPTIONS"] = "quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
        words.insert(words.begin(), "env");
        process_ = std::make_unique<ChildProcess>(ChildProcess::Start{
            .program = "/usr/bin/env", .words = words, .environment = environment, .output = silence_.get()});
        figures_ = std::make_unique<ProcessFigures>(name, process_->pid());
    }

    CheckedLine& line() { return line_; }
    ProcessFigures& figures() { return *figures_; }

    void expectRunning()
    {
        if (!process_->running()) {
            throw std::runtime_error(name_ + " ended with status " + std::to_string(process_->wait()));
        }
    }

private:
    std::string name_;
    CheckedLine line_;
    UniqueFd silence_;
    std::unique_ptr<ChildProcess> process_;
    std::unique_ptr<ProcessFigures> figures_;
};

void print(const Traffic::Counts& counts, std::size_t rounds)
{
    std::cout << rounds << " rounds: " << counts.commands << " commands, " << counts.zoneTexts
              << " texts for the display, " << counts.requests << " requests, " << counts.linkTexts
              << " texts for the link, " << counts.projectorTexts << " texts for a projector, " << counts.bursts
              << " bursts, " << counts.handshakes << " handshakes, " << counts.echoes << " broadcasts, " << counts.dumps
              << " link dumps, " << counts.changes << " changes, " << counts.openings << " openings, " << counts.comings
              << " comings and goings of peers, " << counts.programs << " programs; " << counts.lateCalls
              << " late answers\n";
}

bool soak(const Options& options)
{
    TestDevice device;
    device.put(local::Store::settings, "system.broadcast", "false");
    device.put(local::Store::settings, "system.uart",
               R"({"interface1":{"baudrate":9600,"databit":8,"parity":0,"stopbit":1},)"
               R"("interface2":{"stopbit":1},)"
               R"("interface3":{"baudrate":9600,"databit":8,"parity":0,"stopbit":1}})");
    device.put(local::Store::status, "system.slaveMcu.isReady", "true");
    device.put(local::Store::status, "system.update.progressEvent.isOn", "false");
    device.put(local::Store::status, "network.telnet.connect9001Count", "0");
    Instance external(device, options.programs, "externalComd");
    Instance internal(device, options.programs, "internalComd");
    const auto expectRunning = [&] {
        external.expectRunning();
        internal.expectRunning();
    };
    Traffic traffic(device, external.line(), internal.line(), options.seed);
    traffic.begin(expectRunning);
    if (!canHaveOwnDevices()) {
        std::cout << "without UartReset: no mount name spaces here\n";
    }

    const auto start = Clock::now();
    const auto end =
        start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.minutes * 60));
    auto nextReport = start;
    std::size_t rounds = 0;
    try {
        while (Clock::now() < end || rounds < 10) {
            traffic.round(canHaveOwnDevices());
            ++rounds;
            expectRunning();
            for (Instance* instance : {&external, &internal}) {
                instance->figures().sample();
            }
            if (Clock::now() >= nextReport) {
                nextReport += std::chrono::minutes(5);
                print(traffic.counts(), rounds);
                std::cout << external.figures().summary() << '\n' << internal.figures().summary() << std::endl;
            }
        }
    } catch (const std::exception& error) {
        std::cout << "round " << rounds + 1 << " of seed " << options.seed << ": " << error.what() << '\n';
        expectRunning();
        return false;
    }
    std::cout << std::chrono::duration<double>(Clock::now() - start).count() << " s, seed " << options.seed << '\n';
    print(traffic.counts(), rounds);
    std::cout << external.line().received() + internal.line().received()
              << " lines came, none lost, doubled or mixed\n";
    std::string wrong;
    for (Instance* instance : {&external, &internal}) {
        std::cout << instance->figures().summary() << '\n';
        wrong += instance->figures().verdict(options.tolerance);
    }
    std::cout << wrong;
    return wrong.empty();
}

Options parse(int count, char** words)
{
    Options options;
    for (int i = 1; i < count; i += 2) {
        const std::string name = words[i];
        const char* value = i + 1 < count ? words[i + 1] : "";
        char* rest = nullptr;
        if (name == "--programs") {
            options.programs = value;
            continue;
        }
        const double number = std::strtod(value, &rest);
        if (rest == value || *rest != '\0' || number < 0) {
            throw std::runtime_error(name + " needs a number");
        }
        if (name == "--minutes") {
            options.minutes = number;
        } else if (name == "--seed") {
            options.seed = static_cast<unsigned>(number);
        } else if (name == "--tolerance") {
            options.tolerance = static_cast<long>(number);
        } else {
            throw std::runtime_error(
                "usage: soakTest [--minutes N] [--seed S] [--programs DIRECTORY] [--tolerance KIB]");
        }
    }
    return options;
}

}  // namespace

int main(int count, char** words)
{
    bool passed = false;
    // The bundled engine asks for a thread of its own.
    std::thread([&] {
        try {
            passed = soak(parse(count, words));
        } catch (const std::exception& error) {
            std::cout << error.what() << '\n';
        }
    }).join();
    return passed ? 0 : 1;
}
