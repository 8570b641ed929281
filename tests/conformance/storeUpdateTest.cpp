// Updates: merged whole or not at all, and announced when they change something.
#include <cerrno>

#include "conformanceTest.h"

namespace {

class StoreUpdate : public StoreTest {
protected:
    void expectRefused(const std::string& document)
    {
        const std::string before = store.tree("{}");
        errno = 0;
        EXPECT_NE(store.update(document.c_str()), 0) << document;
        EXPECT_NE(errno, 0) << document;
        EXPECT_EQ(store.tree("{}"), before) << document;
    }
};
FOR_BOTH_STORES(StoreUpdate);

TEST_P(StoreUpdate, MergesLeafByLeaf)
{
    ASSERT_EQ(store.update(R"({"a":{"b":{"c":1,"d":2}},"e":{"f":"x"}})"), 0);
    ASSERT_EQ(store.update(R"({"a":{"b":{"d":3},"g":true}})"), 0);
    EXPECT_EQ(store.tree(R"({"a":{}})"), R"({"a":{"b":{"c":1,"d":3},"g":true}})");
    EXPECT_EQ(store.tree(R"({"e":{}})"), R"({"e":{"f":"x"}})");
}

TEST_P(StoreUpdate, ALeafMayChangeItsType)
{
    for (const char* value : {"1", "true", "\"text\"", "[1,2]", "null", "1.5", "[]"}) {
        ASSERT_EQ(store.update((std::string(R"({"a":{"b":)") + value + "}}").c_str()), 0) << value;
        EXPECT_EQ(store.tree(R"({"a":{"b":0}})"), std::string(R"({"a":{"b":)") + value + "}}");
    }
}

TEST_P(StoreUpdate, AnArrayReplacesAnArray)
{
    ASSERT_EQ(store.update(R"({"account":{"users":[{"username":"a","level":1},{"username":"b"}]}})"), 0);
    ASSERT_EQ(store.update(R"({"account":{"users":[{"username":"c"}]}})"), 0);
    EXPECT_EQ(store.tree(R"({"account":{}})"), R"({"account":{"users":[{"username":"c"}]}})");
    ASSERT_EQ(store.update(R"({"account":{"users":[]}})"), 0);
    EXPECT_EQ(store.tree(R"({"account":{}})"), R"({"account":{"users":[]}})");
}

TEST_P(StoreUpdate, WhatFollowsTheFirstValueIsIgnored)
{
    ASSERT_EQ(store.update(R"({"a":{"b":1}} and {"a":{"b":2}})"), 0);
    ASSERT_EQ(store.update(R"({"a":{"c":3}}}})"), 0);
    EXPECT_EQ(store.tree(R"({"a":{}})"), R"({"a":{"b":1,"c":3}})");
}

TEST_P(StoreUpdate, WhatIsNoDocumentIsRefused)
{
    ASSERT_EQ(store.update(R"({"a":{"b":1}})"), 0);
    for (const char* document :
         {"", " ", "x", "5", "\"a\"", "null", "true", "[1]", R"([{"a":{"b":2}}])", "{", R"({"a":{"b":2})",
          R"({"a":{"b":2)", R"({"a":{"b":}})", R"({"a" {"b":2}})", "{a:{b:2}}"}) {
        expectRefused(document);
    }
}

TEST_P(StoreUpdate, NumbersThatJsonDoesNotHaveAreRefused)
{
    ASSERT_EQ(store.update(R"({"a":{"b":1}})"), 0);
    for (const char* value : {"NaN", "nan", "Infinity", "-Infinity", "[1,NaN]", R"([{"c":[-Infinity]}])", "-.5e999"}) {
        const std::string document = std::string(R"({"a":{"c":2,"b":)") + value + "}}";
        expectRefused(document);
        EXPECT_NE(store.update(document.c_str()), 0);
        EXPECT_EQ(errno, EINVAL) << value;
    }
}

TEST_P(StoreUpdate, ANumberReadsBackAsJsonHoweverItWasWritten)
{
    Listener listener({topic("a")});
    for (const auto& [written, read] : {std::pair("1.", "1.0"), std::pair("-.5", "-0.5"), std::pair("01.5", "1.5"),
                                        std::pair("[00.25,{\"c\":2.e1}]", "[0.25,{\"c\":20.0}]"),
                                        std::pair("1.50", "1.50"), std::pair("1E+2", "1E+2"), std::pair("007", "7")}) {
        const std::string stored = std::string(R"({"a":{"b":)") + read + "}}";
        ASSERT_EQ(store.update((std::string(R"({"a":{"b":)") + written + "}}").c_str()), 0) << written;
        EXPECT_EQ(store.tree(R"({"a":{"b":0}})"), stored);
        EXPECT_EQ(listener.next(), (Event{topic("a"), stored}));
        ASSERT_EQ(store.update(R"({"a":{"b":null}})"), 0);
        listener.next();
    }
}

TEST_P(StoreUpdate, EmptyAndDottedKeysAreRefused)
{
    ASSERT_EQ(store.update(R"({"a":{"b":1}})"), 0);
    for (const char* document : {R"({"":1})", R"({"a":{"":1}})", R"({"a":{"c":2,"":{"x":1}}})", R"({"a.b":1})",
                                 R"({"a":{"b.c":1}})", R"({"a":{".":1}})", R"({"a":{"c":2,"d":{"e.":{}}}})"}) {
        expectRefused(document);
    }
}

TEST_P(StoreUpdate, AnAreaMustBeAbleToFormATopic)
{
    for (const char* area : {"1a", "a-b", "a b", "\xc3\xa9", "a/b", "\xff", "a:b"}) {
        expectRefused(std::string("{\"") + area + "\":{\"leaf\":1}}");
        expectRefused(std::string(R"({"fine":{"leaf":1},")") + area + "\":{\"leaf\":1}}");
        expectRefused(std::string("{\"") + area + "\":1}");
    }
    // A topic has at most 200 bytes.
    const std::size_t longest = 200 - std::string(store.topicSuffix).size();
    expectRefused("{\"" + std::string(longest + 1, 'a') + "\":{\"leaf\":1}}");
    const std::string area(longest, 'b');
    Listener listener({topic(area)});
    const std::string document = "{\"" + area + "\":{\"leaf\":1}}";
    EXPECT_EQ(store.update(document.c_str()), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic(area), document}}));
    EXPECT_EQ(store.update(R"({"_x9":{"leaf":1}})"), 0);
}

