#include "platform/factoryData.h"

#include <cstdlib>

#include "conformanceTest.h"

namespace {

class FactoryData : public ConformanceTest {
protected:
    static std::optional<std::string> read(const char* key)
    {
        char nothing = 0;
        char* text = &nothing;
        const int result = factory_read_data(key, &text);
        EXPECT_EQ(result == 0, text != nullptr);
        if (text == nullptr) {
            return std::nullopt;
        }
        std::string copy = text;
        std::free(text);
        return copy;
    }
};

TEST_F(FactoryData, AMissingItemIsANullText)
{
    EXPECT_EQ(read("MacAddr"), std::nullopt);
    engine->writeFactoryData("SerialNumber", "1");
    EXPECT_EQ(read("MacAddr"), std::nullopt);
    EXPECT_EQ(read(""), std::nullopt);
}

TEST_F(FactoryData, ItemsAreReadByKey)
{
    engine->writeFactoryData("MacAddr", "00:1A:2B:3C:4D:5E");
    engine->writeFactoryData("SerialNumber", "");
    engine->writeFactoryData("ProductID", "caf\xe9 \"quoted\"");
    EXPECT_EQ(read("MacAddr"), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(read("SerialNumber"), "");
    EXPECT_EQ(read("ProductID"), "caf\xe9 \"quoted\"");
    EXPECT_EQ(read("macaddr"), std::nullopt);
    engine->writeFactoryData("MacAddr", "00:00:00:00:00:01");
    EXPECT_EQ(read("MacAddr"), "00:00:00:00:00:01");
}

}  // namespace
