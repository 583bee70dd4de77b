// The bit strings that pairs are coded with, for fixed and dynamic blocks alike.
#pragma once

#include <array>
#include <cstdint>

#include "core/unaligned.hpp"
#include "deflate/format.hpp"

namespace zeldc::deflate {

// A string of up to 27 bits, first bit lowest, with its length in the top 5 bits.
constexpr uint32_t kStringBits = 27;
constexpr uint32_t bitString(uint32_t bits, uint32_t count) {
    return bits | count << kStringBits;
}
constexpr uint32_t stringBits(uint32_t string) {
    return string & ((1U << kStringBits) - 1);
}
constexpr uint32_t stringLength(uint32_t string) {
    return string >> kStringBits;
}

// Index of a pair's literal or length in tables of 512: a byte, or 256 + length - 3. Pairs of no
// known origin are masked into the tables, in counting and in coding alike.
constexpr uint32_t literalIndex(uint32_t length) {
    return length & 0xFF;
}
constexpr uint32_t lengthIndex(uint32_t length) {
    return 256 + ((length - kShortestMatch) & 0xFF);
}
constexpr uint32_t distanceBack(uint32_t distance) {
    return (distance - 1) & (kFarthestDistance - 1);
}

// Code index by length - 3; the length symbol is 257 above it.
inline constexpr std::array<uint8_t, 256> kLengthCodeOf = [] {
    std::array<uint8_t, 256> codes{};
    for (uint32_t code = 0; code < kLengthCodes; ++code) {
        for (uint32_t length = kLengthRanges[code].base; length <= kLongestMatch; ++length)
            codes[length - kShortestMatch] = static_cast<uint8_t>(code);
    }
    return codes;
}();

// Distance code by distance - 1 below 256, else by 256 + (distance - 1) / 128: from there on every
// code begins at a multiple of 128.
constexpr uint32_t distanceSlot(uint32_t back) {
    return back < 256 ? back : 256 + (back >> 7);
}
inline constexpr std::array<uint8_t, 512> kDistanceCodeOf = [] {
    std::array<uint8_t, 512> codes{};
    for (uint32_t code = 0; code < kDistanceSymbols; ++code) {
        const uint32_t first = kDistanceRanges[code].base - 1U;
        for (uint32_t slot = distanceSlot(first); slot < (first < 256 ? 256U : 512U); ++slot)
            codes[slot] = static_cast<uint8_t>(code);
    }
    // Slots 256 and 257 stand for distances below 257 and are not used.
    return codes;
}();
static_assert(distanceSlot(distanceBack(65535)) < 512);

// A distance code: bits 0 to 15 the code, 16 to 23 its length, 24 to 31 the number of extra bits.
constexpr uint32_t distanceEntry(uint32_t code, uint32_t length, uint32_t extraBits) {
    return code | length << 16 | extraBits << 24;
}

// Strings in the order of transmission: codes are stored reversed.
struct PairCodes {
    U32 strings[512];  // literals, then matches by length - 3 with their extra bits
    U32 distances[kDistanceSymbols];
    U32 endOfBlock;
};
static_assert(kLongestCode + 5 <= kStringBits);

// Fills the table from `litLen(symbol)` and `distance(symbol)`, which give a code as
// bitString(reversed code, length).
template <class LitLen, class Distance>
constexpr void fillPairCodes(PairCodes& codes, LitLen litLen, Distance distance) {
    for (int32_t byte = 0; byte < 256; ++byte)
        codes.strings[byte] = litLen(byte);
    for (uint32_t i = 0; i < 256; ++i) {
        const uint32_t code = kLengthCodeOf[i];
        const uint32_t string = litLen(kFirstLengthSymbol + static_cast<int32_t>(code));
        const uint32_t count = stringLength(string);
        const uint32_t extra = i + kShortestMatch - kLengthRanges[code].base;
        codes.strings[256 + i] =
            bitString(stringBits(string) | extra << count, count + kLengthRanges[code].extraBits);
    }
    for (int32_t symbol = 0; symbol < kDistanceSymbols; ++symbol) {
        const uint32_t string = distance(symbol);
        codes.distances[symbol] =
            distanceEntry(stringBits(string), stringLength(string),
                          kDistanceRanges[static_cast<uint32_t>(symbol)].extraBits);
    }
    codes.endOfBlock = litLen(kEndOfBlock);
}

}  // namespace zeldc::deflate
