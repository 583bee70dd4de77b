// Copy, fill and clear. The C library's memcpy and memset are the widest stores to be had for
// bytes; fills with wider elements use 16-byte stores of a replicated pattern.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeldc {

// Writes `count` elements of `value` at any address.
void fill16(uint16_t value, void* dst, size_t count);
void fill32(uint32_t value, void* dst, size_t count);
void fill64(uint64_t value, void* dst, size_t count);

}  // namespace zeldc
