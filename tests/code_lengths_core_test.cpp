#include "core/code_lengths.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/huffman_cost.hpp"
#include "support/shapes.hpp"

namespace {

using Words = std::vector<uint32_t>;

uint64_t costOf(const Words& weights, const Words& lengths) {
    uint64_t cost = 0;
    for (size_t i = 0; i < weights.size(); ++i)
        cost += static_cast<uint64_t>(weights[i]) * lengths[i];
    return cost;
}

// In units of 2^-45, so that a complete code sums to 2^45.
uint64_t kraftSum(const Words& lengths) {
    uint64_t sum = 0;
    for (const uint32_t length : lengths)
        sum += uint64_t{1} << (45 - length);
    return sum;
}

Words fibonacci(size_t count) {
    Words weights = {1, 1};
    while (weights.size() < count)
        weights.push_back(weights[weights.size() - 1] + weights[weights.size() - 2]);
    weights.resize(count);
    return weights;
}

std::vector<Words> weightSets() {
    std::vector<Words> sets = {{1, 1}, {1, 1, 1}, {3, 3, 4, 1000}, Words(258, 1), Words(286, 77)};
    for (size_t count = 3; count <= 44; ++count)
        sets.push_back(fibonacci(count));
    support::Random random(7);
    for (int i = 0; i < 300; ++i) {
        Words weights(2 + random.below(285));
        for (auto& w : weights)
            w = 1 + (random.sizeBelow(1U << random.below(23)));
        std::sort(weights.begin(), weights.end());
        sets.push_back(weights);
    }
    return sets;
}

TEST(CodeLengths, TreesAreOptimalAndComplete) {
    for (const Words& weights : weightSets()) {
        Words lengths = weights;
        zeldc::huffmanDepths(lengths.data(), static_cast<int32_t>(lengths.size()));
        EXPECT_TRUE(std::is_sorted(lengths.rbegin(), lengths.rend()));
        ASSERT_EQ(kraftSum(lengths), uint64_t{1} << 45);
        ASSERT_EQ(costOf(weights, lengths), support::optimalCost(weights));
    }
    Words single = {9};
    zeldc::huffmanDepths(single.data(), 1);
    EXPECT_EQ(single[0], 1U);
    Words deepest = fibonacci(46);
    zeldc::huffmanDepths(deepest.data(), 46);
    EXPECT_EQ(deepest[0], static_cast<uint32_t>(zeldc::kDeepestTree));
}

TEST(CodeLengths, LimitedLengthsStayCompleteAndOrdered) {
    for (const Words& weights : weightSets()) {
        for (const uint32_t limit : {17U, 15U, 9U}) {
            Words tree = weights;
            const auto count = static_cast<int32_t>(tree.size());
            zeldc::huffmanDepths(tree.data(), count);
            Words lengths = tree;
            zeldc::limitLengths(lengths.data(), count, static_cast<int32_t>(limit));
            EXPECT_LE(lengths[0], limit);
            EXPECT_TRUE(std::is_sorted(lengths.rbegin(), lengths.rend()));
            ASSERT_EQ(kraftSum(lengths), uint64_t{1} << 45);
            if (tree[0] <= limit) {
                EXPECT_EQ(lengths, tree);
            }
        }
    }
}

// Followed by hand: 5 5 4 3 2 1 with at most 4 bits; the pair at 5 becomes one code at 4, the
// longest code below 4 (of 3 bits) becomes two of 4.
TEST(CodeLengths, RepairByHand) {
    Words lengths = {5, 5, 4, 3, 2, 1};
    zeldc::limitLengths(lengths.data(), 6, 4);
    EXPECT_EQ(lengths, (Words{4, 4, 4, 4, 2, 1}));
    lengths = {7, 7, 6, 5, 4, 3, 2, 1};
    zeldc::limitLengths(lengths.data(), 8, 4);
    EXPECT_EQ(lengths, (Words{4, 4, 4, 4, 4, 4, 3, 1}));
}

TEST(CodeLengths, CanonicalCodesOfTheRfcExample) {
    const uint8_t lengths[] = {3, 3, 3, 3, 3, 2, 4, 4, 0};
    zeldc::CanonicalCodes codes(lengths, 9);
    const uint32_t expected[] = {2, 3, 4, 5, 6, 0, 14, 15};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(codes.take(lengths[i]), expected[i]) << i;
}

}  // namespace
