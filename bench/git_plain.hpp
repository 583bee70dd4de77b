// The GIT coder as its steps are described, one by one: a counting tree walked for each occurrence,
// bits written and read one at a time, all 256 slots scanned for each decoded byte. The library's
// coder is measured against it, and must produce the same bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace bench::plain {

struct Rice {
    int32_t sum = 0;
    int32_t count = 0;
    int32_t halving = 0;
    int32_t k = 10;

    void halveIfDue() {
        if (halving != 8) return;
        sum >>= 1;
        count >>= 1;
        halving = 0;
    }
    void add(int32_t value) {
        ++halving;
        sum += value;
        ++count;
        k = 1;
        while ((int64_t{count} << k) < sum)
            ++k;
    }
};

struct OutStream {
    std::vector<uint8_t> bytes;
    int32_t bytePosition = 0;
    int32_t bitPosition = 0;
    Rice rice;

    void bit(int one) {
        uint8_t& byte = bytes[static_cast<size_t>(bytePosition)];
        if (bitPosition == 0) byte = 0;
        byte = static_cast<uint8_t>(byte | one << (7 - bitPosition));
        if (++bitPosition == 8) {
            bitPosition = 0;
            ++bytePosition;
        }
    }
    void ones(int64_t count) {
        while (count-- > 0)
            bit(1);
    }
    void rest(int64_t value, int k) {
        bit(0);
        while (k-- > 0)
            bit(static_cast<int>(value >> k & 1));
    }
    void put(int64_t value) {
        int k = rice.k;
        int64_t q = value >> k;
        if (q < 8) {
            rice.halveIfDue();
            ones(q);
            rest(value, k);
            rice.add(static_cast<int32_t>(value));
            return;
        }
        ones(8);
        for (;;) {
            value -= int64_t{8} << k;
            k *= 2;
            q = value >> k;
            if (q < 8) break;
            bit(1);
        }
        bit(0);
        ones(q);
        rest(value, k);
    }
    void pad() {
        if (bitPosition == 0) bytes[static_cast<size_t>(bytePosition)] = 0;
        bytes[static_cast<size_t>(bytePosition)] |= static_cast<uint8_t>(0xFF >> bitPosition);
        ++bytePosition;
    }
};

class Encoder {
  public:
    explicit Encoder(size_t limit) : streams_(256) {
        for (auto& stream : streams_)
            stream.bytes.resize(limit + 32);
    }

    size_t encode(const uint8_t* src, size_t size, int strategy, uint8_t* dst) {
        reset();
        for (int slot = 256; slot-- > 0;)
            occur(slot);
        for (size_t i = 0; i < size; ++i) {
            const int slot = leafOf_[src[i]] - 255;
            occur(slot);
            if (strategy == 1 && slot >= 1 && slot < 255) exchangeIfDue(slot, slot - 1);
            if (strategy == 2 && slot < 254) exchangeIfDue(slot, slot + 1);
        }
        streams_[255].put(tree_[510]);
        uint8_t* next = dst;
        for (auto& stream : streams_) {
            stream.pad();
            const auto length = static_cast<uint32_t>(stream.bytePosition);
            for (int shift = 24; shift >= 0; shift -= 8)
                *next++ = static_cast<uint8_t>(length >> shift);
            std::memcpy(next, stream.bytes.data(), length);
            next += length;
        }
        return static_cast<size_t>(next - dst);
    }

  private:
    void reset() {
        for (auto& stream : streams_) {
            stream.bytePosition = stream.bitPosition = 0;
            stream.rice = {};
        }
        tree_.fill(0);
        stored_.fill(0);
        slotCount_.fill(0);
        for (int slot = 0; slot < 256; ++slot) {
            valueIn_[static_cast<size_t>(slot)] = 255 - slot;
            leafOf_[static_cast<size_t>(255 - slot)] = 255 + slot;
        }
    }
    int32_t laterCount(int slot) const {
        int32_t later = 0;
        for (int node = 255 + slot; node != 0; node = (node - 1) / 2) {
            if (node % 2 != 0) later += tree_[static_cast<size_t>(node) + 1];
        }
        return later;
    }
    void occur(int slot) {
        ++slotCount_[static_cast<size_t>(slot)];
        int32_t later = 0;
        size_t node = static_cast<size_t>(255 + slot);
        ++tree_[node];
        while (node != 0) {
            const size_t parent = (node - 1) / 2;
            if (node % 2 != 0) later += tree_[node + 1];
            ++tree_[parent];
            node = parent;
        }
        int32_t& stored = stored_[static_cast<size_t>(slot)];
        const int32_t interval = later - stored;
        stored = later;
        if (slot != 255)
            streams_[static_cast<size_t>(255 - valueIn_[static_cast<size_t>(slot)])].put(interval);
    }
    void exchangeIfDue(int slot, int other) {
        const auto s = static_cast<size_t>(slot);
        const auto o = static_cast<size_t>(other);
        if (slotCount_[s] <= slotCount_[o]) return;
        stored_[s] = other < slot ? stored_[o] - tree_[255 + s] : stored_[o] + tree_[255 + o];
        stored_[o] = laterCount(other);
        std::swap(slotCount_[s], slotCount_[o]);
        std::swap(valueIn_[s], valueIn_[o]);
        leafOf_[static_cast<size_t>(valueIn_[s])] = 255 + slot;
        leafOf_[static_cast<size_t>(valueIn_[o])] = 255 + other;
    }

