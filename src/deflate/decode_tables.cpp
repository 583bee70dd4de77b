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

constexpr auto kNothingMore = [](auto*, int32_t) {};

constexpr FixedTables makeFixedTables() {
    std::array<uint8_t, kLitLenAlphabet> litLen{};
    for (size_t i = 0; i < litLen.size(); ++i)
        litLen[i] = fixedLitLenLength(static_cast<int32_t>(i));
    std::array<uint8_t, kDistanceAlphabet> distance{};
    distance.fill(kFixedDistanceBits);

    FixedTables tables{};
    buildTable(tables.litLen, 1 << FixedCode::kLitLenBits, FixedCode::kLitLenBits,
               SortedCode(litLen.data(), kLitLenAlphabet), kLitLenResults, kNothingMore);
    buildTable(tables.distance, 1 << FixedCode::kDistanceBits, FixedCode::kDistanceBits,
               SortedCode(distance.data(), kDistanceAlphabet), kDistanceResults, kNothingMore);
    return tables;
}

// The whole matches of a block, made from two halves: a length with its extra bits, a distance's
// code.
class WholeMatches {
  public:
    WholeMatches(const SortedCode& litLen, const SortedCode& distance) {
        if (distance.oversubscribed) return;
        collectLengths(litLen);
        collectDistances(distance);
    }

    // Those that take `size` bits, in place of the lengths.
    void operator()(U32* table, int32_t size) const {
        for (int32_t bits = 1; bits < size; ++bits) {
            const Group& distances = distances_[size - bits];
            for (int32_t i = 0; i < lengths_[bits].count; ++i) {
                const Half length = lengths_[bits].halves[i];
                for (int32_t j = 0; j < distances.count; ++j) {
                    const Half distance = distances.halves[j];
                    const Entry entry = length.entry + distance.entry;
                    if (wholeBits(entry) > kMostWholeBits) continue;
                    table[length.codeword | distance.codeword << bits] = entry;
                }
            }
        }
    }

  private:
    static constexpr int32_t kMostBits = DynamicCode::kLitLenBits - 1;
    static constexpr Entry kCodeBit = 1 << 7 | 1;

    struct Half {
        uint32_t codeword;  // reversed, with the extra bits of a length
        Entry entry;        // what it contributes
    };
    struct Group {
        int32_t count = 0;
        Half halves[kLongestWholeMatch - kShortestMatch + 1];
        void add(Half half) { halves[count++] = half; }
    };

    void collectLengths(const SortedCode& litLen) {
        const uint16_t* symbols = litLen.symbols;  // of one length: literals, then lengths
        uint32_t code = 0;
        for (int32_t length = 1; length <= kMostBits; ++length) {
            const int32_t count = litLen.counts[length];
            for (int32_t i = count; i-- > 0 && symbols[i] > kEndOfBlock;) {
                if (symbols[i] >= kLitLenSymbols) continue;
                const CodeRange range =
                    kLengthRanges[static_cast<size_t>(symbols[i] - kFirstLengthSymbol)];
                const int32_t bits = length + range.extraBits;
                if (range.base > kLongestWholeMatch || bits > kMostBits) continue;
                const uint32_t codeword =
                    reversedCode(code + static_cast<uint32_t>(i), static_cast<uint32_t>(length));
                const Entry entry = kWholeMatch + static_cast<Entry>(bits) * kCodeBit;
                for (uint32_t extra = 0; extra < 1U << range.extraBits; ++extra) {
                    lengths_[bits].add({codeword | extra << length,
                                        entry | (range.base + extra - kShortestMatch) << 26});
                }
            }
            symbols += count;
            code = (code + static_cast<uint32_t>(count)) << 1;
        }
    }

    void collectDistances(const SortedCode& distance) {
        const uint16_t* symbol = distance.symbols;
        uint32_t codeword = 0;
        for (int32_t length = 1; length <= kMostBits; ++length) {
            for (int32_t left = distance.counts[length]; left > 0; --left, ++symbol) {
                if (*symbol < kDistanceSymbols) {
                    const CodeRange range = kDistanceRanges[*symbol];
                    const Entry base = static_cast<Entry>(range.base) << 11;
                    distances_[length].add(
                        {codeword, base + range.extraBits + static_cast<Entry>(length) * kCodeBit});
                }
                codeword = nextReversed(codeword, length);
            }
        }
    }

    Group lengths_[kMostBits + 1];
    Group distances_[kMostBits + 1];
};

}  // namespace

constexpr FixedTables kFixedTables = makeFixedTables();

// The end of block is seven zeros; length 12 is code 265 (1001000 reversed) with its one extra bit.
static_assert(Entry{kFixedTables.litLen[0]} == (kExceptional | kBlockEnd | 7 << 8 | 7));
static_assert(payload(kFixedTables.litLen[0b1001000]) == 11 &&
              bitsToConsume(kFixedTables.litLen[0b1001000]) == 8);

void buildTables(Tables& tables, const U16* lengths, int32_t litLenCount, int32_t distanceCount) {
    const SortedCode litLen(lengths, litLenCount);
    const SortedCode distance(lengths + litLenCount, distanceCount);
    buildTable(tables.litLen, kLitLenEntries, DynamicCode::kLitLenBits, litLen, kLitLenResults,
               WholeMatches(litLen, distance));
    buildTable(tables.distance, kDistanceEntries, DynamicCode::kDistanceBits, distance,
               kDistanceResults, kNothingMore);
}

}  // namespace zeldc::deflate
