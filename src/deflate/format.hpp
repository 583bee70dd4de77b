// The numbers of the deflate format (RFC 1951, section 3.2) that both directions work from.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zeldc::deflate {

// Block types as the header's two BTYPE bits give them.
constexpr uint32_t kStoredBlock = 0;
constexpr uint32_t kFixedBlock = 1;
constexpr uint32_t kDynamicBlock = 2;

constexpr int32_t kLongestStored = 65535;

constexpr uint32_t kShortestMatch = 3;
constexpr uint32_t kLongestMatch = 258;
constexpr uint32_t kFarthestDistance = 32768;

constexpr int32_t kEndOfBlock = 256;
constexpr int32_t kFirstLengthSymbol = 257;
constexpr int32_t kLengthCodes = 29;
constexpr int32_t kLitLenSymbols = kFirstLengthSymbol + kLengthCodes;
constexpr int32_t kDistanceSymbols = 30;
constexpr int32_t kCodeLengthSymbols = 19;
constexpr int32_t kFewestLitLenLengths = 257;
constexpr int32_t kFewestDistanceLengths = 1;
constexpr int32_t kFewestCodeLengthLengths = 4;

// Limits on code lengths: literal/length and distance codes, and the code that describes them.
constexpr int32_t kLongestCode = 15;
constexpr int32_t kLongestCodeLengthCode = 7;

// Symbols of the code-length alphabet beyond the lengths 0 to 15, each with the number of its extra
// bits and the count that extra bits of 0 stand for.
constexpr int32_t kRepeatPrevious = 16;    // 3 to 6 times, 2 bits
constexpr int32_t kRepeatZero = 17;        // 3 to 10 times, 3 bits
constexpr int32_t kRepeatZeroLonger = 18;  // 11 to 138 times, 7 bits

// The order in which a dynamic header gives the lengths of the code-length code.
inline constexpr std::array<uint8_t, kCodeLengthSymbols> kCodeLengthOrder = {
    16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

// The first value that a length or distance code stands for, and its number of extra bits.
struct CodeRange {
    uint16_t base;
    uint8_t extraBits;
};

inline constexpr std::array<CodeRange, kLengthCodes> kLengthRanges = [] {
    std::array<CodeRange, kLengthCodes> ranges{};
    uint32_t base = kShortestMatch;
    for (uint32_t code = 0; code + 1 < kLengthCodes; ++code) {
        const uint32_t extraBits = code < 8 ? 0 : code / 4 - 1;
        ranges[code] = {static_cast<uint16_t>(base), static_cast<uint8_t>(extraBits)};
        base += 1U << extraBits;
    }
    // The longest length has a code of its own instead of the last value of the one before.
    ranges[kLengthCodes - 1] = {kLongestMatch, 0};
    return ranges;
}();

inline constexpr std::array<CodeRange, kDistanceSymbols> kDistanceRanges = [] {
    std::array<CodeRange, kDistanceSymbols> ranges{};
    uint32_t base = 1;
    for (uint32_t code = 0; code < kDistanceSymbols; ++code) {
        const uint32_t extraBits = code < 4 ? 0 : code / 2 - 1;
        ranges[code] = {static_cast<uint16_t>(base), static_cast<uint8_t>(extraBits)};
        base += 1U << extraBits;
    }
    return ranges;
}();
static_assert(kLengthRanges[27].base == 227 && kLengthRanges[27].extraBits == 5);
static_assert(kDistanceRanges[29].base == 24577 && kDistanceRanges[29].extraBits == 13);

// Code lengths of the fixed literal/length code (RFC 1951, section 3.2.6); it has 288 symbols, of
// which the last two never occur. Fixed distance codes are the plain symbol in 5 bits.
constexpr int32_t kFixedLitLenSymbols = 288;
constexpr int32_t kFixedDistanceBits = 5;
constexpr uint8_t fixedLitLenLength(int32_t symbol) {
    if (symbol < 144) return 8;
    if (symbol < 256) return 9;
    return symbol < 280 ? 7 : 8;
}

// The lowest `length` (1 to 15) bits of a code in reverse: codes are sent from their top bit on,
// everything else from its lowest.
constexpr uint32_t reversedCode(uint32_t code, uint32_t length) {
    code = (code & 0x5555) << 1 | (code >> 1 & 0x5555);
    code = (code & 0x3333) << 2 | (code >> 2 & 0x3333);
    code = (code & 0x0F0F) << 4 | (code >> 4 & 0x0F0F);
    code = (code & 0x00FF) << 8 | (code >> 8 & 0x00FF);
    return code >> (16 - length);
}
static_assert(reversedCode(0b110, 3) == 0b011 && reversedCode(1, 15) == 0x4000);

}  // namespace zeldc::deflate
