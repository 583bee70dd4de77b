// Which table codes a group cheapest. A symbol's code lengths in all tables lie side by side as
// bytes of one row, so a group's costs in all tables are the sum of its symbols' rows: two loads
// and one addition a symbol.
#include <smmintrin.h>

#include <cstring>
#include <utility>

#include "blocksort/multi_huffman.hpp"
#include "core/dispatch.hpp"

namespace zeldc::blocksort {
namespace {

constexpr int32_t kLanes = 8;
static_assert(kMaxTables <= kLanes);

// Rows are added as bytes for a few symbols, and these sums as 16-bit numbers.
constexpr int32_t kStep = 10;
static_assert(kGroupSize % kStep == 0 && kStep % 2 == 0);
static_assert(kStep * kLongestCosted <= UINT8_MAX);

// The lanes of tables that are not there; no sum comes near, so that none needs to saturate and
// all compare as signed numbers.
constexpr int16_t kUnusedLane = INT16_MAX;
static_assert(kGroupSize * kLongestCosted < kUnusedLane);

// The first lane of those that hold the minimum. Both are called from functions that are compiled
// for their machine, and become part of them.
struct LowestLane {
    static inline uint32_t of(__m128i costs) {
        __m128i least = _mm_min_epi16(costs, _mm_shuffle_epi32(costs, _MM_SHUFFLE(1, 0, 3, 2)));
        least = _mm_min_epi16(least, _mm_shuffle_epi32(least, _MM_SHUFFLE(2, 3, 0, 1)));
        least = _mm_min_epi16(least,
                              _mm_or_si128(_mm_srli_epi32(least, 16), _mm_slli_epi32(least, 16)));
        const int where = _mm_movemask_epi8(_mm_cmpeq_epi16(costs, least));
        return static_cast<uint32_t>(__builtin_ctz(static_cast<uint32_t>(where))) / 2;
    }
};

struct LowestLaneAvx2 {
    __attribute__((target("avx2"))) static inline uint32_t of(__m128i costs) {
        return static_cast<uint32_t>(_mm_extract_epi16(_mm_minpos_epu16(costs), 1));
    }
};

class CostTable {
  public:
    CostTable(int32_t tableCount, const uint8_t (*lengths)[kMaxAlphabet]) {
        std::memset(rows_, 0, sizeof rows_);
        for (int32_t t = 0; t < tableCount; ++t) {
            for (int32_t s = 0; s < kMaxAlphabet; ++s)
                rows_[s][t] = lengths[t][s];
        }
        for (int32_t t = 0; t < kLanes; ++t)
            start_[t] = t < tableCount ? 0 : kUnusedLane;
    }

    template <class Lowest>
    [[gnu::always_inline]] inline uint32_t cheapest(const U16* group, int32_t size) const {
        __m128i sum = _mm_load_si128(reinterpret_cast<const __m128i*>(start_));
        if (size == kGroupSize) {
            for (int32_t i = 0; i < kGroupSize; i += kStep)
                sum = addBytes(sum,
                               sumOf(group + i, std::make_integer_sequence<int32_t, kStep / 2>()));
        } else {
            for (int32_t i = 0; i < size; ++i)
                sum = addBytes(sum, row(group[i]));
        }
        return Lowest::of(sum);
    }

  private:
    // With the next symbol's row behind it, in lanes that nobody looks at.
    [[gnu::always_inline]] inline __m128i row(uint16_t symbol) const {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows_[symbol]));
    }

    template <int32_t... i>
    [[gnu::always_inline]] inline __m128i sumOf(const U16* src,
                                                std::integer_sequence<int32_t, i...> /*n*/) const {
        __m128i sum = _mm_setzero_si128();
        ((sum = _mm_add_epi8(sum, rowsOfTwo(src + 2 * i))), ...);
        return sum;
    }

    // Two symbols by one load: loads are what this is short of.
    [[gnu::always_inline]] inline __m128i rowsOfTwo(const U16* src) const {
        const auto two = load<uint32_t>(src);
        return _mm_add_epi8(row(static_cast<uint16_t>(two)), row(static_cast<uint16_t>(two >> 16)));
    }

