// Writes Golomb-Rice codes (rice.hpp) into the stream buffers of an encoder state.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "git/git_state.hpp"

namespace zeldc::git {

// One stream's end. Buffers are never cleared: the bits behind the last written one in its byte
// are zero, and each write sets whole words from that byte on.
class StreamWriter {
  public:
    StreamWriter(EncodeState& state, uint32_t stream)
        : stream_(state.streams[stream]),
          bytes_(reinterpret_cast<uint8_t*>(&state) + stream_.offset),
          bitLimit_(state.bitLimit) {}

    // False, with nothing written, when the buffer may be too short for a code.
    bool put(uint32_t value) {
        const uint32_t k = stream_.stats.parameter;
        const uint32_t quotient = value >> k;
        if (quotient >= kEscapeOnes || k > kWordParameter) [[unlikely]]
            return putLong(value);
        if (!hasRoom(0)) [[unlikely]]
            return false;
        const uint32_t ones = (2U << quotient) - 2;
        putBits(ones << k | (value & ((1U << k) - 1)), quotient + 1 + k);
        adapt(stream_.stats, value);
        return true;
    }

    // `count` zeros in a row: they are runs of one byte, and with the least parameter, which zeros
    // cannot change, they are nothing but two zero bits each.
    bool putZeros(uint32_t count) {
        for (; count != 0 && stream_.stats.parameter != 1; --count) {
            if (!put(0)) return false;
        }
        if (count == 0) return true;
        if (!hasRoom(2 * count)) return false;
        const uint32_t bitCount = stream_.bitCount;
        const uint32_t bitsAfter = bitCount + 2 * count;
        const uint32_t started = (bitCount + 7) / 8;
        std::memset(bytes_ + started, 0, (bitsAfter + 7) / 8 - started);
        stream_.bitCount = bitsAfter;
        adaptToZeros(count);
        return true;
    }

    // Completes the last byte with ones, or adds a byte of ones behind a complete one, so that no
    // decoder can take the rest for a code.
    bool pad() {
        const uint32_t bitCount = stream_.bitCount;
        const uint32_t last = bitCount / 8;
        if (last >= bitLimit_ / 8 + kCodeRoom) return false;
        const uint32_t used = bitCount % 8;
        const uint32_t written = used == 0 ? 0 : bytes_[last];
        bytes_[last] = static_cast<uint8_t>(written | 0xFFU >> used);
        stream_.bitCount = 8 * (last + 1);
        return true;
    }

  private:
    bool hasRoom(uint32_t bits) const { return stream_.bitCount + bits <= bitLimit_; }

    [[gnu::noinline]] bool putLong(uint32_t value) {
        if (!hasRoom(0)) return false;
        const uint32_t k = stream_.stats.parameter;
        if (value >> k >= kEscapeOnes) {
            putEscaped(value, k);
            return true;
        }
        putQuotientAndRest(value >> k, value, k);
        adapt(stream_.stats, value);
        return true;
    }

    // Quotient ones, a zero and the low k bits of the value.
    void putQuotientAndRest(uint32_t quotient, uint64_t value, uint32_t k) {
        const uint32_t ones = (2U << quotient) - 2;
        putBits(ones, quotient + 1);
        putLowBits(value, k);
    }

    void putLowBits(uint64_t value, uint32_t k) {
        while (k != 0) {
            const uint32_t bits = std::min(k, kWordBits - 1);
            k -= bits;
            putBits(static_cast<uint32_t>(value >> k) & ((1U << bits) - 1), bits);
        }
    }

    void putEscaped(uint64_t value, uint32_t k) {
        uint32_t ones = kEscapeOnes - 1;
        for (; value >> k >= kEscapeOnes; ++ones) {
            value -= uint64_t{kEscapeOnes} << k;
            k *= 2;
        }
        putBits((2U << ones) - 2, ones + 1);
        putQuotientAndRest(static_cast<uint32_t>(value >> k), value, k);
    }

    // The low `bits` bits of `code`, at most kWordBits.
    void putBits(uint32_t code, uint32_t bits) {
        const uint32_t bitCount = stream_.bitCount;
        const uint32_t used = bitCount % 8;
        uint8_t* last = bytes_ + bitCount / 8;
        const uint32_t kept = used == 0 ? 0 : uint32_t{*last} << 24;
        storeBe(last, kept | code << (32 - used - bits));
        stream_.bitCount = bitCount + bits;
    }

    // What adapt() would do `count` times for zeros with the least parameter: only the halvings
    // of the sum show, one for each period that a tally enters.
    void adaptToZeros(uint32_t count) {
        RiceStats& stats = stream_.stats;
        constexpr uint32_t kRound = kHalvingPeriod - 1;
        const uint32_t end = stats.tally + count;
        const uint32_t halvings =
            (end + kRound) / kHalvingPeriod - (stats.tally + kRound) / kHalvingPeriod;
        stats.sum = halvings > 31 ? 0 : stats.sum >> halvings;
        stats.tally = static_cast<uint8_t>(
            end < kTallyEnd ? end : kTallyLoop + (end - kTallyLoop) % kHalvingPeriod);
    }

    EncodeStream& stream_;
    uint8_t* bytes_;
    uint32_t bitLimit_;
};

}  // namespace zeldc::git
