#include "deflate/match_copy.hpp"

#include <algorithm>
#include <cstring>

#include "core/memory.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

// Block copies of the whole pattern, then of its start. The destination never reaches the source.
void repeatPattern(const uint8_t* src, uint8_t* dst, uint32_t distance, uint32_t count) {
    for (; count >= distance; count -= distance, dst += distance)
        std::memcpy(dst, src, distance);
    std::memcpy(dst, src, count);
}

// For short patterns whose length is known: the copies become one or two moves.
template <uint32_t distance>
void repeatShort(const uint8_t* src, uint8_t* dst, int32_t len) {
    uint8_t pattern[distance];
    std::memcpy(pattern, src, distance);
    for (; len >= static_cast<int32_t>(distance);
         len -= static_cast<int32_t>(distance), dst += distance) {
        std::memcpy(dst, pattern, distance);
    }
    for (int32_t i = 0; i < len; ++i)
        dst[i] = pattern[i];
}

// `distance` divides 8.
void repeatWord(uint64_t pattern, uint8_t* dst, int32_t len) {
    for (; len >= 8; len -= 8, dst += 8)
        store(dst, pattern);
    if (len > 0) std::memcpy(dst, &pattern, static_cast<size_t>(len));
}

}  // namespace

void copyOverlapping(uint8_t* dst, uint32_t distance, uint32_t count) {
    const uint8_t* const src = dst - distance;
    if (distance >= count) {
        std::memcpy(dst, src, count);
    } else if (distance > 8) {
        repeatPattern(src, dst, distance, count);
    } else {
        ownTablFillBuf[distance - 1](src, dst, static_cast<int32_t>(count));
    }
}

}  // namespace zeldc::deflate

using namespace zeldc;
using namespace zeldc::deflate;

extern "C" {

void ownFillBuf1(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    if (len > 0) std::memset(pDst, *pSrc, static_cast<size_t>(len));
}
void ownFillBuf2(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    repeatWord(load<uint16_t>(pSrc) * 0x0001000100010001U, pDst, len);
}
void ownFillBuf3(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    repeatShort<3>(pSrc, pDst, len);
}
void ownFillBuf4(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    repeatWord(load<uint32_t>(pSrc) * 0x0000000100000001U, pDst, len);
}
void ownFillBuf5(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    repeatShort<5>(pSrc, pDst, len);
}
void ownFillBuf6(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    repeatShort<6>(pSrc, pDst, len);
}
void ownFillBuf7(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    repeatShort<7>(pSrc, pDst, len);
}
void ownFillBuf8(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    repeatWord(load<uint64_t>(pSrc), pDst, len);
}

const OwnFillBuf ownTablFillBuf[8] = {ownFillBuf1, ownFillBuf2, ownFillBuf3, ownFillBuf4,
                                      ownFillBuf5, ownFillBuf6, ownFillBuf7, ownFillBuf8};

}  // extern "C"
