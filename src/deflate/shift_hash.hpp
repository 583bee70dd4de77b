// The fast level's hash of three bytes, by shifts.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "core/hash_chain.hpp"

namespace zeldc::deflate {

// A byte leaves the hash after three steps, by the bits above the fifteen that count.
inline uint32_t shiftHash(uint32_t hash, uint8_t byte) {
    return hash << 5 ^ byte;
}
inline uint32_t shiftHash(const uint8_t* bytes) {
    return shiftHash(shiftHash(bytes[0], bytes[1]), bytes[2]);
}

// shiftHash of the eight positions from `bytes` on; reads ten bytes.
inline __m128i shiftHashes(const uint8_t* bytes) {
    const auto widened = [](const uint8_t* from) {
        const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
        return _mm_unpacklo_epi8(eight, _mm_setzero_si128());
    };
    const __m128i hash = _mm_xor_si128(
        _mm_xor_si128(_mm_slli_epi16(widened(bytes), 10), _mm_slli_epi16(widened(bytes + 1), 5)),
        widened(bytes + 2));
    return _mm_and_si128(hash, _mm_set1_epi16(kHashSize - 1));
}

}  // namespace zeldc::deflate
