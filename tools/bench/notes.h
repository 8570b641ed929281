// What the bench has to say, on standard error: standard output holds the replies alone. Callable from any thread; each
// note is one write, so that notes do not run into each other.
#pragma once

#include <string>
#include <string_view>

void note(std::string_view line);

/// "[networkd] TelnetRestart "9001"": what reached one of the bench's stand-ins.
void noteFrom(std::string_view source, std::string_view line);
