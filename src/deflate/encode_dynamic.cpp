// Dynamic-Huffman blocks (RFC 1951, section 3.2.7): codes from a block's counts, and the header
// that describes them.
#include <algorithm>
#include <cstdint>

#include "core/code_lengths.hpp"
#include "core/sort.hpp"
#include "deflate/encode_block.hpp"
#include "deflate/encode_codes.hpp"
#include "deflate/encode_counts.hpp"
#include "deflate/encode_state.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

struct CountedSymbol {
    uint32_t count;
    uint32_t symbol;
};

// The used symbols of an alphabet. A code needs two: unused symbols, lowest first, fill up.
int32_t usedSymbols(const uint32_t* counts, int32_t symbols, CountedSymbol* used) {
    int32_t found = 0;
    for (int32_t symbol = 0; symbol < symbols; ++symbol) {
        if (counts[symbol] != 0) used[found++] = {counts[symbol], static_cast<uint32_t>(symbol)};
    }
    for (int32_t symbol = 0; found < 2; ++symbol) {
        if (counts[symbol] == 0) used[found++] = {1, static_cast<uint32_t>(symbol)};
    }
    return found;
}

// Lengths of at most `limit` bits from counts; 0 for unused symbols.
void makeLengths(const uint32_t* counts, int32_t symbols, int32_t limit, uint8_t* lengths) {
    CountedSymbol used[kLitLenSymbols];
    uint32_t depths[kLitLenSymbols];
    const int32_t count = usedSymbols(counts, symbols, used);
    sortAscending(used, count, [](const CountedSymbol& entry) { return entry.count; });
    for (int32_t i = 0; i < count; ++i)
        depths[i] = used[i].count;
    huffmanDepths(depths, count);
    limitLengths(depths, count, limit);
    std::fill_n(lengths, symbols, uint8_t{0});
    for (int32_t i = 0; i < count; ++i)
        lengths[used[i].symbol] = static_cast<uint8_t>(depths[i]);
}

// Canonical codes as they are sent, symbol by symbol.
template <int32_t symbols>
struct SentCodes {
    uint32_t strings[symbols];

    explicit SentCodes(const uint8_t* lengths) {
        CanonicalCodes codes(lengths, symbols);
        for (int32_t symbol = 0; symbol < symbols; ++symbol) {
            const uint32_t length = lengths[symbol];
            strings[symbol] =
                length == 0 ? 0 : bitString(reversedCode(codes.take(length), length), length);
        }
    }
};

// The lengths of both alphabets in run-length form, with the counts of its symbols.
class LengthRuns {
  public:
    struct Run {
        uint8_t symbol;
        uint8_t extra;
    };

    // A new alphabet: no run goes on across its start.
    void add(const uint8_t* lengths, int32_t count) {
        for (int32_t i = 0; i < count;) {
            const int32_t run = runAt(lengths, i, count);
            if (lengths[i] == 0) {
                zeros(run);
            } else {
                put(lengths[i], 0);
                repeats(lengths[i], run - 1);
            }
            i += run;
        }
    }

    const uint32_t* counts() const { return counts_; }
    int32_t size() const { return size_; }
    Run run(int32_t i) const { return runs_[i]; }

  private:
    static int32_t runAt(const uint8_t* lengths, int32_t from, int32_t count) {
        int32_t end = from + 1;
        while (end < count && lengths[end] == lengths[from])
            ++end;
        return end - from;
    }

    void put(uint32_t symbol, int32_t extra) {
        runs_[size_++] = {static_cast<uint8_t>(symbol), static_cast<uint8_t>(extra)};
        ++counts_[symbol];
    }

    void zeros(int32_t run) {
        while (run > 0) {
            const int32_t group = std::min(run, 138);
            if (group >= 11) {
                put(kRepeatZeroLonger, group - 11);
            } else if (group >= 3) {
                put(kRepeatZero, group - 3);
            } else {
                for (int32_t i = 0; i < group; ++i)
                    put(0, 0);
            }
            run -= group;
        }
    }

    void repeats(uint32_t length, int32_t run) {
        while (run > 0) {
            const int32_t group = std::min(run, 6);
            if (group >= 3) {
                put(kRepeatPrevious, group - 3);
            } else {
                for (int32_t i = 0; i < group; ++i)
                    put(length, 0);
            }
            run -= group;
        }
    }

    Run runs_[kLitLenSymbols + kDistanceSymbols];
    int32_t size_ = 0;
    uint32_t counts_[kCodeLengthSymbols] = {};
};

constexpr uint32_t runExtraBits(uint32_t symbol) {
    if (symbol == kRepeatPrevious) return 2;
    if (symbol == kRepeatZero) return 3;
    return symbol == kRepeatZeroLonger ? 7 : 0;
}