    std::vector<OutStream> streams_;
    std::array<int32_t, 511> tree_{};
    std::array<int32_t, 256> stored_{};
    std::array<int32_t, 256> slotCount_{};
    std::array<int, 256> valueIn_{};
    std::array<int, 256> leafOf_{};
};

struct InStream {
    const uint8_t* bytes = nullptr;
    int32_t length = 0;
    int32_t bytePosition = 0;
    int32_t bitPosition = 0;
    Rice rice;

    // -1 behind the end.
    int bit() {
        if (bytePosition >= length) return -1;
        const int one = bytes[bytePosition] >> (7 - bitPosition) & 1;
        if (++bitPosition == 8) {
            bitPosition = 0;
            ++bytePosition;
        }
        return one;
    }
    int64_t rest(int k) {
        int64_t value = 0;
        while (k-- > 0) {
            const int one = bit();
            if (one < 0) return -1;
            value = 2 * value + one;
        }
        return value;
    }
    // -1 when the stream is exhausted.
    int64_t get() {
        int k = rice.k;
        int q = 0;
        int one = 0;
        while (q < 8 && (one = bit()) == 1)
            ++q;
        if (one < 0) return -1;
        if (q < 8) {
            const int64_t low = rest(k);
            if (low < 0) return -1;
            rice.halveIfDue();
            const int64_t value = (int64_t{q} << k) + low;
            rice.add(static_cast<int32_t>(value));
            return value;
        }
        int64_t base = 0;
        do {
            base += int64_t{8} << k;
            k *= 2;
            one = bit();
        } while (one == 1);
        if (one < 0) return -1;
        for (q = 0; (one = bit()) == 1;)
            ++q;
        if (one < 0) return -1;
        const int64_t low = rest(k);
        return low < 0 ? -1 : base + (int64_t{q} << k) + low;
    }
};

class Decoder {
  public:
    size_t decode(const uint8_t* src, int strategy, uint8_t* dst) {
        for (size_t i = 0; i < 256; ++i) {
            int32_t length = 0;
            for (int b = 0; b < 4; ++b)
                length = length << 8 | *src++;
            streams_[i] = {src, length, 0, 0, {}};
            src += length;
            slots_[i] = {};
            valueIn_[i] = 255 - static_cast<int>(i);
            slotCount_[i] = 0;
        }
        for (size_t i = 0; i < 256; ++i) {
            slots_[i].interval = static_cast<int32_t>(streams_[i].get());
            if (slots_[i].interval < 0 || (i == 255 && slots_[i].interval == 0))
                slots_[i].key = kExhausted;
        }
        for (size_t steps = 0;; ++steps) {
            const int winner = soonest();
            if (winner < 0) return steps - 256;
            const int value = occur(winner);
            if (steps < 256) continue;
            dst[steps - 256] = static_cast<uint8_t>(value);
            if (strategy == 1 && winner >= 1 && winner <= 254) moveDown(winner);
            if (strategy == 2 && winner <= 253) moveUp(winner);
        }
    }

  private:
    static constexpr int32_t kExhausted = 0x7FFFFFFF;
    struct Slot {
        int32_t key = 0;
        int32_t interval = 0;
        int32_t mark = 0;
        int32_t later = 0;
        int32_t emissions = 0;
    };

    int soonest() {
        int32_t least = kExhausted;
        for (int slot = 255; slot >= 0; --slot) {
            Slot& s = slots_[static_cast<size_t>(slot)];
            if (s.key == kExhausted) continue;
            s.key = slot == 255 ? 255 : (s.interval - s.later + s.mark) * 256 + slot;
            if (s.key < least) least = s.key;
        }
        return least == kExhausted ? -1 : least & 255;
    }
    int occur(int winner) {
        const auto w = static_cast<size_t>(winner);
        Slot& s = slots_[w];
        const int value = valueIn_[w];
        ++slotCount_[w];
        s.mark = s.later;
        ++s.emissions;
        if (winner == 255) {
            if (--s.interval == 0) s.key = kExhausted;
        } else {
            s.interval = static_cast<int32_t>(streams_[static_cast<size_t>(255 - value)].get());
            if (s.interval < 0) s.key = kExhausted;
        }
        for (size_t below = 0; below < w; ++below)
            ++slots_[below].later;
        return value;
    }
    void moveDown(int winner) {
        const auto w = static_cast<size_t>(winner);
        if (slotCount_[w - 1] + 1 > slotCount_[w]) return;
        slots_[w].mark = slots_[w - 1].mark - slots_[w].emissions;
        slots_[w - 1].mark = slots_[w - 1].later;
        exchange(w, w - 1);
    }
    void moveUp(int winner) {
        const auto w = static_cast<size_t>(winner);
        if (slotCount_[w + 1] + 1 > slotCount_[w]) return;
        slots_[w].mark = slots_[w + 1].mark + slots_[w + 1].emissions;
        slots_[w + 1].mark = slots_[w + 1].later;
        exchange(w, w + 1);
    }
    void exchange(size_t a, size_t b) {
        std::swap(slots_[a].key, slots_[b].key);
        std::swap(slots_[a].interval, slots_[b].interval);
        std::swap(valueIn_[a], valueIn_[b]);
        std::swap(slotCount_[a], slotCount_[b]);
    }

    std::array<InStream, 256> streams_{};
    std::array<Slot, 256> slots_{};
    std::array<int, 256> valueIn_{};
    std::array<int32_t, 256> slotCount_{};
};

}  // namespace bench::plain
