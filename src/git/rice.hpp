// The adaptive Golomb-Rice code of the GIT coder, one stream: most significant bit first.
//
//     value < 8 << k:  value >> k ones, a zero, the low k bits
//     else (escape):   eight ones; then value -= 8 << k and k doubles, with a further one before
//                      each repetition, until value < 8 << k; a zero; value >> k ones, a zero, the
//                      low k bits
//
// k follows the mean of the values coded so far; escaped values do not count.
#pragma once

#include <bit>
#include <cstdint>

#include "core/unaligned.hpp"

namespace zeldc::git {

constexpr uint32_t kFirstParameter = 10;
constexpr uint32_t kEscapeOnes = 8;

// Codes of up to this many bits fit a 32-bit word at any bit offset within its first byte.
constexpr uint32_t kWordBits = 25;

// The largest parameter whose ordinary codes (at most seven ones and a zero before the low bits)
// fit such a word.
constexpr uint32_t kWordParameter = kWordBits - kEscapeOnes;

// Whenever eight values have been counted since the last time, sum and count are halved before the
// next. The count is therefore a function of how many values came before:
//     1..8, 4 + 1..8, 6 + 1..8, 7 + 1..8, and 7 + 1..8 again ever after.
// `tally`, the number of values modulo that period, stands for count and halving counter at once.
constexpr uint32_t kHalvingPeriod = 8;
constexpr uint32_t kTallyEnd = 32;
constexpr uint32_t kTallyLoop = 24;

struct RiceStats {
    U32 sum;
    uint8_t tally;
    uint8_t parameter;

    void reset() {
        sum = 0;
        tally = 0;
        parameter = kFirstParameter;
    }
};

constexpr uint32_t countAfter(uint32_t tally) {
    constexpr uint8_t kKept[kTallyEnd / kHalvingPeriod] = {0, 4, 6, 7};
    return kKept[tally / kHalvingPeriod] + tally % kHalvingPeriod + 1;
}

// The smallest n >= 1 with count << n >= sum. With d the difference of their widths in bits,
// count << d is as wide as sum and count << (d - 1) is narrower: n is d or d + 1. 64 bits, because
// the sums of damaged streams may use all 32.
constexpr uint32_t parameterFor(uint32_t sum, uint32_t count) {
    const int difference = std::bit_width(sum) - std::bit_width(count);
    if (difference < 1) return 1;
    const auto shift = static_cast<uint32_t>(difference);
    return shift + ((uint64_t{count} << shift) < sum ? 1 : 0);
}

// A sum that reaches its limit stays there; encoders never come near it.
constexpr uint32_t kSumLimit = 0x7FFFFFFF;

inline void adapt(RiceStats& stats, uint32_t value) {
    const uint32_t tally = stats.tally;
    uint32_t sum = stats.sum;
    if (tally % kHalvingPeriod == 0) sum >>= 1;
    sum = value <= kSumLimit - sum ? sum + value : kSumLimit;
    stats.sum = sum;
    stats.parameter = static_cast<uint8_t>(parameterFor(sum, countAfter(tally)));
    stats.tally = static_cast<uint8_t>(tally + 1 == kTallyEnd ? kTallyLoop : tally + 1);
}

}  // namespace zeldc::git
