// Symbol counts of a block's pairs.
#pragma once

#include <cstdint>

#include "deflate/encode_block.hpp"
#include "deflate/format.hpp"

namespace zeldc::deflate {

struct DistanceCounts {
    uint32_t of[kDistanceSymbols] = {};
};

struct LitLenCounts {
    uint32_t of[kLitLenSymbols] = {};

    void addEndOfBlock() { ++of[kEndOfBlock]; }
};

// Which pair was the first with a literal or length symbol, for symbols that occur.
struct FirstOccurrences {
    uint32_t of[kLitLenSymbols];
};

void countDistances(PairSource pairs, DistanceCounts& distances);

// Literal and length symbols without end of block, and distance codes.
void countPairs(PairSource pairs, LitLenCounts& litLen, DistanceCounts& distances);
void countPairs(PairSource pairs, LitLenCounts& litLen, DistanceCounts& distances,
                FirstOccurrences& first);

}  // namespace zeldc::deflate
