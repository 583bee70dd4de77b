// The sort's comparisons stay O(n log n) on the worst array that can be grown for it (McIlroy, "A
// Killer Adversary for Quicksort", 1999): values are decided only when a comparison needs them, and
// so that the partition learns as little as possible.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "core/sort.hpp"

namespace {

class Adversary {
  public:
    explicit Adversary(int32_t size) : values_(static_cast<size_t>(size), kUndecided) {}

    bool less(int32_t a, int32_t b) {
        ++comparisons_;
        int32_t& x = values_[static_cast<size_t>(a)];
        int32_t& y = values_[static_cast<size_t>(b)];
        if (x == kUndecided && y == kUndecided && a != b) {
            (a == candidate_ ? x : y) = decided_++;
        }
        if (x == kUndecided) candidate_ = a;
        if (y == kUndecided) candidate_ = b;
        return x < y;
    }
    int64_t comparisons() const { return comparisons_; }
    const std::vector<int32_t>& values() const { return values_; }

  private:
    static constexpr int32_t kUndecided = INT32_MAX;
    std::vector<int32_t> values_;
    int32_t decided_ = 0;
    int32_t candidate_ = 0;
    int64_t comparisons_ = 0;
};

struct AdversaryKey {
    Adversary* adversary;
    int32_t element;
    friend bool operator<(AdversaryKey a, AdversaryKey b) {
        return a.adversary->less(a.element, b.element);
    }
    friend bool operator==(AdversaryKey a, AdversaryKey b) { return !(a < b) && !(b < a); }
};

TEST(SortCore, AnAdversaryCannotMakeItQuadratic) {
    for (const int32_t size : {1000, 10000, 100000}) {
        Adversary adversary(size);
        std::vector<int32_t> elements(static_cast<size_t>(size));
        for (int32_t i = 0; i < size; ++i)
            elements[static_cast<size_t>(i)] = i;
        zeldc::sortAscending(elements.data(), size, [&adversary](int32_t e) {
            return AdversaryKey{&adversary, e};
        });
        const auto& values = adversary.values();
        EXPECT_TRUE(
            std::is_sorted(elements.begin(), elements.end(), [&values](int32_t a, int32_t b) {
                return values[static_cast<size_t>(a)] < values[static_cast<size_t>(b)];
            }));
        const int64_t log = std::bit_width(static_cast<uint32_t>(size));
        EXPECT_LT(adversary.comparisons(), 8 * size * log) << size;
    }
}

}  // namespace
