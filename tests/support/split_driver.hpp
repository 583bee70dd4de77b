// Drives a resumable operation through every way of cutting its source and destination.
//
// The operation is a callable of the resumable convention:
//   ZelStatus op(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst, int32_t* pDstLen)
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "tests/support/guarded_buffer.hpp"
#include "tests/support/shapes.hpp"
#include "zeldc.h"

namespace support {

// How large the next piece of source or destination is; called before each call.
using PieceSize = std::function<size_t()>;

inline PieceSize pieces(size_t size) {
    return [size] { return size; };
}

inline PieceSize randomPieces(uint64_t seed, uint32_t largest) {
    return
        [random = Random(seed), largest]() mutable -> size_t { return random.below(largest + 1); };
}

struct Driven {
    Bytes out;
    ZelStatus last = zelStsOk;
    size_t consumed = 0;
    bool stalled = false;  // many calls in a row moved nothing though both sides had something
};

// Feeds `src` in pieces and drains into pieces, each piece in a buffer of exactly its size that
// ends at an unreadable page, until `done` says so after a call, or nothing moves any more.
// `done(status, sourceLeft)` sees the status and whether source bytes remain.
template <class Operation, class Done>
Driven drive(const Bytes& src, const PieceSize& srcPiece, const PieceSize& dstPiece,
             Operation operation, Done done) {
    Driven result;
    int idle = 0;
    while (idle < 64) {
        const size_t give = std::min(srcPiece(), src.size() - result.consumed);
        const GuardedBuffer in(
            Bytes(src.begin() + static_cast<std::ptrdiff_t>(result.consumed),
                  src.begin() + static_cast<std::ptrdiff_t>(result.consumed + give)));
        GuardedBuffer out(dstPiece());
        const uint8_t* srcNext = in.data();
        auto srcLeft = static_cast<int32_t>(in.size());
        uint8_t* dstNext = out.data();
        auto dstLeft = static_cast<int32_t>(out.size());
        result.last = operation(&srcNext, &srcLeft, &dstNext, &dstLeft);
        const auto taken = static_cast<size_t>(srcNext - in.data());
        const auto made = static_cast<size_t>(dstNext - out.data());
        EXPECT_EQ(taken + static_cast<size_t>(srcLeft), in.size());
        EXPECT_EQ(made + static_cast<size_t>(dstLeft), out.size());
        result.consumed += taken;
        result.out.insert(result.out.end(), out.data(), out.data() + made);
        idle = taken == 0 && made == 0 ? idle + 1 : 0;
        if (done(result.last, result.consumed < src.size())) return result;
    }
    result.stalled = true;
    return result;
}

}  // namespace support
