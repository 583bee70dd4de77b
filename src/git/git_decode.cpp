// The GIT decoder: replays the slots of the encoder, always emitting the value that is due.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "core/alloc.hpp"
#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "git/due_slots.hpp"
#include "git/exchange.hpp"
#include "git/git_state.hpp"
#include "git/rice_reader.hpp"
#include "zeldc.h"

namespace zeldc::git {
namespace {

// False when the state would be larger than a size can say.
bool stateSize(int32_t dstLimit, int32_t& size) {
    const uint64_t bytes = streamArea(dstLimit) + kDecoderTables;
    if (bytes > INT32_MAX) return false;
    size = static_cast<int32_t>(bytes);
    return true;
}

// What a state of `size` bytes has for a copy of a coded block.
uint32_t blockSpaceIn(int32_t size) {
    return static_cast<uint32_t>(size) - static_cast<uint32_t>(offsetof(DecodeState, block));
}

// Positions are 32 bits wide; bits beyond are out of any encoder's reach.
uint32_t bitsOf(uint32_t length) {
    constexpr uint32_t kMost = 0xFFFFFF00;
    return length > kMost / 8 ? kMost : length * 8;
}

// Finds the streams of a coded block and returns its size, or 0 when the streams are longer than a
// state for dstLimit has room for.
uint32_t openStreams(DecodeState& state, const uint8_t* block) {
    // Below 2^31, so that no address within the block wraps.
    const uint64_t area = std::min<uint64_t>(streamArea(state.dstLimit), INT32_MAX - kLengthWords);
    uint32_t offset = 0;
    uint64_t total = 0;
    for (auto& stream : state.streams) {
        const uint32_t length = loadBe<uint32_t>(block + offset);
        total += length;
        if (total > area) return 0;
        stream.offset = offset + kLengthBytes;
        stream.bitPosition = 0;
        stream.bitEnd = bitsOf(length);
        stream.stats.reset();
        offset += kLengthBytes + length;
    }
    return offset;
}

bool overlap(const uint8_t* a, size_t aSize, const uint8_t* b, size_t bSize) {
    const auto aStart = reinterpret_cast<uintptr_t>(a);
    const auto bStart = reinterpret_cast<uintptr_t>(b);
    return aStart < bStart ? bStart - aStart < aSize : aStart - bStart < bSize;
}

class BlockDecoder {
  public:
    BlockDecoder(const uint8_t* block, DecodeStream* streams) : block_(block), streams_(streams) {
        uint32_t remaining[kSlots];
        for (uint32_t slot = 0; slot < kLastSlot; ++slot) {
            streamIn_[slot] = static_cast<uint8_t>(slot);
            StreamReader reader(block_, streams_[slot]);
            remaining[slot] = reader.read();
            streams_[slot].interval = remaining[slot] == kExhausted ? kExhausted : reader.read();
            reader.save();
        }
        // The last slot's value counts down instead: it is due whenever nothing else is.
        streamIn_[kLastSlot] = kLastSlot;
        const uint32_t zeros = readIntervalCarefully(block_, streams_[kLastSlot]);
        zerosLeft_ = zeros == kExhausted ? 0 : zeros;
        remaining[kLastSlot] = zerosLeft_ == 0 ? kExhausted : 0;
        due_.spread(remaining);
    }

    // Emits until no slot is live or `room` bytes are written; returns how many were.
    template <Ordering ordering>
    uint32_t decode(uint8_t* dst, uint32_t room) {
        uint32_t left = room;
        while (left != 0) {
            if (due_.left() == 0) renew();
            DueSlots::Due due;
            if (!due_.find(due)) [[unlikely]] {
                if (!occurFar<ordering>(dst)) break;
                ++dst;
                --left;
                continue;
            }
            const uint32_t toExchange = occurrencesToExchange<ordering>(counts_, due.slot);
            const uint32_t longest = std::min({left, due_.left(), due.gap, toExchange});
            uint32_t remaining = 0;
            const uint32_t run = emit(due.slot, dst, longest, remaining);
            dst += run;
            left -= run;
            counts_[due.slot] += run;
            due_.occur(due, run, remaining);
            if (run == toExchange) exchange(due.slot, partnerOf<ordering>(due.slot));
        }
        return room - left;
    }

    bool finished() const { return !due_.anyLive(); }

  private:
    // Up to `longest` occurrences of the value in `slot`, while it needs to wait for no other;
    // `remaining` is what it waits for then.
    [[gnu::always_inline]] uint32_t emit(uint32_t slot, uint8_t* dst, uint32_t longest,
                                         uint32_t& remaining) {
        if (slot == kLastSlot) return emitZeros(dst, longest, remaining);
        const uint8_t index = streamIn_[slot];
        DecodeStream& stream = streams_[index];
        const auto value = static_cast<uint8_t>(kLastSlot - index);
        StreamReader reader(block_, stream);
        uint32_t ahead = stream.interval;
        uint32_t run = 0;
        do {
            dst[run++] = value;
            remaining = ahead;
            ahead = reader.read();
        } while (remaining == 0 && run < longest);
        stream.interval = ahead;
        reader.save();
        return run;
    }

    uint32_t emitZeros(uint8_t* dst, uint32_t longest, uint32_t& remaining) {
        const uint32_t run = std::min(longest, zerosLeft_);
        std::memset(dst, 0, run);
        zerosLeft_ -= run;
        remaining = zerosLeft_ == 0 ? kExhausted : 0;
        return run;
    }

