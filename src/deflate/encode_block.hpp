// The frame that fixed and dynamic blocks share: header, pairs, end of block, flush, and going on
// after a full destination.
#pragma once

#include <cstdint>

#include "core/unaligned.hpp"
#include "deflate/encode_bits.hpp"
#include "deflate/encode_state.hpp"
#include "zeldc.h"

namespace zeldc::deflate {

// A pair as one word: the length in the low half.
using PairWord = U32;

struct PairSource {
    const PairWord* next;
    const PairWord* end;

    bool empty() const { return next == end; }
};

// Begins the output of a call: what the state holds of it.
inline BitSink openSink(const EncodeState& state, uint8_t* dst, int32_t size) {
    return {dst, dst + size, state.bitBuf, state.bitCount};
}
inline void closeSink(EncodeState& state, const BitSink& sink) {
    state.bitBuf = sink.bitBuf;
    state.bitCount = sink.bitCount;
}

// Ends a block that its caller left unfinished, and writes its marker; true when all of it is out.
// Blocks of every kind call this first.
bool finishEarlierBlock(EncodeState& state, BitSink& sink);

// What the kinds of blocks differ in: `beginHeader` appends the first bits of a header or lays out
// its strings in the state, for the pairs of the block to come, and sets due.endOfBlock.
struct BlockKind {
    void (*beginHeader)(EncodeState& state, BitSink& sink, PairSource pairs, bool isFinal);
    const PairCodes& (*codes)(const EncodeState& state);
};

// A whole call of a block coder, arguments checked in the documented order.
ZelStatus codeBlock(const BlockKind& kind, const Lz77Pair** ppSrc, int32_t* pSrcLen,
                    uint8_t** ppDst, int32_t* pDstLen, Lz77Flush flush, Lz77EncodeState* pState);

}  // namespace zeldc::deflate
