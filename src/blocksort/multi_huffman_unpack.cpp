// The decoder's state, and the reader of the table description, which can stop and go on between
// any two bytes.
#include <bit>
#include <cstring>

#include "blocksort/bit_words.hpp"
#include "blocksort/multi_huffman.hpp"
#include "core/alloc.hpp"
#include "core/state.hpp"
#include "mtf_rle/mtf.hpp"

namespace zeldc::blocksort {
namespace {

// Bits that must be held before each item is looked at: the longest item, but for the length steps,
// where even a final single zero waits for a second bit.
constexpr int32_t kHeaderBits = 18;
constexpr int32_t kSelectorBits = 6;
constexpr int32_t kFirstLengthBits = 5;
constexpr int32_t kStepBits = 2;

void setPhase(DecodeLayout& state, UnpackPhase phase) {
    state.phase = static_cast<uint32_t>(phase);
    state.itemsDone = 0;
    state.symbolsDone = 0;
    state.runningLength = 0;
}

void restart(DecodeLayout& state) {
    setPhase(state, UnpackPhase::header);
    state.group = 0;
    state.inGroup = 0;
    state.usableSelectors = 0;
}

bool validLength(int32_t length) {
    return length >= 1 && length <= kDecodeLongest;
}

// Each reader returns zelStsOk when its phase is complete.

ZelStatus readHeader(BitSource& source, DecodeLayout& state) {
    if (!source.hold(kHeaderBits)) return zelStsSrcExhausted;
    restart(state);
    state.tableCount = static_cast<int32_t>(source.take(3));
    state.selectorCount = static_cast<int32_t>(source.take(15));
    if (state.tableCount < kMinTables || state.tableCount > kMaxTables) return zelStsBz2BadContext;
    if (state.selectorCount < 1 || state.selectorCount > state.selectorCapacity) {
        return zelStsBz2BadContext;
    }
    return zelStsOk;
}

// The selectors are stored as ranks, and turned once all are there.
ZelStatus readSelectors(BitSource& source, DecodeLayout& state) {
    uint8_t* selectors = state.selectors();
    const int32_t count = state.selectorCount;
    const int32_t tableCount = state.tableCount;
    int32_t done = state.itemsDone;
    ZelStatus status = zelStsOk;
    for (; done < count; ++done) {
        if (!source.hold(kSelectorBits)) {
            status = zelStsSrcExhausted;
            break;
        }
        const int32_t rank = std::countl_one(source.bitBuf);
        if (rank >= tableCount) {
            status = zelStsBz2BadContext;
            break;
        }
        source.skip(rank + 1);
        selectors[done] = static_cast<uint8_t>(rank);
    }
    state.itemsDone = done;
    if (status != zelStsOk) return status;

    mtf_rle::MtfTable list;
    mtf_rle::mtfInit(list);
    mtf_rle::mtfInverse(selectors, selectors, static_cast<size_t>(count), list);
    return zelStsOk;
}

ZelStatus readTableLengths(BitSource& source, DecodeLayout& state) {
    int32_t running = state.runningLength;
    int32_t symbol = state.symbolsDone;
    const int32_t alphaSize = state.alphaSize;
    ZelStatus status = zelStsOk;
    if (running == 0) {
        if (!source.hold(kFirstLengthBits)) return zelStsSrcExhausted;
        running = static_cast<int32_t>(source.take(kFirstLengthBits));
        if (!validLength(running)) return zelStsBz2BadContext;
    }
    while (symbol < alphaSize) {
        if (!source.hold(kStepBits)) {
            status = zelStsSrcExhausted;
            break;
        }
        if (source.peek(1) == 0) {
            source.skip(1);
            state.lengths[symbol++] = static_cast<uint8_t>(running);
            continue;
        }
        running += source.take(kStepBits) == 0b10 ? 1 : -1;
        if (!validLength(running)) return zelStsBz2BadContext;
    }
    state.runningLength = running;
    state.symbolsDone = symbol;
    return status;
}

ZelStatus readLengths(BitSource& source, DecodeLayout& state) {
    while (state.itemsDone < state.tableCount) {
        const ZelStatus status = readTableLengths(source, state);
        if (status != zelStsOk) return status;
        buildDecodeTable(state.tables[state.itemsDone], state.lengths, state.alphaSize);
        ++state.itemsDone;
        state.symbolsDone = 0;
        state.runningLength = 0;
    }
    return zelStsOk;
}

// A description that proves invalid is forgotten: the next call reads a new one.
ZelStatus unpack(BitSource& source, DecodeLayout& state) {
    ZelStatus status = zelStsOk;
    if (state.phase == static_cast<uint32_t>(UnpackPhase::header)) {
        status = readHeader(source, state);
        if (status == zelStsOk) setPhase(state, UnpackPhase::selectors);
    }
    if (status == zelStsOk && state.phase == static_cast<uint32_t>(UnpackPhase::selectors)) {
        status = readSelectors(source, state);
        if (status == zelStsOk) setPhase(state, UnpackPhase::lengths);
    }
    if (status == zelStsOk) status = readLengths(source, state);
    if (status != zelStsSrcExhausted) restart(state);
    if (status == zelStsOk) state.usableSelectors = state.selectorCount;
    return status;
}

// Codes of this length fill a stretch of the table each, in order. Lengths that leave no room for
// all their codes may run past the end of the table, and stop there.
struct DirectFiller {
    U16* table;
    uint32_t position = 0;

