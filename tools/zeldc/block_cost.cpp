#include "block_cost.hpp"

#include <array>
#include <cmath>

namespace tool {
namespace {

// RFC 1951, section 3.2.5.
constexpr int kLiterals = 288, kDistances = 30, kEndOfBlock = 256, kFirstLength = 257;
constexpr int kMinMatch = 3, kMaxMatch = 258;
constexpr uint32_t kStoredPart = 65535;

struct LengthCode {
    uint16_t symbol;
    uint8_t extraBits;
};

constexpr std::array<LengthCode, kMaxMatch + 1> makeLengthCodes() {
    std::array<LengthCode, kMaxMatch + 1> codes{};
    int length = kMinMatch;
    for (int symbol = kFirstLength; length < kMaxMatch; ++symbol) {
        const int step = symbol - kFirstLength;
        const int extra = step < 8 ? 0 : step / 4 - 1;
        for (int i = 0; i < 1 << extra && length < kMaxMatch; ++i) {
            codes[static_cast<size_t>(length++)] = {static_cast<uint16_t>(symbol),
                                                    static_cast<uint8_t>(extra)};
        }
    }
    codes[kMaxMatch] = {285, 0};
    return codes;
}

constexpr auto kLengthCodes = makeLengthCodes();
static_assert(kLengthCodes[257].symbol == 284 && kLengthCodes[257].extraBits == 5);

// The symbol of a distance less one: by its two top bits, which is all that the code looks at.
inline unsigned distanceSymbol(unsigned distanceLessOne) {
    if (distanceLessOne < 4) return distanceLessOne;
    const unsigned topBit = 31U - static_cast<unsigned>(__builtin_clz(distanceLessOne));
    return 2 * topBit + (distanceLessOne >> (topBit - 1) & 1);
}

inline unsigned distanceExtraBits(unsigned symbol) {
    return symbol < 4 ? 0 : symbol / 2 - 1;
}

struct Counts {
    std::array<uint32_t, kLiterals> literals{};
    std::array<uint32_t, kDistances + 2> distances{};
};

Counts countSymbols(const Lz77Pair* pairs, int32_t count) {
    Counts counts;
    for (const Lz77Pair* pair = pairs; pair != pairs + count; ++pair) {
        if (pair->distance == 0) {
            ++counts.literals[pair->length & 0xFF];
        } else {
            ++counts.literals[kLengthCodes[pair->length].symbol];
            ++counts.distances[distanceSymbol(pair->distance - 1U)];
        }
    }
    ++counts.literals[kEndOfBlock];
    return counts;
}

// The extra bits of lengths and distances, which both Huffman kinds spend alike.
uint64_t extraBits(const Counts& counts) {
    uint64_t bits = 0;
    for (unsigned symbol = 265; symbol < 285; ++symbol)
        bits += uint64_t{counts.literals[symbol]} * ((symbol - kFirstLength) / 4 - 1);
    for (unsigned symbol = 0; symbol < kDistances; ++symbol)
        bits += uint64_t{counts.distances[symbol]} * distanceExtraBits(symbol);
    return bits;
}

uint64_t fixedBits(const Counts& counts) {
    uint64_t bits = 0;
    for (unsigned symbol = 0; symbol < kLiterals; ++symbol) {
        const unsigned length = symbol < 144 ? 8 : symbol < 256 ? 9 : symbol < 280 ? 7 : 8;
        bits += uint64_t{counts.literals[symbol]} * length;
    }
    for (const uint32_t count : counts.distances)
        bits += uint64_t{count} * 5;
    return bits;
}

struct Entropy {
    double bits = 0;
    int symbols = 0;
};

template <size_t N>
Entropy entropyOf(const std::array<uint32_t, N>& counts) {
    Entropy entropy;
    double total = 0;
    for (const uint32_t count : counts) {
        if (count == 0) continue;
        ++entropy.symbols;
        total += count;
        entropy.bits -= count * std::log2(static_cast<double>(count));
    }
    if (total > 0) entropy.bits += total * std::log2(total);
    return entropy;
}

}  // namespace

BlockCost costOf(const Lz77Pair* pairs, int32_t count, size_t srcSize) {
    const Counts counts = countSymbols(pairs, count);
    const uint64_t extra = extraBits(counts);
    const Entropy literals = entropyOf(counts.literals);
    const Entropy distances = entropyOf(counts.distances);
    const double content = literals.bits + distances.bits + static_cast<double>(extra);
    // A header says at least its three counts and four lengths of the lengths' code, and spends
    // about seven bits on a symbol at most.
    const double symbols = literals.symbols + distances.symbols;

    BlockCost cost{};
    const uint64_t parts = srcSize / kStoredPart + 1;
    cost.storedBits = srcSize * 8 + parts * (3 + 32) + parts * 7;
    cost.fixedBits = 3 + fixedBits(counts) + extra;
    cost.dynamicAtLeast = static_cast<uint64_t>(content + 3 + 14 + 12);
    cost.dynamicAtMost = static_cast<uint64_t>(content * 1.02 + 3 + 14 + 57 + symbols * 9);
    return cost;
}

}  // namespace tool
