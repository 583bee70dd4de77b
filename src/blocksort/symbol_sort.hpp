// Induced sorting of the words of names: the levels below the bytes. All memory is the array in
// which the level above lies idle, and half a cursor per symbol.
//
// A symbol is 2 * (first row of its bucket) + (its bucket has one row). Thus order is kept, a
// bucket's rows are known without a table, a symbol that occurs once needs no cursor, and the
// others, at least two rows apart, share none at cursors[first row / 2].
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zeldc::blocksort {

// The top bit of an array entry: while sorting, "what lies before this position is of the other
// type, leave it to the other scan"; in lists of names, "this slot is taken".
template <class Index>
constexpr Index kFlag = static_cast<Index>(Index{1} << (sizeof(Index) * 8 - 1));

// Calls visit(position) for every leftmost S position from the last down to, not including, 0.
template <class Index, class Visit>
void forEachLms(const Index* text, size_t n, Visit visit) {
    bool isS = false;
    for (size_t i = n - 1; i > 0; --i) {
        const bool isSBefore = text[i - 1] < text[i] + Index{isS};
        if (isS && !isSBefore) visit(static_cast<Index>(i));
        isS = isSBefore;
    }
}

// Turns the taken slots of array[count, count + (n + 1) / 2), in order, into a word at the array's
// end and returns it. The k-th position from the end is at most n - 1 - 2k, and count <= n / 2, so
// a write never passes what is still to be read.
template <class Index>
Index* compactNames(Index* array, size_t n, size_t count) {
    Index* next = array + n;
    for (Index* slot = array + count + (n + 1) / 2; slot-- != array + count;) {
        if (*slot & kFlag<Index>) *--next = *slot & ~kFlag<Index>;
    }
    return next;
}

// Sorts the suffixes of a Lyndon word of n >= 2 symbols into `array` (n entries).
template <class Index>
class SymbolSorter {
  public:
    SymbolSorter(const Index* text, Index* array, size_t n, Index* cursors)
        : text_(text), array_(array), n_(n), cursors_(cursors) {}

    void sort() {
        const size_t count = sortLmsSubstrings();
        Index* names = array_ + n_ - count;
        if (name(count)) {
            compactNames(array_, n_, count);
            SymbolSorter(names, array_, count, cursors_).sort();
            listLms(array_ + n_);
            for (size_t i = 0; i < count; ++i)
                array_[i] = names[array_[i]];
        }
        spreadLms(count);
        induceAll();
    }

  private:
    static constexpr Index kTop = kFlag<Index>;

    void cursorsToStarts() {
        for (size_t i = 0; i < n_; ++i) {
            const Index symbol = text_[i];
            if (!(symbol & 1)) cursors_[symbol >> 2] = symbol >> 1;
        }
    }

    void cursorsToEnds() {
        cursorsToStarts();
        for (size_t i = 0; i < n_; ++i) {
            const Index symbol = text_[i];
            if (!(symbol & 1)) ++cursors_[symbol >> 2];
        }
    }

    void placeFront(Index position) {
        const Index symbol = text_[position];
        const Index slot = symbol & 1 ? symbol >> 1 : cursors_[symbol >> 2]++;
        array_[slot] = text_[position - 1] < symbol ? position | kTop : position;
    }

    void placeBack(Index position) {
        const Index symbol = text_[position];
        const Index slot = symbol & 1 ? symbol >> 1 : --cursors_[symbol >> 2];
        // Before position 0 comes the end of the word, which is of type L.
        const bool lBefore = position == 0 || text_[position - 1] > symbol;
        array_[slot] = lBefore ? position | kTop : position;
    }

    static bool pending(Index entry) { return entry != 0 && !(entry & kTop); }

    // Leaves the LMS positions, sorted by their substrings, in array_[0, count); returns count.
    size_t sortLmsSubstrings() {
        std::memset(array_, 0, n_ * sizeof(Index));
        cursorsToEnds();
        forEachLms(text_, n_, [this](Index position) {
            const Index symbol = text_[position];
            array_[symbol & 1 ? symbol >> 1 : --cursors_[symbol >> 2]] = position;
        });
        cursorsToStarts();
        // Position 0 stands before all others.
        placeFront(static_cast<Index>(n_ - 1));
        for (size_t i = 0; i < n_; ++i) {
            const Index entry = array_[i];
            array_[i] = entry & kTop ? entry ^ kTop : 0;
            if (pending(entry)) placeFront(entry - 1);
        }
        cursorsToEnds();
        for (size_t i = n_; i-- > 0;) {
            const Index entry = array_[i];
            if (!pending(entry)) continue;
            array_[i] = 0;
            placeBack(entry - 1);
        }
        size_t count = 0;
        for (size_t i = 0; i < n_; ++i) {
            if (array_[i] != 0) array_[count++] = array_[i] & ~kTop;
        }
        return count;
    }

    // Puts the list of LMS positions, ascending, in front of `end`.
    void listLms(Index* end) {
        forEachLms(text_, n_, [&end](Index position) { *--end = position; });
        *--end = 0;
    }

    // Whether the substrings of `length` symbols behind two positions are the same. The last symbol
    // may be that of position 0 again.
    bool sameSubstring(size_t a, size_t b, size_t length) const {
        if (!std::equal(text_ + a, text_ + a + length, text_ + b)) return false;
        return text_[a + length == n_ ? 0 : a + length] == text_[b + length == n_ ? 0 : b + length];
    }

    // Names the sorted LMS substrings into the slots of their positions behind the list; returns
    // whether any two are the same. Positions are at least two apart, so half of one is a slot.
    bool name(size_t count) {
        Index* slots = array_ + count;
        std::memset(slots, 0, (n_ + 1) / 2 * sizeof(Index));
        size_t after = n_;
        const auto measure = [&](Index position) {
            slots[position >> 1] = static_cast<Index>(after - position);
            after = position;
        };
        forEachLms(text_, n_, measure);
        measure(0);

        size_t names = 0;
        size_t first = 0;  // of the substrings that are the same as the latest one
        size_t length = slots[array_[0] >> 1];
        for (size_t i = 0; i < count; ++i) {
            const size_t position = array_[i];
            const bool last = i + 1 == count;
            const size_t nextLength = last ? 0 : slots[array_[i + 1] >> 1];
            const bool ends = last || nextLength != length ||
                              !sameSubstring(position, array_[i + 1], length);
            slots[position >> 1] =
                static_cast<Index>(2 * first + Index{ends && first == i}) | kTop;
            if (ends) {
                first = i + 1;
                ++names;
            }
            length = nextLength;
        }
        return names != count;
    }

    // Moves the sorted LMS positions from the array's start to the ends of their buckets. Position
    // 0 stays out: both scans know where it is.
    void spreadLms(size_t count) {
        std::memset(array_ + count, 0, (n_ - count) * sizeof(Index));
        cursorsToEnds();
        for (size_t i = count; i-- > 1;) {
            const Index position = array_[i];
            const Index symbol = text_[position];
            array_[i] = 0;
            array_[symbol & 1 ? symbol >> 1 : --cursors_[symbol >> 2]] = position;
        }
        array_[0] = 0;
    }

    void induceAll() {
        cursorsToStarts();
        placeFront(static_cast<Index>(n_ - 1));
        for (size_t i = 0; i < n_; ++i) {
            const Index entry = array_[i];
            array_[i] = entry ^ kTop;
            if (pending(entry)) placeFront(entry - 1);
        }
        cursorsToEnds();
        for (size_t i = n_; i-- > 0;) {
            const Index entry = array_[i];
            if (pending(entry)) {
                placeBack(entry - 1);
            } else {
                array_[i] = entry & ~kTop;
            }
        }
    }

    const Index* text_;
    Index* array_;
    size_t n_;
    Index* cursors_;
};

}  // namespace zeldc::blocksort
