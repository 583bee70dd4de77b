// The CRC-32 of two strings joined, from those of the strings.
#pragma once

#include <cstdint>

namespace tool {

uint32_t crc32Combine(uint32_t first, uint32_t second, uint64_t secondSize);

}  // namespace tool