    [[gnu::always_inline]] static inline __m128i addBytes(__m128i sum, __m128i bytes) {
        return _mm_add_epi16(sum, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
    }

    uint8_t rows_[kMaxAlphabet + 1][kLanes];
    alignas(16) int16_t start_[kLanes];
};

// Adds a group to a table's counts, and where it had another one, takes it out of that one's.
// Symbols at even and odd places are counted apart: the frequent ones follow each other closely,
// and each count of a symbol waits for the one before.
template <bool first>
[[gnu::always_inline]] inline void countGroup(const U16* group, int32_t size, uint32_t* before,
                                              uint32_t* chosen) {
    const auto count = [=](int32_t counter) __attribute__((always_inline)) {
        if constexpr (!first) --before[counter];
        ++chosen[counter];
    };
    int32_t i = 0;
    for (; i < size - 1; i += 2) {
        count(group[i]);
        count(group[i + 1] + GroupCounts::kOdd);
    }
    if (i < size) count(group[i]);
}

template <bool first, class Lowest>
[[gnu::always_inline]] inline void chooseTables(const U16* src, int32_t symbolCount,
                                                const CostTable& costs, GroupCounts& counts,
                                                uint8_t* selectors) {
    for (int32_t left = symbolCount; left > 0; left -= kGroupSize, src += kGroupSize) {
        const int32_t size = left < kGroupSize ? left : kGroupSize;
        const uint32_t chosen = costs.cheapest<Lowest>(src, size);
        const uint32_t before = first ? 0 : *selectors;
        if (first || chosen != before) {
            countGroup<first>(src, size, counts.ofTable(static_cast<int32_t>(before)),
                              counts.ofTable(static_cast<int32_t>(chosen)));
        }
        *selectors++ = static_cast<uint8_t>(chosen);
    }
}

using Choice = void(const U16* src, int32_t symbolCount, int32_t tableCount,
                    const uint8_t (*lengths)[kMaxAlphabet], GroupCounts& counts,
                    uint8_t* selectors);

template <bool first>
void chooseSse2(const U16* src, int32_t symbolCount, int32_t tableCount,
                const uint8_t (*lengths)[kMaxAlphabet], GroupCounts& counts, uint8_t* selectors) {
    const CostTable costs(tableCount, lengths);
    chooseTables<first, LowestLane>(src, symbolCount, costs, counts, selectors);
}

// The same code; this tier's instructions add rows from memory at any address.
template <bool first>
__attribute__((target("avx2"))) void chooseAvx2(const U16* src, int32_t symbolCount,
                                                int32_t tableCount,
                                                const uint8_t (*lengths)[kMaxAlphabet],
                                                GroupCounts& counts, uint8_t* selectors) {
    const CostTable costs(tableCount, lengths);
    chooseTables<first, LowestLaneAvx2>(src, symbolCount, costs, counts, selectors);
}

}  // namespace

extern "C" ZELDC_NO_SANITIZE Choice* zeldcResolveFirstChoice() {
    return cpu::features().avx2 ? chooseAvx2<true> : chooseSse2<true>;
}
ZELDC_DISPATCHED(Choice, zeldcFirstChoice, zeldcResolveFirstChoice);

extern "C" ZELDC_NO_SANITIZE Choice* zeldcResolveNextChoice() {
    return cpu::features().avx2 ? chooseAvx2<false> : chooseSse2<false>;
}
ZELDC_DISPATCHED(Choice, zeldcNextChoice, zeldcResolveNextChoice);

void selectGroups(const U16* src, int32_t symbolCount, int32_t tableCount,
                  const uint8_t (*lengths)[kMaxAlphabet], GroupCounts& counts, uint8_t* selectors) {
    std::memset(&counts, 0, sizeof counts);
    zeldcFirstChoice(src, symbolCount, tableCount, lengths, counts, selectors);
}

void reselectGroups(const U16* src, int32_t symbolCount, int32_t tableCount,
                    const uint8_t (*lengths)[kMaxAlphabet], GroupCounts& counts,
                    uint8_t* selectors) {
    zeldcNextChoice(src, symbolCount, tableCount, lengths, counts, selectors);
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
    const auto* lengths = reinterpret_cast<const uint8_t(*)[kMaxAlphabet]>(pLengths);
    GroupCounts counts;
    selectGroups(anyAlignment(pSrc), len, tableCount, lengths, counts, pSelectors);
    U32* out = anyAlignment(pCounts);
    for (int32_t t = 0; t < tableCount; ++t) {
        for (int32_t s = 0; s < kMaxAlphabet; ++s)
            *out++ = counts.of(t, s);
    }
    return zelStsOk;
}
