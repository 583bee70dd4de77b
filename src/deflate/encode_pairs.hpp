// Pairs to bits while the destination has room to spare.
#pragma once

#include <cstdint>

#include "deflate/encode_bits.hpp"
#include "deflate/encode_block.hpp"
#include "deflate/encode_codes.hpp"

namespace zeldc::deflate {

// A distance's code with its extra bits, at most 15 + 13.
struct DistanceString {
    uint32_t bits;
    uint32_t count;
};

inline DistanceString distanceString(const PairCodes& codes, uint32_t distance) {
    const uint32_t back = distanceBack(distance);
    const uint32_t entry = codes.distances[kDistanceCodeOf[distanceSlot(back)]];
    const uint32_t codeLength = entry >> 16 & 0xFF;
    const uint32_t extraBits = entry >> 24;
    // Every code begins at a multiple of its range, so the offset in it is the low bits.
    const uint32_t extra = back & ((1U << extraBits) - 1);
    return {(entry & 0xFFFF) | extra << codeLength, codeLength + extraBits};
}

// Codes pairs until they end or the destination is nearly full. Up to 7 bits wait before and after.
void codePairsFast(const PairCodes& codes, PairSource& pairs, BitSink& sink);

}  // namespace zeldc::deflate
