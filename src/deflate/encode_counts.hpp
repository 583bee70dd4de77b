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
    // Two rounds of tables, so that a run of one value does not wait for its own last store. Which
    // pairs are literals is hard to predict, so a literal is counted without a branch, as distance
    // 0 = code 29 as well, and taken off there at the end.
    uint32_t strings[2][512] = {};
    uint32_t distanceCodes[2][kDistanceSymbols] = {};
    const auto countOne = [&](uint32_t pair, uint32_t round) {
        const uint32_t distance = pair >> 16;
        const uint32_t isMatch = distance != 0 ? 1 : 0;
        const uint32_t string = ((pair - isMatch * kShortestMatch) & 0xFF) + isMatch * 256;
        ++strings[round][string];
        ++distanceCodes[round][kDistanceCodeOf[distanceSlot(distanceBack(distance))]];
    };
    const PairWord* next = pairs.next;
    for (; pairs.end - next >= 2; next += 2) {
        countOne(next[0], 0);
        countOne(next[1], 1);
    }
    if (next != pairs.end) countOne(*next, 0);

    uint32_t literals = 0;
    for (uint32_t i = 0; i < 256; ++i) {
        literals += strings[0][i] + strings[1][i];
        litLen.of[i] += strings[0][i] + strings[1][i];
        litLen.of[kFirstLengthSymbol + kLengthCodeOf[i]] +=
            strings[0][256 + i] + strings[1][256 + i];
    }
    for (int32_t code = 0; code < kDistanceSymbols; ++code)
        distances.of[code] += distanceCodes[0][code] + distanceCodes[1][code];
    distances.of[kDistanceCodeOf[distanceSlot(distanceBack(0))]] -= literals;
}

}  // namespace zeldc::deflate
