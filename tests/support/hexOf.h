// Bytes as the events and the 900X methods of pass-through spell them: a blank and two capital digits each.
#pragma once

#include <string>

std::string hexOf(const std::string& bytes);
