// The sort of LMS positions by queues, which the level of the bytes and, where there is room, the
// ones below it use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blocksort/index_flag.hpp"

namespace zeldc::blocksort {

// Per symbol: how its positions divide by kind, and where the next one goes.
template <class Index>
struct SortTables {
    struct Queue {
        Index cursor;
        Index group;  // the group whose entry came last into this queue
    };
    Index (*counts)[4];
    Queue (*queues)[2];
    Index* rows;
    size_t symbols;

    static constexpr size_t sizeFor(size_t symbols) { return 9 * symbols; }

    static SortTables at(Index* memory, size_t symbols) {
        static_assert(sizeof(Queue) == 2 * sizeof(Index));
        return {reinterpret_cast<Index(*)[4]>(memory),
                reinterpret_cast<Queue(*)[2]>(memory + 4 * symbols), memory + 8 * symbols, symbols};
    }
};

// Columns of SortTables::counts: positions of type L or S, behind a position of type L or S.
enum Kind { kLBehindL = 0, kLBehindS = 1, kLms = 2, kSBehindS = 3 };

// Sorts the LMS positions of a word by their substrings. Each scan of the array induces, from each
// position, the one before it. A position goes into one of two queues of its symbol: that of those
// which the same scan continues from, or that of those where it ends. So both scans run over
// entries without a gap and without a branch on the entry's type, and read n entries together.
//
//   left to right: from 0:       per symbol L behind L, then LMS     (read and written)
//                  from n - lms: per symbol L behind S               (written)
//   right to left: from 0:       per symbol LMS                      (written)
//                  from lms:     per symbol S behind S               (read and written)
//                  from n - lms: per symbol L behind S               (read)
//
// There are as many L behind S as LMS positions, so the first area ends at n - lms at the latest
// in either direction.
//
// text[-1] must hold the last symbol.
template <class Index, class Symbol>
class GroupSorter {
  public:
    GroupSorter(const Symbol* text, size_t n, Index* array, const SortTables<Index>& tables)
        : text_(text), n_(n), array_(array), t_(tables) {}

    // Leaves the LMS positions in array[0, count), sorted by their substrings, each group of the
    // same ones closed by an entry with the top bit; returns count.
    size_t sort() {
        std::memset(t_.counts, 0, t_.symbols * sizeof *t_.counts);
        lms_ = listLms<true>();
        startLeftScan();
        bucketLms();
        groupLeft();
        startRightScan();
        groupRight();
        return lms_;
    }

    // Entries between a prefetch and its use.
    static constexpr size_t kAhead = 32;

    // Asks for the symbols of the entry that is scanned some steps later. Entries this near the end
    // of a scan may not be there; what is asked for then does no harm.
    void prefetch(size_t k) const {
        if (k < n_) prefetchSymbol(text_, withoutFlag(array_[k]));
    }

    // Lists the LMS positions, ascending, at the end of the array; returns how many. With `tally`,
    // counts the kinds of positions. Nothing branches on the symbols: the list's next slot is
    // always written, and only kept for an LMS position.
    template <bool tally>
    size_t listLms() {
        const Symbol* before = text_ - 1;
        Index* const end = array_ + n_;
        Index* next = end - 1;
        size_t symbol = text_[n_ - 1];
        unsigned isS = 0;
        for (size_t i = n_; i-- > 0;) {
            const size_t symbolBefore = before[i];
            unsigned isSBefore = symbolBefore < symbol + isS;
            if constexpr (tally) {
                ++t_.counts[symbol][2 * isS + isSBefore];
            } else {
                // The same with fewer steps from one type to the next, which are what is waited for
                // where nothing is counted.
                isSBefore =
                    unsigned{symbolBefore < symbol} | (unsigned{symbolBefore == symbol} & isS);
            }
            *next = static_cast<Index>(i);
            next -= isS & (isSBefore ^ 1);
            symbol = symbolBefore;
            isS = isSBefore;
        }
        return static_cast<size_t>(end - next) - 1;
    }

    // rows[c]: where the LMS positions of symbol c begin among the entries that are read.
    void startLeftScan() {
        size_t continued = 0;
        size_t ended = n_ - lms_;
        for (size_t c = 0; c < t_.symbols; ++c) {
            t_.queues[c][0] = {static_cast<Index>(continued), 0};
            t_.queues[c][1] = {static_cast<Index>(ended), 0};
            continued += t_.counts[c][kLBehindL];
            t_.rows[c] = static_cast<Index>(continued);
            continued += t_.counts[c][kLms];
            ended += t_.counts[c][kLBehindS];
        }
        leftEntries_ = continued;
    }

