// Publishing over the thread's own connection.
#pragma once

#include "platform/local/eventWire.h"

namespace local {

/// 0, or -1 with errno set.
int publish(Origin origin, const char* topic, std::optional<std::string_view> payload);

}  // namespace local
