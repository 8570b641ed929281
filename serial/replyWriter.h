// Reply writers: the only way bytes leave by this instance's serial port. They write to the port that the record names
// at that moment, each text whole, and may be called with or without the record's mutex (see PortSlot). A failed
// write is reported as "write" and the result stays 1. Commands that came by LPC are answered here too.
#pragma once

#include <cstddef>
#include <sys/types.h>

/// Room for the longest reply there can be, the refusal of a full line buffer; a longer text is cut.
inline constexpr std::size_t kReplyCapacity = 10'240;

/// Every reply of every command handler is one call of this.
[[gnu::format(printf, 1, 2)]] int uartReply(const char* format, ...);

/// Pass-through text that is not a reply ("RS232zone", projector control); the same contract.
[[gnu::format(printf, 1, 2)]] int uartPassThrough(const char* format, ...);

/// Raw bytes; the result of uartWrite, or -1 with EBADF when no port is open.
ssize_t uartWriteRaw(const char* bytes, std::size_t length);