TEST_P(StoreUpdate, NoLeafWhereABranchStands)
{
    ASSERT_EQ(store.update(R"({"a":{"b":{"c":{"d":1}}},"x":{"y":1}})"), 0);
    for (const char* value : {"1", "null", "[]", "\"\"", "false"}) {
        expectRefused(std::string(R"({"x":{"y":2},"a":{"b":{"c":)") + value + "}}}");
        expectRefused(std::string(R"({"x":{"y":2},"a":)") + value + "}");
    }
    // A neighbour whose name begins alike is no branch of it.
    EXPECT_EQ(store.update(R"({"x":{"z-":{"q":1},"z":1}})"), 0);
}

TEST_P(StoreUpdate, NoBranchWhereALeafStands)
{
    ASSERT_EQ(store.update(R"({"a":{"b":1,"list":[1],"none":null},"top":5})"), 0);
    for (const char* document : {R"({"a":{"z":1,"b":{"c":2}}})", R"({"a":{"b":{"c":{"d":2}}}})",
                                 R"({"a":{"list":{"0":1}}})", R"({"a":{"none":{"x":1}}})", R"({"top":{"x":1}})",
                                 R"({"a":{"b":{}}})", R"({"a":{"b":{"c":{}}}})", R"({"top":{}})"}) {
        expectRefused(document);
    }
}

TEST_P(StoreUpdate, ADocumentWithoutLeavesChangesNothing)
{
    Listener listener({topic("a")});
    EXPECT_EQ(store.update("{}"), 0);
    EXPECT_EQ(store.update(R"({"a":{}})"), 0);
    EXPECT_EQ(store.update(R"({"a":{"b":{}}})"), 0);
    EXPECT_EQ(store.tree(R"({"a":{}})"), "absent");
    EXPECT_EQ(listener.all(), std::vector<Event>{});
}

TEST_P(StoreUpdate, AnnouncesRealChangesWithTheChangedLeavesOnly)
{
    Listener listener({topic("audio"), topic("video")});
    ASSERT_EQ(store.update(R"({"audio":{"audOut":{"allMute":false,"vol":10}},"video":{"x":1}})"), 0);
    EXPECT_EQ(listener.all(),
              (std::vector<Event>{{topic("audio"), R"({"audio":{"audOut":{"allMute":false,"vol":10}}})"},
                                  {topic("video"), R"({"video":{"x":1}})"}}));
    ASSERT_EQ(store.update(R"({"video":{"x":1},"audio":{"audOut":{"vol":10,"allMute":true}}})"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("audio"), R"({"audio":{"audOut":{"allMute":true}}})"}}));
    ASSERT_EQ(store.update(R"({"video":{"x":1},"audio":{"audOut":{"vol":10,"allMute":true}}})"), 0);
    EXPECT_EQ(listener.all(), std::vector<Event>{});
}

