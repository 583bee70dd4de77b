// The block's symbols, group by group, up to the end-of-block symbol.
#include "blocksort/bit_words.hpp"
#include "blocksort/multi_huffman.hpp"
#include "core/state.hpp"

namespace zeldc::blocksort {
namespace {

// Bits held before every symbol, short codes too: how much a call consumes depends on it.
constexpr int32_t kHeldBits = 20;
static_assert(kHeldBits >= kDecodeLongest);

struct Code {
    int32_t symbol;
    int32_t length;  // 0: no symbol has the code that the stream holds
};

// Codes longer than the direct table. Each difference is below the number of codes of its length
// times their spacing, or below the space that is left to them, so the index stays in the list.
Code findLongCode(const DecodeTable& table, uint32_t bits) {
    const int32_t lengths = table.longLengths;
    for (int32_t k = 0; k < lengths; ++k) {
        const uint32_t limit = table.limits[k + 1];
        if (bits >= limit && limit != DecodeTable::kEverything) continue;
        const int32_t length = kDirectBits + 1 + k;
        const uint32_t nth = (bits - table.limits[k]) >> (kWordBits - length);
        return {table.longSymbols[table.starts[k] + nth], length};
    }
    return {0, 0};
}

Code findCode(const DecodeTable& table, uint32_t bits) {
    const uint16_t entry = table.direct[bits >> (kWordBits - kDirectBits)];
    if (entry == 0) return findLongCode(table, bits);
    return {entry & DecodeTable::kSymbolMask, entry >> DecodeTable::kLengthShift};
}

struct Decoder {
    BitSource source;
    U16* dstNext;
    U16* dstEnd;
    int32_t group;
    int32_t inGroup;
    ZelStatus status = zelStsOk;

    // Symbols of the current group until it ends (true) or the call does (false, with `status`).
    bool decodeCarefully(const DecodeTable& table, int32_t endOfBlock) {
        while (inGroup < kGroupSize) {
            if (!source.hold(kHeldBits)) return stop(zelStsSrcExhausted);
            const Code code = findCode(table, source.bitBuf);
            if (code.length == 0) return stop(zelStsBadData);
            source.skip(code.length);
            *dstNext++ = static_cast<uint16_t>(code.symbol);
            ++inGroup;
            if (code.symbol == endOfBlock) return stop(zelStsOk);
            if (dstNext == dstEnd) {
                return stop(source.srcNext == source.srcEnd ? zelStsSrcExhausted : zelStsDstFull);
            }
        }
        return true;
    }

    bool stop(ZelStatus reason) {
        status = reason;
        return false;
    }
};

void decode(Decoder& decoder, const DecodeLayout& state) {
    const int32_t endOfBlock = state.alphaSize - 1;
    for (;; ++decoder.group, decoder.inGroup = 0) {
        if (decoder.group >= state.usableSelectors) {
            decoder.stop(zelStsBadData);
            return;
        }
        const DecodeTable& table = state.tables[state.selectors()[decoder.group]];
        if (!decoder.decodeCarefully(table, endOfBlock)) return;
    }
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" ZelStatus zelsDecodeHuff_BZ2_8u16u(uint32_t* pCode, int32_t* pCodeLenBits,
                                              const uint8_t** ppSrc, int32_t* pSrcLen,
                                              uint16_t* pDst, int32_t* pDstLen,
                                              HuffBz2DecodeState* pState) {
    if (pCode == nullptr || pCodeLenBits == nullptr || ppSrc == nullptr || pSrcLen == nullptr ||
        *ppSrc == nullptr || pDst == nullptr || pDstLen == nullptr || pState == nullptr) {
        return zelStsNullPointer;
    }
    if (*pDstLen < 1 || *pSrcLen < 0 || !validBitCount(*pCodeLenBits)) return zelStsBadSize;

    auto& state = stateAt<DecodeLayout>(pState);
    U16* dst = anyAlignment(pDst);
    Decoder decoder{BitSource(*ppSrc, *pSrcLen, *pCode, *pCodeLenBits), dst, dst + *pDstLen,
                    state.group, state.inGroup};
    decode(decoder, state);
    const bool endOfBlock = decoder.status == zelStsOk;
    state.group = endOfBlock ? 0 : int32_t{decoder.group};
    state.inGroup = endOfBlock ? 0 : int32_t{decoder.inGroup};
    *pSrcLen = static_cast<int32_t>(decoder.source.srcEnd - decoder.source.srcNext);
    *ppSrc = decoder.source.srcNext;
    *pCode = decoder.source.bitBuf;
    *pCodeLenBits = decoder.source.bitCount;
    *pDstLen = static_cast<int32_t>(decoder.dstNext - dst);
    return decoder.status;
}
