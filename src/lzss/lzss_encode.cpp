// LZSS encoder: greedy parse by hash chains, tokens packed most significant bit first.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/alloc.hpp"
#include "core/hash_chain.hpp"
#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "lzss/lzss_state.hpp"
#include "zeldc.h"

namespace zeldc::lzss {
namespace {

constexpr uint32_t kMaxCandidates = 16;
// The last bytes of a call are always literals.
constexpr uint32_t kTail = 2;

// A token is put only while less than a byte is pending, so 31 bits are the most there are.
static_assert(7 + kMatchBits <= 31 && 7 + kLiteralBits <= 16);

class TokenWriter {
  public:
    TokenWriter(const State& state, uint8_t* dst, uint8_t* dstEnd)
        : dstNext_(dst),
          dstEnd_(dstEnd),
          ampleEnd_(dst + std::max<ptrdiff_t>(dstEnd - dst - kAmple + 1, 0)),
          bitBuf_(state.bitBuf),
          bitCount_(state.bitCount) {}

    // Both return false when the destination is full behind the token. They may write one byte more
    // than is whole; it is overwritten, for more than a byte follows.
    bool putLiteral(uint32_t byte) {
        const uint32_t token = kLiteralFlag | byte;
        if (dstNext_ >= ampleEnd_) [[unlikely]]
            return putSlowly(token, kLiteralBits);
        bitBuf_ |= token << (32 - kLiteralBits - bitCount_);
        bitCount_ += kLiteralBits;
        storeBe(dstNext_, static_cast<uint16_t>(bitBuf_ >> 16));
        dstNext_ += bitCount_ >> 3;
        bitBuf_ <<= bitCount_ & ~7U;
        bitCount_ &= 7;
        return true;
    }
    bool putMatch(uint32_t distance, uint32_t length) {
        const uint32_t token = distance << kMatchLengthBits | (length - kMinMatch);
        if (dstNext_ >= ampleEnd_) [[unlikely]]
            return putSlowly(token, kMatchBits);
        // Whole bytes: as many bits are pending behind them as before.
        bitBuf_ |= token << (32 - kMatchBits - bitCount_);
        storeBe(dstNext_, bitBuf_);
        dstNext_ += kMatchBits / 8;
        bitBuf_ <<= kMatchBits;
        return true;
    }
    // Writes no byte but whole ones.
    [[gnu::noinline]] bool putSlowly(uint32_t token, uint32_t length) {
        bitBuf_ |= token << (32 - length - bitCount_);
        bitCount_ += length;
        drain();
        return dstNext_ != dstEnd_;
    }
    // Moves whole bytes out as far as there is room.
    void drain() {
        for (; bitCount_ >= 8 && dstNext_ != dstEnd_; bitCount_ -= 8, bitBuf_ <<= 8)
            *dstNext_++ = static_cast<uint8_t>(bitBuf_ >> 24);
    }
    // A token takes more than a byte.
    size_t room() const { return static_cast<size_t>(dstEnd_ - dstNext_); }
    bool holdsWholeByte() const { return bitCount_ >= 8; }
    uint8_t* dstNext() const { return dstNext_; }
    void saveTo(State& state) const {
        state.bitBuf = bitBuf_;
        state.bitCount = bitCount_;
    }

  private:
    // Room for the widest store; no token fills it up.
    static constexpr ptrdiff_t kAmple = sizeof(uint32_t);
    static_assert(kMatchBits % 8 == 0 && kMatchBits / 8 < kAmple &&
                  (7 + kLiteralBits) / 8 < kAmple);

