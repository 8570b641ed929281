// How long the bench waits for what cannot take that long, before it says so instead of waiting for ever.
#pragma once

inline constexpr int kStartTimeMs = 10'000;    // one part to come up
inline constexpr int kPortTimeMs = 200;        // typed bytes to be read, before the port is looked at
inline constexpr int kCommandTimeMs = 30'000;  // one command; the longest, adding an account, waits 9 s for its peer
