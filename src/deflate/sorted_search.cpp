// The sort behind the search without chains.
#include "deflate/sorted_search.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace zeldc::deflate {
namespace {

// Calls use(i, hash) for each of `size` positions from `bytes` on.
template <class Use>
void forHashes(const uint8_t* bytes, uint32_t size, Use use) {
    TabulationHashes hashes(bytes);
    for (uint32_t i = 0; i != size; ++i)
        use(i, hashes.next(bytes[i + 2]));
}

// The loops of the sort stand alone: as parts of one function they have no registers left.

[[gnu::noinline]] void count(U16* counts, const uint8_t* bytes, uint32_t size) {
    forHashes(bytes, size, [=](uint32_t, uint32_t hash) { ++counts[hash]; });
}

[[gnu::noinline]] void countKeepingHashes(U16* counts, const uint8_t* bytes, uint32_t size,
                                          U16* hashes) {
    forHashes(bytes, size, [=](uint32_t i, uint32_t hash) {
        hashes[i] = static_cast<uint16_t>(hash);
        ++counts[hash];
    });
}

// Turns each count into the sum of those before it.
[[gnu::noinline]] void sumCounts(U16* counts) {
    __m128i carry = _mm_setzero_si128();
    for (uint32_t i = 0; i < kHashSize; i += 8) {
        auto* const eight = reinterpret_cast<__m128i*>(counts + i);
        const __m128i own = _mm_loadu_si128(eight);
        __m128i sums = _mm_add_epi16(own, _mm_slli_si128(own, 2));
        sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 4));
        sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 8));
        sums = _mm_add_epi16(sums, carry);
        _mm_storeu_si128(eight, _mm_sub_epi16(sums, own));
        carry = _mm_shuffle_epi32(_mm_shufflehi_epi16(sums, 0xFF), 0xFF);
    }
}

uint32_t takePlace(U16* next, uint32_t hash) {
    const uint32_t place = next[hash];
    next[hash] = static_cast<uint16_t>(place + 1);
    return place;
}

// Puts `size` positions from p on, whose hashes are known, at the next places of these.
[[gnu::noinline]] void put(U16* sorted, U16* next, const U16* hashes, uint32_t p, uint32_t size) {
    for (const uint32_t end = p + size; p != end; ++p)
        sorted[takePlace(next, *hashes++)] = static_cast<uint16_t>(p);
}

// The same by their bytes; notes the places.
[[gnu::noinline]] void putNotingPlaces(U16* sorted, U16* next, const uint8_t* bytes, uint32_t p,
                                       uint32_t size, U16* places) {
    forHashes(bytes, size, [=](uint32_t i, uint32_t hash) {
        const uint32_t place = takePlace(next, hash);
        sorted[place] = static_cast<uint16_t>(p + i);
        places[i] = static_cast<uint16_t>(place);
    });
}

}  // namespace

LeftOut::LeftOut(MatchHistory& history) {
    const NarrowTables tables(history);
    const uint32_t end = history.position;
    const uint32_t size = std::min(end - history.origin, kHistorySize - 1);
    for (uint32_t p = end - size; p != end; ++p) {
        if (!tables.leftOut(p)) continue;
        known_ = count_ != kMost;
        if (!known_) return;
        positions_[count_++] = p;
    }
}

void LeftOut::mark(MatchHistory& history) const {
    NarrowTables tables(history);
    for (uint32_t i = 0; i < count_; ++i) {
        if (history.position - positions_[i] < kHistorySize) {
            tables.leaveOut(positions_[i]);
        }
    }
}

uint32_t SortedSearch::beginBlock(const uint8_t* src, uint32_t size, uint32_t tail) {
    const uint32_t held = history_.position - history_.origin;
    const uint32_t kept = std::min(held, kReach);
    const uint32_t staged = std::min(size, kWindowBufferSize - kept);
    std::memmove(history_.window, history_.window + (held - kept), kept);
    std::memcpy(history_.window + kept, src, staged);
    history_.origin = history_.position - kept;
    text_ = reinterpret_cast<uintptr_t>(history_.window) + kept - kFirst;

    const uint32_t searchable = size - (staged == size ? tail : size - staged + kMaxMatch);
    const uint32_t positions = std::min(searchable, kReach);
    sort(kept, positions);
    return positions;
}

void SortedSearch::sort(uint32_t kept, uint32_t size) {
    // Each start serves as the next place of the hash before it until all are placed.
    U16* const next = memory_.starts + 1;
    U16* const sorted = memory_.sorted;
    // The history's hashes wait where the block's places will be.
    U16* const hashes = memory_.places;
    std::memset(memory_.starts, 0, sizeof memory_.starts);
    const uint32_t oldest = history_.position - kept;
    const uint32_t shift = history_.position - kFirst;
    leftOut_.forRuns(oldest, kept, [&](uint32_t p, uint32_t run) {
        countKeepingHashes(next, at(p - shift), run, hashes + (p - shift));
    });
    count(next, at(kFirst), size);
    sumCounts(next);
    leftOut_.forRuns(oldest, kept, [&](uint32_t p, uint32_t run) {
        put(sorted, next, hashes + (p - shift), p - shift, run);
    });
    putNotingPlaces(sorted, next, at(kFirst), kFirst, size, memory_.places);
}

void SortedSearch::finish() {
    const uint32_t held = history_.position - history_.origin;
    const uint32_t reached = std::min(held, kReach);
    NarrowTables::clear(history_);
    NarrowTables tables(history_);
    leftOut_.forRuns(history_.position - reached, reached, [&](uint32_t p, uint32_t run) {
        tables.enter(history_.window + (p - history_.origin), p, run);
    });
    leftOut_.mark(history_);

    // After this a call's start fits behind the history again.
    const uint32_t kept = std::min(held, kHistorySize);
    std::memmove(history_.window, history_.window + (held - kept), kept);
    history_.origin = history_.position - kept;
}

}  // namespace zeldc::deflate
