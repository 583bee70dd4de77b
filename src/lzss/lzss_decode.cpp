// LZSS decoder. Matches reach into the output of the call, and before it into the window. A careful
// loop takes the source byte by byte and stops anywhere; a fast one works while source and room are
// ample.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/bit_position.hpp"
#include "core/hash_chain.hpp"
#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "core/wide_copy.hpp"
#include "lzss/lzss_state.hpp"
#include "zeldc.h"

namespace zeldc::lzss {
namespace {

// No encoder writes a distance of 0. It stands for 32768, the one that 15 bits cannot hold: so it
// reaches the oldest byte that is kept, in bounds and the same however the output is cut.
uint32_t distanceOf(uint32_t field) {
    return ((field - 1) & (kHistorySize - 1)) + 1;
}

// Below this a call of memcpy costs more than it saves.
constexpr uint32_t kShortCopy = 31;

// Byte by byte in effect, from the front; exact on both sides, for areas in any relation.
inline void copyForward(const uint8_t* src, uint8_t* dst, uint32_t length) {
    const auto from = reinterpret_cast<uintptr_t>(src);
    const auto to = reinterpret_cast<uintptr_t>(dst);
    const bool overlap = from < to ? to - from < length : from - to < length;
    if (length >= kShortCopy && !overlap) {
        std::memcpy(dst, src, length);
        return;
    }
    for (uint32_t i = 0; i < length; ++i)
        dst[i] = src[i];
}

class Decoder {
  public:
    Decoder(State& state, const uint8_t* src, const uint8_t* srcEnd, uint8_t* dst, uint8_t* dstEnd)
        : state_(state),
          srcBegin_(src),
          srcNext_(src),
          srcEnd_(srcEnd),
          dstBegin_(dst),
          dstNext_(dst),
          dstEnd_(dstEnd),
          bitBuf_(state.bitBuf),
          bitCount_(state.bitCount) {}

    void run() {
        if (const uint32_t length = state_.pendingLength; length != 0) {
            copyOrCut(state_.pendingDistance, length);
        }
        while (dstNext_ != dstEnd_) {
            if (ample()) runFast();
            if (!step()) break;
        }
        keepHistory();
        state_.bitBuf = bitBuf_;
        state_.bitCount = bitCount_;
    }
    const uint8_t* srcNext() const { return srcNext_; }
    uint8_t* dstNext() const { return dstNext_; }
    bool full() const { return dstNext_ == dstEnd_; }

  private:
    // Decodes one token into room for at least one byte. False when the bits do not suffice.
    bool step() {
        for (; bitCount_ < kMatchBits && srcNext_ != srcEnd_; bitCount_ += 8)
            bitBuf_ |= uint32_t{*srcNext_++} << (24 - bitCount_);
        if (bitBuf_ >> 31 != 0) {
            if (bitCount_ < kLiteralBits) return false;
            *dstNext_++ = static_cast<uint8_t>(bitBuf_ >> (32 - kLiteralBits));
            drop(kLiteralBits);
            return true;
        }
        if (bitCount_ < kMatchBits) return false;
        const uint32_t token = bitBuf_ >> (32 - kMatchBits);
        drop(kMatchBits);
        copyOrCut(distanceOf(token >> kMatchLengthBits), (token & 0xFF) + kMinMatch);
        return true;
    }
    void drop(uint32_t count) {
        bitBuf_ <<= count;
        bitCount_ -= count;
    }

    // What does not fit is left for the next call.
    void copyOrCut(uint32_t distance, uint32_t length) {
        const auto room = static_cast<size_t>(dstEnd_ - dstNext_);
        const auto now = static_cast<uint32_t>(std::min<size_t>(length, room));
        dstNext_ = copyMatch(dstNext_, distance, now);
        state_.pendingDistance = distance;
        state_.pendingLength = length - now;
    }

