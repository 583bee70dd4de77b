// From a code description to the size and the entry format of its table.
#include <algorithm>
#include <bit>
#include <limits>

#include "core/sort.hpp"
#include "vlc/vlc_table.hpp"

namespace zeldc::vlc {
namespace {

// The number of different prefixes of so many bits among the codes longer than that, each marked
// when it is first seen.
constexpr int32_t kMostMarkedBits = 19;
__attribute__((noinline)) uint64_t countByMarks(const Records& records, int32_t prefixBits) {
    uint32_t marks[size_t{1} << (kMostMarkedBits - 5)];
    static_assert(sizeof marks <= 64 * 1024);
    std::fill_n(marks, ((size_t{1} << prefixBits) + 31) / 32, 0);
    uint64_t count = 0;
    for (const Record& record : records) {
        if (record.length <= prefixBits) continue;
        const uint32_t prefix = record.leftAligned() >> (32 - prefixBits);
        uint32_t& word = marks[prefix / 32];
        const uint32_t mark = 1U << prefix % 32;
        count += (word & mark) == 0;
        word |= mark;
    }
    return count;
}

// Counts, level by level, the different prefixes that a sub-table is needed for: by marks where
// these have room; for deeper levels codes come in ascending order of their left-aligned bits, so
// that equal prefixes are neighbours.
class PrefixCounter {
  public:
    PrefixCounter(const Levels& levels, const Records& records) : levels_(levels) {
        int32_t resolved = levels.widths[0];
        for (int32_t i = 1; i < levels.count; ++i) {
            resolvedBits_[i] = resolved;
            if (resolved <= kMostMarkedBits) {
                prefixes_[i] = countByMarks(records, resolved);
                firstDeep_ = i + 1;
            }
            resolved += levels.widths[i];
        }
    }

    bool hasDeepLevels() const { return firstDeep_ < levels_.count; }
    // Codes up to this length need not be added.
    int32_t countedLength() const { return resolvedBits_[firstDeep_]; }

    void add(uint32_t leftAligned, int32_t length) {
        for (int32_t i = firstDeep_; i < levels_.count && length > resolvedBits_[i]; ++i) {
            const uint32_t prefix = leftAligned >> (32 - resolvedBits_[i]);
            if (prefixes_[i] != 0 && prefix == last_[i]) continue;
            ++prefixes_[i];
            last_[i] = prefix;
        }
    }

    // At most 2^31 prefixes of sub-tables below 2^32 entries on 31 levels: each term stays below
    // 2^63 + 2^31, and the sum is left as soon as it exceeds 31 bits.
    int64_t entries() const {
        uint64_t total = 0;
        for (int32_t i = 0; i < levels_.count; ++i) {
            const uint64_t subTable = (uint64_t{1} << levels_.widths[i]) + 1;
            total += i == 0 ? subTable : prefixes_[i] * subTable;
            if (total > std::numeric_limits<int32_t>::max()) return -1;
        }
        return static_cast<int64_t>(total);
    }