    void exchange(uint32_t slot, uint32_t partner) {
        due_.exchange(slot, partner);
        std::swap(counts_[slot], counts_[partner]);
        std::swap(streamIn_[slot], streamIn_[partner]);
    }

    void renew() {
        uint32_t remaining[kSlots];
        due_.collect(remaining);
        due_.spread(remaining);
    }

    // One occurrence where no slot is at zero: after the last byte of a block, when none is live
    // either, and in damaged blocks.
    template <Ordering ordering>
    [[gnu::noinline]] bool occurFar(uint8_t* dst) {
        uint32_t remaining[kSlots];
        due_.collect(remaining);
        const uint32_t* least = std::min_element(remaining, remaining + kSlots);
        if (*least == kExhausted) return false;
        const auto slot = static_cast<uint32_t>(least - remaining);
        for (uint32_t below = 0; below < slot; ++below) {
            if (remaining[below] != kExhausted) --remaining[below];
        }
        const uint32_t toExchange = occurrencesToExchange<ordering>(counts_, slot);
        emit(slot, dst, 1, remaining[slot]);
        due_.spread(remaining);
        ++counts_[slot];
        if (toExchange == 1) exchange(slot, partnerOf<ordering>(slot));
        return true;
    }

    const uint8_t* block_;
    DecodeStream* streams_;
    DueSlots due_;
    uint32_t zerosLeft_;
    uint32_t counts_[kSlots] = {};  // occurrences of the values that are in the slots now
    uint8_t streamIn_[kSlots];      // by slot: the stream of the value that is in it
};

uint32_t decodeOrdered(BlockDecoder& decoder, Ordering ordering, uint8_t* dst, uint32_t room) {
    switch (ordering) {
        case Ordering::towardsFirst:
            return decoder.decode<Ordering::towardsFirst>(dst, room);
        case Ordering::towardsLast:
            return decoder.decode<Ordering::towardsLast>(dst, room);
        case Ordering::fixed:
            break;
    }
    return decoder.decode<Ordering::fixed>(dst, room);
}

// False when the block holds more than `room` bytes, all of which are then written.
bool decodeBlock(DecodeState& state, const uint8_t* block, int32_t strategy, uint8_t* dst,
                 uint32_t room, uint32_t& written) {
    BlockDecoder decoder(block, state.streams);
    written = 0;
    if (strategy != kUnprimed) {
        uint8_t priming[kSlots];
        decoder.decode<Ordering::fixed>(priming, kSlots);
    }
    written = decodeOrdered(decoder, orderingOf(strategy), dst, room);
    return decoder.finished();
}

}  // namespace
}  // namespace zeldc::git

using namespace zeldc;
using git::DecodeState;

extern "C" {

ZelStatus zelsDecodeGITGetSize_8u(int32_t maxDstLen, int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    if (maxDstLen < 1) return zelStsBadSize;
    int32_t size = 0;
    if (!git::stateSize(maxDstLen, size)) return zelStsBadSize;
    store(pSize, size);
    return zelStsOk;
}

ZelStatus zelsDecodeGITInit_8u(int32_t maxDstLen, GitDecodeState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    if (maxDstLen < 1) return zelStsBadSize;
    auto& state = stateAt<DecodeState>(pState);
    int32_t size = INT32_MAX;
    git::stateSize(maxDstLen, size);
    state.dstLimit = maxDstLen;
    state.blockSpace = git::blockSpaceIn(size);
    return zelStsOk;
}

ZelStatus zelsDecodeGITInitAlloc_8u(int32_t sizeLen, int32_t maxDstLen, GitDecodeState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    if (sizeLen < 1 || maxDstLen < 1) return zelStsBadSize;
    int32_t size = 0;
    if (!git::stateSize(sizeLen, size)) return zelStsBadSize;
    auto* state = reinterpret_cast<GitDecodeState*>(allocate(size));
    *anyAlignment(ppState) = state;
    const ZelStatus status = zelsDecodeGITInit_8u(maxDstLen, state);
    if (state != nullptr) stateAt<DecodeState>(state).blockSpace = git::blockSpaceIn(size);
    return status;
}

ZelStatus zelsDecodeGIT_8u(const uint8_t* pSrc, const int32_t* pSrcLen, uint8_t* pDst,
                           int32_t* pDstLen, int32_t strategy, GitDecodeState* pState) {
    static_cast<void>(pSrcLen);  // the lengths inside the block rule
    if (pDst == nullptr || pSrc == nullptr || pState == nullptr) return zelStsNullPointer;
    auto& state = stateAt<DecodeState>(pState);
    const uint32_t blockSize = git::openStreams(state, pSrc);
    if (blockSize == 0) return zelStsBadSize;
    const auto room = static_cast<uint32_t>(state.dstLimit);
    const uint8_t* block = pSrc;
    if (git::overlap(pSrc, blockSize, pDst, room)) {
        if (blockSize > state.blockSpace) return zelStsBadSize;
        std::memcpy(state.block, pSrc, blockSize);
        block = state.block;
    }
    uint32_t written = 0;
    if (!git::decodeBlock(state, block, strategy, pDst, room, written)) return zelStsBadSize;
    if (pDstLen != nullptr) store(pDstLen, static_cast<int32_t>(written));
    return zelStsOk;
}

}  // extern "C"
