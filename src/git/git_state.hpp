// The states of the GIT coder and the sizes that their GetSize operations report.
#pragma once

#include <cstdint>

#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "git/rice.hpp"
#include "zeldc.h"

namespace zeldc::git {

constexpr uint32_t kSlots = 256;
constexpr uint32_t kLastSlot = kSlots - 1;

// Stream and byte value belong together for good; which slot a value is in changes.
constexpr uint32_t streamOf(uint8_t value) {
    return kLastSlot - value;
}

// Length word before each stream of a coded block.
constexpr uint32_t kLengthBytes = 4;
constexpr uint32_t kLengthWords = kSlots * kLengthBytes;

constexpr uint32_t roundedDown8(int32_t n) {
    return static_cast<uint32_t>(n) & ~7U;
}

// ---- encoder ----

constexpr int32_t kLeastSrcLimit = 4096;
constexpr int32_t kLeastDstLimit = 8192;
constexpr uint32_t kStreamSlack = 32;
constexpr uint32_t kEncoderTables = 25720;

struct EncodeStream {
    U32 offset;    // of its bytes, from the state
    U32 bitCount;  // bits written
    StoredStats stats;
    uint8_t unused[2];
};

struct EncodeState {
    S32 srcLimit;
    S32 dstLimit;
    U32 bitLimit;  // kCodeRoom bytes before each buffer's end: no code begins behind it
    EncodeStream streams[kSlots];
    // The buffers follow; coded blocks are assembled in the destination itself.
};
static_assert(sizeof(EncodeState) <= kEncoderTables);

// A code is begun only where this many bytes of the buffer are left. The longest code, an escape
// of a 31-bit value, has 8 + 5 ones, up to 1 + 7 + 1 further bits of prefix and 54 low bits, less
// than ten bytes; written as 32-bit words, it touches less than 14. A padding byte still fits.
constexpr uint32_t kCodeRoom = 16;

// ---- decoder ----

constexpr uint32_t kDecoderStreamSlack = 8;
constexpr uint32_t kDecoderTables = 26776;

struct DecodeStream {
    U32 offset;       // of its bytes, from the coded block
    U32 bitPosition;  // of the next code
    U32 bitEnd;
    StoredStats stats;
    uint8_t unused[2];
    U32 interval;  // decoded ahead: what the value's next occurrence restarts its slot with
};

struct DecodeState {
    S32 dstLimit;
    U32 blockSpace;  // bytes from `block` to the end of the state
    DecodeStream streams[kSlots];
    uint8_t block[kLengthWords];  // and on: a copy of a coded block that its output would overwrite
};

// What the streams of one coded block may hold together.
constexpr uint64_t streamArea(int32_t dstLimit) {
    return uint64_t{kSlots} * (roundedDown8(dstLimit) + kDecoderStreamSlack);
}

// The copy of a block that fills the area still fits, length words and all.
static_assert(sizeof(DecodeState) <= kDecoderTables);

}  // namespace zeldc::git