    // The part that lies before this call's output comes from the window, and the rest follows in
    // the output itself. Rare in the fast loop, whose registers it must not take.
    __attribute__((noinline)) uint8_t* copyMatch(uint8_t* dst, uint32_t distance,
                                                 uint32_t length) const {
        const auto written = static_cast<size_t>(dst - dstBegin_);
        if (distance > written) {
            const auto before = distance - static_cast<uint32_t>(written);
            const uint32_t part = std::min(before, length);
            std::memcpy(dst, state_.history.window + (state_.historyEnd - before), part);
            dst += part;
            length -= part;
        }
        if (length != 0) copyForward(dst - distance, dst, length);
        return dst + length;
    }

    // Keeps the last 32768 bytes of all output.
    void keepHistory() {
        uint8_t* const window = state_.history.window;
        const auto written = static_cast<size_t>(dstNext_ - dstBegin_);
        uint32_t end = state_.historyEnd;
        if (written >= kHistorySize) {
            std::memcpy(window, dstNext_ - kHistorySize, kHistorySize);
            end = kHistorySize;
        } else if (written != 0) {
            if (end + written > kWindowBufferSize) {
                std::memmove(window, window + end - kHistorySize, kHistorySize);
                end = kHistorySize;
            }
            std::memcpy(window + end, dstBegin_, written);
            end += static_cast<uint32_t>(written);
        }
        state_.historyEnd = end;
    }

    // A round of the fast loop decodes from two words of the source. It stores kLiterals bytes, of
    // which some count, and a match with the overrun of its copy. One byte of room stays for the
    // careful loop, which so has the last word on how many source bytes are taken; and so much
    // source, at 9 bits for a byte and an incomplete match at the end, that the overrun is
    // overwritten: what is not reported is as it was.
    using Word = size_t;
    static constexpr uint32_t kLiterals = sizeof(Word) == 8 ? 3 : 2;
    static constexpr ptrdiff_t kSrcNeeded = 48;
    static_assert(8 * kSrcNeeded >= 7 + kLiterals * kLiteralBits + kMatchBits +
                                        kCopyOverrun * kLiteralBits + kMatchBits);
    static constexpr ptrdiff_t kRoomNeeded = kLiterals + kMaxMatch + kCopyOverrun + 1;

    bool ample() const {
        return srcEnd_ - srcNext_ >= kSrcNeeded && dstEnd_ - dstNext_ >= kRoomNeeded;
    }
    __attribute__((noinline)) void runFast();

