#include "soak/traffic.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>

#include "platform/eventBus.h"
#include "platform/lpc.h"
#include "platform/store.h"
#include "support/hexOf.h"
#include "support/waiting.h"

namespace {

constexpr const char* kConsoleService = "lpcExampledNoUse";
constexpr const char* kLinkService = "lpcExampledNoUse2";
constexpr const char* kBursts = "recvHDBTSendTo9001";
constexpr std::string_view kHandshake = "WP_soak]$\r";  // each character is a call
constexpr std::size_t kLongestBurst = 341;
constexpr std::chrono::seconds kReplyPatience{60};  // a loaded machine may be slow; nothing may be lost

constexpr char kTxDump[] = "TX:920508D9EE20000000A4000000B500000C6E000010000D0C0B0A2D0000000700000012";
constexpr char kRxDump[] = "RX:130008D9EE21000001110000122200013333000044441D1C1B1A2E0000010700000112";
constexpr char kTxReport[] = "TX:920508D9EE20000000A4000000B500000C6E000010000D0C0B0A2D";
constexpr char kRxReport[] = "RX:13000000010700000111000012220001333300004444000001122E";

std::string numbered(const char* begin, int number)
{
    char text[32];
    std::snprintf(text, sizeof text, "%s%09d", begin, number);
    return text;
}

int below(std::mt19937& random, int bound)
{
    return std::uniform_int_distribution<int>(0, bound - 1)(random);
}

void publish(const char* topic, const std::string& payload)
{
    if (eventbus_publish(topic, payload.c_str()) != 0) {
        throw std::runtime_error(std::string(topic) + ": " + std::strerror(errno));
    }
}

void update(int (*store)(const char*), const std::string& document)
{
    if (store(document.c_str()) != 0) {
        throw std::runtime_error(document + ": " + std::strerror(errno));
    }
}

template <class Condition>
void waitFor(const std::string& what, Condition condition)
{
    if (!becomesTrue(condition, kReplyPatience)) {
        throw std::runtime_error("waited in vain for " + what);
    }
}

}  // namespace

Traffic::Traffic(const TestDevice& device, CheckedLine& console, CheckedLine& link, unsigned seed)
    : device_(device), console_(console), link_(link), random_(seed)
{
}

void Traffic::begin(const std::function<void()>& check)
{
    const auto serves = [&](const char* service, const char* method) {
        waitFor(std::string(service) + " to serve", [&] {
            check();
            return lpc_proxy_call(service, method, "") == 0;
        });
    };
    serves(kConsoleService, "wpDispBtn");
    serves(kLinkService, "RS232zone");
    // Texts published before a listener has subscribed are lost.
    for (CheckedLine* line : {&console_, &link_}) {
        std::string came;
        waitFor("a listener", [&] {
            check();
            publish("uartProjectorEvent", "listening\r\n");
            constexpr std::chrono::milliseconds kOneTry{50};
            return becomesTrue(
                [&] {
                    came += line->takeAll();
                    return came.find("listening\r\n") != std::string::npos;
                },
                kOneTry);
        });
    }
    // The last of them have come when a text behind them has.
    publish("uartProjectorEvent", "at last\r\n");
    for (CheckedLine* line : {&console_, &link_}) {
        std::string came;
        waitFor("the listener", [&] {
            came += line->takeAll();
            return came.ends_with("at last\r\n");
        });
    }
    bursts_ = std::make_unique<Watcher>(kBursts, [this](const local::Event& event) {
        const std::lock_guard lock(publishedMutex_);
        published_.push_back(event.payload.value_or(""));
    });
}

