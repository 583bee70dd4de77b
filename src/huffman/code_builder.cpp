// Code lengths from frequencies by Huffman's construction, and canonical codes from lengths.
//
// Which of several optimal codes results depends on the order of equal weights, and that is part of
// the format: it comes from the exchanges of the sort below and from where merged nodes are put.
#include <algorithm>
#include <cstdint>
#include <tuple>
#include <utility>

#include "huffman/huffman_state.hpp"

namespace zeldc::huffman {
namespace {

struct Item {
    uint32_t weight;
    uint8_t name;
};

// Ranges up to this many items are sorted by selection.
constexpr int32_t kSelectionUpTo = 9;

void selectionSort(Item* items, int32_t lo, int32_t hi) {
    for (; hi > lo; --hi) {
        int32_t largest = lo;
        for (int32_t i = lo + 1; i <= hi; ++i) {
            if (items[largest].weight < items[i].weight) largest = i;
        }
        std::swap(items[largest], items[hi]);
    }
}

void orderTwo(Item& a, Item& b) {
    if (b.weight < a.weight) std::swap(a, b);
}

// Splits [lo, hi] around its pivot: the left part ends at .first, the right begins at .second.
std::pair<int32_t, int32_t> partition(Item* items, int32_t lo, int32_t hi) {
    const int32_t mid = lo + (hi - lo + 1) / 2;
    orderTwo(items[lo], items[mid]);
    orderTwo(items[lo], items[hi]);
    orderTwo(items[mid], items[hi]);
    const uint32_t pivot = items[mid].weight;
    int32_t i = lo + 1;
    int32_t j = hi;
    for (;;) {
        while (i < hi && items[i].weight <= pivot)
            ++i;
        while (j > i && items[j].weight > pivot)
            --j;
        if (i == j) break;
        std::swap(items[i], items[j]);
    }
    int32_t leftEnd = i - 1;
    while (leftEnd >= lo && items[leftEnd].weight == pivot)
        --leftEnd;
    return {leftEnd, j};
}

// The parts are independent of each other, so the order in which they are sorted does not show; the
// larger one waits, so that no more than log2(kSymbols) do.
void sortItems(Item* items, int32_t count) {
    std::pair<int32_t, int32_t> waiting[8];
    int32_t waitingCount = 0;
    int32_t lo = 0;
    int32_t hi = count - 1;
    for (;;) {
        if (hi - lo < kSelectionUpTo) {
            selectionSort(items, lo, hi);
            if (waitingCount == 0) return;
            std::tie(lo, hi) = waiting[--waitingCount];
            continue;
        }
        const auto [leftEnd, rightBegin] = partition(items, lo, hi);
        if (leftEnd - lo >= hi - rightBegin) {
            waiting[waitingCount++] = {lo, leftEnd};
            lo = rightBegin;
        } else {
            waiting[waitingCount++] = {rightBegin, hi};
            hi = leftEnd;
        }
    }
}

// The bytes that occur, in ascending order; 0 when the frequencies are unusable.
int32_t gather(const S32* frequencies, Item* items) {
    int32_t count = 0;
    uint32_t total = 0;
    for (int32_t value = 0; value < kSymbols; ++value) {
        const int32_t frequency = frequencies[value];
        if (frequency < 0) return 0;
        if (frequency == 0) continue;
        total += static_cast<uint32_t>(frequency);
        if (total > INT32_MAX) return 0;
        items[count++] = {static_cast<uint32_t>(frequency), static_cast<uint8_t>(value)};
    }
    return count;
}

// Takes the lighter of the two heads. A merged node goes behind everything that is not heavier, so
// leaves come first among equals, and merged nodes in the order of their making.
class MergeQueue {
  public:
    MergeQueue(const Item* leaves, int32_t count) : leaf_(leaves), leavesEnd_(leaves + count) {}

    Item take() {
        const bool leafFirst =
            leaf_ != leavesEnd_ && (taken_ == made_ || leaf_->weight <= nodes_[taken_].weight);
        return leafFirst ? *leaf_++ : nodes_[taken_++];
    }
    void put(Item node) { nodes_[made_++] = node; }

  private:
    const Item* leaf_;
    const Item* leavesEnd_;
    Item nodes_[kSymbols];
    int32_t taken_ = 0;
    int32_t made_ = 0;
};

}  // namespace

ZelStatus buildLengths(const S32* frequencies, S32* lengths) {
    Item items[kSymbols];
    const int32_t count = gather(frequencies, items);
    if (count == 0) return zelStsFreqTableErr;
    sortItems(items, count);

    // A merged node carries the name of its first part.
    std::pair<uint8_t, uint8_t> merges[kSymbols];
    MergeQueue queue(items, count);
    for (int32_t i = 0; i < count - 1; ++i) {
        const Item first = queue.take();
        const Item second = queue.take();
        merges[i] = {first.name, second.name};
        queue.put({first.weight + second.weight, first.name});
    }

    std::fill_n(lengths, kSymbols, S32{0});
    if (count == 1) lengths[items[0].name] = 1;
    int32_t deepest = 1;
    for (int32_t i = count - 1; i-- > 0;) {
        const auto [first, second] = merges[i];
        const int32_t depth = lengths[first] + 1;
        lengths[first] = depth;
        lengths[second] = depth;
        deepest = std::max(deepest, depth);
    }
    return deepest > kMaxCodeLength ? zelStsMaxCodeLenErr : zelStsOk;
}

CanonicalCode canonicalCode(const S32* lengths) {
    CanonicalCode code;
    for (int32_t value = 0; value < kSymbols; ++value)
        ++code.count[lengths[value]];
    code.count[0] = 0;
    for (int32_t length = 1; length <= kMaxCodeLength; ++length) {
        if (code.count[length] == 0) continue;
        code.maxLength = length;
        if (code.minLength == 0) code.minLength = length;
        // The format counts in 8 bits: where all 256 bytes have one length there are no codes.
        code.count[length] &= 0xFF;
    }
    uint32_t next = 0;
    for (int32_t length = code.maxLength; length > 0; --length) {
        code.first[length] = next;
        next = (next + code.count[length]) >> 1;
    }
    return code;
}

void assignCodes(const CanonicalCode& code, State& state) {
    uint32_t next[kMaxCodeLength + 1];
    std::copy_n(code.first, kMaxCodeLength + 1, next);
    for (int32_t value = kSymbols; value-- > 0;) {
        const int32_t length = state.lengths[value];
        state.codes[value] = code.count[length] == 0 ? 0 : next[length]++;
    }
}

}  // namespace zeldc::huffman
