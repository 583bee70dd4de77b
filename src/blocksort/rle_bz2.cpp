// The run-length stage in front of the transform, as bzip2 defines it: after four equal bytes
// stands a count of the further ones, 0..255. It shortens the long runs that a sort of rotations
// dislikes; the format is kept for compatibility.
#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "blocksort/stage_call.hpp"
#include "core/alloc.hpp"
#include "core/state.hpp"

namespace zeldc::blocksort {
namespace {

struct RleBz2Layout {
    uint8_t inUse[256];  // 1 for each byte value that has been written
    S32 last;            // the most recent literal, -1 for none
    S32 runCount;        // copies of it in the run that is open
};
static_assert(sizeof(RleBz2Layout) == 264);

constexpr int32_t kRunLiterals = 4;
constexpr int32_t kLongestRun = kRunLiterals + 255;

struct OpenRun {
    int32_t last = -1;
    int32_t count = 0;
};

// The index behind the first byte that equals its three predecessors, or `size` if there is none.
// size >= 3.
size_t endOfFourEqual(const uint8_t* src, size_t size) {
    const auto at = [src](size_t i) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    };
    size_t i = 3;
    for (; size - i >= 16; i += 16) {
        const __m128i v = at(i);
        const __m128i pair = _mm_cmpeq_epi8(v, at(i - 1));
        const __m128i four = _mm_and_si128(
            pair, _mm_and_si128(_mm_cmpeq_epi8(v, at(i - 2)), _mm_cmpeq_epi8(v, at(i - 3))));
        const auto found = static_cast<unsigned>(_mm_movemask_epi8(four));
        if (found != 0) return i + static_cast<size_t>(std::countr_zero(found)) + 1;
    }
    for (; i < size; ++i) {
        if (src[i] == src[i - 1] && src[i] == src[i - 2] && src[i] == src[i - 3]) return i + 1;
    }
    return size;
}

// How many of the `size` bytes at src are literals: up to the one that completes a run of four, or
// all. Brings `run` up to the last of them.
size_t countLiterals(const uint8_t* src, size_t size, OpenRun& run) {
    // A run that was open before src can only be completed by the first three.
    for (size_t i = 0; i < std::min(size, size_t{3}); ++i) {
        run.count = src[i] == run.last ? run.count + 1 : 1;
        run.last = src[i];
        if (run.count >= kRunLiterals) return i + 1;
    }
    if (size <= 3) return size;
    const size_t end = endOfFourEqual(src, size);
    run.last = src[end - 1];
    run.count = 1;
    while (run.count < kRunLiterals && src[end - 1 - static_cast<size_t>(run.count)] == run.last)
        ++run.count;
    return end;
}

// The end of the bytes equal to `value` at the start of [src, srcEnd).
const uint8_t* endOfEqual(const uint8_t* src, const uint8_t* srcEnd, uint8_t value) {
    const __m128i wanted = _mm_set1_epi8(static_cast<char>(value));
    for (; srcEnd - src >= 16; src += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
        const auto equal = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, wanted)));
        if (equal != 0xFFFF) return src + std::countr_one(equal);
    }
    while (src != srcEnd && *src == value)
        ++src;
    return src;
}

StageResult encodeRle(const uint8_t* src, size_t srcSize, uint8_t* dst, size_t capacity,
                      OpenRun& run) {
    const uint8_t* srcNext = src;
    const uint8_t* const srcEnd = src + srcSize;
    uint8_t* dstNext = dst;
    uint8_t* const dstEnd = dst + capacity;
    for (;;) {
        if (run.count < kRunLiterals) {
            const auto fitting = static_cast<size_t>(std::min(srcEnd - srcNext, dstEnd - dstNext));
            const size_t literals = countLiterals(srcNext, fitting, run);
            std::memcpy(dstNext, srcNext, literals);
            srcNext += literals;
            dstNext += literals;
        }
        if (dstNext == dstEnd) break;
        const std::ptrdiff_t room = std::max(kLongestRun - run.count, 0);
        const uint8_t* const runEnd = endOfEqual(
            srcNext, srcNext + std::min(srcEnd - srcNext, room), static_cast<uint8_t>(run.last));
        run.count += static_cast<int32_t>(runEnd - srcNext);
        srcNext = runEnd;
        if (srcNext == srcEnd) break;
        *dstNext++ = static_cast<uint8_t>(run.count - kRunLiterals);
        run.count = 0;
    }
    return {static_cast<size_t>(srcNext - src), static_cast<size_t>(dstNext - dst),
            srcNext == srcEnd ? zelStsOk : zelStsDstFull};
}

