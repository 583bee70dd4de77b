// Symbol counts of a block's pairs.
#pragma once

#include <cstdint>

#include "deflate/encode_block.hpp"
#include "deflate/encode_codes.hpp"
#include "deflate/encode_pairs.hpp"

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
    // pairs are literals is hard to predict: their lack of a distance is counted like a distance.
    uint32_t strings[2][512] = {};
    uint32_t distanceCodes[2][kDistanceSymbols + 1] = {};
    const auto countOne = [&](const PairWord& word, uint32_t round) {
        const PairParts pair(word);
        ++strings[round][pair.stringIndex()];
        ++distanceCodes[round][kDistanceCodeOf[distanceSlot(pair.distance())]];
    };
    const PairWord* next = pairs.next;
    for (; pairs.end - next >= 2; next += 2) {
        countOne(next[0], 0);
        countOne(next[1], 1);
    }
    if (next != pairs.end) countOne(*next, 0);

    for (uint32_t i = 0; i < 256; ++i) {
        const uint32_t literal = literalIndex(i);
        litLen.of[i] += strings[0][literal] + strings[1][literal];
        const uint32_t length = lengthIndex(i + kShortestMatch);
        litLen.of[kFirstLengthSymbol + kLengthCodeOf[i]] += strings[0][length] + strings[1][length];
    }
    for (int32_t code = 0; code < kDistanceSymbols; ++code)
        distances.of[code] += distanceCodes[0][code] + distanceCodes[1][code];
}

}  // namespace zeldc::deflate
