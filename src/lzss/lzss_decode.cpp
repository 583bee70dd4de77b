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

    // A round of the fast loop stores kLiterals bytes, of which some count, and a match with the
    // overrun of its copy. One byte of room stays for the careful loop, which so has the last word
    // on how many source bytes are taken; and so much source, at 9 bits for a byte and an
    // incomplete match at the end, that the overrun is overwritten: what is not reported is as it
    // was.
    static constexpr uint32_t kLiterals = 3;
    static constexpr uint32_t kOverrun = 48;
    static constexpr uint32_t kMostBits = 7 + kLiterals * kLiteralBits + kMatchBits;
    static constexpr ptrdiff_t kSrcNeeded = 72;
    static_assert(8 * kSrcNeeded >= kMostBits + kOverrun * kLiteralBits + kMatchBits);
    static constexpr ptrdiff_t kRoomNeeded = kLiterals + kMaxMatch + kOverrun + 1;

    bool ample() const {
        return srcEnd_ - srcNext_ >= kSrcNeeded && dstEnd_ - dstNext_ >= kRoomNeeded;
    }
    void runFast();
    template <bool nearStart, uint32_t copiedAtOnce>
    [[gnu::noinline]] uint8_t* decodeRounds(BitPosition& at, uint8_t* dst,
                                            const uint8_t* dstLimit) const;
    [[gnu::noinline]] uint8_t* copyHardMatch(uint8_t* dst, uint32_t field, uint32_t length) const;

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

// The stream from a byte on, of which up to kMostPassed bits are passed over before a whole word of
// it is looked at, or as much of one as a round needs.
class Ahead {
  public:
    using Word = size_t;
    static constexpr uint32_t kBits = sizeof(Word) * 8;
    static constexpr uint32_t kMostPassed = kBits == 64 ? 7 + 27 : 7 + 18;
    static constexpr ptrdiff_t kBytes = 8;

    explicit Ahead(const uint8_t* src) : word_(loadBe<Word>(src)) {
        if constexpr (kBits == 32) next_ = loadBe<Word>(src + sizeof(Word));
    }
    Word from(uint32_t passed) const {
        if constexpr (kBits == 64) return word_ << passed;
        return word_ << passed | next_ >> 1 >> (kBits - 1 - passed);
    }

  private:
    Word word_;
    Word next_ = 0;
};

// Matches that reach into the window or whose source they overlap themselves.
uint8_t* Decoder::copyHardMatch(uint8_t* dst, uint32_t field, uint32_t length) const {
    // A field of 0 wraps, and fails this.
    if (field - 1 < static_cast<size_t>(dst - dstBegin_)) {
        copyWide(dst, dst - field, length, field);
        return dst + length;
    }
    return copyMatch(dst, distanceOf(field), length);
}