    void add(int32_t symbol, int32_t length) {
        const uint32_t size = 1U << (kDirectBits - length);
        if (position + size > 1U << kDirectBits) return;
        const auto entry = static_cast<uint16_t>(symbol | length << DecodeTable::kLengthShift);
        for (uint32_t end = position + size; position < end; ++position)
            table[position] = entry;
    }
};

}  // namespace

void buildDecodeTable(DecodeTable& table, const uint8_t* lengths, int32_t alphaSize) {
    int32_t codesOf[kDecodeLongest + 1] = {};
    for (int32_t s = 0; s < alphaSize; ++s)
        ++codesOf[lengths[s]];

    // Symbols in order of their codes.
    int32_t next[kDecodeLongest + 2];
    next[1] = 0;
    for (int32_t length = 1; length <= kDecodeLongest; ++length)
        next[length + 1] = next[length] + codesOf[length];
    const int32_t firstLong = next[kDirectBits + 1];
    uint16_t order[kMaxAlphabet];
    for (int32_t s = 0; s < alphaSize; ++s)
        order[next[lengths[s]]++] = static_cast<uint16_t>(s);

    std::memset(table.direct, 0, sizeof table.direct);
    DirectFiller filler{table.direct};
    for (int32_t i = 0; i < firstLong; ++i)
        filler.add(order[i], lengths[order[i]]);

    // `code` is the first code that is longer than the lengths seen so far, cut to their length;
    // the space is used up when it does not fit. At most 258 << 20.
    uint32_t code = 0;
    for (int32_t length = 1; length <= kDirectBits; ++length)
        code = 2 * code + static_cast<uint32_t>(codesOf[length]);
    bool full = code >= 1U << kDirectBits;
    table.limits[0] = full ? DecodeTable::kEverything : code << (kWordBits - kDirectBits);
    int32_t k = 0;
    int32_t start = 0;
    for (; k < DecodeTable::kLongLengths && !full; ++k) {
        const int32_t length = kDirectBits + 1 + k;
        code = 2 * code + static_cast<uint32_t>(codesOf[length]);
        full = code >= 1U << length;
        table.limits[k + 1] = full ? DecodeTable::kEverything : code << (kWordBits - length);
        table.starts[k] = static_cast<uint16_t>(start);
        start += codesOf[length];
    }
    table.longLengths = k;
    for (int32_t i = firstLong; i < alphaSize; ++i)
        table.longSymbols[i - firstLong] = order[i];
}

}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" {

ZelStatus zelsDecodeHuffGetSize_BZ2_8u16u(int32_t len, int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    *pSize = groupsOf(len) + static_cast<int32_t>(sizeof(DecodeLayout));
    return zelStsOk;
}

ZelStatus zelsDecodeHuffInit_BZ2_8u16u(int32_t alphaSize, HuffBz2DecodeState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    if (alphaSize < 1 || alphaSize > kMaxAlphabet) return zelStsBadSize;
    auto& state = stateAt<DecodeLayout>(pState);
    restart(state);
    state.alphaSize = alphaSize;
    state.tableCount = 0;
    state.selectorCount = 0;
    state.selectorCapacity = kMaxSelectors;
    return zelStsOk;
}

ZelStatus zelsDecodeHuffInitAlloc_BZ2_8u16u(int32_t len, int32_t alphaSize,
                                            HuffBz2DecodeState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    int32_t size = 0;
    ZelStatus status = zelsDecodeHuffGetSize_BZ2_8u16u(len, &size);
    if (status != zelStsOk) return status;
    auto* pState = reinterpret_cast<HuffBz2DecodeState*>(allocate(size));
    if (pState == nullptr) return zelStsNoMemory;
    *ppState = pState;
    status = zelsDecodeHuffInit_BZ2_8u16u(alphaSize, pState);
    if (status != zelStsOk) return status;
    if (groupsOf(len) < kMaxSelectors) {
        stateAt<DecodeLayout>(pState).selectorCapacity = groupsOf(len);
    }
    return zelStsOk;
}

void zelsDecodeHuffFree_BZ2_8u16u(HuffBz2DecodeState* pState) {
    release(pState);
}

ZelStatus zelsUnpackHuffContext_BZ2_8u16u(uint32_t* pCode, int32_t* pCodeLenBits,
                                          const uint8_t** ppSrc, int32_t* pSrcLen,
                                          HuffBz2DecodeState* pState) {
    if (pCode == nullptr || pCodeLenBits == nullptr || ppSrc == nullptr || pSrcLen == nullptr ||
        pState == nullptr || *ppSrc == nullptr) {
        return zelStsNullPointer;
    }
    if (*pSrcLen < 1 || !validBitCount(*pCodeLenBits)) return zelStsBadSize;
    auto& state = stateAt<DecodeLayout>(pState);
    if (state.phase > static_cast<uint32_t>(UnpackPhase::lengths)) return zelStsBadData;

    BitSource source(*ppSrc, *pSrcLen, *pCode, *pCodeLenBits);
    const ZelStatus status = unpack(source, state);
    *pSrcLen = static_cast<int32_t>(source.srcEnd - source.srcNext);
    *ppSrc = source.srcNext;
    *pCode = source.bitBuf;
    *pCodeLenBits = source.bitCount;
    return status;
}

}  // extern "C"
