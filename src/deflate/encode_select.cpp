// Whether a dynamic block is likely to be worth its header.
#include <algorithm>
#include <cstdint>

#include "core/sort.hpp"
#include "core/state.hpp"
#include "deflate/encode_block.hpp"
#include "deflate/encode_counts.hpp"
#include "deflate/encode_state.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

constexpr uint8_t kFixedMode = Lz77HuffModeFixed;
constexpr uint8_t kDynamicMode = Lz77HuffModeDynamic;

// Occurrences of the distinct literal/length symbols, in the order of their first occurrence: rank
// 1 is at index 0.
struct RankedCounts {
    struct Symbol {
        uint32_t first;
        uint32_t count;
    };
    Symbol symbols[kLitLenSymbols];
    uint32_t distinct = 0;

    RankedCounts(const LitLenCounts& counts, const FirstOccurrences& first) {
        for (int32_t symbol = 0; symbol < kLitLenSymbols; ++symbol) {
            if (counts.of[symbol] != 0) symbols[distinct++] = {first.of[symbol], counts.of[symbol]};
        }
        sortAscending(symbols, static_cast<int32_t>(distinct),
                      [](const Symbol& symbol) { return symbol.first; });
    }
};

// Compares the most frequent symbol with the one at the mean rank: where they are far apart, few
// symbols carry the block.
uint8_t decide(const RankedCounts& ranked, uint32_t pairs) {
    uint64_t weighted = 0;
    uint32_t largest = 0;
    for (uint32_t i = 0; i < ranked.distinct; ++i) {
        const uint32_t count = ranked.symbols[i].count;
        weighted += uint64_t{count} * (i + 1);
        largest = std::max(largest, count);
    }
    const auto meanRank = static_cast<uint32_t>(weighted / pairs);
    const uint32_t lead = largest - ranked.symbols[meanRank - 1].count;
    return lead >= pairs / 4 ? kDynamicMode : kFixedMode;
}

void select(EncodeState& state, PairSource pairs) {
    if (pairs.empty()) {
        state.huffMode = kFixedMode;
        return;
    }
    LitLenCounts counts;
    DistanceCounts distances;
    FirstOccurrences first;
    countPairs(pairs, counts, distances, first);
    state.huffMode =
        decide(RankedCounts(counts, first), static_cast<uint32_t>(pairs.end - pairs.next));

    // A match counts its distance code as a literal/length symbol as well, which the dynamic coder
    // then builds its code from.
    counts.addEndOfBlock();
    for (int32_t code = 0; code < kDistanceSymbols; ++code)
        counts.of[code] += distances.of[code];
    std::copy_n(counts.of, kLitLenSymbols, state.litLenCounts);
    state.countsMade = 1;
}

}  // namespace
}  // namespace zeldc::deflate

extern "C" ZelStatus zelsEncodeLZ77SelectHuffMode_8u(const Lz77Pair* pPairs, int32_t pairsLen,
                                                     Lz77HuffMode* pHuffMode,
                                                     Lz77EncodeState* pState) {
    using namespace zeldc;
    using namespace zeldc::deflate;
    if (pPairs == nullptr || pHuffMode == nullptr || pState == nullptr) return zelStsNullPointer;
    if (pairsLen < 0) return zelStsBadSize;
    auto& state = stateAt<EncodeState>(pState);
    if (state.phase == kBlockStart && state.countsMade == 0) {
        const auto* first = reinterpret_cast<const PairWord*>(pPairs);
        select(state, {first, first + pairsLen});
    }
    *pHuffMode = state.huffMode;
    return zelStsOk;
}
