// Code length tables as a sequence of nibbles, and the buffer sizes that a table asks for. A nibble
// 0..12 is a number above the base of the current bank; 13, 14 and 15 change the bank. Two repeats
// of a length are followed by the count of the further ones.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/unaligned.hpp"
#include "huffman/huffman_state.hpp"
#include "zeldc.h"

namespace zeldc::huffman {
namespace {

constexpr int32_t kBankSize = 13;
constexpr int32_t kLastBank = 2;
constexpr uint32_t kEscape = 13;  // plus the number of the bank
constexpr int32_t kLongestChunk = 34;

class NibbleWriter {
  public:
    NibbleWriter(uint8_t* dst, int32_t capacity) : dst_(dst), dstNext_(dst), left_(capacity) {}

    void number(int32_t n) {
        const int32_t bank = std::clamp(n / kBankSize, 0, kLastBank);
        if (bank != bank_) nibble(kEscape + static_cast<uint32_t>(bank));
        bank_ = bank;
        // Lengths out of range are packed too, as far as four bits hold them.
        nibble(static_cast<uint32_t>(n - bank * kBankSize) & 15);
    }
    void finish() {
        if (half_) nibble(0);
    }
    bool overflowed() const { return overflowed_; }
    int32_t written() const { return static_cast<int32_t>(dstNext_ - dst_); }

  private:
    void nibble(uint32_t value) {
        if (half_) {
            put(static_cast<uint8_t>(high_ << 4 | value));
        } else {
            high_ = value;
        }
        half_ = !half_;
    }
    void put(uint8_t byte) {
        if (left_ == 0) {
            overflowed_ = true;
            return;
        }
        *dstNext_++ = byte;
        --left_;
    }

    uint8_t* dst_;
    uint8_t* dstNext_;
    int32_t left_;
    int32_t bank_ = 0;
    uint32_t high_ = 0;
    bool half_ = false;
    bool overflowed_ = false;
};

void packRepeats(NibbleWriter& out, int32_t length, int32_t repeats) {
    for (; repeats > 0; repeats -= kLongestChunk) {
        out.number(length);
        if (repeats == 1) return;
        out.number(length);
        out.number(std::min(repeats, kLongestChunk) - 2);
    }
}

void pack(const S32* lengths, NibbleWriter& out) {
    int32_t previous = 0;
    for (int32_t i = 0; i < kSymbols;) {
        const int32_t length = lengths[i];
        int32_t end = i;
        while (end < kSymbols && lengths[end] == length)
            ++end;
        int32_t repeats = end - i;
        if (length != previous) {
            out.number(length);
            --repeats;
        }
        packRepeats(out, length, repeats);
        previous = length;
        i = end;
    }
    out.finish();
}

class NibbleReader {
  public:
    NibbleReader(const uint8_t* src, int32_t size)
        : src_(src), nibbles_(2 * static_cast<uint32_t>(size)) {}

    int32_t number() {
        int32_t nibble = next();
        if (nibble >= kBankSize) {
            base_ = (nibble - kBankSize) * kBankSize;
            nibble = next();
        }
        return base_ + nibble;
    }
    bool overrun() const { return used_ > nibbles_; }
    int32_t bytesUsed() const { return static_cast<int32_t>((used_ + 1) / 2); }

  private:
    // Zeros follow the end of the source.
    int32_t next() {
        const uint32_t at = used_++;
        if (at >= nibbles_) return 0;
        return at % 2 == 0 ? src_[at / 2] >> 4 : src_[at / 2] & 15;
    }

