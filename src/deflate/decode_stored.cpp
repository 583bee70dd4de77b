// Stored blocks (RFC 1951, section 3.2.4), to bytes and to pairs.
#include "deflate/decode_bits.hpp"
#include "deflate/decode_output.hpp"

namespace zeldc::deflate {
namespace {

ZelStatus endStored(DecodeProgress& progress) {
    progress.phase = phaseBetweenBlocks;
    progress.storedLeft = 0;
    return progress.finalBlock != 0 ? zelStsStreamEnd : zelStsOk;
}

// LEN is repeated as its complement, NLEN. Both stay in the buffer when they do not agree.
bool readStoredLength(BitSource& bits, uint32_t& length) {
    const auto both = static_cast<uint32_t>(bits.peek());
    length = both & 0xFFFF;
    if (length != (~both >> 16)) return false;
    bits.consume(32);
    return true;
}

ZelStatus readStoredHeader(DecodeProgress& progress, BitSource& bits) {
    if (progress.phase == phaseStoredHeaderRead) {
        bits.skipToByteBoundary();
        progress.phase = phaseStoredLength;
    }
    if (progress.phase != phaseStoredLength) return zelStsOk;
    if (!bits.ensure(32)) return zelStsSrcExhausted;
    uint32_t length = 0;
    if (!readStoredLength(bits, length)) return zelStsBadSize;
    if (length == 0) return endStored(progress);
    progress.phase = phaseStoredBuffered;
    progress.storedLeft = static_cast<int32_t>(length);
    return zelStsOk;
}

// Bytes that were read ahead with LEN reach the destination but not the history. The block decoders
// leave none in the buffer, so that ordinary streams lose no history by it. A block shorter than
// what is buffered leaves the rest there.
bool deliverBuffered(DecodeProgress& progress, BitSource& bits, uint8_t*& dstNext,
                     const uint8_t* dstEnd) {
    while (bits.count() >= 8 && progress.storedLeft > 0) {
        if (dstNext == dstEnd) return false;
        *dstNext++ = static_cast<uint8_t>(bits.peek());
        bits.consume(8);
        --progress.storedLeft;
    }
    progress.phase = phaseStoredCopy;
    return true;
}

ZelStatus copyStored(DecodeState& state, BitSource& bits, uint8_t*& dstNext,
                     const uint8_t* dstEnd) {
    const auto room = static_cast<int32_t>(dstEnd - dstNext);
    const int32_t count = std::min({bits.srcLeft(), int32_t{state.progress.storedLeft}, room});
    if (count > 0) {
        const auto size = static_cast<size_t>(count);
        std::memcpy(dstNext, bits.srcNext(), size);
        appendHistory(state, bits.srcNext(), size);
        bits.skipBytes(count);
        dstNext += count;
        state.progress.storedLeft -= count;
    }
    if (state.progress.storedLeft == 0) return endStored(state.progress);
    return dstNext != dstEnd ? zelStsSrcExhausted : zelStsDstFull;
}

ZelStatus decodeStored(DecodeState& state, BitSource& bits, uint8_t*& dstNext,
                       const uint8_t* dstEnd) {
    DecodeProgress& progress = state.progress;
    if (progress.phase < phaseStoredHeaderRead || progress.phase > phaseStoredCopy)
        return zelStsBadData;
    if (progress.phase < phaseStoredBuffered) {
        const ZelStatus status = readStoredHeader(progress, bits);
        if (status != zelStsOk || progress.phase == phaseBetweenBlocks) return status;
    }
    if (progress.phase == phaseStoredBuffered &&
        !deliverBuffered(progress, bits, dstNext, dstEnd)) {
        return zelStsDstFull;
    }
    return copyStored(state, bits, dstNext, dstEnd);
}

// The header as the pair decoder reads it for itself.
ZelStatus readStoredBlockStart(DecodeProgress& progress, BitSource& bits) {
    if (!bits.ensure(3)) return zelStsSrcExhausted;
    const auto header = static_cast<uint32_t>(bits.peek()) & 7;
    if (header > 1) return zelStsBadData;
    if (header == 1) progress.finalBlock = 1;
    progress.blockType = Lz77BlockStored;
    progress.phase = phaseHeaderRead;
    bits.consume(3);
    return zelStsOk;
}

// On zelStsOk the phase says whether the block, an empty one, has ended.
ZelStatus readStoredPairsLength(DecodeProgress& progress, BitSource& bits) {
    bits.skipToByteBoundary();
    // At least one byte is asked of the source, also when 32 bits are there.
    if (!bits.takeByte() && bits.srcLeft() == 0) return zelStsSrcExhausted;
    if (!bits.ensure(32)) return zelStsSrcExhausted;
    uint32_t length = 0;
    if (!readStoredLength(bits, length)) return zelStsBadSize;
    if (length == 0) return endStored(progress);
    progress.storedLeft = static_cast<int32_t>(length);
    progress.phase = phaseBody;
    return zelStsOk;
}

ZelStatus copyStoredPairs(DecodeProgress& progress, BitSource& bits, PairOutput& out) {
    // Bytes that are buffered wait for the source to have something again.
    if (bits.srcLeft() == 0) return zelStsSrcExhausted;
    if (out.full()) return zelStsDstFull;
    while (progress.storedLeft > 0) {
        if (bits.srcLeft() == 0) return zelStsSrcExhausted;
        if (out.full()) return zelStsDstFull;
        if (bits.count() < 8) bits.takeByte();
        out.literal(static_cast<uint32_t>(bits.peek()) & 0xFF);
        bits.consume(8);
        --progress.storedLeft;
    }
    return endStored(progress);
}

ZelStatus decodeStoredPairs(DecodeProgress& progress, BitSource& bits, PairOutput& out) {
    if (progress.phase != phaseBody) {
        if (progress.phase != phaseHeaderRead) {
            const ZelStatus status = readStoredBlockStart(progress, bits);
            if (status != zelStsOk) return status;
        }
        const ZelStatus status = readStoredPairsLength(progress, bits);
        if (status != zelStsOk || progress.phase == phaseBetweenBlocks) return status;
    }
    return copyStoredPairs(progress, bits, out);
}

}  // namespace
}  // namespace zeldc::deflate

