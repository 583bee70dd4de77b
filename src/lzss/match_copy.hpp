// Copies of earlier output to the output's end, where source and destination may overlap: what has
// been copied is then copied again, which repeats it.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/unaligned.hpp"

namespace zeldc::lzss {

// Below this a call of memcpy costs more than it saves.
constexpr uint32_t kShortCopy = 31;

// Byte by byte in effect, from the front; exact on both sides, for areas in any relation.
inline void copyForward(const uint8_t* src, uint8_t* dst, uint32_t length) {
    const auto from = reinterpret_cast<uintptr_t>(src);
    const auto to = reinterpret_cast<uintptr_t>(dst);
    const bool overlap = from < to ? to - from < length : from - to < length;
    if (length >= kShortCopy && !overlap) {
        std::memcpy(dst, src, length);
        return;
    }
    for (uint32_t i = 0; i < length; ++i)
        dst[i] = src[i];
}

inline void copyBlock(const uint8_t* src, uint8_t* dst) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(src)));
}

// What copyMatchWide() writes behind its end, at most.
constexpr ptrdiff_t kCopyOverrun = 32;

// For distances below 16.
inline void copyNear(uint8_t* dst, uint32_t distance, uint8_t* end) {
    const uint8_t* src = dst - distance;
    if (distance == 1) {
        const __m128i repeated = _mm_set1_epi8(static_cast<char>(*src));
        for (; dst < end; dst += 16)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), repeated);
        return;
    }
    // Eight bytes one by one; from there on a source that lies back by the multiple of the distance
    // in 8..15 shows the same bytes.
    for (int i = 0; i < 8; ++i)
        dst[i] = src[i];
    dst += 8;
    src = dst - (distance < 8 ? (7 / distance + 1) * distance : distance);
    for (; dst < end; dst += 8, src += 8)
        store(dst, load<uint64_t>(src));
}

// The same as copyForward() for a source `distance` bytes before the destination, at least 1, in
// steps of up to 16 bytes of which none reads what it writes.
inline void copyMatchWide(uint8_t* dst, uint32_t distance, uint32_t length) {
    uint8_t* const end = dst + length;
    if (distance < 16) return copyNear(dst, distance, end);
    const uint8_t* src = dst - distance;
    // Nine in ten matches are no longer than two blocks.
    do {
        copyBlock(src, dst);
        copyBlock(src + 16, dst + 16);
        src += 32;
        dst += 32;
    } while (dst < end);
}

}  // namespace zeldc::lzss
