// Decoding of whole groups with word refills and tables that give several symbols at once, for
// calls with much source and destination.
#pragma once

#include "blocksort/bit_words.hpp"
#include "blocksort/multi_huffman.hpp"
#include "blocksort/multi_huffman_lookup.hpp"

namespace zeldc::blocksort {

// The symbols that the next bits hold, as many as are complete in them, up to three. None where
// they begin with a long code, with none, or with the end of the block.
//
// Symbols in bits 0-15, 16-31, 32-47; their bits of code in 48-55, their number in 56-63. An entry
// is stored to the destination as it is, and the number counts. (One integer: taken apart as a
// struct, gcc moves it through vector registers, at a third of the speed.)
struct BurstEntry {
    uint64_t bits;

    uint32_t codeBits() const { return static_cast<uint32_t>(bits >> 48) & 0xFF; }
    uint32_t symbols() const { return static_cast<uint32_t>(bits >> 56); }
};

constexpr uint32_t kBurstBits = 9;
constexpr uint32_t kBurstSymbols = 3;

// 24 KB on the stack, which stay in the innermost cache.
using BurstTable = BurstEntry[1 << kBurstBits];

inline void fillBurstTable(BurstTable& table, const DecodeTable& codes, uint32_t endOfBlock) {
    for (uint32_t index = 0; index < 1U << kBurstBits; ++index) {
        uint64_t bits = 0;
        uint32_t used = 0;
        uint32_t count = 0;
        for (; count < kBurstSymbols; ++count) {
            // Followed by zeros; a code that ends within the index does not depend on them.
            const uint32_t ahead = index << used << (kWordBits - kBurstBits);
            const Code code = findCode(codes, ahead);
            if (code.length == 0 || used + code.length > kBurstBits || code.symbol == endOfBlock) {
                break;
            }
            bits |= static_cast<uint64_t>(code.symbol) << (16 * count);
            used += code.length;
        }
        table[index] = {bits | static_cast<uint64_t>(used) << 48 |
                        static_cast<uint64_t>(count) << 56};
    }
}

// The next bits at the top of a machine word. A refill takes all the bytes that fit, by a load that
// reads a whole word.
class WordSource {
  public:
    using Word = size_t;
    static constexpr uint32_t kBits = sizeof(Word) * 8;
    static constexpr uint32_t kAfterRefill = kBits - 8;  // at least so many are held
    static_assert(kAfterRefill >= kDecodeLongest);

    explicit WordSource(const BitSource& source)
        : start_(source.srcNext),
          srcNext_(source.srcNext),
          bitBuf_(static_cast<Word>(source.bitBuf) << (kBits - kWordBits)),
          bitCount_(static_cast<uint32_t>(source.bitCount)) {}
    // Refilling is for words that are not full.
    static bool suits(const BitSource& source) {
        return source.bitCount < static_cast<int32_t>(kBits);
    }

    void refill() {
        bitBuf_ |= loadBe<Word>(srcNext_) >> bitCount_;
        srcNext_ += (kBits - 1 - bitCount_) / 8;
        bitCount_ |= kAfterRefill;
    }
    uint32_t peek(uint32_t size) const { return static_cast<uint32_t>(bitBuf_ >> (kBits - size)); }
    void skip(uint32_t size) {
        bitBuf_ <<= size;
        bitCount_ -= size;
    }

    const uint8_t* srcNext() const { return srcNext_; }

    // Leaves what the byte-wise rule has taken at this place before it looks at the next symbol:
    // fewer than 8 bits, unless they were there to begin with.
    void finish(BitSource& source) {
        for (; bitCount_ >= 8 && srcNext_ != start_; bitCount_ -= 8)
            --srcNext_;
        source.srcNext = srcNext_;
        source.bitCount = static_cast<int32_t>(bitCount_);
        source.bitBuf = topBits(peek(kWordBits), source.bitCount);
    }

  private:
    const uint8_t* start_;
    const uint8_t* srcNext_;
    Word bitBuf_;
    uint32_t bitCount_;
};

// A group holds at most 50 codes of 20 bits. The refills take at most a word more, and the last one
// reads a word from within it.
constexpr int32_t kBurstSource =
    kGroupSize * kDecodeLongest / 8 + 2 * static_cast<int32_t>(sizeof(WordSource::Word)) + 1;
// A burst begins three symbols before the end of the group or earlier, and stores four.
constexpr int32_t kBurstRoom = kGroupSize + 1;

}  // namespace zeldc::blocksort