using namespace zeldc::deflate;

extern "C" {

ZelStatus zelsDecodeLZ77StoredBlock_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst,
                                       int32_t* pDstLen, Lz77DecodeState* pState) {
    if (ppSrc == nullptr || pDstLen == nullptr || ppDst == nullptr || pSrcLen == nullptr)
        return zelStsNullPointer;
    if (*ppSrc == nullptr || *ppDst == nullptr || pState == nullptr) return zelStsNullPointer;
    if (*pDstLen < 1 || *pSrcLen < 0) return zelStsBadSize;
    DecodeState& state = decodeState(pState);
    BitSource bits(state.progress, *ppSrc, *pSrcLen);
    uint8_t* dstNext = *ppDst;
    const uint8_t* const dstEnd = dstNext + extent(dstNext, *pDstLen);
    const ZelStatus status = decodeStored(state, bits, dstNext, dstEnd);
    bits.save(state.progress, ppSrc, pSrcLen);
    *pDstLen -= static_cast<int32_t>(dstNext - *ppDst);
    *ppDst = dstNext;
    return status;
}

ZelStatus zelsDecodeLZ77StoredHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen, Lz77Pair** ppPairs,
                                      int32_t* pPairsLen, Lz77DecodeState* pState) {
    if (ppSrc == nullptr || ppPairs == nullptr || pSrcLen == nullptr || pPairsLen == nullptr)
        return zelStsNullPointer;
    if (*ppSrc == nullptr || *ppPairs == nullptr || pState == nullptr) return zelStsNullPointer;
    if (*pSrcLen < 0 || *pPairsLen < 0) return zelStsBadSize;
    DecodeProgress& progress = decodeState(pState).progress;
    BitSource bits(progress, *ppSrc, *pSrcLen);
    PairOutput out(*ppPairs, *pPairsLen);
    const ZelStatus status = decodeStoredPairs(progress, bits, out);
    bits.save(progress, ppSrc, pSrcLen);
    out.save(ppPairs, pPairsLen);
    return status;
}

}  // extern "C"
