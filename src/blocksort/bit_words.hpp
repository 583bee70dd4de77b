// The bit accumulators that callers hold for the multi-table Huffman coder: a 32-bit word used
// from its most significant bit and the number of bits in it. Bits below the count mean nothing
// on entry and are zero on return.
#pragma once

#include <cstdint>

#include "core/unaligned.hpp"

namespace zeldc::blocksort {

constexpr int32_t kWordBits = 32;

constexpr uint32_t topBits(uint32_t word, int32_t count) {
    return count == 0 ? 0 : word & (0xFFFFFFFFU << (kWordBits - count));
}

constexpr bool validBitCount(int32_t count) {
    return count >= 0 && count <= kWordBits;
}

// Writes to a destination that may fill up, when up to a word of bits stays pending.
struct BitSink {
    uint8_t* dstNext;
    uint8_t* dstEnd;
    uint32_t bitBuf;
    int32_t bitCount;

    BitSink(uint8_t* dst, int32_t capacity, uint32_t word, int32_t count)
        : dstNext(dst), dstEnd(dst + capacity), bitBuf(topBits(word, count)), bitCount(count) {
        flush();
    }

    void flush() {
        while (bitCount >= 8 && dstNext != dstEnd) {
            *dstNext++ = static_cast<uint8_t>(bitBuf >> 24);
            bitBuf <<= 8;
            bitCount -= 8;
        }
    }

    // `size` is 1..25 bits. False, with nothing taken, when more than a word would be pending.
    bool put(uint32_t code, int32_t size) {
        if (bitCount + size > kWordBits) return false;
        bitBuf |= code << (kWordBits - bitCount - size);
        bitCount += size;
        flush();
        return true;
    }
};

// Reads bytes only as far as bits are asked for.
struct BitSource {
    const uint8_t* srcNext;
    const uint8_t* srcEnd;
    uint32_t bitBuf;
    int32_t bitCount;

    BitSource(const uint8_t* src, int32_t size, uint32_t word, int32_t count)
        : srcNext(src), srcEnd(src + size), bitBuf(topBits(word, count)), bitCount(count) {}

    // Makes `size` (1..25) bits available at the top of bitBuf; false when the source has no more.
    bool hold(int32_t size) {
        while (bitCount < size) {
            if (srcNext == srcEnd) return false;
            bitBuf |= static_cast<uint32_t>(*srcNext++) << (24 - bitCount);
            bitCount += 8;
        }
        return true;
    }

    uint32_t peek(int32_t size) const { return bitBuf >> (kWordBits - size); }
    void skip(int32_t size) {
        bitBuf <<= size;
        bitCount -= size;
    }
    uint32_t take(int32_t size) {
        const uint32_t bits = peek(size);
        skip(size);
        return bits;
    }
};

}  // namespace zeldc::blocksort
