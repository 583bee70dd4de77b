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

// The digits of a short run, as they stand in memory, and how many of them are RUNB.
struct ShortRun {
    uint64_t symbols;
    uint32_t digits;
    uint32_t runB;
};
constexpr size_t kShortRuns = longestRun(4) + 1;

struct ShortRuns {
    ShortRun ofLength[kShortRuns];
};
constexpr ShortRuns kShortRun = [] {
    ShortRuns runs{};
    for (size_t length = 0; length < kShortRuns; ++length) {
        ShortRun& run = runs.ofLength[length];
        for (size_t rest = length; rest != 0; rest = (rest - 1) >> 1) {
            const uint32_t digit = (rest - 1) & 1;
            run.symbols |= uint64_t{digit} << 16 * run.digits++;
            run.runB += digit;
        }
    }
    return runs;
}();

void put(uint32_t symbol, U16*& dst, U32* freq) {
    *dst++ = static_cast<uint16_t>(symbol);
    ++freq[symbol];
}

void putRun(size_t length, U16*& dst, U32* freq) {
    for (; length != 0; length = (length - 1) >> 1)
        put((length - 1) & 1, dst, freq);
}

// Bit i: byte i of the block is not zero.
constexpr size_t kBlock = 32;
uint32_t nonZeros(const uint8_t* src) {
    const auto zeros = [src](size_t i) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())));
    };
    return ~(zeros(0) | zeros(16) << 16);
}

void putLiterals(const uint8_t* src, U16* dst, U32* freq) {
    const __m128i one = _mm_set1_epi16(1);
    for (size_t i = 0; i < kBlock; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        const __m128i low = _mm_unpacklo_epi8(v, _mm_setzero_si128());
        const __m128i high = _mm_unpackhi_epi8(v, _mm_setzero_si128());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_add_epi16(low, one));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 8), _mm_add_epi16(high, one));
    }
    for (size_t i = 0; i < kBlock; ++i)
        ++freq[src[i] + 1U];
}

// Block by block, from one byte that is not zero to the next. A short run takes one store of four
// symbols, of which up to four are too many; they are overwritten before the call returns, since
// another block follows (32 zeros alone are five symbols), or the destination fills.
void encodeBlocks(const uint8_t*& src, const uint8_t* srcEnd, U16*& dst, const U16* dstEnd,
                  U32* freq) {
    // What a block gives: its bytes, a run from before it and the store that is too long.
    constexpr std::ptrdiff_t kRoom = kBlock + 31 + 4;
    const uint8_t* runStart = src;
    U16* dstNext = dst;
    uint32_t digits = 0;
    uint32_t runB = 0;
    for (const uint8_t* block = src;
         srcEnd - block >= std::ptrdiff_t{2 * kBlock} && dstEnd - dstNext >= kRoom;
         block += kBlock) {
        uint32_t rest = nonZeros(block);
        if (rest == ~0U && runStart == block) {
            putLiterals(block, dstNext, freq);
            dstNext += kBlock;
            runStart += kBlock;
            continue;
        }
        for (; rest != 0; rest &= rest - 1) {
            const uint8_t* const literal = block + std::countr_zero(rest);
            const auto zeros = static_cast<size_t>(literal - runStart);
            if (zeros < kShortRuns) {
                const ShortRun& run = kShortRun.ofLength[zeros];
                store(dstNext, run.symbols);
                dstNext += run.digits;
                digits += run.digits;
                runB += run.runB;
            } else {
                putRun(zeros, dstNext, freq);
            }
            put(*literal + 1U, dstNext, freq);
            runStart = literal + 1;
        }
    }
    freq[0] += digits - runB;
    freq[1] += runB;
    src = runStart;
    dst = dstNext;
}

