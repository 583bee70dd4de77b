// Induced sorting of the words of names: the levels below the bytes. All memory is the array, in
// which the level above lies idle, and a few cursors.
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

template <class Index>
constexpr unsigned kFlagShift = sizeof(Index) * 8 - 1;

template <class Index>
Index withoutFlag(Index entry) {
    return entry & static_cast<Index>(~kFlag<Index>);
}

// A stretch of memory for cursors.
template <class Index>
struct Area {
    Index* begin;
    size_t size;
};

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
// end and returns it.
// All slots are written in front of the word, and the taken ones kept: no branch. The first write
// behind slot s, which is that of position 2t at the least, goes to n - 1 - k with k <= n / 2 - t - 1
// positions behind it, so to n / 2 + t >= s.
template <class Index>
Index* compactNames(Index* array, size_t n, size_t count) {
    Index* next = array + n;
    for (Index* slot = array + count + (n + 1) / 2; slot-- != array + count;) {
        const Index entry = *slot;
        next[-1] = withoutFlag(entry);
        next -= entry >> kFlagShift<Index>;
    }
    return next;
}

// Where the next position of a symbol goes, two ways. This one is for symbols numbered from 0: a
// table of first rows, and a table of cursors that is copied from it.
template <class Index>
class NumberedCursors {
  public:
    // `names` symbols need as many entries twice, and one.
    static size_t sizeFor(size_t names) { return 2 * names + 1; }

    NumberedCursors(Index* memory, size_t names)
        : starts_(memory), cursors_(memory + names + 1), names_(names) {}

    // `list` holds the positions in the order of their symbols, the last of each flagged.
    void learn(const Index* list, size_t count) const {
        Index* start = starts_;
        *start++ = 0;
        for (size_t i = 0; i < count; ++i) {
            *start = static_cast<Index>(i + 1);
            start += list[i] >> kFlagShift<Index>;
        }
    }
    void toStarts(const Index*, size_t) {
        std::memcpy(cursors_, starts_, names_ * sizeof(Index));
    }
    void toEnds(const Index*, size_t) {
        std::memcpy(cursors_, starts_ + 1, names_ * sizeof(Index));
    }
    Index front(Index symbol) { return cursors_[symbol]++; }
    Index back(Index symbol) { return --cursors_[symbol]; }

  private:
    Index* starts_;
    Index* cursors_;
    size_t names_;
};

// And this one is for when there is no room for tables. A symbol is 2 * (its first row) + (it
// occurs once). Those that occur once need no cursor; the first rows of the others are two apart at
// least, so half of it is a place of their own. Rows of the ends are counted anew each time.
template <class Index>
class SharedCursors {
  public:
    static size_t sizeFor(size_t count) { return count / 2; }

    explicit SharedCursors(Index* memory) : cursors_(memory) {}

    void toStarts(const Index* text, size_t n) {
        for (size_t i = 0; i < n; ++i) {
            if (!isSingle(text[i])) at(text[i]) = text[i] >> 1;
        }
    }
    void toEnds(const Index* text, size_t n) {
        toStarts(text, n);
        for (size_t i = 0; i < n; ++i) {
            if (!isSingle(text[i])) ++at(text[i]);
        }
    }
    Index front(Index symbol) { return isSingle(symbol) ? symbol >> 1 : at(symbol)++; }
    Index back(Index symbol) { return isSingle(symbol) ? symbol >> 1 : --at(symbol); }

  private:
    static bool isSingle(Index symbol) { return (symbol & 1) != 0; }
    Index& at(Index symbol) { return cursors_[symbol >> 2]; }

    Index* cursors_;
};

// Writes a symbol for each listed position to the slot of half the position behind the list.
// Positions are two apart at least.
template <class Index>
void writeNames(Index* array, size_t n, size_t count, bool numbered) {
    Index* slots = array + count;
    std::memset(slots, 0, (n + 1) / 2 * sizeof(Index));
    size_t first = 0;  // row of the name's first
    size_t number = 0;
    for (size_t i = 0; i < count; ++i) {
        const bool closes = (array[i] & kFlag<Index>) != 0;
        const size_t symbol = numbered ? number : 2 * first + size_t{closes && first == i};
        slots[withoutFlag(array[i]) >> 1] = static_cast<Index>(symbol) | kFlag<Index>;
        first = closes ? i + 1 : first;
        number += size_t{closes};
    }
}

template <class Index>
bool sortNames(Index* array, size_t n, size_t count, Area<Index> cursors);

// Sorts the suffixes of a Lyndon word of n >= 2 symbols into `array` (n entries).
template <class Index, class Cursors>
class SymbolSorter {
  public:
    // `below` is the memory for the cursors of the levels below.
    SymbolSorter(const Index* text, Index* array, size_t n, Cursors cursors, Area<Index> below)
        : text_(text), array_(array), n_(n), cursors_(cursors), below_(below) {}

    void sort() {
        const size_t count = sortLmsSubstrings();
        nameSubstrings(count);
        if (sortNames(array_, n_, count, below_)) {
            Index* list = array_ + n_ - count;
            listLms(array_ + n_);
            for (size_t i = 0; i < count; ++i)
                array_[i] = list[array_[i]];
        }
        spreadLms(count);
        induceAll();
    }

  private:
    static constexpr Index kTop = kFlag<Index>;
    static constexpr size_t kAhead = 24;

