// Stored blocks (RFC 1951, section 3.2.4).
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/state.hpp"
#include "deflate/encode_block.hpp"
#include "deflate/encode_state.hpp"
#include "deflate/format.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

// Advances through the steps of a stored block; true when the block is complete.
bool writeStored(EncodeState& state, BitSink& sink, const uint8_t*& srcNext, int32_t srcLen,
                 Lz77Flush flush) {
    DueOutput& due = state.due;
    if (due.storedStep == kStoredHeader) {
        if (!sink.drain() || !finishEarlierBlock(state, sink)) return false;
        state.countsMade = 0;
        due.headerHeld = 0;
        due.finalBytes = 0;
        sink.append(kStoredBlock << 1 | (flush == Lz77FlushFinal ? 1U : 0U), 3);
        sink.padToByte();
        due.storedStep = kStoredHeaderBytes;
    }
    if (!sink.drain()) return false;
    if (due.storedStep == kStoredHeaderBytes) {
        const auto length = static_cast<uint32_t>(srcLen);
        sink.append(length | (length ^ 0xFFFF) << 16, 32);
        due.storedStep = kStoredLengths;
        if (!sink.drain()) return false;
    }
    due.storedStep = kStoredData;
    const size_t copied = std::min(static_cast<size_t>(srcLen), sink.room());
    if (copied != 0) std::memcpy(sink.dstNext, srcNext, copied);
    sink.dstNext += copied;
    srcNext += copied;
    if (copied != static_cast<size_t>(srcLen)) return false;
    due.storedStep = kStoredHeader;
    return true;
}

ZelStatus codeStored(EncodeState& state, BitSink& sink, const uint8_t*& srcNext, int32_t srcLen,
                     Lz77Flush flush) {
    if (!writeStored(state, sink, srcNext, srcLen, flush)) return zelStsDstFull;
    if (flush != Lz77FlushFinal) return zelStsOk;
    state.phase = kStreamEnded;
    return zelStsStreamEnd;
}

}  // namespace
}  // namespace zeldc::deflate

extern "C" ZelStatus zelsEncodeLZ77StoredBlock_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                  uint8_t** ppDst, int32_t* pDstLen,
                                                  Lz77Flush flush, Lz77EncodeState* pState) {
    using namespace zeldc;
    using namespace zeldc::deflate;
    if (ppSrc == nullptr || pSrcLen == nullptr || ppDst == nullptr || pDstLen == nullptr) {
        return zelStsNullPointer;
    }
    if (*ppSrc == nullptr || *ppDst == nullptr || pState == nullptr) return zelStsNullPointer;
    if (*pSrcLen < 0 || *pDstLen < 0) return zelStsBadSize;
    if (*pDstLen == 0) return zelStsDstFull;
    if (*pSrcLen > kLongestStored) return zelStsBadSize;

    auto& state = stateAt<EncodeState>(pState);
    const uint8_t* srcNext = *ppSrc;
    BitSink sink = openSink(state, *ppDst, *pDstLen);
    const ZelStatus status = codeStored(state, sink, srcNext, *pSrcLen, flush);
    closeSink(state, sink);
    *pSrcLen -= static_cast<int32_t>(srcNext - *ppSrc);
    *ppSrc = srcNext;
    *pDstLen -= static_cast<int32_t>(sink.dstNext - *ppDst);
    *ppDst = sink.dstNext;
    return status;
}
