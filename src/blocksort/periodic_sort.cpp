// The bytes that come out for a word repeated seven times and more are those of one particular
// two-stage sort: positions of type B* (rising into a falling run) are sorted by multikey
// quicksort, one byte value's bucket at a time, and all others are induced from them. When it comes
// upon a segment of rotations that are equal over the whole block, that sort abandons the whole
// bucket and leaves the rest of it as partitioned so far. Streams made with it carry the result, so
// it is reproduced here, abandoned buckets included.
//
// Three things make that affordable. Equal rotations are never parted, so a segment as long as the
// repetition is one rotation, known at once and not at depth n; shorter ones do not occur, which
// leaves nothing to the insertion sort for short segments. Of the parts of a segment the smallest
// comes next and the bucket ends with the first single rotation, so no stack of waiting segments
// is kept. And a segment whose members agree for long is not partitioned byte by byte.
#include "blocksort/periodic_sort.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/unaligned.hpp"

namespace zeldc::blocksort {
namespace {

struct Segment {
    size_t lo;
    size_t hi;  // inclusive
    size_t depth;
};

size_t extent(const Segment& s) {
    return s.hi - s.lo;
}

// The parts of a segment in the order in which they are left waiting: largest first, by one
// exchange of the outer two and one pass over neighbours, equals staying as they are.
class Parts {
  public:
    // `count` entries from `lo`; fewer than two are in order already.
    void add(size_t lo, size_t count, size_t depth) {
        if (count > 1) parts_[size_++] = {lo, lo + count - 1, depth};
    }
    const Segment& next() {
        if (extent(parts_[0]) < extent(parts_[size_ - 1])) std::swap(parts_[0], parts_[size_ - 1]);
        for (size_t i = 1; i < size_; ++i) {
            if (extent(parts_[i - 1]) < extent(parts_[i])) std::swap(parts_[i - 1], parts_[i]);
        }
        return parts_[size_ - 1];
    }

  private:
    Segment parts_[3];
    size_t size_ = 0;
};

// A bucket's rows divide into type A (larger than their successor), then type B, of which B* are
// those whose successor is of type A.
class PeriodicSorter {
  public:
    PeriodicSorter(size_t n, size_t period, const PeriodicSpace& space)
        : n_(n), period_(period), rows_(space.rows), twice_(space.twice) {}

    void sort() {
        classify();
        for (unsigned c = 256; c-- > 0;) {
            sortBStar(c);
            merge(bNext_[c], bStarStart_[c], bucketEnd_[c], First::right);
            induceLeft(c);
        }
        for (unsigned c = 0; c < 256; ++c)
            induceRight(c);
    }

  private:
    uint8_t keyAt(size_t row, size_t depth) const { return twice_[rows_[row] + depth]; }
    size_t before(size_t position) const { return position == 0 ? n_ - 1 : position - 1; }

    // Calls visit(position, isA, isBStar) once around, from the position left of the anchor, which
    // is the first whose successor is smaller, down to the anchor.
    template <class Visit>
    void forEachPosition(Visit visit) const {
        size_t anchor = 0;
        while (twice_[anchor] <= twice_[anchor + 1])
            ++anchor;
        bool isA = true;  // of the position after
        size_t position = anchor;
        do {
            position = before(position);
            const uint8_t symbol = twice_[position];
            const uint8_t after = twice_[position + 1];
            const bool nowA = symbol > after || (symbol == after && isA);
            visit(position, nowA, !nowA && isA);
            isA = nowA;
        } while (position != anchor);
    }

    void classify() {
        size_t a[256] = {};
        size_t b[256] = {};
        forEachPosition(
            [&](size_t position, bool isA, bool) { ++(isA ? a : b)[twice_[position]]; });
        size_t row = 0;
        for (unsigned c = 0; c < 256; ++c) {
            aStart_[c] = aFront_[c] = row;
            aEnd_[c] = aBack_[c] = row + a[c];
            row += a[c] + b[c];
            bNext_[c] = bucketEnd_[c] = row;
        }
        forEachPosition([&](size_t position, bool, bool isBStar) {
            if (isBStar) put(--bNext_[twice_[position]], position);
        });
        std::copy(bNext_, bNext_ + 256, bStarStart_);
    }

    void put(size_t row, size_t position) { rows_[row] = static_cast<uint32_t>(position); }

    void sortBStar(unsigned c) {
        if (bStarStart_[c] == bucketEnd_[c]) return;
        Segment segment{bStarStart_[c], bucketEnd_[c] - 1, 1};
        while (extent(segment) + 1 > n_ / period_)
            segment = partition(segment);
    }

