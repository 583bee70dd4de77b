// Design of a block's tables: a first deal of the alphabet by frequency, then rounds in which every
// group picks its cheapest table and every table is built anew for the groups that picked it.
#include <cstring>
#include <utility>

#include "blocksort/multi_huffman.hpp"
#include "core/alloc.hpp"
#include "core/code_lengths.hpp"
#include "core/state.hpp"
#include "mtf_rle/mtf.hpp"

namespace zeldc::blocksort {
namespace {

constexpr int32_t kRounds = 5;
constexpr uint8_t kUndealtLength = 15;
constexpr int32_t kDealOffset = 4024;  // added to the number of symbols that the tables share

int32_t tablesFor(int32_t symbolCount) {
    if (symbolCount < 200) return 2;
    if (symbolCount < 600) return 3;
    if (symbolCount < 1200) return 4;
    if (symbolCount < 2400) return 5;
    return 6;
}

// Table t gets the symbols whose cumulative frequency lies about its share of the total.
// Frequencies are the caller's word: whatever is left when they add up to too much stays with the
// last table.
void dealAlphabet(EncodeLayout& state, const U32* frequencies) {
    std::memset(state.lengths, kUndealtLength, sizeof state.lengths);
    const auto tables = static_cast<uint32_t>(state.tableCount);
    const uint32_t share = (static_cast<uint32_t>(state.symbolCount) + kDealOffset) / tables;
    uint64_t sum = 0;
    uint64_t threshold = share;
    uint32_t table = 0;
    for (int32_t s = 0; s < state.alphaSize; ++s) {
        state.lengths[table][s] = 0;
        sum += frequencies[s];
        if (sum > threshold && table + 1 < tables) {
            ++table;
            threshold += share;
        }
    }
}

// Weight and symbol in one word.
constexpr int32_t kSymbolBits = 9;
constexpr uint32_t kLargestWeight = static_cast<uint32_t>(kMaxSelectors) * kGroupSize;
static_assert(kMaxAlphabet <= 1 << kSymbolBits);

// Three digits make a weight.
constexpr int32_t kDigitBits = 7;
constexpr int32_t kDigitValues = 1 << kDigitBits;
constexpr int32_t kWeightEnd = kSymbolBits + 3 * kDigitBits;
static_assert(kLargestWeight < 1U << (kWeightEnd - kSymbolBits));

// By ascending weight, then symbol: digit by digit from the lowest, each pass keeping the order of
// the ones before. (Quicksort takes five times as long on the words of a full alphabet, and was a
// tenth of the encoder's time.)
void sortByWeight(uint32_t* words, int32_t count) {
    uint32_t other[kMaxAlphabet];
    for (int32_t shift = kSymbolBits; shift < kWeightEnd; shift += kDigitBits) {
        const auto digit = [shift](uint32_t word) { return word >> shift & (kDigitValues - 1); };
        int32_t next[kDigitValues] = {};
        for (int32_t i = 0; i < count; ++i)
            ++next[digit(words[i])];
        if (next[0] == count) continue;
        int32_t start = 0;
        for (int32_t& place : next)
            start += std::exchange(place, start);
        for (int32_t i = 0; i < count; ++i)
            other[next[digit(words[i])]++] = words[i];
        std::memcpy(words, other, static_cast<size_t>(count) * sizeof *words);
    }
}

void designCode(const GroupCounts& counts, int32_t table, int32_t alphaSize, uint8_t* lengths) {
    uint32_t order[kMaxAlphabet];
    for (int32_t s = 0; s < alphaSize; ++s) {
        const uint32_t count = counts.of(table, s);
        const uint32_t weight = count != 0 ? count : 1;
        order[s] = weight << kSymbolBits | static_cast<uint32_t>(s);
    }
    sortByWeight(order, alphaSize);
    uint32_t depths[kMaxAlphabet];
    for (int32_t i = 0; i < alphaSize; ++i)
        depths[i] = order[i] >> kSymbolBits;
    huffmanDepths(depths, alphaSize);
    limitLengths(depths, alphaSize, kEncodeLongest);
    for (int32_t i = 0; i < alphaSize; ++i)
        lengths[order[i] & ((1U << kSymbolBits) - 1)] = static_cast<uint8_t>(depths[i]);
}

void designCodes(EncodeLayout& state, const GroupCounts& counts) {
    for (int32_t t = 0; t < state.tableCount; ++t)
        designCode(counts, t, state.alphaSize, state.lengths[t]);
}

void assignCodes(EncodeLayout& state, int32_t table) {
    const uint8_t* lengths = state.lengths[table];
    CanonicalCodes codes(lengths, state.alphaSize);
    for (int32_t s = 0; s < state.alphaSize; ++s)
        state.codes[table][s] = codes.take(lengths[s]);
}

// Selectors as positions in a list of the tables, most recently used first.
void rankSelectors(EncodeLayout& state) {
    mtf_rle::MtfTable list;
    mtf_rle::mtfInit(list);
    mtf_rle::mtfForward(state.selectors(), state.selectorRanks(),
                        static_cast<size_t>(state.groupCount), list);
}

}  // namespace

void designTables(EncodeLayout& state, const U32* frequencies, const U16* src) {
    dealAlphabet(state, frequencies);
    std::memset(state.codes, 0, sizeof state.codes);
    GroupCounts counts;
    selectGroups(src, state.symbolCount, state.tableCount, state.lengths, counts,
                 state.selectors());
    std::memset(state.lengths, 0, sizeof state.lengths);
    designCodes(state, counts);
    for (int32_t round = 1; round < kRounds; ++round) {
        reselectGroups(src, state.symbolCount, state.tableCount, state.lengths, counts,
                       state.selectors());
        designCodes(state, counts);
    }
    for (int32_t t = 0; t < state.tableCount; ++t)
        assignCodes(state, t);
    rankSelectors(state);
}

}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

