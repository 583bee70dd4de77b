#include "deflate/decode_tables.hpp"

namespace zeldc::deflate {
namespace {

template <size_t size, class Result>
constexpr std::array<Entry, size> resultsOf(Result result) {
    std::array<Entry, size> results{};
    for (size_t i = 0; i < size; ++i)
        results[i] = result(static_cast<int32_t>(i));
    return results;
}

constexpr auto kLitLenResults = resultsOf<kLitLenAlphabet>(litLenResult);
constexpr auto kDistanceResults = resultsOf<kDistanceAlphabet>(distanceResult);

constexpr FixedTables makeFixedTables() {
    std::array<uint8_t, kLitLenAlphabet> litLen{};
    for (size_t i = 0; i < litLen.size(); ++i)
        litLen[i] = fixedLitLenLength(static_cast<int32_t>(i));
    std::array<uint8_t, kDistanceAlphabet> distance{};
    distance.fill(kFixedDistanceBits);

    FixedTables tables{};
    buildTable(tables.litLen, 1 << FixedCode::kLitLenBits, FixedCode::kLitLenBits,
               SortedCode(litLen.data(), kLitLenAlphabet), kLitLenResults);
    buildTable(tables.distance, 1 << FixedCode::kDistanceBits, FixedCode::kDistanceBits,
               SortedCode(distance.data(), kDistanceAlphabet), kDistanceResults);
    return tables;
}

// One half of a whole match: reversed codeword (of a length: with its extra bits) and what it
// contributes to the entry.
struct HalfMatch {
    uint32_t bits;
    Entry entry;
};
constexpr Entry kWholeCodeBit = 1 << 7 | 1;

// The distances whose codes leave room in an index.
struct HalfDistances {
    HalfMatch all[kDistanceSymbols];
    int32_t ends[DynamicCode::kLitLenBits] = {};  // of those whose codes are as long or shorter

    explicit HalfDistances(const SortedCode& code) {
        const uint16_t* symbol = code.symbols;
        uint32_t codeword = 0;
        int32_t size = 0;
        for (int32_t length = 1; length < DynamicCode::kLitLenBits; ++length) {
            const Entry lengths = static_cast<Entry>(length) * kWholeCodeBit;
            for (int32_t left = code.counts[length]; left > 0; --left, ++symbol) {
                if (*symbol < kDistanceSymbols) {
                    const CodeRange range = kDistanceRanges[*symbol];
                    const Entry base = static_cast<Entry>(range.base) << 11;
                    all[size++] = {codeword, base + range.extraBits + lengths};
                }
                codeword = nextReversed(codeword, length);
            }
            ends[length] = size;
        }
    }
};

// Puts whole matches in place of lengths in the first level.
void addWholeMatches(U32* table, const SortedCode& litLen, const SortedCode& distance) {
    if (litLen.oversubscribed || distance.oversubscribed) return;
    constexpr int32_t kIndexBits = DynamicCode::kLitLenBits;
    const HalfDistances distances(distance);
    const auto addLength = [&](HalfMatch length, int32_t bits) {
        for (int32_t i = 0; i < distances.ends[kIndexBits - bits]; ++i) {
            const Entry entry = length.entry + distances.all[i].entry;
            if (wholeBits(entry) > kMostWholeBits) continue;
            uint32_t index = length.bits | distances.all[i].bits << bits;
            for (; index < 1U << kIndexBits; index += 1U << wholeCodeBits(entry))
                table[index] = entry;
        }
    };
    const uint16_t* group = litLen.symbols;  // of one length; lengths stand behind literals in it
    uint32_t code = 0;
    for (int32_t length = 1; length < kIndexBits; ++length) {
        const int32_t count = litLen.counts[length];
        for (int32_t i = count; i-- > 0 && group[i] > kEndOfBlock;) {
            if (group[i] >= kLitLenSymbols) continue;
            const CodeRange range =
                kLengthRanges[static_cast<size_t>(group[i] - kFirstLengthSymbol)];
            const int32_t bits = length + range.extraBits;
            if (range.base > kLongestWholeMatch || bits >= kIndexBits) continue;
            const uint32_t codeword =
                reversedCode(code + static_cast<uint32_t>(i), static_cast<uint32_t>(length));
            Entry entry = kWholeMatch | (range.base - kShortestMatch) << 26;
            entry += static_cast<Entry>(bits) * kWholeCodeBit;
            for (uint32_t extra = 0; extra < 1U << range.extraBits; ++extra)
                addLength({codeword | extra << length, entry + (extra << 26)}, bits);
        }
        group += count;
        code = (code + static_cast<uint32_t>(count)) << 1;
    }
}

}  // namespace

constexpr FixedTables kFixedTables = makeFixedTables();

// The end of block is seven zeros; length 12 is code 265 (1001000 reversed) with its one extra bit.
static_assert(Entry{kFixedTables.litLen[0]} == (kExceptional | kBlockEnd | 7 << 8 | 7));
static_assert(payload(kFixedTables.litLen[0b1001000]) == 11 &&
              bitsToConsume(kFixedTables.litLen[0b1001000]) == 8);

void buildTables(Tables& tables, const U16* lengths, int32_t litLenCount, int32_t distanceCount) {
    const SortedCode litLen(lengths, litLenCount);
    const SortedCode distance(lengths + litLenCount, distanceCount);
    buildTable(tables.litLen, kLitLenEntries, DynamicCode::kLitLenBits, litLen, kLitLenResults);
    buildTable(tables.distance, kDistanceEntries, DynamicCode::kDistanceBits, distance,
               kDistanceResults);
    addWholeMatches(tables.litLen, litLen, distance);
}

}  // namespace zeldc::deflate