    void swapRows(size_t a, size_t b) { std::swap(rows_[a], rows_[b]); }

    void swapBlocks(size_t a, size_t b, size_t count) {
        std::swap_ranges(rows_ + a, rows_ + a + count, rows_ + b);
    }

    uint8_t medianToMiddle(const Segment& s) {
        const size_t middle = (s.lo + s.hi) / 2;
        const auto order = [&](size_t a, size_t b) {
            if (keyAt(a, s.depth) > keyAt(b, s.depth)) swapRows(a, b);
        };
        order(s.lo, s.hi);
        order(s.lo, middle);
        order(middle, s.hi);
        return keyAt(middle, s.depth);
    }

    // Three ways, with equal entries gathered at both ends meanwhile (Bentley and McIlroy,
    // "Engineering a sort function", 1993); returns the part that is sorted next.
    Segment partition(const Segment& s) {
        const uint8_t pivot = medianToMiddle(s);
        const size_t end = s.hi + 1;
        size_t equalLeft = s.lo;  // [lo, equalLeft) equal, [equalLeft, left) less
        size_t left = s.lo;
        size_t right = end;  // [right, equalRight) greater, [equalRight, end) equal
        size_t equalRight = end;
        for (;;) {
            for (; left < right && keyAt(left, s.depth) <= pivot; ++left) {
                if (keyAt(left, s.depth) == pivot) swapRows(equalLeft++, left);
            }
            for (; left < right && keyAt(right - 1, s.depth) >= pivot; --right) {
                if (keyAt(right - 1, s.depth) == pivot) swapRows(--equalRight, right - 1);
            }
            if (left >= right) break;
            swapRows(left++, --right);
        }
        const size_t less = left - equalLeft;
        const size_t greater = equalRight - right;
        const size_t equal = end - s.lo - less - greater;
        if (equal == end - s.lo) return {s.lo, s.hi, agreement(s)};

        const size_t fromLeft = std::min(equalLeft - s.lo, less);
        swapBlocks(s.lo, left - fromLeft, fromLeft);
        const size_t fromRight = std::min(end - equalRight, greater);
        swapBlocks(left, end - fromRight, fromRight);
        Parts parts;
        parts.add(s.lo, less, s.depth);
        parts.add(s.lo + less, equal, s.depth + 1);
        parts.add(end - greater, greater, s.depth);
        return parts.next();
    }

    // The depth to which all members of a segment agree, who agree at its own depth. Partitioning
    // up to there would move nothing. They hold two rotations at least, which differ within the
    // period. The limit grows by doubling: in "c" and many "ab", neighbours agree nearly to the end
    // of the word, yet all of them only to the next pair.
    size_t agreement(const Segment& s) const {
        size_t depth = s.depth + 1;
        for (size_t length = 16;; length *= 2) {
            const size_t limit = std::min(s.depth + length, period_);
            depth = agreementWithin(s, depth, limit);
            if (depth < limit) return depth;
        }
    }

    // The same for members who agree up to `known`, but `limit` at most.
    size_t agreementWithin(const Segment& s, size_t known, size_t limit) const {
        const uint8_t* a = twice_ + rows_[s.lo];
        for (size_t row = s.lo + 1; row <= s.hi; ++row) {
            const uint8_t* b = twice_ + rows_[row];
            size_t d = known;
            while (d + 4 <= limit && load<uint32_t>(a + d) == load<uint32_t>(b + d))
                d += 4;
            while (d < limit && a[d] == b[d])
                ++d;
            limit = d;
        }
        return limit;
    }

    enum class First { left, right };

    // Merges the runs [begin, middle) and [middle, end) by second byte, the run named by `first`
    // leading among equals. The left run is in order; the right one need not be where the bucket
    // was abandoned, and goes by its heads then: after a large byte, smaller ones follow at once.
    // No memory: both runs are cut at a byte value and the inner parts change places.
    void merge(size_t begin, size_t middle, size_t end, First first, unsigned low = 0,
               unsigned high = 255) {
        if (begin == middle || middle == end) return;
        if (low == high) {
            if (first == First::right) std::rotate(rows_ + begin, rows_ + middle, rows_ + end);
            return;
        }
        const unsigned cut = (low + high + 1) / 2;
        const auto reaches = [&](uint32_t position) { return twice_[position + 1] >= cut; };
        const size_t left =
            static_cast<size_t>(std::find_if(rows_ + begin, rows_ + middle, reaches) - rows_);
        const size_t right =
            static_cast<size_t>(std::find_if(rows_ + middle, rows_ + end, reaches) - rows_);
        std::rotate(rows_ + left, rows_ + middle, rows_ + right);
        const size_t border = left + (right - middle);
        merge(begin, left, border, first, low, cut - 1);
        merge(border, right, end, first, cut, high);
    }

