// The CRC-32 of bzip2: most significant bit first. Slicing-by-8 as the plain tier, folding by
// carry-less multiplication above it.
#include "checksum/checksum.hpp"
#include "checksum/crc_tables.hpp"
#include "checksum/kernels.hpp"
#include "core/dispatch.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::checksum {

uint32_t crc32Bz2Plain(uint32_t crc, const uint8_t* src, size_t size) {
    const CrcTables& t = kMsbFirstTables;
    for (; size >= 8; size -= 8, src += 8) {
        const uint32_t a = loadBe<uint32_t>(src) ^ crc;
        const uint32_t b = loadBe<uint32_t>(src + 4);
        crc = t[7][a >> 24] ^ t[6][(a >> 16) & 0xFF] ^ t[5][(a >> 8) & 0xFF] ^ t[4][a & 0xFF] ^
              t[3][b >> 24] ^ t[2][(b >> 16) & 0xFF] ^ t[1][(b >> 8) & 0xFF] ^ t[0][b & 0xFF];
    }
    for (; size != 0; --size)
        crc = (crc << 8) ^ t[0][(crc >> 24) ^ *src++];
    return crc;
}

extern "C" ZELDC_NO_SANITIZE CrcKernel* zeldcResolveCrc32Bz2() {
    const cpu::Features has = cpu::features();
    if (has.vpclmul && has.avx2) return crc32Bz2WideClmul;
    return has.pclmul && has.sse41 ? crc32Bz2Clmul : crc32Bz2Plain;
}
ZELDC_DISPATCHED(CrcKernel, zeldcCrc32Bz2, zeldcResolveCrc32Bz2);

uint32_t crc32Bz2(uint32_t crc, const uint8_t* src, size_t size) {
    return ~zeldcCrc32Bz2(~crc, src, size);
}

}  // namespace zeldc::checksum

extern "C" ZelStatus zelsCRC32_BZ2_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC) {
    using namespace zeldc;
    if (pSrc == nullptr || pCRC == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    store(pCRC, checksum::crc32Bz2(load<uint32_t>(pCRC), pSrc, static_cast<size_t>(len)));
    return zelStsOk;
}
