// The two running sums of Adler-32, shared by its tiers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeldc::checksum {

constexpr uint32_t kAdlerModulus = 65521;

// The most bytes between two reductions: b stays below 2^32 even when both halves of the starting
// value are 65535, which is not reduced.
constexpr size_t kAdlerChunk = 5552;
static_assert(uint64_t{65535} * (1 + kAdlerChunk) +
                  uint64_t{255} * kAdlerChunk * (kAdlerChunk + 1) / 2 <=
              0xFFFFFFFFU);

struct AdlerSums {
    uint32_t a;
    uint32_t b;

    static constexpr AdlerSums of(uint32_t adler) { return {adler & 0xFFFF, adler >> 16}; }
    constexpr void reduce() {
        a %= kAdlerModulus;
        b %= kAdlerModulus;
    }
    constexpr uint32_t value() const { return b << 16 | a; }
};

}  // namespace zeldc::checksum