void Traffic::work(std::chrono::milliseconds time, const std::vector<Worker>& workers)
{
    const auto end = Clock::now() + time;
    std::mutex mutex;
    std::string failure;
    std::atomic<bool> failed{false};
    std::vector<std::thread> threads;
    for (const Worker& worker : workers) {
        threads.emplace_back([&, worker, random = Random(random_())]() mutable {
            try {
                do {
                    worker.step(random);
                    std::this_thread::sleep_for(std::chrono::milliseconds(worker.pauseMs));
                } while (Clock::now() < end && !failed);
            } catch (const std::exception& error) {
                const std::lock_guard lock(mutex);
                failure += failure.empty() ? error.what() : std::string("; ") + error.what();
                failed = true;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    if (failed) {
        throw std::runtime_error(failure);
    }
}

void Traffic::round(bool withResets)
{
    changePeers(random_);
    const std::size_t handshakes = counts_.handshakes;
    const std::size_t zoneTexts = counts_.zoneTexts;
    const std::size_t forwarded = wpcmdd_.calls();
    const std::size_t sent = displayControl_.calls();
    {
        const std::lock_guard lock(publishedMutex_);
        published_.clear();
    }
    work(std::chrono::milliseconds(200 + below(random_, 600)),
         {{[this](Random& random) {
               // Without a display its texts are answered by nothing.
               displayControl_.present() && below(random, 8) == 0 ? typeZoneText(random) : typeCommands(random);
           },
           0},
          {[this](Random& random) { typeAtLink(random); }, 0},
          // A loop needs pauses between requests to tell where a burst ends.
          {[this](Random& random) {
               for (int i = below(random, 8); i >= 0; --i) {
                   request();
               }
           },
           70},
          {[this](Random& random) {
               for (int i = below(random, 8); i >= 0; --i) {
                   writeToLink(random);
               }
           },
           70},
          {[this](Random&) { publishText(); }, 7},
          {[this](Random&) {
               publishDump();
               toggleBroadcast();
               changeSettings();
           },
           40},
          {[this](Random& random) {
               Peer& peer = below(random, 2) == 0 ? systemd_ : networkd_;
               peer.present() ? peer.leave() : peer.come();
               ++counts_.comings;
           },
           100}});
    if (below(random_, 4) == 0) {
        runProgram();
    }
    waitForCompletion();
    if (wpcmdd_.present() && wpcmdd_.calls() - forwarded != (counts_.handshakes - handshakes) * kHandshake.size()) {
        throw std::runtime_error("a handshake's characters are lost");
    }
    if (displayControl_.present() && displayControl_.calls() - sent != counts_.zoneTexts - zoneTexts) {
        throw std::runtime_error("a text for the display is lost");
    }

    // The ports are opened anew; what is typed then may be lost, so nobody types.
    work(std::chrono::milliseconds(20 + below(random_, 80)),
         {{[this](Random&) { request(); }, 1},
          {[this](Random& random) {
               writeToLink(random);
               constexpr const char* kWords[] = {"default", "user", "neither"};
               call(kLinkService, "HDBTRS232Set", kWords[below(random, 3)]);
               ++counts_.openings;
           },
           5},
          {[this](Random&) { changeLineSettings(); }, 5},
          {[this, withResets](Random& random) {
               if (withResets) {
                   call(below(random, 2) == 0 ? kConsoleService : kLinkService, "UartReset", "now");
                   ++counts_.openings;
               }
           },
           15},
          {[this](Random&) { publishText(); }, 2}});
    waitForCompletion();
    passListeners();
}

void Traffic::changePeers(Random& random)
{
    for (Peer* peer : {&wpcmdd_, &displayControl_, &intermcud_}) {
        const bool wanted = below(random, 3) != 0;
        if (wanted != peer->present()) {
            wanted ? peer->come() : peer->leave();
            ++counts_.comings;
        }
    }
    const bool clients = below(random, 2) == 0;
    if (clients != clients_) {
        clients_ = clients;
        update(user_status_update, R"({"network":{"telnet":{"connect9001Count":)" +
                                       std::to_string(clients ? 1 + below(random, 3) : 0) + "}}}");
    }
    passListeners();
    if (clients_) {
        showGap();
    }
}

// What this thread has published and stored is dealt with.
void Traffic::passListeners()
{
    publishText();
    waitForCompletion();
}

void Traffic::waitForCompletion()
{
    if (!becomesTrue([&] { return console_.complete() && link_.complete(); }, kReplyPatience)) {
        throw std::runtime_error("lost: " + console_.outstanding() + " " + link_.outstanding());
    }
}

void Traffic::typeCommands(Random& random)
{
    std::string typed;
    const auto ask = [&](const std::string& line, const std::string& answer) {
        console_.expect(answer);
        typed += line + '\r';
        ++counts_.commands;
    };
    for (int count = 1 + below(random, 12); count > 0; --count) {
        const std::string word = below(random, 2) == 0 ? "on" : "off";
        switch (below(random, 7)) {
        case 0: {
            const std::string line = numbered("L", ++commandNumber_);
            ask(line, "Command FAILED: (" + line + ")");
            break;
        }
        case 1: {
            const std::string line =
                numbered("L", ++commandNumber_) + std::string(static_cast<std::size_t>(below(random, 3'000)), '.');
            ask(line, "Command FAILED: (" + line + ")");
            break;
        }
        case 2:
            ask("VOUTMute " + word, "VOUTMute " + word);
            ask("VOUTMute sta", "VOUTMute " + word);
            break;
        case 3:
            ask("Blink " + word, "Blink " + word);
            ask("Blink sta", "Blink " + word);
            break;
        case 4: ask("TrigCEC1 " + word, "TrigCEC1 " + word); break;
        case 5: ask("Update", "Update"); break;
        default: ask("help Lock", "Lock    Locks the front panel of the matrix.");
        }
    }
    console_.type(typed);
    waitFor("replies at the console, " + console_.outstanding(), [&] { return console_.answered(); });
}

void Traffic::typeZoneText(Random& random)
{
    const std::string line =
        "RS232zone[" +
        std::string(1 + static_cast<std::size_t>(below(random, 78)), static_cast<char>('a' + below(random, 26))) + "]";
    console_.expect(line);
    ++counts_.zoneTexts;
    console_.type(line + '\r');
    waitFor("the reply to " + line, [&] { return console_.answered(); });
}

void Traffic::typeAtLink(Random& random)
{
    if (clients_) {
        // The calls of a handshake's characters show that it is dealt with.
        wpcmdd_.present() && below(random, 3) == 0 ? shakeHands() : sendBurst(random);
        return;
    }
    std::string typed;
    const auto ask = [&](const std::string& line, const std::string& answer) {
        link_.expect(answer);
        typed += line + '\r';
        ++counts_.commands;
    };
    for (int count = 1 + below(random, 6); count > 0; --count) {
        const std::string line = numbered("M", ++linkCommandNumber_);
        ask(line, "Command FAILED: (" + line + ")");
        const std::string number = std::to_string(3 + below(random, 598));
        ask("ASwOutTime " + number, "ASwOutTime " + number);
        ask("ASwOutTime sta", "ASwOutTime " + number);
    }
    link_.type(typed);
    waitFor("replies at the link, " + link_.outstanding(), [&] { return link_.answered(); });
}

void Traffic::shakeHands()
{
    const std::size_t before = wpcmdd_.calls();
    link_.type(std::string(kHandshake));
    ++counts_.handshakes;
    waitFor("a handshake's characters", [&] {
        link_.read();
        return wpcmdd_.calls() >= before + kHandshake.size();
    });
    showGap();
}

// What was typed before belongs to no later burst.
void Traffic::showGap()
{
    // A carriage return either still joins the burst before, which may be a silent one, or is a burst of its own.
    const std::size_t publications = published().size();
    constexpr std::chrono::milliseconds kFewGaps{100};
    waitFor("a quiet gap at the link", [&] {
        link_.type("\r");
        link_.read();
        return becomesTrue([&] { return published().size() > publications; }, kFewGaps);
    });
    waitFor("the line to be read", [&] { return link_.allRead(); });
}

// On a loaded machine an instance may take longer than a caller waits: what the call is to cause must come all the
// same.
void Traffic::call(const char* service, const char* method, const std::string& text)
{
    if (lpc_proxy_call(service, method, text.c_str()) != 0) {
        if (errno != ETIMEDOUT) {
            throw std::runtime_error(std::string(service) + " " + method + ": " + std::strerror(errno));
        }
        ++counts_.lateCalls;
    }
}

std::vector<std::string> Traffic::published()
{
    const std::lock_guard lock(publishedMutex_);
    return published_;
}

void Traffic::sendBurst(Random& random)
{
    constexpr char kBytes[] = "abcXYZ0189 \r\n\x01\x7f\x80\xff[{:;";
    std::string burst(static_cast<std::size_t>(2 + below(random, static_cast<int>(kLongestBurst) - 1)), '\0');
    std::generate(burst.begin(), burst.end(), [&] { return kBytes[random() % (sizeof kBytes - 1)]; });
    burst.front() = ':';  // tells it from the carriage returns that only show a gap
    burst.back() = '\r';  // the next handshake begins a line
    std::string expected;
    {
        const std::lock_guard lock(publishedMutex_);
        published_.clear();
    }
    link_.type(burst);
    std::string came;
    waitFor("a burst's publication", [&] {
        link_.read();
        // Carriage returns typed to show a gap may stand before it, or come alone.
        for (const std::string& publication : published()) {
            const std::size_t start = std::min(publication.find_first_not_of(" 0D"), publication.size());
            if (publication.substr(start).starts_with("3A")) {
                came = publication;
                expected = (publication.substr(0, start - 1) + hexOf(burst)).substr(0, 3 * kLongestBurst);
                return true;
            }
        }
        return false;
    });
    if (came != expected) {
        throw std::runtime_error("a burst" + expected + " came as" + came);
    }
    ++counts_.bursts;
}

void Traffic::request()
{
    const std::string line = numbered("W", ++requestNumber_);
    console_.expect("Command FAILED: (" + line + ")");
    call(kConsoleService, "wpDispBtn", line);
    ++counts_.requests;
}

void Traffic::writeToLink(Random& random)
{
    const bool hex = below(random, 2) == 0;
    const std::string text = hex ? numbered("Z", ++hexNumber_) : numbered("Y", ++zoneNumber_);
    link_.expect(text);
    call(kLinkService, hex ? "RS232zone900XPort" : "RS232zone", hex ? hexOf(text + "\r\n") : text + "\r\n");
    ++counts_.linkTexts;
}

void Traffic::publishText()
{
    const std::lock_guard lock(textMutex_);
    const std::string text = numbered("P", ++textNumber_);
    console_.expect(text);
    link_.expect(text);
    publish("uartProjectorEvent", text + "\r\n");
    ++counts_.projectorTexts;
}

void Traffic::toggleBroadcast()
{
    broadcast_ = !broadcast_;
    const std::string echo = broadcast_ ? "Broadcast on" : "Broadcast off";
    console_.expect(echo);
    link_.expect(echo);
    update(user_config_update, std::string(R"({"system":{"broadcast":)") + (broadcast_ ? "true" : "false") + "}}");
    ++counts_.echoes;
}

void Traffic::publishDump()
{
    console_.expect(kTxReport);
    console_.expect(kRxReport);
    publish("videoStatusConfigChanged",
            std::string(R"({"video":{"vidIn":{"hdbtIn":{"hdbtIn1":{"linkMonitoring":{"TX":{"allHexString":")") +
                kTxDump + R"("},"RX":{"allHexString":")" + kRxDump +
                R"("},"respondFrom":"stat","trigerBy":"RS232"}}}}}})");
    publish("videoStatusConfigChanged",
            std::string(R"({"video":{"vidIn":{"hdbtIn":{"hdbtIn1":{"linkMonitoring":{"TX":{"allHexString":")") +
                kTxDump + R"("},"RX":{"allHexString":")" + kRxDump +
                R"("},"respondFrom":"stat","trigerBy":"web"}}}}}})");
    counts_.dumps += 2;
}

