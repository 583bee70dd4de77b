// Huffman blocks straight to bytes.
#include "deflate/decode_blocks.hpp"
#include "deflate/inflate_kernel.hpp"

namespace zeldc::deflate {
namespace {

using ByteDecoder = ZelStatus(DecodeState&, BitSource&, ByteOutput&);

ZelStatus decodeBytes(ByteDecoder decoder, DecodeState& state, BitSource& bits, ByteOutput& out) {
    // A match that was cut comes first; a destination that it fills exactly is full.
    if (!out.finishPending() || out.full()) return zelStsDstFull;
    return decoder(state, bits, out);
}

ZelStatus decodeFull(ByteDecoder decoder, const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst,
                     int32_t* pDstLen, Lz77Flush flush, Lz77DecodeState* pState) {
    if (ppSrc == nullptr || ppDst == nullptr || pState == nullptr || pSrcLen == nullptr ||
        pDstLen == nullptr || *ppSrc == nullptr || *ppDst == nullptr) {
        return zelStsNullPointer;
    }
    if (*pSrcLen < 0 || *pDstLen < 0) return zelStsBadSize;
    if (*pDstLen == 0) return zelStsDstFull;
    DecodeState& state = decodeState(pState);
    BitSource bits(state.progress, *ppSrc, *pSrcLen);
    ByteOutput out(state, *ppDst, *pDstLen);
    const ZelStatus status =
        asksToResynchronise(flush) ? resynchronise(bits) : decodeBytes(decoder, state, bits, out);
    settleBits(bits, status);
    if (status != zelStsStreamEnd) out.keepHistory();
    bits.save(state.progress, ppSrc, pSrcLen);
    out.save(ppDst, pDstLen);
    return status;
}

// The kernel on its own: what it may not start on is left to the caller.
int32_t runHotSpot(DecodeState& state, BitSource& bits, const uint8_t* dstStart, uint8_t*& dstNext,
                   const uint8_t* dstEnd) {
    if (!state.progress.tablesBuilt || bits.srcLeft() < kSrcToEnter ||
        dstEnd - dstNext < kByteMargin || bits.count() >= kWordBits) {
        return kMarginsUsedUp;
    }
    KernelIo io{bits.srcNext(), bits.srcEnd(),
                dstNext,        dstEnd,
                dstStart,       state.window + int32_t{state.progress.windowEnd},
                &state.tables,  static_cast<Word>(bits.peek()),
                bits.count()};
    const int32_t result = decodeToBytes<DynamicCode>(io);
    bits.set(io.srcNext, io.bitBuf, io.bitCount);
    dstNext = io.dstNext;
    return result;
}

}  // namespace
}  // namespace zeldc::deflate

using namespace zeldc::deflate;

extern "C" {

ZelStatus zelsDecodeLZ77FixedHuffFull_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst,
                                         int32_t* pDstLen, Lz77Flush flush,
                                         Lz77DecodeState* pState) {
    return decodeFull(decodeFixedBlock<ByteOutput>, ppSrc, pSrcLen, ppDst, pDstLen, flush, pState);
}

ZelStatus zelsDecodeLZ77DynamicHuffFull_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst,
                                           int32_t* pDstLen, Lz77Flush flush,
                                           Lz77DecodeState* pState) {
    return decodeFull(decodeDynamicBlock<ByteOutput>, ppSrc, pSrcLen, ppDst, pDstLen, flush,
                      pState);
}

int32_t ownDecodeLZ77DHF_HotSpot(const uint8_t** ppSrc, int32_t* pSrcLen, const uint8_t* pDstStart,
                                 uint8_t** ppDst, int32_t* pDstLen, Lz77DecodeState* pState) {
    DecodeState& state = decodeState(pState);
    BitSource bits(state.progress, *ppSrc, *pSrcLen);
    uint8_t* dstNext = *ppDst;
    const uint8_t* const dstEnd = dstNext + extent(dstNext, *pDstLen);
    const int32_t result = runHotSpot(state, bits, pDstStart, dstNext, dstEnd);
    bits.handBack();
    bits.save(state.progress, ppSrc, pSrcLen);
    *pDstLen -= static_cast<int32_t>(dstNext - *ppDst);
    *ppDst = dstNext;
    return result;
}

}  // extern "C"
