// Encoding: the object's tables, every byte of the stream's words, and the way back.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "support/guarded_buffer.hpp"
#include "support/no_memory.hpp"
#include "support/vlc_model.hpp"

namespace {

using support::Bits;
using support::Bytes;
using support::GuardedBuffer;
using support::Random;
using support::VlcCode;

// A spec in memory of exactly its size, `shift` (0..31) bytes before an unreadable page.
struct Built {
    explicit Built(const std::vector<VlcCodeRecord>& records, size_t shift = 0)
        : count(static_cast<int32_t>(records.size())),
          status(zelsVLCEncodeGetSize_32s(records.data(), count, &size)),
          memory(static_cast<size_t>(size) + shift),
          tail(shift) {
        std::memset(memory.data(), 0xA5, memory.size());
        if (status == zelStsOk) status = zelsVLCEncodeInit_32s(records.data(), count, spec());
        header = start() + (-reinterpret_cast<uintptr_t>(start()) & 31);
        for (size_t i = 0; i < tail; ++i)
            EXPECT_EQ(memory.end()[-1 - static_cast<int>(i)], 0xA5);
    }
    uint8_t* start() { return memory.data(); }
    VlcEncodeSpec* spec() { return reinterpret_cast<VlcEncodeSpec*>(start()); }
    uint32_t word(size_t i) const {
        uint32_t value;
        std::memcpy(&value, header + 4 * i, 4);
        return value;
    }