void Traffic::changeSettings()
{
    const std::string number = std::to_string(++volume_);
    update(user_config_update,
           R"({"audio":{"audOut":{"volume":)" + number + R"(}},"control":{"name":"n)" + number + "\"}}");
    update(user_status_update, R"({"network":{"eth0":{"received":)" + number + "}}}");
    counts_.changes += 2;
}

void Traffic::changeLineSettings()
{
    ++lineSettings_;
    const std::string stopBits = std::to_string(lineSettings_ % 2 + 1);
    update(user_config_update, R"({"system":{"uart":{"interface1":{"stopbit":)" + stopBits +
                                   R"(},"interface3":{"stopbit":)" + stopBits + R"(,"baudrate":)" +
                                   std::to_string(lineSettings_ % 3 == 0 ? 9'600 : 19'200) + "}}}}");
    counts_.openings += 2;
}

void Traffic::runProgram()
{
    const OutputFile output;
    ChildProcess program({.program = PLATFORMCTL,
                          .words = {PLATFORMCTL, "config", "set", "audio.audOut.volume", std::to_string(++volume_)},
                          .environment = device_.environment(),
                          .output = output.fd()});
    if (program.wait() != 0) {
        throw std::runtime_error("platformctl: " + output.from(0));
    }
    ++counts_.programs;
}
