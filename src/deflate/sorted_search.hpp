// Match search without chains, for the best level where there is much to search.
//
// A walk along a chain waits for one load after the other. Here the positions of a block, and of
// the 32767 before it, are sorted by hash, those of one hash in their order. The candidates of a
// position are then what stands before it, and loading them waits for nothing. The sort takes the
// memory of the narrow tables, which are made again from the text when it is over.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/hash_chain.hpp"
#include "core/unaligned.hpp"

namespace zeldc::deflate {

// The positions within reach that were not inserted: the last ones of each call.
class LeftOut {
  public:
    // Calls of a few bytes may leave out more than can be held; then known() is false.
    explicit LeftOut(MatchHistory& history);

    bool known() const { return known_; }

    // Calls run(p, size) for each run of inserted positions among the `size` from p on.
    template <class Run>
    void forRuns(uint32_t p, uint32_t size, Run run) const {
        const uint32_t end = p + size;
        for (uint32_t i = 0; i < count_; ++i) {
            const uint32_t q = positions_[i];
            if (q - p >= end - p) continue;
            if (q != p) run(p, q - p);
            p = q + 1;
        }
        if (p != end) run(p, end - p);
    }

    // Says it to tables that were made again.
    void mark(MatchHistory& history) const;

  private:
    static constexpr uint32_t kMost = 128;

    bool known_ = true;
    uint32_t count_ = 0;
    uint32_t positions_[kMost];
};

// Within a block positions are counted from 32768 before its first one: 16 bits hold them, and 0 is
// never within reach. The text is read in the window, where the block stands behind its history,
// with kMaxMatch bytes or the end of the call behind it.
class SortedSearch {
  public:
    static constexpr uint32_t kFirst = kHistorySize;

    // Reads the tables, which are lost with the first block.
    explicit SortedSearch(MatchHistory& history)
        : memory_(reinterpret_cast<Memory&>(history)), history_(history), leftOut_(history) {}

    bool possible() const { return leftOut_.known(); }

    // Sorts a block that begins at `src`, where `size` bytes are left, the last `tail` of which
    // (fewer than all) are not to be inserted. Returns how many positions it has.
    uint32_t beginBlock(const uint8_t* src, uint32_t size, uint32_t tail);
    // Takes what is before p into the history: at most kMaxMatch positions more than the block's.
    void endBlock(uint32_t p) { history_.position += p - kFirst; }
    // Makes the tables again.
    void finish();

    uint32_t remoteCandidates() const { return remoteCandidates_; }
    const uint8_t* at(uint32_t p) const { return reinterpret_cast<const uint8_t*>(text_ + p); }

    // As the searches along chains have them. Nothing is to be done to insert a position, and its
    // candidates are named by its place.
    void beginStep(uint32_t /*p*/, size_t /*room*/) {}
    uint32_t insert(uint32_t p) { return candidateAt(p); }
    void insertUpTo(uint32_t /*p*/, uint32_t /*stop*/) {}
    uint32_t candidateAt(uint32_t p) const { return memory_.places[p - kFirst]; }
    Match longest(uint32_t p, uint32_t place, uint32_t limit, uint32_t candidates,
                  uint32_t floor = kMinMatch - 1);

  private:
    // The farthest distance.
    static constexpr uint32_t kReach = kHistorySize - 1;

    struct Memory {
        U16 starts[kHashSize + 1];  // where the positions of each hash begin in `sorted`
        U16 places[kHistorySize];   // where each position of the block stands there
        U16 sorted[kReach + kHistorySize];
    };
    static_assert(sizeof(Memory) <= offsetof(MatchHistory, window));

    void sort(uint32_t kept, uint32_t size);

    Memory& memory_;
    MatchHistory& history_;
    uintptr_t text_ = 0;
    uint32_t remoteCandidates_ = 0;
    LeftOut leftOut_;
};

// The first of the entries before `next` and not before `end`, from the back, for which `accepts`
// holds; null if there is none.
template <class Accepts>
const U16* findBack(const U16* next, const U16* end, Accepts accepts) {
    for (; next - end >= 4; next -= 4) {
        if (accepts(next[-1])) return next - 1;
        if (accepts(next[-2])) return next - 2;
        if (accepts(next[-3])) return next - 3;
        if (accepts(next[-4])) return next - 4;
    }
    while (next != end) {
        if (accepts(*--next)) return next;
    }
    return nullptr;
}

inline Match SortedSearch::longest(uint32_t p, uint32_t place, uint32_t limit, uint32_t candidates,
                                   uint32_t floor) {
    Match best{floor, p};
    if (limit <= floor) return best;
    const uint8_t* const here = at(p);
    const uint8_t* const text = at(0);
    const U16* const sorted = memory_.sorted;
    // What is too far for p will be so for all that follow.
    U16& start = memory_.starts[tabulationHash(here[0], here[1], here[2])];
    uint32_t oldest = start;
    while (sorted[oldest] < p - kReach)
        ++oldest;
    start = static_cast<uint16_t>(oldest);
    const uint32_t count = std::min(place - oldest, candidates);
    remoteCandidates_ += remote(count);

    const U16* next = sorted + place;
    const U16* const end = next - count;
    if (floor < kMinMatch) {
        // Three bytes decide, of four that are there to be read.
        const uint32_t three = load<uint32_t>(here) << 8;
        next =
            findBack(next, end, [=](uint32_t q) { return load<uint32_t>(text + q) << 8 == three; });
        if (next == nullptr) return best;
        best = {matchLength(text + *next, here, limit), *next};
    }
    // A longer match has the four bytes that end one past the best one.
    while (best.length != limit) {
        const uint8_t* const probe = text + (best.length - 3);
        const uint32_t ending = load<uint32_t>(probe + p);
        next = findBack(next, end, [=](uint32_t q) { return load<uint32_t>(probe + q) == ending; });
        if (next == nullptr) return best;
        const uint32_t length = matchLength(text + *next, here, limit);
        if (length > best.length) best = {length, *next};
    }
    return best;
}

}  // namespace zeldc::deflate
