// Line and burst assembly. Every byte goes into the current line (until CR or LF) and into the current burst (until the
// next quiet gap of the line). Excess bytes are dropped; the terminator is always seen, so the next line is whole.
// Loop thread, with the record's mutex held.
#pragma once

#include <cstddef>

#include "serial/lineRouter.h"

inline constexpr std::size_t kReadChunk = 64;  // bytes of one read() from the port
inline constexpr std::size_t kLineCapacity = 10'000;
inline constexpr std::size_t kBurstCapacity = 1024;

struct LineIntake {
    FixedText<kLineCapacity> line;  // without its terminator
    // Every byte since the last quiet gap, terminators included; always zero-terminated.
    char strcmd900XPort[kBurstCapacity + 1] = {};
    std::size_t burstLength = 0;
    // What the burst holds of the link's handshake: its start, its end, a failure. They change at line ends only.
    int checkWpString_S = 0;
    int checkWpString_E = 0;
    int checkWpString_Fail = 0;

    void clearBurst();
    void clearBurstFlags();
    /// A whole read chunk has been taken.
    void extendBurst(std::size_t count);
};

/// Takes one byte; `chunkIndex` is its place in the read chunk, which the burst length does not count yet.
void assembleByte(LineIntake& intake, LineRouter& router, char byte, std::size_t chunkIndex)
    REQUIRES(router.record.mutex);

/// What a burst's text holds of the link's handshake: 4 a whole one ("WP_" and "]$", or a leading "]$\r"), 3 a
/// "COMMAND FAIL", 0 none. 1 and 2 are reserved for its start and its end.
int for900XPortCheckWpCmdd(const char* burst);
