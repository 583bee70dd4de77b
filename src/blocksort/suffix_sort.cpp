#include "blocksort/suffix_sort.hpp"

#include <type_traits>

#include "blocksort/prefix_sort.hpp"
#include "blocksort/symbol_sort.hpp"

namespace zeldc::blocksort {
namespace {

constexpr size_t kByteValues = 256;
static_assert(kByteTables == SortTables<uint32_t>::sizeFor(kByteValues));

// From one name in so many positions on, it is worth while to tell more of them apart before the
// levels below: for a 900 KB block of machine code, a third less time. Where names are fewer, the
// block repeats longer passages than prefixes reach, and all levels are needed anyway.
constexpr size_t kPositionsPerName = 2;

// The level of the bytes.
template <class Index>
class ByteSorter {
  public:
    ByteSorter(const uint8_t* text, size_t n, const SortSpace<Index>& space)
        : text_(text),
          n_(n),
          array_(space.array),
          cursors_{space.cursors, space.cursorCount},
          tables_(SortTables<Index>::at(space.tables, kByteValues)),
          groups_(text, n, space.array, tables_) {}

    size_t transform(size_t wanted, uint8_t* dst) {
        sortLms();
        return emit(wanted, dst);
    }

  private:
    using Groups = GroupSorter<Index, uint8_t>;

    // Leaves the LMS positions, sorted by their suffixes, at the array's start.
    void sortLms() {
        const size_t count = groups_.sort();
        if constexpr (std::is_same_v<Index, PrefixSorter::Index>) {
            const size_t names = countNames(array_, count);
            if (names != count && names >= count / kPositionsPerName) {
                auto* bytes = reinterpret_cast<uint8_t*>(cursors_.begin);
                PrefixSorter(text_, n_, array_, count, bytes).sort();
            }
        }
        if (!sortNames(array_, n_, count, cursors_)) return;
        groups_.template listLms<false>();
        const Index* list = array_ + n_ - count;
        for (size_t i = 0; i < count; ++i)
            array_[i] = list[array_[i]];
    }

    void rowsToStarts() {
        size_t row = 0;
        for (unsigned c = 0; c < 256; ++c) {
            tables_.rows[c] = static_cast<Index>(row);
            for (const Index count : tables_.counts[c])
                row += count;
        }
    }

    void rowsToEnds() {
        size_t row = 0;
        for (unsigned c = 0; c < 256; ++c) {
            for (const Index count : tables_.counts[c])
                row += count;
            tables_.rows[c] = static_cast<Index>(row);
        }
    }

    // Both scans once more, now from exactly sorted positions. The array holds no rows: a row's
    // byte is written when its position is induced, which takes its place in the row order of its
    // byte then.
    size_t emit(size_t wanted, uint8_t* dst) {
        groups_.startLeftScan();
        groups_.spreadLms();
        rowsToStarts();
        array_[0] = static_cast<Index>(n_);  // position 0, from which n - 1 is induced
        size_t wantedRow = emitLeft(wanted, dst);
        groups_.startRightScan();
        rowsToEnds();
        const size_t right = emitRight(wanted, dst);
        return wantedRow != n_ ? wantedRow : right;
    }

    // Returns the row of `wanted`, or n when it is not of type L.
    size_t emitLeft(size_t wanted, uint8_t* dst) {
        const uint8_t* text = text_;
        const uint8_t* before = text_ - 1;
        Index* array = array_;
        auto* const queues = tables_.queues;
        Index* rows = tables_.rows;
        size_t wantedRow = n_;
        const size_t entries = groups_.leftEntries();
        for (size_t k = 0; k < entries; ++k) {
            groups_.prefetch(k + Groups::kAhead);
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
        auto* const queues = tables_.queues;
        Index* rows = tables_.rows;
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
        const Index* continued = array + groups_.rightEnd();
        const Index* ended = array + n_;
        for (unsigned c = 256; c-- > 0;) {
            for (const Index* stop = continued - tables_.counts[c][kSBehindS]; continued != stop;) {
                induce(*--continued);
                groups_.prefetch(static_cast<size_t>(continued - array) - Groups::kAhead);
            }
            for (const Index* stop = ended - tables_.counts[c][kLBehindS]; ended != stop;) {
                induce(*--ended);
                groups_.prefetch(static_cast<size_t>(ended - array) - Groups::kAhead);
            }
        }
        return wantedRow;
    }

    const uint8_t* text_;
    size_t n_;
    Index* array_;
    Area<Index> cursors_;
    SortTables<Index> tables_;
    Groups groups_;
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
