// Move-to-front: the exported operations and the plain kernels.
#include "mtf_rle/mtf.hpp"

#include <cstring>

#include "core/alloc.hpp"
#include "core/state.hpp"
#include "zeldc.h"

namespace zeldc::mtf_rle {

void mtfInit(MtfTable& table) {
    for (size_t i = 0; i < kMtfEntries; ++i)
        table.entries[i] = static_cast<uint8_t>(i);
}

void mtfForward(const uint8_t* src, uint8_t* dst, size_t size, MtfTable& ranks) {
    MtfTable table = ranks;
    for (const uint8_t* srcEnd = src + size; src != srcEnd; ++src, ++dst) {
        const uint8_t symbol = *src;
        const uint8_t rank = table.entries[symbol];
        for (uint8_t& entry : table.entries)
            entry = static_cast<uint8_t>(entry + (entry < rank ? 1 : 0));
        table.entries[symbol] = 0;
        *dst = rank;
    }
    ranks = table;
}

void mtfInverse(const uint8_t* src, uint8_t* dst, size_t size, MtfTable& list) {
    MtfTable table = list;
    for (const uint8_t* srcEnd = src + size; src != srcEnd; ++src, ++dst) {
        const size_t rank = *src;
        const uint8_t symbol = table.entries[rank];
        std::memmove(table.entries + 1, table.entries, rank);
        table.entries[0] = symbol;
        *dst = symbol;
    }
    list = table;
}

namespace {

using Transform = void(const uint8_t*, uint8_t*, size_t, MtfTable&);

template <Transform transform>
ZelStatus checkedTransform(const uint8_t* pSrc, uint8_t* pDst, int32_t len, MtfState* pState) {
    if (pSrc == nullptr || pDst == nullptr || pState == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    transform(pSrc, pDst, static_cast<size_t>(len), stateAt<MtfTable>(pState));
    return zelStsOk;
}

}  // namespace
}  // namespace zeldc::mtf_rle

using namespace zeldc;
using namespace zeldc::mtf_rle;

extern "C" ZelStatus zelsMTFGetSize_8u(int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    *anyAlignment(pSize) = int32_t{sizeof(MtfTable)};
    return zelStsOk;
}

extern "C" ZelStatus zelsMTFInit_8u(MtfState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    mtfInit(stateAt<MtfTable>(pState));
    return zelStsOk;
}

// Unlike the common InitAlloc, a failed one stores its null.
extern "C" ZelStatus zelsMTFInitAlloc_8u(MtfState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    auto* state = reinterpret_cast<MtfState*>(allocate(sizeof(MtfTable)));
    *anyAlignment(ppState) = state;
    return state == nullptr ? zelStsNoMemory : zelsMTFInit_8u(state);
}

extern "C" void zelsMTFFree_8u(MtfState* pState) {
    zelsFree(pState);
}

extern "C" ZelStatus zelsMTFFwd_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len,
                                   MtfState* pState) {
    return checkedTransform<mtfForward>(pSrc, pDst, len, pState);
}

extern "C" ZelStatus zelsMTFInv_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len,
                                   MtfState* pState) {
    return checkedTransform<mtfInverse>(pSrc, pDst, len, pState);
}
