// A place in a stream of bits that runs from the most significant bit of each byte downward.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/unaligned.hpp"

namespace zeldc {

struct BitPosition {
    const uint8_t* byte;
    uint32_t bit;  // 0..7, 0 being the most significant bit of the byte

    void advance(uint32_t count) {
        bit += count;
        byte += bit >> 3;
        bit &= 7;
    }
    void goBack(uint32_t count) {
        const auto distance = static_cast<ptrdiff_t>(bit) - static_cast<ptrdiff_t>(count);
        byte += distance >> 3;
        bit = static_cast<uint32_t>(distance) & 7;
    }

    // The next bits, at the top of a word; all but up to 7 of its bits are of the stream. Reads a
    // whole word from the current byte on.
    template <class Word>
    Word window() const {
        return loadBe<Word>(byte) << bit;
    }
};

// For decoders that keep `bitCount` bits between calls, and work on the source itself in between:
// the first undecoded bit, if it lies in [begin, next). False where it came with an earlier call.
inline bool findBitPosition(const uint8_t* begin, const uint8_t* next, uint32_t bitCount,
                            BitPosition& found) {
    const auto bytesHeld = static_cast<ptrdiff_t>((bitCount + 7) / 8);
    if (next - begin < bytesHeld) return false;
    found = {next - bytesHeld, (8 - bitCount % 8) % 8};
    return true;
}

// The way back: the bits left in the byte at the position, at the top of a word. `next` becomes the
// first byte that the position does not touch.
struct HeldBits {
    uint32_t bitBuf;
    uint32_t bitCount;
};
inline HeldBits holdFrom(const BitPosition& at, const uint8_t*& next) {
    next = at.byte;
    if (at.bit == 0) return {0, 0};
    return {uint32_t{*next++} << (24 + at.bit), 8 - at.bit};
}

}  // namespace zeldc
