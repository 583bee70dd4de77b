// The byte run-length coder: a pair of equal bytes is followed by a count of further copies. Both
// directions copy literals up to the next pair, sixteen bytes at a time, with the same scan.
#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::mtf_rle {
namespace {

constexpr ptrdiff_t kBlock = 16;
constexpr ptrdiff_t kMaxCount = 255;

__m128i loadBlock(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

void storeBlock(uint8_t* p, __m128i block) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), block);
}

// Bit i is set where byte i of the blocks is equal.
uint32_t equalBytes(__m128i a, __m128i b) {
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(a, b)));
}

// What a call has left of its source and destination.
struct Streams {
    const uint8_t* srcNext;
    const uint8_t* srcEnd;
    uint8_t* dstNext;
    uint8_t* dstEnd;

    ptrdiff_t srcLeft() const { return srcEnd - srcNext; }
    ptrdiff_t room() const { return dstEnd - dstNext; }
    bool ended() const { return srcNext == srcEnd || dstNext == dstEnd; }
};

// Copies the first `count` of the kBlock bytes at `src`, by accesses that overlap. Counts vary, and
// a call of memcpy costs more.
inline void copyPart(const uint8_t* src, uint8_t* dst, ptrdiff_t count) {
    if (count >= 8) {
        const auto last = load<uint64_t>(src + count - 8);
        store(dst, load<uint64_t>(src));
        store(dst + count - 8, last);
    } else if (count >= 4) {
        const auto last = load<uint32_t>(src + count - 4);
        store(dst, load<uint32_t>(src));
        store(dst + count - 4, last);
    } else if (count > 0) {
        dst[0] = src[0];
        dst[count / 2] = src[count / 2];
        dst[count - 1] = src[count - 1];
    }
}

// Copies literals up to and including the first that equals the byte before it; false when the
// source or the room ends before one. The byte before srcNext must be a literal of this call.
inline bool copyThroughPair(Streams& io) {
    const uint8_t* const begin = io.srcNext;
    while (io.srcLeft() >= kBlock && io.room() >= kBlock) {
        const __m128i block = loadBlock(io.srcNext);
        const uint32_t pairs = equalBytes(block, loadBlock(io.srcNext - 1));
        if (pairs == 0) {
            storeBlock(io.dstNext, block);
            io.srcNext += kBlock;
            io.dstNext += kBlock;
            continue;
        }
        // Nothing is written behind the pair: a run that does not fit may end the call there.
        const ptrdiff_t copied = std::countr_zero(pairs) + 1;
        if (io.srcNext == begin) {
            copyPart(io.srcNext, io.dstNext, copied);
            io.srcNext += copied;
            io.dstNext += copied;
        } else {
            io.srcNext += copied;
            io.dstNext += copied;
            storeBlock(io.dstNext - kBlock, loadBlock(io.srcNext - kBlock));
        }
        return true;
    }
    while (!io.ended()) {
        const uint8_t literal = *io.srcNext++;
        *io.dstNext++ = literal;
        if (literal == io.srcNext[-2]) return true;
    }
    return false;
}

// The number of bytes from src on that equal `value`, at most `limit`.
inline ptrdiff_t runLength(const uint8_t* src, uint8_t value, ptrdiff_t limit) {
    const __m128i wanted = _mm_set1_epi8(static_cast<char>(value));
    ptrdiff_t length = 0;
    for (; limit - length >= kBlock; length += kBlock) {
        const uint32_t differing = equalBytes(loadBlock(src + length), wanted) ^ 0xFFFFU;
        if (differing != 0) return length + std::countr_zero(differing);
    }
    while (length < limit && src[length] == value)
        ++length;
    return length;
}

void encode(Streams& io) {
    while (!io.ended()) {
        *io.dstNext++ = *io.srcNext++;
        if (!copyThroughPair(io)) return;
        // A pair that fills the destination stays without its count, and the next call starts
        // afresh: pieces are decoded one by one.
        if (io.room() == 0) return;
        const ptrdiff_t count =
            runLength(io.srcNext, io.srcNext[-1], std::min(kMaxCount, io.srcLeft()));
        *io.dstNext++ = static_cast<uint8_t>(count);
        io.srcNext += count;
    }
}

// The decoder may write two blocks where their end will be overwritten for sure, up to kWide - 1
// bytes: 48 source bytes make at least 32 more, a pair and its count of 0 being the poorest three;
// and until then no run can fail to fit. Two blocks or one run are taken off both numbers first.
constexpr ptrdiff_t kWide = 2 * kBlock;
constexpr ptrdiff_t kWideSource = kWide + 48;
constexpr ptrdiff_t kWideRoom = 2 * (kMaxCount + kWide);

inline bool wideWritesVanish(const Streams& io) {
    return io.srcLeft() >= kWideSource && io.room() >= kWideRoom;
}

