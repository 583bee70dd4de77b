// Decoding tables with values and controls apart, in two levels of ten and at most five bits, for
// callers that decode with look-ups of their own.
#include "deflate/decode_tables.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

constexpr int32_t kFirstBits = 10;
constexpr int32_t kFirstEntries = 1 << kFirstBits;

// Sub-codes in bits 4 to 6 of a literal/length control; a length, which has bit 7 set, has its
// extra bits there.
constexpr uint8_t kIsLength = 0x80;
constexpr uint8_t kSubCodeEndOfBlock = 6 << 4;
constexpr uint8_t kSubCodeInvalid = 7 << 4;
// Extra bits of a distance that is not valid, in the high half of its control.
constexpr uint8_t kInvalidDistance = 15 << 4;

struct SplitEntry {
    uint16_t value;
    uint8_t control;  // without the number of bits to consume
};

template <class Value, int32_t second>
struct SplitTable {
    static constexpr int32_t kSecondEntries = second;
    Value values[kFirstEntries + second];
    uint8_t controls[kFirstEntries + second];

    void set(int32_t index, SplitEntry entry, int32_t bits) {
        values[index] =
            static_cast<std::conditional_t<sizeof(Value) == 1, uint8_t, uint16_t>>(entry.value);
        controls[index] = static_cast<uint8_t>(entry.control | bits);
    }
};
using LitLenTable = SplitTable<uint8_t, 512>;
using DistanceTable = SplitTable<U16, 256>;

struct SplitTables {
    LitLenTable litLen;
    DistanceTable distance;
};
static_assert(sizeof(SplitTables) == 6912 && alignof(SplitTables) == 1);

// Entry i is i with its five bits reversed.
constexpr std::array<uint8_t, 32> tablofinv = [] {
    std::array<uint8_t, 32> reversed{};
    for (uint32_t i = 0; i < 32; ++i) {
        for (uint32_t bit = 0; bit < 5; ++bit)
            reversed[i] = static_cast<uint8_t>(reversed[i] << 1 | (i >> bit & 1));
    }
    return reversed;
}();
static_assert(tablofinv[1] == 16 && tablofinv[3] == 24 && tablofinv[30] == 15);

constexpr int32_t reverseTen(int32_t code) {
    return tablofinv[static_cast<size_t>(code & 31)] << 5 |
           tablofinv[static_cast<size_t>(code >> 5)];
}

SplitEntry litLenEntry(int32_t symbol) {
    if (symbol < kEndOfBlock) return {static_cast<uint16_t>(symbol), 0};
    if (symbol == kEndOfBlock) return {0, kSubCodeEndOfBlock};
    if (symbol >= kLitLenSymbols) return {0, kSubCodeInvalid};
    const CodeRange range = kLengthRanges[static_cast<size_t>(symbol - kFirstLengthSymbol)];
    return {static_cast<uint16_t>(range.base - 3),
            static_cast<uint8_t>(kIsLength | range.extraBits << 4)};
}

SplitEntry distanceEntry(int32_t symbol) {
    if (symbol >= kDistanceSymbols) return {0, kInvalidDistance};
    const CodeRange range = kDistanceRanges[static_cast<size_t>(symbol)];
    return {range.base, static_cast<uint8_t>(range.extraBits << 4)};
}

// The used symbols with their canonical codes, in the order of these.
struct CodedSymbol {
    int32_t symbol;
    int32_t length;
    int32_t code;

    int32_t prefix() const { return code >> (length - kFirstBits); }
};

int32_t assignCodes(const SortedCode& sorted, CodedSymbol* coded) {
    int32_t used = 0;
    int32_t code = 0;
    for (int32_t length = 1; length <= kLongestCode; ++length) {
        code <<= 1;
        for (int32_t left = sorted.counts[length]; left > 0; --left, ++used)
            coded[used] = {sorted.symbols[used], length, code++};
    }
    return used;
}

// Codes of one prefix, [first, last): the last is the longest. Its length in the link tells how
// many bits select an entry of the block; shorter codes have several. In the block, entries are in
// the order of the codes, not reversed.
template <class Table, class ResultOf>
void fillBlock(Table& table, int32_t start, const CodedSymbol* first, const CodedSymbol* last,
               ResultOf resultOf) {
    const int32_t longest = last[-1].length;
    const int32_t size = 1 << (longest - kFirstBits);
    // Behind the last code of an incomplete code nothing is reached.
    for (int32_t i = 0; i < size; ++i)
        table.set(kFirstEntries + start + i, resultOf(kLitLenAlphabet), 1);
    for (; first != last; ++first) {
        const int32_t copies = 1 << (longest - first->length);
        const int32_t suffix = first->code - (first->prefix() << (first->length - kFirstBits));
        for (int32_t i = 0; i < copies; ++i) {
            table.set(kFirstEntries + start + suffix * copies + i, resultOf(first->symbol),
                      first->length);
        }
    }
}

// `linkUnit` is what the value of a link counts in. An over-subscribed code has no meaning: nothing
// is reached.
template <class Table, class ResultOf>
void fillTable(Table& table, const SortedCode& sorted, int32_t linkUnit, ResultOf resultOf) {
    for (int32_t i = 0; i < kFirstEntries; ++i)
        table.set(i, resultOf(kLitLenAlphabet), 1);
    if (sorted.oversubscribed) return;
    CodedSymbol coded[kLitLenAlphabet];
    const CodedSymbol* const end = coded + assignCodes(sorted, coded);
    const CodedSymbol* next = coded;
    for (; next != end && next->length <= kFirstBits; ++next) {
        const int32_t reversed = reverseTen(next->code << (kFirstBits - next->length));
        for (int32_t i = reversed; i < kFirstEntries; i += 1 << next->length)
            table.set(i, resultOf(next->symbol), next->length);
    }
    for (int32_t start = 0; next != end;) {
        const CodedSymbol* last = next;
        while (last != end && last->prefix() == next->prefix())
            ++last;
        const int32_t longest = last[-1].length;
        const int32_t size = 1 << (longest - kFirstBits);
        if (start + size > Table::kSecondEntries) return;
        fillBlock(table, start, next, last, resultOf);
        table.set(reverseTen(next->prefix()), {static_cast<uint16_t>(start / linkUnit), 0},
                  longest);
        start += size;
        next = last;
    }
}

}  // namespace
}  // namespace zeldc::deflate

using namespace zeldc;
using namespace zeldc::deflate;

extern "C" {

void ownMakeLiterTabl(const uint16_t* pLengths, const void* pCounts, uint8_t* pArea, int32_t n) {
    static_cast<void>(pCounts);  // counted anew: the code must be one that the lengths describe
    std::memset(pArea, 0, sizeof(SplitTables));
    const SortedCode sorted(anyAlignment(pLengths), std::min(n, kLitLenAlphabet));
    fillTable(reinterpret_cast<SplitTables*>(pArea)->litLen, sorted, 2, litLenEntry);
}

void ownMakeOffsetTabl(const uint16_t* pLengths, const void* pCounts, uint8_t* pArea, int32_t n) {
    static_cast<void>(pCounts);
    const SortedCode sorted(anyAlignment(pLengths), std::min(n, kDistanceAlphabet));
    fillTable(reinterpret_cast<SplitTables*>(pArea)->distance, sorted, 1, distanceEntry);
}

}  // extern "C"
