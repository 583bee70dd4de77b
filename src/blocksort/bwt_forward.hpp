// What the forward transforms of large and small blocks have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blocksort/least_rotation.hpp"
#include "blocksort/suffix_sort.hpp"

namespace zeldc::blocksort {

// The first multiple of `alignment`, a power of two, at or behind `p`.
inline uint8_t* alignUp(uint8_t* p, uintptr_t alignment) {
    return p + (-reinterpret_cast<uintptr_t>(p) & (alignment - 1));
}

inline void writeTwice(const uint8_t* src, size_t len, uint8_t* twice) {
    std::memcpy(twice, src, len);
    std::memcpy(twice + len, src, len);
}

// The transform of a word repeated: that of the word with every byte repeated. `twice` holds the
// block two times over; the word's least rotation is written to `text`, with a byte before it
// and kReadAhead bytes behind it.
// Returns a row that holds the block.
template <class Index>
size_t transformRepeated(const uint8_t* twice, size_t len, const LeastRotation& least, uint8_t* dst,
                         uint8_t* text, const SortSpace<Index>& space) {
    const size_t n = least.period;
    std::memcpy(text, twice + least.start, n);
    text[-1] = text[n - 1];
    for (size_t i = 0; i < kReadAhead; ++i)
        text[n + i] = text[i];
    const size_t row = transformLyndonWord(text, n, (n - least.start) % n, dst, space);
    const size_t times = len / n;
    if (times > 1) {
        // No byte is overwritten before it has been read: row * times >= row.
        for (size_t r = n; r-- > 0;)
            std::memset(dst + r * times, dst[r], times);
    }
    return row * times;
}

}  // namespace zeldc::blocksort
