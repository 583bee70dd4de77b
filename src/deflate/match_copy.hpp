// Copies of matches: exact ones, and the wide ones of core/wide_copy.hpp.
#pragma once

#include <cstdint>

#include "core/wide_copy.hpp"

namespace zeldc::deflate {

// Writes `count` bytes at `dst`, each a copy of the byte `distance` before it.
void copyOverlapping(uint8_t* dst, uint32_t distance, uint32_t count);

}  // namespace zeldc::deflate
