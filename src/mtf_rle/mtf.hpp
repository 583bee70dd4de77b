// Move-to-front over bytes (Bentley, Sleator, Tarjan, Wei: "A locally adaptive data compression
// scheme", 1986).
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeldc::mtf_rle {

constexpr size_t kMtfEntries = 256;

// The list of byte values in order of their last use, in the form that suits the direction: forward
// keeps the position of each value, inverse keeps the value at each position. The identity is both.
struct MtfTable {
    uint8_t entries[kMtfEntries];
};
static_assert(sizeof(MtfTable) == 256 && alignof(MtfTable) == 1);

void mtfInit(MtfTable& table);

// src and dst may be the same buffer; the table may lie anywhere outside both.
using MtfTransform = void(const uint8_t* src, uint8_t* dst, size_t size, MtfTable& table);
MtfTransform mtfForward;
MtfTransform mtfInverse;

}  // namespace zeldc::mtf_rle
