// A call at the best level, in parts: along chains or in sorted blocks, whichever promises to be
// faster. The pairs are the same.
#include "deflate/parse_best.hpp"

#include <algorithm>
#include <cstdint>

#include "core/hash_chain.hpp"
#include "deflate/lazy_parse.hpp"
#include "deflate/sorted_search.hpp"

namespace zeldc::deflate {
namespace {

// What it takes to sort, in remote candidates on chains that it would save: with the tables to be
// made again afterwards, and for one block more.
constexpr uint32_t kWorthSorting = 49152;
constexpr uint32_t kWorthAnotherBlock = 32768;
// The most positions between two looks at what is faster, and the first ones of a stream, of which
// nothing is known.
constexpr uint32_t kPart = 32768;
constexpr uint32_t kFirstPart = 4096;
// Shorter parts tell nothing.
constexpr uint32_t kTellingPart = 1024;

// The part of a call that is still to be parsed.
struct Rest {
    const uint8_t* src;
    uint32_t size;
    U32* pairNext;
    U32* pairEnd;
    Carried carried{};

    uint32_t room() const { return static_cast<uint32_t>(pairEnd - pairNext); }
    bool searchable() const { return size > kBestTail && pairNext != pairEnd; }
    void consume(uint32_t count) {
        src += count;
        size -= count;
    }
};

void note(EncodeState& state, uint32_t candidates, uint32_t positions) {
    if (positions < kTellingPart) return;
    // At most 512 candidates a search, and two searches a position.
    const uint32_t effort = static_cast<uint32_t>(uint64_t{candidates} * 256 / positions);
    state.effort = std::max(effort, uint32_t{1});
}

// How many remote candidates the next block is expected to have.
uint32_t candidatesAhead(const EncodeState& state, const Rest& rest) {
    return state.effort * (std::min({rest.size, rest.room(), kPart}) / 256);
}

void parseAlongChains(EncodeState& state, Rest& rest, uint32_t most) {
    const CallText text = beginCall<NarrowTables>(state.history, rest.src, rest.size);
    const uint32_t first = text.first();
    const uint32_t stop = text.end() - kBestTail;
    AheadSearch<Counting::on> search(state.history, text, stop);
    const uint32_t pause = first + std::min(stop - first, most);
    const uint32_t reached =
        parseLazily(search, first, pause, stop, rest.carried, rest.pairNext, rest.pairEnd);
    search.end(reached);
    note(state, search.remoteCandidates(), reached - first);
    endCall(state.history, rest.src, reached - first);
    rest.consume(reached - first);
}

void parseBlock(EncodeState& state, SortedSearch& search, Rest& rest) {
    constexpr uint32_t first = SortedSearch::kFirst;
    const uint32_t seen = search.remoteCandidates();
    const uint32_t end = first + search.beginBlock(rest.src, rest.size, kBestTail);
    const uint32_t stop = first + rest.size - kBestTail;
    // A step searches at the position after its own, too; at `stop` there is nothing to be found.
    const uint32_t pause = end == stop ? end : end - 1;
    const uint32_t reached =
        parseLazily(search, first, pause, stop, rest.carried, rest.pairNext, rest.pairEnd);
    search.endBlock(reached);
    note(state, search.remoteCandidates() - seen, reached - first);
    rest.consume(reached - first);
}

void parseSorted(EncodeState& state, Rest& rest) {
    SortedSearch search(state.history);
    if (!search.possible()) return parseAlongChains(state, rest, kPart);
    do {
        parseBlock(state, search, rest);
    } while (rest.searchable() && candidatesAhead(state, rest) >= kWorthAnotherBlock);
    search.finish();
}

// The end of a call, whose positions are not inserted.
void takeLiterals(EncodeState& state, Rest& rest) {
    const CallText text = beginCall<NarrowTables>(state.history, rest.src, rest.size);
    const uint32_t count = std::min({rest.size, rest.room(), kBestTail});
    NarrowTables tables(state.history);
    tables.makeRoomInChain(text.first());
    for (uint32_t p = text.first(); p != text.first() + count; ++p) {
        *rest.pairNext++ = literalPair(*text.at(p));
        tables.leaveOut(p);
    }
    endCall(state.history, rest.src, count);
    rest.consume(count);
}

}  // namespace

Parsed parseBest(EncodeState& state, const uint8_t* src, uint32_t size, U32* pairs, U32* pairEnd) {
    Rest rest{src, size, pairs, pairEnd};
    while (rest.searchable()) {
        if (candidatesAhead(state, rest) >= kWorthSorting) {
            parseSorted(state, rest);
        } else {
            parseAlongChains(state, rest, state.effort == 0 ? kFirstPart : kPart);
        }
    }
    takeLiterals(state, rest);
    return {size - rest.size, rest.pairNext};
}

}  // namespace zeldc::deflate
