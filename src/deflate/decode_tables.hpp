// The decoders' own tables: one 32-bit entry says everything about a symbol. (The split
// value/control tables of decode_split_tables.cpp hold the same in 10-bit levels of bytes; decoding
// from them takes two loads a symbol.)
//
// Entry, from the top:
//   bits 25-31  of literals and lengths: the bytes that the entry stands for by itself, 1 for a
//               literal; 0 in all others
//   bits 16-24  the literal, the base of a length, or the first index of a subtable counted from
//               the end of the first level
//   bits 16-31  of distances: the base, or the same index
//   bit 15      exceptional: bit 14, 13 or 12 says what it is
//   bit 14      link to a subtable
//   bit 13      end of block
//   bit 12      invalid: a symbol that the format forbids, or bits that no code reaches
//   bits 8-11   length of the code; in a subtable, without the bits of the first level; in a link,
//               the subtable's index bits
//   bits 0-7    bits to consume: the code's and those of the extra value; in a link, the bits of
//               the first level. Never 0.
//
// Where an index of the first literal/length level holds a length with its extra bits and the code
// of the distance, one entry stands for the whole match. Five of six matches or more are like that;
// they take one look-up instead of two, of which the second has to wait for the first. Distances
// below kLeastWholeDistance, which are rare, are not among them: their copies may overlap.
//   bits 25-31  the length
//   bits 13-24  (base of the distance - 1) / 8
//   bits 8-12   bits before the extra bits of the distance
//   bits 0-7    bits to consume
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <type_traits>

#include "core/unaligned.hpp"
#include "deflate/format.hpp"

