// The transform of a word repeated seven times or more.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeldc::blocksort {

// The memory of the sort of a block of n bytes.
struct PeriodicSpace {
    uint32_t* rows;        // n entries
    const uint8_t* twice;  // the block, the block again, and its first byte
};

// Writes the transform of the block, whose shortest period `period` goes into n at least seven
// times and is not 1, to `dst`; returns the primary index: of the rows that hold the block itself,
// one from which the inverse restores it, or the first when there is none.
size_t transformPeriodic(size_t n, size_t period, uint8_t* dst, const PeriodicSpace& space);

}  // namespace zeldc::blocksort
