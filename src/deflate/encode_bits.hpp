// Bit output, least significant bit first, into a destination that may end anywhere.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/unaligned.hpp"
#include "deflate/encode_codes.hpp"

namespace zeldc::deflate {

// Up to 64 bits wait in bitBuf; bits above bitCount are 0. After drain() has returned true at most
// 7 wait, and the writer's clients append no more than 57 bits until the next drain.
struct BitSink {
    uint8_t* dstNext;
    uint8_t* dstEnd;
    uint64_t bitBuf;
    uint32_t bitCount;

    size_t room() const { return static_cast<size_t>(dstEnd - dstNext); }
    bool byteWaits() const { return bitCount >= 8; }

    void append(uint64_t bits, uint32_t count) {
        bitBuf |= bits << bitCount;
        bitCount += count;
    }
    void appendString(uint32_t string) { append(stringBits(string), stringLength(string)); }
    void padToByte() { bitCount = (bitCount + 7) & ~7U; }

    // Writes whole bytes while there is room; true when none is left waiting.
    bool drain() {
        while (byteWaits() && dstNext != dstEnd) {
            *dstNext++ = static_cast<uint8_t>(bitBuf);
            bitBuf >>= 8;
            bitCount -= 8;
        }
        return !byteWaits();
    }
};

}  // namespace zeldc::deflate