    uint8_t* dstNext_;
    uint8_t* dstEnd_;
    uint8_t* ampleEnd_;  // before it there is room for the widest store
    uint32_t bitBuf_;
    uint32_t bitCount_;
};

// Codes the source until it ends or the destination is full behind a token; returns the position
// reached. Nothing but a token boundary shows in the state, so the stream is the same however the
// destination is cut.
uint32_t encodeTokens(MatchHistory& history, const CallText& text, TokenWriter& writer) {
    TokenWriter out = writer;
    uint32_t p = text.first();
    const uint32_t searchEnd = text.end() - std::min(kTail, text.end() - p);
    AheadSearch search(history, text, searchEnd);
    bool full = false;
    while (p != searchEnd && !full) {
        search.beginStep(p, out.room());
        const uint32_t candidate = search.insert(p);
        const uint32_t limit = std::min(searchEnd - p, kMaxMatch);
        const Match match = search.longest(p, candidate, limit, kMaxCandidates);
        if (match.length >= kMinMatch) {
            full = !out.putMatch(p - match.position, match.length);
            p += match.length;
        } else {
            full = !out.putLiteral(*text.at(p++));
        }
    }
    search.end(p);
    // Two literals, exactly: more than the byte that a token above may have written too many.
    while (p != text.end() && !full)
        full = !out.putSlowly(kLiteralFlag | *text.at(p++), kLiteralBits);
    writer = out;
    return p;
}

// Returns the number of source bytes taken.
uint32_t encode(State& state, const uint8_t* src, uint32_t size, TokenWriter& out) {
    out.drain();
    if (out.holdsWholeByte()) return 0;
    const CallText text = beginCall<NarrowTables>(state.history, src, size);
    const uint32_t consumed = encodeTokens(state.history, text, out) - text.first();
    endCall(state.history, src, consumed);
    return consumed;
}

}  // namespace
}  // namespace zeldc::lzss

using namespace zeldc;
using namespace zeldc::lzss;

extern "C" {

ZelStatus zelsLZSSGetSize_8u(int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    store(pSize, static_cast<int32_t>(sizeof(State)));
    return zelStsOk;
}

void zelsLZSSFree_8u(LzssState* pState) {
    release(pState);
}

ZelStatus zelsEncodeLZSSInit_8u(LzssState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    auto& state = stateAt<State>(pState);
    NarrowTables::init(state.history);
    startStream(state);
    return zelStsOk;
}

ZelStatus zelsEncodeLZSSInitAlloc_8u(LzssState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    return initAlloc(sizeof(State), ppState, zelsEncodeLZSSInit_8u);
}

ZelStatus zelsEncodeLZSS_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst,
                            int32_t* pDstLen, LzssState* pState) {
    if (ppSrc == nullptr || pSrcLen == nullptr || ppDst == nullptr || pDstLen == nullptr ||
        pState == nullptr) {
        return zelStsNullPointer;
    }
    const auto* src = load<const uint8_t*>(ppSrc);
    auto* dst = load<uint8_t*>(ppDst);
    const auto srcLen = load<int32_t>(pSrcLen);
    const auto dstLen = load<int32_t>(pDstLen);
    // The buffers themselves are looked at only where there is something to do.
    if (srcLen != 0 && dstLen != 0 && (src == nullptr || dst == nullptr)) return zelStsNullPointer;
    if (srcLen < 0 || dstLen < 0) return zelStsBadSize;
    if (dstLen == 0) return zelStsDstFull;
    if (srcLen == 0) return zelStsOk;

    auto& state = stateAt<State>(pState);
    TokenWriter out(state, dst, dst + dstLen);
    const uint32_t consumed = encode(state, src, static_cast<uint32_t>(srcLen), out);
    out.saveTo(state);
    store(ppSrc, src + consumed);
    store(pSrcLen, srcLen - static_cast<int32_t>(consumed));
    store(ppDst, out.dstNext());
    store(pDstLen, dstLen - static_cast<int32_t>(out.dstNext() - dst));
    const bool done = consumed == static_cast<uint32_t>(srcLen) && !out.holdsWholeByte();
    return done ? zelStsOk : zelStsDstFull;
}

ZelStatus zelsEncodeLZSSFlush_8u(uint8_t** ppDst, int32_t* pDstLen, LzssState* pState) {
    if (ppDst == nullptr || pDstLen == nullptr || pState == nullptr) return zelStsNullPointer;
    auto* dst = load<uint8_t*>(ppDst);
    const auto room = load<int32_t>(pDstLen);
    if (dst == nullptr) return zelStsNullPointer;
    if (room < 1) return zelStsBadSize;

    auto& state = stateAt<State>(pState);
    uint32_t bitBuf = state.bitBuf;
    const uint32_t bitCount = state.bitCount;
    const uint32_t due = (bitCount + 7) / 8;
    const uint32_t written = std::min(due, static_cast<uint32_t>(room));
    for (uint32_t i = 0; i < written; ++i, bitBuf <<= 8)
        *dst++ = static_cast<uint8_t>(bitBuf >> 24);
    store(ppDst, dst);
    store(pDstLen, room - static_cast<int32_t>(written));
    // A flush that is complete leaves the bits where they were.
    if (written == due) return zelStsOk;
    state.bitBuf = bitBuf;
    state.bitCount = bitCount - 8 * written;
    return zelStsDstFull;
}

}  // extern "C"