  private:
    const Levels& levels_;
    int32_t firstDeep_ = 1;
    int32_t resolvedBits_[kMaxCodeLength] = {};  // by the levels before
    uint64_t prefixes_[kMaxCodeLength] = {};
    uint32_t last_[kMaxCodeLength] = {};
};

// A code with its length, ordered by the left-aligned bits.
using Key = uint64_t;
constexpr int32_t kKeyLengthBits = 6;

Key keyOf(const Record& record) {
    return Key{record.leftAligned()} << kKeyLengthBits | static_cast<uint32_t>(record.length);
}

// Hands the codes that deep levels count to `counter` in order, with a buffer of a fixed size.
// One pass over the records collects the lowest keys above those already handed on: whenever the
// buffer is full, its upper half is dropped, and everything from there on waits for a later pass.
// A pass that drops anything settles more than capacity / 2 records, so there are at most
// 2 * count / capacity + 1 of them.
template <int32_t kCapacity>
__attribute__((noinline)) void countInPasses(const Records& records, PrefixCounter& counter) {
    constexpr int32_t kHalf = kCapacity / 2;
    constexpr Key kNoLimit = ~Key{0};
    const int32_t countedLength = counter.countedLength();
    Key keys[kCapacity];
    Key settled = 0;
    for (;;) {
        int32_t held = 0;
        Key limit = kNoLimit;  // one copy of it is held
        for (const Record& record : records) {
            if (record.length <= countedLength) continue;
            const Key key = keyOf(record);
            if (key <= settled || key >= limit) continue;
            if (held == kCapacity) {
                std::nth_element(keys, keys + kHalf, keys + kCapacity);
                limit = keys[kHalf];
                held = kHalf + 1;
                if (key >= limit) continue;
            }
            keys[held++] = key;
        }
        sortAscending(keys, held, [](Key key) { return key; });
        for (int32_t i = 0; i < held; ++i) {
            counter.add(static_cast<uint32_t>(keys[i] >> kKeyLengthBits),
                        static_cast<int32_t>(keys[i] & ((1U << kKeyLengthBits) - 1)));
        }
        if (limit == kNoLimit) return;
        settled = limit;
    }
}

// The common, short descriptions are settled in one pass and with little stack.
constexpr int32_t kShortDescription = 1024;
constexpr int32_t kPassCapacity = 8192;
static_assert(sizeof(Key) * kPassCapacity <= 64 * 1024);

// Links hold an index in all bits but one, and the largest such index must stay free, as it would
// look empty: 2^(W-1) - 1 >= entryCount + 1. A leaf holds its mark, the level bits and the value.
uint32_t bitsPerEntry(int32_t entryCount, uint32_t levelBits, int64_t valueBits) {
    const uint32_t linkBits = std::bit_width(static_cast<uint32_t>(entryCount) + 1) + 1U;
    return static_cast<uint32_t>(
        std::min<int64_t>(std::max<int64_t>(linkBits, levelBits + 1 + valueBits), 64));
}

uint32_t entryWidthFor(uint32_t bits) {
    if (bits <= 8) return 8;
    return bits <= 16 ? 16 : 32;
}

}  // namespace

bool cutLevels(const Records& records, const int32_t* widths, int32_t widthCount, Levels& levels) {
    for (const Record& record : records) {
        if (!record.lengthIsValid()) return false;
        levels.maxLength = std::max<int32_t>(levels.maxLength, record.length);
    }
    if (levels.maxLength == 0) return false;
    int32_t missing = levels.maxLength;
    int32_t widest = 0;
    for (int32_t i = 0; missing != 0; ++i) {
        if (i >= widthCount) return false;
        const int32_t width = std::min<int32_t>(anyAlignment(widths)[i], missing);
        if (width < 1) return false;
        levels.widths[levels.count++] = width;
        widest = std::max(widest, width);
        missing -= width;
    }
    levels.levelBits = static_cast<uint32_t>(std::bit_width(static_cast<uint32_t>(widest)));
    return true;
}

uint32_t signedValueBits(const Records& records) {
    uint32_t largest = 0;
    for (const Record& record : records) {
        const auto value = static_cast<uint32_t>(int32_t{record.value});
        largest = std::max(largest, record.value < 0 ? 0 - value : value);
    }
    return 1 + (largest <= 1 ? 0 : static_cast<uint32_t>(std::bit_width(largest - 1)));
}

int32_t countEntries(const Records& records, const Levels& levels) {
    PrefixCounter counter(levels, records);
    if (counter.hasDeepLevels()) {
        if (records.count() < kShortDescription) {
            countInPasses<kShortDescription>(records, counter);
        } else {
            countInPasses<kPassCapacity>(records, counter);
        }
    }
    return static_cast<int32_t>(counter.entries());
}

ZelStatus shapeOf(const Records& records, const int32_t* widths, int32_t widthCount,
                  const TupleForm* tuple, TableShape& shape) {
    if (!cutLevels(records, widths, widthCount, shape.levels)) return zelStsVlcTableErr;
    shape.entryCount = countEntries(records, shape.levels);
    if (shape.entryCount < 0) return zelStsVlcTableErr;
    const int64_t valueBits = tuple == nullptr ? signedValueBits(records) : tuple->bits();
    const uint32_t bits = bitsPerEntry(shape.entryCount, shape.levels.levelBits, valueBits);
    if (tuple != nullptr) {
        if (bits > 32) return zelStsOutOfRange;
        shape.valueMask = (1U << valueBits) - 1;  // valueBits <= 30: mark and level bits need two
    }
    shape.entryWidth = entryWidthFor(bits);
    const size_t headerSize = tuple == nullptr ? sizeof(DecodeSpec) : sizeof(TupleDecodeSpec);
    const int64_t tableBytes = int64_t{shape.entryCount} * (shape.entryWidth / 8);
    const int64_t size = tableBytes + static_cast<int64_t>(headerSize) + 2 * kSpecAlignment;
    if (size > std::numeric_limits<int32_t>::max()) return zelStsVlcTableErr;
    shape.specSize = static_cast<int32_t>(size);
    return zelStsOk;
}

}  // namespace zeldc::vlc

using namespace zeldc;

extern "C" {

ZelStatus ownzelVLCBadParams(const VlcCodeRecord* pRecords, int32_t recordCount,
                             const int32_t* pSubTableSizes, int32_t subTableCount,
                             int32_t* pMaxLength, int32_t* pLevelWidths, int32_t* pLevelCount,
                             int32_t* pLevelBits, int32_t* pValueBits) {
    const vlc::Records records(pRecords, recordCount);
    vlc::Levels levels;
    if (!vlc::cutLevels(records, pSubTableSizes, subTableCount, levels)) return zelStsVlcTableErr;
    store(pMaxLength, levels.maxLength);
    std::copy_n(levels.widths, levels.count, anyAlignment(pLevelWidths));
    store(pLevelCount, levels.count);
    store(pLevelBits, static_cast<int32_t>(levels.levelBits));
    store(pValueBits, static_cast<int32_t>(vlc::signedValueBits(records)));
    return zelStsOk;
}

ZelStatus ownzelGetVLCInternalTableSize(const VlcCodeRecord* pRecords, int32_t recordCount,
                                        const int32_t* pLevelWidths, int32_t levelCount,
                                        int32_t* pEntryCount) {
    const vlc::Records records(pRecords, recordCount);
    vlc::Levels levels;
    if (!vlc::cutLevels(records, pLevelWidths, levelCount, levels)) return zelStsVlcTableErr;
    const int32_t entries = vlc::countEntries(records, levels);
    if (entries < 0) return zelStsVlcTableErr;
    store(pEntryCount, entries);
    return zelStsOk;
}

}  // extern "C"
