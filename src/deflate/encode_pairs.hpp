// Pairs to bits while the destination has room to spare.
#pragma once

#include <cstdint>

#include "deflate/encode_bits.hpp"
#include "deflate/encode_block.hpp"
#include "deflate/encode_codes.hpp"

namespace zeldc::deflate {

// What a pair is made of, read without a branch on what it is.
class PairParts {
  public:
    explicit PairParts(const PairWord& pair)
        : byte_(load<uint8_t>(&pair)),
          distance_(load<uint16_t>(reinterpret_cast<const uint8_t*>(&pair) + 2)) {}

    // Of the literal or the length.
    uint32_t stringIndex() const { return 2 * byte_ + ((distance_ - 1) >> 31); }
    // 0 for a literal. Distances out of range are taken modulo 32768.
    uint32_t distance() const {
        uint32_t distance = distance_;
        if (distance > kFarthestDistance) [[unlikely]] {
            distance -= kFarthestDistance;
            __asm__("" : "+r"(distance));  // keeps the unlikely case out of the others' way
        }
        return distance;
    }

  private:
    uint32_t byte_;
    uint32_t distance_;
};

// A distance's code with its extra bits, at most 15 + 13; nothing for the distance 0 of a literal.
struct DistanceString {
    uint32_t bits;
    uint32_t count;
};

inline DistanceString distanceString(const PairCodes& codes, uint32_t distance) {
    const uint32_t code = kDistanceCodeOf[distanceSlot(distance)];
    const uint32_t extra = (distance - 1) & codes.distanceExtraMasks[code];
    return {codes.distanceBits[code] | extra << (codes.distanceLengths[code] & 31),
            codes.distanceTotals[code]};
}

// Codes pairs until they end or the destination is nearly full. Up to 7 bits wait before and after.
void codePairsFast(const PairCodes& codes, PairSource& pairs, BitSink& sink);

}  // namespace zeldc::deflate