StageResult encodeZeroRuns(const uint8_t* src, size_t srcSize, U16* dst, size_t capacity,
                           U32* freq) {
    const uint8_t* srcNext = src;
    const uint8_t* const srcEnd = src + srcSize;
    U16* dstNext = dst;
    U16* const dstEnd = dst + capacity;
    encodeBlocks(srcNext, srcEnd, dstNext, dstEnd, freq);
    while (srcNext != srcEnd && dstNext != dstEnd) {
        if (*srcNext != 0) {
            put(*srcNext++ + 1U, dstNext, freq);
            continue;
        }
        // A run that does not fit is cut to what fills the destination exactly.
        const auto run = static_cast<size_t>(endOfZeros(srcNext, srcEnd) - srcNext);
        const size_t coded = std::min(run, longestRun(static_cast<size_t>(dstEnd - dstNext)));
        putRun(coded, dstNext, freq);
        srcNext += coded;
    }
    return {static_cast<size_t>(srcNext - src), static_cast<size_t>(dstNext - dst),
            srcNext == srcEnd ? zelStsOk : zelStsDstFull};
}

constexpr size_t kBatch = 16;  // symbols

__m128i loadSymbols(const U16* src) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
}

// Bit i: symbol i of the batch is a digit.
uint32_t digitsOfBatch(const U16* src) {
    const auto digits = [src](size_t i) {
        return _mm_cmpeq_epi16(_mm_srli_epi16(loadSymbols(src + i), 1), _mm_setzero_si128());
    };
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(digits(0), digits(8))));
}

bool hasNineInRow(uint32_t bits) {
    const uint32_t two = bits & bits >> 1;
    const uint32_t four = two & two >> 2;
    return (four & four >> 4 & bits >> 8) != 0;
}

void storeLiterals(const U16* src, uint8_t* dst) {
    const auto bytes = [src](size_t i) {
        const __m128i v = _mm_add_epi16(loadSymbols(src + i), _mm_set1_epi16(-1));
        return _mm_and_si128(v, _mm_set1_epi16(0xFF));
    };
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(bytes(0), bytes(8)));
}

// Decodes batches as long as no run is very long, with hardly a branch for what a symbol is: each
// stores 8 bytes, zeros but for a literal's first, and moves on by its share. Only a digit behind
// three others is worth more zeros, and a multiple of 8. Stops in front of a run or a literal.
//
// What is stored too far, 7 bytes at most, is overwritten before the call returns: a batch is taken
// only if no run has more than 8 digits up to the end of the batch behind it, for which there is
// room as well. Of that one's symbols all but the last 8, which may begin a long run, are sure to
// be decoded, and each is a byte or more.
void decodeShortRuns(const U16*& src, const U16* srcEnd, uint8_t*& dst, const uint8_t* dstEnd) {
    constexpr std::ptrdiff_t kSymbols = 2 * kBatch;
    constexpr std::ptrdiff_t kRoom = kSymbols + (kSymbols / 9 + 1) * 510 + 8;
    if (srcEnd - src < kSymbols) return;
    uint32_t digits = digitsOfBatch(src);
    uint32_t pending = 0;  // digits of a run that has not ended
    while (srcEnd - src >= kSymbols && dstEnd - dst >= kRoom) {
        digits |= digitsOfBatch(src + kBatch) << kBatch;
        if (hasNineInRow(digits)) break;
        if ((digits & 0xFFFF) == 0) {
            storeLiterals(src, dst);
            dst += kBatch;
            pending = 0;
        } else {
            for (size_t i = 0; i < kBatch; ++i) {
                const uint32_t symbol = src[i];
                const uint32_t digit = symbol < 2 ? ~0U : 0;  // as a mask
                const uint32_t byte = (symbol - 1) & 0xFF & ~digit;
                const uint32_t worth = (1 + (symbol & digit)) << (pending & digit);
                pending = (pending + 1) & digit;
                _mm_storel_epi64(reinterpret_cast<__m128i*>(dst),
                                 _mm_cvtsi32_si128(static_cast<int>(byte)));
                for (uint32_t zeros = 8; zeros < worth; zeros += 8)
                    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + zeros), _mm_setzero_si128());
                dst += worth;
            }
        }
        src += kBatch;
        digits >>= kBatch;
    }
    for (; pending != 0; --pending)
        dst -= (*--src + 1U) << (pending - 1);
}

StageResult decodeZeroRuns(const U16* src, size_t srcSize, uint8_t* dst, size_t capacity) {
    const U16* srcNext = src;
    const U16* const srcEnd = src + srcSize;
    uint8_t* dstNext = dst;
    uint8_t* const dstEnd = dst + capacity;
    ZelStatus status = zelStsDstFull;
    for (;;) {
        decodeShortRuns(srcNext, srcEnd, dstNext, dstEnd);
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
