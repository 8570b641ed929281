// Start-up: the role is taken from the program's name, the record is filled, the port opened, the service created, the
// listener started; then the loop.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <pthread.h>

#include "core/command.h"
#include "core/consoleParameter.h"
#include "core/processName.h"
#include "core/serviceEndpoints.h"
#include "core/uartEvenbusReadline.h"
#include "core/uartParamInit.h"
#include "core/upTimeProbe.h"
#include "platform/support/report.h"

namespace {

constexpr int kFailed = -1;

// A log reader that went away must not take the console with it. And SIGCHLD may come ignored from whoever started it,
// which lasts over execve(2): commands that are run here would leave no status.
void setSignals()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
}

// SIGINT is the loop's: the listener starts with it blocked, so that it wakes the right thread.
bool startListener(ConsoleParameter& record)
{
    sigset_t interrupt;
    sigset_t before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &before);
    pthread_t thread{};
    const int failure = pthread_create(&thread, nullptr, doListenEventLoop, &record);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (failure != 0) {
        return false;
    }
    pthread_detach(thread);
    return true;
}

lpc_service* announceAndCreateService(ConsoleParameter& record)
{
    printOut("[main]consoleParamA.sourceType=%d\n", record.sourceType);
    if (const char* name = serviceName(record.sourceType)) {
        printOut("[main]lpc_service_create|%s\r", name);
    }
    errno = 0;
    return createService(record);
}

}  // namespace

int main(int argc, char* argv[])
{
    setProgramName(argc > 0 ? argv[0] : "");
    if (argc != 2) {
        printOut("parameter number error!!!\r");
        return kFailed;
    }
    setSignals();

    static ConsoleParameter record;
    record.sourceType = roleOf(programName());
    record.serialdev = argv[1];
    storeUpTime();
    uartParamInit(record);
    if (!installCleanExit()) {
        printError("Error setting signal handler %d", SIGINT);
    }

    lpc_service* service = announceAndCreateService(record);
    if (service == nullptr) {
        reportSystemError("lpc_service_create error");
        return kFailed;
    }
    const int fd = lpc_service_fileno(service);
    if (fd < 0) {
        printOut("lpc_service_fileno");
        return kFailed;
    }
    if (!startListener(record)) {
        printOut("pthread_create failed");
        return 1;
    }
    runLoop(record, {service, fd});
}
