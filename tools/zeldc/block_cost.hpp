// How many bits a deflate block of each kind would take.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zeldc.h"

namespace tool {

struct BlockCost {
    uint64_t storedBits;
    uint64_t fixedBits;
    // The size of a dynamic block is known exactly only after its codes have been built. No prefix
    // code beats the entropy, and Huffman's in practice stays within 2 % of it.
    uint64_t dynamicAtLeast;
    uint64_t dynamicAtMost;
};

BlockCost costOf(const Lz77Pair* pairs, int32_t count, size_t srcSize);

}  // namespace tool