namespace {

// `roomForGroups` is how many selectors the state can hold.
ZelStatus initialise(int32_t alphaSize, const uint32_t* frequencies, const uint16_t* src,
                     int32_t len, int32_t roomForGroups, HuffBz2EncodeState* pState) {
    if (frequencies == nullptr || src == nullptr || pState == nullptr) return zelStsNullPointer;
    if (alphaSize < 1 || len < 1 || alphaSize > kMaxAlphabet) return zelStsBadSize;
    if (groupsOf(len) > roomForGroups || groupsOf(len) > kMaxSelectors) return zelStsBadSize;
    const U16* symbols = anyAlignment(src);
    if (!symbolsBelow(symbols, len, alphaSize)) return zelStsBadSize;

    auto& state = stateAt<EncodeLayout>(pState);
    state.alphaSize = alphaSize;
    state.tableCount = tablesFor(len);
    state.symbolCount = len;
    state.groupCount = groupsOf(len);
    designTables(state, anyAlignment(frequencies), symbols);
    return zelStsOk;
}

}  // namespace

extern "C" {

ZelStatus zelsEncodeHuffGetSize_BZ2_16u8u(int32_t len, int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    *pSize = 2 * groupsOf(len) + static_cast<int32_t>(sizeof(EncodeLayout));
    return zelStsOk;
}

ZelStatus zelsEncodeHuffInit_BZ2_16u8u(int32_t alphaSize, const uint32_t* pFreq,
                                       const uint16_t* pSrc, int32_t len,
                                       HuffBz2EncodeState* pState) {
    return initialise(alphaSize, pFreq, pSrc, len, kMaxSelectors, pState);
}

ZelStatus zelsEncodeHuffInitAlloc_BZ2_16u8u(int32_t len, int32_t alphaSize, const uint32_t* pFreq,
                                            const uint16_t* pSrc, int32_t srcLen,
                                            HuffBz2EncodeState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    int32_t size = 0;
    const ZelStatus status = zelsEncodeHuffGetSize_BZ2_16u8u(len, &size);
    if (status != zelStsOk) return status;
    auto* pState = reinterpret_cast<HuffBz2EncodeState*>(allocate(size));
    *ppState = pState;
    return initialise(alphaSize, pFreq, pSrc, srcLen, groupsOf(len), pState);
}

void zelsEncodeHuffFree_BZ2_16u8u(HuffBz2EncodeState* pState) {
    release(pState);
}

}  // extern "C"
