// The trailer that follows the final block.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "deflate/encode_state.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

constexpr uint8_t kAdlerTrailer = 4;
constexpr uint8_t kCrcTrailer = 8;

uint8_t trailerSize(const EncodeState& state) {
    return state.checksumKind == Lz77ChecksumAdler32 ? kAdlerTrailer : kCrcTrailer;
}

void stageTrailer(EncodeState& state) {
    if (state.checksumKind == Lz77ChecksumAdler32) {
        storeBe(state.trailer, uint32_t{state.checksum});
        return;
    }
    store(state.trailer, uint32_t{state.checksum});
    store(state.trailer + 4, uint32_t{state.totalIn});
}

// Copies what of the trailer fits, and returns how much that was.
uint8_t writeTrailer(EncodeState& state, uint8_t* dst, int32_t room) {
    DueOutput& due = state.due;
    if (due.trailerUnderWay == 0) {
        stageTrailer(state);
        due.trailerNext = 0;
        due.trailerUnderWay = 1;
    }
    const int32_t left = trailerSize(state) - due.trailerNext;
    const auto copied = static_cast<uint8_t>(std::clamp(room, 0, left));
    if (copied != 0) std::memcpy(dst, state.trailer + due.trailerNext, copied);
    due.trailerNext = static_cast<uint8_t>(due.trailerNext + copied);
    return copied;
}

bool checksumKnown(const EncodeState& state) {
    return state.checksumKind >= Lz77ChecksumNone && state.checksumKind <= Lz77ChecksumCrc32;
}

}  // namespace
}  // namespace zeldc::deflate

extern "C" ZelStatus zelsEncodeLZ77Flush_8u(uint8_t** ppDst, int32_t* pDstLen,
                                            Lz77EncodeState* pState) {
    using namespace zeldc;
    using namespace zeldc::deflate;
    auto& state = stateAt<EncodeState>(pState);
    if (state.status != Lz77StatusFinal || !checksumKnown(state)) return zelStsBadData;
    const uint8_t written = writeTrailer(state, *ppDst, *pDstLen);
    *ppDst += written;
    *pDstLen -= written;
    if (state.due.trailerNext != trailerSize(state)) {
        state.phase = kCutShort;
        return zelStsDstFull;
    }
    state.due.trailerNext = 0;
    state.due.trailerUnderWay = 0;
    state.phase = kStreamEnded;
    return zelStsOk;
}
