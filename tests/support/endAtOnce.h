// The end of a test program whose loop and listener threads never end: they must not see the process being taken apart.
#pragma once

#include <cstdio>
#include <unistd.h>

extern "C" __attribute__((weak)) void __lsan_do_leak_check();
extern "C" __attribute__((weak)) void __gcov_dump();

/// Leaks are looked for and coverage is written, as at any end.
[[noreturn]] inline void endAtOnce(int status)
{
    std::fflush(nullptr);
    if (__lsan_do_leak_check != nullptr) {
        __lsan_do_leak_check();
    }
    if (__gcov_dump != nullptr) {
        __gcov_dump();
    }
    _exit(status);
}
