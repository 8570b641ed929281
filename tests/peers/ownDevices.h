// A mount name space for a daemon in which /dev/ttyS6, the board's console device, is a pseudo-terminal or missing.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Whether this machine and user may make one.
bool canHaveOwnDevices();
/// Words that go before a daemon's own. `directory` is made for its /dev; with an empty `ttyS6` nothing stands there.
std::vector<std::string> withOwnDevices(const std::filesystem::path& directory, const std::string& ttyS6);
