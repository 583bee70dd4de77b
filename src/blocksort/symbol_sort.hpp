// Induced sorting of the words of names: the levels below the bytes. All memory is the array, in
// which the level above lies idle, and a few cursors.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blocksort/group_sort.hpp"
#include "blocksort/index_flag.hpp"

namespace zeldc::blocksort {

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
// behind slot s, which is that of position 2t at the least, goes to n - 1 - k with k <= n / 2 - t -
// 1 positions behind it, so to n / 2 + t >= s.
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
    void toStarts(const Index*, size_t) { std::memcpy(cursors_, starts_, names_ * sizeof(Index)); }
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

// A symbol must occur so many times on average for queues to be worth their tables.
constexpr size_t kQueuesFrom = 3;

// Of listed positions, the last of each name flagged.
template <class Index>
size_t countNames(const Index* list, size_t count) {
    size_t names = 0;
    for (size_t i = 0; i < count; ++i)
        names += list[i] >> kFlagShift<Index>;
    return names;
}

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

// Sorts LMS positions of the same name by the names that follow, where names are nearly all
// different already, so that the levels below are spared for a few repetitions.
template <class Index>
class NameComparison {
  public:
    // As writeNames left them. Comparisons may take so many steps per position in all.
    static constexpr size_t kStepsPerPosition = 4;

    NameComparison(Index* array, size_t n, size_t count)
        : list_(array),
          slots_(array + count),
          slotsEnd_(slots_ + (n + 1) / 2),
          count_(count),
          steps_(kStepsPerPosition * count) {}

    // False when it takes too long; names and their limits in the list are then as before.
    bool sort() {
        for (size_t first = 0; first < count_ && steps_ != 0;) {
            size_t last = first;
            while (!(list_[last] & kFlag<Index>))
                ++last;
            if (last != first) sortName(list_ + first, list_ + last + 1);
            first = last + 1;
        }
        return steps_ != 0;
    }

  private:
    // A heap stays in bounds even when steps run out and comparisons contradict each other.
    void sortName(Index* begin, Index* end) {
        const auto less = [this](Index a, Index b) { return isLess(a, b); };
        end[-1] = withoutFlag(end[-1]);
        std::make_heap(begin, end, less);
        std::sort_heap(begin, end, less);
        end[-1] |= kFlag<Index>;
    }

    bool isLess(Index a, Index b) {
        if (a == b) return false;
        const Index* slotA = slots_ + (a >> 1);
        const Index* slotB = slots_ + (b >> 1);
        for (; steps_ != 0; --steps_) {
            slotA = next(slotA);
            slotB = next(slotB);
            if (*slotA != *slotB) return *slotA < *slotB;
        }
        return false;
    }

    // The slot of the next LMS position; position 0 follows the last one.
    const Index* next(const Index* slot) const {
        do {
            ++slot;
        } while (slot != slotsEnd_ && *slot == 0);
        return slot == slotsEnd_ ? slots_ : slot;
    }

    Index* list_;
    const Index* slots_;
    const Index* slotsEnd_;
    size_t count_;
    size_t steps_;
};

template <class Index>
bool sortNames(Index* array, size_t n, size_t count, Area<Index> cursors);

// Sorts the suffixes of a Lyndon word of n >= 2 symbols into `array` (n entries).
template <class Index, class Cursors>
class SymbolSorter {
  public:
    // `below` is the memory for the cursors of the levels below.
    SymbolSorter(const Index* text, Index* array, size_t n, Cursors cursors, Area<Index> below)
        : text_(text), array_(array), n_(n), cursors_(cursors), below_(below) {}

    // The same with the queues for the first half of the work; text[-1] must hold the last symbol.
    void sort(const SortTables<Index>& tables) {
        finish(GroupSorter<Index, Index>(text_, n_, array_, tables).sort());
    }

    void sort() {
        const size_t count = sortLmsSubstrings();
        nameSubstrings(count);
        finish(count);
    }

  private:
    // From the sorted and flagged LMS positions on.
    void finish(size_t count) {
        if (sortNames(array_, n_, count, below_)) {
            Index* list = array_ + n_ - count;
            listLms(array_ + n_);
            for (size_t i = 0; i < count; ++i)
                array_[i] = list[array_[i]];
        }
        spreadLms(count);
        induceAll();
    }

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
        if (row < n_) prefetchSymbol(text_, withoutFlag(array_[row]));
    }

    static bool pending(Index entry) { return entry != 0 && !(entry & kTop); }

    // Leaves the LMS positions, sorted by their substrings, in array_[0, count); returns count.
    size_t sortLmsSubstrings() {
        std::memset(array_, 0, n_ * sizeof(Index));
        cursorsToEnds();
        forEachLms(text_, n_,
                   [this](Index position) { array_[cursors_.back(text_[position])] = position; });
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
    const size_t names = countNames(array, count);
    const auto finished = [&] {
        for (size_t i = 0; i < count; ++i)
            array[i] = withoutFlag(array[i]);
        return false;
    };
    if (names == count) return finished();
    using Numbered = NumberedCursors<Index>;
    const size_t gap = n - 2 * count;  // between the array of the level below and its word
    const size_t size = Numbered::sizeFor(names);
    const bool inGap = size <= gap;
    const bool inArea = size <= cursors.size && names + 1 + count / 4 <= cursors.size;
    writeNames(array, n, count, inGap || inArea);
    if (names >= count / 4 * 3 && NameComparison<Index>(array, n, count).sort()) return finished();
    Index* word = compactNames(array, n, count);
    if (!inGap && !inArea) {
        using Shared = SharedCursors<Index>;
        SymbolSorter<Index, Shared>(word, array, count, Shared(cursors.begin), cursors).sort();
        return true;
    }
    Index* const memory = inGap ? array + count : cursors.begin;
    const Numbered numbered(memory, names);
    numbered.learn(array, count);
    if (!inGap) cursors = {cursors.begin + names + 1, cursors.size - names - 1};
    SymbolSorter<Index, Numbered> sorter(word, array, count, numbered, cursors);
    using Tables = SortTables<Index>;
    if (inGap && names <= count / kQueuesFrom && size + Tables::sizeFor(names) < gap) {
        word[-1] = word[count - 1];
        sorter.sort(Tables::at(memory + size, names));
    } else {
        sorter.sort();
    }
    return true;
}

}  // namespace zeldc::blocksort
