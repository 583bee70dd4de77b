// Move-to-front: the exported operations, and which kernel serves which data.
#include "mtf_rle/mtf.hpp"

#include <algorithm>
#include <cstring>

#include "core/alloc.hpp"
#include "core/dispatch.hpp"
#include "core/state.hpp"
#include "mtf_rle/mtf_kernels.hpp"
#include "zeldc.h"

namespace zeldc::mtf_rle {

void mtfInit(MtfTable& table) {
    for (size_t i = 0; i < kMtfEntries; ++i)
        table.entries[i] = static_cast<uint8_t>(i);
}

namespace {

// The unit in which the kernel is chosen by the data: large against the change from list to ranks
// (about 100 symbols' time). Even, since the kernels by ranks take pairs.
constexpr size_t kChunk = 1024;
// Below this many symbols the change costs more than it gains.
constexpr size_t kShort = 128;

// Turns ranks into the list that they tell of. False if they are no permutation, which only a
// caller's own table can be.
bool listOfRanks(const WorkingTable& ranks, WorkingTable& list) {
    std::memset(list.entries, 0, kMtfEntries);
    for (size_t symbol = 0; symbol < kMtfEntries; ++symbol)
        list.entries[ranks.entries[symbol]] = static_cast<uint8_t>(symbol);
    for (size_t rank = 0; rank < kMtfEntries; ++rank) {
        if (ranks.entries[list.entries[rank]] != rank) return false;
    }
    return true;
}

void ranksOfList(const WorkingTable& list, WorkingTable& ranks) {
    for (size_t rank = 0; rank < kMtfEntries; ++rank)
        ranks.entries[list.entries[rank]] = static_cast<uint8_t>(rank);
}

// Chunk by chunk by list or by ranks, as the chunk before suggests: by ranks if more than
// `farLimit` of its symbols stood far from the front. On a Zen 4, a symbol near the front
// takes 1 to 3 ns by list and one far from it about 20, any symbol by ranks 4.4 (AVX2) or 10
// (SSE2).
template <MtfKernel byRanks, size_t farLimit>
void forwardByData(const uint8_t* src, uint8_t* dst, size_t size, MtfTable& table) {
    WorkingTable ranks;
    WorkingTable list;
    std::memcpy(ranks.entries, table.entries, kMtfEntries);
    const bool mayChoose = size >= kShort && listOfRanks(ranks, list);
    bool near = mayChoose;
    while (size != 0) {
        const size_t chunk = std::min(size, kChunk);
        if (near)
            forwardByList(src, dst, chunk, list);
        else
            byRanks(src, dst, chunk, ranks);
        const bool wasNear = near;
        near = mayChoose && countFar(dst, chunk) <= farLimit;
        if (wasNear && !near) ranksOfList(list, ranks);
        if (near && !wasNear) listOfRanks(ranks, list);
        src += chunk;
        dst += chunk;
        size -= chunk;
    }
    if (near) ranksOfList(list, ranks);
    std::memcpy(table.entries, ranks.entries, kMtfEntries);
}

template <MtfKernel kernel>
void inverseBy(const uint8_t* src, uint8_t* dst, size_t size, MtfTable& table) {
    WorkingTable list;
    std::memcpy(list.entries, table.entries, kMtfEntries);
    kernel(src, dst, size, list);
    std::memcpy(table.entries, list.entries, kMtfEntries);
}

void inverseByData(const uint8_t* src, uint8_t* dst, size_t size, WorkingTable& list) {
    while (size != 0) {
        const size_t chunk = std::min(size, kChunk);
        const bool near = countFar(src, chunk) <= chunk / 4;
        (near ? inverseSsse3 : inverseFlatAvx2)(src, dst, chunk, list);
        src += chunk;
        dst += chunk;
        size -= chunk;
    }
}

}  // namespace

extern "C" ZELDC_NO_SANITIZE MtfTransform* zeldcResolveMtfForward() {
    return cpu::features().avx2 ? forwardByData<forwardByRanksAvx2, kChunk / 5>
                                : forwardByData<forwardByRanksSse2, kChunk / 2>;
}
ZELDC_DISPATCHED(MtfTransform, zeldcMtfForward, zeldcResolveMtfForward);

extern "C" ZELDC_NO_SANITIZE MtfTransform* zeldcResolveMtfInverse() {
    if (cpu::features().avx2) return inverseBy<inverseByData>;
    return cpu::features().ssse3 ? inverseBy<inverseSsse3> : inverseBy<inverseSse2>;
}
ZELDC_DISPATCHED(MtfTransform, zeldcMtfInverse, zeldcResolveMtfInverse);

void mtfForward(const uint8_t* src, uint8_t* dst, size_t size, MtfTable& ranks) {
    zeldcMtfForward(src, dst, size, ranks);
}

void mtfInverse(const uint8_t* src, uint8_t* dst, size_t size, MtfTable& list) {
    zeldcMtfInverse(src, dst, size, list);
}

namespace {

template <MtfTransform transform>
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
