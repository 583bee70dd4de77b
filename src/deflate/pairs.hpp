// Pairs as the generator writes them: one word each.
#pragma once

#include <cstdint>

#include "core/unaligned.hpp"

namespace zeldc::deflate {

constexpr uint32_t pairOf(uint32_t length, uint32_t distance) {
    return (length & 0xFFFF) | distance << 16;
}
constexpr uint32_t literalPair(uint8_t byte) {
    return byte;
}

// What became of a call's source.
struct Parsed {
    uint32_t consumed;
    U32* pairNext;
};

}  // namespace zeldc::deflate
