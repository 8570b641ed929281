// Runs the transcripts against the built daemon.
#include <gtest/gtest.h>

#include "transcript/endToEndBackend.h"
#include "transcript/scenarioTests.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    transcript::registerScenarios(true, transcript::makeEndToEndBackend);
    return RUN_ALL_TESTS();
}
