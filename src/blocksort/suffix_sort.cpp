#include "blocksort/suffix_sort.hpp"

#include <cstring>

#include "blocksort/symbol_sort.hpp"

namespace zeldc::blocksort {
namespace {

// Columns of ByteTables::counts: positions of type L or S, behind a position of type L or S.
enum Kind { kLBehindL = 0, kLBehindS = 1, kLms = 2, kSBehindS = 3 };

// The level of the bytes. Each scan of the array induces, from each position, the one before it.
// A position goes into one of two queues of its byte: that of those which the same scan continues
// from, or that of those where it ends. So both scans run over entries without a gap and without
// a branch on the entry's type, and all entries of both scans together are n.
//
//   left to right: from 0:       per byte L behind L, then LMS     (read and written)
//                  from n - lms: per byte L behind S               (written)
//   right to left: from 0:       per byte LMS                      (written)
//                  from lms:     per byte S behind S               (read and written)
//                  from n - lms: per byte L behind S               (read)
//
// There are as many L behind S as LMS positions, so the first area ends at n - lms at the latest
// in either direction.
template <class Index>
class ByteSorter {
  public:
    using Queues = typename ByteTables<Index>::Queue[256][2];

    ByteSorter(const uint8_t* text, size_t n, const SortSpace<Index>& space)
        : text_(text), n_(n), array_(space.array), cursors_{space.cursors, space.cursorCount}, t_(*space.tables) {}

    size_t transform(size_t wanted, uint8_t* dst) {
        sortLms();
        return emit(wanted, dst);
    }

  private:
    static constexpr Index kTop = kFlag<Index>;
    static constexpr unsigned kTopShift = kFlagShift<Index>;
    // Entries between a text byte's prefetch and its use. Entries this near the end of a scan lie in
    // the array still, or are not there; what is prefetched for them does no harm.
    static constexpr size_t kAhead = 32;

    void prefetch(size_t k) const {
        if (k < n_) __builtin_prefetch(text_ + withoutFlag(array_[k]));
    }

    // Lists the LMS positions, ascending, at the end of the array; returns how many. With `tally`,
    // counts the kinds of positions. Nothing branches on the bytes: the list's next slot is always
    // written, and only kept for an LMS position.
    template <bool tally>
    size_t listLms() {
        const uint8_t* before = text_ - 1;
        Index* const end = array_ + n_;
        Index* next = end - 1;
        unsigned symbol = text_[n_ - 1];
        unsigned isS = 0;
        for (size_t i = n_; i-- > 0;) {
            const unsigned symbolBefore = before[i];
            const unsigned isSBefore = symbolBefore < symbol + isS;
            const unsigned kind = 2 * isS + isSBefore;
            if (tally) ++t_.counts[symbol][kind];
            *next = static_cast<Index>(i);
            next -= kind == kLms;
            symbol = symbolBefore;
            isS = isSBefore;
        }
        return static_cast<size_t>(end - next) - 1;
    }

    // Leaves the LMS positions, sorted by their suffixes, in array_[0, lms_).
    void sortLms() {
        std::memset(t_.counts, 0, sizeof t_.counts);
        lms_ = listLms<true>();
        startLeftScan();
        bucketLms();
        groupLeft();
        startRightScan();
        groupRight();
        if (!sortNames(array_, n_, lms_, cursors_)) return;
        listLms<false>();
        const Index* list = array_ + n_ - lms_;
        for (size_t i = 0; i < lms_; ++i)
            array_[i] = list[array_[i]];
    }

    // rows[c]: where the LMS positions of byte c begin among the entries that are read.
    void startLeftScan() {
        size_t continued = 0;
        size_t ended = n_ - lms_;
        for (unsigned c = 0; c < 256; ++c) {
            t_.queues[c][0] = {static_cast<Index>(continued), 0};
            t_.queues[c][1] = {static_cast<Index>(ended), 0};
            continued += t_.counts[c][kLBehindL];
            t_.rows[c] = static_cast<Index>(continued);
            continued += t_.counts[c][kLms];
            ended += t_.counts[c][kLBehindS];
        }
        leftEntries_ = continued;
    }

