// The checksum kernels for callers inside the library: running values in, running values out.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeldc::checksum {

// The reflected CRC-32 of gzip; `crc` is the finished checksum of what came before.
uint32_t crc32(uint32_t crc, const uint8_t* src, size_t size);

// The CRC-32 of bzip2, most significant bit first.
uint32_t crc32Bz2(uint32_t crc, const uint8_t* src, size_t size);

// Adler-32; `adler` may be any 32-bit value, also one whose halves are not reduced.
uint32_t adler32(uint32_t adler, const uint8_t* src, size_t size);

}  // namespace zeldc::checksum
