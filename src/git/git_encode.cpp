// The GIT encoder: inversion intervals of block-sorted bytes, one adaptive Rice stream per value.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "core/alloc.hpp"
#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "git/exchange.hpp"
#include "git/git_state.hpp"
#include "git/interval_model.hpp"
#include "git/rice_writer.hpp"
#include "zeldc.h"

namespace zeldc::git {
namespace {

struct Limits {
    int32_t src;
    int32_t dst;
    ZelStatus status;  // of the operation that was given them
};

// Either both limits are taken or, where the first is too small to be useful, neither.
Limits raised(int32_t maxSrcLen, int32_t maxDstLen) {
    if (maxSrcLen >= kLeastSrcLimit) return {maxSrcLen, maxDstLen, zelStsOk};
    return {kLeastSrcLimit, kLeastDstLimit, zelStsDstFull};
}

constexpr uint32_t streamSpace(int32_t srcLimit) {
    return roundedDown8(srcLimit) + kStreamSlack;
}

// False when the state would be larger than a size can say.
bool stateSize(const Limits& limits, int32_t& size) {
    const uint64_t bytes =
        uint64_t{kSlots} * streamSpace(limits.src) + roundedDown8(limits.dst) + kEncoderTables;
    if (bytes > INT32_MAX) return false;
    size = static_cast<int32_t>(bytes);
    return true;
}

void resetStreams(EncodeState& state) {
    for (auto& stream : state.streams) {
        stream.bitCount = 0;
        stream.stats.reset();
    }
}

void layOut(EncodeState& state, const Limits& limits) {
    state.srcLimit = limits.src;
    state.dstLimit = limits.dst;
    const uint32_t space = streamSpace(limits.src);
    state.bitLimit = 8 * (space - kCodeRoom);
    uint32_t offset = sizeof(EncodeState);
    for (auto& stream : state.streams) {
        stream.offset = offset;
        offset += space;
    }
    resetStreams(state);
}

bool putValue(EncodeState& state, uint32_t stream, uint32_t value) {
    StreamWriter writer(state, stream);
    const bool written = writer.put(value);
    writer.save();
    return written;
}

// Turns one block into codes.
template <Ordering ordering>
class BlockEncoder {
  public:
    explicit BlockEncoder(EncodeState& state) : state_(state) {
        for (uint32_t slot = 0; slot < kSlots; ++slot) {
            valueIn_[slot] = static_cast<uint8_t>(kLastSlot - slot);
            slotOf_[kLastSlot - slot] = static_cast<uint8_t>(slot);
        }
    }

    // One occurrence of every value, so that each has a previous one when its first byte comes.
    bool prime() {
        for (uint32_t slot = kSlots; slot-- > 0;) {
            if (!occur(slot, valueIn_[slot], 1)) return false;
        }
        return true;
    }

    bool encode(const uint8_t* src, const uint8_t* srcEnd) {
        while (src != srcEnd) {
            const uint8_t value = *src;
            const uint32_t slot = slotOf_[value];
            if (model_.room() == 0) model_.settle();
            const uint32_t toExchange = occurrencesToExchange<ordering>(counts_, slot);
            const uint32_t longest =
                std::min({static_cast<uint32_t>(srcEnd - src), model_.room(), toExchange});
            uint32_t run = 1;
            while (run < longest && src[run] == value)
                ++run;
            src += run;
            if (!occur(slot, value, run)) return false;
            if (run == toExchange) exchange(slot, partnerOf<ordering>(slot));
        }
        return putValue(state_, kLastSlot, counts_[kLastSlot]);
    }

  private:
    [[gnu::always_inline]] bool occur(uint32_t slot, uint8_t value, uint32_t run) {
        counts_[slot] += run;
        const uint32_t interval = model_.restart(slot);
        model_.count(slot, run);
        return slot == kLastSlot || putRun(value, interval, run);
    }

    [[gnu::always_inline]] bool putRun(uint8_t value, uint32_t interval, uint32_t run) {
        StreamWriter stream(state_, streamOf(value));
        const bool written = stream.put(interval) && (run == 1 || stream.putZeros(run - 1));
        stream.save();
        return written;
    }

    void exchange(uint32_t slot, uint32_t partner) {
        model_.exchange(slot, partner);
        std::swap(counts_[slot], counts_[partner]);
        std::swap(valueIn_[slot], valueIn_[partner]);
        slotOf_[valueIn_[slot]] = static_cast<uint8_t>(slot);
        slotOf_[valueIn_[partner]] = static_cast<uint8_t>(partner);
    }

