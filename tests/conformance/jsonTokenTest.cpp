#include "platform/jsonToken.h"

#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

struct Put {
    void operator()(json_token* token) const { json_token_ref_put(token); }
};
using Token = std::unique_ptr<json_token, Put>;

Token parse(const char* text)
{
    return Token(json_token_parse(text));
}

std::string text(const Token& token)
{
    char* allocated = json_token_to_string(token.get());
    std::string copy = allocated;
    std::free(allocated);
    return copy;
}

TEST(JsonToken, ParsesTheFirstCompleteValue)
{
    EXPECT_EQ(text(parse(R"({"a":[1,2.50,"x\/y",true,null]} and more)")), R"({"a":[1,2.50,"x/y",true,null]})");
    EXPECT_EQ(text(parse(" [1] }")), "[1]");
    for (const char* bad : {"", " ", "{", "[1", "{\"a\":}", "nonsense", "null"}) {
        errno = 0;
        EXPECT_EQ(parse(bad), nullptr) << bad;
        EXPECT_NE(errno, 0) << bad;
    }
    EXPECT_EQ(json_token_parse(nullptr), nullptr);
}

TEST(JsonToken, KeepsBytesThatAreNoUtf8)
{
    EXPECT_EQ(text(parse("[\"caf\xe9\xff\"]")), "[\"caf\xe9\xff\"]");
}

TEST(JsonToken, WalksKeysAndIndexes)
{
    const Token token =
        parse(R"({"account":{"users":[{"username":"a"},{"username":"b","level":3}]},"n":{"yes":true}})");
    EXPECT_STREQ(json_token_object_walk_get_string(token.get(), "account.users[1].username", ""), "b");
    EXPECT_EQ(json_token_object_walk_get_int(token.get(), "account.users[1].level", -1), 3);
    EXPECT_EQ(json_token_object_walk_get_boolean(token.get(), "n.yes", 0), 1);
    EXPECT_EQ(json_token_array_length(json_token_object_walk_get_token(token.get(), "account.users")), 2);
    for (const char* path :
         {"account.users[2]", "account.users[-1]", "account.users[]", "account.users[1", "account.users.0",
          "account[0]", "account..users", ".account", "account.", "account.users[0]username", "none",
          "account.users[99999999999999999999]", "account.users[1x]"}) {
        EXPECT_EQ(json_token_object_walk_get_token(token.get(), path), nullptr) << path;
    }
    EXPECT_EQ(json_token_object_walk_get_token(nullptr, "a"), nullptr);
}

TEST(JsonToken, WalksArraysInArrays)
{
    const Token token = parse("[[1,2],[3,[4,5]]]");
    EXPECT_EQ(json_token_object_walk_get_int(token.get(), "[1][1][0]", -1), 4);
}

TEST(JsonToken, AnotherTypeYieldsTheFallback)
{
    const Token token = parse(R"({"b":true,"i":7,"s":"7","d":7.0,"n":null,"o":{},"a":[7],"large":4294967296})");
    for (const char* path : {"i", "s", "d", "n", "o", "a", "missing"}) {
        EXPECT_EQ(json_token_object_walk_get_boolean(token.get(), path, 42), 42) << path;
    }
    for (const char* path : {"b", "s", "d", "n", "o", "a", "large", "missing"}) {
        EXPECT_EQ(json_token_object_walk_get_int(token.get(), path, 42), 42) << path;
    }
    for (const char* path : {"b", "i", "d", "n", "o", "a", "missing"}) {
        EXPECT_STREQ(json_token_object_walk_get_string(token.get(), path, "fallback"), "fallback") << path;
    }
    EXPECT_EQ(json_token_object_walk_get_string(token.get(), "i", nullptr), nullptr);
}

TEST(JsonToken, SetsMakeTheWay)
{
    const Token token(json_token_new_object());
    EXPECT_EQ(json_token_object_walk_set_string(token.get(), "account.users[1].username", "bob"), 0);
    EXPECT_EQ(json_token_object_walk_set_int(token.get(), "account.users[1].level", 2), 0);
    EXPECT_EQ(json_token_object_walk_set_boolean(token.get(), "account.open", 5), 0);
    EXPECT_EQ(text(token), R"({"account":{"users":[null,{"username":"bob","level":2}],"open":true}})");
    EXPECT_EQ(json_token_object_walk_set_string(token.get(), "account.users[0].username", "al"), 0);
    EXPECT_EQ(json_token_object_walk_set_int(token.get(), "account.open", 0), 0);
    EXPECT_EQ(text(token), R"({"account":{"users":[{"username":"al"},{"username":"bob","level":2}],"open":0}})");
}

TEST(JsonToken, SetsDoNotTearDownWhatStandsInTheWay)
{
    const Token token = parse(R"({"a":1,"list":[1],"o":{"x":1}})");
    for (const char* path :
         {"a.b", "a[0]", "list.x", "o[0]", "list[0].x", "", "o..x", "o.x.", "list[", "list[70000]"}) {
        errno = 0;
        EXPECT_NE(json_token_object_walk_set_int(token.get(), path, 5), 0) << path;
        EXPECT_NE(errno, 0) << path;
    }
    EXPECT_EQ(text(token), R"({"a":1,"list":[1],"o":{"x":1}})");
    EXPECT_NE(json_token_object_walk_set_int(nullptr, "a", 5), 0);
    EXPECT_NE(json_token_object_walk_set_string(token.get(), "s", nullptr), 0);
}

TEST(JsonToken, ArraysTakeEntries)
{
    const Token token = parse(R"({"users":[]})");
    json_token* users = json_token_object_walk_get_token(token.get(), "users");
    EXPECT_EQ(json_token_array_length(users), 0);
    EXPECT_EQ(json_token_array_put(users, 0, json_token_parse("1")), 0);
    EXPECT_EQ(json_token_array_put(users, 2, json_token_new_object()), 0);
    EXPECT_EQ(json_token_array_put(users, 0, json_token_parse("\"one\"")), 0);
    EXPECT_EQ(text(token), R"({"users":["one",null,{}]})");
    EXPECT_EQ(json_token_array_length(users), 3);
    // Taken over also on failure: a leak would be reported by the sanitizer.
    EXPECT_NE(json_token_array_put(users, -1, json_token_new_object()), 0);
    EXPECT_NE(json_token_array_put(token.get(), 0, json_token_new_object()), 0);
    EXPECT_NE(json_token_array_put(nullptr, 0, json_token_new_object()), 0);
    EXPECT_EQ(json_token_array_length(token.get()), -1);
    EXPECT_EQ(json_token_array_length(nullptr), -1);
}

TEST(JsonToken, TextHasNoWhiteSpaceAndPlainSlashes)
{
    EXPECT_EQ(text(parse("{ \"a\" : [ 1 , \"b c/d\" ] , \"e\" : \"\\u0000\\n\" }")),
              R"({"a":[1,"b c/d"],"e":"\u0000\n"})");
    EXPECT_EQ(text(Token(json_token_new_object())), "{}");
    json_token_ref_put(nullptr);
}

}  // namespace
