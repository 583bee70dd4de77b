// CRC-32 of gzip and zip: slicing-by-8 as the plain tier (Kounavis and Berry, 2005), folding by
// carry-less multiplication above it.
#include "checksum/checksum.hpp"
#include "checksum/crc_tables.hpp"
#include "checksum/kernels.hpp"
#include "core/dispatch.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::checksum {
namespace {

// Below this, aligning the source costs more than words gain.
constexpr size_t kSlicingThreshold = 15;

uint32_t byBytes(uint32_t crc, const uint8_t* src, size_t size) {
    for (; size != 0; --size)
        crc = (crc >> 8) ^ kReflectedTables[0][(crc ^ *src++) & 0xFF];
    return crc;
}

}  // namespace

uint32_t crc32Plain(uint32_t crc, const uint8_t* src, size_t size) {
    if (size < kSlicingThreshold) return byBytes(crc, src, size);
    const size_t head = -reinterpret_cast<uintptr_t>(src) & 7;
    crc = byBytes(crc, src, head);
    src += head;
    size -= head;
    const CrcTables& t = kReflectedTables;
    for (; size >= 8; size -= 8, src += 8) {
        const uint32_t a = load<uint32_t>(src) ^ crc;
        const uint32_t b = load<uint32_t>(src + 4);
        crc = t[7][a & 0xFF] ^ t[6][(a >> 8) & 0xFF] ^ t[5][(a >> 16) & 0xFF] ^ t[4][a >> 24] ^
              t[3][b & 0xFF] ^ t[2][(b >> 8) & 0xFF] ^ t[1][(b >> 16) & 0xFF] ^ t[0][b >> 24];
    }
    return byBytes(crc, src, size);
}

extern "C" ZELDC_NO_SANITIZE CrcKernel* zeldcResolveCrc32() {
    const cpu::Features has = cpu::features();
    if (has.vpclmul && has.avx2) return crc32WideClmul;
    return has.pclmul && has.sse41 ? crc32Clmul : crc32Plain;
}
ZELDC_DISPATCHED(CrcKernel, zeldcCrc32, zeldcResolveCrc32);

uint32_t crc32(uint32_t crc, const uint8_t* src, size_t size) {
    return ~zeldcCrc32(~crc, src, size);
}

namespace {

inline ZelStatus update(const uint8_t* src, int32_t size, uint32_t* crc) {
    store(crc, ~zeldcCrc32(~load<uint32_t>(crc), src, static_cast<size_t>(size)));
    return zelStsOk;
}

}  // namespace
}  // namespace zeldc::checksum

using namespace zeldc::checksum;

extern "C" {

ZelStatus ownsCRC32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC) {
    return update(pSrc, len, pCRC);
}

ZelStatus zelsCRC32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC) {
    if (pSrc == nullptr || pCRC == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    return update(pSrc, len, pCRC);
}

}  // extern "C"
