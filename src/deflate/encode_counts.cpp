#include "deflate/encode_counts.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <iterator>

#include "deflate/encode_codes.hpp"

namespace zeldc::deflate {
namespace {

enum class Count { distances, pairs, pairsAndFirst };

// In rounds, so that a run of one value does not wait for its own last store.
struct Tables {
    uint32_t strings[512][2] = {};
    uint32_t distances[4][32] = {};
    uint32_t first[512];  // of strings that occur: the number of the first pair that has it
};

// Where a distance code is counted in Tables: as FourPairs finds it.
constexpr uint32_t distanceIndex(uint32_t code) {
    return code < 2 ? 2 * code : code + 2;
}

__m128i eachOf(int value) {
    return _mm_set1_epi32(value);
}

// Four pairs as indexes into Tables. Which pairs are literals is hard to predict; a literal is
// counted with the last distance code, and taken off there at the end.
class FourPairs {
  public:
    explicit FourPairs(const PairWord* pairs)
        : pairs_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pairs))),
          distances_(_mm_srli_epi32(pairs_, 16)) {}

    // 1 for a literal.
    __m128i literals() const { return _mm_subs_epu16(eachOf(1), distances_); }

    // As literalIndex() and lengthIndex() give them.
    __m128i stringIndexes() const {
        const __m128i doubled = _mm_and_si128(_mm_add_epi32(pairs_, pairs_), eachOf(2 * 0xFF));
        return _mm_add_epi32(doubled, literals());
    }

    // The top bit of distance - 1 and the bit below tell the code: the exponent of a float and the
    // top bit of its fraction. They begin at 2 * 127 for 1, which has no bit below, and are 0 for
    // 0.
    __m128i distanceIndexes() const {
        const __m128i back =
            _mm_and_si128(_mm_add_epi32(distances_, eachOf(-1)), eachOf(kFarthestDistance - 1));
        const __m128i tops = _mm_srli_epi32(_mm_castps_si128(_mm_cvtepi32_ps(back)), 22);
        return _mm_subs_epu16(tops, eachOf(2 * 127 - distanceIndex(1)));
    }

  private:
    __m128i pairs_;
    __m128i distances_;
};

// From the last pair to the first, so that of a string's pairs the first is stored last.
template <Count what>
void count(PairSource pairs, Tables& tables, DistanceCounts& distances) {
    __m128i literals = _mm_setzero_si128();
    alignas(16) uint32_t strings[4];
    alignas(16) uint32_t codes[4];
    const auto look = [&](const PairWord* next) __attribute__((always_inline)) {
        const FourPairs four(next);
        literals = _mm_add_epi32(literals, four.literals());
        _mm_store_si128(reinterpret_cast<__m128i*>(strings), four.stringIndexes());
        _mm_store_si128(reinterpret_cast<__m128i*>(codes), four.distanceIndexes());
    };
    const auto countOne = [&](uint32_t lane, uint32_t number) __attribute__((always_inline)) {
        if (what != Count::distances) ++tables.strings[strings[lane]][lane & 1];
        if (what == Count::pairsAndFirst) tables.first[strings[lane]] = number;
        ++tables.distances[lane][codes[lane]];
    };
    auto left = static_cast<uint32_t>(pairs.end - pairs.next);
    for (; left >= 4; left -= 4) {
        look(pairs.next + (left - 4));
        countOne(3, left - 1);
        countOne(2, left - 2);
        countOne(1, left - 3);
        countOne(0, left - 4);
    }
    PairWord rest[4] = {};
    std::copy_n(pairs.next, left, rest);
    look(rest);
    for (uint32_t i = left; i-- > 0;)
        countOne(i, i);

    _mm_store_si128(reinterpret_cast<__m128i*>(strings), literals);
    for (uint32_t code = 0; code < kDistanceSymbols; ++code) {
        for (const auto& round : tables.distances)
            distances.of[code] += round[distanceIndex(code)];
    }
    distances.of[kDistanceSymbols - 1] -=
        strings[0] + strings[1] + strings[2] + strings[3] - (4 - left);
}

void addStrings(const Tables& tables, LitLenCounts& litLen) {
    const auto counted = [&](uint32_t index) {
        return tables.strings[index][0] + tables.strings[index][1];
    };
    for (uint32_t i = 0; i < 256; ++i) {
        litLen.of[i] += counted(literalIndex(i));
        litLen.of[kFirstLengthSymbol + kLengthCodeOf[i]] +=
            counted(lengthIndex(i + kShortestMatch));
    }
}

}  // namespace

void countDistances(PairSource pairs, DistanceCounts& distances) {
    Tables tables;
    count<Count::distances>(pairs, tables, distances);
}

void countPairs(PairSource pairs, LitLenCounts& litLen, DistanceCounts& distances) {
    Tables tables;
    count<Count::pairs>(pairs, tables, distances);
    addStrings(tables, litLen);
}

void countPairs(PairSource pairs, LitLenCounts& litLen, DistanceCounts& distances,
                FirstOccurrences& first) {
    Tables tables;
    std::fill_n(tables.first, std::size(tables.first), UINT32_MAX);
    count<Count::pairsAndFirst>(pairs, tables, distances);
    addStrings(tables, litLen);
    std::fill_n(first.of, std::size(first.of), UINT32_MAX);
    for (uint32_t i = 0; i < 256; ++i) {
        first.of[i] = tables.first[literalIndex(i)];
        uint32_t& ofLength = first.of[kFirstLengthSymbol + kLengthCodeOf[i]];
        ofLength = std::min(ofLength, tables.first[lengthIndex(i + kShortestMatch)]);
    }
}

}  // namespace zeldc::deflate
