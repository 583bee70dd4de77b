// Zero runs, as bzip2 codes them: symbols 0 (RUNA) and 1 (RUNB) are the digits of a run's length in
// bijective base 2, least significant first; symbol s >= 2 is the byte s - 1.
#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "blocksort/stage_call.hpp"

namespace zeldc::blocksort {
namespace {

// The longest run that `digits` digits can tell: 2^(digits + 1) - 2. No run in a buffer needs more
// than 31.
constexpr size_t longestRun(size_t digits) {
    return digits >= 31 ? SIZE_MAX : (size_t{2} << digits) - 2;
}

// The end of the zeros at the start of [src, srcEnd).
const uint8_t* endOfZeros(const uint8_t* src, const uint8_t* srcEnd) {
    for (; srcEnd - src >= 16; src += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
        const auto zeros =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())));
        if (zeros != 0xFFFF) return src + std::countr_one(zeros);
    }
    while (src != srcEnd && *src == 0)
        ++src;
    return src;
}

StageResult encodeZeroRuns(const uint8_t* src, size_t srcSize, U16* dst, size_t capacity,
                           U32* freq) {
    const uint8_t* srcNext = src;
    const uint8_t* const srcEnd = src + srcSize;
    U16* dstNext = dst;
    U16* const dstEnd = dst + capacity;
    const auto put = [&dstNext, freq](uint32_t symbol) {
        *dstNext++ = static_cast<uint16_t>(symbol);
        ++freq[symbol];
    };
    while (srcNext != srcEnd && dstNext != dstEnd) {
        if (*srcNext != 0) {
            put(*srcNext++ + 1U);
            continue;
        }
        // A run that does not fit is cut to what fills the destination exactly.
        const auto run = static_cast<size_t>(endOfZeros(srcNext, srcEnd) - srcNext);
        const size_t coded = std::min(run, longestRun(static_cast<size_t>(dstEnd - dstNext)));
        for (size_t rest = coded; rest != 0; rest = (rest - 1) >> 1)
            put((rest - 1) & 1);
        srcNext += coded;
    }
    return {static_cast<size_t>(srcNext - src), static_cast<size_t>(dstNext - dst),
            srcNext == srcEnd ? zelStsOk : zelStsDstFull};
}

StageResult decodeZeroRuns(const U16* src, size_t srcSize, uint8_t* dst, size_t capacity) {
    const U16* srcNext = src;
    const U16* const srcEnd = src + srcSize;
    uint8_t* dstNext = dst;
    uint8_t* const dstEnd = dst + capacity;
    ZelStatus status = zelStsDstFull;
    for (;;) {
        // 31 digits sum to 2^32 - 2 at most; with more, a run is longer than any buffer.
        uint32_t zeros = 0;
        uint32_t digits = 0;
        for (; srcNext != srcEnd && *srcNext <= 1; ++srcNext, ++digits)
            zeros = digits < 31 ? zeros + ((*srcNext + 1U) << digits) : UINT32_MAX;
        if (zeros > static_cast<size_t>(dstEnd - dstNext)) break;
        std::memset(dstNext, 0, zeros);
        dstNext += zeros;
        if (srcNext == srcEnd) {
            status = zelStsOk;
            break;
        }
        if (dstNext == dstEnd) break;
        *dstNext++ = static_cast<uint8_t>(*srcNext++ - 1);
    }
    return {static_cast<size_t>(srcNext - src), static_cast<size_t>(dstNext - dst), status};
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" ZelStatus zelsEncodeZ1Z2_BZ2_8u16u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                              uint16_t* pDst, int32_t* pDstLen, uint32_t* pFreq) {
    if (ppSrc == nullptr || pDst == nullptr || pSrcLen == nullptr || pDstLen == nullptr)
        return zelStsNullPointer;
    const uint8_t* const src = anyAlignment(ppSrc)->value;
    if (src == nullptr || pFreq == nullptr) return zelStsNullPointer;
    const int32_t srcLen = *anyAlignment(pSrcLen);
    const int32_t capacity = *anyAlignment(pDstLen);
    if (srcLen < 1 || capacity < 1) return zelStsBadSize;
    return report(encodeZeroRuns(src, static_cast<size_t>(srcLen), anyAlignment(pDst),
                                 static_cast<size_t>(capacity), anyAlignment(pFreq)),
                  ppSrc, pSrcLen, pDstLen);
}

extern "C" ZelStatus zelsDecodeZ1Z2_BZ2_16u8u(const uint16_t** ppSrc, int32_t* pSrcLen,
                                              uint8_t* pDst, int32_t* pDstLen) {
    if (ppSrc == nullptr || pDst == nullptr || pSrcLen == nullptr || pDstLen == nullptr)
        return zelStsNullPointer;
    const uint16_t* const src = anyAlignment(ppSrc)->value;
    if (src == nullptr) return zelStsNullPointer;
    const int32_t srcLen = *anyAlignment(pSrcLen);
    const int32_t capacity = *anyAlignment(pDstLen);
    if (srcLen < 1 || capacity < 1) return zelStsBadSize;
    return report(decodeZeroRuns(anyAlignment(src), static_cast<size_t>(srcLen), pDst,
                                 static_cast<size_t>(capacity)),
                  ppSrc, pSrcLen, pDstLen);
}
