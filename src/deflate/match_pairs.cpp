// The deflate encoder's first stage: source bytes to literal/match pairs, at three levels of
// effort.
#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "checksum/checksum.hpp"
#include "core/hash_chain.hpp"
#include "core/state.hpp"
#include "deflate/encode_state.hpp"
#include "deflate/fast_blocks.hpp"
#include "deflate/format.hpp"
#include "deflate/lazy_parse.hpp"
#include "deflate/pairs.hpp"
#include "deflate/parse_best.hpp"
#include "deflate/shift_hash.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

static_assert(kMinMatch == kShortestMatch && kMaxMatch == kLongestMatch);

constexpr uint32_t kNormalCandidates = 16;
// The last bytes of a call, which no match covers at the fast and normal levels.
constexpr uint32_t kTail = 2;

// One call's way through its source. Each parser starts at text.first(), writes pairs while there
// is room and returns the position it reached, at most `end - tail`.
template <Reach reach, class Tables>
class Parser {
  public:
    Parser(MatchHistory& history, const CallText& text, U32* pairs, U32* pairsEnd)
        : history_(history), text_(text), pairNext_(pairs), pairEnd_(pairsEnd) {}

    U32* pairNext() const { return pairNext_; }

    uint32_t fast();
    uint32_t normal();
    uint32_t best();

    // The rest of the call as literals, from p on; returns the position reached.
    uint32_t literals(uint32_t p) {
        while (p != text_.end() && room())
            literal(p++);
        return p;
    }

  private:
    bool room() const { return pairNext_ != pairEnd_; }
    void literal(uint32_t p) { *pairNext_++ = literalPair(*text_.at(p)); }

    // The last position of the search is before this.
    uint32_t searchEnd(uint32_t tail) const {
        return text_.end() - std::min(tail, text_.end() - text_.first());
    }

    using Search =
        std::conditional_t<std::is_same_v<Tables, NarrowTables>, AheadSearch<>, ChainSearch<reach>>;

    MatchHistory& history_;
    CallText text_;
    U32* pairNext_;
    U32* pairEnd_;
};

// Enters the positions [p, stop), whose bytes are at `bytes`.
template <class Tables>
void enter(Tables& tables, const uint8_t* bytes, uint32_t p, uint32_t stop) {
    for (; p != stop; ++p, ++bytes)
        tables.setLatest(shiftHash(bytes) % kHashSize, p);
}

// Blocks as far as they go, and the ends of a call step by step.
template <Reach reach, class Tables>
uint32_t Parser<reach, Tables>::fast() {
    const CallText text = text_;
    Tables tables(history_);
    const uint32_t earliest = std::max(text.earliest(), uint32_t{1});
    U32* pairNext = pairNext_;
    U32* const pairEnd = pairEnd_;
    const uint32_t stop = searchEnd(kTail);
    uint32_t p = text.first();
    if constexpr (std::is_same_v<Tables, NarrowTables>) {
        FastBlocks blocks(tables, history_, text, stop);
        pairNext = parseBlocks(blocks, pairNext, pairEnd);
        p = blocks.reached();
        const uint32_t entered = blocks.entered();
        tables.makeRoom(entered);
        enter(tables, text.at(entered), entered, p);
    }
    while (p < stop && pairNext != pairEnd) {
        tables.makeRoom(p);
        const uint8_t* const here = text.at(p);
        const uint32_t hash = shiftHash(here);
        const uint32_t q = tables.latest(hash % kHashSize);
        tables.setLatest(hash % kHashSize, p);
        const uint32_t limit = std::min(stop - p, kMaxMatch);
        // Three bytes decide, of four that are there: stop lies two bytes before the end.
        if (!admissible<reach>(p, q, earliest) || limit < kMinMatch ||
            (load<uint32_t>(text.anywhere(q)) ^ load<uint32_t>(here)) << 8 != 0) {
            *pairNext++ = literalPair(*here);
            ++p;
            continue;
        }
        const uint32_t length = matchLength(text.anywhere(q), here, limit);
        *pairNext++ = pairOf(length, p - q);
        enter(tables, here + 1, p + 1, p + length);
        p += length;
    }
    pairNext_ = pairNext;
    return p;
}

template <Reach reach, class Tables>
uint32_t Parser<reach, Tables>::normal() {
    const uint32_t stop = searchEnd(kTail);
    Search search(history_, text_, stop);
    U32* pairNext = pairNext_;
    uint32_t p = text_.first();
    while (p < stop && pairNext != pairEnd_) {
        search.beginStep(p, static_cast<size_t>(pairEnd_ - pairNext));
        const uint32_t q = search.insert(p);
        const Match found = search.longest(p, q, std::min(stop - p, kMaxMatch), kNormalCandidates);
        if (found.length < kMinMatch) {
            *pairNext++ = literalPair(*text_.at(p++));
            continue;
        }
        *pairNext++ = pairOf(found.length, p - found.position);
        search.insertUpTo(p + 1, p + found.length);
        p += found.length;
    }
    search.end(p);
    pairNext_ = pairNext;
    return p;
}

template <Reach reach, class Tables>
uint32_t Parser<reach, Tables>::best() {
    const uint32_t stop = searchEnd(kBestTail);
    Search search(history_, text_, stop);
    Carried carried;
    return parseLazily(search, text_.first(), stop, stop, carried, pairNext_, pairEnd_);
}