namespace zeldc::deflate {

// Sizes of the alphabets as a header can express them: their last two symbols are never valid.
constexpr int32_t kLitLenAlphabet = 288;
constexpr int32_t kDistanceAlphabet = 32;

using Entry = uint32_t;

constexpr int32_t kOwnLengthShift = 25;
constexpr Entry kLiteral = 1U << kOwnLengthShift;
constexpr Entry kExceptional = 1U << 15;
constexpr Entry kLink = 1U << 14;
constexpr Entry kBlockEnd = 1U << 13;
constexpr Entry kInvalid = 1U << 12;

[[gnu::always_inline]] constexpr uint32_t ownLength(Entry entry) {
    return entry >> kOwnLengthShift;
}
[[gnu::always_inline]] constexpr bool isLiteral(Entry entry) {
    return ownLength(entry) == 1;
}
[[gnu::always_inline]] constexpr bool isWholeMatch(Entry entry) {
    return ownLength(entry) > 1;
}
[[gnu::always_inline]] constexpr uint32_t payload(Entry entry) {
    return entry >> 16;
}
[[gnu::always_inline]] constexpr uint32_t codeLength(Entry entry) {
    return entry >> 8 & 15;
}
[[gnu::always_inline]] constexpr uint32_t bitsToConsume(Entry entry) {
    return entry & 0xFF;
}

// Of a whole match.
constexpr uint32_t kLongestWholeMatch = 32;
constexpr uint32_t kLeastWholeDistance = 17;
constexpr uint32_t kMostWholeBits = 24;
constexpr Entry wholeDistanceField(uint32_t base) {
    return (base - 1) / 8 << 13;
}
[[gnu::always_inline]] constexpr uint32_t wholeDistanceBase(Entry entry) {
    return (entry >> 10 & 0x7FF8) + 1;
}
[[gnu::always_inline]] constexpr uint32_t wholeCodeBits(Entry entry) {
    return entry >> 8 & 31;
}
static_assert(wholeDistanceBase(wholeDistanceField(kLeastWholeDistance)) == kLeastWholeDistance &&
              wholeDistanceBase(wholeDistanceField(24577)) == 24577);

// What stands where no code leads. One bit is what the search for it consumes at least.
constexpr Entry kUnreached = kExceptional | kInvalid | 1 << 8 | 1;

// Index bits of the first levels. For the codes of a dynamic block:
struct DynamicCode {
    static constexpr int32_t kLitLenBits = 12;
    static constexpr int32_t kDistanceBits = 8;
    static constexpr int32_t kLongestLitLen = kLongestCode;
    static constexpr int32_t kLongestDistance = kLongestCode;
    static constexpr bool kMayBeMostlyLiterals = true;
};
// The fixed code needs no second level; its own codes would do with 9 bits, but matches are whole
// from 12 bits on. With 13 bits, three of five or more are, and 14 cost more than they bring.
struct FixedCode {
    static constexpr int32_t kLitLenBits = 13;
    static constexpr int32_t kDistanceBits = 5;
    static constexpr int32_t kLongestLitLen = 9;
    static constexpr int32_t kLongestDistance = kDistanceBits;
    static constexpr bool kMayBeMostlyLiterals = false;
};

// Room for the first levels with their subtables.
//
// Codes in canonical order have ascending lengths, so all subtables whose codes have one length L
// only take as many entries as they have codes, and a subtable with several lengths occurs at most
// once for each step from a length to the next, the unfinished last one of an incomplete code
// included. Literal/length: at most 288 + 3 * 2^3 entries. Distance: 32 codes fill at most 146
// entries of complete subtables (counted over all complete codes), and an unfinished one has 128.
// The builder checks all the same: codes whose subtable has no room stay unreached.
constexpr int32_t kLitLenEntries = (1 << DynamicCode::kLitLenBits) + kLitLenAlphabet + 3 * 8;
constexpr int32_t kDistanceEntries = (1 << DynamicCode::kDistanceBits) + 146 + 128;
static_assert(kLongestCode - DynamicCode::kLitLenBits == 3 &&
              kLongestCode - DynamicCode::kDistanceBits == 7);
// Above what a link to one of them may hold, an entry would stand for bytes by itself.
static_assert(kLitLenEntries - (1 << DynamicCode::kLitLenBits) <= 1 << (kOwnLengthShift - 16));

// As in states, which lie at any address.
struct Tables {
    U32 litLen[kLitLenEntries];
    U32 distance[kDistanceEntries];
    S32 mostlyLiterals;
};
constexpr int32_t kFixedDistances = 1 << FixedCode::kDistanceBits;
struct FixedTables {
    U32 litLen[1 << FixedCode::kLitLenBits];
    U32 distance[kFixedDistances];
};
template <class Code>
using TablesOf = std::conditional_t<std::is_same_v<Code, FixedCode>, FixedTables, Tables>;

// What a symbol's entry is apart from the length of its code, which is added to both counts.
constexpr Entry litLenResult(int32_t symbol) {
    if (symbol < kEndOfBlock) return kLiteral | static_cast<Entry>(symbol) << 16;
    if (symbol == kEndOfBlock) return kExceptional | kBlockEnd;
    if (symbol >= kLitLenSymbols) return kExceptional | kInvalid;
    const CodeRange range = kLengthRanges[static_cast<size_t>(symbol - kFirstLengthSymbol)];
    return static_cast<Entry>(range.base) << 16 | range.extraBits;
}
constexpr Entry distanceResult(int32_t symbol) {
    if (symbol >= kDistanceSymbols) return kExceptional | kInvalid;
    const CodeRange range = kDistanceRanges[static_cast<size_t>(symbol)];
    return static_cast<Entry>(range.base) << 16 | range.extraBits;
}

// The used symbols of a code in the order of their codes.
struct SortedCode {
    uint16_t symbols[kLitLenAlphabet] = {};
    uint16_t counts[kLongestCode + 1] = {};
    int32_t longest = 0;
    bool oversubscribed = false;

