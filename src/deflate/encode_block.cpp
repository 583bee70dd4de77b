#include "deflate/encode_block.hpp"

#include <cstddef>
#include <cstdint>

#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "deflate/encode_pairs.hpp"

namespace zeldc::deflate {
namespace {

constexpr uint8_t kMarker[4] = {0x00, 0x00, 0xFF, 0xFF};

bool closesWithMarker(Lz77Flush flush) {
    return flush == Lz77FlushSync || flush == Lz77FlushFull;
}

void rememberClosing(DueOutput& due, Lz77Flush flush) {
    due.closing = flush >= Lz77FlushNone && flush <= Lz77FlushFinal
                      ? static_cast<uint8_t>(1 + flush)
                      : uint8_t{1 + Lz77FlushNone};
}

// Header strings while no whole byte waits; true when all have been appended.
bool writeHeader(DueOutput& due, const U32* strings, BitSink& sink) {
    while (due.headerNext != due.headerEnd) {
        if (!sink.drain()) return false;
        sink.appendString(strings[due.headerNext]);
        ++due.headerNext;
    }
    return sink.drain();
}

bool writeMarker(DueOutput& due, BitSink& sink) {
    if (!sink.drain()) return false;
    for (; due.markerBytes != 0 && sink.room() != 0; --due.markerBytes)
        *sink.dstNext++ = kMarker[sizeof kMarker - due.markerBytes];
    return due.markerBytes == 0;
}

// Appends the end of the open block, with what `flush` makes of it. At most 7 bits wait before, so
// 7 + 15 + 3 + 7 after.
void endBlock(EncodeState& state, BitSink& sink, Lz77Flush flush) {
    DueOutput& due = state.due;
    sink.appendString(due.endOfBlock);
    due.blockOpen = 0;
    due.closing = 0;
    if (closesWithMarker(flush)) {
        sink.append(kStoredBlock << 1, 3);
        sink.padToByte();
        due.markerBytes = sizeof kMarker;
    } else if (finalWithNothingLeft(state, flush)) {
        sink.padToByte();
        due.finalBytes = 1;
    }
}

// Pairs while no whole byte waits; true when all are appended and none waits any more.
bool codePairs(const PairCodes& codes, PairSource& pairs, BitSink& sink) {
    if (!sink.drain()) return false;
    codePairsFast(codes, pairs, sink);
    while (!pairs.empty()) {
        if (!sink.drain()) return false;
        const PairParts pair(*pairs.next++);
        const uint32_t index = pair.stringIndex();
        sink.append(codes.bits[index], codes.lengths[index]);
        const auto [bits, count] = distanceString(codes, pair.distance());
        sink.append(bits, count);
    }
    return sink.drain();
}

// One call, from the copied sink on.
class BlockCall {
  public:
    BlockCall(EncodeState& state, const BlockKind& kind, PairSource& pairs, BitSink& sink,
              Lz77Flush flush)
        : state_(state),
          due_(state.due),
          kind_(kind),
          pairs_(pairs),
          sink_(sink),
          flush_(flush),
          withoutPairs_(pairs.empty()),
          markerDue_(state.due.markerBytes != 0) {}

    ZelStatus run() {
        if (sink_.room() == 0) return cutShort();
        if (!sink_.drain()) return cutShort();
        if (headerDue() && !finishEarlierBlock(state_, sink_)) return cutShort();
        if (!writeMarker(due_, sink_)) return cutShort();
        if (headerDue()) beginBlock();
        if (!writeHeader(due_, state_.headerStrings, sink_)) return cutShort();
        if (withoutPairs_ && !due_.blockOpen) return settle();
        if (!withoutPairs_) openForPairs();
        if (!codePairs(kind_.codes(state_), pairs_, sink_)) return cutShort();
        endBlock(state_, sink_, closingFlush());
        return settle();
    }

  private:
    bool headerDue() const { return state_.phase == kBlockStart || due_.headerHeld != 0; }