    void induceLeft(unsigned c) {
        for (size_t row = bucketEnd_[c]; row-- > bNext_[c];) {
            const size_t position = before(rows_[row]);
            const unsigned d = twice_[position];
            put(d > c ? --aBack_[d] : --bNext_[d], position);
        }
    }

    // The rows of type A from both scans become one run, behind which those that begin with c twice
    // are found.
    void induceRight(unsigned c) {
        const size_t fromLeft = aFront_[c];
        std::copy(rows_ + aBack_[c], rows_ + aEnd_[c], rows_ + fromLeft);
        aFront_[c] += aEnd_[c] - aBack_[c];
        merge(aStart_[c], fromLeft, aFront_[c], First::left);
        for (size_t row = aStart_[c]; row < aFront_[c]; ++row) {
            const size_t position = before(rows_[row]);
            const unsigned d = twice_[position];
            if (d >= c) put(aFront_[d]++, position);
        }
    }

    size_t n_;
    size_t period_;
    uint32_t* rows_;
    const uint8_t* twice_;
    size_t aStart_[256];
    size_t aFront_[256];  // where the next row from the scan to the right goes
    size_t aBack_[256];   // first row from the scan to the left
    size_t aEnd_[256];
    size_t bNext_[256];  // first row of type B so far
    size_t bStarStart_[256];
    size_t bucketEnd_[256];
};

// Looks for a row from which the inverse restores the block: the walk along the vector of the
// inverse must spell the word again and again. The vector replaces the rows, with two flags; a work
// buffer whose size is a positive 32-bit number leaves room for them.
class RestoringRow {
  public:
    RestoringRow(size_t n, size_t period, const uint8_t* transformed, const PeriodicSpace& space)
        : n_(n), period_(period), src_(transformed), vector_(space.rows), word_(space.twice) {}

    size_t find() {
        const size_t first = markCandidates();
        buildVector();
        for (size_t row = first; row < n_; ++row) {
            if ((vector_[row] & kFlags) == kCandidate && restores(row)) return row;
        }
        return first;
    }

  private:
    static constexpr uint32_t kCandidate = 0x80000000U;  // holds the block
    static constexpr uint32_t kTried = 0x40000000U;      // a walk has begun a word here
    static constexpr uint32_t kFlags = kCandidate | kTried;

    size_t markCandidates() {
        size_t first = n_;
        for (size_t row = n_; row-- > 0;) {
            const bool candidate = vector_[row] % period_ == 0;
            vector_[row] = candidate ? kCandidate : 0;
            if (candidate) first = row;
        }
        return first;
    }

    void buildVector() {
        size_t cursors[257] = {};
        for (size_t i = 0; i < n_; ++i)
            ++cursors[src_[i] + 1];
        for (unsigned c = 0; c < 256; ++c)
            cursors[c + 1] += cursors[c];
        for (size_t i = 0; i < n_; ++i)
            vector_[cursors[src_[i]]++] |= static_cast<uint32_t>(i);
    }

    // Most candidates fail within a few bytes. A walk that comes to begin a word where another one
    // has begun one goes on like that one, which failed; where it comes upon its own start, it has
    // closed. Walks that begin their words on different rows of a cycle share less than a word of
    // it, since no turned word is equal to the word: all together take a few times n steps.
    bool restores(size_t start) {
        size_t row = start;
        for (size_t spelled = 0; spelled < n_; spelled += period_) {
            if (vector_[row] & kTried) return row == start;
            vector_[row] |= kTried;
            for (size_t i = 0; i < period_; ++i) {
                row = vector_[row] & ~kFlags;
                if (src_[row] != word_[i]) return false;
            }
        }
        return true;
    }

    size_t n_;
    size_t period_;
    const uint8_t* src_;
    uint32_t* vector_;
    const uint8_t* word_;
};

}  // namespace

size_t transformPeriodic(size_t n, size_t period, uint8_t* dst, const PeriodicSpace& space) {
    PeriodicSorter(n, period, space).sort();
    for (size_t row = 0; row < n; ++row) {
        const size_t position = space.rows[row];
        dst[row] = space.twice[position == 0 ? n - 1 : position - 1];
    }
    return RestoringRow(n, period, dst, space).find();
}

}  // namespace zeldc::blocksort
