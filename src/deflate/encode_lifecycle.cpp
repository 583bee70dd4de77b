// Placing, resetting and steering the deflate encoder's state.
#include <cstring>

#include "core/alloc.hpp"
#include "core/state.hpp"
#include "deflate/encode_state.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

void useOwnPairs(EncodeState& state) {
    state.callerPairs.set(nullptr);
    state.pairIndex = 0;
    state.pairLength = kPairCapacity;
}

// What Init and Reset have in common; the tables are theirs.
void clearStream(EncodeState& state) {
    state.wideTables = 0;
    state.effort = 0;
    state.checksum = 0;
    state.totalIn = 0;
    state.sourceLeft = 0;
    state.lastFlush = Lz77FlushNone;
    state.bitBuf = 0;
    state.bitCount = 0;
    std::memset(&state.due, 0, sizeof state.due);
    std::memset(state.trailer, 0, sizeof state.trailer);
    state.countsMade = 0;
    useOwnPairs(state);
}

void init(EncodeState& state, Lz77Level level, Lz77Checksum checksum) {
    NarrowTables::init(state.history);
    clearStream(state);
    state.level = level;
    state.checksumKind = checksum;
    state.status = Lz77StatusInit;
    state.phase = 0;
    state.huffMode = 0;
    // A block coder called outside any block works with codes of no bits.
    std::memset(&state.dynamicCodes, 0, sizeof state.dynamicCodes);
}

void setStatus(EncodeState& state, Lz77EncodeStatus status) {
    state.status = status;
    if (status == Lz77StatusCollect) {
        state.pairIndex = 0;
        state.pairLength = kPairCapacity;
    } else if (status == Lz77StatusCode) {
        state.pairLength = state.pairIndex;
        state.pairIndex = 0;
        state.phase = kBlockStart;
        state.countsMade = 0;
    }
}

}  // namespace
}  // namespace zeldc::deflate

extern "C" {

using namespace zeldc;
using deflate::EncodeState;

ZelStatus zelsEncodeLZ77GetSize_8u(int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    *pSize = deflate::kEncodeStateSize;
    return zelStsOk;
}

ZelStatus zelsEncodeLZ77Init_8u(Lz77Level level, Lz77Checksum checksum, Lz77EncodeState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    deflate::init(stateAt<EncodeState>(pState), level, checksum);
    return zelStsOk;
}

ZelStatus zelsEncodeLZ77InitAlloc_8u(Lz77Level level, Lz77Checksum checksum,
                                     Lz77EncodeState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    return initAlloc(deflate::kEncodeStateSize, ppState, [=](Lz77EncodeState* state) {
        zelsEncodeLZ77Init_8u(level, checksum, state);
    });
}

ZelStatus zelsEncodeLZ77Reset_8u(Lz77EncodeState* pState) {
    auto& state = stateAt<EncodeState>(pState);
    NarrowTables::restart(state.history);
    deflate::clearStream(state);
    return zelStsOk;
}

ZelStatus zelsEncodeLZ77GetStatus_8u(Lz77EncodeStatus* pStatus, const Lz77EncodeState* pState) {
    *pStatus = stateAt<EncodeState>(pState).status;
    return zelStsOk;
}

ZelStatus zelsEncodeLZ77SetStatus_8u(Lz77EncodeStatus status, Lz77EncodeState* pState) {
    deflate::setStatus(stateAt<EncodeState>(pState), status);
    return zelStsOk;
}

ZelStatus zelsEncodeLZ77GetPairs_8u(Lz77Pair** ppPairs, int32_t* pPairsInd, int32_t* pPairsLen,
                                    Lz77EncodeState* pState) {
    if (ppPairs == nullptr || pPairsInd == nullptr || pPairsLen == nullptr || pState == nullptr) {
        return zelStsNullPointer;
    }
    auto& state = stateAt<EncodeState>(pState);
    Lz77Pair* const callerPairs = state.callerPairs.get();
    *ppPairs = callerPairs != nullptr ? callerPairs : reinterpret_cast<Lz77Pair*>(state.ownPairs);
    *pPairsInd = state.pairIndex;
    *pPairsLen = state.pairLength;
    return zelStsOk;
}

ZelStatus zelsEncodeLZ77SetPairs_8u(Lz77Pair* pPairs, int32_t pairsInd, int32_t pairsLen,
                                    Lz77EncodeState* pState) {
    if (pState == nullptr || pPairs == nullptr) return zelStsNullPointer;
    auto& state = stateAt<EncodeState>(pState);
    // The state's own buffer may be handed back to it.
    const bool own = static_cast<const void*>(pPairs) == static_cast<const void*>(state.ownPairs);
    state.callerPairs.set(own ? nullptr : pPairs);
    state.pairIndex = pairsInd;
    state.pairLength = pairsLen;
    return zelStsOk;
}

void zelsLZ77Free_8u(void* pState) {
    release(pState);
}

}  // extern "C"
