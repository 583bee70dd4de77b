// The decoder's question, asked once per run of equal bytes: which slot is due next?
//
// Each live slot has a remaining count, the occurrences in later slots that come before its own
// next one. The slot with the least is next, the lowest of equals; its occurrence takes one from
// every slot below it and gives it a new count. In a block from an encoder some live slot is always
// at zero: the highest one, after which nothing can come.
//
// The slots form 16 groups of 16, in lanes of 16 bits. A group's lanes change only when a slot of
// its own occurs; what occurs in higher groups is taken from `least`, the least remaining count of
// each group, alone. A group's stored lanes are therefore too high by floor - least, where floor is
// what the group's least was when its lanes were stored. When the group is due, least is zero, and
// its lanes equal to floor are the slots that are due.
//
// Lanes hold remaining counts of up to kNear; what is above it is in `excess`, and is added back
// every kEpoch occurrences, before any lane that hides an excess can have reached zero.
//
// A minimum tree over the slots with pending adds, one descent and one ascent a byte, took 51 to 67
// ns a byte where this takes 8 to 21; bench/git_bench.cpp has the scan of all slots beside it.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "git/git_state.hpp"
#include "git/lanes.hpp"
#include "git/rice_reader.hpp"

namespace zeldc::git {

constexpr uint32_t kNear = 0x7FFF;
constexpr uint32_t kEpoch = kNear - 1;

class DueSlots {
  public:
    // A slot that is due, its group's lanes as remaining counts, and how many occurrences in a row
    // it can have before a lower slot is due.
    struct Due {
        uint32_t slot;
        uint32_t gap;
        LanePair lanes;
        LanePair lanesBelow;
        LanePair groupsBelow;
    };

    // Remaining counts, or kExhausted, of all slots.
    void spread(const uint32_t* remaining) {
        for (uint32_t slot = 0; slot < kSlots; ++slot)
            setCount(slot, remaining[slot]);
        for (uint32_t group = 0; group < kLanes; ++group)
            settleGroup(group);
        left_ = kEpoch;
    }

    void collect(uint32_t* remaining) const {
        for (uint32_t slot = 0; slot < kSlots; ++slot) {
            remaining[slot] = excess_[slot] == kNoCount
                                  ? kExhausted
                                  : lanes_[slot] - pending(slot / kLanes) + excess_[slot];
        }
    }

    // Occurrences that may follow before the counts must be spread anew.
    uint32_t left() const { return left_; }

    [[gnu::always_inline]] bool find(Due& due) const {
        const LanePair least = load(least_);
        const __m128i zero = _mm_setzero_si128();
        const uint32_t dueGroups = maskOf(_mm_cmpeq_epi16(least.low, zero),  //
                                          _mm_cmpeq_epi16(least.high, zero));
        if (dueGroups == 0) return false;
        const auto group = static_cast<uint32_t>(__builtin_ctz(dueGroups));
        const __m128i floor = floors_[group];
        const LanePair stored = load(lanes_ + group * kLanes);
        const auto lane = static_cast<uint32_t>(__builtin_ctz(
            maskOf(_mm_cmpeq_epi16(stored.low, floor), _mm_cmpeq_epi16(stored.high, floor))));
        due.slot = group * kLanes + lane;
        due.lanes = {_mm_sub_epi16(stored.low, floor), _mm_sub_epi16(stored.high, floor)};
        due.lanesBelow = lanesBelow(lane);
        due.groupsBelow = lanesBelow(group);
        due.gap = leastLane(_mm_min_epi16(leastWithin(due.lanes, due.lanesBelow),
                                          leastWithin(least, due.groupsBelow)));
        return true;
    }

    // `run` occurrences, at most gap and left(), in the due slot, which then waits for `remaining`.
    [[gnu::always_inline]] void occur(const Due& due, uint32_t run, uint32_t remaining) {
        const uint32_t group = due.slot / kLanes;
        const uint32_t near = std::min(remaining, kNear);
        excess_[due.slot] = remaining - near;
        const __m128i amount = _mm_set1_epi16(static_cast<int16_t>(run));
        // The due lane and the due group's least are zero: the new ones can be ORed in.
        LanePair lanes = taken(due.lanes, due.lanesBelow, amount);
        insert(lanes, lanesBelow(due.slot % kLanes + 1), due.lanesBelow,
               _mm_set1_epi16(static_cast<int16_t>(near)));
        const __m128i floor = leastInAllLanes(_mm_min_epi16(lanes.low, lanes.high));
        store(lanes_ + group * kLanes, lanes);
        floors_[group] = floor;
        LanePair least = taken(load(least_), due.groupsBelow, amount);
        insert(least, lanesBelow(group + 1), due.groupsBelow, floor);
        store(least_, least);
        left_ -= run;
    }

