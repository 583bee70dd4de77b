// The deflate decoder's state: its layout, and the history in it.
#pragma once

#include <algorithm>
#include <cstring>

#include "core/state.hpp"
#include "deflate/decode_tables.hpp"
#include "zeldc.h"

namespace zeldc::deflate {

constexpr int32_t kDecodeStateSize = 112876;
constexpr int32_t kDecodePairs = 8192;
// What is left of twice the history by tables that are faster when they are larger.
constexpr uint32_t kWindowSize = 57344;

// Where the decoder stands inside the current block. Pair decoders of stored blocks use
// blockHeaderRead for "LEN and NLEN are next" and body for copying.
enum Phase : int32_t {
    phaseBetweenBlocks = 0,
    phaseHeaderRead = 1,      // dynamic: HLIT, HDIST and HCLEN are next
    phaseCodeLengthCode = 2,  // dynamic: lengths of the code-length code
    phaseCodeLengths = 3,     // dynamic: lengths of both codes
    phaseBody = 4,
    phaseStoredHeaderRead = 8,  // stored: skip to the byte boundary
    phaseStoredLength = 9,      // stored: LEN and NLEN
    phaseStoredBuffered = 10,   // stored: whole bytes in the bit buffer
    phaseStoredCopy = 11,       // stored: bytes of the source
};

// Everything that CopyState copies as it stands.
struct DecodeProgress {
    S32 checksum;
    U64 bitBuf;  // bits above bitCount are 0
    S32 bitCount;
    S32 phase;
    S32 storedLeft;
    S32 finalBlock;
    S32 endOfStream;
    S32 blockType;
    S32 status;
    S32 windowEnd;  // see window
    S32 pendingLength;
    S32 pendingDistance;
    S32 pairsPosition;
    S32 pairsLength;

    // The dynamic header so far.
    S32 litLenCount;
    S32 distanceCount;
    S32 codeLengthCount;
    S32 lengthsRead;
    // Whether `tables` hold a code: a body may be entered before any header has been read.
    S32 tablesBuilt;
    // By the next seven bits: symbol in the low byte, length of its code above.
    U16 codeLengthTable[128];
};

struct DecodeState {
    Tables tables;
    // The history: the bytes before windowEnd, which lies in 32768 .. kWindowSize. New bytes are
    // appended at windowEnd; when there is no room, what is still needed moves to the start first,
    // which costs nothing per call and at most one move in 24576 bytes. Copies of matches read up
    // to kCopyOverrun bytes too far: the pairs lie behind.
    uint8_t window[kWindowSize];
    uint8_t pairs[kDecodePairs * sizeof(Lz77Pair)];
    U16 lengths[kLitLenAlphabet + kDistanceAlphabet];
    DecodeProgress progress;
    CallerPointer<Lz77Pair> pairBuffer;
    uint8_t spare[kDecodeStateSize - sizeof(Tables) - kWindowSize -
                  kDecodePairs * sizeof(Lz77Pair) -
                  (kLitLenAlphabet + kDistanceAlphabet) * sizeof(U16) - sizeof(DecodeProgress) -
                  sizeof(CallerPointer<Lz77Pair>)];
};
static_assert(sizeof(DecodeState) == kDecodeStateSize);

inline DecodeState& decodeState(Lz77DecodeState* pState) {
    return stateAt<DecodeState>(pState);
}

// How many of the `count` elements that a caller says an array has can lie behind `array` at all: a
// length may stand for "more than enough", and no end may wrap around to low addresses.
template <class T>
size_t extent(const T* array, int32_t count) {
    const size_t room = ~reinterpret_cast<uintptr_t>(array) / sizeof(T);
    return std::min(static_cast<size_t>(std::max(count, 0)), room);
}

// Adds what a call has produced to the history.
void appendHistory(DecodeState& state, const uint8_t* bytes, size_t size);

// Copies `count` <= `back` bytes of history, from `back` (1..65535) bytes before its end on. What
// lies before the window is taken from its other end: it is no history, only memory of the state.
inline void copyHistory(const DecodeState& state, uint32_t back, uint8_t* dst, uint32_t count) {
    const auto end = static_cast<uint32_t>(int32_t{state.progress.windowEnd});
    const uint32_t position = end >= back ? end - back : end + kWindowSize - back;
    const uint32_t first = std::min(count, kWindowSize - position);
    std::memcpy(dst, state.window + position, first);
    std::memcpy(dst + first, state.window, count - first);
}

}  // namespace zeldc::deflate
