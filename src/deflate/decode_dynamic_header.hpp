// The header of a dynamic block (RFC 1951, section 3.2.7), resumable between its units.
#pragma once

#include "deflate/decode_bits.hpp"

namespace zeldc::deflate {

// Reads on from whatever phase the state is in (a phase of another kind of block counts as "the
// three counts are next") until the tables are built and the phase is phaseBody.
// zelStsSrcExhausted: the source ended; zelStsBadSize: bits that the code-length code does not use.
ZelStatus readDynamicHeader(DecodeState& state, BitSource& bits);

}  // namespace zeldc::deflate
