// What is taken for a plain document is what json-c reads and writes in the same way.
#include <cstdlib>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "platform/jsonToken.h"
#include "platform/local/plainDocument.h"

namespace {

using local::PlainDocument;

std::string written(json_token* token)
{
    char* allocated = token != nullptr ? json_token_to_string(token) : nullptr;
    std::string text = allocated != nullptr ? allocated : "";
    std::free(allocated);
    return text;
}

void expectAsJsonC(const std::string& document)
{
    PlainDocument plain;
    if (!plain.parse(document.c_str())) {
        return;
    }
    json_token* token = json_token_parse(document.c_str());
    ASSERT_NE(token, nullptr) << document;
    if (plain.isCanonical()) {
        EXPECT_EQ(written(token), plain.text()) << document;
        const std::string path(plain.path());
        if (path.find('[') == std::string::npos) {  // an index, where paths are walked
            EXPECT_EQ(written(json_token_object_walk_get_token(token, path.c_str())), plain.value()) << document;
        }
    }
    EXPECT_EQ(document, plain.text());
    json_token_ref_put(token);
}

struct Expected {
    const char* document;
    bool plain;
    bool canonical;
};

TEST(PlainDocument, KnowsItsShape)
{
    for (const Expected& expected : {
             Expected{R"({"control":{"ledMode":true}})", true, true},
             {R"({"control":{"ledMode":false}} and more)", false, false},
             {R"({"a":true}/)", false, false},
             {R"({"a":{"b":{"c":0}}})", true, true},
             {R"({"a":-12})", true, true},
             {R"({"a":999999999999999999})", true, true},
             {R"({"a":9999999999999999999})", true, false},
             {R"({"a":-0})", true, false},
             {R"({"a":0.000})", true, false},
             {R"({"a":null})", true, false},
             {R"({"a":{}})", true, false},
             {R"({"a":""})", true, true},
             {"{\"a\":\"x/y \x7f\xff\"}", true, true},
             {R"({"a":"\n"})", false, false},
             {"{\"a\":\"\n\"}", false, false},
             {R"({"a":01})", false, false},
             {R"({"a":1e5})", false, false},
             {R"({"a":1.})", false, false},
             {R"({"a":-})", false, false},
             {R"({"a":[1]})", false, false},
             {R"({"a":1,"b":2})", false, false},
             {R"({"a": 1})", false, false},
             {R"({"a.b":1})", false, false},
             {R"({"":1})", false, false},
             {R"({"a\u0062":1})", false, false},
             {R"({"a":{"b":1})", false, false},
             {R"({"a":"b)", false, false},
             {R"({})", false, false},
             {R"(true)", false, false},
             {"", false, false},
         }) {
        PlainDocument document;
        EXPECT_EQ(document.parse(expected.document), expected.plain) << expected.document;
        if (expected.plain) {
            EXPECT_EQ(document.isCanonical(), expected.canonical) << expected.document;
        }
        expectAsJsonC(expected.document);
    }
}

TEST(PlainDocument, EndsWhereItsBufferOrDepthDoes)
{
    for (std::size_t length = 250; length <= 260; ++length) {
        const std::string document = "{\"" + std::string(length, 'k') + "\":1}";
        PlainDocument plain;
        EXPECT_EQ(plain.parse(document.c_str()), length <= 255) << length;
        expectAsJsonC(document);
    }
    for (std::size_t depth = 1; depth <= 40; ++depth) {
        std::string document;
        for (std::size_t level = 0; level < depth; ++level) {
            document += "{\"k\":";
        }
        document += "1" + std::string(depth, '}');
        PlainDocument plain;
        EXPECT_EQ(plain.parse(document.c_str()), depth <= 16) << depth;
    }
}

TEST(PlainDocument, AgreesWithJsonCAboutWhatIsBroken)
{
    constexpr char kPieces[] = "{}\":,.-+0159eEtfn \\/[]ab\x01\x7f\xff\n";
    const std::string seeds[] = {R"({"control":{"ledMode":true}})", R"({"a":{"b":{"c":-120}}})", R"({"a":"text"})",
                                 R"({"a":{"b":0.50}})", R"({"a":null})"};
    std::mt19937 random(20251121);
    int plain = 0;
    for (int round = 0; round < 20'000; ++round) {
        std::string document = seeds[random() % std::size(seeds)];
        for (auto changes = random() % 3 + 1; changes > 0; --changes) {
            const std::size_t at = random() % document.size();
            const char piece = kPieces[random() % (sizeof kPieces - 1)];
            switch (random() % 3) {
            case 0: document[at] = piece; break;
            case 1: document.insert(at, 1, piece); break;
            default: document.erase(at, 1); break;
            }
            if (document.empty()) {
                document = "{";
            }
        }
        plain += PlainDocument().parse(document.c_str()) ? 1 : 0;
        ASSERT_NO_FATAL_FAILURE(expectAsJsonC(document));
    }
    EXPECT_GT(plain, 1'000);
}

}  // namespace
