// Reads Golomb-Rice codes (rice.hpp) from the streams of a coded block. A stream has no end mark:
// it is exhausted when a code does not end within it, which its padding of ones never does.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "core/unaligned.hpp"
#include "git/git_state.hpp"

namespace zeldc::git {

constexpr uint32_t kExhausted = 0xFFFFFFFF;

// Larger values cannot come from an encoder: they exhaust their stream.
constexpr uint32_t kLargestInterval = 0x7FFFFFFF;

// Bits of one stream, and zeros without end behind it: a code that ran into them shows in the
// position only.
class BitCursor {
  public:
    BitCursor(const uint8_t* bytes, uint32_t position, uint32_t end)
        : bytes_(bytes), position_(position), end_(end) {}

    bool ranOut() const { return position_ > end_; }
    uint32_t position() const { return position_; }

    // How many ones come next, `most` at most; skips them and, if there are fewer, the zero.
    uint32_t ones(uint32_t most) {
        uint32_t count = 0;
        for (;;) {
            const auto seen = static_cast<uint32_t>(std::countl_one(window()));
            const uint32_t taken = std::min({seen, kWordBits, most - count});
            count += taken;
            position_ += taken;
            if (count == most) return count;
            if (taken < kWordBits) break;
        }
        ++position_;
        return count;
    }

    uint64_t bits(uint32_t count) {
        uint64_t value = 0;
        while (count != 0) {
            const uint32_t taken = std::min(count, kWordBits - 1);
            value = value << taken | window() >> (32 - taken);
            position_ += taken;
            count -= taken;
        }
        return value;
    }

  private:
    // The next bits from the top down, kWordBits of them at least.
    uint32_t window() const {
        const uint32_t index = position_ / 8;
        const uint32_t left = index < end_ / 8 ? end_ / 8 - index : 0;
        uint32_t word = 0;
        if (left >= sizeof word) {
            word = loadBe<uint32_t>(bytes_ + index);
        } else {
            for (uint32_t i = 0; i < left; ++i)
                word |= uint32_t{bytes_[index + i]} << (24 - 8 * i);
        }
        return word << (position_ % 8);
    }

    const uint8_t* bytes_;
    uint32_t position_;
    uint32_t end_;
};

// What follows the eight ones of an escape; any value above kLargestInterval stands for all.
inline uint64_t readEscaped(BitCursor& cursor, uint32_t k) {
    uint64_t base = 0;
    do {
        base += uint64_t{kEscapeOnes} << k;
        if (base > kLargestInterval) return base;
        k *= 2;
    } while (cursor.bits(1) != 0);
    const uint32_t quotient = cursor.ones(kExhausted);
    // base <= kLargestInterval keeps k below 57; a quotient has 32 bits, so that with k up to 31
    // the result has less than 64.
    if (quotient != 0 && k > 31) return kExhausted;
    return base + (uint64_t{quotient} << k) + cursor.bits(k);
}

// Reads nothing outside the stream.
[[gnu::noinline]] inline uint32_t readIntervalCarefully(const uint8_t* block,
                                                        DecodeStream& stream) {
    BitCursor cursor(block + stream.offset, stream.bitPosition, stream.bitEnd);
    const uint32_t k = stream.stats.parameter;
    const uint64_t quotient = cursor.ones(kEscapeOnes);
    const bool escaped = quotient == kEscapeOnes;
    const uint64_t value = escaped ? readEscaped(cursor, k) : (quotient << k) + cursor.bits(k);
    if (cursor.ranOut() || value > kLargestInterval) return kExhausted;
    stream.bitPosition = cursor.position();
    const auto interval = static_cast<uint32_t>(value);
    if (!escaped) {
        RiceStats stats = stream.stats.load();
        adapt(stats, interval);
        stream.stats.store(stats);
    }
    return interval;
}

// One stream's next codes, in registers from construction to save(): nothing takes its address.
// Reads up to four bytes behind the stream's last one, where in a coded block the length word of
// the next stream lies: not for the last stream.
class StreamReader {
  public:
    StreamReader(const uint8_t* block, DecodeStream& stream)
        : block_(block), bytes_(block + stream.offset), end_(stream.bitEnd), stream_(stream) {
        load();
    }

    void save() const {
        stream_.bitPosition = position_;
        stream_.stats.store(stats_);
    }

    [[gnu::always_inline]] uint32_t read() {
        const uint32_t k = stats_.parameter;
        const uint32_t window = loadBe<uint32_t>(bytes_ + position_ / 8) << (position_ % 8);
        // The set bit only stops runs that are too long in any case.
        const auto quotient = static_cast<uint32_t>(__builtin_clz(~window | 1));
        const uint32_t after = position_ + quotient + 1 + k;
        if (quotient >= kEscapeOnes || k > kWordParameter || after > end_) [[unlikely]] {
            save();
            const uint32_t interval = readIntervalCarefully(block_, stream_);
            load();
            return interval;
        }
        const uint32_t value = (quotient << k) + (window << (quotient + 1) >> (32 - k));
        position_ = after;
        adapt(stats_, value);
        return value;
    }

  private:
    void load() {
        position_ = stream_.bitPosition;
        stats_ = stream_.stats.load();
    }

    const uint8_t* block_;
    const uint8_t* bytes_;
    uint32_t end_;
    uint32_t position_;
    RiceStats stats_;
    DecodeStream& stream_;
};

}  // namespace zeldc::git
