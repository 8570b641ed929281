// The platform in memory refuses what the bundled engine refuses.
#include <cerrno>
#include <gtest/gtest.h>

#include "platform/store.h"
#include "support/recordingPlatform.h"

namespace {

TEST(RecordingPlatform, RefusesNumbersThatJsonDoesNotHave)
{
    recording::reset();
    for (const char* document :
         {R"({"i":{"a":NaN}})", R"({"i":{"a":1,"b":-Infinity}})", R"({"i":{"a":[1,{"b":NaN}]}})"}) {
        errno = 0;
        EXPECT_NE(user_config_update(document), 0) << document;
        EXPECT_EQ(errno, EINVAL) << document;
    }
    EXPECT_TRUE(recording::take().events.empty());
    EXPECT_EQ(user_config_update(R"({"i":{"a":"NaN \" Infinity","b":[1e5,null]}})"), 0);
}

}  // namespace
