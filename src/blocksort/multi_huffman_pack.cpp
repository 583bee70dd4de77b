// The table description: how many tables and selectors, the selectors in move-to-front ranks, and
// the code lengths as steps up and down.
#include "blocksort/bit_words.hpp"
#include "blocksort/multi_huffman.hpp"
#include "core/state.hpp"

namespace zeldc::blocksort {
namespace {

// Up to six ones and a zero.
bool packSelectors(BitSink& sink, const EncodeLayout& state) {
    const uint8_t* ranks = state.selectorRanks();
    for (int32_t i = 0; i < state.groupCount; ++i) {
        const int32_t rank = ranks[i];
        if (!sink.put((2U << rank) - 2, rank + 1)) return false;
    }
    return true;
}

// Two bits for each step from one symbol's length to the next: 10 up, 11 down; then a zero.
bool packLengths(BitSink& sink, const uint8_t* lengths, int32_t alphaSize) {
    int32_t running = lengths[0];
    if (!sink.put(static_cast<uint32_t>(running), 5)) return false;
    for (int32_t s = 0; s < alphaSize; ++s) {
        for (; running < lengths[s]; ++running) {
            if (!sink.put(0b10, 2)) return false;
        }
        for (; running > lengths[s]; --running) {
            if (!sink.put(0b11, 2)) return false;
        }
        if (!sink.put(0, 1)) return false;
    }
    return true;
}

bool packDescription(BitSink& sink, const EncodeLayout& state) {
    if (!sink.put(static_cast<uint32_t>(state.tableCount), 3)) return false;
    if (!sink.put(static_cast<uint32_t>(state.groupCount), 15)) return false;
    if (!packSelectors(sink, state)) return false;
    for (int32_t t = 0; t < state.tableCount; ++t) {
        if (!packLengths(sink, state.lengths[t], state.alphaSize)) return false;
    }
    return true;
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" ZelStatus zelsPackHuffContext_BZ2_16u8u(uint32_t* pCode, int32_t* pCodeLenBits,
                                                   uint8_t* pDst, int32_t* pDstLen,
                                                   const HuffBz2EncodeState* pState) {
    if (pCode == nullptr || pCodeLenBits == nullptr || pDst == nullptr || pDstLen == nullptr ||
        pState == nullptr) {
        return zelStsNullPointer;
    }
    if (*pDstLen < 1 || !validBitCount(*pCodeLenBits)) return zelStsBadSize;
    BitSink sink(pDst, *pDstLen, *pCode, *pCodeLenBits);
    const bool complete = packDescription(sink, stateAt<EncodeLayout>(pState));
    *pCode = sink.bitBuf;
    *pCodeLenBits = sink.bitCount;
    *pDstLen = static_cast<int32_t>(sink.dstNext - pDst);
    return complete ? zelStsOk : zelStsDstFull;
}
