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

constexpr size_t kLanes = 16;

__m128i loadLanes(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
void storeLanes(uint8_t* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

unsigned equalLanes(__m128i a, __m128i b) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(a, b)));
}

// Copies the first `size` (below 17) bytes of lanes, and not one more: twice a width that covers
// them, overlapping.
void storeFirst(uint8_t* dst, __m128i lanes, size_t size) {
    alignas(16) uint8_t bytes[kLanes];
    _mm_store_si128(reinterpret_cast<__m128i*>(bytes), lanes);
    if (size >= 8) {
        store(dst, load<uint64_t>(bytes));
        store(dst + size - 8, load<uint64_t>(bytes + size - 8));
    } else if (size >= 4) {
        store(dst, load<uint32_t>(bytes));
        store(dst + size - 4, load<uint32_t>(bytes + size - 4));
    } else {
        for (size_t i = 0; i < size; ++i)
            dst[i] = bytes[i];
    }
}

// With this much source and room left, up to 15 bytes too many may be stored: they are overwritten
// before the call returns. Encoding, at most 255 bytes of source go without a trace into the run
// that is open, and each further 259 give four literals or more. Decoding, five bytes give four or
// more, and a count is too large for the room only after all but 254 bytes of it have been written.
// A call that ends because its destination is full has overwritten all of it.
constexpr size_t kSlack = 4096;
static_assert((kSlack - 16 - 255) / 259 * 4 >= 16 && kSlack - 254 >= 16);

void storeSome(uint8_t* dst, __m128i lanes, size_t size, bool slack) {
    if (slack)
        storeLanes(dst, lanes);
    else
        storeFirst(dst, lanes, size);
}

void fill(uint8_t* dst, uint8_t value, size_t size, bool slack) {
    const __m128i lanes = _mm_set1_epi8(static_cast<char>(value));
    for (; size > kLanes; size -= kLanes, dst += kLanes)
        storeLanes(dst, lanes);
    storeSome(dst, lanes, size, slack);
}

// Copies up to `size` literals: to the one that completes a run of four, or all. Brings `run` up to
// the last of them and returns their number.
size_t copyLiterals(const uint8_t* src, uint8_t* dst, size_t size, OpenRun& run) {
    const auto complete = [&](size_t end) {
        run = {src[end - 1], kRunLiterals};
        return end;
    };
    size_t i = 0;
    if (run.count == 0 && size >= kLanes) {
        // Bit b: byte b equals the one before it. Three in a row complete a run with the third.
        const __m128i v = loadLanes(src);
        const unsigned equal = equalLanes(v, _mm_slli_si128(v, 1)) & ~1U;
        const unsigned three = equal & equal >> 1 & equal >> 2;
        if (three != 0) {
            const auto end = static_cast<size_t>(std::countr_zero(three)) + 3;
            storeSome(dst, v, end, size >= kSlack);
            return complete(end);
        }
        storeLanes(dst, v);
        i = kLanes;
    } else {
        // A run that was open before src can only be completed by the first three.
        for (; i < std::min(size, size_t{3}); ++i) {
            dst[i] = src[i];
            run = {src[i], src[i] == run.last ? run.count + 1 : 1};
            if (run.count >= kRunLiterals) return i + 1;
        }
        if (i == size) return i;
    }
    // From here on all that a run of four needs lies in src.
    for (; size - i >= kLanes; i += kLanes) {
        const __m128i v = loadLanes(src + i);
        const unsigned four = equalLanes(v, loadLanes(src + i - 1)) &
                              equalLanes(v, loadLanes(src + i - 2)) &
                              equalLanes(v, loadLanes(src + i - 3));
        if (four != 0) {
            const auto more = static_cast<size_t>(std::countr_zero(four)) + 1;
            storeSome(dst + i, v, more, size - i >= kSlack);
            return complete(i + more);
        }
        storeLanes(dst + i, v);
    }
    for (; i < size; ++i) {
        dst[i] = src[i];
        if (src[i] == src[i - 1] && src[i] == src[i - 2] && src[i] == src[i - 3])
            return complete(i + 1);
    }
    run = {src[size - 1], 1};
    while (src[size - 1 - static_cast<size_t>(run.count)] == run.last)
        ++run.count;
    return size;
}

// The end of the bytes equal to `value` at the start of [src, srcEnd).
const uint8_t* endOfEqual(const uint8_t* src, const uint8_t* srcEnd, uint8_t value) {
    const __m128i wanted = _mm_set1_epi8(static_cast<char>(value));
    for (; srcEnd - src >= std::ptrdiff_t{kLanes}; src += kLanes) {
        const unsigned equal = equalLanes(loadLanes(src), wanted);
        if (equal != 0xFFFF) return src + std::countr_one(equal);
    }
    while (src != srcEnd && *src == value)
        ++src;
    return src;
}

size_t leastLeft(std::ptrdiff_t source, std::ptrdiff_t room) {
    return static_cast<size_t>(std::min(source, room));
}

StageResult encodeRle(const uint8_t* src, size_t srcSize, uint8_t* dst, size_t capacity,
                      OpenRun& run) {
    const uint8_t* srcNext = src;
    const uint8_t* const srcEnd = src + srcSize;
    uint8_t* dstNext = dst;
    uint8_t* const dstEnd = dst + capacity;
    for (;;) {
        if (run.count < kRunLiterals) {
            const size_t fitting = leastLeft(srcEnd - srcNext, dstEnd - dstNext);
            const size_t literals = copyLiterals(srcNext, dstNext, fitting, run);
            srcNext += literals;
            dstNext += literals;
        }
        if (dstNext == dstEnd) break;
        const std::ptrdiff_t room = kLongestRun - run.count;
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
        const size_t literals =
            copyLiterals(srcNext, dstNext, leastLeft(srcEnd - srcNext, dstEnd - dstNext), run);
        srcNext += literals;
        dstNext += literals;
        if (srcNext == srcEnd) {
            if (dstNext != dstEnd) status = zelStsOk;
            break;
        }
        if (run.count < kRunLiterals) break;
        const uint8_t more = *srcNext++;
        if (more > dstEnd - dstNext) break;
        fill(dstNext, static_cast<uint8_t>(run.last), more,
             leastLeft(srcEnd - srcNext, dstEnd - dstNext) >= kSlack);
        dstNext += more;
        run.count = 0;
    }
    return {static_cast<size_t>(srcNext - src), static_cast<size_t>(dstNext - dst), status};
}

// Everything that the stage writes is in use, literals and counts alike, so its output is all that
// need be looked at.
void markInUse(const uint8_t* bytes, size_t size, uint8_t* inUse) {
    for (; size >= 4; size -= 4, bytes += 4) {
        const auto four = load<uint32_t>(bytes);
        inUse[four & 0xFF] = 1;
        inUse[four >> 8 & 0xFF] = 1;
        inUse[four >> 16 & 0xFF] = 1;
        inUse[four >> 24] = 1;
    }
    for (; size != 0; --size)
        inUse[*bytes++] = 1;
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
    // Bounded, so that even a state that nobody initialised does no harm.
    OpenRun run{state.last, std::clamp(int32_t{state.runCount}, 0, kLongestRun)};
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