    int32_t count;
    int32_t size = 0;
    ZelStatus status;
    GuardedBuffer memory;
    size_t tail;
    uint8_t* header;
};

TEST(VlcEncode, TablesByValue) {
    // -2..5 with gaps; the second record of 3 loses; junk above the lengths goes.
    const std::vector<VlcCodeRecord> records{
        {3, 0x7F2, 4}, {-2, -1, 32}, {5, 1, 1}, {3, 7, 3}, {0, 0, 2}};
    for (size_t shift = 0; shift < 32; ++shift) {
        Built built(records, shift);
        ASSERT_EQ(built.status, zelStsOk);
        EXPECT_EQ(built.size, (16 + 8) * 4 + 64);
        const auto table = static_cast<uint32_t>(
            reinterpret_cast<uintptr_t>(built.header) + 32 -
            (sizeof(void*) == 4 ? 0 : reinterpret_cast<uintptr_t>(built.header)));
        const std::vector<uint32_t> expected{table, 2, 4, 0, 0x434D415F};
        for (size_t i = 0; i < 5; ++i)
            EXPECT_EQ(built.word(i), expected[i]) << i;
        const std::vector<uint32_t> lengths{32, 0, 2, 0, 0, 4, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
        const std::vector<uint32_t> codes{0xFFFFFFFF, 0, 0, 0, 0, 2, 0, 1};
        for (size_t i = 0; i < 16; ++i)
            EXPECT_EQ(built.word(8 + i), lengths[i]) << i;
        for (size_t i = 0; i < 8; ++i)
            EXPECT_EQ(built.word(24 + i), codes[i]) << i;
    }
    EXPECT_EQ(Built({{77, 1, 1}}).size, 76);
}

TEST(VlcEncode, SizesAndRefusals) {
    struct Case {
        std::vector<VlcCodeRecord> records;
        ZelStatus sized;
        int32_t size;
        ZelStatus built;
    };
    const int32_t tooWide = 0x10000000;  // 2^29 + 2^28 + 1 entries
    const Case cases[] = {
        {{{INT_MIN, 0, 1}, {INT_MIN, 1, 1}}, zelStsOk, 76, zelStsOk},
        {{{INT_MAX, 0, 0}}, zelStsOk, 76, zelStsVlcSpecErr},
        {{{1, 0, 33}}, zelStsOk, 76, zelStsVlcSpecErr},
        {{{1, 0, 1}, {2, 0, -3}}, zelStsOk, (4 + 2) * 4 + 64, zelStsVlcSpecErr},
        {{{0, 0, 1}, {tooWide, 1, 1}}, zelStsVlcSpecErr, -5, zelStsVlcSpecErr},
        {{{INT_MIN, 0, 1}, {-2, 1, 1}}, zelStsVlcSpecErr, -5, zelStsVlcSpecErr},
        // R + 1 = 2^31 and 2^32.
        {{{INT_MIN, 0, 1}, {-1, 1, 1}}, zelStsOk, 4 + 64, zelStsVlcSpecErr},
        {{{INT_MIN, 0, 1}, {INT_MAX, 1, 1}}, zelStsOk, 4 + 64, zelStsVlcSpecErr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        const auto count = static_cast<int32_t>(c.records.size());
        int32_t size = -5;
        EXPECT_EQ(zelsVLCEncodeGetSize_32s(c.records.data(), count, &size), c.sized);
        EXPECT_EQ(size, c.size);
        GuardedBuffer memory(76);
        auto* const spec = reinterpret_cast<VlcEncodeSpec*>(memory.data());
        EXPECT_EQ(zelsVLCEncodeInit_32s(c.records.data(), count, spec), c.built);
        if (c.built != zelStsOk) {
            EXPECT_EQ(memory.content(), Bytes(76));
        }
        VlcEncodeSpec* allocated = nullptr;
        EXPECT_EQ(zelsVLCEncodeInitAlloc_32s(c.records.data(), count, &allocated), c.built);
        EXPECT_EQ(allocated != nullptr, c.built == zelStsOk);
        if (allocated == nullptr) continue;
        EXPECT_EQ(reinterpret_cast<uint32_t*>(allocated)[3], 1U);
        zelsVLCEncodeFree_32s(allocated);
    }
    const VlcCodeRecord one{1, 0, 1};
    int32_t size = 0;
    VlcEncodeSpec* spec = nullptr;
    EXPECT_EQ(zelsVLCEncodeGetSize_32s(nullptr, 0, &size), zelStsNullPointer);
    EXPECT_EQ(zelsVLCEncodeGetSize_32s(&one, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsVLCEncodeGetSize_32s(&one, 0, &size), zelStsVlcSpecErr);
    EXPECT_EQ(zelsVLCEncodeInit_32s(&one, -1, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsVLCEncodeInitAlloc_32s(&one, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsVLCEncodeInitAlloc_32s(&one, 0, &spec), zelStsVlcSpecErr);
    const support::NoMemory noMemory;
    EXPECT_EQ(zelsVLCEncodeInitAlloc_32s(&one, 1, &spec), zelStsNoMemory);
    EXPECT_EQ(spec, nullptr);
}

// Memory as the bit writer leaves it, code by code and bit by bit: what follows a code in its word
// is ones, or the plain integer's bits of the old word when the code came over into it.
class ModelWriter {
  public:
    ModelWriter(Bytes memory, size_t position) : memory_(std::move(memory)), position_(position) {}
    void put(const Bits& code) {
        const size_t firstWord = position_ / 32;
        const size_t lastWord = (position_ + code.size() - 1) / 32;
        const uint32_t old = plainWord(lastWord);
        for (const char bit : code)
            set(position_++, bit == '1');
        for (size_t i = position_; i % 32 != 0; ++i)
            set(i, firstWord == lastWord || (old >> (31 - i % 32) & 1) != 0);
    }
    const Bytes& memory() const { return memory_; }
    size_t position() const { return position_; }

  private:
    uint32_t plainWord(size_t word) const {
        uint32_t value = 0;
        for (size_t i = 4; i-- > 0;)
            value = value << 8 | memory_[word * 4 + i];
        return value;
    }
    void set(size_t i, bool bit) {
        const auto mask = static_cast<uint8_t>(0x80 >> i % 8);
        memory_[i / 8] = static_cast<uint8_t>(bit ? memory_[i / 8] | mask : memory_[i / 8] & ~mask);
    }

    Bytes memory_;
    size_t position_;
};

TEST(VlcEncode, WritesEveryByteAsTheBitWriterAndDecodesBack) {
    Random random(4);
    const int32_t longest[] = {1, 5, 9, 16, 32};
    for (int round = 0; round < 320; ++round) {
        SCOPED_TRACE(round);
        VlcCode code = support::randomCode(random, 2 + random.sizeBelow(60), longest[round % 5],
                                           70 + random.below(31), 7 + random.below(8));
        support::randomWidths(random, code, 9);
        // One value of the alphabet may have no code; it ends the block.
        const bool broken = round % 4 == 3;
        Built built(code.records, static_cast<size_t>(round) % 32);
        ASSERT_EQ(built.status, zelStsOk);
        const size_t start = static_cast<size_t>(round) % 32;
        std::vector<int16_t> values;
        std::vector<size_t> chosen(1 + random.below(40));
        size_t bits = start;
        for (size_t& record : chosen) {
            record = random.below(static_cast<uint32_t>(code.records.size()));
            bits += static_cast<size_t>(code.records[record].length);
            values.push_back(static_cast<int16_t>(code.records[record].value));
        }
        const auto sound = static_cast<int32_t>(values.size());
        if (broken) values.push_back(-32768);
        const auto count = static_cast<int32_t>(values.size());

        // The memory ends with the word of the last bit.
        const Bytes noise =
            support::randomBytes((bits + 31) / 32 * 4, static_cast<uint64_t>(round));
        ModelWriter model(noise, start);
        for (const size_t record : chosen)
            model.put(code.bitsOf(record));

        GuardedBuffer byBlock(noise);
        uint8_t* next = byBlock.data() + start / 8;
        auto offset = static_cast<int32_t>(start % 8);
        ASSERT_EQ(zelsVLCEncodeBlock_16s1u(values.data(), count, &next, &offset, built.spec()),
                  broken ? zelStsVlcSpecErr : zelStsOk);
        EXPECT_EQ(static_cast<size_t>(next - byBlock.data()) * 8 + static_cast<size_t>(offset),
                  bits);
        ASSERT_EQ(byBlock.content(), model.memory());

        GuardedBuffer byOne(noise);
        GuardedBuffer bySteps(noise);
        next = byOne.data() + start / 8;
        offset = static_cast<int32_t>(start % 8) - 8 * (round % 3);
        uint8_t* step = bySteps.data() + start / 8;
        auto freeBits = 32 - static_cast<int32_t>(start);
        for (size_t i = 0; i < chosen.size(); ++i) {
            ASSERT_EQ(zelsVLCEncodeOne_16s1u(values[i], &next, &offset, built.spec()), zelStsOk);
            ASSERT_GE(offset, 0);
            const auto& record = code.records[chosen[i]];
            ownzelsPutBitsRightMost(&step, &freeBits, static_cast<uint32_t>(record.code),
                                    record.length);
        }
        if (broken) {
            EXPECT_EQ(zelsVLCEncodeOne_16s1u(-32768, &next, &offset, built.spec()),
                      zelStsVlcSpecErr);
        }
        EXPECT_EQ(static_cast<size_t>(next - byOne.data()) * 8 + static_cast<size_t>(offset), bits);
        ASSERT_EQ(byOne.content(), model.memory());
        EXPECT_EQ(static_cast<size_t>(step - bySteps.data()), bits / 32 * 4);
        EXPECT_EQ(freeBits, 32 - static_cast<int32_t>(bits % 32));
        ASSERT_EQ(bySteps.content(), model.memory());

        int32_t counted = -5;
        EXPECT_EQ(zelsVLCCountBits_16s32s(values.data(), sound, &counted, built.spec()), zelStsOk);
        EXPECT_EQ(static_cast<size_t>(counted), bits - start);
        if (broken) {
            EXPECT_EQ(zelsVLCCountBits_16s32s(values.data(), count, &counted, built.spec()),
                      zelStsVlcSpecErr);
            EXPECT_EQ(static_cast<size_t>(counted), bits - start);
        }

        VlcDecodeSpec* decoder = nullptr;
        ASSERT_EQ(zelsVLCDecodeInitAlloc_32s(code.records.data(), code.count(), code.widths.data(),
                                             code.widthCount(), &decoder),
                  zelStsOk);
        Bytes padded = byBlock.content();
        padded.resize(padded.size() + 4);
        const GuardedBuffer in(padded);
        std::vector<int16_t> decoded(static_cast<size_t>(sound));
        const uint8_t* read = in.data() + start / 8;
        offset = static_cast<int32_t>(start % 8);
        EXPECT_EQ(zelsVLCDecodeBlock_1u16s(&read, &offset, decoded.data(), sound, decoder),
                  zelStsOk);
        values.resize(chosen.size());
        EXPECT_EQ(decoded, values);
        zelsVLCDecodeFree_32s(decoder);
    }
}

TEST(VlcEncode, ArgumentsInOrderAndValuesWithoutCode) {
    Built built({{-1, 0, 1}, {1, 1, 1}});
    Built released({{-1, 0, 1}, {1, 1, 1}});
    zelsVLCEncodeFree_32s(released.spec());
    zelsVLCEncodeFree_32s(nullptr);
    EXPECT_EQ(released.word(4), 0U);
    const int16_t values[2] = {1, 1};
    GuardedBuffer out(4);
    uint8_t* next = out.data();
    uint8_t* none = nullptr;
    int32_t offset = 2;
    int32_t bad = 8;
    int32_t bits = -5;
    auto* const spec = built.spec();
    auto* const untagged = released.spec();
    const ZelStatus expected[] = {
        zelStsNullPointer, zelStsNullPointer, zelStsNullPointer, zelStsNullPointer,
        zelStsNullPointer, zelStsVlcSpecErr,  zelStsVlcSpecErr,  zelStsVlcSpecErr,
        zelStsNullPointer, zelStsNullPointer, zelStsNullPointer, zelStsNullPointer,
        zelStsVlcSpecErr,  zelStsNullPointer, zelStsNullPointer, zelStsNullPointer,
        zelStsVlcSpecErr,  zelStsVlcSpecErr,
    };
    const ZelStatus actual[] = {
        zelsVLCEncodeBlock_16s1u(nullptr, 0, &next, &offset, spec),
        zelsVLCEncodeBlock_16s1u(values, 0, nullptr, &offset, spec),
        zelsVLCEncodeBlock_16s1u(values, 0, &none, &offset, spec),
        zelsVLCEncodeBlock_16s1u(values, 0, &next, nullptr, spec),
        zelsVLCEncodeBlock_16s1u(values, 0, &next, &offset, nullptr),
        zelsVLCEncodeBlock_16s1u(values, 0, &next, &offset, spec),
        zelsVLCEncodeBlock_16s1u(values, 2, &next, &bad, spec),
        zelsVLCEncodeBlock_16s1u(values, 2, &next, &offset, untagged),
        zelsVLCEncodeOne_16s1u(1, nullptr, &offset, spec),
        zelsVLCEncodeOne_16s1u(1, &none, &offset, spec),
        zelsVLCEncodeOne_16s1u(1, &next, nullptr, spec),
        zelsVLCEncodeOne_16s1u(1, &next, &offset, nullptr),
        zelsVLCEncodeOne_16s1u(1, &next, &offset, untagged),
        zelsVLCCountBits_16s32s(nullptr, 0, &bits, spec),
        zelsVLCCountBits_16s32s(values, 0, nullptr, spec),
        zelsVLCCountBits_16s32s(values, 0, &bits, nullptr),
        zelsVLCCountBits_16s32s(values, 0, &bits, spec),
        zelsVLCCountBits_16s32s(values, 2, &bits, untagged),
    };
    for (size_t i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(actual[i], expected[i]) << i;
    // Between, below and above the records' values, and beyond the length table.
    for (const int16_t value : {0, -2, 2, 3, 5, 6, 100, -32768, 32767}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(zelsVLCEncodeBlock_16s1u(&value, 1, &next, &offset, spec), zelStsVlcSpecErr);
        EXPECT_EQ(zelsVLCEncodeOne_16s1u(value, &next, &offset, spec), zelStsVlcSpecErr);
        EXPECT_EQ(zelsVLCCountBits_16s32s(&value, 1, &bits, spec), zelStsVlcSpecErr);
    }
    EXPECT_EQ(next, out.data());
    EXPECT_EQ(offset, 2);
    EXPECT_EQ(bits, -5);
    EXPECT_EQ(out.content(), Bytes(4));
}

}  // namespace