    void cursorsToStarts() { cursors_.toStarts(text_, n_); }
    void cursorsToEnds() { cursors_.toEnds(text_, n_); }

    void placeFront(Index position) {
        const Index symbol = text_[position];
        const Index slot = cursors_.front(symbol);
        array_[slot] = text_[position - 1] < symbol ? position | kTop : position;
    }

    void placeBack(Index position) {
        const Index symbol = text_[position];
        const Index slot = cursors_.back(symbol);
        // Before position 0 comes the end of the word, which is of type L.
        const bool lBefore = position == 0 || text_[position - 1] > symbol;
        array_[slot] = lBefore ? position | kTop : position;
    }

    // Asks for the symbols of the entry that is scanned some steps later, if there is one.
    void prefetch(size_t row) const {
        if (row < n_) __builtin_prefetch(text_ + withoutFlag(array_[row]));
    }

    static bool pending(Index entry) { return entry != 0 && !(entry & kTop); }

    // Leaves the LMS positions, sorted by their substrings, in array_[0, count); returns count.
    size_t sortLmsSubstrings() {
        std::memset(array_, 0, n_ * sizeof(Index));
        cursorsToEnds();
        forEachLms(text_, n_, [this](Index position) {
            array_[cursors_.back(text_[position])] = position;
        });
        cursorsToStarts();
        // Position 0 stands before all others.
        placeFront(static_cast<Index>(n_ - 1));
        for (size_t i = 0; i < n_; ++i) {
            prefetch(i + kAhead);
            const Index entry = array_[i];
            array_[i] = entry & kTop ? entry ^ kTop : 0;
            if (pending(entry)) placeFront(entry - 1);
        }
        cursorsToEnds();
        for (size_t i = n_; i-- > 0;) {
            prefetch(i - kAhead);
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

    // Flags the last of each run of sorted LMS substrings that are the same. Their lengths are kept
    // in the slots of half their positions behind the list meanwhile.
    void nameSubstrings(size_t count) {
        Index* lengths = array_ + count;
        size_t after = n_;
        const auto measure = [&](Index position) {
            lengths[position >> 1] = static_cast<Index>(after - position);
            after = position;
        };
        forEachLms(text_, n_, measure);
        measure(0);

        size_t length = lengths[array_[0] >> 1];
        for (size_t i = 0; i + 1 < count; ++i) {
            const size_t nextLength = lengths[array_[i + 1] >> 1];
            if (nextLength != length || !sameSubstring(array_[i], array_[i + 1], length)) {
                array_[i] |= kTop;
            }
            length = nextLength;
        }
        array_[count - 1] |= kTop;
    }

    // Moves the sorted LMS positions from the array's start to the ends of their buckets. Position
    // 0 stays out: both scans know where it is.
    void spreadLms(size_t count) {
        std::memset(array_ + count, 0, (n_ - count) * sizeof(Index));
        cursorsToEnds();
        for (size_t i = count; i-- > 1;) {
            const Index position = array_[i];
            array_[i] = 0;
            array_[cursors_.back(text_[position])] = position;
        }
        array_[0] = 0;
    }

    void induceAll() {
        cursorsToStarts();
        placeFront(static_cast<Index>(n_ - 1));
        for (size_t i = 0; i < n_; ++i) {
            prefetch(i + kAhead);
            const Index entry = array_[i];
            array_[i] = entry ^ kTop;
            if (pending(entry)) placeFront(entry - 1);
        }
        cursorsToEnds();
        for (size_t i = n_; i-- > 0;) {
            prefetch(i - kAhead);
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
    Cursors cursors_;
    Area<Index> below_;
};

// Sorts the listed LMS positions array[0, count) of a word of n symbols, which are in the order of
// their substrings, each name's last flagged. Takes the flags off and returns false when that is
// the order of the suffixes; else leaves there, in order, the numbers of the positions in the word.
//
// `cursors` has count / 2 entries at least. What a level keeps while the ones below are sorted
// leaves them as much as they need at the least: a quarter of count.
template <class Index>
bool sortNames(Index* array, size_t n, size_t count, Area<Index> cursors) {
    size_t names = 0;
    for (size_t i = 0; i < count; ++i)
        names += array[i] >> kFlagShift<Index>;
    if (names == count) {
        for (size_t i = 0; i < count; ++i)
            array[i] = withoutFlag(array[i]);
        return false;
    }
    using Numbered = NumberedCursors<Index>;
    const size_t tables = Numbered::sizeFor(names);
    const bool inGap = tables <= n - 2 * count;  // between the array of this level and its word
    const bool inArea = tables <= cursors.size && names + 1 + count / 4 <= cursors.size;
    writeNames(array, n, count, inGap || inArea);
    Index* word = compactNames(array, n, count);
    if (!inGap && !inArea) {
        using Shared = SharedCursors<Index>;
        SymbolSorter<Index, Shared>(word, array, count, Shared(cursors.begin), cursors).sort();
        return true;
    }
    const Numbered numbered(inGap ? array + count : cursors.begin, names);
    numbered.learn(array, count);
    if (!inGap) cursors = {cursors.begin + names + 1, cursors.size - names - 1};
    SymbolSorter<Index, Numbered>(word, array, count, numbered, cursors).sort();
    return true;
}

}  // namespace zeldc::blocksort
