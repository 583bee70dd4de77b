// Multi-level decoding tables: what a description comes to, and the table's entries.
//
// A table is an array of W-bit entries made of sub-tables: a header entry holding the sub-table's
// width w, then 2^w entries. An entry is
//   leaf    bit 0 set; bits 1..S: bits of this level that the code uses; above: the value
//   link    bit 0 clear; the rest: index of the next level's header
//   empty   all ones but bit 0: no code leads here
// The entry width is chosen so that no link can look empty (see entryWidthFor).
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/unaligned.hpp"
#include "vlc/vlc_spec.hpp"
#include "zeldc.h"

namespace zeldc::vlc {

template <class Entry>
constexpr Entry kEmpty = static_cast<Entry>(-2);

// Level widths as kept: they sum up to the maximum length exactly.
struct Levels {
    int32_t maxLength = 0;
    int32_t count = 0;
    int32_t widths[kMaxCodeLength] = {};
    uint32_t levelBits = 0;
};

struct TupleForm {
    int32_t length = 0;
    int32_t elementWidth = 0;

    bool isValid() const { return length > 0 && elementWidth > 0; }
    int64_t bits() const { return int64_t{length} * elementWidth; }
};

struct TableShape {
    Levels levels;
    int32_t entryCount = 0;
    uint32_t entryWidth = 0;
    uint32_t valueMask = 0xFFFFFFFFU;  // bits of a record's value that a leaf takes
    int32_t specSize = 0;
};

// Cuts the caller's widths to the longest code. False: the description is unusable.
bool cutLevels(const Records& records, const int32_t* widths, int32_t widthCount, Levels& levels);

// Bits of a signed field for the values of all records; one short for +2^n itself when that is the
// largest magnitude.
uint32_t signedValueBits(const Records& records);

// The number of entries, or a negative number when it exceeds 31 bits.
int32_t countEntries(const Records& records, const Levels& levels);

// Everything that a description comes to; `tuple` is null for plain values.
ZelStatus shapeOf(const Records& records, const int32_t* widths, int32_t widthCount,
                  const TupleForm* tuple, TableShape& shape);

// What became of a table: the codes have their places to themselves; some replaced others; codes
// and widths disagree, and the table is partly filled but still safe to walk.
enum class Fill { distinct, overlapping, failed };

template <class Entry>
Fill fillTable(const Records& records, const TableShape& shape, Unaligned<Entry>* table);

extern template Fill fillTable<uint8_t>(const Records&, const TableShape&, Unaligned<uint8_t>*);
extern template Fill fillTable<uint16_t>(const Records&, const TableShape&, Unaligned<uint16_t>*);
extern template Fill fillTable<uint32_t>(const Records&, const TableShape&, Unaligned<uint32_t>*);

}  // namespace zeldc::vlc