    State& state_;
    const uint8_t* srcBegin_;
    const uint8_t* srcNext_;
    const uint8_t* srcEnd_;
    uint8_t* dstBegin_;
    uint8_t* dstNext_;
    uint8_t* dstEnd_;
    uint32_t bitBuf_;
    uint32_t bitCount_;
};

// The bits that the literals at the front of the window take, at most `most` of them. Their flags
// are that many bits apart, so the place of the first flag that is 0 tells it.
template <uint32_t most, class Word>
uint32_t literalBitsAhead(Word window) {
    constexpr Word kTop = Word{1} << (sizeof(Word) * 8 - 1);
    constexpr Word kStop = kTop >> (most * kLiteralBits);
    Word flags = 0;
    for (uint32_t i = 0; i < most; ++i)
        flags |= kTop >> (i * kLiteralBits);
    return static_cast<uint32_t>(std::countl_zero(static_cast<Word>((~window & flags) | kStop)));
}

// A round decodes the literals up to the next match, as far as a window shows them, and that match.
// Four in five matches follow another in text, so one branch on the flag is worth its price: where
// it is foreseen, the next round does not wait for this one's word. The number of literals is hard
// to foresee and is counted without a branch.
void Decoder::runFast() {
    BitPosition at{};
    if (!findBitPosition(srcBegin_, srcNext_, bitCount_, at)) return;
    constexpr uint32_t kBits = sizeof(Word) * 8;
    constexpr uint32_t kShown = kBits - 7;  // stream bits in a window, at least
    static_assert(kLiterals * kLiteralBits <= kShown);
    static_assert(kBits == 32 || kLiterals * kLiteralBits + kMatchBits <= kShown);
    static_assert(kBits == 64 || 7 + kLiterals * kLiteralBits < kBits);
    static_assert(kLiterals * kLiteralBits / 8 == kLiterals);

    // One number for the position leaves registers for the rest; it counts bits, so the source is
    // worked off in parts of 256 MB.
    const uint8_t* const base = at.byte;
    uint32_t position = at.bit;
    const auto srcLimit =
        static_cast<uint32_t>(std::min<ptrdiff_t>(srcEnd_ - kSrcNeeded - base, 1 << 28)) * 8 + 7;
    uint8_t* dst = dstNext_;
    uint8_t* const dstBegin = dstBegin_;
    const uint8_t* const dstLimit = dstEnd_ - kRoomNeeded;
    while (position <= srcLimit && dst <= dstLimit) {
        const auto word = loadBe<Word>(base + (position >> 3));
        Word window = word << (position & 7);
        if (window >> (kBits - 1) != 0) {
            const uint32_t literalBits = literalBitsAhead<kLiterals>(window);
            for (uint32_t i = 0; i < kLiterals; ++i)
                dst[i] = static_cast<uint8_t>(window >> (kBits - (i + 1) * kLiteralBits));
            dst += literalBits / 8;
            if constexpr (kBits == 64) {
                window <<= literalBits;
            } else {
                const uint32_t gone = (position & 7) + literalBits;
                const auto second = loadBe<Word>(base + (position >> 3) + sizeof(Word));
                window = word << gone | second >> 1 >> (31 - gone);
            }
            position += literalBits;
            if (window >> (kBits - 1) != 0) continue;
        }
        position += kMatchBits;
        const auto token = static_cast<uint32_t>(window >> (kBits - kMatchBits));
        const uint32_t field = token >> kMatchLengthBits;
        const uint32_t length = (token & 0xFF) + kMinMatch;
        // A field of 0 wraps, and fails this too.
        if (field - 1 < static_cast<size_t>(dst - dstBegin)) {
            copyWide(dst, dst - field, length, field);
            dst += length;
        } else {
            dst = copyMatch(dst, distanceOf(field), length);
        }
    }
    at = {base + (position >> 3), position & 7};
    dstNext_ = dst;
    const HeldBits held = holdFrom(at, srcNext_);
    bitBuf_ = held.bitBuf;
    bitCount_ = held.bitCount;
}

}  // namespace
}  // namespace zeldc::lzss

using namespace zeldc;
using namespace zeldc::lzss;

extern "C" {

ZelStatus D_COPY_SLOW(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    if (len > 0) copyForward(pSrc, pDst, static_cast<uint32_t>(len));
    return zelStsOk;
}

ZelStatus zelsDecodeLZSSInit_8u(LzssState* pState) {
    if (pState == nullptr) return zelStsNullPointer;
    auto& state = stateAt<State>(pState);
    std::memset(state.history.window, 0, sizeof state.history.window);
    startStream(state);
    return zelStsOk;
}

ZelStatus zelsDecodeLZSSInitAlloc_8u(LzssState** ppState) {
    if (ppState == nullptr) return zelStsNullPointer;
    return initAlloc(sizeof(State), ppState, zelsDecodeLZSSInit_8u);
}

ZelStatus zelsDecodeLZSS_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst,
                            int32_t* pDstLen, LzssState* pState) {
    const auto dstLen = load<int32_t>(pDstLen);
    if (dstLen < 1) return zelStsBadSize;
    if (ppSrc == nullptr || ppDst == nullptr || pState == nullptr) return zelStsNullPointer;
    const auto* src = load<const uint8_t*>(ppSrc);
    auto* dst = load<uint8_t*>(ppDst);
    const auto srcLen = load<int32_t>(pSrcLen);
    if (dst == nullptr || (src == nullptr && srcLen != 0)) return zelStsNullPointer;
    if (srcLen < 0) return zelStsBadSize;

    Decoder decoder(stateAt<State>(pState), src, src + srcLen, dst, dst + dstLen);
    decoder.run();
    store(ppSrc, decoder.srcNext());
    store(pSrcLen, srcLen - static_cast<int32_t>(decoder.srcNext() - src));
    store(ppDst, decoder.dstNext());
    store(pDstLen, dstLen - static_cast<int32_t>(decoder.dstNext() - dst));
    return decoder.full() ? zelStsDstFull : zelStsOk;
}

}  // extern "C"
