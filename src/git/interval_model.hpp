// The encoder's count of what has occurred in later slots, for every slot at once.
//
// An occurrence in a slot adds one to the later count of every slot below it. The slots form 16
// groups of 16: the occurrence adds to the lower slots of its own group one by one and to the
// groups below as a whole. Both are 16 lanes of 16 bits, and a run of equal bytes is one addition.
// (bench/git_plain.hpp walks a counting tree of eight levels for each byte instead.)
// Lanes that narrow are emptied into the 32-bit counts every kEpoch occurrences.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "git/git_state.hpp"
#include "git/lanes.hpp"

namespace zeldc::git {

class IntervalModel {
  public:
    // Ends the interval of the value in `slot`, which is how many occurrences in later slots there
    // were since the last restart, and begins the next.
    uint32_t restart(uint32_t slot) {
        const uint32_t later = laterCount(slot);
        const uint32_t interval = later - restartedAt_[slot];
        restartedAt_[slot] = later;
        return interval;
    }

    // How many occurrences may be counted before settle() is due.
    uint32_t room() const { return kEpoch - counted_; }

    void count(uint32_t slot, uint32_t occurrences) {
        counted_ += occurrences;
        const uint32_t group = slot / kLanes;
        const __m128i amount = _mm_set1_epi16(static_cast<int16_t>(occurrences));
        addBelow(groupCounts_, group, amount);
        addBelow(slotCounts_ + group * kLanes, slot % kLanes, amount);
    }

    // Exchanges the intervals of a slot that was restarted last and of another; the counts
    // themselves belong to the places.
    void exchange(uint32_t restarted, uint32_t other) {
        const uint32_t laterOther = laterCount(other);
        restartedAt_[restarted] = laterCount(restarted) - (laterOther - restartedAt_[other]);
        restartedAt_[other] = laterOther;
    }

    void settle() {
        for (uint32_t slot = 0; slot < kSlots; ++slot)
            restartedAt_[slot] -= laterCount(slot);
        std::memset(slotCounts_, 0, sizeof slotCounts_);
        std::memset(groupCounts_, 0, sizeof groupCounts_);
        counted_ = 0;
    }

  private:
    static constexpr uint32_t kEpoch = 0xFFFF;  // a lane gains at most one per occurrence

    uint32_t laterCount(uint32_t slot) const {
        return uint32_t{slotCounts_[slot]} + groupCounts_[slot / kLanes];
    }

    static void addBelow(uint16_t* lanes, uint32_t end, __m128i amount) {
        const LanePair below = lanesBelow(end);
        auto* at = reinterpret_cast<__m128i*>(lanes);
        _mm_store_si128(at, _mm_add_epi16(_mm_load_si128(at), _mm_and_si128(below.low, amount)));
        _mm_store_si128(at + 1,
                        _mm_add_epi16(_mm_load_si128(at + 1), _mm_and_si128(below.high, amount)));
    }

    alignas(16) uint16_t slotCounts_[kSlots] = {};
    alignas(16) uint16_t groupCounts_[kLanes] = {};
    uint32_t restartedAt_[kSlots] = {};  // modulo 2^32
    uint32_t counted_ = 0;
};

}  // namespace zeldc::git