StageResult decodeRle(const uint8_t* src, size_t srcSize, uint8_t* dst, size_t capacity) {
    const uint8_t* srcNext = src;
    const uint8_t* const srcEnd = src + srcSize;
    uint8_t* dstNext = dst;
    uint8_t* const dstEnd = dst + capacity;
    ZelStatus status = zelStsDstFull;
    OpenRun run;
    for (;;) {
        const auto fitting = static_cast<size_t>(std::min(srcEnd - srcNext, dstEnd - dstNext));
        const size_t literals = countLiterals(srcNext, fitting, run);
        std::memcpy(dstNext, srcNext, literals);
        srcNext += literals;
        dstNext += literals;
        if (srcNext == srcEnd) {
            if (dstNext != dstEnd) status = zelStsOk;
            break;
        }
        if (run.count < kRunLiterals) break;
        const uint8_t more = *srcNext++;
        if (more > dstEnd - dstNext) break;
        std::memset(dstNext, run.last, more);
        dstNext += more;
        run.count = 0;
    }
    return {static_cast<size_t>(srcNext - src), static_cast<size_t>(dstNext - dst), status};
}

// Everything that the stage writes is in use, literals and counts alike, so its output is all that
// need be looked at.
void markInUse(const uint8_t* bytes, size_t size, uint8_t* inUse) {
    for (const uint8_t* end = bytes + size; bytes != end; ++bytes)
        inUse[*bytes] = 1;
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" ZelStatus zelsRLEGetSize_BZ2_8u(int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    *anyAlignment(pSize) = int32_t{sizeof(RleBz2Layout)};
    return zelStsOk;
}

extern "C" ZelStatus zelsEncodeRLEInit_BZ2_8u(RleBz2State* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    auto& state = stateAt<RleBz2Layout>(pState);
    std::memset(state.inUse, 0, sizeof state.inUse);
    state.last = -1;
    state.runCount = 0;
    return zelStsOk;
}

// Unlike the common InitAlloc, a failed one stores its null and answers as Init does for a null.
extern "C" ZelStatus zelsEncodeRLEInitAlloc_BZ2_8u(RleBz2State** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    auto* state = reinterpret_cast<RleBz2State*>(allocate(sizeof(RleBz2Layout)));
    *anyAlignment(ppState) = state;
    return zelsEncodeRLEInit_BZ2_8u(state);
}

extern "C" void zelsRLEFree_BZ2_8u(RleBz2State* pState) {
    release(pState);
}

extern "C" ZelStatus zelsEncodeRLE_BZ2_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                                          int32_t* pDstLen, RleBz2State* pState) {
    if (ppSrc == nullptr || pDst == nullptr || pSrcLen == nullptr || pDstLen == nullptr)
        return zelStsNullPointer;
    const uint8_t* const src = anyAlignment(ppSrc)->value;
    if (src == nullptr || pState == nullptr) return zelStsNullPointer;
    const int32_t srcLen = *anyAlignment(pSrcLen);
    const int32_t capacity = *anyAlignment(pDstLen);
    if (srcLen < 1 || capacity < 1) return zelStsBadSize;

    auto& state = stateAt<RleBz2Layout>(pState);
    OpenRun run{state.last, state.runCount};
    const StageResult result =
        encodeRle(src, static_cast<size_t>(srcLen), pDst, static_cast<size_t>(capacity), run);
    markInUse(pDst, result.written, state.inUse);
    state.last = run.last;
    state.runCount = run.count;
    return report(result, ppSrc, pSrcLen, pDstLen);
}

extern "C" ZelStatus zelsEncodeRLEFlush_BZ2_8u(uint8_t* pDst, int32_t* pDstLen,
                                               RleBz2State* pState) {
    if (pDst == nullptr || pDstLen == nullptr || pState == nullptr) return zelStsNullPointer;
    if (*anyAlignment(pDstLen) < 1) return zelStsBadSize;
    auto& state = stateAt<RleBz2Layout>(pState);
    if (state.runCount < kRunLiterals) {
        *anyAlignment(pDstLen) = 0;
        return zelStsOk;
    }
    *pDst = static_cast<uint8_t>(state.runCount - kRunLiterals);
    state.inUse[*pDst] = 1;
    state.runCount = 0;
    *anyAlignment(pDstLen) = 1;
    return zelStsOk;
}

extern "C" ZelStatus zelsRLEGetInUseTable_8u(uint8_t* inUse, const RleBz2State* pState) {
    if (inUse == nullptr || pState == nullptr) return zelStsNullPointer;
    const auto& state = stateAt<RleBz2Layout>(pState);
    std::memcpy(inUse, state.inUse, sizeof state.inUse);
    return zelStsOk;
}

extern "C" ZelStatus zelsDecodeRLE_BZ2_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                                          int32_t* pDstLen) {
    if (ppSrc == nullptr || pDst == nullptr || pSrcLen == nullptr || pDstLen == nullptr)
        return zelStsNullPointer;
    const uint8_t* const src = anyAlignment(ppSrc)->value;
    if (src == nullptr) return zelStsNullPointer;
    const int32_t srcLen = *anyAlignment(pSrcLen);
    const int32_t capacity = *anyAlignment(pDstLen);
    if (capacity < 1 || srcLen < 0) return zelStsBadSize;
    if (srcLen == 0) {
        *anyAlignment(pDstLen) = 0;
        return zelStsOk;
    }
    return report(decodeRle(src, static_cast<size_t>(srcLen), pDst, static_cast<size_t>(capacity)),
                  ppSrc, pSrcLen, pDstLen);
}
