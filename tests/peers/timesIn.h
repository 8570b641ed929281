#pragma once

#include <cstddef>
#include <string_view>

/// How often a part stands in a text.
std::size_t timesIn(std::string_view text, std::string_view part);
