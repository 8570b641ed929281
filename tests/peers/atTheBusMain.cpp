// Runs the tests of this program against the built daemon, on the bundled engine and a private bus.
#include <gtest/gtest.h>

#include "peers/consoleUnderTest.h"
#include "transcript/endToEndBackend.h"

const transcript::MakeBackend kMakeBackend = transcript::makeEndToEndBackend;

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
