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

// The whole matches of a block, made from two halves: a length with its extra bits, a distance's
// code.
template <class Code>
class WholeMatches {
  public:
    constexpr WholeMatches(const SortedCode& litLen, const SortedCode& distance) {
        if (distance.oversubscribed) return;
        collectLengths(litLen);
        collectDistances(distance);
    }

    // Those that take `size` bits, in place of the lengths.
    template <class Element>
    constexpr void operator()(Element* table, int32_t size) const {
        for (int32_t bits = 1; bits < size; ++bits) {
            const Group& distances = distances_[size - bits];
            for (int32_t i = 0; i < lengths_[bits].count; ++i) {
                const Half length = lengths_[bits].halves[i];
                for (int32_t j = 0; j < distances.count; ++j) {
                    const Half distance = distances.halves[j];
                    const Entry entry = length.entry + distance.entry;
                    if (bitsToConsume(entry) > kMostWholeBits) continue;
                    table[length.codeword | distance.codeword << bits] = entry;
                }
            }
        }
    }

  private:
    static constexpr int32_t kMostBits = Code::kLitLenBits - 1;
    static constexpr Entry kCodeBit = 1 << 8 | 1;

    struct Half {
        uint32_t codeword;  // reversed, with the extra bits of a length
        Entry entry;        // what it contributes
    };
    struct Group {
        int32_t count = 0;
        Half halves[kLongestWholeMatch - kShortestMatch + 1];
        constexpr void add(Half half) { halves[count++] = half; }
    };

    constexpr void collectLengths(const SortedCode& litLen) {
        const uint16_t* symbols = litLen.symbols;  // of one length: literals, then lengths
        uint32_t code = 0;
        for (int32_t length = 1; length <= kMostBits; ++length) {
            const int32_t count = litLen.counts[length];
            for (int32_t i = count; i-- > 0 && symbols[i] > kEndOfBlock;) {
                if (symbols[i] >= kLitLenSymbols) continue;
                const CodeRange range =
                    kLengthRanges[static_cast<size_t>(symbols[i] - kFirstLengthSymbol)];
                const int32_t bits = length + range.extraBits;
                if (bits > kMostBits) continue;
                const uint32_t codeword =
                    reversedCode(code + static_cast<uint32_t>(i), static_cast<uint32_t>(length));
                const Entry entry = static_cast<Entry>(bits) * kCodeBit;
                for (uint32_t extra = 0; extra < 1U << range.extraBits; ++extra) {
                    if (range.base + extra > kLongestWholeMatch) break;
                    lengths_[bits].add({codeword | extra << length,
                                        entry | (range.base + extra) << kOwnLengthShift});
                }
            }
            symbols += count;
            code = (code + static_cast<uint32_t>(count)) << 1;
        }
    }

    constexpr void collectDistances(const SortedCode& distance) {
        const uint16_t* symbol = distance.symbols;
        uint32_t codeword = 0;
        for (int32_t length = 1; length <= kMostBits; ++length) {
            for (int32_t left = distance.counts[length]; left > 0; --left, ++symbol) {
                if (*symbol < kDistanceSymbols &&
                    kDistanceRanges[*symbol].base >= kLeastWholeDistance) {
                    const CodeRange range = kDistanceRanges[*symbol];
                    const Entry bits = range.extraBits + static_cast<Entry>(length) * kCodeBit;
                    distances_[length].add({codeword, wholeDistanceField(range.base) | bits});
                }
                codeword = nextReversed(codeword, length);
            }
        }
    }

    Group lengths_[kMostBits + 1];
    Group distances_[kMostBits + 1];
};

template <class Code, class AnyTables>
constexpr void fillTables(AnyTables& tables, const SortedCode& litLen, const SortedCode& distance) {
    buildTable(tables.litLen, static_cast<int32_t>(std::size(tables.litLen)), Code::kLitLenBits,
               litLen, kLitLenResults, WholeMatches<Code>(litLen, distance));
    buildTable(tables.distance, static_cast<int32_t>(std::size(tables.distance)),
               Code::kDistanceBits, distance, kDistanceResults, kNothingMore);
}

constexpr FixedTables makeFixedTables() {
    std::array<uint8_t, kLitLenAlphabet> litLen{};
    for (size_t i = 0; i < litLen.size(); ++i)
        litLen[i] = fixedLitLenLength(static_cast<int32_t>(i));
    std::array<uint8_t, kDistanceAlphabet> distance{};
    distance.fill(kFixedDistanceBits);

    FixedTables tables{};
    fillTables<FixedCode>(tables, SortedCode(litLen.data(), kLitLenAlphabet),
                          SortedCode(distance.data(), kDistanceAlphabet));
    return tables;
}

// Whether nine of ten symbols or more are. In an optimal code, one of n bits makes up 2^-n of all.
bool areMostlyLiterals(const U16* lengths, int32_t litLenCount) {
    constexpr uint32_t kAll = 1 << kLongestCode;
    uint32_t share = 0;
    for (int32_t i = 0; i < std::min(litLenCount, kEndOfBlock); ++i) {
        const uint32_t length = lengths[i] & 15;
        if (length != 0) share += kAll >> length;
    }
    return share >= kAll / 10 * 9;
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
    fillTables<DynamicCode>(tables, litLen, distance);
    tables.mostlyLiterals = areMostlyLiterals(lengths, litLenCount);
}

}  // namespace zeldc::deflate
