#include "deflate/decode_tables.hpp"

namespace zeldc::deflate {
namespace {

template <size_t size, class Result>
constexpr std::array<Entry, size> resultsOf(Result result) {
    std::array<Entry, size> results{};
    for (size_t i = 0; i < size; ++i)
        results[i] = result(static_cast<int32_t>(i));
    return results;
}

constexpr auto kLitLenResults = resultsOf<kLitLenAlphabet>(litLenResult);
constexpr auto kDistanceResults = resultsOf<kDistanceAlphabet>(distanceResult);

constexpr BasicTables<U32> makeFixedTables() {
    std::array<uint8_t, kLitLenAlphabet> litLen{};
    for (size_t i = 0; i < litLen.size(); ++i)
        litLen[i] = fixedLitLenLength(static_cast<int32_t>(i));
    std::array<uint8_t, kDistanceAlphabet> distance{};
    distance.fill(kFixedDistanceBits);

    BasicTables<U32> tables{};
    buildTable(tables.litLen, kLitLenEntries, kLitLenBits,
               SortedCode(litLen.data(), kLitLenAlphabet), kLitLenResults);
    buildTable(tables.distance, kDistanceEntries, kDistanceBits,
               SortedCode(distance.data(), kDistanceAlphabet), kDistanceResults);
    return tables;
}

}  // namespace

constexpr BasicTables<U32> kFixedTables = makeFixedTables();

// The end of block is seven zeros; length 12 is code 265 (1001000 reversed) with its one extra bit.
static_assert(Entry{kFixedTables.litLen[0]} == (kExceptional | kBlockEnd | 7 << 8 | 7));
static_assert(payload(kFixedTables.litLen[0b1001000]) == 11 &&
              bitsToConsume(kFixedTables.litLen[0b1001000]) == 8);

void buildTables(Tables& tables, const U16* lengths, int32_t litLenCount, int32_t distanceCount) {
    buildTable(tables.litLen, kLitLenEntries, kLitLenBits, SortedCode(lengths, litLenCount),
               kLitLenResults);
    buildTable(tables.distance, kDistanceEntries, kDistanceBits,
               SortedCode(lengths + litLenCount, distanceCount), kDistanceResults);
}

}  // namespace zeldc::deflate