template <Reach reach, class Tables>
Parsed parse(EncodeState& state, const uint8_t* src, uint32_t size, U32* pairs, U32* pairsEnd) {
    const CallText text = beginCall<Tables>(state.history, src, size);
    Parser<reach, Tables> parser(state.history, text, pairs, pairsEnd);
    uint32_t p = 0;
    switch (state.level) {
        case Lz77LevelFast:
            p = parser.fast();
            break;
        case Lz77LevelBest:
            if constexpr (std::is_same_v<Tables, WideTables>) p = parser.best();
            break;
        default:
            p = parser.normal();
            break;
    }
    p = parser.literals(p);
    return {p - text.first(), parser.pairNext()};
}

void updateChecksum(EncodeState& state, const uint8_t* src, size_t size) {
    if (state.checksumKind == Lz77ChecksumAdler32) {
        state.checksum = checksum::adler32(state.checksum, src, size);
    } else if (state.checksumKind == Lz77ChecksumCrc32) {
        state.checksum = checksum::crc32(state.checksum, src, size);
    }
}

// Generates pairs from `size` (at least 1) bytes into [pairs, pairsEnd), which has room.
Parsed generate(EncodeState& state, const uint8_t* src, uint32_t size, U32* pairs, U32* pairsEnd,
                Lz77Flush flush) {
    const bool fullFlush = flush == Lz77FlushFull;
    const bool afterFullFlush = state.lastFlush == Lz77FlushFull;
    if (fullFlush && state.wideTables == 0) {
        NarrowTables::widen(state.history);
        state.wideTables = 1;
    }
    state.lastFlush = flush;
    if (state.wideTables == 0 && state.level == Lz77LevelBest) {
        return parseBest(state, src, size, pairs, pairsEnd);
    }
    Parsed parsed{};
    if (state.wideTables == 0) {
        parsed = parse<Reach::window, NarrowTables>(state, src, size, pairs, pairsEnd);
    } else if (fullFlush || afterFullFlush) {
        parsed = parse<Reach::anyDistance, WideTables>(state, src, size, pairs, pairsEnd);
    } else {
        parsed = parse<Reach::window, WideTables>(state, src, size, pairs, pairsEnd);
    }
    if (fullFlush) {
        dropHistory(state.history);
    } else {
        endCall(state.history, src, parsed.consumed);
    }
    return parsed;
}

// The pairs that land in the state's own buffer count as collected there.
void collect(EncodeState& state, const U32* pairs, const U32* pairsEnd) {
    const auto first = reinterpret_cast<uintptr_t>(pairs);
    const auto own = reinterpret_cast<uintptr_t>(state.ownPairs);
    if (state.callerPairs.get() == nullptr && first - own < sizeof state.ownPairs) {
        // Modulo 2^32: the caller may have set any index.
        state.pairIndex = static_cast<int32_t>(static_cast<uint32_t>(state.pairIndex.value) +
                                               static_cast<uint32_t>(pairsEnd - pairs));
    }
}

}  // namespace
}  // namespace zeldc::deflate

extern "C" ZelStatus zelsEncodeLZ77_8u(const uint8_t** ppSrc, int32_t* pSrcLen, Lz77Pair** ppPairs,
                                       int32_t* pPairsLen, Lz77Flush flush,
                                       Lz77EncodeState* pState) {
    using namespace zeldc;
    if (ppSrc == nullptr || pPairsLen == nullptr || pSrcLen == nullptr || ppPairs == nullptr) {
        return zelStsNullPointer;
    }
    if (*ppPairs == nullptr || pState == nullptr) return zelStsNullPointer;
    if (*pPairsLen < 0 || *pSrcLen < 0) return zelStsBadSize;
    if (*pPairsLen == 0) return zelStsDstFull;
    if (*pSrcLen == 0) return zelStsOk;

    auto& state = stateAt<deflate::EncodeState>(pState);
    const uint8_t* const src = *ppSrc;
    const auto size = static_cast<uint32_t>(*pSrcLen);
    U32* const pairs = anyAlignment(reinterpret_cast<uint32_t*>(*ppPairs));
    // No more than one pair a byte, and the end of a longer array may lie beyond all addresses.
    const int32_t room = std::min(*pPairsLen, *pSrcLen);
    const auto [consumed, pairNext] =
        deflate::generate(state, src, size, pairs, pairs + room, flush);
    deflate::collect(state, pairs, pairNext);

    // A full-flush call accounts for the end position that it reached, which is more than what it
    // consumed when the counter was not 0 at entry.
    const bool fullFlush = flush == Lz77FlushFull;
    const uint32_t reached = state.totalIn + consumed;
    const auto counted = static_cast<int32_t>(fullFlush ? reached : consumed);
    state.totalIn = fullFlush ? 0 : reached;
    if (counted > 0) deflate::updateChecksum(state, src, static_cast<size_t>(counted));

    *ppSrc = reinterpret_cast<const uint8_t*>(reinterpret_cast<uintptr_t>(src) +
                                              static_cast<uintptr_t>(intptr_t{counted}));
    *pSrcLen = static_cast<int32_t>(size - static_cast<uint32_t>(counted));
    state.sourceLeft = *pSrcLen;
    *ppPairs += pairNext - pairs;
    *pPairsLen -= static_cast<int32_t>(pairNext - pairs);
    return consumed < size ? zelStsDstFull : zelStsOk;
}
