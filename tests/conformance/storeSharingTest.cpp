// One store, many users: threads, processes, and a process that dies.
#include <atomic>
#include <csignal>
#include <set>
#include <thread>

#include "conformanceTest.h"
#include "patientUpdate.h"

namespace {

class StoreSharing : public StoreTest {
protected:
    int update(const std::string& document) const
    {
        return updateAmongOthers([&] { return store.update(document.c_str()); });
    }
};
FOR_BOTH_STORES(StoreSharing);

TEST_P(StoreSharing, ProcessesMayMeetOnAMissingStore)
{
    for (int round = 0; round < 10; ++round) {
        engine->renewStores();
        std::vector<ChildProcess> peers;
        for (int i = 0; i < 6; ++i) {
            peers.push_back(peer({"update", store.name, R"({"first":{"p)" + std::to_string(i) + R"(":true}})"}));
        }
        for (ChildProcess& process : peers) {
            ASSERT_EQ(process.line(), "ready");
        }
        for (ChildProcess& process : peers) {
            process.closeInput();
        }
        for (ChildProcess& process : peers) {
            EXPECT_EQ(process.wait(), 0);
        }
    }
    EXPECT_EQ(store.tree(R"({"first":{}})"),
              R"({"first":{"p0":true,"p1":true,"p2":true,"p3":true,"p4":true,"p5":true}})");
}

TEST_P(StoreSharing, WritersWaitForEachOther)
{
    constexpr int kTimes = 200;
    std::vector<ChildProcess> peers;
    for (const char* key : {"a", "b", "c"}) {
        peers.push_back(peer({"count", store.name, key, std::to_string(kTimes)}));
    }
    for (int i = 1; i <= kTimes; ++i) {
        ASSERT_EQ(update(R"({"race":{"own":)" + std::to_string(i) + "}}"), 0);
    }
    for (ChildProcess& process : peers) {
        for (int i = 1; i <= kTimes; ++i) {
            ASSERT_EQ(process.line(), std::to_string(i));
        }
        EXPECT_EQ(process.wait(), 0);
    }
    EXPECT_EQ(store.tree(R"({"race":{}})"),
              R"({"race":{"a":200,"aTwin":200,"b":200,"bTwin":200,"c":200,"cTwin":200,"own":200}})");
}

TEST_P(StoreSharing, AnotherProcessSeesAnUpdateAtOnce)
{
    ChildProcess writer = peer({"count", store.name, "n", "100"});
    for (int i = 1; i <= 100; ++i) {
        const std::optional<std::string> said = writer.line();
        ASSERT_TRUE(said.has_value());
        EXPECT_GE(store.integer(R"({"race":{"n":0}})").value_or(0), std::stoi(*said));
    }
    EXPECT_EQ(writer.wait(), 0);
}

TEST_P(StoreSharing, NoHalfOfADocumentIsEverSeen)
{
    ChildProcess writer = peer({"count", store.name, "n", "0"});
    ASSERT_EQ(writer.line(), "1");
    std::set<int> seen;
    while (seen.size() < 20 && !HasFailure()) {
        json_token* token = store.queryToken(R"({"race":{}})");
        const int value = json_token_object_walk_get_int(token, "race.n", -1);
        EXPECT_EQ(json_token_object_walk_get_int(token, "race.nTwin", -2), value);
        json_token_ref_put(token);
        seen.insert(value);
        ASSERT_TRUE(writer.line().has_value());  // by then it is at its next one
    }
}

TEST_P(StoreSharing, ReadersNeverWaitForAWriter)
{
    ASSERT_EQ(store.update(R"({"small":{"n":1}})"), 0);
    std::atomic<int> updates = 0;
    std::atomic<bool> writing = false;
    std::atomic<bool> enough = false;
    std::thread writer([&] {
        for (int round = 0; round < 50 && !enough; ++round) {
            std::string document = R"({"large":{)";
            for (int i = 0; i < 20'000; ++i) {
                document += (i > 0 ? ",\"" : "\"") + std::to_string(i) + "\":" + std::to_string(round);
            }
            document += "}}";
            ++updates;
            writing = true;
            EXPECT_EQ(store.update(document.c_str()), 0);
            writing = false;
        }
    });
    // Reads that began and ended inside one update: one that waited for it could not be among them.
    int most = 0;
    int inside = 0;
    int lastUpdate = 0;
    while (most < 20 && updates < 50) {
        const int update = updates;
        const bool before = writing;
        EXPECT_EQ(store.integer(R"({"small":{"n":0}})"), 1);
        inside = before && writing && update == updates ? (update == lastUpdate ? inside + 1 : 1) : 0;
        lastUpdate = update;
        most = std::max(most, inside);
    }
    enough = true;
    writer.join();
    EXPECT_GE(most, 20);
}

TEST_P(StoreSharing, ThreadsShareTheStores)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this, i] {
            const std::string key = "t" + std::to_string(i);
            for (int n = 1; n <= 25; ++n) {
                EXPECT_EQ(update(R"({"threads":{")" + key + "\":" + std::to_string(n) + "}}"), 0);
                EXPECT_EQ(store.integer(R"({"threads":{")" + key + "\":0}}"), n);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(store.tree(R"({"threads":{}})"),
              R"({"threads":{"t0":25,"t1":25,"t2":25,"t3":25,"t4":25,"t5":25,"t6":25,"t7":25}})");
}

TEST_P(StoreSharing, WhatWasAcknowledgedSurvivesAKill)
{
    int last = 0;
    for (int round = 0; round < 10; ++round) {
        engine->renewStores();
        ChildProcess writer = peer({"count", store.name, "n", "0"});
        for (int i = 0; i <= round * 3; ++i) {
            const std::optional<std::string> said = writer.line();
            ASSERT_TRUE(said.has_value());
            last = std::stoi(*said);
        }
        writer.signal(SIGKILL);
        EXPECT_EQ(writer.wait(), 128 + SIGKILL);
        while (const std::optional<std::string> said = writer.line(ChildProcess::Seconds(0))) {
            last = std::stoi(*said);
        }
        std::thread([&] {  // a thread opens the stores that are in force when it begins
            const int stored = store.integer(R"({"race":{"n":0}})").value_or(-1);
            EXPECT_GE(stored, last);
            EXPECT_EQ(store.integer(R"({"race":{"nTwin":0}})"), stored);
        })
            .join();
    }
}

}  // namespace
