// Queries: what stands in a store, read by type and as a tree.
#include <cstdlib>

#include "conformanceTest.h"

namespace {

class StoreQuery : public StoreTest {};
FOR_BOTH_STORES(StoreQuery);

TEST_P(StoreQuery, MissingStoreIsAnEmptyOne)
{
    EXPECT_EQ(store.boolean(R"({"control":{"ledMode":false}})"), std::nullopt);
    EXPECT_EQ(store.integer(R"({"control":{"ledMode":0}})"), std::nullopt);
    EXPECT_EQ(store.text(R"({"control":{"ledMode":""}})"), std::nullopt);
    EXPECT_EQ(store.tree(R"({"control":{}})"), "absent");
}

TEST_P(StoreQuery, LeavesAreReadByTheirType)
{
    ASSERT_EQ(store.update(R"({"types":{"yes":true,"no":false,"number":-42,"text":"hello","list":[1,"two"]}})"), 0);
    EXPECT_EQ(store.boolean(R"({"types":{"yes":false}})"), true);
    EXPECT_EQ(store.boolean(R"({"types":{"no":false}})"), false);
    EXPECT_EQ(store.integer(R"({"types":{"number":0}})"), -42);
    EXPECT_EQ(store.text(R"({"types":{"text":""}})"), "hello");
    EXPECT_EQ(store.tree(R"({"types":{"list":[]}})"), R"({"types":{"list":[1,"two"]}})");
}

TEST_P(StoreQuery, AnotherTypeIsAsGoodAsMissing)
{
    ASSERT_EQ(store.update(
                  R"({"types":{"yes":true,"number":1,"real":1.0,"text":"true","digits":"5","none":null,"list":[true],)"
                  R"("branch":{"leaf":1}}})"),
              0);
    for (const char* leaf : {"number", "real", "text", "digits", "none", "list", "branch", "missing"}) {
        EXPECT_EQ(store.boolean(std::string(R"({"types":{")") + leaf + "\":false}}"), std::nullopt) << leaf;
    }
    for (const char* leaf : {"yes", "real", "text", "digits", "none", "list", "branch", "missing"}) {
        EXPECT_EQ(store.integer(std::string(R"({"types":{")") + leaf + "\":0}}"), std::nullopt) << leaf;
    }
    for (const char* leaf : {"yes", "number", "real", "none", "list", "branch", "missing"}) {
        EXPECT_EQ(store.text(std::string(R"({"types":{")") + leaf + "\":\"\"}}"), std::nullopt) << leaf;
    }
}

TEST_P(StoreQuery, IntegersMustFit)
{
    ASSERT_EQ(store.update(R"({"n":{"most":2147483647,"least":-2147483648,"over":2147483648,"under":-2147483649,)"
                           R"("far":9223372036854775807}})"),
              0);
    EXPECT_EQ(store.integer(R"({"n":{"most":0}})"), 2147483647);
    EXPECT_EQ(store.integer(R"({"n":{"least":0}})"), -2147483647 - 1);
    EXPECT_EQ(store.integer(R"({"n":{"over":0}})"), std::nullopt);
    EXPECT_EQ(store.integer(R"({"n":{"under":0}})"), std::nullopt);
    EXPECT_EQ(store.integer(R"({"n":{"far":0}})"), std::nullopt);
    EXPECT_EQ(store.tree(R"({"n":{"far":0}})"), R"({"n":{"far":9223372036854775807}})");
}

TEST_P(StoreQuery, TextsComeBackByteForByte)
{
    ASSERT_EQ(store.update("{\"t\":{\"plain\":\"a/b\",\"escaped\":\"q\\\"b\\\\n\\n\\t\\u00e9\\u20ac\",\"empty\":\"\","
                           "\"raw\":\"\xff\xfe caf\xe9\"}}"),
              0);
    EXPECT_EQ(store.text(R"({"t":{"plain":""}})"), "a/b");
    EXPECT_EQ(store.text(R"({"t":{"escaped":""}})"), "q\"b\\n\n\t\xc3\xa9\xe2\x82\xac");
    EXPECT_EQ(store.text(R"({"t":{"empty":""}})"), "");
    EXPECT_EQ(store.text(R"({"t":{"raw":""}})"), "\xff\xfe caf\xe9");
    EXPECT_EQ(store.tree(R"({"t":{"raw":""}})"), "{\"t\":{\"raw\":\"\xff\xfe caf\xe9\"}}");
}

TEST_P(StoreQuery, AnEmbeddedZeroEndsTheTextForReadersOfText)
{
    ASSERT_EQ(store.update(R"({"t":{"zero":"ab\u0000cd","next":1}})"), 0);
    EXPECT_EQ(store.text(R"({"t":{"zero":""}})"), "ab");
    EXPECT_EQ(store.tree(R"({"t":{}})"), R"({"t":{"next":1,"zero":"ab\u0000cd"}})");
}

TEST_P(StoreQuery, KeysNeedNotBeAscii)
{
    ASSERT_EQ(store.update("{\"t\":{\"\xe9t\xc3\xa9 [1]/-\":{\"\\\"\":7}}}"), 0);
    EXPECT_EQ(store.integer("{\"t\":{\"\xe9t\xc3\xa9 [1]/-\":{\"\\\"\":0}}}"), 7);
    EXPECT_EQ(store.tree("{\"t\":{}}"), "{\"t\":{\"\xe9t\xc3\xa9 [1]/-\":{\"\\\"\":7}}}");
}

TEST_P(StoreQuery, SubtreeComesUnderItsFullPath)
{
    ASSERT_EQ(store.update(R"({"system":{"uart":{"interface1":{"baudrate":9600,"databit":8}},"name":"x"},"other":1})"),
              0);
    json_token* token = store.queryToken(R"({"system":{}})");
    ASSERT_NE(token, nullptr);
    EXPECT_EQ(json_token_object_walk_get_int(token, "system.uart.interface1.baudrate", 99), 9600);
    EXPECT_EQ(json_token_object_walk_get_int(token, "system.uart.interface1.parity", 99), 99);
    EXPECT_STREQ(json_token_object_walk_get_string(token, "system.name", ""), "x");
    EXPECT_EQ(json_token_object_walk_get_token(token, "other"), nullptr);
    json_token_ref_put(token);
    EXPECT_EQ(store.tree(R"({"system":{"uart":{}}})"),
              R"({"system":{"uart":{"interface1":{"baudrate":9600,"databit":8}}}})");
    EXPECT_EQ(store.tree(R"({"system":{"uart":{"interface1":{"databit":0}}}})"),
              R"({"system":{"uart":{"interface1":{"databit":8}}}})");
    EXPECT_EQ(store.tree(R"({"system":{"uart":{"interface2":{}}}})"), "absent");
    EXPECT_EQ(store.tree(R"({"syste":{}})"), "absent");
}

TEST_P(StoreQuery, SubtreeHoldsNoNeighbours)
{
    // Around '.' in ASCII, where a careless range would take too much.
    ASSERT_EQ(store.update(R"({"t":{"a":{"x":1},"a-b":{"x":2},"a/b":{"x":3},"a b":4,"a0":5,"ab":6}})"), 0);
    EXPECT_EQ(store.tree(R"({"t":{"a":{}}})"), R"({"t":{"a":{"x":1}}})");
    EXPECT_EQ(store.tree(R"({"t":{"a-b":{}}})"), R"({"t":{"a-b":{"x":2}}})");
}

TEST_P(StoreQuery, PlaceholderAndWhiteSpaceDoNotMatter)
{
    ASSERT_EQ(store.update(R"({"p":{"q":{"r":17}}})"), 0);
    for (const char* document :
         {R"({"p":{"q":{"r":0}}})", R"({"p":{"q":{"r":false}}})", R"({"p":{"q":{"r":""}}})",
          R"({"p":{"q":{"r":null}}})", R"({"p":{"q":{"r":{}}}})", R"({"p":{"q":{"r":[1,2]}}})",
          R"({"p":{"q":{"r":-12.5e3}}})", R"({"p":{"q":{"r":0.000000}}})", R"({"p":{"q":{"r":"a longer text"}}})",
          "{ \"p\" :\n{\"q\": {\"r\" : 0 } } }", R"({"\u0070":{"q":{"r":0}}})"}) {
        EXPECT_EQ(store.integer(document), 17) << document;
    }
}

TEST_P(StoreQuery, WhatFollowsTheFirstValueIsIgnored)
{
    ASSERT_EQ(store.update(R"({"p":{"q":true}})"), 0);
    for (const char* rest : {"}", "}}}", " trailing", "{\"p\":1}", "\r\n", ","}) {
        EXPECT_EQ(store.boolean(std::string(R"({"p":{"q":false}})") + rest), true) << rest;
    }
}

TEST_P(StoreQuery, WhatIsNoQueryFails)
{
    ASSERT_EQ(store.update(R"({"p":{"q":5,"r":6}})"), 0);
    for (const char* document :
         {"", " ", "p", "5", "null", "[]", "\"p\"", "{", R"({"p":{"q":0})", R"({"p":{"q":0)", R"({"p":{"q":}})",
          R"({"p":{"q":0,"r":0}})", R"({"p":{"q":0},"s":0})", R"({"p.q":0})", R"({"":0})", R"({"p":{"":0}})", "{}"}) {
        EXPECT_EQ(store.integer(document), std::nullopt) << document;
        EXPECT_EQ(store.boolean(document), std::nullopt) << document;
        EXPECT_EQ(store.text(document), std::nullopt) << document;
    }
    EXPECT_EQ(store.tree("{"), "absent");
    EXPECT_EQ(store.tree(R"({"p.q":0})"), "absent");
}

TEST_P(StoreQuery, NullDocumentsFail)
{
    int value = 99;
    EXPECT_EQ(store.queryBoolean(nullptr, &value), 0);
    EXPECT_EQ(store.queryInt(nullptr, &value), 0);
    EXPECT_EQ(value, 99);
    EXPECT_EQ(store.queryString(nullptr), nullptr);
    EXPECT_EQ(store.queryToken(nullptr), nullptr);
    EXPECT_NE(store.update(nullptr), 0);
}

TEST_P(StoreQuery, DeepAndLongPathsAreReadLikeAnyOther)
{
    std::string opening;
    std::string closing;
    for (int level = 0; level < 28; ++level) {
        opening += "{\"a_rather_long_key_" + std::to_string(level) + "\":";
        closing += '}';
        ASSERT_EQ(
            store.update(
                (opening + "{\"leaf" + std::to_string(level) + "\":" + std::to_string(level) + "}" + closing).c_str()),
            0);
        EXPECT_EQ(store.integer(opening + "{\"leaf" + std::to_string(level) + "\":0}" + closing), level);
    }
}

class StatusQuery : public ConformanceTest {
protected:
    static std::optional<double> real(const char* document)
    {
        double value = -1.25;
        if (user_status_query_double(document, &value) == 0) {
            EXPECT_EQ(value, -1.25) << "a failed query touched its result";
            return std::nullopt;
        }
        return value;
    }
};

TEST_F(StatusQuery, DoublesAreReadFromDoublesAndIntegers)
{
    ASSERT_EQ(user_status_update(R"({"d":{"a":1.5,"b":-3,"c":2e3,"e":"1.5","f":true,"g":null,"h":0.1}})"), 0);
    EXPECT_EQ(real(R"({"d":{"a":0.0}})"), 1.5);
    EXPECT_EQ(real(R"({"d":{"b":0}})"), -3.0);
    EXPECT_EQ(real(R"({"d":{"c":0}})"), 2000.0);
    EXPECT_EQ(real(R"({"d":{"h":0}})"), 0.1);
    for (const char* document :
         {R"({"d":{"e":0}})", R"({"d":{"f":0}})", R"({"d":{"g":0}})", R"({"d":{"x":0}})", "{}"}) {
        EXPECT_EQ(real(document), std::nullopt) << document;
    }
}

TEST_F(StatusQuery, TheStoresAreSeparate)
{
    ASSERT_EQ(user_status_update(R"({"a":{"b":1}})"), 0);
    ASSERT_EQ(user_config_update(R"({"a":{"b":2}})"), 0);
    EXPECT_EQ(kStatus.integer(R"({"a":{"b":0}})"), 1);
    EXPECT_EQ(kSettings.integer(R"({"a":{"b":0}})"), 2);
}

}  // namespace
