// The byte run-length coder against a byte-at-a-time model, on every short string and capacity.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;

struct Outcome {
    ZelStatus status = zelStsOk;
    size_t consumed = 0;
    int32_t reported = 0;
    Bytes out;

    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Outcome& o) {
    os << "status " << o.status << " consumed " << o.consumed << " reported " << o.reported << ":";
    for (const uint8_t b : o.out)
        os << ' ' << int{b};
    return os;
}

Outcome finish(const Bytes& src, size_t consumed, Bytes out, size_t unwritten = 0) {
    return {consumed < src.size() ? zelStsDstFull : zelStsOk, consumed,
            static_cast<int32_t>(out.size() + unwritten), std::move(out)};
}

Outcome modelEncode(const Bytes& src, size_t capacity) {
    Bytes out;
    size_t i = 0;
    bool fresh = true;
    while (i < src.size() && out.size() < capacity) {
        const uint8_t b = src[i++];
        const bool pair = !fresh && b == out.back();
        out.push_back(b);
        fresh = false;
        if (!pair || out.size() == capacity) continue;
        uint8_t count = 0;
        for (; i < src.size() && src[i] == b && count < 255; ++i)
            ++count;
        out.push_back(count);
        fresh = true;
    }
    return finish(src, i, out);
}

Outcome modelDecode(const Bytes& src, size_t capacity) {
    Bytes out;
    size_t i = 0;
    bool fresh = true;
    bool first = true;
    const auto endFull = [&](bool equal, size_t unwritten) {
        if (equal && i < src.size() && src[i] == 0) ++i;
        return finish(src, i, out, unwritten);
    };
    while (i < src.size() && out.size() < capacity) {
        const uint8_t b = src[i++];
        const bool pair = !fresh && b == out.back();
        out.push_back(b);
        if (out.size() == capacity) return endFull(fresh ? !first && b == 0 : pair, 0);
        fresh = false;
        if (!pair || i == src.size()) continue;
        const uint8_t count = src[i++];
        if (count > capacity - out.size()) return endFull(count == b, count);
        out.insert(out.end(), count, b);
        fresh = true;
        first = false;
    }
    return finish(src, i, out);
}

using Operation = ZelStatus(const uint8_t**, int32_t*, uint8_t*, int32_t*);

// Runs an operation with source and destination each ending at an unreadable page.
class Runner {
  public:
    Outcome operator()(Operation* operation, const Bytes& src, size_t capacity) {
        uint8_t* const in = src_.end() - src.size();
        std::copy(src.begin(), src.end(), in);
        uint8_t* const dst = dst_.end() - capacity;
        std::fill(dst, dst_.end(), kUntouched);
        const uint8_t* next = in;
        auto left = static_cast<int32_t>(src.size());
        auto length = static_cast<int32_t>(capacity);
        const ZelStatus status = operation(&next, &left, dst, &length);
        const auto consumed = static_cast<size_t>(next - in);
        EXPECT_EQ(consumed + static_cast<size_t>(left), src.size());
        // A reported length above the capacity stands for bytes that were not written.
        size_t written = static_cast<size_t>(length);
        if (written > capacity) written -= next[-1] != 0 ? next[-1] : next[-2];
        EXPECT_LE(written, capacity);
        // What is not reported is not written, room or not.
        const auto untouched = [](uint8_t b) { return b == kUntouched; };
        EXPECT_TRUE(std::all_of(dst + std::min(written, capacity), dst_.end(), untouched));
        return {status, consumed, length, Bytes(dst, dst + std::min(written, capacity))};
    }

  private:
    static constexpr uint8_t kUntouched = 0xCC;

    support::GuardedBuffer src_{1 << 16};
    support::GuardedBuffer dst_{1 << 18};
};

