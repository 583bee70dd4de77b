// Memory primitives and the sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using support::GuardedBuffer;

TEST(Memory, ArgumentsAreTestedInOrder) {
    uint8_t byte = 7;
    int16_t word = 7;
    EXPECT_EQ(zelsCopy_8u(nullptr, &byte, 0), zelStsNullPointer);
    EXPECT_EQ(zelsCopy_8u(&byte, nullptr, 0), zelStsNullPointer);
    EXPECT_EQ(zelsCopy_8u(&byte, &byte, 0), zelStsBadSize);
    EXPECT_EQ(zelsSet_8u(1, nullptr, 0), zelStsNullPointer);
    EXPECT_EQ(zelsSet_8u(1, &byte, 0), zelStsBadSize);
    EXPECT_EQ(zelsSet_16s(1, nullptr, -1), zelStsNullPointer);
    EXPECT_EQ(zelsSet_16s(1, &word, -1), zelStsBadSize);
    EXPECT_EQ(zelsZero_8u(nullptr, INT_MIN), zelStsNullPointer);
    EXPECT_EQ(zelsZero_8u(&byte, INT_MIN), zelStsBadSize);
    EXPECT_EQ(zelsSortAscend_32s_I(nullptr, 0), zelStsNullPointer);
    int32_t element = 5;
    EXPECT_EQ(zelsSortAscend_32s_I(&element, 0), zelStsBadSize);
    EXPECT_EQ(zelsSortAscend_32s_I(&element, 1), zelStsOk);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(word, 7);
    EXPECT_EQ(element, 5);
}

// Calls `fill(dst, count)` on buffers that end at an unreadable page, at odd addresses too, and
// compares every element with `value` and the bytes before with what was there.
template <class Element, class Fill>
void expectFilled(Element value, Fill fill) {
    for (int32_t count = 0; count < 70; ++count) {
        const size_t bytes = static_cast<size_t>(count) * sizeof(Element);
        GuardedBuffer buffer(Bytes(bytes + 3, 0x5A));
        uint8_t* dst = buffer.end() - bytes;
        ASSERT_EQ(fill(reinterpret_cast<Element*>(dst), count), zelStsOk);
        for (size_t at = 0; at < bytes; at += sizeof value) {
            ASSERT_EQ(std::memcmp(dst + at, &value, sizeof value), 0) << count << " at " << at;
        }
        ASSERT_EQ(std::count(buffer.data(), buffer.data() + 3, 0x5A), 3);

        Bytes odd(bytes + 2, 0x5A);
        fill(reinterpret_cast<Element*>(odd.data() + 1), count);
        ASSERT_EQ(std::memcmp(odd.data() + 1, dst, bytes), 0);
        ASSERT_EQ(odd.front() + odd.back(), 2 * 0x5A);
    }
}

TEST(Memory, KernelsWriteWhatTheyAreTold) {
    expectFilled<uint8_t>(0x9C, [](uint8_t* dst, int32_t n) { return ownsSet_8u(0x9C, dst, n); });
    expectFilled<uint8_t>(0, [](uint8_t* dst, int32_t n) { return ownsZero_8u(dst, n); });
    expectFilled<uint16_t>(0x1234,
                           [](uint16_t* dst, int32_t n) { return ownsSet_16u(0x1234, dst, n); });
    expectFilled<int32_t>(-32768,
                          [](int32_t* dst, int32_t n) { return ownsSet_32s(-32768, dst, n); });
    expectFilled<int64_t>(-3, [](int64_t* dst, int32_t n) { return ownsSet_64s(-3, dst, n); });
}

TEST(Memory, CheckedOperationsDoTheSame) {
    const Bytes src = support::randomBytes(77, 1);
    GuardedBuffer dst(77);
    EXPECT_EQ(zelsCopy_8u(src.data(), dst.data(), 77), zelStsOk);
    EXPECT_EQ(dst.content(), src);
    EXPECT_EQ(ownsCopy_8u(src.data() + 7, dst.data(), 70), zelStsOk);
    EXPECT_EQ(std::memcmp(dst.data(), src.data() + 7, 70), 0);
    EXPECT_EQ(zelsSet_8u(9, dst.data(), 76), zelStsOk);
    EXPECT_EQ(std::count(dst.data(), dst.end(), 9), 76);
    EXPECT_EQ(zelsZero_8u(dst.data(), 77), zelStsOk);
    EXPECT_EQ(dst.content(), Bytes(77, 0));
    int16_t words[5] = {1, 1, 1, 1, 1};
    EXPECT_EQ(zelsSet_16s(-300, words, 4), zelStsOk);
    EXPECT_EQ(std::count(words, words + 5, -300), 4);
}

void expectSorted(std::vector<int32_t> values, const char* name) {
    std::vector<int32_t> expected = values;
    std::sort(expected.begin(), expected.end());
    const size_t bytes = values.size() * sizeof values[0];
    GuardedBuffer buffer(bytes + 1);  // at an odd address, ending at an unreadable page
    std::memcpy(buffer.end() - bytes, values.data(), bytes);
    auto* unaligned = reinterpret_cast<int32_t*>(buffer.end() - bytes);
    ASSERT_EQ(zelsSortAscend_32s_I(unaligned, static_cast<int32_t>(values.size())), zelStsOk);
    ASSERT_EQ(std::memcmp(unaligned, expected.data(), bytes), 0) << name << " " << values.size();
}

TEST(Sort, EveryArrangement) {
    support::Random random(5);
    for (size_t size = 1; size < 300; size += 1 + size / 9) {
        for (int round = 0; round < 40; ++round) {
            std::vector<int32_t> values(size);
            for (auto& v : values)
                v = static_cast<int32_t>(random.next());
            expectSorted(values, "random");
            for (auto& v : values)
                v = static_cast<int32_t>(random.below(3));
            expectSorted(values, "few values");
            for (auto& v : values)
                v = random.below(2) == 0 ? INT_MIN : INT_MAX;
            expectSorted(values, "extremes");
        }
        std::vector<int32_t> values(size);
        for (size_t i = 0; i < size; ++i)
            values[i] = static_cast<int32_t>(i);
        expectSorted(values, "ascending");
        std::reverse(values.begin(), values.end());
        expectSorted(values, "descending");
        expectSorted(std::vector<int32_t>(size, 4), "equal");
    }
}

}  // namespace
