// Writes Golomb-Rice codes (rice.hpp) into the stream buffers of an encoder state.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "git/git_state.hpp"

namespace zeldc::git {

// One stream's end, in registers from construction to save(): nothing takes its address. Buffers
// are never cleared: the bits behind the last written one in its byte are zero, and each write sets
// whole words from that byte on.
class StreamWriter {
  public:
    StreamWriter(EncodeState& state, uint32_t stream)
        : StreamWriter(state.streams[stream],
                       reinterpret_cast<uint8_t*>(&state) + state.streams[stream].offset,
                       state.bitLimit) {}

    void save() const {
        stream_.bitCount = bitCount_;
        stream_.stats.store(stats_);
    }

    // False, with nothing written, when the buffer may be too short for a code.
    [[gnu::always_inline]] bool put(uint32_t value) {
        const uint32_t k = stats_.parameter;
        const uint32_t quotient = value >> k;
        if (quotient >= kEscapeOnes || k > kWordParameter || bitCount_ > bitLimit_) [[unlikely]] {
            save();
            const bool written = putLong(stream_, bytes_, bitLimit_, value);
            load();
            return written;
        }
        putBits(ones(quotient) << k | (value & ((1U << k) - 1)), quotient + 1 + k);
        adapt(stats_, value);
        return true;
    }

    // `count` zeros in a row, which runs of one byte become: nothing but zero bits.
    bool putZeros(uint32_t count) {
        uint32_t bits = 0;
        for (; count != 0 && stats_.parameter != 1; --count) {
            bits += stats_.parameter + 1;
            adapt(stats_, 0);
        }
        if (count != 0) {
            bits += 2 * count;
            adaptToZeros(count);
        }
        if (bitCount_ + bits > bitLimit_) [[unlikely]]
            return false;
        putZeroBits(bits);
        return true;
    }

    // Completes the last byte with ones, or adds a byte of ones behind a complete one, so that no
    // decoder can take the rest for a code.
    bool pad() {
        const uint32_t last = bitCount_ / 8;
        if (last >= bitLimit_ / 8 + kCodeRoom) return false;
        const uint32_t used = bitCount_ % 8;
        const uint32_t written = used == 0 ? 0 : bytes_[last];
        bytes_[last] = static_cast<uint8_t>(written | 0xFFU >> used);
        bitCount_ = 8 * (last + 1);
        return true;
    }

  private:
    StreamWriter(EncodeStream& stream, uint8_t* bytes, uint32_t bitLimit)
        : stream_(stream), bytes_(bytes), bitLimit_(bitLimit) {
        load();
    }

    void load() {
        bitCount_ = stream_.bitCount;
        stats_ = stream_.stats.load();
    }

    [[gnu::noinline]] static bool putLong(EncodeStream& stream, uint8_t* bytes, uint32_t bitLimit,
                                          uint32_t value) {
        StreamWriter writer(stream, bytes, bitLimit);
        if (writer.bitCount_ > bitLimit) return false;
        const uint32_t k = writer.stats_.parameter;
        if (value >> k >= kEscapeOnes) {
            writer.putEscaped(value, k);
        } else {
            writer.putQuotientAndRest(value >> k, value, k);
            adapt(writer.stats_, value);
        }
        writer.save();
        return true;
    }

    // That many ones and a zero.
    static constexpr uint32_t ones(uint32_t count) { return (2U << count) - 2; }

    void putQuotientAndRest(uint32_t quotient, uint64_t value, uint32_t k) {
        putBits(ones(quotient), quotient + 1);
        while (k != 0) {
            const uint32_t bits = std::min(k, kWordBits - 1);
            k -= bits;
            putBits(static_cast<uint32_t>(value >> k) & ((1U << bits) - 1), bits);
        }
    }

    void putEscaped(uint64_t value, uint32_t k) {
        uint32_t marks = kEscapeOnes - 1;
        for (; value >> k >= kEscapeOnes; ++marks) {
            value -= uint64_t{kEscapeOnes} << k;
            k *= 2;
        }
        putBits(ones(marks), marks + 1);
        putQuotientAndRest(static_cast<uint32_t>(value >> k), value, k);
    }

    // The low `bits` bits of `code`, at most kWordBits.
    void putBits(uint32_t code, uint32_t bits) {
        const uint32_t used = bitCount_ % 8;
        uint8_t* last = bytes_ + bitCount_ / 8;
        const uint32_t kept = uint32_t{*last} << 24 & ~(0xFFFFFFFFU >> used);
        storeBe(last, kept | code << (32 - used - bits));
        bitCount_ += bits;
    }

    void putZeroBits(uint32_t bits) {
        uint8_t* started = bytes_ + (bitCount_ + 7) / 8;
        bitCount_ += bits;
        const auto size = bytes_ + (bitCount_ + 7) / 8 - started;
        if (size <= 4) {
            store(started, uint32_t{0});
        } else {
            std::memset(started, 0, static_cast<size_t>(size));
        }
    }

    // What adapt() would do `count` times for zeros with the least parameter, which they cannot
    // change: only the halvings of the sum show, one for each period that a tally enters.
    void adaptToZeros(uint32_t count) {
        constexpr uint32_t kRound = kHalvingPeriod - 1;
        const uint32_t end = stats_.tally + count;
        const uint32_t halvings =
            (end + kRound) / kHalvingPeriod - (stats_.tally + kRound) / kHalvingPeriod;
        stats_.sum = halvings > 31 ? 0 : stats_.sum >> halvings;
        stats_.tally = end < kTallyEnd ? end : kTallyLoop + (end - kTallyLoop) % kHalvingPeriod;
    }

    EncodeStream& stream_;
    uint8_t* bytes_;
    uint32_t bitLimit_;
    uint32_t bitCount_;
    RiceStats stats_;
};

}  // namespace zeldc::git
