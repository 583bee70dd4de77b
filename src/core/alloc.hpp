// Aligned blocks through the replaceable allocation hooks.
#pragma once

#include <cstdint>

namespace zeldc {

// A block of `size` bytes at a multiple of 32, or null when the hook has no memory. `size` is
// taken as it stands, sign and all.
uint8_t* allocate(int32_t size);

// Releases a block of allocate(); null is ignored.
void release(void* block);

}  // namespace zeldc
