// Pairs as the generator writes them: one word each.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "core/unaligned.hpp"

namespace zeldc::deflate {

constexpr uint32_t pairOf(uint32_t length, uint32_t distance) {
    return (length & 0xFFFF) | distance << 16;
}
constexpr uint32_t literalPair(uint8_t byte) {
    return byte;
}

// Writes `count` literals by eights: reads and writes up to the next multiple of eight, and eight
// where there are none, since most runs are short and where they end cannot be predicted.
inline U32* writeLiterals(const uint8_t* bytes, uint32_t count, U32* pairs) {
    const __m128i zero = _mm_setzero_si128();
    U32* const end = pairs + count;
    do {
        const __m128i eight =
            _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes)), zero);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pairs), _mm_unpacklo_epi16(eight, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pairs + 4), _mm_unpackhi_epi16(eight, zero));
        bytes += 8;
        pairs += 8;
    } while (pairs < end);
    return end;
}

// What became of a call's source.
struct Parsed {
    uint32_t consumed;
    U32* pairNext;
};

}  // namespace zeldc::deflate
