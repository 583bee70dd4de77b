// The state of the LZSS coder, one for both directions, and its token format.
#pragma once

#include <cstdint>

#include "core/hash_chain.hpp"
#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::lzss {

// Tokens, most significant bit first. Literal: 1, the byte. Match: 0, distance, length - 3.
constexpr uint32_t kLiteralFlag = 1U << 8;
constexpr uint32_t kLiteralBits = 9;
constexpr uint32_t kMatchLengthBits = 8;
constexpr uint32_t kMatchBits = 24;
static_assert(kMaxMatch - kMinMatch == (1U << kMatchLengthBits) - 1);

struct State {
    // The decoder uses the window only.
    MatchHistory history;
    U32 bitBuf;    // pending bits, the oldest in bit 31, zeros below them
    U32 bitCount;  // 0..31
    // Decoder: a match of which `pendingLength` bytes are still to be written, and where the
    // history ends in the window; at least kHistorySize bytes of it lie before.
    U32 pendingDistance;
    U32 pendingLength;
    U32 historyEnd;
    uint8_t unused[16];
};
static_assert(sizeof(State) == 327724 && alignof(State) == 1);

// The part of Init that both directions have; the tables or the window come on top.
inline void startStream(State& state) {
    state.bitBuf = 0;
    state.bitCount = 0;
    state.pendingDistance = 0;
    state.pendingLength = 0;
    state.historyEnd = kHistorySize;
}

}  // namespace zeldc::lzss
