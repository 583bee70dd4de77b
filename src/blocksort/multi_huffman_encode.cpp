// The block's symbols, each group in the codes of its table.
#include <emmintrin.h>

#include "blocksort/bit_words.hpp"
#include "blocksort/multi_huffman.hpp"
#include "core/state.hpp"

namespace zeldc::blocksort {
namespace {

// Codes one symbol after the other until the destination and the accumulator are full.
const U16* encodeCarefully(BitSink& sink, const EncodeLayout& state, int32_t table, const U16* src,
                           const U16* srcEnd) {
    for (; src != srcEnd; ++src) {
        if (!sink.put(state.codes[table][*src], state.lengths[table][*src])) break;
    }
    return src;
}

struct CodeEntry {
    uint32_t code;
    uint32_t length;
};

// Writes whole groups where there is certainly room. Bits are collected in a vector register,
// whose 64-bit shifts are as cheap on 32-bit machines: the low `count` bits of `bits` are pending.
class WideSink {
  public:
    explicit WideSink(const BitSink& sink)
        : dstNext_(sink.dstNext),
          bits_(_mm_cvtsi32_si128(
              static_cast<int>(sink.bitCount == 0 ? 0 : sink.bitBuf >> (32 - sink.bitCount)))),
          count_(word(static_cast<uint32_t>(sink.bitCount))) {}

    // Fewer than 8 bits are pending before and after each step, and a step of three symbols adds at
    // most 51: one 64-bit store takes them all.
    static_assert(7 + 3 * kEncodeLongest <= 64);
    static_assert(kGroupSize % 3 == 2);
    // The last store begins below the end of the group's bits and is eight bytes long.
    static constexpr int32_t kRoomForGroup = (7 + kGroupSize * kEncodeLongest) / 8 + 8;
    // And no more than its eight bytes are touched behind what is written: so many symbols, of a
    // bit at least, cover them.
    static constexpr int32_t kSymbolsBehind = 64;

    void putGroup(const CodeEntry* codes, const U16* src) {
        for (int32_t i = 0; i < kGroupSize - 2; i += 3)
            put(codes[src[i]], codes[src[i + 1]], codes[src[i + 2]]);
        put(codes[src[kGroupSize - 2]], codes[src[kGroupSize - 1]], CodeEntry{0, 0});
    }

    uint8_t* dstNext() const { return dstNext_; }

    void finish(BitSink& sink) const {
        sink.dstNext = dstNext_;
        const auto low = static_cast<uint32_t>(_mm_cvtsi128_si32(bits_));
        sink.bitCount = _mm_cvtsi128_si32(count_);
        sink.bitBuf = sink.bitCount == 0 ? 0 : low << (32 - sink.bitCount);
    }

  private:
    void put(const CodeEntry& a, const CodeEntry& b, const CodeEntry& c) {
        const __m128i lengthA = word(a.length);
        const __m128i lengthB = word(b.length);
        const __m128i lengthC = word(c.length);
        const __m128i lengthBC = _mm_add_epi32(lengthB, lengthC);
        const __m128i lengthABC = _mm_add_epi32(lengthA, lengthBC);
        const __m128i tail = _mm_or_si128(_mm_sll_epi64(word(b.code), lengthC), word(c.code));
        const __m128i three = _mm_or_si128(_mm_sll_epi64(word(a.code), lengthBC), tail);
        bits_ = _mm_or_si128(_mm_sll_epi64(bits_, lengthABC), three);
        count_ = _mm_add_epi32(count_, lengthABC);
        storeTop(_mm_sll_epi64(bits_, _mm_sub_epi32(word(64), count_)));
        dstNext_ += static_cast<uint32_t>(_mm_cvtsi128_si32(count_)) / 8;
        count_ = _mm_and_si128(count_, word(7));
    }

    static __m128i word(uint32_t value) { return _mm_cvtsi32_si128(static_cast<int>(value)); }

    void storeTop(__m128i top) {
        const auto low = static_cast<uint32_t>(_mm_cvtsi128_si32(top));
        const auto high = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_epi64(top, 32)));
        storeBe(dstNext_, high);
        storeBe(dstNext_ + 4, low);
    }

    uint8_t* dstNext_;
    __m128i bits_;
    __m128i count_;  // in the lowest lane; one general register less to keep
};

// As many whole groups as there is room for, with enough symbols left behind them that no byte
// beyond the call's output changes; advances `selector`.
const U16* encodeWholeGroups(BitSink& sink, const EncodeLayout& state, const U16* src,
                             const U16* srcEnd, const uint8_t*& selector) {
    if (sink.bitCount >= 8) return src;  // the destination is full
    CodeEntry codes[kMaxTables][kMaxAlphabet];
    for (int32_t t = 0; t < state.tableCount; ++t) {
        for (int32_t s = 0; s < state.alphaSize; ++s)
            codes[t][s] = {state.codes[t][s], state.lengths[t][s]};
    }
    WideSink wide(sink);
    constexpr std::ptrdiff_t kLeast = kGroupSize + WideSink::kSymbolsBehind;
    while (srcEnd - src >= kLeast && sink.dstEnd - wide.dstNext() >= WideSink::kRoomForGroup) {
        wide.putGroup(codes[*selector++], src);
        src += kGroupSize;
    }
    wide.finish(sink);
    return src;
}

const U16* encodeGroups(BitSink& sink, const EncodeLayout& state, const U16* src,
                        const U16* srcEnd) {
    const uint8_t* selector = state.selectors();
    src = encodeWholeGroups(sink, state, src, srcEnd, selector);
    while (src != srcEnd) {
        const U16* groupEnd = srcEnd - src < kGroupSize ? srcEnd : src + kGroupSize;
        src = encodeCarefully(sink, state, *selector++, src, groupEnd);
        if (src != groupEnd) break;
    }
    return src;
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" ZelStatus zelsEncodeHuff_BZ2_16u8u(uint32_t* pCode, int32_t* pCodeLenBits,
                                              const uint16_t** ppSrc, int32_t* pSrcLen,
                                              uint8_t* pDst, int32_t* pDstLen,
                                              const HuffBz2EncodeState* pState) {
    if (pCode == nullptr || pCodeLenBits == nullptr || ppSrc == nullptr || pSrcLen == nullptr ||
        *ppSrc == nullptr || pDst == nullptr || pDstLen == nullptr || pState == nullptr) {
        return zelStsNullPointer;
    }
    const auto& state = stateAt<EncodeLayout>(pState);
    const int32_t size = *pSrcLen;
    if (*pDstLen < 1 || size < 0 || size > state.symbolCount) return zelStsBadSize;
    if (!validBitCount(*pCodeLenBits)) return zelStsBadSize;
    const U16* src = anyAlignment(*ppSrc);
    if (!symbolsBelow(src, size, state.alphaSize)) return zelStsBadSize;

    BitSink sink(pDst, *pDstLen, *pCode, *pCodeLenBits);
    const auto coded = static_cast<int32_t>(encodeGroups(sink, state, src, src + size) - src);
    *ppSrc += coded;
    *pSrcLen = size - coded;
    *pCode = sink.bitBuf;
    *pCodeLenBits = sink.bitCount;
    *pDstLen = static_cast<int32_t>(sink.dstNext - pDst);
    return coded == size ? zelStsOk : zelStsDstFull;
}
