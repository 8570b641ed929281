// What would be right, for an error of the platform: the second half of a line of refusal.
#pragma once

#include <string>

/// For an error of a store or of the factory data. Empty when there is nothing to advise.
std::string storeRemedy(int error);

/// For an error of the bus. Empty when there is nothing to advise.
std::string busRemedy(int error);
