// Huffman blocks: header, body, end, and re-synchronisation, for either output.
#pragma once

#include "deflate/decode_bits.hpp"
#include "deflate/decode_dynamic_header.hpp"
#include "deflate/decode_output.hpp"

namespace zeldc::deflate {

// Decodes (the rest of) a block of one kind. Instantiated for both outputs.
template <class Output>
ZelStatus decodeFixedBlock(DecodeState& state, BitSource& bits, Output& out);
template <class Output>
ZelStatus decodeDynamicBlock(DecodeState& state, BitSource& bits, Output& out);

// Looks for the length fields of an empty stored block, byte by byte from the next byte boundary,
// and goes behind them. The phase stays as it is.
ZelStatus resynchronise(BitSource& bits);

inline bool asksToResynchronise(Lz77Flush flush) {
    return flush == Lz77FlushSync || flush == Lz77FlushFull;
}

// One invariant for all Huffman decoders: on return the bit buffer holds no whole byte that the
// call took and did not need, so that a stored block finds all of its bytes in the source. What
// stays are the bits of a unit that the source cut, and of a header that was refused.
inline void settleBits(BitSource& bits, ZelStatus status) {
    if (status != zelStsSrcExhausted && status != zelStsBadData) bits.handBack();
}

}  // namespace zeldc::deflate
