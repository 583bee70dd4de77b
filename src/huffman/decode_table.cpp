#include "huffman/decode_table.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/unaligned.hpp"

namespace zeldc::huffman {
namespace {

uint32_t codesOfLength(const State& state, int32_t length) {
    const int32_t shorter = length == 1 ? 0 : int32_t{state.cumulative[length - 2]};
    return static_cast<uint32_t>(state.cumulative[length - 1] - shorter);
}

// Whether the codes use up all bit patterns, exactly once each (Kraft's sum is 1).
bool isComplete(const State& state) {
    uint64_t used = 0;
    for (int32_t length = 1; length <= state.maxLength; ++length)
        used += uint64_t{codesOfLength(state, length)} << (state.maxLength - length);
    return used == uint64_t{1} << state.maxLength;
}

}  // namespace

bool DecodeTable::build(const State& state) {
    state_ = &state;
    if (!isComplete(state)) return false;
    fillSingle(state);
    joinSymbols(state);
    return true;
}

// Codes rise from the longest to the shortest, and so do the entries: those of the codes longer
// than kTableBits, then each symbol of the list in turn.
void DecodeTable::fillSingle(const State& state) {
    const int32_t maxLength = state.maxLength;
    const uint8_t* symbol = state.symbols;
    uint32_t at = 0;
    for (int32_t length = maxLength; length > static_cast<int32_t>(kTableBits); --length)
        symbol += codesOfLength(state, length);
    if (maxLength > static_cast<int32_t>(kTableBits)) {
        at = state.firstCode[kTableBits - 1] >> (maxLength - static_cast<int32_t>(kTableBits));
        std::fill_n(entries_, at, 0U);
    }
    for (int32_t length = std::min(maxLength, static_cast<int32_t>(kTableBits)); length > 0;
         --length) {
        const uint32_t span = kEntries >> length;
        for (uint32_t left = codesOfLength(state, length); left != 0; --left, at += span) {
            std::fill_n(entries_ + at, span,
                        Entry::make(*symbol++, static_cast<uint32_t>(length), 1));
        }
    }
}

// Appends to each entry what the remaining bits begin with. Entries joined before still tell their
// first symbol, and with it its length.
void DecodeTable::joinSymbols(const State& state) {
    uint8_t lengths[kSymbols];
    for (int32_t i = 0; i < kSymbols; ++i)
        lengths[i] = static_cast<uint8_t>(state.lengths[i]);
    for (uint32_t index = 0; index < kEntries; ++index) {
        uint32_t entry = entries_[index];
        if (entry == 0) continue;
        uint32_t symbols = Entry::symbolsOf(entry) & 0xFF;
        uint32_t length = Entry::lengthOf(entry);
        uint32_t count = 1;
        while (count < kMostSymbols) {
            const uint32_t next = entries_[(index << length) & (kEntries - 1)];
            const uint32_t nextSymbol = Entry::symbolsOf(next) & 0xFF;
            const uint32_t nextLength = lengths[nextSymbol];
            if (next == 0 || length + nextLength > kTableBits) break;
            symbols |= nextSymbol << (8 * count);
            length += nextLength;
            ++count;
        }
        entries_[index] = Entry::make(symbols, length, count);
    }
}

// A code longer than the table's index, found by the first codes of the lengths.
uint8_t DecodeTable::longCode(BitPosition& at) const {
    const auto maxLength = static_cast<uint32_t>(int32_t{state_->maxLength});
    const auto window = static_cast<uint32_t>(at.window<uint64_t>() >> 32);
    const uint32_t lookAhead = window >> (32 - maxLength);
    uint32_t length = kTableBits + 1;
    while (lookAhead < state_->firstCode[length - 1])
        ++length;
    at.advance(length);
    const auto total = static_cast<uint32_t>(int32_t{state_->cumulative[maxLength - 1]});
    const auto upToLength = static_cast<uint32_t>(int32_t{state_->cumulative[length - 1]});
    const uint32_t inLength = (lookAhead - state_->firstCode[length - 1]) >> (maxLength - length);
    return state_->symbols[total - upToLength + inLength];
}

// Looks up as often as the first `bits` bits of a window allow. `taken` counts the bits.
template <uint32_t bits, class Word>
inline uint32_t DecodeTable::lookUp(Word window, uint32_t& taken, uint8_t*& dst) const {
    constexpr uint32_t kWidth = sizeof(Word) * 8;
    uint32_t entry = 0;
    uint32_t lengths = 0;  // in the low 6 bits
    static_assert(bits < 64);
    for (uint32_t i = 0; i < bits / kTableBits; ++i) {
        entry = entries_[window >> (kWidth - kTableBits)];
        store(dst, Entry::symbolsOf(entry));
        dst += Entry::countOf(entry);
        window <<= entry & (kWidth - 1);
        lengths += entry;
    }
    taken += lengths & 63;
    return entry;
}

// A round looks at two words from its position on, and then perhaps at one long code. Where words
// have 32 bits, the second half of the round works on what the first has left of both.
uint8_t* DecodeTable::decode(BitPosition& at, const uint8_t* srcEnd, uint8_t* dst,
                             const uint8_t* dstEnd) const {
    using Word = size_t;
    constexpr uint32_t kBits = sizeof(Word) * 8;
    constexpr uint32_t kLookUps = 4;
    static_assert((kBits == 32 ? 2 * ((kBits - 7) / kTableBits) : (kBits - 7) / kTableBits) ==
                  kLookUps);
    // After the first half, up to 7 + 24 bits of the first word are gone.
    static_assert(kBits == 64 || 7 + (kBits - 7) / kTableBits * kTableBits < kBits);
    // A long code is looked for in 8 bytes, behind all look-ups.
    static_assert(kSrcNeeded >= 8 + (7 + kLookUps * kTableBits) / 8);
    // After the last round: whatever its codes were, the source has bits for what a store has
    // written too many, of which a look-up that counts has at least one byte right.
    static_assert(kSrcNeeded * 8 >=
                  7 + kLookUps * kTableBits + kMaxCodeLength + (kStored - 1) * kMaxCodeLength);
    // One byte of room stays for the careful loop, so that it has the last word on what is taken.
    static_assert(kRoomNeeded >= (kLookUps - 1) * kMostSymbols + kStored);
    static_assert(kRoomNeeded >= kLookUps * kMostSymbols + 1 + 1);

    BitPosition now = at;
    while (srcEnd - now.byte >= kSrcNeeded && dstEnd - dst >= kRoomNeeded) {
        const Word first = loadBe<Word>(now.byte);
        const Word window = first << now.bit;
        // Long stretches of zeros are counted elsewhere, by the byte.
        if (window == 0) break;
        uint32_t taken = now.bit;
        uint32_t entry = lookUp<kBits - 7>(window, taken, dst);
        if constexpr (kBits == 32) {
            const auto second = loadBe<Word>(now.byte + sizeof(Word));
            entry = lookUp<kBits - 7>(first << taken | second >> 1 >> (31 - taken), taken, dst);
        }
        now.byte += taken >> 3;
        now.bit = taken & 7;
        if (entry == 0) *dst++ = longCode(now);
    }
    at = now;
    return dst;
}

}  // namespace zeldc::huffman
