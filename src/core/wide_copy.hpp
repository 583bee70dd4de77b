// Copies of matches in whole vectors, for where there is room to overrun.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace zeldc {

// How far copyWide may write behind a match, and read behind its source.
constexpr int32_t copyOverrun(int32_t units) {
    return 16 * units - 1;
}
constexpr int32_t kCopyOverrun = copyOverrun(2);

[[gnu::always_inline]] inline void copy16(uint8_t* dst, const uint8_t* src) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(src)));
}
[[gnu::always_inline]] inline void copy8(uint8_t* dst, const uint8_t* src) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst),
                     _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src)));
}

// A match of `length` (1..258) bytes whose source `src` lies `distance` before `dst`, or in other
// memory, where `distance` is then not below `length`. The first `units` of 16 bytes are written
// for a single byte, and later ones start before the end of the match; a growing pattern adds at
// most 8 + 7 bytes.
template <int32_t units = 2>
[[gnu::always_inline]] inline void copyWide(uint8_t* dst, const uint8_t* src, uint32_t length,
                                            uint32_t distance) {
    const uint8_t* const end = dst + length;
    if (distance >= 16) [[likely]] {
        // Several at once: most matches end in them, and the branch behind them is predicted well.
        for (int32_t i = 0; i < units; ++i)
            copy16(dst + 16 * i, src + 16 * i);
        for (dst += 16 * units, src += 16 * units; dst < end; dst += 16, src += 16)
            copy16(dst, src);
        return;
    }
    if (distance == 1) {
        const __m128i bytes = _mm_set1_epi8(static_cast<char>(*src));
        do {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), bytes);
            dst += 16;
        } while (dst < end);
        return;
    }
    // Each copy of a short pattern doubles it, until whole words can follow.
    while (distance < 8) {
        copy8(dst, src);
        dst += distance;
        distance *= 2;
    }
    while (dst < end) {
        copy8(dst, src);
        dst += 8;
        src += 8;
    }
}

}  // namespace zeldc
