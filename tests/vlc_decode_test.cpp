// Decoding against prefix comparison, in memory that ends where reading ahead must.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "support/guarded_buffer.hpp"
#include "support/vlc_model.hpp"

namespace {

using support::Bits;
using support::GuardedBuffer;
using support::Random;
using support::VlcCode;

struct Tuple {
    int32_t length = 0;  // 0: plain values
    int32_t width = 0;
};

class Spec {
  public:
    explicit Spec(const VlcCode& code, Tuple tuple = {}) {
        const ZelStatus status =
            tuple.length == 0
                ? zelsVLCDecodeInitAlloc_32s(code.records.data(), code.count(), code.widths.data(),
                                             code.widthCount(), &spec_)
                : zelsVLCDecodeUTupleInitAlloc_32s(code.records.data(), code.count(),
                                                   code.widths.data(), code.widthCount(),
                                                   tuple.length, tuple.width, &spec_);
        EXPECT_EQ(status, zelStsOk);
    }
    ~Spec() { zelsVLCDecodeFree_32s(spec_); }
    Spec(const Spec&) = delete;
    Spec& operator=(const Spec&) = delete;
    operator const VlcDecodeSpec*() const { return spec_; }  // NOLINT: used as the object it holds

  private:
    VlcDecodeSpec* spec_ = nullptr;
};

// What the bits from `position` on decode to: `units` codes at most, up to the first that is none.
struct Expected {
    std::vector<int16_t> values;
    size_t end;
    bool complete;
};

Expected modelDecode(const VlcCode& code, Tuple tuple, const Bits& stream, size_t position,
                     size_t units) {
    Expected result{{}, position, true};
    for (size_t unit = 0; unit < units; ++unit) {
        const int32_t record = code.match(stream, result.end);
        if (record < 0) {
            result.complete = false;
            return result;
        }
        const auto i = static_cast<size_t>(record);
        result.end += static_cast<size_t>(code.records[i].length);
        if (tuple.length == 0) result.values.push_back(static_cast<int16_t>(code.records[i].value));
        for (int32_t j = tuple.length; j-- > 0;) {
            const auto packed = static_cast<uint32_t>(code.records[i].value);
            int32_t element =
                static_cast<int32_t>(packed >> (j * tuple.width) & ((1U << tuple.width) - 1));
            if (element != 0 && stream[result.end++] == '1') element = -element;
            result.values.push_back(static_cast<int16_t>(element));
        }
    }
    return result;
}

using Block = ZelStatus (*)(const uint8_t**, int32_t*, int16_t*, int32_t, const VlcDecodeSpec*);
using One = ZelStatus (*)(const uint8_t**, int32_t*, int16_t*, const VlcDecodeSpec*);

// Decodes `count` values from bit `start` of `stream`, laid from a word boundary on, and compares
// everything. The memory ends behind the word after the one of the last consumed bit, and so does
// the destination behind the last value, which lies at an odd address.
void expectDecoded(const VlcCode& code, Tuple tuple, const VlcDecodeSpec* spec, const Bits& stream,
                   size_t start, size_t units) {
    const size_t unit = tuple.length == 0 ? 1 : static_cast<size_t>(tuple.length);
    const Expected expected = modelDecode(code, tuple, stream, start, units);
    const size_t lastWord = expected.end == start ? start / 32 : (expected.end - 1) / 32;
    GuardedBuffer in((lastWord + 2) * 4);
    for (size_t i = 0; i < in.size() * 8 && i < stream.size(); ++i)
        in[i / 8] = static_cast<uint8_t>(in[i / 8] | (stream[i] - '0') << (7 - i % 8));
    const size_t room = unit * units;
    GuardedBuffer out(room * 2 + 1);
    std::memset(out.data(), 0x5A, out.size());
    const uint8_t* next = in.data() + start / 8;
    auto offset = static_cast<int32_t>(start % 8);
    auto* const dst = reinterpret_cast<int16_t*>(out.data() + 1);
    ZelStatus status = zelStsOk;
    if (units == 1) {
        const One one = tuple.length == 0 ? zelsVLCDecodeOne_1u16s : zelsVLCDecodeUTupleOne_1u16s;
        status = one(&next, &offset, dst, spec);
    } else {
        const Block block =
            tuple.length == 0 ? zelsVLCDecodeBlock_1u16s : zelsVLCDecodeUTupleBlock_1u16s;
        // A part of a tuple more does not count.
        status = block(&next, &offset, dst, static_cast<int32_t>(room + unit - 1), spec);
    }
    ASSERT_EQ(status, expected.complete ? zelStsOk : zelStsBadData);
    ASSERT_EQ(static_cast<size_t>(next - in.data()) * 8 + static_cast<size_t>(offset),
              expected.end);
    ASSERT_LE(static_cast<uint32_t>(offset), 7U);
    std::vector<int16_t> values(expected.values.size());
    if (!values.empty()) std::memcpy(values.data(), out.data() + 1, values.size() * 2);
    ASSERT_EQ(values, expected.values);
    for (size_t i = 1 + 2 * values.size(); i < out.size(); ++i)
        ASSERT_EQ(out[i], 0x5A) << "written behind the last value";
}

Bits randomBits(Random& random, size_t count) {
    Bits bits(count, '0');
    for (auto& bit : bits)
        bit = static_cast<char>('0' + (random.next() >> 40 & 1));
    return bits;
}

// Codes of the records, with random signs in between, and random bits behind.
Bits validStream(Random& random, const VlcCode& code, Tuple tuple, size_t start, size_t units) {
    Bits stream = randomBits(random, start);
    for (size_t unit = 0; unit < units; ++unit) {
        const size_t record = random.below(static_cast<uint32_t>(code.records.size()));
        stream += code.bitsOf(record);
        if (tuple.length != 0) stream += randomBits(random, 32);
        const auto value = static_cast<uint32_t>(code.records[record].value);
        if (tuple.length == 0) continue;
        stream.resize(stream.size() - 32);
        for (int32_t j = 0; j < tuple.length; ++j) {
            if ((value >> (j * tuple.width) & ((1U << tuple.width) - 1)) != 0)
                stream += randomBits(random, 1);
        }
    }
    return stream + randomBits(random, 128);
}

constexpr Tuple kForms[] = {{}, {2, 4}, {}, {4, 3}, {}, {1, 20}, {3, 5}, {7, 2}, {}, {26, 1}};

VlcCode codeFor(Random& random, Tuple tuple, int32_t longest, size_t count) {
    VlcCode code = support::randomCode(random, count, longest, 100 - random.below(4) * 20,
                                       tuple.length == 0 ? 1 + random.below(17) + 8 : 26);
    if (tuple.length != 0) {
        for (auto& record : code.records) {  // about half of the elements zero
            for (int32_t j = 0; j < tuple.length; ++j) {
                if (random.below(2) == 0)
                    record.value &=
                        ~static_cast<int32_t>(((1U << tuple.width) - 1) << (j * tuple.width));
            }
        }
    }
    return code;
}

TEST(VlcDecode, EqualsPrefixComparison) {
    Random random(3);
    const int32_t longest[] = {1, 2, 4, 7, 8, 9, 12, 16, 25, 31, 32};
    for (int round = 0; round < 330; ++round) {
        SCOPED_TRACE(round);
        const Tuple tuple = kForms[round % 10];
        VlcCode code = codeFor(random, tuple, longest[round % 11], 2 + random.sizeBelow(90));
        // First levels from one bit to beyond what a window holds several of.
        support::randomWidths(random, code, 1 + random.below(18));
        const Spec spec(code, tuple);
        const size_t start = static_cast<size_t>(round) % 64;
        const size_t units = round % 4 == 0 ? 1 : 1 + random.below(60);
        const Bits valid = validStream(random, code, tuple, start, units);
        expectDecoded(code, tuple, spec, valid, start, units);
        // More asked for than is valid: the random bits behind break off somewhere.
        expectDecoded(code, tuple, spec, valid + randomBits(random, 64 * 70), start, units + 60);
        if (testing::Test::HasFatalFailure()) return;
    }
}

// Codes of every length behind every place of a word: the longest ones begin in one word or byte
// and are told apart by their last bit only.
TEST(VlcDecode, LongestCodesAtEveryPlace) {
    Random random(10);
    for (const Tuple tuple : {Tuple{}, Tuple{3, 2}}) {
        for (const auto& widths : {std::vector<int32_t>{8, 8, 8, 8}, {1, 15, 4, 12}, {11, 5, 16}}) {
            VlcCode code{{}, widths};
            for (int32_t length = 1; length <= 32; ++length)
                code.records.push_back({length, -2, length});
            code.records.push_back({33, -1, 32});
            const Spec spec(code, tuple);
            for (size_t i = 0; i < code.records.size(); ++i) {
                for (size_t start = 0; start < 32; ++start) {
                    SCOPED_TRACE(testing::Message() << "record " << i << " at bit " << start);
                    const Bits stream =
                        randomBits(random, start) + code.bitsOf(i) + randomBits(random, 512);
                    expectDecoded(code, tuple, spec, stream, start, 1 + start % 2 * 2);
                    if (testing::Test::HasFatalFailure()) return;
                }
            }
        }
    }
}

// Blocks that are long enough for a table of their own, valid to the end or to some place in it.
TEST(VlcDecode, LongBlocks) {
    Random random(5);
    const int32_t longest[] = {3, 10, 11, 12, 20, 32};
    for (int round = 0; round < 36; ++round) {
        SCOPED_TRACE(round);
        const Tuple tuple = round % 2 == 0 ? Tuple{} : Tuple{2 + 2 * (round / 2 % 2), 4};
        VlcCode code = codeFor(random, tuple, longest[round % 6], 2 + random.sizeBelow(40));
        randomWidths(random, code, 1 + random.below(14));
        const Spec spec(code, tuple);
        const size_t units = 8192 + random.below(64);
        const size_t valid = round % 3 == 0 ? random.below(200) : units;
        const size_t start = static_cast<size_t>(round) % 32;
        Bits stream = validStream(random, code, tuple, start, valid);
        if (valid < units) stream += randomBits(random, units * 36);
        expectDecoded(code, tuple, spec, stream, start, units);
        if (testing::Test::HasFatalFailure()) return;
    }
}

// Where codes hide parts of others, a block decodes as its values do one by one, however long.
TEST(VlcDecode, LongBlocksOfCodesThatHideOthers) {
    Random random(6);
    for (const int32_t firstWidth : {3, 8, 13}) {
        for (const Tuple tuple : {Tuple{}, Tuple{2, 5}, Tuple{4, 2}}) {
            VlcCode code{{{1, 0, 1}, {2, 1, 1}}, {firstWidth}};
            for (int32_t value = 3; value < 40; ++value) {
                code.records.push_back(
                    {value, static_cast<int32_t>(random.next() >> 33),
                     1 + static_cast<int32_t>(random.below(static_cast<uint32_t>(firstWidth)))});
            }
            code.records.push_back({99, -1, firstWidth});
            const Spec spec(code, tuple);
            const size_t unit = tuple.length == 0 ? 1 : static_cast<size_t>(tuple.length);
            const size_t units = 8192;
            const support::Bytes stream = support::randomBytes(units * 4, 7);
            std::vector<int16_t> singly(units * unit);
            const uint8_t* next = stream.data();
            int32_t offset = 0;
            for (size_t i = 0; i < singly.size(); i += unit) {
                const One one =
                    tuple.length == 0 ? zelsVLCDecodeOne_1u16s : zelsVLCDecodeUTupleOne_1u16s;
                ASSERT_EQ(one(&next, &offset, singly.data() + i, spec), zelStsOk);
            }
            std::vector<int16_t> together(singly.size());
            const uint8_t* blockNext = stream.data();
            int32_t blockOffset = 0;
            const Block block =
                tuple.length == 0 ? zelsVLCDecodeBlock_1u16s : zelsVLCDecodeUTupleBlock_1u16s;
            ASSERT_EQ(block(&blockNext, &blockOffset, together.data(),
                            static_cast<int32_t>(together.size()), spec),
                      zelStsOk);
            EXPECT_EQ(together, singly);
            EXPECT_EQ(blockNext, next);
            EXPECT_EQ(blockOffset, offset);
        }
    }
}

// The only code is one bit long, so that bad bits can follow at every place of a word.
TEST(VlcDecode, StopsAtBitsThatAreNoCode) {
    for (const Tuple tuple : {Tuple{}, Tuple{1, 1}}) {
        for (const int32_t longest : {1, 9, 32}) {
            VlcCode code{{{1, 0, 1}}, {1, 8, 9, 14}};
            if (longest > 1) code.records.push_back({0, -1, longest});
            const Spec spec(code, tuple);
            const size_t step = tuple.length == 0 ? 1 : 2;
            for (size_t good = 0; good < 100; ++good) {
                for (const size_t start : {0U, 1U, 31U}) {
                    Bits stream(start + good * step, '0');
                    stream += Bits(8, '1') + Bits(200, '0');
                    expectDecoded(code, tuple, spec, stream, start, good + 2);
                    if (testing::Test::HasFatalFailure()) return;
                }
            }
        }
    }
}

// As many signs behind a code as there can be.
TEST(VlcDecode, ThirtySignsAtEveryPlace) {
    const Tuple tuple{30, 1};
    const VlcCode code{{{0x3FFFFFFF, 0, 1}, {0x20000001, 1, 1}}, {1}};
    const Spec spec(code, tuple);
    Random random(11);
    for (size_t start = 0; start < 32; ++start) {
        SCOPED_TRACE(start);
        const Bits signs = randomBits(random, 300);
        expectDecoded(code, tuple, spec, Bits(start, '1') + '0' + signs, start, 1);
        expectDecoded(code, tuple, spec, Bits(start, '1') + '0' + signs, start, 5);
    }
}

TEST(VlcDecode, WorkedExample) {
    const VlcCode code{{{7, 0, 1}, {-3, 2, 2}, {1, 3, 2}}, {2}};
    const Spec spec(code);
    alignas(4) const uint8_t data[8] = {0x58};
    const uint8_t* stream = data;
    int32_t offset = 0;
    int16_t values[4] = {};
    ASSERT_EQ(zelsVLCDecodeBlock_1u16s(&stream, &offset, values, 4, spec), zelStsOk);
    EXPECT_EQ(std::vector<int16_t>(values, values + 4), std::vector<int16_t>({7, -3, 1, 7}));
    EXPECT_EQ(stream, data);
    EXPECT_EQ(offset, 6);
}

// An element's sign is there if any of its bits is set, also one that the 16-bit result lacks.
TEST(VlcDecode, WideElements) {
    const Tuple tuple{1, 20};
    const VlcCode code{{{0x50000, 0, 1}, {0x4FFFF, 2, 2}, {0, 3, 2}}, {1, 1}};
    const Spec spec(code, tuple);
    Random random(9);
    expectDecoded(code, tuple, spec, validStream(random, code, tuple, 3, 100), 3, 100);
    expectDecoded(code, tuple, spec, "0111010", 0, 3);
}

TEST(VlcDecode, ArgumentsInOrder) {
    const VlcCode code{{{1, 0, 1}, {2, 1, 1}}, {1}};
    const Spec plain(code);
    const Spec tuples(code, {1, 2});
    GuardedBuffer copy(512);
    VlcDecodeSpec* freed = nullptr;
    ASSERT_EQ(zelsVLCDecodeInitAlloc_32s(code.records.data(), 2, code.widths.data(), 1, &freed),
              zelStsOk);
    std::memcpy(copy.data(), freed, 88);
    zelsVLCDecodeFree_32s(freed);
    std::memset(copy.data(), 0, 8);  // as Free leaves it
    const auto* untagged = reinterpret_cast<const VlcDecodeSpec*>(copy.data());

    const uint8_t data[8] = {};
    for (const bool isTuple : {false, true}) {
        const Block block = isTuple ? zelsVLCDecodeUTupleBlock_1u16s : zelsVLCDecodeBlock_1u16s;
        const One one = isTuple ? zelsVLCDecodeUTupleOne_1u16s : zelsVLCDecodeOne_1u16s;
        const VlcDecodeSpec* spec = isTuple ? tuples : plain;
        int16_t dst[4] = {};
        const uint8_t* stream = data;
        const uint8_t* none = nullptr;
        int32_t offset = 3;
        int32_t bad = 8;
        int32_t negative = -1;
        struct Case {
            const uint8_t** stream;
            int32_t* offset;
            int16_t* dst;
            const VlcDecodeSpec* spec;
            ZelStatus expected;
        };
        const Case cases[] = {
            {nullptr, &bad, dst, untagged, zelStsNullPointer},
            {&none, &bad, dst, untagged, zelStsNullPointer},
            {&stream, nullptr, dst, untagged, zelStsNullPointer},
            {&stream, &bad, nullptr, untagged, zelStsNullPointer},
            {&stream, &bad, dst, nullptr, zelStsNullPointer},
            {&stream, &bad, dst, spec, zelStsVlcSpecErr},
            {&stream, &negative, dst, spec, zelStsVlcSpecErr},
            {&stream, &offset, dst, untagged, zelStsVlcSpecErr},
        };
        for (const Case& c : cases) {
            SCOPED_TRACE(&c - cases);
            EXPECT_EQ(block(c.stream, c.offset, c.dst, 0, c.spec), c.expected);
            EXPECT_EQ(one(c.stream, c.offset, c.dst, c.spec), c.expected);
        }
        for (const int32_t count : {0, -1, INT_MIN})
            EXPECT_EQ(block(&stream, &offset, dst, count, spec), zelStsOk);
        EXPECT_EQ(stream, data);
        EXPECT_EQ(offset, 3);
        if (isTuple) {
            EXPECT_EQ(block(&stream, &offset, dst, 1, plain), zelStsVlcSpecErr);
        }
    }
}

}  // namespace
