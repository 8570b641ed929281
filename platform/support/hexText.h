// Bytes and numbers in hexadecimal, as pass-through and the link's dumps spell them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/support/fixedText.h"

/// Appends a blank and two capital digits for every byte, as many bytes as fit.
template <std::size_t Capacity>
void appendHex(FixedText<Capacity>& hex, std::string_view bytes)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    constexpr std::size_t kWritten = 3;
    static_assert(FixedText<Capacity>::kMaxSize % kWritten == 0, "the last byte would be cut");
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        const char written[kWritten] = {' ', kDigits[byte >> 4], kDigits[byte & 0xF]};
        if (!hex.append({written, kWritten})) {
            return;
        }
    }
}

/// The number that digits in either case name, its last 32 bits; any other character makes it 0.
std::uint32_t hexNumber(std::string_view digits);
