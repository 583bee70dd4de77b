// What both directions of the multi-table Huffman coder share: the numbers of the bzip2 format, and
// the layouts of the two states.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::blocksort {

constexpr int32_t kGroupSize = 50;  // consecutive symbols that share a table
constexpr int32_t kMinTables = 2;
constexpr int32_t kMaxTables = 6;
constexpr int32_t kMaxAlphabet = 258;      // 256 byte values, a second run digit, end of block
constexpr int32_t kMaxSelectors = 0x7FFF;  // the field has 15 bits
constexpr int32_t kEncodeLongest = 17;     // bits of the longest code that the encoder makes
constexpr int32_t kDecodeLongest = 20;     // and of the longest that the format allows
constexpr int32_t kDirectBits = 8;         // codes up to this long are decoded by one lookup

// Never overflows, whatever the count.
constexpr int32_t groupsOf(int32_t symbolCount) {
    return symbolCount / kGroupSize + (symbolCount % kGroupSize != 0 ? 1 : 0);
}

// The encoder's state; the selectors, one byte per group, follow it, and then the same once more
// in move-to-front ranks. Entry [t][s] belongs to symbol s in table t.
struct EncodeLayout {
    S32 alphaSize;
    S32 tableCount;
    U32 codes[kMaxTables][kMaxAlphabet];
    uint8_t lengths[kMaxTables][kMaxAlphabet];
    S32 symbolCount;  // what Init saw: more cannot be coded
    S32 groupCount;
    uint8_t unused[8];

    uint8_t* selectors() { return reinterpret_cast<uint8_t*>(this + 1); }
    const uint8_t* selectors() const { return reinterpret_cast<const uint8_t*>(this + 1); }
    uint8_t* selectorRanks() { return selectors() + groupCount; }
    const uint8_t* selectorRanks() const { return selectors() + groupCount; }
};
static_assert(sizeof(EncodeLayout) == 7764 && alignof(EncodeLayout) == 1);

// One decoding table.
struct DecodeTable {
    // Symbol in bits 0-8, code length in bits 12-15, for every code of up to 8 bits, by the next
    // 8 bits of the stream. 0 where these bits begin a longer code, or none.
    static constexpr int32_t kLengthShift = 12;
    static constexpr uint16_t kSymbolMask = (1U << kLengthShift) - 1;

    U16 direct[1 << kDirectBits];

    // For the codes of 9 + k bits: the stream's next 32 bits from which on a code is longer still,
    // all ones where no longer code can follow; the same at [0] for the direct codes, so that
    // limits[k] and limits[k + 1] enclose the codes of 9 + k bits.
    static constexpr int32_t kLongLengths = kDecodeLongest - kDirectBits;
    static constexpr uint32_t kEverything = 0xFFFFFFFF;

    U32 limits[kLongLengths + 1];
    U16 starts[kLongLengths];  // of each length's symbols in longSymbols
    S32 longLengths;           // of which limits are set
    U16 longSymbols[kMaxAlphabet];
};

// Reader of the table description: where it stands between calls.
enum class UnpackPhase : uint32_t { header = 0, selectors = 1, lengths = 2 };

// The decoder's state. The selectors, one byte per group, come last: they begin in what the tables
// leave of the fixed part, so that a description with some more selectors than the block needs, as
// some encoders write and damage makes, stays inside the state.
struct DecodeLayout {
    U32 phase;
    S32 itemsDone;      // in this phase: selectors, or tables
    S32 symbolsDone;    // of the current table; 0 with runningLength 0: its first length is to come
    S32 runningLength;  // of the current table
    S32 group;          // where the symbol decoder stands
    S32 inGroup;
    S32 alphaSize;
    S32 tableCount;
    S32 selectorCount;     // as described
    S32 usableSelectors;   // the same once the description is complete, else 0
    S32 selectorCapacity;  // how many this state has room for, as far as is known
    uint8_t lengths[kMaxAlphabet];
    DecodeTable tables[kMaxTables];
    uint8_t firstSelectors[8176 - 11 * 4 - kMaxAlphabet - kMaxTables * sizeof(DecodeTable)];

    static constexpr int32_t kSpareSelectors = sizeof firstSelectors;

    uint8_t* selectors() { return reinterpret_cast<uint8_t*>(this + 1) - kSpareSelectors; }
    const uint8_t* selectors() const {
        return reinterpret_cast<const uint8_t*>(this + 1) - kSpareSelectors;
    }
};
static_assert(DecodeLayout::kSpareSelectors == 1226);
static_assert(sizeof(DecodeLayout) == 8176 && alignof(DecodeLayout) == 1);

// How often each symbol occurs in the groups of each table, in two parts that are to be added: a
// counter's twin in the odd part lies kOdd counters behind it.
struct GroupCounts {
    static constexpr int32_t kOdd = kMaxTables * kMaxAlphabet;

    uint32_t counters[2 * kOdd];

    uint32_t* ofTable(int32_t table) { return counters + table * kMaxAlphabet; }
    uint32_t of(int32_t table, int32_t symbol) const {
        const uint32_t* even = counters + table * kMaxAlphabet + symbol;
        return even[0] + even[kOdd];
    }
};

constexpr int32_t kLongestCosted = 25;  // bits of a code that the choice of tables can deal with
static_assert(kEncodeLongest <= kLongestCosted);

// Chooses the cheapest table for each group of symbols, the lowest-numbered of equals, and counts
// the symbols of each table's groups.
void selectGroups(const U16* src, int32_t symbolCount, int32_t tableCount,
                  const uint8_t (*lengths)[kMaxAlphabet], GroupCounts& counts, uint8_t* selectors);

// The same where counters and selectors are those of an earlier choice over the same symbols: only
// the groups that change tables, soon a few, are counted again.
void reselectGroups(const U16* src, int32_t symbolCount, int32_t tableCount,
                    const uint8_t (*lengths)[kMaxAlphabet], GroupCounts& counts,
                    uint8_t* selectors);

// Whether every symbol is below `alphaSize`.
bool symbolsBelow(const U16* src, int32_t symbolCount, int32_t alphaSize);

// Tables and selectors for the symbols, all below alphaSize.
void designTables(EncodeLayout& state, const U32* frequencies, const U16* src);

// Fills `table` for the code lengths 1..20.
void buildDecodeTable(DecodeTable& table, const uint8_t* lengths, int32_t alphaSize);

}  // namespace zeldc::blocksort
