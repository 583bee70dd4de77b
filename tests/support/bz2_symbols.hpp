// Blocks of zero-run symbols, and bit strings put together by hand.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/shapes.hpp"

namespace support {

struct SymbolBlock {
    std::vector<uint16_t> symbols;  // the last one ends the block and occurs nowhere else
    int32_t alphaSize = 0;

    int32_t size() const { return static_cast<int32_t>(symbols.size()); }
    std::vector<uint32_t> frequencies() const {
        std::vector<uint32_t> counts(static_cast<size_t>(alphaSize));
        for (const uint16_t s : symbols)
            ++counts[s];
        return counts;
    }
};

// Skewed as the symbols of real blocks are, with stretches of differing skew; `levels` 1 gives
// evenly spread symbols.
inline SymbolBlock symbolBlock(int32_t size, int32_t alphaSize, uint64_t seed, int levels = 4) {
    Random random(seed);
    SymbolBlock block;
    block.alphaSize = alphaSize;
    int skew = 0;
    for (int32_t i = 0; i < size - 1; ++i) {
        if (i % 400 == 0) skew = static_cast<int>(random.below(static_cast<uint32_t>(levels)));
        auto bound = static_cast<uint32_t>(alphaSize > 1 ? alphaSize - 1 : 1);
        for (int k = 0; k < skew; ++k)
            bound = 1 + random.below(bound);
        block.symbols.push_back(static_cast<uint16_t>(random.below(bound)));
    }
    block.symbols.push_back(static_cast<uint16_t>(alphaSize - 1));
    return block;
}

class BitString {
  public:
    BitString& put(uint32_t value, int32_t size) {
        while (size-- > 0)
            bits_.push_back(static_cast<uint8_t>(value >> size & 1));
        return *this;
    }
    size_t size() const { return bits_.size(); }

    // Filled up with ones, and `padding` bytes of them behind.
    Bytes bytes(size_t padding = 0) const {
        Bytes out((bits_.size() + 7) / 8 + padding, 0xFF);
        for (size_t i = 0; i < bits_.size(); ++i) {
            if (bits_[i] == 0) out[i / 8] &= static_cast<uint8_t>(~(0x80U >> (i % 8)));
        }
        return out;
    }

  private:
    Bytes bits_;
};

// A table description with all selectors 0 and the same code lengths in every table, written step
// by step.
inline void putHeader(BitString& bits, uint32_t tables, uint32_t selectors) {
    bits.put(tables, 3).put(selectors, 15);
}
inline void putLengths(BitString& bits, const std::vector<int>& lengths) {
    int running = lengths[0];
    bits.put(static_cast<uint32_t>(running), 5);
    for (const int length : lengths) {
        for (; running < length; ++running)
            bits.put(0b10, 2);
        for (; running > length; --running)
            bits.put(0b11, 2);
        bits.put(0, 1);
    }
}
inline BitString description(uint32_t selectors, const std::vector<int>& lengths) {
    BitString bits;
    putHeader(bits, 2, selectors);
    for (uint32_t i = 0; i < selectors; ++i)
        bits.put(0, 1);
    putLengths(bits, lengths);
    putLengths(bits, lengths);
    return bits;
}

}  // namespace support
