// The fuzzers' dictionary names what the command table names, no more and no less.
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "console/commandEntry.h"
#include "fuzz/leafPath.h"

namespace {

// The entries below a heading, up to the next blank line.
std::set<std::string> part(const std::string& heading)
{
    std::ifstream file(DICTIONARY);
    std::set<std::string> entries;
    std::string line;
    while (std::getline(file, line) && line != "# " + heading) {
    }
    while (std::getline(file, line) && !line.empty()) {
        EXPECT_TRUE(line.size() > 2 && line.front() == '"' && line.back() == '"') << line;
        EXPECT_TRUE(entries.insert(line.substr(1, line.size() - 2)).second) << line << " stands twice";
    }
    return entries;
}

TEST(Dictionary, HasTheNamesOfTheCommandTable)
{
    std::set<std::string> names;
    for (const CommandEntry& row : kCommandTable) {
        names.insert(row.name);
    }
    EXPECT_EQ(part("Names of the command table"), names);
}

TEST(Dictionary, HasTheLeavesOfTheCommandTable)
{
    std::set<std::string> leaves;
    for (const CommandEntry& row : kCommandTable) {
        leaves.insert(leafPath(row.jsonTemplate));
    }
    leaves.erase("");
    EXPECT_EQ(part("Leaves that rows read or write"), leaves);
}

}  // namespace
