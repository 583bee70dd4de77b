// Pairs to bytes, through the history.
#include "deflate/decode_output.hpp"

namespace zeldc::deflate {
namespace {

// What is read of the caller's pairs, which may lie at any address.
struct PairInput {
    const uint8_t* start;
    const uint8_t* next;
    const uint8_t* end;

    PairInput(const Lz77Pair* pairs, int32_t count)
        : start(reinterpret_cast<const uint8_t*>(pairs)),
          next(start),
          end(start + extent(pairs, count) * sizeof(Lz77Pair)) {}
    bool empty() const { return next == end; }
    int32_t taken() const {
        return static_cast<int32_t>(static_cast<size_t>(next - start) / sizeof(Lz77Pair));
    }
    uint32_t take() {
        const auto pair = load<uint32_t>(next);
        next += sizeof(Lz77Pair);
        return pair;
    }
};

// As long as a match as deflate has them fits with the overrun of its copy; a longer one, as only
// made-up pairs hold, and one that begins in the history and runs on into this call's output are
// left for the exact copy.
void expandFast(PairInput& pairs, ByteOutput& out) {
    constexpr std::ptrdiff_t kMargin = kLongestMatch + kCopyOverrun;
    if (out.end() - out.next() < kMargin) return;
    const uint8_t* const dstLast = out.end() - kMargin;
    const uint8_t* const start = out.start();
    const uint8_t* const windowEnd = out.state().window + int32_t{out.state().progress.windowEnd};
    uint8_t* dst = out.next();
    while (dst <= dstLast && !pairs.empty()) {
        const auto pair = load<uint32_t>(pairs.next);
        const uint32_t length = pair & 0xFFFF;
        const uint32_t distance = pair >> 16;
        if (distance == 0) {
            *dst++ = static_cast<uint8_t>(length);
        } else {
            const uint8_t* src = dst - distance;
            const auto produced = static_cast<size_t>(dst - start);
            if (length > kLongestMatch || length == 0) break;
            if (distance > produced) {
                const size_t back = distance - produced;
                if (length > back || back > kFarthestDistance) break;
                src = windowEnd - back;
            }
            copyWide(dst, src, length, distance);
            dst += length;
        }
        pairs.next += sizeof(Lz77Pair);
    }
    out.setNext(dst);
}

ZelStatus expand(DecodeState& state, PairInput& pairs, ByteOutput& out) {
    if (!out.finishPending()) return zelStsDstFull;
    while (!pairs.empty()) {
        expandFast(pairs, out);
        if (pairs.empty()) break;
        if (out.full()) return zelStsDstFull;
        const uint32_t pair = pairs.take();
        if (pair >> 16 == 0) {
            out.literal(pair & 0xFF);
            continue;
        }
        out.match(pair & 0xFFFF, pair >> 16);
        if (state.progress.pendingLength != 0) return zelStsDstFull;
    }
    return state.progress.endOfStream != 0 ? zelStsStreamEnd : zelStsOk;
}

}  // namespace
}  // namespace zeldc::deflate

using namespace zeldc::deflate;

extern "C" ZelStatus zelsDecodeLZ77_8u(const Lz77Pair** ppPairs, int32_t* pPairsLen,
                                       uint8_t** ppDst, int32_t* pDstLen, Lz77Flush flush,
                                       Lz77DecodeState* pState) {
    static_cast<void>(flush);
    if (ppPairs == nullptr || ppDst == nullptr || pState == nullptr || pPairsLen == nullptr ||
        pDstLen == nullptr || *ppPairs == nullptr || *ppDst == nullptr) {
        return zelStsNullPointer;
    }
    if (*pDstLen < 0 || *pPairsLen < 0) return zelStsBadSize;
    if (*pPairsLen == 0) return zelStsOk;
    if (*pDstLen == 0) return zelStsDstFull;
    DecodeState& state = decodeState(pState);
    PairInput pairs(*ppPairs, *pPairsLen);
    ByteOutput out(state, *ppDst, *pDstLen);
    const ZelStatus status = expand(state, pairs, out);
    if (status != zelStsStreamEnd) out.keepHistory();
    *ppPairs = reinterpret_cast<const Lz77Pair*>(pairs.next);
    *pPairsLen -= pairs.taken();
    out.save(ppDst, pDstLen);
    return status;
}
