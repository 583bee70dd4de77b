// Decodes whole deflate streams through the library in every way that callers may, cutting source,
// destination and pairs into pieces that end at unreadable pages.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "support/split_driver.hpp"
#include "zeldc.h"

namespace support {

enum class Way {
    onePass,      // GetBlockType, then straight to bytes
    twoStage,     // GetBlockType, then pairs and the expander; stored blocks to bytes
    alternating,  // one block this way, one that way
    trial,        // to pairs, without GetBlockType: the first decoder that takes the header
};

struct Cuts {
    PieceSize src = pieces(SIZE_MAX);
    PieceSize dst = pieces(1 << 17);
    PieceSize pairs = pieces(5000);
};

// Room for pieces of any size in front of one unreadable page: mapping pages anew for each of
// thousands of small pieces would take most of the tests' time.
class PieceBuffer {
  public:
    uint8_t* place(size_t size) {
        if (!buffer_ || size > buffer_->size())
            buffer_ = std::make_unique<GuardedBuffer>(std::max<size_t>(size, 1 << 16));
        return buffer_->end() - size;
    }
    uint8_t* place(const void* content, size_t size) {
        uint8_t* piece = place(size);
        if (size != 0) std::memcpy(piece, content, size);
        return piece;
    }

  private:
    std::unique_ptr<GuardedBuffer> buffer_;
};

class Inflater {
  public:
    explicit Inflater(Lz77DecodeState* state) : state_(state) {}

    // Decodes from `src` until the stream ends, an error, or a source that runs out for good.
    ZelStatus run(const Bytes& src, Way way, const Cuts& cuts) {
        src_ = &src;
        way_ = way;
        cuts_ = &cuts;
        position_ = 0;
        for (int idle = 0; idle < 200;) {
            const size_t before = out.size() + position_ + waiting_.size();
            const ZelStatus status = step();
            if (status < 0 || status == zelStsStreamEnd) {
                flushPairs();
                return status;
            }
            if (afterStep) afterStep(*this);
            const bool moved = out.size() + position_ + waiting_.size() != before;
            idle = moved ? 0 : idle + 1;
            if (!moved && status == zelStsSrcExhausted && position_ == src.size()) {
                flushPairs();
                return status;
            }
        }
        ADD_FAILURE() << "the decoder stands still";
        return zelStsError;
    }

    void setState(Lz77DecodeState* state) { state_ = state; }
    Lz77DecodeState* state() const { return state_; }
    size_t consumed() const { return position_; }

    Bytes out;
    std::function<void(Inflater&)> afterStep;

  private:
    using Coder = std::function<ZelStatus(const uint8_t**, int32_t*)>;

    // One call with the next piece of the source. At the end of a stream the pointer may go back
    // before the piece.
    ZelStatus withSource(const Coder& coder) {
        const size_t size = std::min(cuts_->src(), src_->size() - position_);
        const uint8_t* const piece = srcBuffer_.place(src_->data() + position_, size);
        const uint8_t* next = piece;
        auto left = static_cast<int32_t>(size);
        const ZelStatus status = coder(&next, &left);
        const std::ptrdiff_t taken = next - piece;
        EXPECT_EQ(taken + left, static_cast<std::ptrdiff_t>(size));
        if (taken < 0) {
            EXPECT_EQ(status, zelStsStreamEnd);
        }
        position_ = static_cast<size_t>(static_cast<std::ptrdiff_t>(position_) + taken);
        return status;
    }

    template <class Operation>
    ZelStatus toBytes(Operation operation) {
        return withSource([&](const uint8_t** ppSrc, int32_t* pSrcLen) {
            const size_t room = std::max<size_t>(cuts_->dst(), 1);
            uint8_t* const dst = dstBuffer_.place(room);
            uint8_t* next = dst;
            auto left = static_cast<int32_t>(room);
            const ZelStatus status = operation(ppSrc, pSrcLen, &next, &left);
            EXPECT_EQ(next + left, dst + room);
            out.insert(out.end(), dst, next);
            return status;
        });
    }

    template <class Operation>
    ZelStatus toPairs(Operation operation) {
        return withSource([&](const uint8_t** ppSrc, int32_t* pSrcLen) {
            const size_t slots = std::max<size_t>(cuts_->pairs(), 1);
            auto* const pairs =
                reinterpret_cast<Lz77Pair*>(pairBuffer_.place(slots * sizeof(Lz77Pair)));
            Lz77Pair* next = pairs;
            auto left = static_cast<int32_t>(slots);
            const ZelStatus status = operation(ppSrc, pSrcLen, &next, &left);
            EXPECT_EQ(next + left, pairs + slots);
            waiting_.insert(waiting_.end(), pairs, next);
            if (status != zelStsStreamEnd) expandAllButLast();
            return status;
        });
    }

    // Into pieces as small as they come; the last pair waits for one with room for any match.
    void expandAllButLast() {
        while (waiting_.size() > 1)
            expand(waiting_.size() - 1, std::max<size_t>(cuts_->dst(), 1));
    }
    // All that wait, in one go once they are few: after the end of the stream, a call that uses up
    // its pairs does not keep their bytes as history.
    void flushPairs() {
        while (waiting_.size() > 300)
            expand(waiting_.size(), 1 + cuts_->dst() % 300);
        if (!waiting_.empty()) expand(waiting_.size(), (waiting_.size() + 1) * 258);
        EXPECT_TRUE(waiting_.empty());
    }

