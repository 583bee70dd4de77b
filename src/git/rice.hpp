// The adaptive Golomb-Rice code of the GIT coder, one stream: most significant bit first.
//
//     value < 8 << k:  value >> k ones, a zero, the low k bits
//     else (escape):   eight ones; then value -= 8 << k and k doubles, with a further one before
//                      each repetition, until value < 8 << k; a zero; value >> k ones, a zero, the
//                      low k bits
//
// k follows the mean of the values coded so far; escaped values do not count.
#pragma once

#include <algorithm>
#include <array>
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
//     1..8, 4 + 1..8, 6 + 1..8, 7 + 1..8, and the last eight again ever after.
// `tally`, the number of values modulo that period, stands for count and halving counter at once.
constexpr uint32_t kHalvingPeriod = 8;
constexpr uint32_t kTallyEnd = 32;
constexpr uint32_t kTallyLoop = 24;

struct RiceStats {
    uint32_t sum;
    uint32_t tally;
    uint32_t parameter;
};

// As states keep it.
struct StoredStats {
    U32 sum;
    uint8_t tally;
    uint8_t parameter;

    RiceStats load() const { return {sum, tally, parameter}; }
    void store(const RiceStats& stats) {
        sum = stats.sum;
        tally = static_cast<uint8_t>(stats.tally);
        parameter = static_cast<uint8_t>(stats.parameter);
    }
    void reset() { store({0, 0, kFirstParameter}); }
};

struct TallyStep {
    uint8_t count;  // values counted once this one is
    uint8_t countWidth;
    uint8_t halves;  // 1 where the sum is halved first
    uint8_t next;
};

inline constexpr std::array<TallyStep, kTallyEnd> kTallySteps = [] {
    std::array<TallyStep, kTallyEnd> steps{};
    uint32_t count = 0;
    for (uint32_t tally = 0; tally < kTallyEnd; ++tally) {
        const bool halves = tally != 0 && tally % kHalvingPeriod == 0;
        count = (halves ? count / 2 : count) + 1;
        steps[tally] = {static_cast<uint8_t>(count), static_cast<uint8_t>(std::bit_width(count)),
                        static_cast<uint8_t>(halves ? 1 : 0),
                        static_cast<uint8_t>(tally + 1 < kTallyEnd ? tally + 1 : kTallyLoop)};
    }
    return steps;
}();
static_assert(kTallySteps[kTallyEnd - 1].count / 2 + 1 == kTallySteps[kTallyLoop].count);

// A sum that would pass its limit stays there; encoders never come near it.
constexpr uint32_t kSumLimit = 0x7FFFFFFF;

// The smallest n >= 1 with count << n >= sum. With d the difference of their widths in bits,
// count << d is as wide as sum and count << (d - 1) is narrower: n is d or d + 1.
// Differences below zero may count as zero: count << 0 is not below such a sum. (No branch, for
// which it is would be a coin toss.)
constexpr uint32_t parameterFor(uint32_t sum, const TallyStep& step) {
    const int width = 32 - __builtin_clz(sum | 1);
    const auto shift = static_cast<uint32_t>(std::max(width - step.countWidth, 0));
    return std::max(shift + (uint32_t{step.count} << shift < sum ? 1 : 0), 1U);
}

inline void adapt(RiceStats& stats, uint32_t value) {
    const TallyStep step = kTallySteps[stats.tally];
    const uint32_t sum = std::min((stats.sum >> step.halves) + value, kSumLimit);
    stats.sum = sum;
    stats.tally = step.next;
    stats.parameter = parameterFor(sum, step);
}

}  // namespace zeldc::git
