// Decoding tables: sizes, layouts and refusals.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "support/guarded_buffer.hpp"
#include "support/vlc_model.hpp"

namespace {

using support::Bits;
using support::GuardedBuffer;
using support::Random;
using support::VlcCode;

struct Tuple {
    int32_t length;
    int32_t width;
};

ZelStatus getSize(const VlcCode& code, int32_t* size, const Tuple* tuple = nullptr) {
    return tuple == nullptr ? zelsVLCDecodeGetSize_32s(code.records.data(), code.count(),
                                                       code.widths.data(), code.widthCount(), size)
                            : zelsVLCDecodeUTupleGetSize_32s(code.records.data(), code.count(),
                                                             code.widths.data(), code.widthCount(),
                                                             tuple->length, tuple->width, size);
}

ZelStatus init(const VlcCode& code, VlcDecodeSpec* spec, const Tuple* tuple = nullptr) {
    return tuple == nullptr
               ? zelsVLCDecodeInit_32s(code.records.data(), code.count(), code.widths.data(),
                                       code.widthCount(), spec)
               : zelsVLCDecodeUTupleInit_32s(code.records.data(), code.count(), code.widths.data(),
                                             code.widthCount(), tuple->length, tuple->width, spec);
}

// A spec built in memory of exactly its size, `shift` bytes behind a boundary, whose last byte is
// followed by an unreadable page where `shift` allows.
struct Built {
    Built(const VlcCode& code, size_t shift, const Tuple* tuple = nullptr)
        : status(getSize(code, &size, tuple)), memory(static_cast<size_t>(size) + 31) {
        std::memset(memory.data(), 0xA5, memory.size());
        const size_t toBoundary = -reinterpret_cast<uintptr_t>(memory.data()) & 31;
        start = memory.data() + (toBoundary + shift) % 32;
        header = start + (-reinterpret_cast<uintptr_t>(start) & 31);
        if (status == zelStsOk) status = init(code, spec(), tuple);
    }
    VlcDecodeSpec* spec() { return reinterpret_cast<VlcDecodeSpec*>(start); }
    uint32_t field(size_t i) const {
        uint32_t value;
        std::memcpy(&value, header + 4 * i, 4);
        return value;
    }
    uint8_t* table() const { return header + (isTuple() ? 64 : 32); }
    bool isTuple() const { return field(6) != 0; }
    uint32_t entry(size_t i) const {
        uint32_t value = 0;
        const size_t bytes = field(4) / 8;
        std::memcpy(&value, table() + bytes * i, bytes);
        return value;
    }

