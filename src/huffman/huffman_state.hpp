// The state of the byte Huffman coder, one for both directions, and the code that its lengths
// determine.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::huffman {

constexpr int32_t kSymbols = 256;
constexpr int32_t kMaxCodeLength = 32;

struct State {
    S32 lengths[kSymbols];  // 0: the byte has no code
    U32 codes[kSymbols];    // right-aligned
    // The rest serves the decoder, apart from maxLength and the bit buffer.
    uint8_t symbols[kSymbols];       // in code order: longest codes first, zeros behind the last
    U32 firstCode[kMaxCodeLength];   // [L - 1]: first code of length L, shifted to maxLength bits
    S32 cumulative[kMaxCodeLength];  // [L - 1]: number of codes of lengths minLength to L
    // Where the tables start for indices that are lengths, and where the symbols end. Null in a
    // state that is no decoder: that is what they are looked at for.
    StateRef<U32> firstCodeByLength;
    StateRef<S32> cumulativeByLength;
    StateRef<uint8_t> symbolsEnd;
    S32 maxLength;
    S32 minLength;
    U32 bitBuf;          // pending bits, the oldest in bit 31, zeros below them
    S32 bitCount;        // encoder: 0..31; decoder: 0..24
    S32 pendingZeros;    // 0 bits taken from the source in whole bytes, ahead of bitBuf
    uint8_t zeroSymbol;  // the byte whose code is all zeros
    uint8_t unused[3];
};
static_assert(sizeof(State) == 2596 && alignof(State) == 1);

// How many codes there are of each length, and the first code of each. The codes of one length are
// dealt out in descending order of the byte values, the longest lengths first.
struct CanonicalCode {
    uint32_t count[kMaxCodeLength + 1] = {};
    uint32_t first[kMaxCodeLength + 1] = {};
    int32_t maxLength = 0;
    int32_t minLength = 0;  // 0 when no byte has a code
};

// `lengths` must be 0..32 each.
CanonicalCode canonicalCode(const S32* lengths);

// Sets the codes of a state from its lengths. Bytes without a code get 0.
void assignCodes(const CanonicalCode& code, State& state);

// Optimal code lengths for the frequencies: zelStsFreqTableErr or zelStsMaxCodeLenErr where there
// are none. `lengths` is unspecified then.
ZelStatus buildLengths(const S32* frequencies, S32* lengths);

}  // namespace zeldc::huffman
