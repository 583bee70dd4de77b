// Symbol counts of a block's pairs.
#pragma once

#include <cstdint>

#include "deflate/encode_block.hpp"
#include "deflate/encode_codes.hpp"

namespace zeldc::deflate {

struct DistanceCounts {
    uint32_t of[kDistanceSymbols] = {};
};

struct LitLenCounts {
    uint32_t of[kLitLenSymbols] = {};

    void addEndOfBlock() { ++of[kEndOfBlock]; }
};

// Literal and length symbols without end of block, and distance codes.
inline void countPairs(PairSource pairs, LitLenCounts& litLen, DistanceCounts& distances) {
    // Two rounds of tables, so that a run of one value does not wait for its own last store.
    uint32_t strings[2][512] = {};
    uint32_t distanceCodes[2][kDistanceSymbols] = {};
    uint32_t round = 0;
    for (const PairWord* next = pairs.next; next != pairs.end; ++next, round ^= 1) {
        const uint32_t pair = *next;
        const uint32_t distance = pair >> 16;
        if (distance == 0) {
            ++strings[round][literalIndex(pair)];
        } else {
            ++strings[round][lengthIndex(pair & 0xFFFF)];
            ++distanceCodes[round][kDistanceCodeOf[distanceSlot(distanceBack(distance))]];
        }
    }
    for (uint32_t i = 0; i < 256; ++i) {
        litLen.of[i] += strings[0][i] + strings[1][i];
        litLen.of[kFirstLengthSymbol + kLengthCodeOf[i]] +=
            strings[0][256 + i] + strings[1][256 + i];
    }
    for (int32_t code = 0; code < kDistanceSymbols; ++code)
        distances.of[code] += distanceCodes[0][code] + distanceCodes[1][code];
}

}  // namespace zeldc::deflate