    int32_t size = 0;
    ZelStatus status;
    GuardedBuffer memory;
    uint8_t* start;
    uint8_t* header;
};

// The table of a prefix code, built by prefixes instead of links.
std::vector<uint32_t> modelTable(const VlcCode& code, uint32_t entryBits, uint32_t levelBits,
                                 uint32_t valueMask) {
    const uint32_t entryMask = static_cast<uint32_t>((uint64_t{1} << entryBits) - 1);
    const std::vector<int32_t> widths = support::cutWidths(code);
    std::vector<uint32_t> table(static_cast<size_t>(support::modelEntryCount(code)), entryMask - 1);
    std::map<Bits, size_t> headers{{"", 0}};
    table[0] = static_cast<uint32_t>(widths[0]);
    size_t nextFree = (size_t{1} << widths[0]) + 1;
    for (size_t i = 0; i < code.records.size(); ++i) {
        const Bits bits = code.bitsOf(i);
        Bits resolved;
        size_t level = 0;
        for (; resolved.size() + static_cast<size_t>(widths[level]) < bits.size(); ++level) {
            const Bits index = bits.substr(resolved.size(), static_cast<size_t>(widths[level]));
            const size_t header = headers.at(resolved);
            resolved += index;
            if (headers.emplace(resolved, nextFree).second) {
                table[header + 1 + std::stoul(index, nullptr, 2)] =
                    static_cast<uint32_t>(nextFree << 1);
                table[nextFree] = static_cast<uint32_t>(widths[level + 1]);
                nextFree += (size_t{1} << widths[level + 1]) + 1;
            }
        }
        Bits index = bits.substr(resolved.size());
        const auto used = static_cast<uint32_t>(index.size());
        index.resize(static_cast<size_t>(widths[level]), '0');
        const size_t first = headers.at(resolved) + 1 + std::stoul(index, nullptr, 2);
        const uint32_t value = static_cast<uint32_t>(code.records[i].value) & valueMask;
        for (size_t j = 0; j < size_t{1} << (static_cast<uint32_t>(widths[level]) - used); ++j)
            table[first + j] = (value << (levelBits + 1) | used << 1 | 1) & entryMask;
    }
    EXPECT_EQ(nextFree, table.size());
    return table;
}

// Derives everything anew and compares every byte that the object consists of.
void expectSpec(const VlcCode& code, size_t shift, const Tuple* tuple) {
    const auto widths = support::cutWidths(code);
    const auto entries = static_cast<uint64_t>(support::modelEntryCount(code));
    const uint32_t levelBits =
        support::bitsFor(static_cast<uint64_t>(*std::max_element(widths.begin(), widths.end())));
    int64_t largest = 0;
    for (const auto& record : code.records)
        largest = std::max(largest, std::abs(int64_t{record.value}));
    uint32_t valueBits = 1;
    while ((int64_t{1} << (valueBits - 1)) < largest)
        ++valueBits;
    if (tuple != nullptr) valueBits = static_cast<uint32_t>(tuple->length * tuple->width);
    uint32_t linkBits = 0;
    while ((uint64_t{1} << linkBits) - 1 < entries + 1)
        ++linkBits;
    const uint32_t needed = std::max(linkBits + 1, levelBits + 1 + valueBits);
    const uint32_t entryBits = needed <= 8 ? 8 : needed <= 16 ? 16 : 32;

    const Built built(code, shift, tuple);
    ASSERT_EQ(built.status, zelStsOk);
    EXPECT_EQ(built.size,
              static_cast<int32_t>(entries * entryBits / 8) + (tuple == nullptr ? 88 : 100));
    const auto table =
        static_cast<uint32_t>(reinterpret_cast<uintptr_t>(built.table()) -
                              (sizeof(void*) == 4 ? 0 : reinterpret_cast<uintptr_t>(built.header)));
    const std::vector<uint32_t> expected{
        0x434D4160,
        0,
        static_cast<uint32_t>(code.longest()),
        table,
        entryBits,
        levelBits,
        tuple == nullptr ? 0 : static_cast<uint32_t>(tuple->length),
        tuple == nullptr ? 0 : static_cast<uint32_t>(tuple->width),
        valueBits};
    for (size_t i = 0; i < (tuple == nullptr ? 6U : 9U); ++i)
        EXPECT_EQ(built.field(i), expected[i]) << "field " << i;
    const auto model =
        modelTable(code, entryBits, levelBits, tuple == nullptr ? ~0U : (1U << valueBits) - 1);
    for (size_t i = 0; i < model.size(); ++i)
        ASSERT_EQ(built.entry(i), model[i]) << "entry " << i << " of " << model.size();
    for (const uint8_t* p = built.memory.data(); p < built.start; ++p)
        ASSERT_EQ(*p, 0xA5);
    for (const uint8_t* p = built.start + built.size; p < built.memory.data() + built.memory.size();
         ++p)
        ASSERT_EQ(*p, 0xA5);
}

TEST(VlcTables, EqualTheModelAtEveryAddress) {
    Random random(1);
    const int32_t longest[] = {1, 3, 6, 9, 14, 20, 32};
    const Tuple tuples[] = {{1, 9}, {2, 4}, {4, 2}, {3, 1}, {24, 1}};
    for (int round = 0; round < 160; ++round) {
        SCOPED_TRACE(round);
        VlcCode code = support::randomCode(random, 2 + random.sizeBelow(150), longest[round % 7],
                                           60 + random.below(41), 10 + random.below(7));
        if (round % 5 == 0) {
            for (auto& record : code.records)  // small values: 8-bit entries, and the edges of sign
                record.value = static_cast<int32_t>(random.below(17)) - 8;
        }
        support::randomWidths(random, code, 1 + random.below(round % 3 == 0 ? 12 : 5));
        const bool plain = round % 2 == 0;
        expectSpec(code, static_cast<size_t>(round) % 32, plain ? nullptr : &tuples[round % 5]);
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(VlcTables, SmallAndFullEntries) {
    {
        const Built built({{{5, 2, 3}}, {8}}, 0);  // the width is cut to 3
        EXPECT_EQ(built.size, 9 + 88);
        EXPECT_EQ(built.entry(0), 3U);
        for (uint32_t i = 0; i < 8; ++i)
            EXPECT_EQ(built.entry(1 + i), i == 2 ? 5U << 3 | 3U << 1 | 1 : 0xFEU);
    }
    {
        // Levels 4 and 2; junk above the codes; the sum of the widths would overflow.
        const Built built({{{1, 0x70, 5}, {2, 0x3F, 6}, {3, 0x40, 1}}, {4, INT_MAX, -7}}, 5);
        EXPECT_EQ(built.status, zelStsOk);
        EXPECT_EQ(built.size, 17 + 2 * 5 + 88);
        EXPECT_EQ(built.entry(1 + 8), 17U << 1);
        EXPECT_EQ(built.entry(17), 2U);
        EXPECT_EQ(built.entry(1 + 15), 22U << 1);
    }
    // Field widths follow the largest magnitude, so +8 in four bits with none to spare is -8.
    const Built full({{{8, 0, 1}, {-3, 2, 2}, {1, 6, 3}, {0, 7, 3}}, {3}}, 1);
    EXPECT_EQ(full.field(4), 8U);
    EXPECT_EQ(full.entry(1) >> 3, 8U);
    // 127 entries: 65, ten sub-tables of 5, four of 3. Eight bits would make the largest link
    // empty.
    VlcCode links{{}, {6, 2, 1}};
    for (int32_t i = 0; i < 10; ++i)
        links.records.push_back(i < 6 ? VlcCodeRecord{0, i << 2, 8} : VlcCodeRecord{0, i << 3, 9});
    EXPECT_EQ(Built(links, 7).size, 127 * 2 + 88);
    // Plain values never need more than 32-bit entries; the upper bits go.
    const Built wide({{{INT_MIN, 0, 1}, {INT_MAX, 1, 1}}, {1}}, 2);
    EXPECT_EQ(wide.field(4), 32U);
    EXPECT_EQ(wide.entry(1), 3U);
    EXPECT_EQ(wide.entry(2), 0xFFFFFFFFU);
}

TEST(VlcTables, CodesThatRunThroughEachOther) {
    const VlcCodeRecord shorter{0, 0, 1};
    const VlcCodeRecord longer{5, 1, 2};
    const VlcCode cases[] = {
        {{shorter, longer}, {1, 1}},
        {{shorter, longer}, {2}},     // both end in the first level: the later one wins
        {{longer, shorter}, {1, 1}},  // the leaf replaces the link
        {{longer, shorter, longer}, {1, 1}},
    };
    const ZelStatus expected[] = {zelStsVlcTableErr, zelStsOk, zelStsOk, zelStsVlcTableErr};
    for (size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        const Built built(cases[i], 3);
        EXPECT_EQ(built.status, expected[i]);
        EXPECT_EQ(built.size, static_cast<int32_t>(support::modelEntryCount(cases[i])) + 88);
        if (i == 1) {
            EXPECT_EQ(built.entry(1), 1U << 1 | 1);
            EXPECT_EQ(built.entry(2), 5U << 3 | 2U << 1 | 1);
        }
        // A refused table keeps its header and what was filled before.
        EXPECT_EQ(built.field(0), 0x434D4160U);
        EXPECT_EQ(built.field(1), 0U);
        EXPECT_EQ(built.field(2), 2U);
        if (i == 0) {
            EXPECT_EQ(std::vector<uint32_t>(
                          {built.entry(0), built.entry(1), built.entry(2), built.entry(3)}),
                      std::vector<uint32_t>({1, 1U << 1 | 1, 0xFE, 0xFE}));
        }
    }
}

// The count of entries must not depend on the number, order or repetition of records, nor on
// whether the code is free of prefixes.
TEST(VlcTables, EntryCountsOfManyRecords) {
    Random random(2);
    for (const size_t count : {1000U, 1023U, 1024U, 8191U, 8192U, 8193U, 30000U}) {
        for (const int order : {0, 1, 2, 3}) {
            SCOPED_TRACE(testing::Message() << count << " records, order " << order);
            VlcCode code;
            code.widths = {7, 3, 9, 1, 4, 8};  // prefixes of 7 to 24 bits
            for (size_t i = 0; i < count; ++i) {
                const auto length = static_cast<int32_t>(order != 3   ? 28
                                                         : i % 4 == 0 ? 1 + random.below(32)
                                                                      : 32);
                const uint32_t bits = order == 0   ? static_cast<uint32_t>(i)
                                      : order == 1 ? static_cast<uint32_t>(count - i)
                                      : order == 2 ? random.below(40) << 14
                                                   : static_cast<uint32_t>(random.next());
                code.records.push_back(
                    {static_cast<int32_t>(i), static_cast<int32_t>(bits), length});
            }
            code.records.push_back({0, 0, 32});
            int32_t entries = 0;
            ASSERT_EQ(
                ownzelGetVLCInternalTableSize(code.records.data(), code.count(), code.widths.data(),
                                              code.widthCount(), &entries),
                zelStsOk);
            EXPECT_EQ(entries, support::modelEntryCount(code));
        }
    }
}

TEST(VlcTables, RefusesUnusableDescriptions) {
    const VlcCodeRecord one{1, 0, 1};
    const VlcCodeRecord long31{1, 0, 31};
    struct Case {
        VlcCode code;
        Tuple tuple;
        ZelStatus plain;
        ZelStatus tuples;
    };
    const Case cases[] = {
        {{{one}, {1}}, {1, 1}, zelStsOk, zelStsOk},
        {{{one, {1, 0, 0}}, {1}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},
        {{{one, {1, 0, -1}}, {1}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},
        {{{{1, 0, 33}, one}, {33}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},
        {{{{1, 0, 5}}, {4}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},
        {{{{1, 0, 5}}, {4, 0, 1}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},
        {{{{1, 0, 5}}, {INT_MIN, 5}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},
        {{{{1, 0, 32}}, {32}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},  // 2^32 + 1 entries
        {{{long31}, {31}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},
        {{{{1, 0, 30}}, {30}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},  // of 32 bits each
        {{{one, long31, {1, 1 << 30, 31}}, {1, 30}}, {1, 1}, zelStsVlcTableErr, zelStsVlcTableErr},
        {{{one, {1, 0, 33}}, {1}}, {0, 4}, zelStsVlcTableErr, zelStsOutOfRange},
        {{{one}, {1}}, {4, -1}, zelStsOk, zelStsOutOfRange},
        {{{one}, {1}}, {30, 1}, zelStsOk, zelStsOk},
        {{{one}, {1}}, {31, 1}, zelStsOk, zelStsOutOfRange},
        {{{{1, 0, 2}}, {2}}, {15, 2}, zelStsOk, zelStsOutOfRange},  // two level bits
        {{{one}, {1}}, {65536, 65536}, zelStsOk, zelStsOutOfRange},
        {{{one, {1, 0, 0}}, {1}}, {INT_MAX, INT_MAX}, zelStsVlcTableErr, zelStsVlcTableErr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        int32_t size = -5;
        EXPECT_EQ(getSize(c.code, &size), c.plain);
        EXPECT_EQ(size == -5, c.plain != zelStsOk);
        size = -5;
        EXPECT_EQ(getSize(c.code, &size, &c.tuple), c.tuples);
        EXPECT_EQ(size == -5, c.tuples != zelStsOk);
        VlcDecodeSpec* spec = nullptr;
        EXPECT_EQ(zelsVLCDecodeInitAlloc_32s(c.code.records.data(), c.code.count(),
                                             c.code.widths.data(), c.code.widthCount(), &spec),
                  c.plain);
        EXPECT_EQ(spec != nullptr, c.plain == zelStsOk);
        zelsVLCDecodeFree_32s(spec);
    }
    const int32_t width = 1;
    int32_t size = 0;
    EXPECT_EQ(zelsVLCDecodeGetSize_32s(&one, 0, &width, 1, &size), zelStsVlcTableErr);
    EXPECT_EQ(zelsVLCDecodeGetSize_32s(&one, -1, &width, 1, &size), zelStsVlcTableErr);
    EXPECT_EQ(zelsVLCDecodeGetSize_32s(&one, 1, &width, 0, &size), zelStsVlcTableErr);
    EXPECT_EQ(zelsVLCDecodeGetSize_32s(nullptr, 0, &width, 0, &size), zelStsNullPointer);
    EXPECT_EQ(zelsVLCDecodeGetSize_32s(&one, 0, nullptr, 0, &size), zelStsNullPointer);
    EXPECT_EQ(zelsVLCDecodeInit_32s(&one, 0, &width, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsVLCDecodeInitAlloc_32s(&one, 1, &width, 1, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsVLCDecodeUTupleGetSize_32s(&one, 1, &width, 1, 0, 0, nullptr), zelStsNullPointer);
}

// Everything that a caller passes may lie at an odd address, and nothing around it is touched.
TEST(VlcTables, ArgumentsAtOddAddresses) {
    Random random(8);
    VlcCode code = support::randomCode(random, 1100, 14);
    support::randomWidths(random, code, 6);
    const auto odd = [](const void* data, size_t size) {
        auto buffer = std::make_unique<GuardedBuffer>(size + 1);
        std::memcpy(buffer->data() + 1, data, size);
        return buffer;
    };
    const auto records = odd(code.records.data(), code.records.size() * sizeof(VlcCodeRecord));
    const auto widths = odd(code.widths.data(), code.widths.size() * 4);
    auto* const oddRecords = reinterpret_cast<const VlcCodeRecord*>(records->data() + 1);
    auto* const oddWidths = reinterpret_cast<const int32_t*>(widths->data() + 1);
    GuardedBuffer sizes(9);
    auto* const decodeSize = reinterpret_cast<int32_t*>(sizes.data() + 1);
    auto* const encodeSize = reinterpret_cast<int32_t*>(sizes.data() + 5);
    ASSERT_EQ(zelsVLCDecodeGetSize_32s(oddRecords, code.count(), oddWidths, code.widthCount(),
                                       decodeSize),
              zelStsOk);
    ASSERT_EQ(zelsVLCEncodeGetSize_32s(oddRecords, code.count(), encodeSize), zelStsOk);
    int32_t expected[2] = {};
    getSize(code, &expected[0]);
    zelsVLCEncodeGetSize_32s(code.records.data(), code.count(), &expected[1]);
    EXPECT_EQ(std::memcmp(sizes.data() + 1, expected, 8), 0);
    GuardedBuffer memory(static_cast<size_t>(expected[0]) + 1);
    EXPECT_EQ(zelsVLCDecodeInit_32s(oddRecords, code.count(), oddWidths, code.widthCount(),
                                    reinterpret_cast<VlcDecodeSpec*>(memory.data() + 1)),
              zelStsOk);
}

int liveBlocks = 0;
bool outOfMemory = false;
void* countingMalloc(size_t size) {
    if (outOfMemory) return nullptr;
    ++liveBlocks;
    return std::malloc(size);
}
void countingFree(void* block) {
    --liveBlocks;
    std::free(block);
}

TEST(VlcTables, AllocatesReleasesAndForgets) {
    const VlcCode good{{{4, 0, 1}, {5, 2, 2}}, {1, 1}};
    const VlcCode bad{{{4, 0, 1}, {5, 1, 2}}, {1, 1}};
    const auto initAlloc = [](const VlcCode& code, VlcDecodeSpec** spec) {
        return zelsVLCDecodeUTupleInitAlloc_32s(code.records.data(), code.count(),
                                                code.widths.data(), code.widthCount(), 2, 3, spec);
    };
    auto* const savedMalloc = i_malloc;
    auto* const savedFree = i_free;
    i_malloc = countingMalloc;
    i_free = countingFree;
    VlcDecodeSpec* spec = nullptr;
    EXPECT_EQ(initAlloc(bad, &spec), zelStsVlcTableErr);
    EXPECT_EQ(spec, nullptr);
    EXPECT_EQ(liveBlocks, 0);
    outOfMemory = true;
    EXPECT_EQ(initAlloc(good, &spec), zelStsNoMemory);
    EXPECT_EQ(spec, nullptr);
    outOfMemory = false;
    ASSERT_EQ(initAlloc(good, &spec), zelStsOk);
    uint32_t fields[2];
    std::memcpy(fields, spec, sizeof fields);
    EXPECT_EQ(fields[0], 0x434D4160U);
    EXPECT_EQ(fields[1], 1U);
    EXPECT_EQ(liveBlocks, 1);
    zelsVLCDecodeUTupleFree_32s(spec);
    EXPECT_EQ(liveBlocks, 0);
    Built own(good, 9);
    zelsVLCDecodeFree_32s(own.spec());
    EXPECT_EQ(own.field(0), 0U);
    EXPECT_EQ(liveBlocks, 0);
    zelsVLCDecodeFree_32s(nullptr);
    zelsVLCDecodeUTupleFree_32s(nullptr);
    i_malloc = savedMalloc;
    i_free = savedFree;
}

TEST(VlcTables, ExportedSteps) {
    const VlcCode code{{{-9, 0, 1}, {5, 4, 3}, {6, 5, 3}, {7, 6, 3}}, {2, 8}};
    int32_t longest = 0;
    int32_t widths[32] = {};
    int32_t levels = 0;
    int32_t levelBits = 0;
    int32_t valueBits = 0;
    ASSERT_EQ(ownzelVLCBadParams(code.records.data(), 4, code.widths.data(), 2, &longest, widths,
                                 &levels, &levelBits, &valueBits),
              zelStsOk);
    EXPECT_EQ(std::vector<int32_t>({longest, widths[0], widths[1], levels, levelBits, valueBits}),
              std::vector<int32_t>({3, 2, 1, 2, 2, 5}));
    const auto model = modelTable(code, 32, 2, ~0U);
    const auto entries = static_cast<int32_t>(model.size());
    GuardedBuffer table8(model.size());
    GuardedBuffer table16(model.size() * 2);
    GuardedBuffer table32(model.size() * 4);
    const auto fill = [&](int32_t count) {
        const auto* records = code.records.data();
        return std::vector<ZelStatus>{
            ownzelVLCInternalTableInit8(records, 4, widths, 2, count, table8.data()),
            ownzelVLCInternalTableInit16(records, 4, widths, 2, count,
                                         reinterpret_cast<uint16_t*>(table16.data())),
            ownzelVLCInternalTableInit32(records, 4, widths, 2, count,
                                         reinterpret_cast<uint32_t*>(table32.data()))};
    };
    EXPECT_EQ(fill(entries), std::vector<ZelStatus>(3, zelStsOk));
    for (size_t i = 0; i < model.size(); ++i) {
        uint16_t entry16;
        uint32_t entry32;
        std::memcpy(&entry16, table16.data() + 2 * i, 2);
        std::memcpy(&entry32, table32.data() + 4 * i, 4);
        EXPECT_EQ(table8[i], static_cast<uint8_t>(model[i]));
        EXPECT_EQ(entry16, static_cast<uint16_t>(model[i]));
        EXPECT_EQ(entry32, model[i]);
    }
    // One entry too few for the last sub-table, and for the first.
    for (const int32_t count : {entries - 1, 4, 0, -1})
        EXPECT_EQ(fill(count), std::vector<ZelStatus>(3, zelStsVlcTableErr));
}

}  // namespace
