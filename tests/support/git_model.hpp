// The GIT coder's format, modelled bit by bit and without any of the library's shortcuts: for every
// slot, `since` counts the occurrences of later slots since the slot's own last one.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tests/support/shapes.hpp"

namespace support {

struct GitRice {
    uint64_t sum = 0;
    uint64_t count = 0;
    int sinceHalving = 0;
    unsigned k = 10;

    void adapt(uint64_t value) {
        if (sinceHalving == 8) {
            sum /= 2;
            count /= 2;
            sinceHalving = 0;
        }
        ++sinceHalving;
        sum = std::min<uint64_t>(sum + value, 0x7FFFFFFF);
        ++count;
        for (k = 1; count << k < sum;)
            ++k;
    }
};

class GitModelWriter {
  public:
    void put(uint64_t value) {
        unsigned k = rice_.k;
        if (value >> k < 8) {
            quotientAndRest(value, k);
            rice_.adapt(value);
            return;
        }
        bits_.insert(bits_.end(), 8, true);
        for (;;) {
            value -= uint64_t{8} << k;
            k *= 2;
            if (value >> k < 8) break;
            bits_.push_back(true);
        }
        bits_.push_back(false);
        quotientAndRest(value, k);
    }

    Bytes padded() const {
        Bytes bytes(bits_.size() / 8 + 1, 0xFF);
        for (size_t i = 0; i < bits_.size(); ++i) {
            if (!bits_[i]) bytes[i / 8] &= static_cast<uint8_t>(~(0x80 >> i % 8));
        }
        return bytes;
    }

  private:
    void quotientAndRest(uint64_t value, unsigned k) {
        bits_.insert(bits_.end(), static_cast<size_t>(value >> k), true);
        bits_.push_back(false);
        while (k-- > 0)
            bits_.push_back((value >> k & 1) != 0);
    }

    std::vector<bool> bits_;
    GitRice rice_;
};

class GitModelReader {
  public:
    explicit GitModelReader(Bytes bytes) : bytes_(std::move(bytes)) {}

    // Nothing when the stream is exhausted.
    std::optional<uint64_t> get() {
        const auto value = read();
        if (!value || *value > 0x7FFFFFFF || at_ > 8 * bytes_.size()) return std::nullopt;
        if (!escaped_) rice_.adapt(*value);
        return value;
    }

  private:
    bool bit() {
        const size_t i = at_++;
        return i < 8 * bytes_.size() && (bytes_[i / 8] >> (7 - i % 8) & 1) != 0;
    }
    uint64_t low(unsigned k) {
        uint64_t value = 0;
        while (k-- > 0)
            value = 2 * value + (bit() ? 1 : 0);
        return value;
    }
    std::optional<uint64_t> read() {
        unsigned k = rice_.k;
        uint64_t ones = 0;
        while (ones < 8 && bit())
            ++ones;
        escaped_ = ones == 8;
        uint64_t base = 0;
        if (escaped_) {
            do {
                base += uint64_t{8} << k;
                if (base > 0x7FFFFFFF) return std::nullopt;
                k *= 2;
            } while (bit());
            for (ones = 0; bit();)
                ++ones;
        }
        if (ones != 0 && (k > 31 || ones > uint64_t{0x7FFFFFFF} >> k)) return std::nullopt;
        return base + (ones << k) + low(k);
    }

    Bytes bytes_;
    size_t at_ = 0;
    bool escaped_ = false;
    GitRice rice_;
};

// The slots, their values and occurrence counts, and the exchange rule of both directions.
struct GitModelSlots {
    explicit GitModelSlots(int strategyIn) : strategy(strategyIn == 0 ? 1 : strategyIn) {
        for (int slot = 0; slot < 256; ++slot)
            value[static_cast<size_t>(slot)] = static_cast<uint8_t>(255 - slot);
    }
    size_t slotOf(uint8_t byte) const {
        return static_cast<size_t>(std::find(value.begin(), value.end(), byte) - value.begin());
    }
    void exchangeAfter(size_t slot) {
        if (strategy == 1 && slot >= 1 && slot <= 254) exchange(slot, slot - 1);
        if (strategy == 2 && slot <= 253) exchange(slot, slot + 1);
    }
    void exchange(size_t slot, size_t other) {
        if (count[slot] <= count[other]) return;
        std::swap(count[slot], count[other]);
        std::swap(value[slot], value[other]);
        std::swap(wait[slot], wait[other]);
    }

    int strategy;
    std::array<uint8_t, 256> value{};
    std::array<uint64_t, 256> count{};
    // Encoder: later occurrences since the last one. Decoder: later occurrences still to come.
    std::array<std::optional<uint64_t>, 256> wait{};
};

// A stream as coded blocks hold it, behind its length.
inline void gitAppendStream(Bytes& block, const Bytes& stream) {
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        block.push_back(static_cast<uint8_t>(stream.size() >> shift));
    block.insert(block.end(), stream.begin(), stream.end());
}

inline Bytes gitModelEncode(const Bytes& src, int strategy) {
    GitModelSlots slots(strategy);
    slots.wait.fill(0);
    std::array<GitModelWriter, 256> streams;
    const auto occur = [&](size_t slot) {
        ++slots.count[slot];
        if (slot != 255) streams[255U - slots.value[slot]].put(*slots.wait[slot]);
        slots.wait[slot] = 0;
        for (size_t below = 0; below < slot; ++below)
            ++*slots.wait[below];
    };
    for (size_t slot = 256; strategy != 3 && slot-- > 0;)
        occur(slot);
    for (const uint8_t byte : src) {
        const size_t slot = slots.slotOf(byte);
        occur(slot);
        slots.exchangeAfter(slot);
    }
    streams[255].put(slots.count[255]);

    Bytes out;
    for (const auto& stream : streams)
        gitAppendStream(out, stream.padded());
    return out;
}

struct GitModelDecoded {
    bool tooLong = false;
    Bytes bytes;
};

// `block` must hold the streams that its lengths announce.
inline GitModelDecoded gitModelDecode(const Bytes& block, int strategy, size_t limit) {
    GitModelSlots slots(strategy);
    std::vector<GitModelReader> streams;
    for (auto next = block.begin(); streams.size() < 256;) {
        uint32_t length = 0;
        for (int i = 0; i < 4; ++i)
            length = length << 8 | *next++;
        streams.emplace_back(Bytes(next, next + length));
        next += length;
    }
    for (size_t slot = 0; slot < 255; ++slot)
        slots.wait[slot] = streams[slot].get();
    uint64_t zerosLeft = streams[255].get().value_or(0);
    if (zerosLeft != 0) slots.wait[255] = 0;

    GitModelDecoded out;
    size_t toDrop = strategy == 3 ? 0 : 256;
    for (;;) {
        const auto next =
            std::min_element(slots.wait.begin(), slots.wait.end(),
                             [](const auto& a, const auto& b) { return a && (!b || *a < *b); });
        if (!*next) return out;
        const auto slot = static_cast<size_t>(next - slots.wait.begin());
        const uint8_t value = slots.value[slot];
        ++slots.count[slot];
        if (slot == 255) {
            if (--zerosLeft == 0) next->reset();
        } else {
            *next = streams[255U - value].get();
        }
        for (size_t below = 0; below < slot; ++below) {
            if (slots.wait[below]) --*slots.wait[below];
        }
        if (toDrop != 0) {
            --toDrop;
            continue;
        }
        if (out.bytes.size() == limit) {
            out.tooLong = true;
            return out;
        }
        out.bytes.push_back(value);
        slots.exchangeAfter(slot);
    }
}

}  // namespace support
