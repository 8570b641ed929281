// The name under which the command handlers appear in diagnostic lines.
#pragma once

inline constexpr char kHandlerSource[] = "userCommand";
