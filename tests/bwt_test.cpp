// The Burrows-Wheeler transform, judged by a plain sort of all rotations, by libdivsufsort on large
// blocks, and by the walk that defines the inverse.
#include <divsufsort.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <numeric>
#include <string>

#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using support::Guard;
using support::GuardedBuffer;
using support::Random;

Bytes bytesOf(const std::string& s) {
    return {s.begin(), s.end()};
}

Bytes times(const Bytes& word, size_t count) {
    Bytes block;
    for (; count != 0; --count)
        block.insert(block.end(), word.begin(), word.end());
    return block;
}

Bytes joined(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

size_t repetitions(const Bytes& block) {
    for (size_t period = 1; period < block.size(); ++period) {
        if (block.size() % period == 0 &&
            std::equal(block.begin() + static_cast<std::ptrdiff_t>(period), block.end(),
                       block.begin())) {
            return block.size() / period;
        }
    }
    return 1;
}

enum class Size { large, small };

using ForwardOp = ZelStatus (*)(const uint8_t*, uint8_t*, int32_t, int32_t*, uint8_t*);
using InverseOp = ZelStatus (*)(const uint8_t*, uint8_t*, int32_t, int32_t, uint8_t*);
using GetSizeOp = ZelStatus (*)(int32_t, int32_t*);

struct Family {
    GetSizeOp forwardSize;
    GetSizeOp inverseSize;
    ForwardOp forward;
    InverseOp inverse;
};

Family family(Size size) {
    if (size == Size::large) {
        return {zelsBWTFwdGetSize_8u, zelsBWTInvGetSize_8u, zelsBWTFwd_8u, zelsBWTInv_8u};
    }
    return {zelsBWTGetSize_SmallBlock_8u, zelsBWTGetSize_SmallBlock_8u, zelsBWTFwd_SmallBlock_8u,
            zelsBWTInv_SmallBlock_8u};
}

int32_t lengthOf(const Bytes& bytes) {
    return static_cast<int32_t>(bytes.size());
}

size_t sizeFor(GetSizeOp op, const Bytes& block) {
    int32_t size = -1;
    EXPECT_EQ(op(lengthOf(block), &size), zelStsOk);
    return static_cast<size_t>(size);
}

struct Transformed {
    Bytes bytes;
    int32_t index = -1;
    bool operator==(const Transformed&) const = default;
};

// All buffers end (or begin) at unreadable pages; a work buffer of exactly the size asked for.
Transformed forward(const Bytes& block, Size size = Size::large, Guard guard = Guard::after) {
    const Family ops = family(size);
    const GuardedBuffer src(block, guard);
    GuardedBuffer dst(block.size(), guard);
    GuardedBuffer work(sizeFor(ops.forwardSize, block), guard);
    std::fill(work.data(), work.end(), 0xA5);
    Transformed result;
    EXPECT_EQ(ops.forward(src.data(), dst.data(), lengthOf(block), &result.index, work.data()),
              zelStsOk);
    result.bytes = dst.content();
    return result;
}

Bytes inverse(const Transformed& t, Size size = Size::large, Guard guard = Guard::after) {
    const Family ops = family(size);
    const GuardedBuffer src(t.bytes, guard);
    GuardedBuffer dst(t.bytes.size(), guard);
    GuardedBuffer work(sizeFor(ops.inverseSize, t.bytes), guard);
    std::fill(work.data(), work.end(), 0xA5);
    EXPECT_EQ(ops.inverse(src.data(), dst.data(), lengthOf(t.bytes), t.index, work.data()),
              zelStsOk);
    return dst.content();
}

Bytes plainWalk(const Transformed& t) {
    std::vector<uint32_t> next(257);
    for (const uint8_t c : t.bytes)
        ++next[size_t{c} + 1];
    std::partial_sum(next.begin(), next.end(), next.begin());
    std::vector<uint32_t> order(t.bytes.size());
    for (uint32_t i = 0; i < order.size(); ++i)
        order[next[t.bytes[i]]++] = i;
    Bytes out;
    out.reserve(order.size());
    auto row = static_cast<size_t>(t.index);
    for (size_t k = 0; k < order.size(); ++k) {
        row = order[row];
        out.push_back(t.bytes[row]);
    }
    return out;
}

Transformed fromOrder(const Bytes& block, const std::vector<int32_t>& starts) {
    Transformed t;
    for (size_t row = 0; row < starts.size(); ++row) {
        const int32_t start = starts[row];
        t.bytes.push_back(start == 0 ? block.back() : block[static_cast<size_t>(start - 1)]);
        if (start == 0) t.index = static_cast<int32_t>(row);
    }
    return t;
}

Transformed plainSort(const Bytes& block) {
    const Bytes twice = times(block, 2);
    std::vector<int32_t> starts(block.size());
    std::iota(starts.begin(), starts.end(), 0);
    std::stable_sort(starts.begin(), starts.end(), [&](int32_t a, int32_t b) {
        const auto at = [&](int32_t start) { return twice.begin() + start; };
        return std::lexicographical_compare(at(a), at(a) + lengthOf(block), at(b),
                                            at(b) + lengthOf(block));
    });
    return fromOrder(block, starts);
}

// For blocks that are no repetition: suffixes of the doubled block that begin in its first half.
Transformed suffixSort(const Bytes& block) {
    const Bytes twice = times(block, 2);
    std::vector<saidx_t> order(twice.size());
    divsufsort(twice.data(), order.data(), static_cast<saidx_t>(twice.size()));
    std::erase_if(order, [&](saidx_t start) { return start >= lengthOf(block); });
    return fromOrder(block, order);
}

// The bytes are those of the sort, the index is a row of the block, and the inverse restores it.
void checkComplete(const Bytes& block, Size size, const Transformed& sorted) {
    const Transformed t = forward(block, size);
    ASSERT_EQ(t.bytes, sorted.bytes);
    const int32_t equalRows = static_cast<int32_t>(repetitions(block));
    ASSERT_GE(t.index, sorted.index);
    ASSERT_LT(t.index, sorted.index + equalRows);
    ASSERT_EQ(inverse(t, size), block);
}

TEST(Bwt, AllShortBlocks) {
    struct {
        unsigned letters;
        size_t longest;
    } const sets[] = {{2, 9}, {3, 6}, {4, 4}};
    for (const auto& set : sets) {
        for (size_t len = 1; len <= set.longest; ++len) {
            Bytes block(len, 'a');
            for (bool more = true; more;) {
                const Transformed sorted = plainSort(block);
                const bool constant = repetitions(block) == len;
                if (repetitions(block) < 7 || constant) checkComplete(block, Size::large, sorted);
                checkComplete(block, Size::small, sorted);
                if (HasFatalFailure()) FAIL() << std::string(block.begin(), block.end());
                size_t digit = 0;
                while (digit < len && ++block[digit] == 'a' + set.letters)
                    block[digit++] = 'a';
                more = digit < len;
            }
        }
    }
}

TEST(Bwt, KnownBlocks) {
    struct {
        const char* block;
        const char* transformed;
        int32_t index;
    } const cases[] = {{"banana", "nnbaaa", 3}, {"abb", "bba", 0},
                       {"aab", "baa", 0},       {"zzzz", "zzzz", 0},
                       {"\xFF", "\xFF", 0},     {"abracadabra", "rdarcaaaabb", 2}};
    for (const auto& c : cases) {
        for (const Size size : {Size::large, Size::small}) {
            EXPECT_EQ(forward(bytesOf(c.block), size),
                      (Transformed{bytesOf(c.transformed), c.index}));
        }
    }
}

TEST(Bwt, WordsRepeatedOftenKeepTheAbandonedOrder) {
    struct {
        std::string word;
        std::string transformed;
        std::vector<int32_t> rows;
    } const cases[] = {
        {"ababac", "bccbcbcbcbcbcb" + std::string(7, 'b') + std::string(21, 'a'), {4}},
        {"aababab",
         std::string(14, 'b') + "abababaabababb" + std::string(21, 'a'),
         {0, 1, 2, 3, 4, 5, 6}},
        {"acacbad",
         "cddcdcdcdcdcdc" + std::string(7, 'b') + std::string(7, 'c') + std::string(21, 'a'),
         {1, 2, 4, 6, 8, 10, 12}},
    };
    for (const auto& c : cases) {
        const Transformed t = forward(times(bytesOf(c.word), 7));
        EXPECT_EQ(t.bytes, bytesOf(c.transformed)) << c.word;
        EXPECT_NE(std::find(c.rows.begin(), c.rows.end(), t.index), c.rows.end())
            << c.word << " " << t.index;
    }
}

// Small blocks are always restored, large ones mostly. The checksum over all transforms was
// computed with a step-by-step model of the abandoning sort, which waits for equal rotations to the
// last byte.
TEST(Bwt, WordsRepeatedOftenMatchTheModel) {
    Random random(7);
    uint32_t checksum = 0;
    int restored = 0;
    for (int i = 0; i < 300; ++i) {
        const size_t size = 2 + random.below(30);
        const uint32_t letters = 2 + random.below(3);
        const Bytes word = support::randomBytes(size, random.next(), letters);
        const Bytes block = times(word, 7 + random.below(5));
        const Transformed t = forward(block);
        zelsCRC32_8u(t.bytes.data(), lengthOf(block), &checksum);
        restored += inverse(t) == block;
        EXPECT_EQ(inverse(forward(block, Size::small), Size::small), block);
    }
    EXPECT_EQ(checksum, 0x23B39BB8U);
    EXPECT_EQ(restored, 136);
}

// Rotations that agree nearly to the end of a long word: comparing pairs of them to the end takes
// time that is quadratic in the word.
TEST(Bwt, LongWordsRepeatedOftenTakeNoTime) {
    Bytes word = support::repeated("ab", 500000);
    word[0] = 'c';
    const Bytes block = times(word, 8);
    const std::clock_t start = std::clock();
    const Transformed t = forward(block);
    EXPECT_LT(std::clock() - start, 3 * CLOCKS_PER_SEC);
    EXPECT_EQ(std::count(t.bytes.begin(), t.bytes.end(), 'c'), 8);
}

std::string fibonacciWord(size_t size) {
    std::string a = "a";
    std::string b = "ab";
    while (b.size() < size) {
        a = b + a;
        std::swap(a, b);
    }
    return b.substr(0, size);
}

Bytes thueMorse(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>('a' + __builtin_parity(static_cast<unsigned>(i)));
    return bytes;
}

// Blocks on which sorts by comparison take forever, and on which names stay few.
std::vector<support::Shape> hostile(size_t size) {
    Bytes defect = support::repeated("ab", size);
    defect[size / 3] = 'c';
    const Bytes text = support::textLike(size / 2, 5);
    Bytes comb;
    while (comb.size() < size)
        comb = joined(joined(comb, Bytes(1 + comb.size() % 97, 'a')), bytesOf("b"));
    comb.resize(size);
    Bytes twice = joined(text, text);
    twice.back() ^= 1;
    const Bytes noise = support::randomBytes(size * 5 / 6, 8);
    const Bytes again(noise.begin(), noise.begin() + static_cast<std::ptrdiff_t>(size / 6));
    return {{"defect", defect},
            {"text twice", twice},
            {"noise and its start", joined(noise, again)},
            {"Fibonacci", bytesOf(fibonacciWord(size))},
            {"Thue-Morse", thueMorse(size)},
            {"comb", comb},
            {"run and end", joined(Bytes(size - 1, 'a'), bytesOf("b"))},
            {"run and start", joined(Bytes(size - 1, 'b'), bytesOf("a"))}};
}

TEST(Bwt, LargeBlocksAgainstSuffixSort) {
    for (const size_t size : {1000, 32768, 150000}) {
        auto blocks = support::shapes(size);
        for (auto& shape : hostile(size))
            blocks.push_back(shape);
        for (auto& [name, block] : blocks) {
            if (repetitions(block) != 1) block.back() ^= 0x55;
            const Transformed sorted = suffixSort(block);
            SCOPED_TRACE(name + " " + std::to_string(size));
            EXPECT_TRUE(forward(block) == sorted);
            EXPECT_TRUE(inverse(sorted) == block);
            if (size > 32768) continue;
            EXPECT_TRUE(forward(block, Size::small) == sorted);
            EXPECT_TRUE(inverse(sorted, Size::small) == block);
        }
    }
}

// Alternation of two disjoint ranges makes every other byte begin a substring to be named, which
// leaves the least room for sorting the names. With 24 letters in a small and 32 in a large block,
// they are too many for tables.
TEST(Bwt, AlternatingRangesFillTheWorkBuffer) {
    Random random(3);
    for (const uint32_t letters : {2U, 3U, 16U, 24U, 32U, 128U}) {
        for (const size_t size : {31U, 32U, 33U, 32766U, 32767U, 32768U, 90000U}) {
            Bytes block(size);
            for (size_t i = 0; i < size; ++i)
                block[i] = static_cast<uint8_t>(random.below(letters) + (i % 2) * 128);
            if (repetitions(block) != 1) continue;
            const Transformed sorted = suffixSort(block);
            SCOPED_TRACE(std::to_string(letters) + " " + std::to_string(size));
            EXPECT_TRUE(forward(block) == sorted);
            EXPECT_TRUE(forward(block, Size::large, Guard::before) == sorted);
            if (size > 32768) continue;
            EXPECT_TRUE(forward(block, Size::small) == sorted);
            EXPECT_TRUE(forward(block, Size::small, Guard::before) == sorted);
        }
    }
}

TEST(Bwt, AnyAddressOfTheWorkBuffer) {
    const Bytes block = support::textLike(3000, 1);
    const Bytes word = times(bytesOf("abcabd"), 50);
    for (const Size size : {Size::large, Size::small}) {
        const Family ops = family(size);
        for (const Bytes* source : {&block, &word}) {
            const Transformed expected = forward(*source, size);
            const Bytes walked = plainWalk(expected);
            for (size_t pad = 0; pad < 70; ++pad) {
                // The end stays at the unreadable page, the size in front of it grows.
                Transformed t{Bytes(source->size()), -1};
                GuardedBuffer work(sizeFor(ops.forwardSize, *source) + pad);
                ops.forward(source->data(), t.bytes.data(), lengthOf(*source), &t.index,
                            work.data() + pad);
                EXPECT_TRUE(t == expected) << pad;
                GuardedBuffer inverseWork(sizeFor(ops.inverseSize, *source) + pad + pad % 64);
                Bytes out(source->size());
                ops.inverse(t.bytes.data(), out.data(), lengthOf(*source), t.index,
                            inverseWork.data() + pad);
                EXPECT_TRUE(out == walked) << pad;
            }
        }
    }
}

// Bytes that are no transform spell what the walk spells, also when it closes early.
TEST(Bwt, InverseOfAnything) {
    Random random(11);
    for (int i = 0; i < 300; ++i) {
        const size_t size = 2 + random.sizeBelow(i % 10 == 0 ? 40000 : 3000);
        Transformed t{support::randomBytes(size, random.next(), 1 + random.sizeBelow(256)), 0};
        if (i % 3 == 0) std::sort(t.bytes.begin(), t.bytes.end());
        if (i % 4 == 1) t.bytes = forward(support::textLike(size, random.next())).bytes;
        for (const size_t row :
             {size_t{0}, size - 1, size_t{random.below(static_cast<uint32_t>(size))}}) {
            t.index = static_cast<int32_t>(row);
            const Bytes expected = plainWalk(t);
            ASSERT_TRUE(inverse(t) == expected) << size << " " << row;
            if (size > 32768) continue;
            ASSERT_TRUE(inverse(t, Size::small, Guard::before) == expected) << size << " " << row;
        }
    }
}

// Rows of blocks above 8 MiB need more bits than those below. Blocks of long runs and a few other
// bytes keep the walk near the cache, and have fewer lanes. It begins far from the first row.
TEST(Bwt, InverseAroundEightMebibytes) {
    for (const size_t size : {size_t{1} << 23, (size_t{1} << 23) + 1}) {
        Transformed t{Bytes(size, 'a'), 5'000'000};
        for (size_t i = 0; i < size; i += 70001)
            t.bytes[i] = static_cast<uint8_t>(i >> 12);
        EXPECT_TRUE(inverse(t) == plainWalk(t)) << size;
    }
}

TEST(Bwt, Statuses) {
    uint8_t byte[4] = {7, 8, 9, 10};
    uint8_t out[4] = {};
    Bytes work(80000);
    int32_t value = 1234;
    EXPECT_EQ(zelsBWTFwdGetSize_8u(0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsBWTFwdGetSize_8u(0, &value), zelStsBadSize);
    EXPECT_EQ(zelsBWTFwdGetSize_8u(-5, &value), zelStsBadSize);
    EXPECT_EQ(zelsBWTFwdGetSize_8u(357902251, &value), zelStsBadSize);
    EXPECT_EQ(zelsBWTFwdGetSize_8u(INT32_MAX, &value), zelStsBadSize);
    EXPECT_EQ(zelsBWTGetSize_SmallBlock_8u(0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsBWTGetSize_SmallBlock_8u(0, &value), zelStsBadSize);
    EXPECT_EQ(zelsBWTGetSize_SmallBlock_8u(32769, &value), zelStsBadSize);
    EXPECT_EQ(zelsBWTInvGetSize_8u(-1, nullptr), zelStsNullPointer);
    EXPECT_EQ(value, 1234);

    const auto sizeBy = [&](GetSizeOp op, int32_t len) {
        EXPECT_EQ(op(len, &value), zelStsOk);
        return value;
    };
    EXPECT_EQ(sizeBy(zelsBWTFwdGetSize_8u, 1), 70151);
    EXPECT_EQ(sizeBy(zelsBWTFwdGetSize_8u, 900000), 5470145);
    EXPECT_EQ(sizeBy(zelsBWTFwdGetSize_8u, 357902250), 2147483645);
    EXPECT_EQ(sizeBy(zelsBWTInvGetSize_8u, -3), 1012);
    EXPECT_EQ(sizeBy(zelsBWTInvGetSize_8u, 900000), 3601024);
    EXPECT_EQ(sizeBy(zelsBWTInvGetSize_8u, INT32_MAX), 1020);
    EXPECT_EQ(sizeBy(zelsBWTGetSize_SmallBlock_8u, 32768), 133152);

    for (const Size size : {Size::large, Size::small}) {
        const Family ops = family(size);
        value = 1234;
        out[0] = 0;
        EXPECT_EQ(ops.forward(nullptr, out, 0, &value, work.data()), zelStsNullPointer);
        EXPECT_EQ(ops.forward(byte, nullptr, 0, &value, work.data()), zelStsNullPointer);
        EXPECT_EQ(ops.forward(byte, out, 0, nullptr, work.data()), zelStsNullPointer);
        EXPECT_EQ(ops.forward(byte, out, 0, &value, nullptr), zelStsNullPointer);
        EXPECT_EQ(ops.forward(byte, out, 0, &value, work.data()), zelStsBadSize);
        EXPECT_EQ(value, 1234);

        // A length below two is a copy before anything is tested.
        EXPECT_EQ(ops.inverse(nullptr, out, 1, 9, nullptr), zelStsNullPointer);
        EXPECT_EQ(ops.inverse(byte, nullptr, -1, 0, work.data()), zelStsNullPointer);
        EXPECT_EQ(ops.inverse(byte, out, 0, 0, nullptr), zelStsBadSize);
        EXPECT_EQ(out[0], 0);
        EXPECT_EQ(ops.inverse(byte, out, 1, 77, nullptr), zelStsOk);
        EXPECT_EQ(out[0], 7);
        out[0] = 0;
        EXPECT_EQ(ops.inverse(nullptr, out, 3, 3, work.data()), zelStsNullPointer);
        EXPECT_EQ(ops.inverse(byte, nullptr, 3, 3, work.data()), zelStsNullPointer);
        EXPECT_EQ(ops.inverse(byte, out, 3, 3, nullptr), zelStsNullPointer);
        EXPECT_EQ(ops.inverse(byte, out, 3, 3, work.data()), zelStsBadSize);
        EXPECT_EQ(out[0], 0);
        EXPECT_EQ(ops.inverse(byte, out, 3, 2, work.data()), zelStsOk);
    }
    EXPECT_EQ(zelsBWTFwd_SmallBlock_8u(byte, out, 32769, &value, work.data()), zelStsBadSize);
    EXPECT_EQ(zelsBWTInv_SmallBlock_8u(byte, out, 32769, 0, work.data()), zelStsBadSize);
}

}  // namespace
