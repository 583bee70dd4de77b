// The block's symbols, each group in the codes of its table.
#include "blocksort/bit_words.hpp"
#include "blocksort/multi_huffman.hpp"
#include "core/state.hpp"

namespace zeldc::blocksort {
namespace {

// Codes one symbol after the other until the destination and the accumulator are full.
const U16* encodeCarefully(BitSink& sink, const EncodeLayout& state, int32_t table, const U16* src,
                           const U16* srcEnd) {
    for (; src != srcEnd; ++src) {
        if (!sink.put(state.codes[table][*src], state.lengths[table][*src])) break;
    }
    return src;
}

const U16* encodeGroups(BitSink& sink, const EncodeLayout& state, const U16* src,
                        const U16* srcEnd) {
    const uint8_t* selector = state.selectors();
    while (src != srcEnd) {
        const U16* groupEnd = srcEnd - src < kGroupSize ? srcEnd : src + kGroupSize;
        src = encodeCarefully(sink, state, *selector++, src, groupEnd);
        if (src != groupEnd) break;
    }
    return src;
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" ZelStatus zelsEncodeHuff_BZ2_16u8u(uint32_t* pCode, int32_t* pCodeLenBits,
                                              const uint16_t** ppSrc, int32_t* pSrcLen,
                                              uint8_t* pDst, int32_t* pDstLen,
                                              const HuffBz2EncodeState* pState) {
    if (pCode == nullptr || pCodeLenBits == nullptr || ppSrc == nullptr || pSrcLen == nullptr ||
        *ppSrc == nullptr || pDst == nullptr || pDstLen == nullptr || pState == nullptr) {
        return zelStsNullPointer;
    }
    const auto& state = stateAt<EncodeLayout>(pState);
    const int32_t size = *pSrcLen;
    if (*pDstLen < 1 || size < 0 || size > state.symbolCount) return zelStsBadSize;
    if (!validBitCount(*pCodeLenBits)) return zelStsBadSize;
    const U16* src = anyAlignment(*ppSrc);
    if (!symbolsBelow(src, size, state.alphaSize)) return zelStsBadSize;

    BitSink sink(pDst, *pDstLen, *pCode, *pCodeLenBits);
    const auto coded = static_cast<int32_t>(encodeGroups(sink, state, src, src + size) - src);
    *ppSrc += coded;
    *pSrcLen = size - coded;
    *pCode = sink.bitBuf;
    *pCodeLenBits = sink.bitCount;
    *pDstLen = static_cast<int32_t>(sink.dstNext - pDst);
    return coded == size ? zelStsOk : zelStsDstFull;
}
