// Huffman blocks to pairs.
#include "deflate/decode_blocks.hpp"

namespace zeldc::deflate {
namespace {

using PairDecoder = ZelStatus(DecodeState&, BitSource&, PairOutput&);

// No pointer is tested: that is the callers' part, here alone.
ZelStatus decodePairs(PairDecoder decoder, const uint8_t** ppSrc, int32_t* pSrcLen,
                      Lz77Pair** ppPairs, int32_t* pPairsLen, Lz77Flush flush,
                      Lz77DecodeState* pState) {
    if (*pSrcLen < 0 || *pPairsLen < 0) return zelStsBadSize;
    const bool resync = asksToResynchronise(flush);
    if (!resync && *pPairsLen == 0) return zelStsDstFull;
    DecodeState& state = decodeState(pState);
    BitSource bits(state.progress, *ppSrc, *pSrcLen);
    PairOutput out(*ppPairs, *pPairsLen);
    const ZelStatus status = resync ? resynchronise(bits) : decoder(state, bits, out);
    settleBits(bits, status);
    bits.save(state.progress, ppSrc, pSrcLen);
    out.save(ppPairs, pPairsLen);
    return status;
}

}  // namespace
}  // namespace zeldc::deflate

using namespace zeldc::deflate;

extern "C" {

ZelStatus zelsDecodeLZ77FixedHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen, Lz77Pair** ppPairs,
                                     int32_t* pPairsLen, Lz77Flush flush, Lz77DecodeState* pState) {
    return decodePairs(decodeFixedBlock<PairOutput>, ppSrc, pSrcLen, ppPairs, pPairsLen, flush,
                       pState);
}

ZelStatus zelsDecodeLZ77DynamicHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen, Lz77Pair** ppPairs,
                                       int32_t* pPairsLen, Lz77Flush flush,
                                       Lz77DecodeState* pState) {
    return decodePairs(decodeDynamicBlock<PairOutput>, ppSrc, pSrcLen, ppPairs, pPairsLen, flush,
                       pState);
}

}  // extern "C"
