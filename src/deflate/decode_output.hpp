// Where decoded symbols go: pairs, or bytes with the history behind them.
#pragma once

#include "deflate/decode_state.hpp"
#include "deflate/match_copy.hpp"

namespace zeldc::deflate {

// The caller's pair slots, as bytes: they may lie at any address.
class PairOutput {
  public:
    PairOutput(Lz77Pair* pairs, int32_t slots)
        : start_(reinterpret_cast<uint8_t*>(pairs)),
          next_(reinterpret_cast<uint8_t*>(pairs)),
          end_(next_ + extent(pairs, slots) * sizeof(Lz77Pair)) {}

    bool full() const { return next_ == end_; }
    void literal(uint32_t byte) { put(byte); }
    void match(uint32_t length, uint32_t distance) { put(length | distance << 16); }

    uint8_t* next() const { return next_; }
    const uint8_t* end() const { return end_; }
    void setNext(uint8_t* next) { next_ = next; }

    void save(Lz77Pair** ppPairs, int32_t* pPairsLen) const {
        const auto made = static_cast<size_t>(next_ - start_) / sizeof(Lz77Pair);
        *pPairsLen -= static_cast<int32_t>(made);
        *ppPairs = reinterpret_cast<Lz77Pair*>(next_);
    }

  private:
    void put(uint32_t pair) {
        store(next_, pair);
        next_ += sizeof(Lz77Pair);
    }

    const uint8_t* start_;
    uint8_t* next_;
    const uint8_t* end_;
};

// The caller's bytes. A match that does not fit becomes the pending copy.
class ByteOutput {
  public:
    ByteOutput(DecodeState& state, uint8_t* dst, int32_t size)
        : state_(state), start_(dst), next_(dst), end_(dst + extent(dst, size)) {}

    bool full() const { return next_ == end_; }
    size_t produced() const { return static_cast<size_t>(next_ - start_); }
    size_t room() const { return static_cast<size_t>(end_ - next_); }

    void literal(uint32_t byte) { *next_++ = static_cast<uint8_t>(byte); }

    void match(uint32_t length, uint32_t distance) {
        const auto now = static_cast<uint32_t>(std::min<size_t>(length, room()));
        copy(now, distance);
        if (now == length) return;
        state_.progress.pendingLength = static_cast<int32_t>(length - now);
        state_.progress.pendingDistance = static_cast<int32_t>(distance);
    }

    // Continues the match that was cut; false when some of it still waits.
    bool finishPending() {
        DecodeProgress& progress = state_.progress;
        const int32_t pending = progress.pendingLength;
        if (pending < 1) return true;
        progress.pendingLength = 0;
        match(static_cast<uint32_t>(pending),
              static_cast<uint32_t>(int32_t{progress.pendingDistance}));
        return progress.pendingLength == 0;
    }

    void keepHistory() const {
        if (produced() != 0) appendHistory(state_, start_, produced());
    }

    DecodeState& state() const { return state_; }
    const uint8_t* start() const { return start_; }
    uint8_t* next() const { return next_; }
    const uint8_t* end() const { return end_; }
    void setNext(uint8_t* next) { next_ = next; }

    void save(uint8_t** ppDst, int32_t* pDstLen) const {
        *pDstLen -= static_cast<int32_t>(produced());
        *ppDst = next_;
    }

  private:
    // `count` bytes of a match, which fit. What lies before this call's output comes from the
    // history.
    void copy(uint32_t count, uint32_t distance) {
        if (produced() < distance) {
            const auto back = distance - static_cast<uint32_t>(produced());
            const uint32_t old = std::min(count, back);
            copyHistory(state_, back, next_, old);
            next_ += old;
            count -= old;
        }
        if (count == 0) return;
        copyOverlapping(next_, distance, count);
        next_ += count;
    }

    DecodeState& state_;
    const uint8_t* start_;
    uint8_t* next_;
    const uint8_t* end_;
};

}  // namespace zeldc::deflate
