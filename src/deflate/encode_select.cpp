// Whether a dynamic block is likely to be worth its header.
#include <cstdint>

#include "core/state.hpp"
#include "deflate/encode_block.hpp"
#include "deflate/encode_codes.hpp"
#include "deflate/encode_counts.hpp"
#include "deflate/encode_pairs.hpp"
#include "deflate/encode_state.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

constexpr uint8_t kFixedMode = Lz77HuffModeFixed;
constexpr uint8_t kDynamicMode = Lz77HuffModeDynamic;

// Occurrences of the distinct literal/length symbols, in the order of their first occurrence: rank
// 1 is at index 0.
struct RankedCounts {
    uint32_t counts[kLitLenSymbols];
    uint32_t distinct = 0;
};

// Compares the most frequent symbol with the one at the mean rank: where they are far apart, few
// symbols carry the block.
uint8_t decide(const RankedCounts& ranked, uint32_t pairs) {
    uint64_t weighted = 0;
    uint32_t largest = 0;
    for (uint32_t i = 0; i < ranked.distinct; ++i) {
        weighted += uint64_t{ranked.counts[i]} * (i + 1);
        if (ranked.counts[i] > largest) largest = ranked.counts[i];
    }
    const auto meanRank = static_cast<uint32_t>(weighted / pairs);
    const uint32_t lead = largest - ranked.counts[meanRank - 1];
    return lead >= pairs / 4 ? kDynamicMode : kFixedMode;
}

// Counts the block into the state and by rank. A match counts its distance code as a
// literal/length symbol as well, which the dynamic coder then builds its code from.
RankedCounts countBlock(EncodeState& state, PairSource pairs) {
    uint32_t occurrences[kLitLenSymbols] = {};
    uint16_t symbolOfRank[kLitLenSymbols];
    LitLenCounts counts;
    RankedCounts ranked;
    for (const PairWord* next = pairs.next; next != pairs.end; ++next) {
        const uint32_t pair = *next;
        const uint32_t distance = PairParts(*next).distance();
        uint32_t symbol = pair & 0xFF;
        if (distance != 0) {
            symbol = kFirstLengthSymbol + kLengthCodeOf[(pair - 3) & 0xFF];
            ++counts.of[kDistanceCodeOf[distanceSlot(distance)]];
        }
        if (occurrences[symbol]++ == 0) {
            symbolOfRank[ranked.distinct++] = static_cast<uint16_t>(symbol);
        }
    }
    counts.addEndOfBlock();
    for (int32_t symbol = 0; symbol < kLitLenSymbols; ++symbol)
        state.litLenCounts[symbol] = counts.of[symbol] + occurrences[symbol];
    for (uint32_t i = 0; i < ranked.distinct; ++i)
        ranked.counts[i] = occurrences[symbolOfRank[i]];
    return ranked;
}

void select(EncodeState& state, PairSource pairs) {
    if (pairs.empty()) {
        state.huffMode = kFixedMode;
        return;
    }
    const RankedCounts ranked = countBlock(state, pairs);
    state.countsMade = 1;
    state.huffMode = decide(ranked, static_cast<uint32_t>(pairs.end - pairs.next));
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
