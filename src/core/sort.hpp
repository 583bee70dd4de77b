// In-place ascending sort of short records by an integer key: quicksort with a median of three
// and an explicit stack, selection sort for short ranges, and heapsort for any range whose depth
// budget is used up, so that no input makes it quadratic.
#pragma once

#include <bit>
#include <cstdint>
#include <utility>

namespace zeldc {

// Ranges below this many elements are sorted by selection of the maximum.
constexpr int32_t kSelectionSortBelow = 10;

// `key(element)` gives the integer to sort by; the order among equal keys is unspecified.
template <class T, class Key>
class Sorter {
  public:
    Sorter(T* data, Key key) : data_(data), key_(key) {}

    void sort(int32_t count) {
        // The smaller part is always the one continued, so at most log2(count) wait.
        Range stack[32];
        int32_t waiting = 0;
        const auto budget = static_cast<int32_t>(2 * std::bit_width(static_cast<uint32_t>(count)));
        Range range{0, count - 1, budget};
        for (;;) {
            const int32_t size = range.hi - range.lo + 1;
            if (size < kSelectionSortBelow || range.budget == 0) {
                size < kSelectionSortBelow ? selectionSort(range.lo, range.hi)
                                           : heapSort(data_ + range.lo, size);
                if (waiting == 0) return;
                range = stack[--waiting];
                continue;
            }
            auto [larger, smaller] = partition(range);
            if (larger.hi >= larger.lo) stack[waiting++] = larger;
            range = smaller;
        }
    }

  private:
    struct Range {
        int32_t lo;
        int32_t hi;
        int32_t budget;  // partitions that may still be spent on it
    };

    void swapIf(bool condition, int32_t a, int32_t b) {
        if (condition) std::swap(data_[a], data_[b]);
    }

    auto keyAt(int32_t i) const { return key_(data_[i]); }

    // Both parts of `range` around its pivot, the larger one first.
    std::pair<Range, Range> partition(Range range) {
        const auto [lo, hi, budget] = range;
        const int32_t mid = lo + (hi - lo + 1) / 2;
        swapIf(keyAt(lo) < keyAt(lo + 1), lo, lo + 1);
        swapIf(keyAt(mid) < keyAt(lo), lo, mid);
        swapIf(keyAt(hi) < keyAt(lo), lo, hi);
        swapIf(keyAt(hi) < keyAt(mid), mid, hi);
        const auto pivot = keyAt(mid);

        // i rests on an element above the pivot, j on one that is not; neither passes the other,
        // not even where the pivot is the largest value.
        int32_t i = lo + 1;
        int32_t j = hi;
        for (;;) {
            while (i < j && !(pivot < keyAt(i)))
                ++i;
            while (i < j && pivot < keyAt(j))
                --j;
            if (i >= j) break;
            std::swap(data_[i], data_[j]);
        }
        // The scans met on the first element above the pivot, or, where there is none, on the last
        // element, which then equals the pivot and is in its place.
        Range left{lo, i - 1, budget - 1};
        while (left.hi >= lo && keyAt(left.hi) == pivot)
            --left.hi;
        const Range right{i, hi, budget - 1};
        if (left.hi - left.lo >= right.hi - right.lo) return {left, right};
        return {right, left};
    }

    void selectionSort(int32_t lo, int32_t hi) {
        for (; hi > lo; --hi) {
            int32_t largest = lo;
            for (int32_t i = lo + 1; i <= hi; ++i) {
                if (keyAt(largest) < keyAt(i)) largest = i;
            }
            std::swap(data_[largest], data_[hi]);
        }
    }

    void siftDown(T* heap, int32_t root, int32_t size) {
        for (int32_t child = 0; (child = 2 * root + 1) < size; root = child) {
            if (child + 1 < size && key_(heap[child]) < key_(heap[child + 1])) ++child;
            if (!(key_(heap[root]) < key_(heap[child]))) return;
            std::swap(heap[root], heap[child]);
        }
    }

    void heapSort(T* heap, int32_t size) {
        for (int32_t root = size / 2; root-- > 0;)
            siftDown(heap, root, size);
        for (int32_t last = size; --last > 0;) {
            std::swap(heap[0], heap[last]);
            siftDown(heap, 0, last);
        }
    }

    T* data_;
    Key key_;
};

template <class T, class Key>
void sortAscending(T* data, int32_t count, Key key) {
    if (count > 1) Sorter<T, Key>(data, key).sort(count);
}

}  // namespace zeldc
