// Byte Huffman encoder: its Init, the coding of buffers and of single bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/alloc.hpp"
#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "huffman/huffman_state.hpp"
#include "zeldc.h"

namespace zeldc::huffman {
namespace {

ZelStatus initEncoder(const S32* frequencies, State& state) {
    S32 lengths[kSymbols];
    const ZelStatus status = buildLengths(frequencies, lengths);
    if (status != zelStsOk) return status;
    // Clears what belongs to the decoder, its references above all.
    std::memset(&state, 0, sizeof state);
    std::copy_n(lengths, kSymbols, state.lengths);
    const CanonicalCode code = canonicalCode(state.lengths);
    assignCodes(code, state);
    state.maxLength = code.maxLength;
    return zelStsOk;
}

// Bits wait in the low end of a word here, `count` of them, with anything above; the state keeps
// them in the high end.
struct BitQueue {
    uint32_t bits;
    uint32_t count;  // below 32 between codes

    explicit BitQueue(const State& state) : count(static_cast<uint32_t>(int32_t{state.bitCount})) {
        bits = count == 0 ? 0 : state.bitBuf >> (32 - count);
    }
    void saveTo(State& state) const {
        state.bitBuf = count == 0 ? 0 : bits << (32 - count);
        state.bitCount = static_cast<int32_t>(count);
    }
};

// Any code lengths: at most 31 bits wait and 32 more come.
uint8_t* encodeSingly(const State& state, BitQueue& queue, const uint8_t* src,
                      const uint8_t* srcEnd, uint8_t* dst) {
    uint64_t bits = queue.bits;
    uint32_t count = queue.count;
    for (; src != srcEnd; ++src) {
        const auto length = static_cast<uint32_t>(int32_t{state.lengths[*src]});
        bits = bits << length | state.codes[*src];
        count += length;
        if (count < 32) continue;
        count -= 32;
        storeBe(dst, static_cast<uint32_t>(bits >> count));
        dst += 4;
    }
    queue.bits = static_cast<uint32_t>(bits);
    queue.count = count;
    return dst;
}

// Two codes of at most this many bits are joined before they enter the queue; their 30 bits shift a
// 32-bit word without ever shifting it by all of its width.
constexpr int32_t kPairableLength = 15;

// Code and length of a byte in one word: one load in place of two. Longer codes, which are rare
// where they suit the source, are marked and coded singly.
constexpr uint32_t kLongCode = 1U << 31;
static_assert(kPairableLength < 16 && kPairableLength + 4 < 31);

uint32_t tableEntry(uint32_t code, int32_t length) {
    return length <= kPairableLength ? code << 4 | static_cast<uint32_t>(length) : kLongCode;
}

template <bool longCodes>
uint8_t* encodeInPairs(const State& state, BitQueue& queue, const uint8_t* src,
                       const uint8_t* srcEnd, uint8_t* dst) {
    uint32_t table[kSymbols];
    for (int32_t i = 0; i < kSymbols; ++i)
        table[i] = tableEntry(state.codes[i], state.lengths[i]);
    uint32_t bits = queue.bits;
    uint32_t count = queue.count;
    for (; src != srcEnd; src += 2) {
        const uint32_t first = table[src[0]];
        const uint32_t second = table[src[1]];
        if (longCodes && ((first | second) & kLongCode) != 0) [[unlikely]] {
            queue.bits = bits;
            queue.count = count;
            dst = encodeSingly(state, queue, src, src + 2, dst);
            bits = queue.bits;
            count = queue.count;
            continue;
        }
        const uint32_t secondLength = second & 15;
        const uint32_t joined = (first >> 4) << secondLength | second >> 4;
        const uint32_t length = (first & 15) + secondLength;
        count += length;
        if (count < 32) {
            bits = bits << length | joined;
            continue;
        }
        count -= 32;
        storeBe(dst, bits << (length - count) | joined >> count);
        dst += 4;
        bits = joined;
    }
    queue.bits = bits;
    queue.count = count;
    return dst;
}

// The packed table costs as much as coding some 200 bytes singly.
constexpr ptrdiff_t kWorthPairing = 1024;

uint8_t* encode(State& state, const uint8_t* src, const uint8_t* srcEnd, uint8_t* dst) {
    BitQueue queue(state);
    if (srcEnd - src >= kWorthPairing) {
        const uint8_t* const pairsEnd = srcEnd - (srcEnd - src) % 2;
        dst = state.maxLength <= kPairableLength
                  ? encodeInPairs<false>(state, queue, src, pairsEnd, dst)
                  : encodeInPairs<true>(state, queue, src, pairsEnd, dst);
        src = pairsEnd;
    }
    dst = encodeSingly(state, queue, src, srcEnd, dst);
    queue.saveTo(state);
    return dst;
}

// Writes the `count` bits at the top of `bits`, in whole bytes.
uint8_t* writeTop(uint64_t bits, uint32_t count, uint8_t* dst) {
    for (uint32_t written = 0; written < count; written += 8, bits <<= 8)
        *dst++ = static_cast<uint8_t>(bits >> 56);
    return dst;
}

void encodeOne(const State& state, uint8_t value, uint8_t* dst, uint32_t offset) {
    const auto length = static_cast<uint32_t>(int32_t{state.lengths[value]});
    const uint64_t kept = offset == 0 ? 0 : *dst & (0xFF00U >> offset);
    const uint64_t code = uint64_t{state.codes[value]} << (64 - length) >> offset;
    writeTop(kept << 56 | code, offset + length, dst);
}

}  // namespace
}  // namespace zeldc::huffman