TEST(ByteRle, WorkedCases) {
    struct Case {
        Operation* operation;
        Bytes src;
        size_t capacity;
        Outcome expected;
    };
    constexpr uint8_t a = 'a';
    constexpr uint8_t b = 'b';
    const Case cases[] = {
        {zelsEncodeRLE_8u, {a}, 1, {zelStsOk, 1, 1, {a}}},
        {zelsEncodeRLE_8u, {a, a}, 2, {zelStsOk, 2, 2, {a, a}}},
        {zelsEncodeRLE_8u, {a, a}, 3, {zelStsOk, 2, 3, {a, a, 0}}},
        {zelsEncodeRLE_8u, {a, a, b, b}, 9, {zelStsOk, 4, 6, {a, a, 0, b, b, 0}}},
        {zelsEncodeRLE_8u, Bytes(300, a), 9, {zelStsOk, 300, 6, {a, a, 255, a, a, 41}}},
        {zelsEncodeRLE_8u, Bytes(258, a), 9, {zelStsOk, 258, 4, {a, a, 255, a}}},
        {zelsEncodeRLE_8u, Bytes(259, a), 9, {zelStsOk, 259, 6, {a, a, 255, a, a, 0}}},
        {zelsEncodeRLE_8u, Bytes(300, a), 3, {zelStsDstFull, 257, 3, {a, a, 255}}},
        {zelsDecodeRLE_8u, {a, a, 3}, 9, {zelStsOk, 3, 5, Bytes(5, a)}},
        {zelsDecodeRLE_8u, {a, a, 0, b}, 9, {zelStsOk, 4, 3, {a, a, b}}},
        // A run that does not fit is reported though not written.
        {zelsDecodeRLE_8u, {a, a, 5}, 4, {zelStsOk, 3, 7, {a, a}}},
        {zelsDecodeRLE_8u, {5, 5, 5, 0, b}, 4, {zelStsDstFull, 4, 7, {5, 5}}},
        // One that fills the room is; nothing is looked at behind it.
        {zelsDecodeRLE_8u, {a, a, 2, 0}, 4, {zelStsDstFull, 3, 4, Bytes(4, a)}},
        // The look-aheads for a zero.
        {zelsDecodeRLE_8u, {a, a, 0}, 2, {zelStsOk, 3, 2, {a, a}}},
        {zelsDecodeRLE_8u, {a, a, 1}, 2, {zelStsDstFull, 2, 2, {a, a}}},
        {zelsDecodeRLE_8u, {a, a, 0, 0, 0, b}, 3, {zelStsDstFull, 5, 3, {a, a, 0}}},
        {zelsDecodeRLE_8u, {0, 0, b}, 1, {zelStsDstFull, 1, 1, {0}}},
    };
    Runner run;
    for (const Case& c : cases) {
        EXPECT_EQ(run(c.operation, c.src, c.capacity), c.expected);
        Operation* kernel = c.operation == zelsEncodeRLE_8u ? ownsEncodeRLE_8u : ownsDecodeRLE_8u;
        EXPECT_EQ(run(kernel, c.src, c.capacity), c.expected);
    }
}

TEST(ByteRle, EveryShortStringAndCapacity) {
    Runner run;
    constexpr size_t longest = 7;
    constexpr uint32_t alphabet = 3;  // 0 and two values that are counts as well
    for (size_t size = 1, strings = alphabet; size <= longest; ++size, strings *= alphabet) {
        for (size_t number = 0; number < strings; ++number) {
            Bytes src(size);
            for (size_t i = 0, rest = number; i < size; ++i, rest /= alphabet)
                src[i] = static_cast<uint8_t>(rest % alphabet);
            for (size_t capacity = 1; capacity <= 3 * size / 2 + 2; ++capacity) {
                ASSERT_EQ(run(zelsEncodeRLE_8u, src, capacity), modelEncode(src, capacity));
                ASSERT_EQ(run(zelsDecodeRLE_8u, src, capacity), modelDecode(src, capacity));
            }
        }
    }
}

// Long enough for the block-wise scans, at every alignment that the cuts happen to give.
TEST(ByteRle, PiecesOfEveryShape) {
    Runner run;
    support::Random random(7);
    for (const auto& shape : support::shapes(6000)) {
        for (int round = 0; round < 150; ++round) {
            const size_t at = random.below(3000);
            const size_t size = 1 + random.sizeBelow(3000);
            const size_t capacity = 1 + random.sizeBelow(4600);
            const auto begin = shape.bytes.begin() + static_cast<std::ptrdiff_t>(at);
            const Bytes src(begin, begin + static_cast<std::ptrdiff_t>(size));
            const Outcome coded = run(zelsEncodeRLE_8u, src, capacity);
            ASSERT_EQ(coded, modelEncode(src, capacity)) << shape.name;
            ASSERT_EQ(run(zelsDecodeRLE_8u, src, capacity), modelDecode(src, capacity))
                << shape.name;
            const Outcome decoded = run(zelsDecodeRLE_8u, coded.out, coded.consumed);
            ASSERT_EQ(
                decoded.out,
                Bytes(src.begin(), src.begin() + static_cast<std::ptrdiff_t>(coded.consumed)));
            ASSERT_EQ(decoded.consumed, coded.out.size());
        }
    }
}

TEST(ByteRle, ArgumentsAreTestedInOrder) {
    uint8_t src[4] = {1, 1, 1, 1};
    uint8_t dst[8] = {};
    for (Operation* operation : {zelsEncodeRLE_8u, zelsDecodeRLE_8u}) {
        const uint8_t* next = src;
        const uint8_t* null = nullptr;
        int32_t srcLen = 4;
        int32_t dstLen = 8;
        int32_t bad = 0;
        int32_t negative = -1;
        EXPECT_EQ(operation(nullptr, &bad, dst, &bad), zelStsNullPointer);
        EXPECT_EQ(operation(&next, nullptr, dst, &bad), zelStsNullPointer);
        EXPECT_EQ(operation(&next, &bad, nullptr, &bad), zelStsNullPointer);
        EXPECT_EQ(operation(&next, &bad, dst, nullptr), zelStsNullPointer);
        EXPECT_EQ(operation(&null, &bad, dst, &bad), zelStsNullPointer);
        for (int32_t* unusable : {&bad, &negative}) {
            EXPECT_EQ(operation(&next, unusable, dst, &dstLen), zelStsBadSize);
            EXPECT_EQ(operation(&next, &srcLen, dst, unusable), zelStsBadSize);
        }
        EXPECT_EQ(next, src);
        EXPECT_EQ(srcLen, 4);
        EXPECT_EQ(dstLen, 8);
        EXPECT_EQ(bad, 0);
        EXPECT_EQ(dst[0], 0);
    }
}

}  // namespace
