// SIGTERM and SIGINT as a descriptor to wait on, so that a program that waits can end in good order.
#pragma once

#include <initializer_list>

#include "platform/support/ownership.h"

/// A descriptor that is readable once one of the signals has come. They are blocked for the calling thread and all that
/// it makes from now on, so call it before any other thread exists. Throws std::system_error.
UniqueFd stopDescriptor(std::initializer_list<int> signals);
