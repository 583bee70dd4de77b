// Which table codes a group cheapest. A symbol's code lengths in all tables lie side by side as
// 16-bit lanes of one vector, so a group's costs in all tables are the sum of its symbols' vectors:
// two loads and one addition a symbol.
#include <emmintrin.h>

#include <bit>
#include <cstring>

#include "blocksort/multi_huffman.hpp"

namespace zeldc::blocksort {
namespace {

constexpr int32_t kLanes = 8;
static_assert(kMaxTables <= kLanes);

// Sums stay far below the lanes' range, so they need not saturate and compare as signed numbers.
constexpr int16_t kUnusedLane = INT16_MAX;
static_assert(kGroupSize * UINT8_MAX < kUnusedLane);

class CostTable {
  public:
    CostTable(int32_t tableCount, const uint8_t (*lengths)[kMaxAlphabet]) {
        for (auto& row : rows_)
            _mm_store_si128(&row, _mm_setzero_si128());
        alignas(16) int16_t start[kLanes];
        for (int32_t t = 0; t < kLanes; ++t)
            start[t] = t < tableCount ? 0 : kUnusedLane;
        start_ = _mm_load_si128(reinterpret_cast<const __m128i*>(start));
        for (int32_t t = 0; t < tableCount; ++t) {
            for (int32_t s = 0; s < kMaxAlphabet; ++s)
                setLane(s, t, lengths[t][s]);
        }
    }

    uint32_t cheapest(const U16* group, int32_t size) const {
        __m128i even = start_;
        __m128i odd = _mm_setzero_si128();
        int32_t i = 0;
        for (; i < size - 1; i += 2) {
            const auto two = load<uint32_t>(group + i);
            even = _mm_add_epi16(even, rows_[two & 0xFFFF]);
            odd = _mm_add_epi16(odd, rows_[two >> 16]);
        }
        if (i < size) even = _mm_add_epi16(even, rows_[group[i]]);
        return lowestLane(_mm_add_epi16(even, odd));
    }

  private:
    void setLane(int32_t symbol, int32_t lane, uint8_t length) {
        store(reinterpret_cast<char*>(&rows_[symbol]) + lane * 2, int16_t{length});
    }

    // The first lane of those that hold the minimum.
    static uint32_t lowestLane(__m128i costs) {
        __m128i least = _mm_min_epi16(costs, _mm_shuffle_epi32(costs, _MM_SHUFFLE(1, 0, 3, 2)));
        least = _mm_min_epi16(least, _mm_shuffle_epi32(least, _MM_SHUFFLE(2, 3, 0, 1)));
        least = _mm_min_epi16(least,
                              _mm_or_si128(_mm_srli_epi32(least, 16), _mm_slli_epi32(least, 16)));
        const int where = _mm_movemask_epi8(_mm_cmpeq_epi16(costs, least));
        return static_cast<uint32_t>(std::countr_zero(static_cast<uint32_t>(where))) / 2;
    }

    __m128i rows_[kMaxAlphabet];
    __m128i start_;
};

void count(const U16* group, int32_t size, uint32_t* counts) {
    for (int32_t i = 0; i < size; ++i)
        ++counts[group[i]];
}

void uncount(const U16* group, int32_t size, uint32_t* counts) {
    for (int32_t i = 0; i < size; ++i)
        --counts[group[i]];
}

}  // namespace

void selectGroups(const U16* src, int32_t symbolCount, int32_t tableCount,
                  const uint8_t (*lengths)[kMaxAlphabet], bool recount,
                  uint32_t (*counts)[kMaxAlphabet], uint8_t* selectors) {
    if (recount) std::memset(counts, 0, kMaxTables * sizeof *counts);
    const CostTable costs(tableCount, lengths);
    for (int32_t left = symbolCount; left > 0; left -= kGroupSize, src += kGroupSize) {
        const int32_t size = left < kGroupSize ? left : kGroupSize;
        const uint32_t chosen = costs.cheapest(src, size);
        if (recount) {
            count(src, size, counts[chosen]);
        } else if (*selectors != chosen) {
            uncount(src, size, counts[*selectors]);
            count(src, size, counts[chosen]);
        }
        *selectors++ = static_cast<uint8_t>(chosen);
    }
}

bool symbolsBelow(const U16* src, int32_t symbolCount, int32_t alphaSize) {
    const __m128i largest = _mm_set1_epi16(static_cast<int16_t>(alphaSize - 1));
    __m128i excess = _mm_setzero_si128();
    int32_t i = 0;
    for (; i <= symbolCount - kLanes; i += kLanes) {
        const __m128i symbols = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        excess = _mm_or_si128(excess, _mm_subs_epu16(symbols, largest));
    }
    uint32_t tail = 0;
    for (; i < symbolCount; ++i)
        tail |= static_cast<uint32_t>(src[i] >= alphaSize);
    const int zero = _mm_movemask_epi8(_mm_cmpeq_epi8(excess, _mm_setzero_si128()));
    return zero == 0xFFFF && tail == 0;
}

}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" ZelStatus ownsHuffSelectGroup(const uint16_t* pSrc, int32_t len, int32_t tableCount,
                                         const uint8_t* pLengths, uint32_t* pCounts,
                                         uint8_t* pSelectors) {
    // Rows of bytes lie anywhere; the counters are copied so that theirs may, too.
    const auto* lengths = reinterpret_cast<const uint8_t(*)[kMaxAlphabet]>(pLengths);
    uint32_t counts[kMaxTables][kMaxAlphabet];
    selectGroups(anyAlignment(pSrc), len, tableCount, lengths, true, counts, pSelectors);
    std::memcpy(pCounts, counts, static_cast<uint32_t>(tableCount) * sizeof *counts);
    return zelStsOk;
}