    // Distributes the listed positions by their first byte; each byte begins a group.
    void bucketLms() {
        const Index* list = array_ + n_ - lms_;
        for (size_t i = 0; i < lms_; ++i)
            array_[t_.rows[text_[list[i]]]++] = list[i];
        for (unsigned c = 0; c < 256; ++c) {
            if (t_.counts[c][kLms] != 0) array_[t_.rows[c] - t_.counts[c][kLms]] |= kTop;
        }
    }

    void startRightScan() {
        size_t continued = lms_;
        size_t ended = 0;
        for (unsigned c = 0; c < 256; ++c) {
            continued += t_.counts[c][kSBehindS];
            ended += t_.counts[c][kLms];
            t_.queues[c][0] = {static_cast<Index>(continued), 0};
            t_.queues[c][1] = {static_cast<Index>(ended), 0};
        }
        rightEnd_ = continued;
    }

    // Sorting LMS substrings keeps groups: the positions whose bytes, up to the next LMS position,
    // are the same. A group's entry that came first into its queue carries the top bit, so that
    // names fall out of the sort and no substrings are compared.
    void groupLeft() {
        const uint8_t* text = text_;
        const uint8_t* before = text_ - 1;
        Index* array = array_;
        Queues& queues = t_.queues;
        Index group = 1;
        const auto induce = [&](size_t position) {
            const size_t i = position - 1;
            const unsigned c = text[i];
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
            induce(entry & static_cast<Index>(~kTop));
        }
    }

    void groupRight() {
        const uint8_t* text = text_;
        const uint8_t* before = text_ - 1;
        Index* array = array_;
        Queues& queues = t_.queues;
        Index group = 1;
        const auto induce = [&](size_t position) {
            const size_t i = position - 1;
            const unsigned c = text[i];
            auto& queue = queues[c][before[i] > c];
            const Index opens = queue.group != group;
            queue.group = group;
            array[--queue.cursor] = static_cast<Index>(i | size_t{opens} << kTopShift);
        };
        const Index* continued = array + rightEnd_;
        const Index* ended = array + n_;
        for (unsigned c = 256; c-- > 0;) {
            // Written in this direction: the bit opens a group.
            for (const Index* stop = continued - t_.counts[c][kSBehindS]; continued != stop;) {
                const Index entry = *--continued;
                prefetch(static_cast<size_t>(continued - array) - kAhead);
                group = static_cast<Index>(group + (entry >> kTopShift));
                induce(entry & static_cast<Index>(~kTop));
            }
            // Written in the other: it closes one.
            ++group;
            for (const Index* stop = ended - t_.counts[c][kLBehindS]; ended != stop;) {
                const Index entry = *--ended;
                prefetch(static_cast<size_t>(ended - array) - kAhead);
                induce(entry & static_cast<Index>(~kTop));
                group = static_cast<Index>(group + (entry >> kTopShift));
            }
        }
    }

    // Moves the sorted LMS positions to where the left scan reads them, highest byte first: no
    // block goes below where it came from.
    void spreadLms() {
        size_t from = lms_;
        size_t to = leftEntries_;
        for (unsigned c = 256; c-- > 0;) {
            const size_t count = t_.counts[c][kLms];
            from -= count;
            to -= count;
            std::memmove(array_ + to, array_ + from, count * sizeof(Index));
            to -= t_.counts[c][kLBehindL];
        }
    }

    void rowsToStarts() {
        size_t row = 0;
        for (unsigned c = 0; c < 256; ++c) {
            t_.rows[c] = static_cast<Index>(row);
            for (const Index count : t_.counts[c])
                row += count;
        }
    }