    void expand(size_t count, size_t room) {
        const auto* const first = reinterpret_cast<const Lz77Pair*>(
            pairBuffer_.place(waiting_.data(), count * sizeof(Lz77Pair)));
        const Lz77Pair* next = first;
        auto left = static_cast<int32_t>(count);
        uint8_t* const dst = dstBuffer_.place(room);
        uint8_t* dstNext = dst;
        auto dstLeft = static_cast<int32_t>(room);
        const ZelStatus status =
            zelsDecodeLZ77_8u(&next, &left, &dstNext, &dstLeft, Lz77FlushNone, state_);
        EXPECT_EQ(dstNext + dstLeft, dst + room);
        EXPECT_EQ(next + left, first + count);
        EXPECT_TRUE(status == zelStsDstFull || left == 0);
        EXPECT_TRUE(status == zelStsDstFull || status == zelStsOk || status == zelStsStreamEnd);
        out.insert(out.end(), dst, dstNext);
        waiting_.erase(waiting_.begin(), waiting_.begin() + (next - first));
    }

    ZelStatus step() {
        if (way_ == Way::trial) return tryDecoders();
        if (!inBlock_) {
            const ZelStatus status = withSource([&](const uint8_t** ppSrc, int32_t* pSrcLen) {
                return zelsDecodeLZ77GetBlockType_8u(ppSrc, pSrcLen, &type_, state_);
            });
            if (status != zelStsOk) return status;
            inBlock_ = true;
            bytesNow_ = way_ == Way::onePass || (way_ == Way::alternating && ++blocks_ % 2 == 0);
        }
        const ZelStatus status = decode();
        if (status == zelStsOk) inBlock_ = false;
        return status;
    }

    ZelStatus decode() {
        if (type_ == Lz77BlockStored) flushPairs();
        return type_ == Lz77BlockStored ? stored() : bytesNow_ ? full() : pairs();
    }

    ZelStatus stored() {
        return toBytes([&](auto... args) { return zelsDecodeLZ77StoredBlock_8u(args..., state_); });
    }
    ZelStatus full() {
        flushPairs();
        auto* operation = type_ == Lz77BlockFixed ? zelsDecodeLZ77FixedHuffFull_8u
                                                  : zelsDecodeLZ77DynamicHuffFull_8u;
        return toBytes([&](auto... args) { return operation(args..., Lz77FlushNone, state_); });
    }
    ZelStatus pairs() {
        auto* operation =
            type_ == Lz77BlockFixed ? zelsDecodeLZ77FixedHuff_8u : zelsDecodeLZ77DynamicHuff_8u;
        return toPairs([&](auto... args) { return operation(args..., Lz77FlushNone, state_); });
    }

    ZelStatus tryDecoders() {
        ZelStatus status = zelStsBadData;
        for (int i = 0; i < 3 && status == zelStsBadData; ++i) {
            if (!inBlock_) trial_ = i;
            status = toPairs([&](const uint8_t** ppSrc, int32_t* pSrcLen, Lz77Pair** ppPairs,
                                 int32_t* pPairsLen) {
                if (trial_ == 2) {
                    return zelsDecodeLZ77StoredHuff_8u(ppSrc, pSrcLen, ppPairs, pPairsLen, state_);
                }
                auto* operation =
                    trial_ == 0 ? zelsDecodeLZ77FixedHuff_8u : zelsDecodeLZ77DynamicHuff_8u;
                return operation(ppSrc, pSrcLen, ppPairs, pPairsLen, Lz77FlushNone, state_);
            });
            // Without its header the kind is still open.
            if (status == zelStsSrcExhausted && !inBlock_ && stillBetweenBlocks()) return status;
        }
        if (status >= 0) inBlock_ = status != zelStsOk;
        return status;
    }

    bool stillBetweenBlocks() {
        const uint8_t none = 0;
        const uint8_t* src = &none;
        int32_t size = 0;
        Lz77BlockType type = -1;
        StateMemory<Lz77DecodeState> copy(112876);
        zelsDecodeLZ77Init_8u(0, copy);
        zelsDecodeLZ77CopyState_8u(state_, copy);
        return zelsDecodeLZ77GetBlockType_8u(&src, &size, &type, copy) == zelStsSrcExhausted;
    }

    Lz77DecodeState* state_;
    PieceBuffer srcBuffer_;
    PieceBuffer dstBuffer_;
    PieceBuffer pairBuffer_;
    const Bytes* src_ = nullptr;
    const Cuts* cuts_ = nullptr;
    Way way_ = Way::onePass;
    size_t position_ = 0;
    std::vector<Lz77Pair> waiting_;
    bool inBlock_ = false;
    bool bytesNow_ = false;
    int blocks_ = 0;
    int trial_ = 0;
    Lz77BlockType type_ = -1;
};

}  // namespace support
