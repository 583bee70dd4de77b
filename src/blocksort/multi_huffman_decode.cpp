// The block's symbols, group by group, up to the end-of-block symbol.
#include "blocksort/bit_words.hpp"
#include "blocksort/multi_huffman.hpp"
#include "blocksort/multi_huffman_burst.hpp"
#include "blocksort/multi_huffman_lookup.hpp"
#include "core/state.hpp"

namespace zeldc::blocksort {
namespace {

// Bits held before every symbol, short codes too: how much a call consumes depends on it.
constexpr int32_t kHeldBits = 20;
static_assert(kHeldBits >= kDecodeLongest);

struct Decoder {
    BitSource source;
    U16* dstNext;
    U16* dstEnd;
    int32_t group;
    int32_t inGroup;
    ZelStatus status = zelStsOk;

    // Symbols of the current group until it ends (true) or the call does (false, with `status`).
    bool decodeCarefully(const DecodeTable& table, uint32_t endOfBlock) {
        while (inGroup < kGroupSize) {
            if (!source.hold(kHeldBits)) return stop(zelStsSrcExhausted);
            const Code code = findCode(table, source.bitBuf);
            if (code.length == 0) return stop(zelStsBadData);
            source.skip(static_cast<int32_t>(code.length));
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

// Decodes symbols up to groupEnd, where the group ends. The end of the block and bits that are no
// code stop it before: these are left to the careful decoder. Returns where it stopped.
U16* decodeBurst(WordSource& wordSource, const BurstTable& bursts, const DecodeTable& codes,
                 uint32_t endOfBlock, U16* dst, U16* groupEnd) {
    constexpr auto kSymbols = static_cast<std::ptrdiff_t>(kBurstSymbols);
    constexpr uint32_t kStepsPerRefill = WordSource::kAfterRefill / kBurstBits;
    WordSource source = wordSource;
    while (dst != groupEnd) {
        source.refill();
        bool burst = groupEnd - dst >= kSymbols;
        for (uint32_t i = 0; i < kStepsPerRefill && burst; ++i) {
            const BurstEntry entry = bursts[source.peek(kBurstBits)];
            store(dst, entry.bits);
            dst += entry.symbols();
            source.skip(entry.codeBits());
            burst = entry.symbols() != 0 && groupEnd - dst >= kSymbols;
        }
        if (burst || dst == groupEnd) continue;
        source.refill();
        const Code code = findCode(codes, source.peek(kWordBits));
        if (code.length == 0 || code.symbol == endOfBlock) break;
        source.skip(code.length);
        *dst++ = static_cast<uint16_t>(code.symbol);
    }
    wordSource = source;
    return dst;
}

// Making the tables takes about as long as they save on 8,000 symbols.
constexpr int32_t kBurstWorthSymbols = 10000;
constexpr int32_t kBurstWorthBytes = 8192;

bool burstsPay(const Decoder& decoder, const DecodeLayout& state) {
    return WordSource::suits(decoder.source) &&
           decoder.source.srcEnd - decoder.source.srcNext >= kBurstWorthBytes &&
           decoder.dstEnd - decoder.dstNext >= kBurstWorthSymbols &&
           state.usableSelectors - decoder.group >= kBurstWorthSymbols / kGroupSize;
}

// Whole groups as long as source and destination have room for any group, but for the last one
// that has a selector: so the careful decoder always takes at least one more symbol, and with it
// the bytes that the byte-wise rule would have taken.
void decodeBursts(Decoder& decoder, const DecodeLayout& state) {
    if (!burstsPay(decoder, state)) return;
    const uint32_t endOfBlock = static_cast<uint32_t>(state.alphaSize - 1);
    BurstTable bursts[kMaxTables];
    for (int32_t t = 0; t < state.tableCount; ++t)
        fillBurstTable(bursts[t], state.tables[t], endOfBlock);

    WordSource source(decoder.source);
    const int32_t lastGroup = state.usableSelectors - 1;
    const uint8_t* selectors = state.selectors();
    while (decoder.group < lastGroup && decoder.source.srcEnd - source.srcNext() >= kBurstSource &&
           decoder.dstEnd - decoder.dstNext >= kBurstRoom) {
        const uint8_t table = selectors[decoder.group];
        U16* groupEnd = decoder.dstNext + kGroupSize - decoder.inGroup;
        decoder.dstNext = decodeBurst(source, bursts[table], state.tables[table], endOfBlock,
                                      decoder.dstNext, groupEnd);
        decoder.inGroup = kGroupSize - static_cast<int32_t>(groupEnd - decoder.dstNext);
        if (decoder.inGroup < kGroupSize) break;
        ++decoder.group;
        decoder.inGroup = 0;
    }
    source.finish(decoder.source);
}

void decode(Decoder& decoder, const DecodeLayout& state) {
    const uint32_t endOfBlock = static_cast<uint32_t>(state.alphaSize - 1);
    decodeBursts(decoder, state);
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
