// Runs the transcripts in this process, on the recording platform.
#include <gtest/gtest.h>

#include "support/endAtOnce.h"
#include "transcript/scenarioTests.h"
#include "transcript/unitBackend.h"

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
    endAtOnce(result);
}