using namespace zeldc;
using namespace zeldc::huffman;

extern "C" {

ZelStatus zelsHuffGetSize_8u(int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    store(pSize, static_cast<int32_t>(sizeof(State)));
    return zelStsOk;
}

void zelsHuffFree_8u(HuffState* pState) {
    release(pState);
}

ZelStatus zelsHuffGetLenCodeTable_8u(int32_t* pLenTable, const HuffState* pState) {
    if (pLenTable == nullptr || pState == nullptr) return zelStsNullPointer;
    std::memmove(pLenTable, stateAt<State>(pState).lengths, sizeof State::lengths);
    return zelStsOk;
}

ZelStatus zelsEncodeHuffInit_8u(const int32_t* pFreqTable, HuffState* pState) {
    if (pFreqTable == nullptr || pState == nullptr) return zelStsNullPointer;
    return initEncoder(anyAlignment(pFreqTable), stateAt<State>(pState));
}

ZelStatus zelsEncodeHuffInitAlloc_8u(const int32_t* pFreqTable, HuffState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    auto* state = reinterpret_cast<HuffState*>(allocate(sizeof(State)));
    store(ppState, state);
    return zelsEncodeHuffInit_8u(pFreqTable, state);
}

ZelStatus zelsEncodeHuffOne_8u(uint8_t src, uint8_t* pDst, int32_t dstOffset,
                               const HuffState* pState) {
    if (pDst == nullptr || pState == nullptr) return zelStsNullPointer;
    if (dstOffset < 0 || dstOffset > 7) return zelStsBadSize;
    const auto& state = stateAt<State>(pState);
    if (state.lengths[src] == 0) return zelStsCodeLenTableErr;
    encodeOne(state, src, pDst, static_cast<uint32_t>(dstOffset));
    return zelStsOk;
}

ZelStatus zelsEncodeHuff_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen,
                            HuffState* pState) {
    if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr || pState == nullptr) {
        return zelStsNullPointer;
    }
    if (srcLen < 1) return zelStsBadSize;
    const uint8_t* dstNext = encode(stateAt<State>(pState), pSrc, pSrc + srcLen, pDst);
    store(pDstLen, static_cast<int32_t>(dstNext - pDst));
    return zelStsOk;
}

ZelStatus zelsEncodeHuffFinal_8u(uint8_t* pDst, int32_t* pDstLen, const HuffState* pState) {
    if (pDst == nullptr || pDstLen == nullptr || pState == nullptr) return zelStsNullPointer;
    const auto& state = stateAt<State>(pState);
    const uint8_t* dstNext = writeTop(uint64_t{state.bitBuf} << 32,
                                      static_cast<uint32_t>(int32_t{state.bitCount}), pDst);
    store(pDstLen, static_cast<int32_t>(dstNext - pDst));
    return zelStsOk;
}

}  // extern "C"
