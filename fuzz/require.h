// What must hold whatever the input: the fuzzer keeps the input that breaks it.
#pragma once

#include <string_view>

/// Ends the process with the rule and what broke it on standard error.
void require(bool holds, const char* rule, std::string_view offender = {});
