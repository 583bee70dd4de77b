// The tiers of each checksum, for the resolvers and for the tests that compare them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeldc::checksum {

// Works on the raw remainder: callers undo and redo the final inversion.
using CrcKernel = uint32_t(uint32_t crc, const uint8_t* src, size_t size);
CrcKernel crc32Plain;
CrcKernel crc32Clmul;      // PCLMULQDQ and SSE4.1
CrcKernel crc32WideClmul;  // VPCLMULQDQ and AVX2
CrcKernel crc32Bz2Plain;
CrcKernel crc32Bz2Clmul;
CrcKernel crc32Bz2WideClmul;

using AdlerKernel = uint32_t(uint32_t adler, const uint8_t* src, size_t size);
AdlerKernel adler32Plain;
AdlerKernel adler32Ssse3;
AdlerKernel adler32Avx2;

}  // namespace zeldc::checksum