    template <class Length>
    constexpr SortedCode(const Length* lengths, int32_t size) {
        for (int32_t i = 0; i < size; ++i)
            ++counts[lengths[i] & 15];
        counts[0] = 0;
        uint16_t offsets[kLongestCode + 1] = {};
        uint32_t space = 0;
        for (int32_t length = 1; length <= kLongestCode; ++length) {
            offsets[length] = static_cast<uint16_t>(offsets[length - 1] + counts[length - 1]);
            space += static_cast<uint32_t>(counts[length]) << (kLongestCode - length);
            if (counts[length] != 0) longest = length;
        }
        oversubscribed = space > 1U << kLongestCode;
        for (int32_t i = 0; i < size; ++i) {
            const uint32_t length = lengths[i] & 15;
            if (length != 0) symbols[offsets[length]++] = static_cast<uint16_t>(i);
        }
    }
};

// The next code of `length` bits after `code` in canonical order, both bit-reversed: adding one at
// the reversed end clears the ones below the highest zero bit and sets that one. After the last
// code the result is 0.
constexpr uint32_t nextReversed(uint32_t code, int32_t length) {
    const uint32_t zeros = code ^ ((1U << length) - 1);
    if (zeros == 0) return 0;
    const uint32_t highest = std::bit_floor(zeros);
    return (code & (highest - 1)) | highest;
}

template <class Element>
constexpr void doubleTable(Element* table, int32_t size) {
    if (std::is_constant_evaluated()) {
        for (int32_t i = 0; i < size; ++i)
            table[size + i] = table[i];
    } else {
        std::memcpy(table + size, table, static_cast<size_t>(size) * sizeof(Element));
    }
}

// Fills the first level of 2^tableBits entries and the subtables behind it. A code that is
// over-subscribed has no meaning: all of its entries are invalid.
//
// The first level starts as a table of one entry and is doubled by copying as the length grows,
// instead of being written with strides. When it has the codes of a length, `more` may put other
// entries of that length into it.
template <class Element, class Results, class More>
constexpr void buildTable(Element* table, int32_t capacity, int32_t tableBits,
                          const SortedCode& code, const Results& results, const More& more) {
    const uint16_t* symbol = code.symbols;
    uint32_t codeword = 0;
    table[0] = kUnreached;
    for (int32_t length = 1; length <= tableBits; ++length) {
        doubleTable(table, 1 << (length - 1));
        if (code.oversubscribed) continue;
        const Entry lengths = static_cast<Entry>(length) * 0x101;
        for (int32_t left = code.counts[length]; left > 0; --left) {
            table[codeword] = results[*symbol++] + lengths;
            codeword = nextReversed(codeword, length);
        }
        more(table, length);
    }
    if (code.oversubscribed || code.longest <= tableBits) return;

    const uint32_t prefixMask = (1U << tableBits) - 1;
    uint32_t prefix = prefixMask + 1;  // of the subtable under way: none yet
    int32_t start = 1 << tableBits;
    int32_t size = 0;
    for (int32_t length = tableBits + 1; length <= code.longest; ++length) {
        const int32_t own = length - tableBits;
        for (int32_t left = code.counts[length]; left > 0; --left) {
            if ((codeword & prefixMask) != prefix) {
                prefix = codeword & prefixMask;
                start += size;
                // The longest code with this prefix: as many lengths as it takes to fill 2^bits.
                int32_t bits = own;
                int32_t filled = left;
                while (filled < 1 << bits && tableBits + bits < code.longest) {
                    ++bits;
                    filled = filled * 2 + code.counts[tableBits + bits];
                }
                size = 1 << bits;
                if (start + size > capacity) return;
                for (int32_t i = 0; i < size; ++i)
                    table[start + i] = kUnreached;
                table[prefix] = static_cast<Entry>(start - (1 << tableBits)) << 16 | kExceptional |
                                kLink | static_cast<Entry>(bits) << 8 |
                                static_cast<Entry>(tableBits);
            }
            const Entry entry = results[*symbol++] + static_cast<Entry>(own) * 0x101;
            for (auto i = static_cast<int32_t>(codeword >> tableBits); i < size; i += 1 << own)
                table[start + i] = entry;
            codeword = nextReversed(codeword, length);
        }
    }
}

// The tables of the fixed code (RFC 1951, section 3.2.6).
extern const FixedTables kFixedTables;

// Fills `tables` from the lengths of a dynamic block's header.
void buildTables(Tables& tables, const U16* lengths, int32_t litLenCount, int32_t distanceCount);

}  // namespace zeldc::deflate
