// Both CRCs by carry-less multiplication (Gopal et al., "Fast CRC Computation for Generic
// Polynomials Using PCLMULQDQ Instruction", 2009).
//
// An accumulator holds 16 bytes of the message as a polynomial. Moving it D bits towards the end
// of the message multiplies it by x^D, which two 64x64-bit products do modulo the CRC polynomial
// P: (earlier half) * (x^(D+64) mod P) + (later half) * (x^D mod P). Several accumulators move
// side by side to hide the latency of the products, and are merged at the end.
#include <immintrin.h>

#include "checksum/crc_tables.hpp"
#include "checksum/kernels.hpp"
#include "core/unaligned.hpp"

// A target attribute can be given only to a function, and each helper needs it.
#define CLMUL __attribute__((target("pclmul,sse4.1"), always_inline)) static inline
#define WIDE_CLMUL __attribute__((target("avx2,pclmul,vpclmulqdq"), always_inline)) static inline

namespace zeldc::checksum {
namespace {

// x^exponent mod P.
constexpr uint32_t powerOfX(unsigned exponent) {
    uint32_t value = 1;
    for (; exponent != 0; --exponent) {
        value = (value << 1) ^ ((value >> 31) != 0 ? kPolynomial : 0);
    }
    return value;
}

constexpr uint32_t reversed(uint32_t v) {
    uint32_t out = 0;
    for (int bit = 0; bit < 32; ++bit)
        out |= ((v >> bit) & 1U) << (31 - bit);
    return out;
}

// Multipliers for the halves of an accumulator.
struct FoldConstants {
    uint64_t forLow;
    uint64_t forHigh;
};

// A remainder below x^64: the half that belongs to earlier message bytes, and the other.
struct Words {
    uint32_t first;
    uint32_t second;
};

// Byte i of the 16 bytes from entry n on is byte n + i - 16 of a register: a shuffle by them
// shifts the register's bytes, and zeros come in from outside.
struct ShiftPatterns {
    uint8_t bytes[48];
};
constexpr ShiftPatterns makeShiftPatterns() {
    ShiftPatterns patterns{};
    for (int i = 0; i < 48; ++i) {
        patterns.bytes[i] = static_cast<uint8_t>(i < 16 || i >= 32 ? 0x80 : i - 16);
    }
    return patterns;
}
constexpr ShiftPatterns kShiftPatterns = makeShiftPatterns();

CLMUL __m128i loadBlock(const uint8_t* src) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
}

CLMUL __m128i constant(FoldConstants k) {
    return _mm_set_epi32(static_cast<int>(k.forHigh >> 32), static_cast<int>(k.forHigh),
                         static_cast<int>(k.forLow >> 32), static_cast<int>(k.forLow));
}

// Bit order of gzip: the first message bit is bit 0 of a register, so the low half is the earlier
// one. A product of two 64-bit registers stands one bit short of its place (its polynomial is
// multiplied by x); a constant is either in the high 32 bits, or in the low ones and then stands
// for itself times x^32, which is what the exponents make up for.
struct Reflected {
    static constexpr bool reversesBytes = false;
    static constexpr FoldConstants distance(unsigned bits) {
        return {reversed(powerOfX(bits + 31)), reversed(powerOfX(bits - 33))};
    }
    CLMUL __m128i ordered(__m128i block) { return block; }
    CLMUL __m128i initial(uint32_t crc) { return _mm_cvtsi32_si128(static_cast<int>(crc)); }