    // A call without pairs that finishes a block ends it as the call that brought the pairs asked.
    Lz77Flush closingFlush() const {
        return withoutPairs_ && due_.closing != 0 ? due_.closing - 1 : flush_;
    }

    void beginBlock() {
        due_.headerHeld = 0;
        due_.closing = 0;
        due_.finalBytes = 0;
        due_.headerNext = 0;
        due_.headerEnd = 0;
        state_.phase = kCutShort;
        kind_.beginHeader(state_, sink_, pairs_, finalWithNothingLeft(state_, flush_));
        state_.countsMade = 0;
        openBlock();
    }

    void openBlock() {
        due_.blockOpen = 1;
        due_.endOfBlock = uint32_t{kind_.codes(state_).endOfBlock};
    }

    // Pairs that follow what was to be the end put it off; pairs outside any block get an end too.
    void openForPairs() {
        due_.finalBytes = 0;
        due_.closing = 0;
        if (due_.blockOpen == 0) openBlock();
    }

    // Everything is appended: writes it out. A call without pairs that finishes a marker is the end
    // of the call that asked for the marker, and ends no stream.
    ZelStatus settle() {
        const bool finishesMarker = markerDue_ || due_.markerBytes != 0;
        if (!writeMarker(due_, sink_)) return cutShort();
        if (withoutPairs_ && !finishesMarker && finalWithNothingLeft(state_, flush_)) {
            sink_.padToByte();
            due_.finalBytes = 1;
            if (!sink_.drain()) return cutShort();
        }
        const bool streamEnd = due_.finalBytes != 0;
        due_.finalBytes = 0;
        state_.phase = streamEnd ? kStreamEnded : kBlockEnded;
        return streamEnd ? zelStsStreamEnd : zelStsOk;
    }

    ZelStatus cutShort() {
        if (state_.phase == kBlockStart) due_.headerHeld = 1;
        const bool endDue = due_.blockOpen != 0 || due_.headerHeld != 0;
        if (pairs_.empty() && endDue && (!withoutPairs_ || due_.closing == 0)) {
            rememberClosing(due_, flush_);
        }
        state_.phase = kCutShort;
        return zelStsDstFull;
    }

    EncodeState& state_;
    DueOutput& due_;
    const BlockKind& kind_;
    PairSource& pairs_;
    BitSink& sink_;
    Lz77Flush flush_;
    bool withoutPairs_;
    bool markerDue_;
};

}  // namespace

bool finishEarlierBlock(EncodeState& state, BitSink& sink) {
    DueOutput& due = state.due;
    if (due.blockOpen != 0) {
        if (!writeHeader(due, state.headerStrings, sink)) return false;
        endBlock(state, sink, due.closing != 0 ? due.closing - 1 : Lz77FlushNone);
    }
    return writeMarker(due, sink);
}

ZelStatus codeBlock(const BlockKind& kind, const Lz77Pair** ppSrc, int32_t* pSrcLen,
                    uint8_t** ppDst, int32_t* pDstLen, Lz77Flush flush, Lz77EncodeState* pState) {
    if (ppSrc == nullptr || pSrcLen == nullptr || ppDst == nullptr || pDstLen == nullptr) {
        return zelStsNullPointer;
    }
    if (*ppDst == nullptr || pState == nullptr) return zelStsNullPointer;
    if (*pDstLen < 0 || *pSrcLen < 0) return zelStsBadSize;

    auto& state = stateAt<EncodeState>(pState);
    const auto* first = reinterpret_cast<const PairWord*>(*ppSrc);
    PairSource pairs{first, first + *pSrcLen};
    BitSink sink = openSink(state, *ppDst, *pDstLen);
    const ZelStatus status = BlockCall(state, kind, pairs, sink, flush).run();
    closeSink(state, sink);

    const auto coded = static_cast<int32_t>(pairs.next - first);
    *ppSrc += coded;
    *pSrcLen -= coded;
    *pDstLen -= static_cast<int32_t>(sink.dstNext - *ppDst);
    *ppDst = sink.dstNext;
    return status;
}

}  // namespace zeldc::deflate
