// A whole state, such as tools/factoryState.json, as what a scenario is given.
#pragma once

#include "transcript/transcript.h"

namespace transcript {

/// Every area of both stores and every factory item of a state document. Throws std::runtime_error for a text that is
/// no such document.
std::vector<Given> givenState(const std::string& document);

/// The state a receiver leaves the factory with.
std::vector<Given> givenFactoryState();

}  // namespace transcript