    // The accumulator times x^32, brought below x^64.
    CLMUL Words reducedTo64(__m128i acc) {
        const __m128i k = constant(
            {uint64_t{reversed(powerOfX(95))} << 32, uint64_t{reversed(powerOfX(63))} << 32});
        const __m128i later = _mm_slli_si128(_mm_srli_si128(acc, 8), 4);
        acc = _mm_xor_si128(_mm_clmulepi64_si128(acc, k, 0x00), later);
        acc = _mm_xor_si128(_mm_clmulepi64_si128(acc, k, 0x10), acc);
        const auto first = static_cast<uint32_t>(_mm_extract_epi32(acc, 2));
        const auto second = static_cast<uint32_t>(_mm_extract_epi32(acc, 3));
        return {first, second};
    }
    CLMUL uint32_t reducedTo32(Words v) {
        const CrcTables& t = kReflectedTables;
        return t[3][v.first & 0xFF] ^ t[2][(v.first >> 8) & 0xFF] ^ t[1][(v.first >> 16) & 0xFF] ^
               t[0][v.first >> 24] ^ v.second;
    }
    static uint32_t byTables(uint32_t crc, const uint8_t* src, size_t size) {
        return crc32Plain(crc, src, size);
    }
};

// Bit order of bzip2: with the bytes of a block reversed, registers read as numbers.
struct MsbFirst {
    static constexpr bool reversesBytes = true;
    static constexpr FoldConstants distance(unsigned bits) {
        return {powerOfX(bits), powerOfX(bits + 64)};
    }
    CLMUL __m128i ordered(__m128i block) {
        return _mm_shuffle_epi8(block,
                                _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    }
    CLMUL __m128i initial(uint32_t crc) {
        return _mm_slli_si128(_mm_cvtsi32_si128(static_cast<int>(crc)), 12);
    }

    CLMUL Words reducedTo64(__m128i acc) {
        const __m128i k = constant({powerOfX(64), powerOfX(96)});
        const __m128i later = _mm_srli_si128(_mm_slli_si128(acc, 8), 4);
        acc = _mm_xor_si128(_mm_clmulepi64_si128(acc, k, 0x11), later);
        acc = _mm_xor_si128(_mm_clmulepi64_si128(acc, k, 0x01), acc);
        const auto second = static_cast<uint32_t>(_mm_cvtsi128_si32(acc));
        const auto first = static_cast<uint32_t>(_mm_extract_epi32(acc, 1));
        return {first, second};
    }
    CLMUL uint32_t reducedTo32(Words v) {
        const CrcTables& t = kMsbFirstTables;
        return t[3][v.first >> 24] ^ t[2][(v.first >> 16) & 0xFF] ^ t[1][(v.first >> 8) & 0xFF] ^
               t[0][v.first & 0xFF] ^ v.second;
    }
    static uint32_t byTables(uint32_t crc, const uint8_t* src, size_t size) {
        return crc32Bz2Plain(crc, src, size);
    }
};

template <class Order>
CLMUL __m128i blockAt(const uint8_t* src) {
    return Order::ordered(loadBlock(src));
}

CLMUL __m128i folded(__m128i acc, __m128i k, __m128i next) {
    return _mm_xor_si128(next, _mm_xor_si128(_mm_clmulepi64_si128(acc, k, 0x00),
                                             _mm_clmulepi64_si128(acc, k, 0x11)));
}

// Takes the last 1 to 15 bytes of a message, which ends at srcEnd and is at least 16 bytes long:
// the accumulator and they are 16 + size bytes, of which the first `size` are folded over the
// other 16.
template <class Order>
CLMUL __m128i foldedPartial(__m128i acc, const uint8_t* srcEnd, size_t size) {
    const __m128i bytes = Order::ordered(acc);
    const __m128i toEnd = loadBlock(kShiftPatterns.bytes + size);
    const __m128i toStart = loadBlock(kShiftPatterns.bytes + 16 + size);
    const __m128i first = _mm_shuffle_epi8(bytes, toEnd);
    // Bytes that toStart leaves zero have its sign bit set, and are taken from the message.
    const __m128i rest =
        _mm_blendv_epi8(_mm_shuffle_epi8(bytes, toStart), loadBlock(srcEnd - 16), toStart);
    return folded(Order::ordered(first), constant(Order::distance(128)), Order::ordered(rest));
}

// Finishes a message from its accumulator at src on; all of it is at least 16 bytes long.
template <class Order>
CLMUL uint32_t finished(__m128i acc, const uint8_t* src, const uint8_t* srcEnd) {
    const __m128i by128 = constant(Order::distance(128));
    for (; srcEnd - src >= 16; src += 16)
        acc = folded(acc, by128, blockAt<Order>(src));
    if (src != srcEnd) {
        acc = foldedPartial<Order>(acc, srcEnd, static_cast<size_t>(srcEnd - src));
    }
    return Order::reducedTo32(Order::reducedTo64(acc));
}

template <class Order>
CLMUL uint32_t crcByFolding(uint32_t crc, const uint8_t* src, size_t size) {
    if (size < 16) return Order::byTables(crc, src, size);

    const uint8_t* const srcEnd = src + size;
    __m128i a = _mm_xor_si128(blockAt<Order>(src), Order::initial(crc));
    src += 16;
    if (size >= 64) {
        const __m128i by512 = constant(Order::distance(512));
        __m128i b = blockAt<Order>(src);
        __m128i c = blockAt<Order>(src + 16);
        __m128i d = blockAt<Order>(src + 32);
        for (src += 48; srcEnd - src >= 64; src += 64) {
            a = folded(a, by512, blockAt<Order>(src));
            b = folded(b, by512, blockAt<Order>(src + 16));
            c = folded(c, by512, blockAt<Order>(src + 32));
            d = folded(d, by512, blockAt<Order>(src + 48));
        }
        // In two steps, which do not wait for each other, then one.
        a = folded(a, constant(Order::distance(256)), c);
        b = folded(b, constant(Order::distance(256)), d);
        a = folded(a, constant(Order::distance(128)), b);
    }
    return finished<Order>(a, src, srcEnd);
}

// Two accumulators a register.
template <class Order>
WIDE_CLMUL __m256i wideBlockAt(const uint8_t* src) {
    const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
    if constexpr (!Order::reversesBytes) return block;
    return _mm256_shuffle_epi8(block, _mm256_broadcastsi128_si256(_mm_set_epi8(
                                          0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15)));
}

WIDE_CLMUL __m256i folded(__m256i acc, __m256i k, __m256i next) {
    return _mm256_xor_si256(next, _mm256_xor_si256(_mm256_clmulepi64_epi128(acc, k, 0x00),
                                                   _mm256_clmulepi64_epi128(acc, k, 0x11)));
}

WIDE_CLMUL __m256i wideConstant(FoldConstants k) {
    return _mm256_broadcastsi128_si256(constant(k));
}

// Shorter messages gain nothing from wide registers.
constexpr size_t kWideThreshold = 256;

template <class Order>
WIDE_CLMUL uint32_t crcByWideFolding(uint32_t crc, const uint8_t* src, size_t size) {
    if (size < kWideThreshold) return crcByFolding<Order>(crc, src, size);

    const uint8_t* const srcEnd = src + size;
    const __m256i by1024 = wideConstant(Order::distance(1024));
    __m256i a =
        _mm256_xor_si256(wideBlockAt<Order>(src), _mm256_zextsi128_si256(Order::initial(crc)));
    __m256i b = wideBlockAt<Order>(src + 32);
    __m256i c = wideBlockAt<Order>(src + 64);
    __m256i d = wideBlockAt<Order>(src + 96);
    for (src += 128; srcEnd - src >= 128; src += 128) {
        a = folded(a, by1024, wideBlockAt<Order>(src));
        b = folded(b, by1024, wideBlockAt<Order>(src + 32));
        c = folded(c, by1024, wideBlockAt<Order>(src + 64));
        d = folded(d, by1024, wideBlockAt<Order>(src + 96));
    }
    const __m256i by512 = wideConstant(Order::distance(512));
    a = folded(a, by512, c);
    b = folded(b, by512, d);
    a = folded(a, wideConstant(Order::distance(256)), b);
    return finished<Order>(folded(_mm256_castsi256_si128(a), constant(Order::distance(128)),
                                  _mm256_extracti128_si256(a, 1)),
                           src, srcEnd);
}

}  // namespace

__attribute__((target("pclmul,sse4.1"))) uint32_t crc32Clmul(uint32_t crc, const uint8_t* src,
                                                             size_t size) {
    return crcByFolding<Reflected>(crc, src, size);
}

__attribute__((target("pclmul,sse4.1"))) uint32_t crc32Bz2Clmul(uint32_t crc, const uint8_t* src,
                                                                size_t size) {
    return crcByFolding<MsbFirst>(crc, src, size);
}

__attribute__((target("avx2,pclmul,vpclmulqdq"))) uint32_t crc32WideClmul(uint32_t crc,
                                                                          const uint8_t* src,
                                                                          size_t size) {
    return crcByWideFolding<Reflected>(crc, src, size);
}

__attribute__((target("avx2,pclmul,vpclmulqdq"))) uint32_t crc32Bz2WideClmul(uint32_t crc,
                                                                             const uint8_t* src,
                                                                             size_t size) {
    return crcByWideFolding<MsbFirst>(crc, src, size);
}

}  // namespace zeldc::checksum