    const uint8_t* src_;
    uint32_t nibbles_;
    uint32_t used_ = 0;
    int32_t base_ = 0;
};

void unpack(NibbleReader& in, S32* lengths) {
    int32_t previous = 0;
    int32_t repeats = 0;
    for (int32_t i = 0; i < kSymbols;) {
        const int32_t length = in.number();
        lengths[i++] = length;
        repeats = length == previous ? repeats + 1 : 0;
        previous = length;
        if (repeats < 2) continue;
        // Read also where no entry is left for it.
        for (int32_t count = in.number(); count > 0 && i < kSymbols; --count)
            lengths[i++] = length;
        repeats = 0;
    }
}

// The bounds for `size` bytes; 64 bits hold them for any lengths within 1..32.
struct Bounds {
    uint64_t encoded;
    uint64_t decoded;
};

Bounds boundsFor(uint32_t size, uint32_t minLength, uint32_t maxLength) {
    return {(uint64_t{size} * maxLength + maxLength + 7) >> 3, uint64_t{size} * 64 / minLength};
}

void storeBound(int32_t* p, uint64_t bound) {
    if (p != nullptr) store(p, static_cast<int32_t>(bound));
}

}  // namespace
}  // namespace zeldc::huffman

using namespace zeldc;
using namespace zeldc::huffman;

extern "C" {

ZelStatus zelsHuffGetDstBuffSize_8u(const int32_t* pLenTable, int32_t srcLen, int32_t* pEncDstLen,
                                    int32_t* pDecDstLen) {
    if (pLenTable == nullptr) return zelStsNullPointer;
    if (srcLen < 1) return zelStsBadSize;
    const S32* lengths = anyAlignment(pLenTable);
    int32_t minLength = kMaxCodeLength;
    int32_t maxLength = 1;
    for (int32_t i = 0; i < kSymbols; ++i) {
        const int32_t length = lengths[i];
        if (length != 0) minLength = std::min(minLength, length);
        maxLength = std::max(maxLength, length);
    }
    if (minLength < 0 || maxLength > kMaxCodeLength) return zelStsCodeLenTableErr;
    const Bounds bounds = boundsFor(static_cast<uint32_t>(srcLen), static_cast<uint32_t>(minLength),
                                    static_cast<uint32_t>(maxLength));
    if ((pEncDstLen != nullptr && bounds.encoded > INT32_MAX) ||
        (pDecDstLen != nullptr && bounds.decoded > INT32_MAX)) {
        return zelStsBadSize;
    }
    storeBound(pEncDstLen, bounds.encoded);
    storeBound(pDecDstLen, bounds.decoded);
    return zelStsOk;
}

ZelStatus zelsHuffLenCodeTablePack_8u(const int32_t* pLenTable, uint8_t* pDst, int32_t* pDstLen) {
    if (pLenTable == nullptr || pDst == nullptr || pDstLen == nullptr) return zelStsNullPointer;
    const auto capacity = load<int32_t>(pDstLen);
    if (capacity < 1) return zelStsBadSize;
    const S32* lengths = anyAlignment(pLenTable);
    const bool inRange = std::all_of(lengths, lengths + kSymbols, [](int32_t length) {
        return length >= 0 && length <= kMaxCodeLength;
    });
    NibbleWriter out(pDst, capacity);
    pack(lengths, out);
    store(pDstLen, out.written());
    if (!inRange) return zelStsCodeLenTableErr;
    return out.overflowed() ? zelStsBadSize : zelStsOk;
}

ZelStatus zelsHuffLenCodeTableUnpack_8u(const uint8_t* pSrc, int32_t* pSrcLen, int32_t* pLenTable) {
    if (pSrc == nullptr || pSrcLen == nullptr || pLenTable == nullptr) return zelStsNullPointer;
    const auto size = load<int32_t>(pSrcLen);
    if (size < 1) return zelStsBadSize;
    S32 lengths[kSymbols];
    NibbleReader in(pSrc, size);
    unpack(in, lengths);
    if (in.overrun()) return zelStsBadSize;
    std::memcpy(pLenTable, lengths, sizeof lengths);
    store(pSrcLen, in.bytesUsed());
    return zelStsOk;
}

}  // extern "C"
