// The state a receiver leaves the factory with: tools/factoryState.json, built into the program.
#pragma once

#include "state/factoryStateText.h"
#include <filesystem>

/// Puts every leaf and factory item that is absent into the stores; what is there stays. The receiver boots now, unless
/// somebody has set another boot time; `bootRecord` is a file that remembers which one was the bench's. Throws Refused.
void seedStores(const std::filesystem::path& bootRecord);
