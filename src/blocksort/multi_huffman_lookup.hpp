// The symbol that the next bits of the stream hold.
#pragma once

#include "blocksort/bit_words.hpp"
#include "blocksort/multi_huffman.hpp"

namespace zeldc::blocksort {

struct Code {
    uint32_t symbol;
    uint32_t length;  // 0: no symbol has the code that the stream holds
};

// Codes longer than the direct table. Each difference is below the number of codes of its length
// times their spacing, or below the space that is left to them, so the index stays in the list.
inline Code findLongCode(const DecodeTable& table, uint32_t bits) {
    const int32_t lengths = table.longLengths;
    for (int32_t k = 0; k < lengths; ++k) {
        const uint32_t limit = table.limits[k + 1];
        if (bits >= limit && limit != DecodeTable::kEverything) continue;
        const auto length = static_cast<uint32_t>(kDirectBits + 1 + k);
        const uint32_t nth = (bits - table.limits[k]) >> (kWordBits - length);
        return {table.longSymbols[table.starts[k] + nth], length};
    }
    return {0, 0};
}

inline Code findCode(const DecodeTable& table, uint32_t bits) {
    const uint32_t entry = table.direct[bits >> (kWordBits - kDirectBits)];
    if (entry == 0) return findLongCode(table, bits);
    return {entry & DecodeTable::kSymbolMask, entry >> DecodeTable::kLengthShift};
}

}  // namespace zeldc::blocksort
