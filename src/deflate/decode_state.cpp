// Lifecycle of the deflate decoder: placement, reset, copying, dictionary, accessors.
#include "deflate/decode_state.hpp"

namespace zeldc::deflate {
namespace {

// The scalars of a new stream, apart from the checksum kind, the pair buffer and the history.
void clearProgress(DecodeProgress& progress) {
    progress.bitBuf = 0;
    progress.bitCount = 0;
    progress.phase = phaseBetweenBlocks;
    progress.storedLeft = 0;
    progress.finalBlock = 0;
    progress.endOfStream = 0;
    progress.pendingLength = 0;
    progress.pendingDistance = 0;
    progress.litLenCount = 0;
    progress.distanceCount = 0;
    progress.codeLengthCount = 0;
    progress.lengthsRead = 0;
    progress.tablesBuilt = 0;
    progress.pairsPosition = 0;
    progress.pairsLength = kDecodePairs;
    progress.status = 0;
}

void initialise(DecodeState& state, Lz77Checksum checksum) {
    clearProgress(state.progress);
    state.progress.checksum = checksum;
    state.progress.blockType = Lz77BlockFixed;
    state.progress.windowEnd = static_cast<int32_t>(kFarthestDistance);
    state.pairBuffer.set(reinterpret_cast<Lz77Pair*>(state.pairs));
}

void reset(DecodeState& state) {
    clearProgress(state.progress);
    std::memset(state.lengths, 0, sizeof state.lengths);
    std::memset(&state.tables, 0, sizeof state.tables);
}

// The dictionary takes the last places of the history; what is farther back stays.
void setDictionary(DecodeState& state, const uint8_t* dictionary, int32_t size) {
    const uint32_t used = std::min(static_cast<uint32_t>(size), kFarthestDistance);
    std::memcpy(state.window + int32_t{state.progress.windowEnd} - used, dictionary, used);
}

void copyState(const DecodeState& from, DecodeState& to) {
    std::memmove(&to.tables, &from.tables, sizeof to.tables);
    std::memmove(to.window, from.window, sizeof to.window);
    std::memmove(to.lengths, from.lengths, sizeof to.lengths);
    std::memmove(&to.progress, &from.progress, sizeof to.progress);
    std::memmove(static_cast<void*>(to.pairBuffer.get()), from.pairBuffer.get(), sizeof to.pairs);
}

}  // namespace

void appendHistory(DecodeState& state, const uint8_t* bytes, size_t size) {
    if (size >= kFarthestDistance) {
        std::memcpy(state.window, bytes + (size - kFarthestDistance), kFarthestDistance);
        state.progress.windowEnd = static_cast<int32_t>(kFarthestDistance);
        return;
    }
    auto end = static_cast<uint32_t>(int32_t{state.progress.windowEnd});
    if (end + size > kWindowSize) {
        const uint32_t kept = kFarthestDistance - static_cast<uint32_t>(size);
        std::memmove(state.window, state.window + end - kept, kept);
        end = kept;
    }
    std::memcpy(state.window + end, bytes, size);
    state.progress.windowEnd = static_cast<int32_t>(end + size);
}

}  // namespace zeldc::deflate

using namespace zeldc;
using namespace zeldc::deflate;

extern "C" {

ZelStatus zelsDecodeLZ77GetSize_8u(int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    *pSize = kDecodeStateSize;
    return zelStsOk;
}

ZelStatus zelsDecodeLZ77Init_8u(Lz77Checksum checksum, Lz77DecodeState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    initialise(decodeState(pState), checksum);
    return zelStsOk;
}

ZelStatus zelsDecodeLZ77InitAlloc_8u(Lz77Checksum checksum, Lz77DecodeState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    return initAlloc(kDecodeStateSize, ppState,
                     [=](Lz77DecodeState* state) { zelsDecodeLZ77Init_8u(checksum, state); });
}

ZelStatus zelsDecodeLZ77Reset_8u(Lz77DecodeState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    reset(decodeState(pState));
    return zelStsOk;
}

ZelStatus zelsDecodeLZ77SetDictionary_8u(const uint8_t* pDict, int32_t dictLen,
                                         Lz77DecodeState* pState) {
    if (pDict == nullptr || pState == nullptr) return zelStsNullPointer;
    if (dictLen < 1) return zelStsBadSize;
    setDictionary(decodeState(pState), pDict, dictLen);
    return zelStsOk;
}

ZelStatus zelsDecodeLZ77GetPairs_8u(Lz77Pair** ppPairs, int32_t* pPairsPos, int32_t* pPairsLen,
                                    const Lz77DecodeState* pState) {
    if (ppPairs == nullptr || pPairsPos == nullptr || pPairsLen == nullptr || pState == nullptr)
        return zelStsNullPointer;
    const auto& state = stateAt<DecodeState>(pState);
    *ppPairs = state.pairBuffer.get();
    *pPairsPos = state.progress.pairsPosition;
    *pPairsLen = state.progress.pairsLength;
    return zelStsOk;
}

ZelStatus zelsDecodeLZ77SetPairs_8u(Lz77Pair* pPairs, int32_t pairsPos, int32_t pairsLen,
                                    Lz77DecodeState* pState) {
    if (pPairs == nullptr || pState == nullptr) return zelStsNullPointer;
    DecodeState& state = decodeState(pState);
    state.pairBuffer.set(pPairs);
    state.progress.pairsPosition = pairsPos;
    state.progress.pairsLength = pairsLen;
    return zelStsOk;
}

ZelStatus zelsDecodeLZ77GetStatus_8u(int32_t* pStatus, const Lz77DecodeState* pState) {
    *pStatus = stateAt<DecodeState>(pState).progress.status;
    return zelStsOk;
}

ZelStatus zelsDecodeLZ77SetStatus_8u(int32_t status, Lz77DecodeState* pState) {
    decodeState(pState).progress.status = status;
    return zelStsOk;
}

ZelStatus zelsDecodeLZ77CopyState_8u(const Lz77DecodeState* pSrcState, Lz77DecodeState* pDstState) {
    if (pSrcState == nullptr || pDstState == nullptr) return zelStsNullPointer;
    copyState(stateAt<DecodeState>(pSrcState), decodeState(pDstState));
    return zelStsOk;
}

}  // extern "C"
