#include "huffman/decode_table.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/unaligned.hpp"

namespace zeldc::huffman {
namespace {

using Word = size_t;
constexpr uint32_t kWordBits = sizeof(Word) * 8;

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
        uint32_t symbols = entry & 0xFF;
        uint32_t length = Entry::lengthOf(entry);
        uint32_t count = 1;
        while (count < kMostSymbols) {
            const uint32_t next = entries_[(index << length) & (kEntries - 1)];
            const uint32_t nextLength = lengths[next & 0xFF];
            if (next == 0 || length + nextLength > kTableBits) break;
            symbols |= (next & 0xFF) << (8 * count);
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

// A round makes kLookUps look-ups from one word and then perhaps decodes one long code. It reads 8
// bytes from its position on, and before the long code the position moves by at most
// kLookUps * kTableBits bits. It writes 4 bytes for each look-up, of which up to kMostSymbols
// count.
uint8_t* DecodeTable::decode(BitPosition& at, const uint8_t* srcEnd, uint8_t* dst,
                             const uint8_t* dstEnd) const {
    constexpr uint32_t kLookUps = (kWordBits - 7) / kTableBits;
    static_assert(kSrcNeeded >= 8 + (7 + kLookUps * kTableBits) / 8);
    static_assert(kRoomNeeded >= (kLookUps - 1) * kMostSymbols + 4);
    // One byte stays for the careful loop, so that it has the last word on what is taken.
    static_assert(kRoomNeeded >= kLookUps * kMostSymbols + 1 + 1);

    BitPosition now = at;
    while (srcEnd - now.byte >= kSrcNeeded && dstEnd - dst >= kRoomNeeded) {
        Word word = now.window<Word>();
        // Long stretches of zeros are counted elsewhere, by the byte.
        if (word == 0) break;
        uint32_t taken = 0;
        uint32_t entry = 0;
        for (uint32_t i = 0; i < kLookUps; ++i) {
            entry = entries_[word >> (kWordBits - kTableBits)];
            store(dst, entry);
            dst += Entry::countOf(entry);
            const uint32_t length = Entry::lengthOf(entry);
            word <<= length;
            taken += length;
        }
        now.advance(taken);
        if (entry == 0) *dst++ = longCode(now);
    }
    at = now;
    return dst;
}

}  // namespace zeldc::huffman
