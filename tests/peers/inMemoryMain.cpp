// Runs the tests of this program in one process, on the recording platform.
#include <gtest/gtest.h>

#include "peers/consoleUnderTest.h"
#include "support/endAtOnce.h"
#include "transcript/unitBackend.h"

const transcript::MakeBackend kMakeBackend = transcript::makeUnitBackend;

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    endAtOnce(result);
}
