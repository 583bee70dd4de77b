// The inverse transform, for blocks of any size.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeldc::blocksort {

// What every caller provides beyond the vector's 4 n bytes.
constexpr size_t kInverseSlack = 1024;

// A negative index is not refused, though nothing is promised about what comes out: any row will
// do.
inline size_t safeRow(int32_t index) {
    return index < 0 ? 0 : static_cast<size_t>(index);
}

// Writes to `dst` the n >= 2 bytes that the walk from row `index` < n spells, for any bytes at
// `src`. `buffer` holds 4 n + kInverseSlack bytes at any address.
void invert(const uint8_t* src, uint8_t* dst, size_t n, size_t index, uint8_t* buffer);

}  // namespace zeldc::blocksort
