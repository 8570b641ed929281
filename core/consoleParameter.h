// The process-wide record and the flags that two threads share. Includes nothing of ours, so that every layer may use
// it. `mutex` is held by the main thread while it handles serial bytes or an LPC request and by the listener thread
// during every delivery: command handlers and event reactions never run at the same time.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

// Clang's thread-safety analysis (clang.llvm.org/docs/ThreadSafetyAnalysis.html); other compilers see nothing.
#if defined(__clang__)
#define THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define THREAD_ANNOTATION(attribute)
#endif
#define GUARDED_BY(lock) THREAD_ANNOTATION(guarded_by(lock))
#define REQUIRES(lock) THREAD_ANNOTATION(requires_capability(lock))
#define EXCLUDES(lock) THREAD_ANNOTATION(locks_excluded(lock))

class THREAD_ANNOTATION(capability("mutex")) Mutex {
public:
    void lock() THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
    void unlock() THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

// Serves its waiters in the order they came. The loop and the listener both take the record's mutex again right after
// they let it go; with an unfair one a flood of events would shut out the console, or the reverse.
class THREAD_ANNOTATION(capability("mutex")) FairMutex {
public:
    void lock() THREAD_ANNOTATION(acquire_capability())
    {
        std::unique_lock<std::mutex> guard(mutex_);
        const unsigned turn = next_++;
        turnCame_.wait(guard, [&] { return turn == serving_; });
    }

    void unlock() THREAD_ANNOTATION(release_capability())
    {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            ++serving_;
        }
        turnCame_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable turnCame_;
    unsigned next_ = 0;
    unsigned serving_ = 0;
};

template <class Lockable>
class THREAD_ANNOTATION(scoped_lockable) ScopedLock {
public:
    explicit ScopedLock(Lockable& mutex) THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) { mutex_.lock(); }
    ~ScopedLock() THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    Lockable& mutex_;
};
using MutexLock = ScopedLock<Mutex>;
using RecordLock = ScopedLock<FairMutex>;

struct UartPort;  // serial/uart.h

// The open serial port, or none. The quiet-gap reply and the loop's select use the port outside the record's mutex,
// while the listener may be replacing it. So a user holds the port itself, not its number: hold() returns a share, and
// the descriptor is closed when the last share is gone. A descriptor in use can therefore be neither closed nor reused,
// and no lock is held across a select. The slot's own mutex covers only the copy of a pointer; across a write the
// port's `writing` is held, and for a reply the record's mutex with it.
class PortSlot {
public:
    std::shared_ptr<UartPort> hold() EXCLUDES(mutex_)
    {
        MutexLock lock(mutex_);
        return port_;
    }

    // The port that stood here is closed as soon as nobody holds it any more.
    void replace(std::shared_ptr<UartPort> port) EXCLUDES(mutex_)
    {
        MutexLock lock(mutex_);
        port_.swap(port);
    }

private:
    Mutex mutex_;
    std::shared_ptr<UartPort> port_ GUARDED_BY(mutex_);
};

// A device and the line settings to open it with.
struct PortSettings {
    const char* path = "";
    int speed = 0;  // bit/s
    int dataBits = 0;
    int stopBits = 0;
    int parity = 0;
};

enum SourceType : std::int32_t {
    kNoRole = 0,
    kExternalConsole = 2,   // externalComd: the RS-232 console port
    kInternalHdbtLink = 5,  // internalComd: the serial link over the HDBaseT cable
};

struct ConsoleParameter {
    std::int32_t sourceType = kNoRole;
    // Interface 1 line settings: bit/s, bits, 0 none / 1 odd / other even, 2 two / other one.
    std::int32_t baudrate = 0;
    std::int32_t datalen = 0;
    std::int32_t parity = 0;
    std::int32_t stop = 0;
    // HDBaseT link line settings, the same units.
    std::int32_t hdbt_baudrate = 0;
    std::int32_t hdbt_datalen = 0;
    std::int32_t hdbt_parity = 0;
    std::int32_t hdbt_stop = 0;
    PortSlot uart;
    // Changed with the mutex held; see serial/portKeeper.h.
    PortSettings lastTried;                           // what `uart` was last opened with, or failed to
    bool portAway = false;                            // `lastTried` was lost or failed, and is not back
    std::chrono::steady_clock::time_point nextTry{};  // not before this is it tried again
    FairMutex mutex;
    const char* serialdev = nullptr;
};

// The one record; set by uartParamInit, null before.
extern ConsoleParameter* pConsoleParameterA;

// Written by the listener, read by the loop; each stands alone, so relaxed order is enough.
extern std::atomic<int> g_valensLinkStatus;  // HDBaseT link: 1 up, 0 down
extern std::atomic<int> g_connect9001Count;  // clients on TCP port 9001
extern std::atomic<int> wpIsSuccess;         // 1 while the link's identify status is "success"