TEST_P(StoreUpdate, AnnouncementsKeepTheOrderOfTheDocument)
{
    Listener listener({topic("b"), topic("a")});
    ASSERT_EQ(store.update(R"({"b":{"z":1,"m":{"y":2,"a":3},"c":4},"a":{"k":5}})"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("b"), R"({"b":{"z":1,"m":{"y":2,"a":3},"c":4}})"},
                                                  {topic("a"), R"({"a":{"k":5}})"}}));
    ASSERT_EQ(store.update(R"({"b":{"c":40,"m":{"a":30,"y":2},"z":10}})"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("b"), R"({"b":{"c":40,"m":{"a":30},"z":10}})"}}));
}

TEST_P(StoreUpdate, AnnouncementsHaveNoWhiteSpaceAndPlainSlashes)
{
    Listener listener({topic("t")});
    ASSERT_EQ(store.update("{ \"t\" : { \"p\" : \"a/b c\" , \"l\" : [ 1 , { \"x\" : true } ] } }"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("t"), R"({"t":{"p":"a/b c","l":[1,{"x":true}]}})"}}));
}

TEST_P(StoreUpdate, AnnouncementsCarryTextsByteForByte)
{
    Listener listener({topic("t")});
    const std::string document = "{\"t\":{\"raw\":\"caf\xe9\xff\"}}";
    ASSERT_EQ(store.update(document.c_str()), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("t"), document}}));
    ASSERT_EQ(store.update(R"({"t":{"zero":"a\u0000b"}})"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("t"), R"({"t":{"zero":"a\u0000b"}})"}}));
}

TEST_P(StoreUpdate, TheSameValueWrittenOtherwiseIsNoChange)
{
    ASSERT_EQ(store.update(R"({"t":{"real":1.5,"list":[1.0,2],"text":"\u00e9/"}})"), 0);
    Listener listener({topic("t")});
    ASSERT_EQ(store.update("{\"t\":{\"real\":1.50,\"list\":[ 1.00,2 ],\"text\":\"\xc3\xa9\\/\"}}"), 0);
    EXPECT_EQ(listener.all(), std::vector<Event>{});
    ASSERT_EQ(store.update(R"({"t":{"list":[2,1.0]}})"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("t"), R"({"t":{"list":[2,1.0]}})"}}));
}

TEST_P(StoreUpdate, AnotherTypeIsAChange)
{
    ASSERT_EQ(store.update(R"({"t":{"a":1}})"), 0);
    Listener listener({topic("t")});
    for (const char* document : {R"({"t":{"a":1.0}})", R"({"t":{"a":"1"}})", R"({"t":{"a":true}})",
                                 R"({"t":{"a":null}})", R"({"t":{"a":[]}})"}) {
        ASSERT_EQ(store.update(document), 0);
        EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("t"), document}}));
    }
}

TEST_P(StoreUpdate, ARefusedUpdateAnnouncesNothing)
{
    ASSERT_EQ(store.update(R"({"t":{"a":1}})"), 0);
    Listener listener({topic("t"), topic("u")});
    expectRefused(R"({"u":{"new":1},"t":{"b":2,"a":{"c":1}}})");
    EXPECT_EQ(listener.all(), std::vector<Event>{});
}

TEST_P(StoreUpdate, AnnouncementsAndPublicationsOfAThreadKeepTheirOrder)
{
    Listener listener({topic("t"), "between"});
    std::vector<Event> expected;
    for (int i = 0; i < 100; ++i) {
        const std::string document = R"({"t":{"n":)" + std::to_string(i) + "}}";
        ASSERT_EQ(store.update(document.c_str()), 0);
        ASSERT_EQ(eventbus_publish("between", std::to_string(i).c_str()), 0);
        expected.push_back({topic("t"), document});
        expected.push_back({"between", std::to_string(i)});
    }
    EXPECT_EQ(listener.all(), expected);
}

TEST_P(StoreUpdate, AManyLeavedDocumentIsMergedWhole)
{
    std::string document = R"({"many":{)";
    for (int i = 0; i < 5'000; ++i) {
        document +=
            (i > 0 ? "," : "") + std::string("\"k") + std::to_string(i) + "\":{\"v\":" + std::to_string(i) + "}";
    }
    document += "}}";
    Listener listener({topic("many")});
    ASSERT_EQ(store.update(document.c_str()), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{topic("many"), document}}));
    EXPECT_EQ(store.integer(R"({"many":{"k4321":{"v":0}}})"), 4321);
}

TEST_P(StoreUpdate, WithoutABusAnUpdateStillCounts)
{
    int last = 0;
    const auto update = [&] { return store.update((R"({"t":{"a":)" + std::to_string(++last) + "}}").c_str()) == 0; };
    const auto updateWithoutIt = [&] {
        for (int i = 0; i < 30; ++i) {
            ASSERT_TRUE(update());
        }
    };
    EXPECT_TRUE(isOnceDoneWithin(10.0, updateWithoutIt, [&] { loseBus(update); }));
    EXPECT_EQ(store.integer(R"({"t":{"a":0}})"), last);
}

}  // namespace
