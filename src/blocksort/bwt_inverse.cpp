#include "blocksort/bwt_inverse.hpp"

#include "blocksort/bwt_forward.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::blocksort {

void invert(const uint8_t* src, uint8_t* dst, size_t n, size_t index, uint8_t* buffer) {
    auto* vector = reinterpret_cast<uint32_t*>(alignUp(buffer, 64));
    uint32_t cursors[257] = {};
    for (size_t i = 0; i < n; ++i)
        ++cursors[src[i] + 1];
    for (unsigned c = 0; c < 256; ++c)
        cursors[c + 1] += cursors[c];
    for (size_t i = 0; i < n; ++i)
        vector[cursors[src[i]]++] = static_cast<uint32_t>(i);
    size_t row = index;
    for (size_t k = 0; k < n; ++k) {
        row = vector[row];
        dst[k] = src[row];
    }
}

}  // namespace zeldc::blocksort

using namespace zeldc;

extern "C" {

ZelStatus zelsBWTInvGetSize_8u(int32_t len, int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    store(pSize, 4 * static_cast<uint32_t>(len) + uint32_t{blocksort::kInverseSlack});
    return zelStsOk;
}

ZelStatus zelsBWTInv_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t index,
                        uint8_t* pBuffer) {
    if (len < 2) return zelsCopy_8u(pSrc, pDst, len);
    if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr) return zelStsNullPointer;
    if (index >= len) return zelStsBadSize;
    blocksort::invert(pSrc, pDst, static_cast<size_t>(len), blocksort::safeRow(index), pBuffer);
    return zelStsOk;
}

}  // extern "C"
