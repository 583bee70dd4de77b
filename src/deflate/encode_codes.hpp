// The bit strings that pairs are coded with, for fixed and dynamic blocks alike.
#pragma once

#include <array>
#include <cstdint>
#include <type_traits>

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

// Index of a literal or a length in tables of 512. Lengths of no known origin fall into the tables,
// in counting and in coding alike.
constexpr uint32_t literalIndex(uint32_t literal) {
    return 2 * (literal & 0xFF) + 1;
}
constexpr uint32_t lengthIndex(uint32_t length) {
    return 2 * (length & 0xFF);
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

// What a literal has instead of a distance: a code without bits.
constexpr uint32_t kNoDistance = kDistanceSymbols;

// Distance code by distance up to 256, else by 256 + (distance + 127) / 128: from 257 on every code
// begins at 1 above a multiple of 128.
constexpr uint32_t distanceSlot(uint32_t distance) {
    uint32_t far = (distance + 127 + (256 << 7)) >> 7;
    // Which of the two is hard to predict: with both at hand compilers choose without a branch.
    if (!std::is_constant_evaluated()) __asm__("" : "+r"(far));
    return distance <= 256 ? distance : far;
}
constexpr uint32_t kDistanceSlots = distanceSlot(kFarthestDistance) + 1;
inline constexpr std::array<uint8_t, kDistanceSlots> kDistanceCodeOf = [] {
    std::array<uint8_t, kDistanceSlots> codes{};
    codes[0] = kNoDistance;
    for (uint32_t code = 0; code < kDistanceSymbols; ++code) {
        const uint32_t first = kDistanceRanges[code].base;
        const uint32_t last = first + (1U << kDistanceRanges[code].extraBits) - 1;
        for (uint32_t slot = distanceSlot(first); slot <= distanceSlot(last); ++slot)
            codes[slot] = static_cast<uint8_t>(code);
    }
    return codes;
}();

// Strings in the order of transmission: codes are stored reversed. What a shift or an addition
// takes from memory has an array of its own.
struct PairCodes {
    // Of literals, and of lengths with their extra bits: at most 15 + 5 bits.
    U32 bits[512];
    uint8_t lengths[512];
    // Of distance codes, the last one being nothing at all, for literals. A distance's extra bits
    // are the low bits of distance - 1: every code begins at a multiple of its range.
    U32 distanceBits[kDistanceSymbols + 1];
    U32 distanceLengths[kDistanceSymbols + 1];
    U32 distanceExtraMasks[kDistanceSymbols + 1];
    U32 distanceTotals[kDistanceSymbols + 1];  // lengths with extra bits
    U32 endOfBlock;
};

// Fills the table from `litLen(symbol)` and `distance(symbol)`, which give a code as
// bitString(reversed code, length).
template <class LitLen, class Distance>
constexpr void fillPairCodes(PairCodes& codes, LitLen litLen, Distance distance) {
    const auto put = [&](uint32_t index, uint32_t bits, uint32_t length) {
        codes.bits[index] = bits;
        codes.lengths[index] = static_cast<uint8_t>(length);
    };
    for (uint32_t byte = 0; byte < 256; ++byte) {
        const uint32_t string = litLen(static_cast<int32_t>(byte));
        put(literalIndex(byte), stringBits(string), stringLength(string));
    }
    for (uint32_t i = 0; i < 256; ++i) {
        const uint32_t code = kLengthCodeOf[i];
        const uint32_t string = litLen(kFirstLengthSymbol + static_cast<int32_t>(code));
        const uint32_t count = stringLength(string);
        const uint32_t extra = i + kShortestMatch - kLengthRanges[code].base;
        put(lengthIndex(i + kShortestMatch), stringBits(string) | extra << count,
            count + kLengthRanges[code].extraBits);
    }
    const auto putDistance = [&](uint32_t index, uint32_t string, uint32_t extraBits) {
        codes.distanceBits[index] = stringBits(string);
        codes.distanceLengths[index] = stringLength(string);
        codes.distanceExtraMasks[index] = (1U << extraBits) - 1;
        codes.distanceTotals[index] = stringLength(string) + extraBits;
    };
    for (uint32_t symbol = 0; symbol < kDistanceSymbols; ++symbol) {
        putDistance(symbol, distance(static_cast<int32_t>(symbol)),
                    kDistanceRanges[symbol].extraBits);
    }
    putDistance(kNoDistance, 0, 0);
    codes.endOfBlock = litLen(kEndOfBlock);
}

}  // namespace zeldc::deflate
