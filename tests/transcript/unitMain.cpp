// Runs the transcripts in this process, on the recording platform.
#include <cstdio>
#include <unistd.h>

#include <gtest/gtest.h>

#include "transcript/scenarioTests.h"
#include "transcript/unitBackend.h"

extern "C" __attribute__((weak)) void __lsan_do_leak_check();
extern "C" __attribute__((weak)) void __gcov_dump();

// A data race ends the process at once: its end below would not tell.
extern "C" const char* __tsan_default_options()
{
    return "halt_on_error=1";
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    transcript::registerScenarios(false, transcript::makeUnitBackend);
    const int result = RUN_ALL_TESTS();
    transcript::removeUnitFiles();
    std::fflush(nullptr);
    // The loop and the listener never end: they must not see the process being taken apart.
    if (__lsan_do_leak_check != nullptr) {
        __lsan_do_leak_check();
    }
    if (__gcov_dump != nullptr) {
        __gcov_dump();
    }
    _exit(result);
}
