// Link dump: the register dump of one HDBaseT link chip, 73 characters of hexadecimal text. Decoding is a pure function
// that takes a text of any length and content.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Whose dump it is: the far end's transmitter or this receiver.
enum class LinkEnd { tx, rx };

/// "TX" or "RX".
const char* nameOf(LinkEnd end);

inline constexpr std::size_t kLinkDumpLength = 73;

/// Register values as they stand in the dump.
struct LinkDump {
    LinkEnd end = LinkEnd::tx;
    std::string_view text;  // the dump itself
    bool headed = false;    // it began with the header of its end

    std::uint32_t chipType = 0;
    std::uint32_t status = 0;  // bit 0: hot-plug detect, bit 2: 5 V present
    std::uint32_t tmdsClock = 0;
    std::uint32_t mseA = 0;
    std::uint32_t mseB = 0;
    std::uint32_t mseC = 0;
    std::uint32_t mseD = 0;
    std::uint32_t maxErrorA = 0;
    std::uint32_t maxErrorB = 0;
    std::uint32_t maxErrorC = 0;
    std::uint32_t maxErrorD = 0;
    std::uint32_t cableLength = 0;
    std::uint32_t totalBer = 0;
    std::uint32_t retransmission = 0;

    [[nodiscard]] bool hotPlug() const { return (status & 0x01U) != 0; }
    [[nodiscard]] bool fiveVolt() const { return (status & 0x04U) != 0; }
    /// The chip type as text; empty without a header.
    [[nodiscard]] std::string_view chipText() const;
    /// The chip's name; null for an unknown type.
    [[nodiscard]] const char* chipName() const;
    [[nodiscard]] bool newFamily() const;
};

/// The text must outlive the result. What is missing or is not hexadecimal reads as 0.
LinkDump decodeLinkDump(LinkEnd end, std::string_view text);

/// Mean square error in whole decibels, without its sign; 0 stays 0.
int decibels(LinkEnd end, std::uint32_t mse);
