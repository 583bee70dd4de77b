// A call at the best level while the tables are narrow.
#pragma once

#include <cstdint>

#include "core/unaligned.hpp"
#include "deflate/encode_state.hpp"
#include "deflate/pairs.hpp"

namespace zeldc::deflate {

// Parses `size` (at least 1) bytes into [pairs, pairEnd) and takes what it consumed into the
// history.
Parsed parseBest(EncodeState& state, const uint8_t* src, uint32_t size, U32* pairs, U32* pairEnd);

}  // namespace zeldc::deflate
