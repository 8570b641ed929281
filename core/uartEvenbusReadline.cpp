#include "core/uartEvenbusReadline.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <sys/select.h>
#include <unistd.h>

#include "console/dispatcher.h"
#include "platform/eventBus.h"
#include "platform/logger.h"
#include "platform/support/fixedText.h"
#include "platform/support/hexText.h"
#include "platform/support/report.h"
#include "serial/lineIntake.h"
#include "serial/portKeeper.h"
#include "serial/uart.h"

namespace {

constexpr suseconds_t kBurstGapUs = 30'000;
// Quiet gaps in a row after which a partial line is given up: about three seconds.
constexpr int kPartialLineGaps = 101;

// Set by the signal; the loop looks at it at least every 30 ms.
volatile std::sig_atomic_t g_exitAsked = 0;

// Everything the loop keeps from pass to pass: nothing is allocated while it runs.
struct LoopState {
    char chunk[kReadChunk];
    LineIntake intake;
    LineRouter router;
    ServiceHandle service;
    int idleCount = 0;
    int linkStatus = 0;  // g_valensLinkStatus as last seen
    int highestFd = -1;  // never shrinks
};

// The first 341 bytes of the burst.
using BurstHex = FixedText<1024>;

void cleanExit(int /*signal*/)
{
    g_exitAsked = 1;
}

void destroyService(ServiceHandle& handle)
{
    if (handle.service != nullptr) {
        printOut("[%s] excute lpc_service_destroy(gService)\r\n", "cleanExit");
        lpc_service_destroy(handle.service);
    }
    handle = {nullptr, -1};
}

void readPort(LoopState& state, const UartPort& port) REQUIRES(state.router.record.mutex)
{
    const ssize_t count = ::read(port.fd, state.chunk, sizeof state.chunk);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (count <= 0) {
        losePort(state.router.record, count < 0 ? errno : 0);
        state.intake.line.clear();  // what the device goes on with once it is back is not the rest of this line
        return;
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        assembleByte(state.intake, state.router, state.chunk[i], i);
    }
    state.intake.extendBurst(static_cast<std::size_t>(count));
}

void serveRequest(const ServiceHandle& handle)
{
    if (__logLevels[6] != 0) {
        __printLog(6, "FD_ISSET( lpcfd, &rfds )\r\n");
    }
    if (lpc_service_on_connect(handle.service) != 0) {
        printOut("lpc_service_on_connect");
    }
}

void printDebug(const char* label, int value)
{
    FixedText<64> text;
    text.format("%s=%d", label, value);
    printError("\033[1;31;33m[%s][%d] %s\033[0m\n", "main", __LINE__, text.c_str());
}

void sendTo900xPort(const LineIntake& intake)
{
    printError("\033[1;31;33m[%s][%d] line=%s\033[0m\n", "sendTo900xPort", __LINE__, intake.strcmd900XPort);
    BurstHex hex;
    appendHex(hex, {intake.strcmd900XPort, intake.burstLength});
    printError("\033[1;31;33m[%s][%d] hexStringBuf=%s\033[0m\n", "sendTo900xPort", __LINE__, hex.c_str());
    if (eventbus_publish("recvHDBTSendTo9001", hex.c_str()) != 0) {
        reportSystemError("publishEvent(recvHDBTSendTo9001 SYSTEM_CMD_REQ_DEFAULT!)");
    }
}

// A burst that nobody claimed: neither a handshake nor a failure of it.
void forwardBurst(const LoopState& state)
{
    const LineIntake& intake = state.intake;
    const bool handshake = intake.checkWpString_S == 1 && intake.checkWpString_E == 1;
    if (intake.checkWpString_Fail != 0 || handshake || intake.burstLength == 0) {
        return;
    }
    printDebug("checkWpString_Fail", intake.checkWpString_Fail);
    printDebug("checkWpString_S", intake.checkWpString_S);
    printDebug("checkWpString_E", intake.checkWpString_E);
    printError("\033[1;31;33m[%s][%d] strcmd900XPort=%s\033[0m\n", "main", __LINE__, intake.strcmd900XPort);
    printDebug("totalLenFor900X", static_cast<int>(intake.burstLength));
    if (state.router.record.sourceType == kInternalHdbtLink) {
        sendTo900xPort(intake);
    }
}

void endIdleRound(LoopState& state)
{
    LineIntake& intake = state.intake;
    if (state.idleCount >= kPartialLineGaps) {
        if (!intake.line.empty()) {
            printError("\033[1;31;33m[%s][%d] free!\033[0m\n", "main", __LINE__);
            intake.line.clear();
        }
        state.idleCount = 0;
    }
    intake.clearBurst();
    intake.clearBurstFlags();
}

// The line was quiet for 30 ms. Runs without the record's mutex: forwarding calls may take their time.
void onQuietGap(LoopState& state)
{
    if (state.router.zone.pending()) {
        state.router.zone.finish();
    }
    const int linkStatus = g_valensLinkStatus.load(std::memory_order_relaxed);
    if (linkStatus != state.linkStatus) {
        state.intake.line.clear();
        state.intake.clearBurst();
    }
    forwardBurst(state);
    ++state.idleCount;
    state.linkStatus = linkStatus;
    endIdleRound(state);
}

void watch(fd_set& set, int fd, int& highestFd)
{
    if (fd >= 0 && fd < FD_SETSIZE) {
        FD_SET(fd, &set);
        highestFd = std::max(highestFd, fd);
    }
}

bool isReady(const fd_set& set, int fd)
{
    return fd >= 0 && fd < FD_SETSIZE && FD_ISSET(fd, &set);
}

void runPass(LoopState& state)
{
    ConsoleParameter& record = state.router.record;
    fd_set readable;
    FD_ZERO(&readable);
    // Held through the select, so that its descriptor cannot become another file's meanwhile.
    std::shared_ptr<UartPort> port;
    {
        const RecordLock lock(record.mutex);
        port = keepPort(record);
        watch(readable, port != nullptr ? port->fd : -1, state.highestFd);
        watch(readable, state.service.fd, state.highestFd);
    }

    timeval timeout{0, kBurstGapUs};
    if (::select(state.highestFd + 1, &readable, nullptr, nullptr, &timeout) < 1) {
        port.reset();
        onQuietGap(state);
        return;
    }

    printError("\033[1;31;33m[%s][%d] select success!\033[0m\n", "main", __LINE__);
    const bool portIsReady = port != nullptr && isReady(readable, port->fd);
    const std::weak_ptr<UartPort> waitedAt = port;
    port.reset();  // whoever replaces the port now finds it closed
    const RecordLock lock(state.router.record.mutex);
    // A port that the listener replaced meanwhile has nothing more to say.
    port = waitedAt.lock();
    if (portIsReady && port != nullptr && record.uart.hold() == port) {
        readPort(state, *port);
    }
    port.reset();  // a request may replace it as well
    if (isReady(readable, state.service.fd)) {
        serveRequest(state.service);
    }
    state.idleCount = 0;
}

}  // namespace

bool installCleanExit()
{
    struct sigaction action {};
    action.sa_handler = cleanExit;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGINT, &action, nullptr) == 0;
}

void runLoop(ConsoleParameter& record, ServiceHandle service)
{
    static LoopState state{
        .chunk = {}, .intake = {}, .router = {.record = record, .dispatch = UserCommandHandler}, .service = service};
    while (true) {
        if (g_exitAsked != 0) {
            g_exitAsked = 0;
            destroyService(state.service);
        }
        runPass(state);
    }
}