    void rowsToEnds() {
        size_t row = 0;
        for (unsigned c = 0; c < 256; ++c) {
            for (const Index count : t_.counts[c])
                row += count;
            t_.rows[c] = static_cast<Index>(row);
        }
    }

    // Both scans once more, now from exactly sorted positions. The array holds no rows: a row's
    // byte is written when its position is induced, which takes its place in the row order of its
    // byte then.
    size_t emit(size_t wanted, uint8_t* dst) {
        startLeftScan();
        spreadLms();
        rowsToStarts();
        array_[0] = static_cast<Index>(n_);  // position 0, from which n - 1 is induced
        size_t wantedRow = emitLeft(wanted, dst);
        startRightScan();
        rowsToEnds();
        const size_t right = emitRight(wanted, dst);
        return wantedRow != n_ ? wantedRow : right;
    }

    // Returns the row of `wanted`, or n when it is not of type L.
    size_t emitLeft(size_t wanted, uint8_t* dst) {
        const uint8_t* text = text_;
        const uint8_t* before = text_ - 1;
        Index* array = array_;
        Queues& queues = t_.queues;
        Index* rows = t_.rows;
        size_t wantedRow = n_;
        const size_t entries = leftEntries_;
        for (size_t k = 0; k < entries; ++k) {
            prefetch(k + kAhead);
            const size_t i = size_t{array[k]} - 1;
            const unsigned c = text[i];
            const unsigned symbolBefore = before[i];
            const size_t row = rows[c]++;
            dst[row] = static_cast<uint8_t>(symbolBefore);
            array[queues[c][symbolBefore < c].cursor++] = static_cast<Index>(i);
            if (i == wanted) wantedRow = row;
        }
        return wantedRow;
    }

    size_t emitRight(size_t wanted, uint8_t* dst) {
        const uint8_t* text = text_;
        const uint8_t* before = text_ - 1;
        Index* array = array_;
        Queues& queues = t_.queues;
        Index* rows = t_.rows;
        size_t wantedRow = n_;
        const auto induce = [&](size_t position) {
            const size_t i = position - 1;
            const unsigned c = text[i];
            const unsigned symbolBefore = before[i];
            const size_t row = --rows[c];
            dst[row] = static_cast<uint8_t>(symbolBefore);
            array[--queues[c][symbolBefore > c].cursor] = static_cast<Index>(i);
            if (i == wanted) wantedRow = row;
        };
        const Index* continued = array + rightEnd_;
        const Index* ended = array + n_;
        for (unsigned c = 256; c-- > 0;) {
            for (const Index* stop = continued - t_.counts[c][kSBehindS]; continued != stop;) {
                induce(*--continued);
                prefetch(static_cast<size_t>(continued - array) - kAhead);
            }
            for (const Index* stop = ended - t_.counts[c][kLBehindS]; ended != stop;) {
                induce(*--ended);
                prefetch(static_cast<size_t>(ended - array) - kAhead);
            }
        }
        return wantedRow;
    }

    const uint8_t* text_;
    size_t n_;
    Index* array_;
    Area<Index> cursors_;
    ByteTables<Index>& t_;
    size_t lms_ = 0;
    size_t leftEntries_ = 0;  // read by the left scan
    size_t rightEnd_ = 0;     // of the S behind S
};

}  // namespace

template <class Index>
size_t transformLyndonWord(const uint8_t* text, size_t n, size_t wanted, uint8_t* dst,
                           const SortSpace<Index>& space) {
    return ByteSorter<Index>(text, n, space).transform(wanted, dst);
}

template size_t transformLyndonWord(const uint8_t*, size_t, size_t, uint8_t*,
                                    const SortSpace<uint16_t>&);
template size_t transformLyndonWord(const uint8_t*, size_t, size_t, uint8_t*,
                                    const SortSpace<uint32_t>&);

}  // namespace zeldc::blocksort
