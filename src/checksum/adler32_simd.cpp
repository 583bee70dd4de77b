// Adler-32 with vectors. For a step of N bytes c[0..N-1] the two sums change by
//     b += N * a + sum of (N - i) * c[i],    a += sum of c[i].
// The byte sums come from a sum of absolute differences against zero, the weighted ones from a
// multiply-add of bytes, and N * a is postponed: the sums of all steps before are added up and
// multiplied once a chunk. The first two are kept in 64-bit lanes, as the instruction gives them,
// so that a chunk is bounded by the weighted sums alone.
#include <immintrin.h>

#include <algorithm>

#include "checksum/adler32.hpp"
#include "checksum/kernels.hpp"

namespace zeldc::checksum {
namespace {

// A step is a register; a round of the loop takes two, whose weighted bytes are added in signed
// 16-bit lanes before they are widened.
constexpr size_t kSsse3Step = 16;
constexpr size_t kAvx2Step = 32;
static_assert(2 * 255 * (kAvx2Step + kAvx2Step - 1) <= 32767);

// Weights first, first - 1, ... for the bytes of one register.
constexpr char weight(size_t first, size_t i) {
    return static_cast<char>(first - i);
}

struct Weights {
    alignas(32) char forByte[kAvx2Step];
};

constexpr Weights makeWeights(size_t step) {
    Weights weights{};
    for (size_t i = 0; i < step; ++i)
        weights.forByte[i] = weight(step, i);
    return weights;
}

constexpr Weights kSsse3Weights = makeWeights(kSsse3Step);
constexpr Weights kAvx2Weights = makeWeights(kAvx2Step);

// The most bytes between two reductions: a 32-bit lane of weighted sums grows by at most 2 * 32767
// a round, and all eight are added in 64 bits.
constexpr size_t kLongChunk = size_t{1} << 19;
static_assert(kLongChunk / (2 * kSsse3Step) * 2 * 32767 <= 0x7FFFFFFF);

struct ChunkSums {
    uint64_t bytes;
    uint64_t earlier;
    uint64_t weighted;
};

__attribute__((target("ssse3"), always_inline)) inline uint64_t low64(__m128i v) {
    // Two moves: there is no 64-bit one on i386.
    return static_cast<uint32_t>(_mm_cvtsi128_si32(v)) |
           uint64_t{static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(v, 4)))} << 32;
}

__attribute__((target("ssse3"), always_inline)) inline uint64_t sumOf64(__m128i v) {
    return low64(_mm_add_epi64(v, _mm_srli_si128(v, 8)));
}

__attribute__((target("ssse3"), always_inline)) inline uint64_t sumOf32(__m128i v) {
    const __m128i zero = _mm_setzero_si128();
    return sumOf64(_mm_add_epi64(_mm_unpacklo_epi32(v, zero), _mm_unpackhi_epi32(v, zero)));
}

__attribute__((target("avx2"), always_inline)) inline uint64_t sumOf64(__m256i v) {
    return sumOf64(_mm_add_epi64(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

__attribute__((target("avx2"), always_inline)) inline uint64_t sumOf32(__m256i v) {
    return sumOf32(_mm256_castsi256_si128(v)) + sumOf32(_mm256_extracti128_si256(v, 1));
}

// `size` is a multiple of two steps and at most kLongChunk.
__attribute__((target("ssse3"))) ChunkSums chunkSsse3(const uint8_t* src, size_t size) {
    const __m128i weights = _mm_load_si128(reinterpret_cast<const __m128i*>(kSsse3Weights.forByte));
    const __m128i zero = _mm_setzero_si128();
    const __m128i ones = _mm_set1_epi16(1);
    __m128i byteSums = zero;
    __m128i earlierSums = zero;
    __m128i weighted = zero;
    for (const uint8_t* end = src + size; src != end; src += 2 * kSsse3Step) {
        const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
        const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + kSsse3Step));
        earlierSums = _mm_add_epi64(earlierSums, byteSums);
        byteSums = _mm_add_epi64(byteSums, _mm_sad_epu8(first, zero));
        earlierSums = _mm_add_epi64(earlierSums, byteSums);
        byteSums = _mm_add_epi64(byteSums, _mm_sad_epu8(second, zero));
        const __m128i products =
            _mm_add_epi16(_mm_maddubs_epi16(first, weights), _mm_maddubs_epi16(second, weights));
        weighted = _mm_add_epi32(weighted, _mm_madd_epi16(products, ones));
    }
    return {sumOf64(byteSums), sumOf64(earlierSums), sumOf32(weighted)};
}

__attribute__((target("avx2"))) ChunkSums chunkAvx2(const uint8_t* src, size_t size) {
    const __m256i weights =
        _mm256_load_si256(reinterpret_cast<const __m256i*>(kAvx2Weights.forByte));
    const __m256i zero = _mm256_setzero_si256();
    const __m256i ones = _mm256_set1_epi16(1);
    __m256i byteSums = zero;
    __m256i earlierSums = zero;
    __m256i weighted = zero;
    for (const uint8_t* end = src + size; src != end; src += 2 * kAvx2Step) {
        const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        const __m256i second =
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + kAvx2Step));
        earlierSums = _mm256_add_epi64(earlierSums, byteSums);
        byteSums = _mm256_add_epi64(byteSums, _mm256_sad_epu8(first, zero));
        earlierSums = _mm256_add_epi64(earlierSums, byteSums);
        byteSums = _mm256_add_epi64(byteSums, _mm256_sad_epu8(second, zero));
        const __m256i products = _mm256_add_epi16(_mm256_maddubs_epi16(first, weights),
                                                  _mm256_maddubs_epi16(second, weights));
        weighted = _mm256_add_epi32(weighted, _mm256_madd_epi16(products, ones));
    }
    return {sumOf64(byteSums), sumOf64(earlierSums), sumOf32(weighted)};
}

template <size_t step>
void addChunk(AdlerSums& sums, const ChunkSums& chunk, size_t size) {
    const uint64_t b = sums.b + uint64_t{sums.a} * size + step * chunk.earlier + chunk.weighted;
    const uint64_t a = sums.a + chunk.bytes;
    // Up to the plain tier's bound both fit 32 bits, whose division is a fraction of the other's.
    if (size <= kAdlerChunk) {
        sums = {static_cast<uint32_t>(a), static_cast<uint32_t>(b)};
        sums.reduce();
    } else {
        sums = {static_cast<uint32_t>(a % kAdlerModulus), static_cast<uint32_t>(b % kAdlerModulus)};
    }
}

template <size_t step, class SumsOfChunk>
uint32_t adlerByChunks(uint32_t adler, const uint8_t* src, size_t size, SumsOfChunk sumsOfChunk) {
    AdlerSums sums = AdlerSums::of(adler);
    constexpr size_t kRound = 2 * step;
    while (size >= kRound) {
        const size_t chunk = std::min(size, kLongChunk) / kRound * kRound;
        addChunk<step>(sums, sumsOfChunk(src, chunk), chunk);
        src += chunk;
        size -= chunk;
    }
    return size == 0 ? sums.value() : adler32Plain(sums.value(), src, size);
}

}  // namespace

uint32_t adler32Ssse3(uint32_t adler, const uint8_t* src, size_t size) {
    return adlerByChunks<kSsse3Step>(adler, src, size, chunkSsse3);
}

uint32_t adler32Avx2(uint32_t adler, const uint8_t* src, size_t size) {
    return adlerByChunks<kAvx2Step>(adler, src, size, chunkAvx2);
}

}  // namespace zeldc::checksum
