// Walking a decoding table along a bit stream: what plain values and tuples share.
//
// What may be read. The stream's length is unknown; the caller grants the aligned 32-bit words up
// to the one after the word that holds the last consumed bit. Call the next bit p. Bit p-1 is
// consumed (or p is the start), so reads from p on may go to the end of the word after that of
// p-1, whatever follows, be it an invalid code:
//  - p inside a word: bit p-1 lies in the same word, and that word and the next may be read;
//  - p at the start of a word: that word may be read, the next not before p itself is consumed.
// Bits p..p+31 never leave these words. Four bytes from the byte of p, and a fifth one only when p
// is not at the start of a byte, hold them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "core/bit_position.hpp"
#include "core/unaligned.hpp"
#include "vlc/vlc_spec.hpp"
#include "vlc/vlc_table.hpp"

namespace zeldc::vlc {

// The 32 bits from `position` on.
inline uint32_t lookAhead(BitPosition position) {
    const auto word = position.window<uint32_t>();
    if (position.bit == 0) return word;
    return word | position.byte[4] >> (8 - position.bit);
}

// The bits from a position on, left-aligned in a machine word: at least kWindowBits of them, read
// without a branch. 64-bit machines read the word of the bit before the position together with its
// successor, which is allowed once that bit is consumed, and so only then.
using Window = std::conditional_t<sizeof(void*) == 8, uint64_t, uint32_t>;
constexpr uint32_t kWindowSize = 8 * sizeof(Window);
constexpr uint32_t kWindowBits = sizeof(Window) == 8 ? 32 : 25;

inline Window windowAfterConsumed(BitPosition position) {
    if constexpr (sizeof(Window) == 4) {
        return position.window<uint32_t>();
    } else {
        const uintptr_t previous =
            reinterpret_cast<uintptr_t>(position.byte) * 8 + position.bit - 1;
        const auto* words = reinterpret_cast<const uint8_t*>((previous >> 5) << 2);
        return loadBe<uint64_t>(words) << (previous & 31) << 1;
    }
}

// A spec's table, read at its own entry width.
template <class Entry>
class Table {
  public:
    explicit Table(const DecodeSpec& spec)
        : entries_(reinterpret_cast<const Unaligned<Entry>*>(spec.table.get(&spec))),
          levelBits_(spec.levelBits),
          lengthMask_((1U << levelBits_) - 1),
          firstWidth_(entries_[0]) {}

    uint32_t firstWidth() const { return firstWidth_; }

    // The first level's entry for the upper bits of `window`.
    Entry first(Window window) const {
        return entries_[1 + (window >> (kWindowSize - firstWidth_))];
    }

    static bool isLeaf(Entry entry) { return (entry & 1) != 0; }
    uint32_t bitsUsed(Entry leaf) const { return leaf >> 1 & lengthMask_; }
    int32_t signedValue(Entry leaf) const {
        return static_cast<std::make_signed_t<Entry>>(leaf) >> (levelBits_ + 1);
    }
    uint32_t tuple(Entry leaf) const { return static_cast<uint32_t>(leaf) >> (levelBits_ + 1); }

    struct Code {
        Entry leaf;
        uint32_t length;  // 0: these bits are no code
    };

    // Follows the levels. Links lead to deeper levels only, so the walk ends.
    Code walk(uint32_t bits) const {
        const Unaligned<Entry>* subTable = entries_;
        uint32_t resolved = 0;
        for (;;) {
            const uint32_t width = subTable[0];
            const Entry entry = subTable[1 + (bits >> (32 - width))];
            if (isLeaf(entry)) return {entry, resolved + bitsUsed(entry)};
            if (entry == kEmpty<Entry>) return {entry, 0};
            bits <<= width;
            resolved += width;
            subTable = entries_ + (entry >> 1);
        }
    }

  private:
    const Unaligned<Entry>* entries_;
    uint32_t levelBits_;
    uint32_t lengthMask_;
    uint32_t firstWidth_;
};

// Calls `decode(Table<Entry>)` for the object's entry width.
template <class Decode>
auto withTable(const DecodeSpec& spec, Decode decode) {
    switch (spec.entryWidth) {
        case 8:
            return decode(Table<uint8_t>(spec));
        case 16:
            return decode(Table<uint16_t>(spec));
        default:
            return decode(Table<uint32_t>(spec));
    }
}

// The tests that all four operations make.
ZelStatus checkDecodeArguments(const uint8_t* const* ppStream, const int32_t* pOffset,
                               const int16_t* pDst, const VlcDecodeSpec* pSpec);

}  // namespace zeldc::vlc