// copyThroughPair() for the decoder.
inline bool copyThroughPairWide(Streams& io) {
    while (wideWritesVanish(io)) {
        const __m128i first = loadBlock(io.srcNext);
        const __m128i second = loadBlock(io.srcNext + kBlock);
        const uint32_t pairs = equalBytes(first, loadBlock(io.srcNext - 1)) |
                               equalBytes(second, loadBlock(io.srcNext + kBlock - 1)) << kBlock;
        storeBlock(io.dstNext, first);
        storeBlock(io.dstNext + kBlock, second);
        const int copied = pairs == 0 ? static_cast<int>(kWide) : std::countr_zero(pairs) + 1;
        io.srcNext += copied;
        io.dstNext += copied;
        if (pairs != 0) return true;
    }
    return copyThroughPair(io);
}

// Writes `count` copies of `value`; the room must hold them.
inline void writeRun(Streams& io, uint8_t value, ptrdiff_t count) {
    if (wideWritesVanish(io)) {
        const __m128i block = _mm_set1_epi8(static_cast<char>(value));
        for (ptrdiff_t written = 0; written < count; written += kBlock)
            storeBlock(io.dstNext + written, block);
    } else {
        std::memset(io.dstNext, value, static_cast<size_t>(count));
    }
    io.dstNext += count;
}

void skipZero(Streams& io) {
    if (io.srcNext != io.srcEnd && *io.srcNext == 0) ++io.srcNext;
}

// Returns the length of the run that did not fit, or 0. The look-aheads for a zero that go with a
// full destination are part of the format's behaviour, the ones for no pair included.
ptrdiff_t decode(Streams& io) {
    for (bool afterRun = false; !io.ended(); afterRun = true) {
        const uint8_t fresh = *io.srcNext++;
        *io.dstNext++ = fresh;
        if (io.room() == 0) {
            if (afterRun && fresh == 0) skipZero(io);
            return 0;
        }
        if (!copyThroughPairWide(io)) return 0;
        if (io.room() == 0) {
            skipZero(io);
            return 0;
        }
        if (io.srcLeft() == 0) return 0;
        const uint8_t value = io.srcNext[-1];
        const uint8_t count = *io.srcNext++;
        if (count > io.room()) {
            if (count == value) skipZero(io);
            return count;
        }
        writeRun(io, value, count);
    }
    return 0;
}

Streams streamsOf(const uint8_t** ppSrc, const int32_t* pSrcLen, uint8_t* pDst,
                  const int32_t* pDstLen) {
    const auto* src = load<const uint8_t*>(ppSrc);
    return {src, src + load<int32_t>(pSrcLen), pDst, pDst + load<int32_t>(pDstLen)};
}

ZelStatus report(const Streams& io, ptrdiff_t written, const uint8_t** ppSrc, int32_t* pSrcLen,
                 int32_t* pDstLen) {
    store(ppSrc, io.srcNext);
    store(pSrcLen, static_cast<int32_t>(io.srcLeft()));
    store(pDstLen, static_cast<int32_t>(written));
    return io.srcLeft() > 0 ? zelStsDstFull : zelStsOk;
}

ZelStatus checkArguments(const uint8_t** ppSrc, const int32_t* pSrcLen, const uint8_t* pDst,
                         const int32_t* pDstLen) {
    if (ppSrc == nullptr || pDst == nullptr || pSrcLen == nullptr || pDstLen == nullptr ||
        load<const uint8_t*>(ppSrc) == nullptr) {
        return zelStsNullPointer;
    }
    if (load<int32_t>(pSrcLen) < 1 || load<int32_t>(pDstLen) < 1) return zelStsBadSize;
    return zelStsOk;
}

}  // namespace
}  // namespace zeldc::mtf_rle

using namespace zeldc::mtf_rle;

extern "C" {

ZelStatus ownsEncodeRLE_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                           int32_t* pDstLen) {
    Streams io = streamsOf(ppSrc, pSrcLen, pDst, pDstLen);
    encode(io);
    return report(io, io.dstNext - pDst, ppSrc, pSrcLen, pDstLen);
}

ZelStatus ownsDecodeRLE_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                           int32_t* pDstLen) {
    Streams io = streamsOf(ppSrc, pSrcLen, pDst, pDstLen);
    const ptrdiff_t unwritten = decode(io);
    return report(io, io.dstNext - pDst + unwritten, ppSrc, pSrcLen, pDstLen);
}

ZelStatus zelsEncodeRLE_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                           int32_t* pDstLen) {
    const ZelStatus status = checkArguments(ppSrc, pSrcLen, pDst, pDstLen);
    return status != zelStsOk ? status : ownsEncodeRLE_8u(ppSrc, pSrcLen, pDst, pDstLen);
}

ZelStatus zelsDecodeRLE_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                           int32_t* pDstLen) {
    const ZelStatus status = checkArguments(ppSrc, pSrcLen, pDst, pDstLen);
    return status != zelStsOk ? status : ownsDecodeRLE_8u(ppSrc, pSrcLen, pDst, pDstLen);
}

}  // extern "C"
