// A look-up table for the byte Huffman decoder: up to three symbols for each value of the next
// kTableBits bits. Built on the stack, per call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/bit_position.hpp"
#include "huffman/huffman_state.hpp"

namespace zeldc::huffman {

class DecodeTable {
  public:
    // False, and no table, where the lengths of the state are not those of a complete prefix code.
    bool build(const State& state);

    // What decode() needs to decode anything at all. The source that it leaves makes at least the
    // symbols that its last store has written too many, kStored - 1 of up to 32 bits.
    static constexpr ptrdiff_t kSrcNeeded = 24;
    static constexpr ptrdiff_t kRoomNeeded = 20;

    // Decodes from `at`, which advances past the codes decoded, while source and room are ample;
    // stops also before a long stretch of 0 bits. Returns the end of the symbols; at least one
    // byte of room stays. Up to kStored - 1 bytes behind the end have been written, to be
    // overwritten by the symbols that follow in the source.
    uint8_t* decode(BitPosition& at, const uint8_t* srcEnd, uint8_t* dst,
                    const uint8_t* dstEnd) const;

  private:
    static constexpr uint32_t kTableBits = 12;
    static constexpr uint32_t kEntries = 1U << kTableBits;
    static constexpr uint32_t kMostSymbols = 3;
    static constexpr uint32_t kStored = 4;  // bytes by each look-up

    // An entry: the bits that its symbols take together in bits 0..3, so that the entry itself
    // serves as a shift count (of which x86 looks at no more than the low 5 or 6 bits); their
    // number in bits 6..7; the symbols from bit 8 on, the first lowest. Entries of longer codes are
    // 0.
    struct Entry {
        static constexpr uint32_t lengthOf(uint32_t entry) { return entry & 15; }
        static constexpr uint32_t countOf(uint32_t entry) { return entry >> 6 & 3; }
        static constexpr uint32_t symbolsOf(uint32_t entry) { return entry >> 8; }
        static constexpr uint32_t make(uint32_t symbols, uint32_t length, uint32_t count) {
            return symbols << 8 | count << 6 | length;
        }
    };
    static_assert(kTableBits <= 15);

    void fillSingle(const State& state);
    void joinSymbols(const State& state);
    template <uint32_t bits, class Word>
    uint32_t lookUp(Word window, uint32_t& taken, uint8_t*& dst) const;
    uint8_t longCode(BitPosition& at) const;

    const State* state_;
    uint32_t entries_[kEntries];
};

}  // namespace zeldc::huffman