// A round decodes up to three literals and the match behind them, or three literals alone. Nothing
// in it depends on a branch that is hard to foresee: neither the number of literals nor that there
// is a match. What is left is the chain from one round's position to the next one's, and half of
// that runs ahead: a match takes exactly 3 bytes, so the words behind it are loaded before it is
// known how many literals come first. Then they are shifted by those.
template <bool nearStart, uint32_t copiedAtOnce>
uint8_t* Decoder::decodeRounds(BitPosition& at, uint8_t* dst, const uint8_t* dstLimit) const {
    using Word = Ahead::Word;
    constexpr uint32_t kBits = Ahead::kBits;
    constexpr Word kTop = Word{1} << (kBits - 1);
    constexpr Word kEnd = kTop >> kLiterals * kLiteralBits;
    // A flag behind three literals is looked at where there are bits enough for its match, too.
    constexpr Word kFlags = kTop | kTop >> kLiteralBits | kTop >> 2 * kLiteralBits |
                            (Ahead::kMostPassed >= 7 + kLiterals * kLiteralBits ? kEnd : 0);
    static_assert(kLiterals == 3 && 7 + 2 * kLiteralBits <= Ahead::kMostPassed);
    // Whatever is passed, the literals and the flag behind them are left.
    static_assert(kBits == 32 ? Ahead::kMostPassed < kBits
                              : kBits - Ahead::kMostPassed > kLiterals * kLiteralBits);
    // Three literals alone are 3 bytes and 3 bits, so they pass over less than a match does.
    constexpr uint32_t kMatchBytes = kMatchBits / 8;
    static_assert(kMatchBits % 8 == 0 && kLiterals * kLiteralBits >= kMatchBits);
    static_assert(kSrcNeeded >= kMatchBytes + Ahead::kBytes);

    const uint8_t* src = at.byte;
    uint32_t bit = at.bit;
    const uint8_t* const srcLimit = srcEnd_ - kSrcNeeded;
    [[maybe_unused]] const uint8_t* const dstBegin = dstBegin_;
    Word window = Ahead(src).from(bit);
    while (src <= srcLimit && dst <= dstLimit) {
        const Word zeros = ~window & kFlags;
        const uint32_t none = 0U - static_cast<uint32_t>(zeros == 0);
        const auto literalBits = static_cast<uint32_t>(std::countl_zero(Word{zeros | kEnd}));
        for (uint32_t i = 0; i < kLiterals; ++i) {
            window = std::rotl(window, kLiteralBits);
            dst[i] = static_cast<uint8_t>(window);
        }
        const Ahead ahead(src + kMatchBytes);
        const uint32_t passed = bit + literalBits - (none & kMatchBits);
        window = ahead.from(passed);
        src += kMatchBytes + (passed >> 3);
        bit = passed & 7;
        dst += literalBits / 8;

        // The 24 bits before the position. Where there is no match they mean nothing: the length is
        // 0 then, and what is copied is overwritten.
        const uint32_t token = loadBe<uint32_t>(src - kMatchBytes) << bit;
        const uint32_t length = ((token >> 8 & 0xFF) + kMinMatch) & ~none;
        const uint32_t field = nearStart ? token >> 16 & ~none : token >> 16;
        const bool reached = !nearStart || field <= static_cast<size_t>(dst - dstBegin);
        if (reached && field >= length) [[likely]] {
            const uint8_t* const from = dst - field;
            for (uint32_t copied = 0; copied < copiedAtOnce; copied += 16)
                copy16(dst + copied, from + copied);
            for (uint32_t copied = copiedAtOnce; copied < length; copied += 16)
                copy16(dst + copied, from + copied);
            dst += length;
        } else {
            dst = copyHardMatch(dst, field, length);
        }
    }
    at = {src, bit};
    return dst;
}

void Decoder::runFast() {
    BitPosition at{};
    if (!findBitPosition(srcBegin_, srcNext_, bitCount_, at)) return;
    const uint8_t* const dstLimit = dstEnd_ - kRoomNeeded;
    uint8_t* dst = dstNext_;
    const auto limitAfter = [dstLimit](const uint8_t* from, ptrdiff_t size) {
        return dstLimit - from > size ? from + size : dstLimit;
    };
    // Behind so much output no field that 16 bits hold, of a match or not, reaches before it.
    const uint8_t* partLimit = limitAfter(dstBegin_, 1 << 16);
    dst = decodeRounds<true, 32>(at, dst, partLimit);
    // Where a few bytes make many, many matches are longer than 32 bytes. Part by part, what the
    // last one was like tells how the next is decoded.
    bool longMatches = false;
    while (dst > partLimit && partLimit != dstLimit) {
        const uint8_t* const srcBefore = at.byte;
        const uint8_t* const dstBefore = dst;
        partLimit = limitAfter(dst, 1 << 16);
        dst = longMatches ? decodeRounds<false, 48>(at, dst, partLimit)
                          : decodeRounds<false, 32>(at, dst, partLimit);
        longMatches = dst - dstBefore > 5 * (at.byte - srcBefore) / 2;
    }
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
