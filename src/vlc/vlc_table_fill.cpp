// Filling a decoding table, sub-table by sub-table in the order in which the codes need them.
#include <cstring>

#include "core/memory.hpp"
#include "vlc/vlc_table.hpp"

namespace zeldc::vlc {
namespace {

void setEntries(Unaligned<uint8_t>* dst, uint8_t entry, size_t count) {
    std::memset(dst, entry, count);
}
void setEntries(Unaligned<uint16_t>* dst, uint16_t entry, size_t count) {
    fill16(entry, dst, count);
}
void setEntries(Unaligned<uint32_t>* dst, uint32_t entry, size_t count) {
    fill32(entry, dst, count);
}

template <class Entry>
class TableFiller {
  public:
    TableFiller(const TableShape& shape, Unaligned<Entry>* table)
        : shape_(shape), levels_(shape.levels), table_(table) {
        setEntries(table, kEmpty<Entry>, entryCount());
        newSubTable(0);
    }

    bool add(const Record& record) {
        uint32_t subTable = 0;
        uint32_t rest = record.leftAligned();  // code bits that no level has resolved
        int32_t restLength = record.length;
        // The widths sum up to the longest length, so a level exists while bits are left.
        for (int32_t level = 0;; ++level) {
            const int32_t width = levels_.widths[level];
            const uint32_t index = subTable + 1 + (rest >> (32 - width));
            if (restLength <= width) {
                setLeaves(table_ + index, leaf(record, restLength),
                          size_t{1} << (width - restLength));
                return true;
            }
            if (table_[index] == kEmpty<Entry> && !link(index, level + 1)) return false;
            if (table_[index] & 1) return false;
            subTable = static_cast<uint32_t>(table_[index]) >> 1;
            if (subTable >= entryCount()) return false;
            rest <<= width;
            restLength -= width;
        }
    }

    bool overlapping() const { return overlapping_; }

  private:
    void setLeaves(Unaligned<Entry>* dst, Entry leaf, size_t count) {
        for (size_t i = 0; i < count && !overlapping_; ++i)
            overlapping_ = dst[i] != kEmpty<Entry>;
        setEntries(dst, leaf, count);
    }

    uint32_t entryCount() const { return static_cast<uint32_t>(shape_.entryCount); }

    // Puts the next level's sub-table at the next free place and refers to it. False: no room,
    // which a count that belongs to these codes rules out.
    bool link(uint32_t index, int32_t level) {
        const uint64_t subTableSize = (uint64_t{1} << levels_.widths[level]) + 1;
        if (nextFree_ + subTableSize > entryCount()) return false;
        table_[index] = static_cast<Entry>(nextFree_ << 1);
        newSubTable(level);
        return true;
    }

    void newSubTable(int32_t level) {
        table_[nextFree_] = static_cast<Entry>(levels_.widths[level]);
        nextFree_ += (uint32_t{1} << levels_.widths[level]) + 1;
    }

    // Values that need more bits than there are lose their upper ones.
    Entry leaf(const Record& record, int32_t consumed) const {
        const uint32_t value = static_cast<uint32_t>(int32_t{record.value}) & shape_.valueMask;
        return static_cast<Entry>(value << (levels_.levelBits + 1) |
                                  static_cast<uint32_t>(consumed) << 1 | 1);
    }

    const TableShape& shape_;
    const Levels& levels_;
    Unaligned<Entry>* table_;
    uint32_t nextFree_ = 0;
    bool overlapping_ = false;
};

}  // namespace

template <class Entry>
Fill fillTable(const Records& records, const TableShape& shape, Unaligned<Entry>* table) {
    TableFiller<Entry> filler(shape, table);
    for (const Record& record : records) {
        if (!filler.add(record)) return Fill::failed;
    }
    return filler.overlapping() ? Fill::overlapping : Fill::distinct;
}

template Fill fillTable<uint8_t>(const Records&, const TableShape&, Unaligned<uint8_t>*);
template Fill fillTable<uint16_t>(const Records&, const TableShape&, Unaligned<uint16_t>*);
template Fill fillTable<uint32_t>(const Records&, const TableShape&, Unaligned<uint32_t>*);

namespace {

// The exported steps: the levels are cut anew, as their sum bounds every walk.
template <class Entry>
ZelStatus fillStep(const VlcCodeRecord* pRecords, int32_t recordCount, const int32_t* pLevelWidths,
                   int32_t levelCount, int32_t entryCount, Entry* pTable) {
    const Records records(pRecords, recordCount);
    TableShape shape;
    if (!cutLevels(records, pLevelWidths, levelCount, shape.levels)) return zelStsVlcTableErr;
    if (entryCount < (int64_t{1} << shape.levels.widths[0]) + 1) return zelStsVlcTableErr;
    shape.entryCount = entryCount;
    return fillTable(records, shape, anyAlignment(pTable)) == Fill::failed ? zelStsVlcTableErr
                                                                           : zelStsOk;
}

}  // namespace
}  // namespace zeldc::vlc

using namespace zeldc;

extern "C" {

ZelStatus ownzelVLCInternalTableInit8(const VlcCodeRecord* pRecords, int32_t recordCount,
                                      const int32_t* pLevelWidths, int32_t levelCount,
                                      int32_t entryCount, uint8_t* pTable) {
    return vlc::fillStep(pRecords, recordCount, pLevelWidths, levelCount, entryCount, pTable);
}

ZelStatus ownzelVLCInternalTableInit16(const VlcCodeRecord* pRecords, int32_t recordCount,
                                       const int32_t* pLevelWidths, int32_t levelCount,
                                       int32_t entryCount, uint16_t* pTable) {
    return vlc::fillStep(pRecords, recordCount, pLevelWidths, levelCount, entryCount, pTable);
}

ZelStatus ownzelVLCInternalTableInit32(const VlcCodeRecord* pRecords, int32_t recordCount,
                                       const int32_t* pLevelWidths, int32_t levelCount,
                                       int32_t entryCount, uint32_t* pTable) {
    return vlc::fillStep(pRecords, recordCount, pLevelWidths, levelCount, entryCount, pTable);
}

}  // extern "C"