// How many lengths are sent: all up to the last one in use.
int32_t trimmed(const uint8_t* lengths, int32_t count, int32_t fewest) {
    while (count > fewest && lengths[count - 1] == 0)
        --count;
    return count;
}

// Lays out the header as strings, in the order of sending.
class HeaderStrings {
  public:
    explicit HeaderStrings(U32* strings) : strings_(strings) {}

    void put(uint32_t bits, uint32_t count) { strings_[size_++] = bitString(bits, count); }
    int32_t size() const { return size_; }

  private:
    U32* strings_;
    int32_t size_ = 0;
};

int32_t codeLengthLengthsSent(const uint8_t* lengths) {
    int32_t count = kCodeLengthSymbols;
    while (count > kFewestCodeLengthLengths &&
           lengths[kCodeLengthOrder[static_cast<size_t>(count - 1)]] == 0) {
        --count;
    }
    return count;
}

int32_t layOutHeader(U32* strings, const uint8_t* litLen, const uint8_t* distances, bool isFinal) {
    const int32_t litLenCount = trimmed(litLen, kLitLenSymbols, kFewestLitLenLengths);
    const int32_t distanceCount = trimmed(distances, kDistanceSymbols, kFewestDistanceLengths);
    LengthRuns runs;
    runs.add(litLen, litLenCount);
    runs.add(distances, distanceCount);

    uint8_t lengths[kCodeLengthSymbols];
    makeLengths(runs.counts(), kCodeLengthSymbols, kLongestCodeLengthCode, lengths);
    const SentCodes<kCodeLengthSymbols> codes(lengths);
    const int32_t sent = codeLengthLengthsSent(lengths);

    HeaderStrings header(strings);
    header.put((isFinal ? 1U : 0U) | kDynamicBlock << 1 |
                   static_cast<uint32_t>(litLenCount - kFewestLitLenLengths) << 3 |
                   static_cast<uint32_t>(distanceCount - kFewestDistanceLengths) << 8 |
                   static_cast<uint32_t>(sent - kFewestCodeLengthLengths) << 13,
               17);
    for (int32_t i = 0; i < sent;) {
        uint32_t bits = 0;
        uint32_t count = 0;
        for (; i < sent && count < 24; ++i, count += 3)
            bits |= uint32_t{lengths[kCodeLengthOrder[static_cast<size_t>(i)]]} << count;
        header.put(bits, count);
    }
    for (int32_t i = 0; i < runs.size(); ++i) {
        const auto [symbol, extra] = runs.run(i);
        const uint32_t code = codes.strings[symbol];
        const uint32_t length = stringLength(code);
        header.put(stringBits(code) | uint32_t{extra} << length, length + runExtraBits(symbol));
    }
    return header.size();
}

void beginHeader(EncodeState& state, BitSink& /*sink*/, PairSource pairs, bool isFinal) {
    LitLenCounts litLenCounts;
    DistanceCounts distanceCounts;
    if (state.countsMade != 0) {
        countDistances(pairs, distanceCounts);
        std::copy_n(state.litLenCounts, kLitLenSymbols, litLenCounts.of);
    } else {
        countPairs(pairs, litLenCounts, distanceCounts);
        litLenCounts.addEndOfBlock();
    }

    uint8_t litLen[kLitLenSymbols];
    uint8_t distances[kDistanceSymbols];
    makeLengths(litLenCounts.of, kLitLenSymbols, kLongestCode, litLen);
    makeLengths(distanceCounts.of, kDistanceSymbols, kLongestCode, distances);

    const SentCodes<kLitLenSymbols> litLenCodes(litLen);
    const SentCodes<kDistanceSymbols> distanceCodes(distances);
    fillPairCodes(
        state.dynamicCodes, [&](int32_t symbol) { return litLenCodes.strings[symbol]; },
        [&](int32_t symbol) { return distanceCodes.strings[symbol]; });
    state.due.headerEnd =
        static_cast<uint16_t>(layOutHeader(state.headerStrings, litLen, distances, isFinal));
}

const PairCodes& codes(const EncodeState& state) {
    return state.dynamicCodes;
}

}  // namespace
}  // namespace zeldc::deflate

extern "C" ZelStatus zelsEncodeLZ77DynamicHuff_8u(const Lz77Pair** ppSrc, int32_t* pSrcLen,
                                                  uint8_t** ppDst, int32_t* pDstLen,
                                                  Lz77Flush flush, Lz77EncodeState* pState) {
    using namespace zeldc::deflate;
    constexpr BlockKind kDynamic{beginHeader, codes};
    return codeBlock(kDynamic, ppSrc, pSrcLen, ppDst, pDstLen, flush, pState);
}
