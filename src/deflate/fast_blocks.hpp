// The fast level's parse by blocks, of all but the end of a call.
//
// One candidate a position, the latest with its hash: every position enters the head table in
// order, whatever the parse makes of it, so a position's candidate does not depend on the parse.
// That lets a block go without a branch per position through
//
//   replace   candidates for eight positions, entered in exchange,
//   compare   sixteen bytes at each candidate with those at the position, kept as bits,
//   mark      one bit a position: a match of three bytes or more begins here,
//
// and leaves the parse to walk from match to match over the marks, instead of asking at each byte
// what no predictor foresees. The stages run a few groups behind each other, so that what one
// stores in pieces has left the store buffer before the next loads it whole; the walk runs still
// farther behind and takes one match per group. It is one chain of latencies, which the other
// stages fill with work. Against a step per literal or match: 2 times the speed on text and source,
// 3.5 times on executables.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "core/hash_chain.hpp"
#include "core/unaligned.hpp"
#include "deflate/pairs.hpp"
#include "deflate/shift_hash.hpp"

namespace zeldc::deflate {

inline __m128i load16(const void* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void store16(void* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

// A Tier has
//
//     class Own { Own(const uint8_t*); __m128i at<i>() const; };    16 bytes from i on, i below 8
//     static U32* block<history>(FastBlocks&, const uint8_t* here, uint32_t size, U32* pairNext);
//
// where the latter compiles FastBlocks::block for the tier.
class FastBlocks {
  public:
    // Searches positions before `stop`, which is two or more before the call's end.
    FastBlocks(NarrowTables& tables, MatchHistory& history, const CallText& text, uint32_t stop)
        : tables_(tables),
          text_(text),
          behindHistory_(history.window + (text.first() - text.earliest())),
          copied_(std::min(kMaxMatch, text.end() - text.first())),
          stop_(stop),
          entered_(text.first()),
          reached_(entered_) {}

    // Parses as far as blocks are safe: every position of a block has the compared bytes before
    // stop, and there is room for a pair a position and the rest of a group of literals.
    template <class Tier>
    U32* parse(U32* pairNext, const U32* pairEnd) {
        for (;;) {
            const auto left = static_cast<int32_t>(stop_ - entered_ - kFarCompared);
            const auto room = static_cast<int32_t>(pairEnd - pairNext - kGroup);
            const auto least = static_cast<int32_t>(kLeastBlock);
            const int32_t most = std::min({left, room, static_cast<int32_t>(kBlock)});
            if (most < least) return pairNext;
            const uint32_t size = static_cast<uint32_t>(most) & ~(kGroup - 1);
            tables_.makeRoom(entered_);
            const bool copied = inReachOfHistory() && copyBehindHistory(size);
            const uint8_t* const here =
                copied ? behindHistory_ + (entered_ - text_.first()) : text_.at(entered_);
            pairNext = inReachOfHistory() && !copied
                           ? Tier::template block<true>(*this, here, size, pairNext)
                           : Tier::template block<false>(*this, here, size, pairNext);
            entered_ += size;
        }
    }

    // Enters and searches `size` positions, whose bytes are at `here`, and parses up to the last of
    // them. `history`: their candidates may lie on the other side of the call's beginning.
    template <class Tier, bool history>
    [[gnu::always_inline]] U32* block(const uint8_t* here, uint32_t size, U32* pairNext) {
        const Block block{here, tables_.heads(), tables_.aboveBase(entered_),
                          static_cast<intptr_t>(entered_ - text_.first())};
        for (uint32_t g = 0; g < size; g += kGroup)
            store16(hashes_ + g, shiftHashes(block.here + g));
        std::memset(marks_, 0, sizeof marks_);
        __m128i above = _mm_add_epi16(_mm_set1_epi16(static_cast<short>(block.above)),
                                      _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7));
        uint32_t off = reached_ - entered_;

        for (uint32_t g = 0; g < kSkew; g += kGroup)
            replace(block, g, above);
        for (uint32_t g = kSkew; g < 2 * kSkew; g += kGroup) {
            replace(block, g, above);
            compare<Tier, history>(block, g - kSkew);
        }
        for (uint32_t g = 2 * kSkew; g < size; g += kGroup) {
            replace(block, g, above);
            compare<Tier, history>(block, g - kSkew);
            mark(g - 2 * kSkew);
            if (off + kWalkBehind + 2 * kSkew <= g)
                pairNext = walk<history>(block, size, off, pairNext);
        }
        for (uint32_t g = size - kSkew; g < size; g += kGroup)
            compare<Tier, history>(block, g);
        for (uint32_t g = size - 2 * kSkew; g < size; g += kGroup)
            mark(g);
        while (off < size)
            pairNext = walk<history>(block, size, off, pairNext);
        reached_ = entered_ + off;
        return pairNext;
    }

    // Positions before this are in the table.
    uint32_t entered() const { return entered_; }
    // Where the parse goes on; not before entered().
    uint32_t reached() const { return reached_; }

  private:
    static constexpr uint32_t kGroup = 8;
    static constexpr uint32_t kBlock = 512;
    static constexpr uint32_t kCompared = 16;
    static constexpr uint32_t kFarCompared = kCompared + 32;  // where the first are all equal
    // Between one stage and the next, in positions.
    static constexpr uint32_t kSkew = 2 * kGroup;
    static constexpr uint32_t kLeastBlock = 4 * kSkew;
    static_assert(kBlock <= kStepReach);

    // The walk reads marks in words, of which all but seven bits count. Those must be there, and
    // for some time: they are stored byte by byte. A wider word would have more of a block to walk
    // at its end, where no other stage fills the waits.
    using Marks = uint32_t;
    static constexpr uint32_t kMarksRead = sizeof(Marks) * 8 - 7;
    static constexpr uint32_t kWalkBehind = 40;
    static_assert(kMarksRead <= kWalkBehind);
    static constexpr uint32_t kSignShift = sizeof(intptr_t) * 8 - 1;

    bool inReachOfHistory() const { return entered_ - text_.first() < kHistorySize; }

    // Continues the copy of the source behind the history by what a block and its last match read,
    // if there is room. From there a block can go back to any candidate in one piece.
    bool copyBehindHistory(uint32_t size) {
        const uint32_t first = text_.first();
        const uint32_t read = std::min(entered_ + size + kMaxMatch, text_.end()) - first;
        if (read > kWindowBufferSize - (first - text_.earliest())) return false;
        if (read > copied_) {
            std::memcpy(behindHistory_ + copied_, text_.at(first + copied_), read - copied_);
            copied_ = read;
        }
        return true;
    }

    struct Block {
        const uint8_t* here;  // bytes of its first position
        U16* head;
        uint32_t above;   // its first position above the tables' base
        intptr_t inCall;  // and above that of the call
    };

    // `above` has the distances of the group from the tables' base, and then those of the next.
    [[gnu::always_inline]] void replace(const Block& block, uint32_t g, __m128i& above) {
        uint32_t first = block.above + g;
        // Keeps 32 bits of it: i386 would store 16 and load 32 again, before they have got there.
        __asm__("" : "+r"(first));
        const __m128i ahead = NarrowTables::replaceEight(block.head, hashes_ + g, first, above);
        above = _mm_add_epi16(above, _mm_set1_epi16(kGroup));
        store16(back_ + g, _mm_sub_epi16(_mm_setzero_si128(), ahead));
    }

    template <class Tier, bool history>
    [[gnu::always_inline]] void compare(const Block& block, uint32_t g) {
        const typename Tier::Own own(block.here + g);
        compareOne<history, 0>(block, g, own);
        compareOne<history, 1>(block, g, own);
        compareOne<history, 2>(block, g, own);
        compareOne<history, 3>(block, g, own);
        compareOne<history, 4>(block, g, own);
        compareOne<history, 5>(block, g, own);
        compareOne<history, 6>(block, g, own);
        compareOne<history, 7>(block, g, own);
    }

    // Position i of the group. Without a candidate it is compared with itself.
    template <bool history, int i, class Own>
    [[gnu::always_inline]] void compareOne(const Block& block, uint32_t g, const Own& own) {
        const intptr_t back = back_[g + i];
        const uint8_t* there = block.here + g + i + back;
        if (history) {
            // All ones before the call, which begins at 0. Added as numbers: source and window may
            // be half the address space apart.
            const intptr_t before =
                (block.inCall + static_cast<intptr_t>(g) + i + back) >> kSignShift;
            const uintptr_t moved = static_cast<uintptr_t>(before) & text_.windowFromSource();
            there = reinterpret_cast<const uint8_t*>(reinterpret_cast<uintptr_t>(there) + moved);
        }
        const __m128i equal = _mm_cmpeq_epi8(load16(there), own.template at<i>());
        equal_[g + i] = static_cast<uint16_t>(_mm_movemask_epi8(equal));
    }

    [[gnu::always_inline]] void mark(uint32_t g) {
        const __m128i three = _mm_set1_epi16((1 << kMinMatch) - 1);
        const __m128i start = _mm_cmpeq_epi16(_mm_and_si128(load16(equal_ + g), three), three);
        const __m128i begins = _mm_and_si128(start, load16(back_ + g));
        const int marks = _mm_movemask_epi8(_mm_packs_epi16(begins, _mm_setzero_si128()));
        marks_[g / kGroup] = static_cast<uint8_t>(marks);
    }

    // The rest of a match of at least kCompared bytes: most end in the next two vectors, and where
    // cannot be predicted.
    template <bool history>
    [[gnu::noinline]] uint32_t rest(const uint8_t* here, uint32_t p, uint32_t distance) const {
        const uint8_t* const there = history ? text_.anywhere(p - distance) : here - distance;
        const auto equalFrom = [&](uint32_t i) {
            const __m128i equal = _mm_cmpeq_epi8(load16(there + i), load16(here + i));
            return static_cast<uint32_t>(_mm_movemask_epi8(equal));
        };
        const uint32_t differing = ~(equalFrom(kCompared) | equalFrom(kCompared + 16) << 16);
        if (differing != 0) return static_cast<uint32_t>(std::countr_zero(differing));
        return 32 + matchLength(there + kFarCompared, here + kFarCompared,
                                std::min(stop_ - p, kMaxMatch) - kFarCompared);
    }

    // Literals up to the next match, and that match. `off` counts from the block's start.
    template <bool history>
    [[gnu::always_inline]] U32* walk(const Block& block, uint32_t size, uint32_t& off,
                                     U32* pairNext) {
        const Marks marks = load<Marks>(marks_ + off / 8) >> (off % 8);
        if (marks == 0) [[unlikely]] {
            const uint32_t run = std::min(kMarksRead, size - off);
            off += run;
            return writeLiterals(block.here + (off - run), run, pairNext);
        }
        const auto run = static_cast<uint32_t>(std::countr_zero(marks));
        pairNext = writeLiterals(block.here + off, run, pairNext);
        off += run;
        const auto distance = static_cast<uint32_t>(-back_[off]);
        // Never 0: std::countr_zero would ask for that.
        auto length = static_cast<uint32_t>(__builtin_ctz(equal_[off] + 1U));
        if (length == kCompared) [[unlikely]]
            length += rest<history>(block.here + off, entered_ + off, distance);
        off += length;
        *pairNext = pairOf(length, distance);
        return pairNext + 1;
    }

    NarrowTables& tables_;
    CallText text_;
    uint8_t* behindHistory_;  // where the call's start is in the window
    uint32_t copied_;         // bytes that are there
    uint32_t stop_;
    uint32_t entered_;
    uint32_t reached_;

    // Aligned, so that no vector lies across a cache line.
    alignas(16) uint16_t hashes_[kBlock];
    int16_t back_[kBlock];    // from a position to its candidate, 0 or below; 0: there is none
    uint16_t equal_[kBlock];  // bit i: byte i at the candidate equals byte i here
    uint8_t marks_[kBlock / 8 + sizeof(Marks)];  // and 0 behind them
};

// parse() in the machine's tier.
U32* parseBlocks(FastBlocks& blocks, U32* pairNext, const U32* pairEnd);

}  // namespace zeldc::deflate
