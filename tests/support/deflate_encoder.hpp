// Driving the deflate encoder: a state at an odd address, its coders called until they are done,
// and a peer that decodes what they write.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "tests/support/guarded_buffer.hpp"
#include "tests/support/shapes.hpp"
#include "tests/support/split_driver.hpp"
#include "zeldc.h"

// In the record's own namespace, where the standard algorithms look.
inline bool operator==(const Lz77Pair& a, const Lz77Pair& b) {
    return a.length == b.length && a.distance == b.distance;
}

namespace support {

using Pairs = std::vector<Lz77Pair>;

constexpr int32_t kStateSize = 598928;
constexpr Lz77Level kLevels[] = {Lz77LevelFast, Lz77LevelNormal, Lz77LevelBest};

inline Lz77Pair literal(uint8_t byte) {
    return {byte, 0};
}

// Room that ends at an unreadable page, mapped once: the tests make very many short calls.
constexpr size_t kLargestPiece = 1 << 17;
inline uint8_t* guardedDstEnd() {
    static GuardedBuffer page(kLargestPiece);
    return page.end();
}
constexpr size_t kLargestSource = 1 << 20;
inline const uint8_t* guardedSource(const Bytes& src) {
    static GuardedBuffer page(kLargestSource);
    if (src.size() > kLargestSource) std::abort();
    return std::copy_backward(src.begin(), src.end(), page.end());
}

// A state at an odd address, with the operations as methods.
class Encoder {
  public:
    explicit Encoder(Lz77Level level = Lz77LevelNormal, Lz77Checksum checksum = Lz77ChecksumNone)
        : memory_(kStateSize) {
        EXPECT_EQ(zelsEncodeLZ77Init_8u(level, checksum, memory_), zelStsOk);
    }
    Lz77EncodeState* state() { return memory_; }
    void begin() { zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, memory_); }

    struct Parsed {
        Pairs pairs;
        ZelStatus status;
        int32_t consumed;
    };
    // One generator call from a buffer that ends at an unreadable page.
    Parsed parse(const Bytes& src, Lz77Flush flush = Lz77FlushNone, int32_t room = 1 << 20) {
        const uint8_t* const in = guardedSource(src);
        Parsed result{Pairs(static_cast<size_t>(std::min(room, static_cast<int32_t>(src.size())))),
                      0, 0};
        const uint8_t* srcNext = in;
        auto srcLeft = static_cast<int32_t>(src.size());
        auto* next = result.pairs.data();
        auto left = static_cast<int32_t>(result.pairs.size());
        result.status = zelsEncodeLZ77_8u(&srcNext, &srcLeft, &next, &left, flush, memory_);
        EXPECT_EQ(next + left, result.pairs.data() + result.pairs.size());
        result.pairs.resize(static_cast<size_t>(next - result.pairs.data()));
        result.consumed = static_cast<int32_t>(srcNext - in);
        EXPECT_EQ(result.consumed + srcLeft, static_cast<int32_t>(src.size()));
        return result;
    }

    Lz77HuffMode select(const Pairs& pairs) {
        static const Lz77Pair none{};
        Lz77HuffMode mode = -1;
        EXPECT_EQ(
            zelsEncodeLZ77SelectHuffMode_8u(pairs.empty() ? &none : pairs.data(),
                                            static_cast<int32_t>(pairs.size()), &mode, memory_),
            zelStsOk);
        return mode;
    }

  private:
    StateMemory<Lz77EncodeState> memory_;
};

using PairCoder = decltype(&zelsEncodeLZ77FixedHuff_8u);
constexpr PairCoder kPairCoders[] = {zelsEncodeLZ77FixedHuff_8u, zelsEncodeLZ77DynamicHuff_8u};

// Calls a resumable coder over `src` until it says something other than DstFull, appending to out.
// Each destination ends at the same unreadable page.
template <class Element, class Coder>
ZelStatus runCoder(Coder coder, const std::vector<Element>& src, const PieceSize& room,
                   Lz77Flush flush, Lz77EncodeState* state, Bytes& out) {
    static const Element none{};
    const Element* next = src.empty() ? &none : src.data();
    auto left = static_cast<int32_t>(src.size());
    uint8_t* const end = guardedDstEnd();
    for (int idle = 0; idle < 100; ++idle) {
        auto dstLeft = static_cast<int32_t>(room());
        uint8_t* const dst = end - dstLeft;
        uint8_t* dstNext = dst;
        const ZelStatus status = coder(&next, &left, &dstNext, &dstLeft, flush, state);
        EXPECT_EQ(dstNext + dstLeft, end);
        if (dstNext != dst) idle = 0;
        out.insert(out.end(), dst, dstNext);
        if (status != zelStsDstFull) {
            EXPECT_EQ(left, 0);
            return status;
        }
    }
    return -1000;
}

inline ZelStatus runTrailer(const PieceSize& room, Lz77EncodeState* state, Bytes& out) {
    for (int i = 0; i < 1000; ++i) {
        auto dstLeft = static_cast<int32_t>(room());
        uint8_t* const dst = guardedDstEnd() - dstLeft;
        uint8_t* dstNext = dst;
        const ZelStatus status = zelsEncodeLZ77Flush_8u(&dstNext, &dstLeft, state);
        out.insert(out.end(), dst, dstNext);
        if (status != zelStsDstFull) return status;
    }
    return -1000;
}

struct Inflated {
    Bytes bytes;
    bool ended = false;
    size_t consumed = 0;
};

inline Inflated inflateRaw(const Bytes& stream, size_t expected) {
    Inflated result;
    result.bytes.resize(expected + 64);
    z_stream z{};
    inflateInit2(&z, -15);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = static_cast<uInt>(stream.size());
    z.next_out = result.bytes.data();
    z.avail_out = static_cast<uInt>(result.bytes.size());
    result.ended = inflate(&z, Z_SYNC_FLUSH) == Z_STREAM_END;
    result.bytes.resize(z.total_out);
    result.consumed = z.total_in;
    inflateEnd(&z);
    return result;
}

inline uint32_t littleEndian(const Bytes& bytes, size_t at) {
    return static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
           static_cast<uint32_t>(bytes[at + 2]) << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
}

inline Bytes expand(const Pairs& pairs, Bytes history) {
    for (const Lz77Pair pair : pairs) {
        if (pair.distance == 0) {
            history.push_back(static_cast<uint8_t>(pair.length));
            continue;
        }
        if (pair.distance > history.size()) return {};
        for (int i = 0; i < pair.length; ++i)
            history.push_back(history[history.size() - pair.distance]);
    }
    return history;
}

}  // namespace support
