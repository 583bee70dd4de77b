// The bit buffer of a call: least significant bit first, filled a byte or a word at a time.
#pragma once

#include "deflate/decode_state.hpp"

namespace zeldc::deflate {

class BitSource {
  public:
    BitSource(const DecodeProgress& progress, const uint8_t* src, int32_t size)
        : bitBuf_(progress.bitBuf),
          bitCount_(progress.bitCount),
          srcStart_(src),
          srcNext_(src),
          srcEnd_(src + extent(src, size)) {}

    uint64_t peek() const { return bitBuf_; }
    int32_t count() const { return bitCount_; }
    const uint8_t* srcNext() const { return srcNext_; }
    const uint8_t* srcEnd() const { return srcEnd_; }
    int32_t srcLeft() const { return static_cast<int32_t>(srcEnd_ - srcNext_); }

    // Takes over from a kernel.
    void set(const uint8_t* srcNext, uint64_t bitBuf, int32_t bitCount) {
        srcNext_ = srcNext;
        bitBuf_ = bitBuf;
        bitCount_ = bitCount;
    }

    bool takeByte() {
        if (srcNext_ == srcEnd_ || bitCount_ > 56) return false;
        bitBuf_ |= static_cast<uint64_t>(*srcNext_++) << bitCount_;
        bitCount_ += 8;
        return true;
    }

    // Makes `bits` (at most 57) available, taking no more bytes than that needs; false when the
    // source has fewer, all of which are then buffered.
    bool ensure(int32_t bits) {
        while (bitCount_ < bits) {
            if (!takeByte()) return false;
        }
        return true;
    }

    // Makes 56 bits available or all that there are, which is enough for the longest symbol.
    void fill() {
        if (bitCount_ >= 48) return;
        if (srcLeft() >= 8) {
            const int32_t bytes = (63 - bitCount_) >> 3;
            bitBuf_ |= load<uint64_t>(srcNext_) << bitCount_;
            srcNext_ += bytes;
            bitCount_ += 8 * bytes;
            bitBuf_ &= (uint64_t{1} << bitCount_) - 1;
            return;
        }
        while (takeByte()) {
        }
    }

    void skipBytes(int32_t bytes) { srcNext_ += bytes; }

    void consume(int32_t bits) {
        bitBuf_ = bits < 64 ? bitBuf_ >> bits : 0;
        bitCount_ -= bits;
    }

    void skipToByteBoundary() { consume(bitCount_ & 7); }

    void clear() {
        bitBuf_ = 0;
        bitCount_ = 0;
    }

    // Gives whole bytes that are still buffered back to the source, as far as this call took them:
    // earlier ones may have come from another buffer. After handBackAll the source may stand before
    // where the call found it; nothing is taken back from there.
    void handBack() {
        const auto taken = std::max(static_cast<int32_t>(srcNext_ - srcStart_), 0);
        giveBack(std::min(bitCount_ >> 3, taken));
    }

    // The same for all of them, and forgets the rest.
    void handBackAll() {
        giveBack(bitCount_ >> 3);
        clear();
    }

    void save(DecodeProgress& progress, const uint8_t** ppSrc, int32_t* pSrcLen) const {
        progress.bitBuf = bitBuf_;
        progress.bitCount = bitCount_;
        *pSrcLen -= static_cast<int32_t>(srcNext_ - srcStart_);
        *ppSrc = srcNext_;
    }

  private:
    void giveBack(int32_t bytes) {
        srcNext_ -= bytes;
        bitCount_ -= 8 * bytes;
        if (bitCount_ < 64) bitBuf_ &= (uint64_t{1} << bitCount_) - 1;
    }

    uint64_t bitBuf_;
    int32_t bitCount_;
    const uint8_t* srcStart_;
    const uint8_t* srcNext_;
    const uint8_t* srcEnd_;
};

}  // namespace zeldc::deflate
