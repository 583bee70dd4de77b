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

constexpr auto kLitlenResults = resultsOf<kLitlenSymbols>(litlenResult);
constexpr auto kDistanceResults = resultsOf<kDistanceSymbols>(distanceResult);

constexpr BasicTables<U32> makeFixedTables() {
    std::array<uint8_t, kLitlenSymbols> litlen{};
    for (size_t i = 0; i < litlen.size(); ++i)
        litlen[i] = fixedLitlenLength(static_cast<int32_t>(i));
    std::array<uint8_t, kDistanceSymbols> distance{};
    distance.fill(kFixedDistanceLength);

    BasicTables<U32> tables{};
    buildTable(tables.litlen, kLitlenEntries, kLitlenBits,
               SortedCode(litlen.data(), kLitlenSymbols), kLitlenResults);
    buildTable(tables.distance, kDistanceEntries, kDistanceBits,
               SortedCode(distance.data(), kDistanceSymbols), kDistanceResults);
    return tables;
}

}  // namespace

constexpr BasicTables<U32> kFixedTables = makeFixedTables();

// The end of block is seven zeros; length 12 is code 265 (1001000 reversed) with its one extra bit.
static_assert(Entry{kFixedTables.litlen[0]} == (kExceptional | kBlockEnd | 7 << 8 | 7));
static_assert(payload(kFixedTables.litlen[0b1001000]) == 11 &&
              bitsToConsume(kFixedTables.litlen[0b1001000]) == 8);

void buildTables(Tables& tables, const U16* lengths, int32_t litlenCount, int32_t distanceCount) {
    buildTable(tables.litlen, kLitlenEntries, kLitlenBits, SortedCode(lengths, litlenCount),
               kLitlenResults);
    buildTable(tables.distance, kDistanceEntries, kDistanceBits,
               SortedCode(lengths + litlenCount, distanceCount), kDistanceResults);
}

}  // namespace zeldc::deflate
