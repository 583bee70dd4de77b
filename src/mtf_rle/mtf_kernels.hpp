// The kernels of both directions, for the resolver and for the choice by data.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mtf_rle/mtf.hpp"

namespace zeldc::mtf_rle {

// A table where vectors want it.
struct alignas(32) WorkingTable {
    uint8_t entries[kMtfEntries];
};

// All take `size` bytes from src to dst, which may be equal, and bring the table up to date.
using MtfKernel = void(const uint8_t* src, uint8_t* dst, size_t size, WorkingTable& table);

MtfKernel forwardByList;       // the table is a list; quick for symbols that stand near its front
MtfKernel forwardByRanksSse2;  // the table holds ranks; the same time for every symbol
MtfKernel forwardByRanksAvx2;

MtfKernel inverseSse2;  // the table is a list in all of these; quick for low ranks
MtfKernel inverseSsse3;
MtfKernel inverseFlatAvx2;  // the same time for every rank

// How many of the ranks are beyond the 16 that the kernels for low ones keep at hand.
size_t countFar(const uint8_t* ranks, size_t size);

}  // namespace zeldc::mtf_rle