    void startRightScan() {
        size_t continued = lms_;
        size_t ended = 0;
        for (size_t c = 0; c < t_.symbols; ++c) {
            continued += t_.counts[c][kSBehindS];
            ended += t_.counts[c][kLms];
            t_.queues[c][0] = {static_cast<Index>(continued), 0};
            t_.queues[c][1] = {static_cast<Index>(ended), 0};
        }
        rightEnd_ = continued;
    }

    // Moves the sorted LMS positions to where the left scan reads them, highest symbol first: no
    // block goes below where it came from.
    void spreadLms() {
        size_t from = lms_;
        size_t to = leftEntries_;
        for (size_t c = t_.symbols; c-- > 0;) {
            const size_t count = t_.counts[c][kLms];
            from -= count;
            to -= count;
            std::memmove(array_ + to, array_ + from, count * sizeof(Index));
            to -= t_.counts[c][kLBehindL];
        }
    }

    size_t leftEntries() const { return leftEntries_; }  // read by the left scan
    size_t rightEnd() const { return rightEnd_; }        // of the S behind S

  private:
    static constexpr Index kTop = kFlag<Index>;
    static constexpr unsigned kTopShift = kFlagShift<Index>;

    // Distributes the listed positions by their first symbol; each symbol begins a group.
    void bucketLms() {
        const Index* list = array_ + n_ - lms_;
        for (size_t i = 0; i < lms_; ++i)
            array_[t_.rows[text_[list[i]]]++] = list[i];
        for (size_t c = 0; c < t_.symbols; ++c) {
            if (t_.counts[c][kLms] != 0) array_[t_.rows[c] - t_.counts[c][kLms]] |= kTop;
        }
    }

    // Sorting LMS substrings keeps groups: the positions whose symbols, up to the next LMS
    // position, are the same. A group's entry that came first into its queue carries the top bit,
    // so that names fall out of the sort and no substrings are compared.
    void groupLeft() {
        const Symbol* text = text_;
        const Symbol* before = text_ - 1;
        Index* array = array_;
        auto* const queues = t_.queues;
        Index group = 1;
        const auto induce = [&](size_t position) {
            const size_t i = position - 1;
            const size_t c = text[i];
            auto& queue = queues[c][before[i] < c];
            const Index opens = queue.group != group;
            queue.group = group;
            array[queue.cursor++] = static_cast<Index>(i | size_t{opens} << kTopShift);
        };
        induce(n_);  // position 0, the first entry
        const size_t entries = leftEntries_;
        for (size_t k = 1; k < entries; ++k) {
            prefetch(k + kAhead);
            const Index entry = array[k];
            group = static_cast<Index>(group + (entry >> kTopShift));
            induce(withoutFlag(entry));
        }
    }

    void groupRight() {
        const Symbol* text = text_;
        const Symbol* before = text_ - 1;
        Index* array = array_;
        auto* const queues = t_.queues;
        Index group = 1;
        const auto induce = [&](size_t position) {
            const size_t i = position - 1;
            const size_t c = text[i];
            auto& queue = queues[c][before[i] > c];
            const Index opens = queue.group != group;
            queue.group = group;
            array[--queue.cursor] = static_cast<Index>(i | size_t{opens} << kTopShift);
        };
        const Index* continued = array + rightEnd_;
        const Index* ended = array + n_;
        for (size_t c = t_.symbols; c-- > 0;) {
            // Written in this direction: the bit opens a group.
            for (const Index* stop = continued - t_.counts[c][kSBehindS]; continued != stop;) {
                const Index entry = *--continued;
                prefetch(static_cast<size_t>(continued - array) - kAhead);
                group = static_cast<Index>(group + (entry >> kTopShift));
                induce(withoutFlag(entry));
            }
            // Written in the other: it closes one.
            ++group;
            for (const Index* stop = ended - t_.counts[c][kLBehindS]; ended != stop;) {
                const Index entry = *--ended;
                prefetch(static_cast<size_t>(ended - array) - kAhead);
                induce(withoutFlag(entry));
                group = static_cast<Index>(group + (entry >> kTopShift));
            }
        }
    }

    const Symbol* text_;
    size_t n_;
    Index* array_;
    SortTables<Index> t_;
    size_t lms_ = 0;
    size_t leftEntries_ = 0;
    size_t rightEnd_ = 0;
};

}  // namespace zeldc::blocksort
