// What the receiver's stores hold: put there, read, seeded from a state, saved as one.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/local/local.h"

/// Puts every leaf and factory item that is absent into the stores; what is there stays. The receiver boots now, unless
/// somebody has set another boot time; `bootRecord` is a file that remembers which one was the bench's. Throws Refused.
void seedStores(const std::filesystem::path& bootRecord);

/// Puts what a state file holds into the stores, in place of what stands there. Throws Refused.
void loadState(const std::filesystem::path& file);

/// Writes all that the stores hold as a state file, the boot time excepted where it is the bench's. Throws Refused.
void saveState(const std::filesystem::path& file, const std::filesystem::path& bootRecord);

/// Puts JSON text at a path, in place of what stood there, a branch included; told to nobody. Throws Refused.
void putSilently(local::Store store, const std::string& path, const std::string& json);
void putFactoryItem(const std::string& key, const std::string& text);

/// JSON text; nothing when nothing is there.
std::optional<std::string> readJson(local::Store store, const std::string& path);

/// What the stores hold, as the lines that give it to a scenario: by what differs from the factory state where that is
/// possible. The boot time is left out, for each receiver has its own.
std::vector<std::string> givenNow();

/// The factory data.
std::map<std::string, std::string> factoryItems();

/// The leaves of a JSON object: dotted path and JSON text.
std::vector<std::pair<std::string, std::string>> leavesOf(const std::string& document);
