// Adler-32 (RFC 1950): reduction once per chunk; vector tiers in adler32_simd.cpp.
#include <algorithm>

#include "checksum/adler32.hpp"
#include "checksum/checksum.hpp"
#include "checksum/kernels.hpp"
#include "core/dispatch.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::checksum {
uint32_t adler32Plain(uint32_t adler, const uint8_t* src, size_t size) {
    AdlerSums sums = AdlerSums::of(adler);
    while (size != 0) {
        const size_t chunk = std::min(size, kAdlerChunk);
        for (const uint8_t* end = src + chunk; src != end; ++src) {
            sums.a += *src;
            sums.b += sums.a;
        }
        sums.reduce();
        size -= chunk;
    }
    return sums.value();
}

extern "C" ZELDC_NO_SANITIZE AdlerKernel* zeldcResolveAdler32() {
    if (cpu::features().avx2) return adler32Avx2;
    return cpu::features().ssse3 ? adler32Ssse3 : adler32Plain;
}
ZELDC_DISPATCHED(AdlerKernel, zeldcAdler32, zeldcResolveAdler32);

uint32_t adler32(uint32_t adler, const uint8_t* src, size_t size) {
    return zeldcAdler32(adler, src, size);
}

}  // namespace zeldc::checksum

extern "C" ZelStatus zelsAdler32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pAdler) {
    using namespace zeldc;
    const uint32_t adler = load<uint32_t>(pAdler);
    if (pSrc == nullptr) {
        store(pAdler, uint32_t{0});
        return zelStsBadSize;
    }
    if (len < 1) return zelStsOk;
    // Visible only where the caller lets the source overlap the running value.
    store(pAdler, uint32_t{0});
    store(pAdler, checksum::adler32(adler, pSrc, static_cast<size_t>(len)));
    return zelStsOk;
}
