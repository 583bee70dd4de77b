// Sixteen 16-bit lanes as a pair of SSE2 vectors.
#pragma once

#include <emmintrin.h>

#include <array>
#include <cstdint>

namespace zeldc::git {

constexpr uint32_t kLanes = 16;

struct LanePair {
    __m128i low;
    __m128i high;
};

// A window of 16 lanes into it that begins `n` before the middle has its first n lanes set.
alignas(16) inline constexpr std::array<int16_t, 2 * kLanes> kLaneStairs = [] {
    std::array<int16_t, 2 * kLanes> stairs{};
    for (uint32_t i = 0; i < kLanes; ++i)
        stairs[i] = -1;
    return stairs;
}();

// All ones in lanes 0 .. end-1, zero in the others; end is at most 16.
inline LanePair lanesBelow(uint32_t end) {
    const auto* window = reinterpret_cast<const __m128i*>(kLaneStairs.data() + kLanes - end);
    return {_mm_loadu_si128(window), _mm_loadu_si128(window + 1)};
}

}  // namespace zeldc::git
