// Move-to-front kernels. A list is moved back by whole vectors; where most symbols are found near
// its front, as behind a Burrows-Wheeler transform, its first 16 entries stay in a register.
#include <emmintrin.h>
#include <immintrin.h>

#include <bit>

#include "core/unaligned.hpp"
#include "mtf_rle/mtf_kernels.hpp"

namespace zeldc::mtf_rle {
namespace {

constexpr size_t kLanes = 16;

// Helpers are always_inline: gcc for i386 inlines them into functions for wider targets only then.

[[gnu::always_inline]] inline __m128i loadLanes(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
[[gnu::always_inline]] inline void storeLanes(uint8_t* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

[[gnu::always_inline]] inline bool allEqual(__m128i a, __m128i b) {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(a, b)) == 0xFFFF;
}

// `moved` where the mask is set, `kept` elsewhere: two steps from the mask to the result.
[[gnu::always_inline]] inline __m128i blend(__m128i kept, __m128i moved, __m128i mask) {
    return _mm_xor_si128(kept, _mm_and_si128(_mm_xor_si128(kept, moved), mask));
}

// The bytes of v moved back by one, with the lowest of `front` in front.
[[gnu::always_inline]] inline __m128i movedBack(__m128i v, __m128i front) {
    return _mm_or_si128(_mm_slli_si128(v, 1), front);
}

[[gnu::always_inline]] inline __m128i lastLane(__m128i v) {
    return _mm_srli_si128(v, kLanes - 1);
}

// kPrefixMask.bytes + 15 - r: a mask of lanes 0..r.
struct PrefixMask {
    uint8_t bytes[2 * kLanes];
};
constexpr PrefixMask kPrefixMask = [] {
    PrefixMask mask{};
    for (size_t i = 0; i < kLanes; ++i)
        mask.bytes[i] = 0xFF;
    return mask;
}();

// list[1..rank] = list[0..rank-1], list[0] = the lowest byte of `front`. Works in whole aligned
// blocks, so that each load meets the store that wrote it.
[[gnu::always_inline]] inline void moveBack(uint8_t* list, size_t rank, __m128i front) {
    for (; rank >= kLanes; rank -= kLanes, list += kLanes) {
        const __m128i v = loadLanes(list);
        storeLanes(list, movedBack(v, front));
        front = lastLane(v);
    }
    const __m128i v = loadLanes(list);
    const __m128i mask = loadLanes(kPrefixMask.bytes + kLanes - 1 - rank);
    storeLanes(list, blend(v, movedBack(v, front), mask));
}

// `moved` in the lanes up to the one that matches, in all of them if none does. Within 64 bits,
// taking one from `match` sets everything below the matching lane; the upper half counts if the
// lower has no match. That is known last, and comes in last: six steps from `match` to the result.
[[gnu::always_inline]] inline __m128i blendToMatch(__m128i kept, __m128i moved, __m128i match) {
    const __m128i ones = _mm_set1_epi32(-1);
    const __m128i below = _mm_add_epi64(match, ones);
    const __m128i change = _mm_and_si128(_mm_xor_si128(kept, moved), _mm_or_si128(match, below));
    const __m128i none = _mm_cmpeq_epi32(below, ones);
    const __m128 halves =
        _mm_shuffle_ps(_mm_castsi128_ps(ones), _mm_castsi128_ps(none), _MM_SHUFFLE(1, 1, 0, 0));
    return _mm_xor_si128(kept, _mm_and_si128(change, _mm_castps_si128(halves)));
}

// Finds a symbol in the list of 15 blocks behind the first and moves what stands before it back by
// one, `front` in front. Returns the symbol's position in it.
size_t findAndMoveBack(uint8_t* list, __m128i symbol, __m128i front) {
    for (size_t base = 0; base < kMtfEntries - kLanes; base += kLanes) {
        const __m128i v = loadLanes(list + base);
        const __m128i match = _mm_cmpeq_epi8(v, symbol);
        const auto found = static_cast<unsigned>(_mm_movemask_epi8(match));
        if (found != 0) {
            storeLanes(list + base, blendToMatch(v, movedBack(v, front), match));
            return base + static_cast<size_t>(std::countr_zero(found));
        }
        storeLanes(list + base, movedBack(v, front));
        front = lastLane(v);
    }
    return 0;  // not reached: a list holds every symbol
}

}  // namespace

void forwardByList(const uint8_t* src, uint8_t* dst, size_t size, WorkingTable& table) {
    uint8_t* const list = table.entries;
    const uint8_t* const srcEnd = src + size;
    __m128i head = loadLanes(list);
    __m128i symbol = _mm_set1_epi8(static_cast<char>(list[0]));
    while (src != srcEnd) {
        size_t count = 1;
        if (static_cast<size_t>(srcEnd - src) >= kLanes) {
            count = kLanes;
            if (allEqual(loadLanes(src), symbol)) {
                storeLanes(dst, _mm_setzero_si128());
                src += kLanes;
                dst += kLanes;
                continue;
            }
        }
        for (; count != 0; --count) {
            symbol = _mm_set1_epi8(static_cast<char>(*src));
            const __m128i moved = movedBack(head, _mm_cvtsi32_si128(*src++));
            const __m128i match = _mm_cmpeq_epi8(head, symbol);
            const auto found = static_cast<unsigned>(_mm_movemask_epi8(match));
            if (found != 0) {
                head = blendToMatch(head, moved, match);
                *dst++ = static_cast<uint8_t>(std::countr_zero(found));
            } else {
                *dst++ = static_cast<uint8_t>(
                    kLanes + findAndMoveBack(list + kLanes, symbol, lastLane(head)));
                head = moved;
            }
        }
    }
    storeLanes(list, head);
}

// Ranks are kept with their top bit inverted, so that signed comparisons order them.
constexpr uint8_t kBias = 0x80;

namespace {

void invertTopBits(WorkingTable& table) {
    for (uint8_t& entry : table.entries)
        entry ^= kBias;
}

// The biased rank of the second of two symbols once the first, whose biased rank was `first`, has
// moved to the front.
uint8_t rankAfter(uint8_t second, uint8_t first, bool equal) {
    if (equal) return kBias;
    const bool passed = static_cast<int8_t>(second) < static_cast<int8_t>(first);
    return static_cast<uint8_t>(second + (passed ? 1 : 0));
}

// One move to the front in 16 or 32 ranks: those before `rank` go one back, `rank` itself to the
// front. It is found by its value, so that no single byte is stored between the vectors: a load
// that spans one has to wait.
[[gnu::always_inline]] inline __m128i moveRanks(__m128i ranks, __m128i rank) {
    const __m128i front = _mm_set1_epi8(static_cast<char>(kBias));
    const __m128i moved = _mm_sub_epi8(ranks, _mm_cmpgt_epi8(rank, ranks));
    return blend(moved, front, _mm_cmpeq_epi8(ranks, rank));
}

__attribute__((target("avx2"), always_inline)) inline __m256i moveRanks(__m256i ranks,
                                                                        __m256i rank) {
    const __m256i front = _mm256_set1_epi8(static_cast<char>(kBias));
    const __m256i moved = _mm256_sub_epi8(ranks, _mm256_cmpgt_epi8(rank, ranks));
    return _mm256_blendv_epi8(moved, front, _mm256_cmpeq_epi8(ranks, rank));
}

}  // namespace

// Two symbols a round, so that each rank is loaded and stored once for both. A last odd one is
// taken twice: the second time it stands in front already and moves nothing.
void forwardByRanksSse2(const uint8_t* src, uint8_t* dst, size_t size, WorkingTable& table) {
    invertTopBits(table);
    uint8_t* const ranks = table.entries;
    for (size_t i = 0; i < size; i += 2) {
        const uint8_t a = src[i];
        const uint8_t b = i + 1 < size ? src[i + 1] : a;
        const uint8_t first = ranks[a];
        const uint8_t second = rankAfter(ranks[b], first, a == b);
        dst[i] = first ^ kBias;
        if (i + 1 < size) dst[i + 1] = second ^ kBias;
        const __m128i firstRank = _mm_set1_epi8(static_cast<char>(first));
        const __m128i secondRank = _mm_set1_epi8(static_cast<char>(second));
        for (size_t lane = 0; lane < kMtfEntries; lane += kLanes) {
            const __m128i v = loadLanes(ranks + lane);
            storeLanes(ranks + lane, moveRanks(moveRanks(v, firstRank), secondRank));
        }
    }
    invertTopBits(table);
}

__attribute__((target("avx2"))) void forwardByRanksAvx2(const uint8_t* src, uint8_t* dst,
                                                        size_t size, WorkingTable& table) {
    invertTopBits(table);
    uint8_t* const ranks = table.entries;
    for (size_t i = 0; i < size; i += 2) {
        const uint8_t a = src[i];
        const uint8_t b = i + 1 < size ? src[i + 1] : a;
        const uint8_t first = ranks[a];
        const uint8_t second = rankAfter(ranks[b], first, a == b);
        dst[i] = first ^ kBias;
        if (i + 1 < size) dst[i + 1] = second ^ kBias;
        const __m256i firstRank = _mm256_set1_epi8(static_cast<char>(first));
        const __m256i secondRank = _mm256_set1_epi8(static_cast<char>(second));
        for (size_t lane = 0; lane < kMtfEntries; lane += 2 * kLanes) {
            auto* const p = reinterpret_cast<__m256i*>(ranks + lane);
            _mm256_store_si256(p,
                               moveRanks(moveRanks(_mm256_load_si256(p), firstRank), secondRank));
        }
    }
    invertTopBits(table);
}

void inverseSse2(const uint8_t* src, uint8_t* dst, size_t size, WorkingTable& table) {
    uint8_t* const list = table.entries;
    for (const uint8_t* srcEnd = src + size; src != srcEnd; ++src, ++dst) {
        const size_t rank = *src;
        const uint8_t symbol = list[rank];
        moveBack(list, rank, _mm_cvtsi32_si128(symbol));
        *dst = symbol;
    }
}

namespace {

// kMoves[r]: takes lane r to the front and the lanes before it one back.
struct Moves {
    uint8_t lanes[kLanes][kLanes];
};
constexpr Moves kMoves = [] {
    Moves moves{};
    for (size_t r = 0; r < kLanes; ++r) {
        for (size_t i = 0; i < kLanes; ++i)
            moves.lanes[r][i] = static_cast<uint8_t>(i > r ? i : i == 0 ? r : i - 1);
    }
    return moves;
}();

}  // namespace

__attribute__((target("ssse3"))) void inverseSsse3(const uint8_t* src, uint8_t* dst, size_t size,
                                                   WorkingTable& table) {
    uint8_t* const list = table.entries;
    const uint8_t* const srcEnd = src + size;
    __m128i head = loadLanes(list);
    while (src != srcEnd) {
        size_t count = 1;
        if (static_cast<size_t>(srcEnd - src) >= kLanes) {
            count = kLanes;
            if (allEqual(loadLanes(src), _mm_setzero_si128())) {
                storeLanes(dst, _mm_shuffle_epi8(head, _mm_setzero_si128()));
                src += kLanes;
                dst += kLanes;
                continue;
            }
        }
        for (; count != 0; --count) {
            const size_t rank = *src++;
            if (rank < kLanes) {
                head = _mm_shuffle_epi8(head, loadLanes(kMoves.lanes[rank]));
            } else {
                const __m128i symbol = _mm_cvtsi32_si128(list[rank]);
                moveBack(list + kLanes, rank - kLanes, lastLane(head));
                head = movedBack(head, symbol);
            }
            *dst++ = static_cast<uint8_t>(_mm_cvtsi128_si32(head));
        }
    }
    storeLanes(list, head);
}

namespace {

// The biased positions of a list.
struct Positions {
    alignas(32) uint8_t biased[kMtfEntries];
};
constexpr Positions kPositions = [] {
    Positions positions{};
    for (size_t i = 0; i < kMtfEntries; ++i)
        positions.biased[i] = static_cast<uint8_t>(i ^ kBias);
    return positions;
}();

}  // namespace

// Passes over the whole list for each symbol, whatever its rank: nothing is left to predict.
__attribute__((target("avx2"))) void inverseFlatAvx2(const uint8_t* src, uint8_t* dst, size_t size,
                                                     WorkingTable& table) {
    uint8_t* const list = table.entries;
    for (const uint8_t* srcEnd = src + size; src != srcEnd; ++src, ++dst) {
        const uint8_t rank = *src;
        const uint8_t symbol = list[rank];
        const __m256i limit = _mm256_set1_epi8(static_cast<char>(rank ^ kBias));
        __m256i before = _mm256_set1_epi8(static_cast<char>(symbol));
        for (size_t lane = 0; lane < kMtfEntries; lane += 2 * kLanes) {
            auto* const p = reinterpret_cast<__m256i*>(list + lane);
            const __m256i v = _mm256_load_si256(p);
            const __m256i across = _mm256_permute2x128_si256(before, v, 0x21);
            const __m256i moved = _mm256_alignr_epi8(v, across, kLanes - 1);
            const __m256i position =
                _mm256_load_si256(reinterpret_cast<const __m256i*>(kPositions.biased + lane));
            _mm256_store_si256(p, _mm256_blendv_epi8(moved, v, _mm256_cmpgt_epi8(position, limit)));
            before = v;
        }
        *dst = symbol;
    }
}

size_t countFar(const uint8_t* ranks, size_t size) {
    // A chunk's sums fit the low half of each 64-bit lane.
    __m128i sums = _mm_setzero_si128();
    size_t i = 0;
    for (; size - i >= kLanes; i += kLanes) {
        const __m128i beyond = _mm_subs_epu8(loadLanes(ranks + i), _mm_set1_epi8(kLanes - 1));
        const __m128i far = _mm_min_epu8(beyond, _mm_set1_epi8(1));
        sums = _mm_add_epi64(sums, _mm_sad_epu8(far, _mm_setzero_si128()));
    }
    const __m128i sum = _mm_add_epi64(sums, _mm_srli_si128(sums, 8));
    auto far = static_cast<size_t>(_mm_cvtsi128_si32(sum));
    for (; i < size; ++i)
        far += ranks[i] >= kLanes ? 1 : 0;
    return far;
}

}  // namespace zeldc::mtf_rle
