// The deflate encoder's state, one block of 598928 bytes at any address.
#pragma once

#include <cstdint>

#include "core/hash_chain.hpp"
#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "deflate/encode_codes.hpp"
#include "deflate/format.hpp"
#include "zeldc.h"

namespace zeldc::deflate {

constexpr int32_t kEncodeStateSize = 598928;
constexpr int32_t kPairCapacity = 65280;

// Progress of the block coders.
enum Phase : int32_t {
    kBlockStart = 2,   // the header is still to be written
    kCutShort = 3,     // the destination was full
    kBlockEnded = 4,   // the stream continues
    kStreamEnded = 5,  // the final block is complete and byte-aligned
};

enum StoredStep : uint8_t {
    kStoredHeader = 0,
    kStoredHeaderBytes = 1,
    kStoredLengths = 2,
    kStoredData = 3,
};

// What was begun and is owed to the destination. Fields at 0 owe nothing.
struct DueOutput {
    uint8_t headerHeld;   // a block start met a destination without room
    uint8_t blockOpen;    // an end-of-block code is owed
    uint8_t closing;      // 1 + the Lz77Flush that the open block is to end with; 0: not known
    uint8_t markerBytes;  // of the sync marker
    uint8_t finalBytes;   // the last bytes of the final block wait in the bit buffer
    uint8_t storedStep;   // StoredStep
    uint8_t trailerUnderWay;
    uint8_t trailerNext;
    U16 headerNext;  // of the dynamic header's strings
    U16 headerEnd;
    U32 endOfBlock;  // bit string of the open block
};

// The dynamic header: the block's 17 bits, the code-length code's lengths (8 to a string), and at
// most one string per code length.
constexpr int32_t kHeaderStrings = 1 + 3 + kLitLenSymbols + kDistanceSymbols;

struct EncodeState {
    MatchHistory history;
    U32 ownPairs[kPairCapacity];

    // The tables start narrow. A full flush asks for distances and stale positions that only wide
    // ones can hold, until the next Init or Reset.
    uint8_t wideTables;
    // Best level: remote candidates of the last searches, per 256 bytes; 0 is not known.
    U32 effort;

    S32 level;
    S32 checksumKind;
    U32 checksum;
    U32 totalIn;     // source bytes since Init, Reset or the last full flush, modulo 2^32
    S32 sourceLeft;  // what the last generator call left to its caller
    S32 lastFlush;   // of the generator
    S32 status;
    S32 phase;

    U64 bitBuf;
    U32 bitCount;

    CallerPointer<Lz77Pair> callerPairs;  // null: the state's own
    S32 pairIndex;
    S32 pairLength;

    DueOutput due;
    uint8_t trailer[8];

    uint8_t countsMade;  // litLenCounts are those of the block to come
    uint8_t huffMode;
    U32 litLenCounts[kLitLenSymbols];
    PairCodes dynamicCodes;
    U32 headerStrings[kHeaderStrings];
};
static_assert(alignof(EncodeState) == 1 && sizeof(EncodeState) <= kEncodeStateSize);

inline bool finalWithNothingLeft(const EncodeState& state, Lz77Flush flush) {
    return flush == Lz77FlushFinal && state.sourceLeft == 0;
}

}  // namespace zeldc::deflate
