// The three bits before each block (RFC 1951, section 3.2.3), for callers that choose the decoder.
#include "deflate/decode_bits.hpp"

namespace zeldc::deflate {
namespace {

struct BlockStart {
    Lz77BlockType type;
    Phase phase;
};

// By BTYPE.
constexpr BlockStart kBlockStarts[3] = {
    {Lz77BlockStored, phaseStoredHeaderRead},
    {Lz77BlockFixed, phaseBody},
    {Lz77BlockDynamic, phaseHeaderRead},
};

ZelStatus readBlockType(DecodeProgress& progress, BitSource& bits, Lz77BlockType* pBlockType) {
    if (progress.phase != phaseBetweenBlocks) {
        *pBlockType = progress.blockType;
        return zelStsOk;
    }
    if (!bits.ensure(3)) return zelStsSrcExhausted;
    const auto header = static_cast<uint32_t>(bits.peek()) & 7;
    bits.consume(3);
    progress.finalBlock = static_cast<int32_t>(header & 1);
    const uint32_t kind = header >> 1;
    // The reserved kind passes without an error: the block decoders refuse it.
    if (kind == 3) return zelStsOk;
    progress.blockType = kBlockStarts[kind].type;
    progress.phase = kBlockStarts[kind].phase;
    *pBlockType = kBlockStarts[kind].type;
    return zelStsOk;
}

}  // namespace
}  // namespace zeldc::deflate

using namespace zeldc::deflate;

extern "C" ZelStatus zelsDecodeLZ77GetBlockType_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                   Lz77BlockType* pBlockType,
                                                   Lz77DecodeState* pState) {
    if (ppSrc == nullptr || pSrcLen == nullptr || pBlockType == nullptr || pState == nullptr)
        return zelStsNullPointer;
    if (*ppSrc == nullptr) return zelStsNullPointer;
    if (*pSrcLen < 0) return zelStsBadSize;
    DecodeProgress& progress = decodeState(pState).progress;
    BitSource bits(progress, *ppSrc, *pSrcLen);
    const ZelStatus status = readBlockType(progress, bits, pBlockType);
    bits.save(progress, ppSrc, pSrcLen);
    return status;
}