    // Exchanges the counts of the slot that occurred last, in whose group nothing is pending, and
    // of another.
    void exchange(uint32_t occurred, uint32_t other) {
        const uint32_t group = occurred / kLanes;
        const uint32_t otherGroup = other / kLanes;
        if (group != otherGroup) takePending(otherGroup);
        std::swap(excess_[occurred], excess_[other]);
        std::swap(lanes_[occurred], lanes_[other]);
        if (group == otherGroup) return;
        settleGroup(group);
        settleGroup(otherGroup);
    }

    bool anyLive() const {
        return std::any_of(excess_, excess_ + kSlots,
                           [](uint32_t excess) { return excess != kNoCount; });
    }

  private:
    // The excess of an exhausted slot.
    static constexpr uint32_t kNoCount = kExhausted - kNear;
    static_assert(kLargestInterval - kNear < kNoCount);

    static LanePair load(const int16_t* lanes) {
        const auto* at = reinterpret_cast<const __m128i*>(lanes);
        return {_mm_load_si128(at), _mm_load_si128(at + 1)};
    }
    static void store(int16_t* lanes, const LanePair& values) {
        auto* at = reinterpret_cast<__m128i*>(lanes);
        _mm_store_si128(at, values.low);
        _mm_store_si128(at + 1, values.high);
    }

    static uint32_t maskOf(__m128i low, __m128i high) {
        return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
    }

    static LanePair taken(const LanePair& lanes, const LanePair& from, __m128i amount) {
        return {_mm_sub_epi16(lanes.low, _mm_and_si128(from.low, amount)),
                _mm_sub_epi16(lanes.high, _mm_and_si128(from.high, amount))};
    }

    // Sets the lane that is in `upTo` but not in `below`.
    static void insert(LanePair& lanes, const LanePair& upTo, const LanePair& below,
                       __m128i value) {
        lanes.low =
            _mm_or_si128(lanes.low, _mm_and_si128(_mm_andnot_si128(below.low, upTo.low), value));
        lanes.high =
            _mm_or_si128(lanes.high, _mm_and_si128(_mm_andnot_si128(below.high, upTo.high), value));
    }

    // Lane-wise least of both halves, lanes outside the mask counting as kNear.
    static __m128i leastWithin(const LanePair& lanes, const LanePair& mask) {
        const __m128i zero = _mm_setzero_si128();
        const __m128i lowCap = _mm_srli_epi16(_mm_cmpeq_epi16(mask.low, zero), 1);
        const __m128i highCap = _mm_srli_epi16(_mm_cmpeq_epi16(mask.high, zero), 1);
        return _mm_min_epi16(_mm_or_si128(lanes.low, lowCap), _mm_or_si128(lanes.high, highCap));
    }

    static __m128i leastOfPairs(__m128i lanes) {
        lanes = _mm_min_epi16(lanes, _mm_shuffle_epi32(lanes, _MM_SHUFFLE(1, 0, 3, 2)));
        return _mm_min_epi16(lanes, _mm_shuffle_epi32(lanes, _MM_SHUFFLE(2, 3, 0, 1)));
    }
    static __m128i leastInAllLanes(__m128i lanes) {
        lanes = leastOfPairs(lanes);
        constexpr int kSwapped = _MM_SHUFFLE(2, 3, 0, 1);
        return _mm_min_epi16(lanes,
                             _mm_shufflehi_epi16(_mm_shufflelo_epi16(lanes, kSwapped), kSwapped));
    }
    static uint32_t leastLane(__m128i lanes) {
        lanes = leastOfPairs(lanes);
        lanes = _mm_min_epi16(lanes, _mm_srli_epi32(lanes, 16));
        return static_cast<uint32_t>(_mm_cvtsi128_si32(lanes)) & 0xFFFF;
    }

    uint32_t pending(uint32_t group) const {
        return static_cast<uint32_t>(_mm_cvtsi128_si32(floors_[group]) & 0xFFFF) -
               static_cast<uint32_t>(least_[group]);
    }

    void setCount(uint32_t slot, uint32_t remaining) {
        const uint32_t near = std::min(remaining, kNear);
        lanes_[slot] = static_cast<int16_t>(near);
        excess_[slot] = remaining - near;
    }

    void takePending(uint32_t group) {
        const __m128i amount = _mm_set1_epi16(static_cast<int16_t>(pending(group)));
        const LanePair all = lanesBelow(kLanes);
        store(lanes_ + group * kLanes, taken(load(lanes_ + group * kLanes), all, amount));
    }

    // Makes floor and least of a group what its lanes say; nothing may be pending in them.
    void settleGroup(uint32_t group) {
        const int16_t* lanes = lanes_ + group * kLanes;
        const int16_t least = *std::min_element(lanes, lanes + kLanes);
        floors_[group] = _mm_set1_epi16(least);
        least_[group] = least;
    }

    alignas(16) int16_t lanes_[kSlots];
    alignas(16) int16_t least_[kLanes];
    __m128i floors_[kLanes];
    uint32_t excess_[kSlots];
    uint32_t left_;
};

}  // namespace zeldc::git