    EncodeState& state_;
    IntervalModel model_;
    uint32_t counts_[kSlots] = {};  // occurrences of the values that are in the slots now
    uint8_t valueIn_[kSlots];
    uint8_t slotOf_[kSlots];
};

template <Ordering ordering>
bool encodeAs(EncodeState& state, const uint8_t* src, const uint8_t* srcEnd, bool primed) {
    BlockEncoder<ordering> encoder(state);
    return (!primed || encoder.prime()) && encoder.encode(src, srcEnd);
}

bool encodeBlock(EncodeState& state, const uint8_t* src, const uint8_t* srcEnd, int32_t strategy) {
    switch (orderingOf(strategy)) {
        case Ordering::towardsFirst:
            return encodeAs<Ordering::towardsFirst>(state, src, srcEnd, true);
        case Ordering::towardsLast:
            return encodeAs<Ordering::towardsLast>(state, src, srcEnd, true);
        case Ordering::fixed:
            break;
    }
    return encodeAs<Ordering::fixed>(state, src, srcEnd, strategy != kUnprimed);
}

bool padStreams(EncodeState& state) {
    bool padded = true;
    for (uint32_t stream = 0; stream < kSlots; ++stream) {
        StreamWriter writer(state, stream);
        padded = writer.pad() && padded;
        writer.save();
    }
    return padded;
}

// Each stream's length, then its bytes; returns where the block ends.
uint8_t* deal(const EncodeState& state, uint8_t* dst) {
    for (const auto& stream : state.streams) {
        const uint32_t length = stream.bitCount / 8;
        storeBe(dst, length);
        std::memcpy(dst + kLengthBytes, reinterpret_cast<const uint8_t*>(&state) + stream.offset,
                    length);
        dst += kLengthBytes + length;
    }
    return dst;
}

uint64_t dealtSize(const EncodeState& state) {
    uint64_t size = kLengthWords;
    for (const auto& stream : state.streams)
        size += stream.bitCount / 8;
    return size;
}

}  // namespace
}  // namespace zeldc::git

using namespace zeldc;
using git::EncodeState;

extern "C" {

ZelStatus zelsEncodeGITGetSize_8u(int32_t maxSrcLen, int32_t maxDstLen, int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    if (maxSrcLen < 1 || maxDstLen < 1) return zelStsBadSize;
    const git::Limits limits = git::raised(maxSrcLen, maxDstLen);
    int32_t size = 0;
    if (!git::stateSize(limits, size)) return zelStsBadSize;
    store(pSize, size);
    return limits.status;
}

ZelStatus zelsEncodeGITInit_8u(int32_t maxSrcLen, int32_t maxDstLen, GitEncodeState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    if (maxSrcLen < 1 || maxDstLen < 1) return zelStsBadSize;
    const git::Limits limits = git::raised(maxSrcLen, maxDstLen);
    int32_t size = 0;
    if (!git::stateSize(limits, size)) return zelStsBadSize;
    git::layOut(stateAt<EncodeState>(pState), limits);
    return limits.status;
}

ZelStatus zelsEncodeGITInitAlloc_8u(int32_t maxSrcLen, int32_t maxDstLen,
                                    GitEncodeState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    int32_t size = 0;
    const ZelStatus sized = zelsEncodeGITGetSize_8u(maxSrcLen, maxDstLen, &size);
    if (sized < zelStsOk) return sized;
    auto* state = reinterpret_cast<GitEncodeState*>(allocate(size));
    if (state == nullptr) return zelStsNoMemory;
    const ZelStatus status = zelsEncodeGITInit_8u(maxSrcLen, maxDstLen, state);
    *anyAlignment(ppState) = state;
    return status;
}

ZelStatus zelsEncodeGIT_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen,
                           int32_t strategy, GitEncodeState* pState) {
    if (pSrc == nullptr || pDst == nullptr || pState == nullptr) return zelStsNullPointer;
    auto& state = stateAt<EncodeState>(pState);
    if (srcLen < 0 || srcLen > state.srcLimit) return zelStsBadSize;
    git::resetStreams(state);
    if (!git::encodeBlock(state, pSrc, pSrc + srcLen, strategy)) return zelStsBadSize;
    ownsFlushLastFewBits(pState);
    return ownsDealBStreams(pDst, pDstLen, pState);
}

void zelsGITFree_8u(void* pState) {
    release(pState);
}

ZelStatus ownsARGM_Encode(int32_t value, int32_t stream, GitEncodeState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    if (value < 0 || stream < 0 || stream >= int32_t{git::kSlots}) return zelStsBadSize;
    auto& state = stateAt<EncodeState>(pState);
    const auto index = static_cast<uint32_t>(stream);
    if (!git::putValue(state, index, static_cast<uint32_t>(value))) return zelStsError;
    const uint32_t position = state.streams[index].bitCount / 8;
    return position >= static_cast<uint32_t>(state.srcLimit) ? zelStsError : zelStsOk;
}

ZelStatus ownsFlushLastFewBits(GitEncodeState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    return git::padStreams(stateAt<EncodeState>(pState)) ? zelStsOk : zelStsError;
}

ZelStatus ownsDealBStreams(uint8_t* pDst, int32_t* pDstLen, GitEncodeState* pState) {
    if (pDst == nullptr || pState == nullptr) return zelStsNullPointer;
    const auto& state = stateAt<EncodeState>(pState);
    if (git::dealtSize(state) > static_cast<uint32_t>(state.dstLimit)) return zelStsBadSize;
    const uint8_t* end = git::deal(state, pDst);
    if (pDstLen != nullptr) store(pDstLen, static_cast<int32_t>(end - pDst));
    return zelStsOk;
}

}  // extern "C"
