// The traffic of a soak: rounds in which typists, callers, publishers and other programs work at once, each knowing
// what has to come of it.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "endToEnd/testDevice.h"
#include "soak/checkedLine.h"
#include "soak/peer.h"

class Traffic {
public:
    Traffic(const TestDevice& device, CheckedLine& console, CheckedLine& link, unsigned seed);

    /// Returns once both instances serve, with nothing outstanding. `check` throws when one of them ended.
    void begin(const std::function<void()>& check);
    /// One round; nothing is outstanding behind it. Throws when something is lost, doubled, mixed or late.
    void round(bool withResets);

    struct Counts {
        std::atomic<std::size_t> commands{0};
        std::atomic<std::size_t> zoneTexts{0};
        std::atomic<std::size_t> requests{0};
        std::atomic<std::size_t> lateCalls{0};  // answered after more than the caller's 3 s
        std::atomic<std::size_t> linkTexts{0};
        std::atomic<std::size_t> bursts{0};
        std::atomic<std::size_t> handshakes{0};
        std::atomic<std::size_t> projectorTexts{0};
        std::atomic<std::size_t> echoes{0};
        std::atomic<std::size_t> dumps{0};
        std::atomic<std::size_t> changes{0};
        std::atomic<std::size_t> openings{0};
        std::atomic<std::size_t> programs{0};
        std::atomic<std::size_t> comings{0};
    };
    [[nodiscard]] const Counts& counts() const { return counts_; }

private:
    using Clock = std::chrono::steady_clock;
    using Random = std::mt19937;

    // What one thread does until the time is over.
    struct Worker {
        std::function<void(Random&)> step;
        int pauseMs = 0;
    };
    void work(std::chrono::milliseconds time, const std::vector<Worker>& workers);

    void typeCommands(Random& random);
    void typeZoneText(Random& random);
    void typeAtLink(Random& random);
    void shakeHands();
    void showGap();
    void sendBurst(Random& random);
    void call(const char* service, const char* method, const std::string& text);
    void request();
    void writeToLink(Random& random);
    void publishText();
    void toggleBroadcast();
    void publishDump();
    void changeSettings();
    void changeLineSettings();
    void runProgram();
    void changePeers(Random& random);

    [[nodiscard]] std::vector<std::string> published();
    void waitForCompletion();
    void passListeners();

    const TestDevice& device_;
    CheckedLine& console_;
    CheckedLine& link_;
    Random random_;
    Counts counts_;

    Peer wpcmdd_{"wpcmdd"};
    Peer displayControl_{"displayControl"};
    Peer intermcud_{"intermcud"};
    Peer systemd_{"systemd"};
    Peer networkd_{"networkd"};
    std::mutex publishedMutex_;
    std::vector<std::string> published_;
    std::unique_ptr<Watcher> bursts_;  // adds to them until it is gone
    bool clients_ = false;             // on port 9001

    std::mutex textMutex_;  // projector texts leave in the order of their numbers
    int commandNumber_ = 0;
    int linkCommandNumber_ = 0;
    int requestNumber_ = 0;
    int textNumber_ = 0;
    int zoneNumber_ = 0;
    int hexNumber_ = 0;
    int volume_ = 0;
    int lineSettings_ = 0;
    bool broadcast_ = false;
};
