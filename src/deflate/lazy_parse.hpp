// The best level's parse, over any search.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/hash_chain.hpp"
#include "core/unaligned.hpp"
#include "deflate/pairs.hpp"

namespace zeldc::deflate {

constexpr uint32_t kBestCandidates = 512;
// A match of three bytes does not pay beyond this distance.
constexpr uint32_t kFarthestShortMatch = 4096;
// The last bytes of a call, which no match covers.
constexpr uint32_t kBestTail = 3;

// What a position has from the search one before it: a match, or, where it does not count as one,
// that there is none. Of length 0 when that was not searched for.
struct Carried {
    uint32_t length = 0;
    uint32_t distance = 0;
};

// One step of lazy evaluation: a match gives way to a strictly longer one at the next position,
// which is then carried over to it. Steps begin at p and before `pause`, while there is room for
// pairs; returns the position reached. Matches end at `stop`, where `pause` is or before it.
template <class Search>
[[gnu::always_inline]] inline uint32_t parseLazily(Search& search, uint32_t p, uint32_t pause,
                                                   uint32_t stop, Carried& carriedIn, U32*& pairs,
                                                   U32* pairEnd) {
    const auto limitAt = [stop](uint32_t at) { return std::min(stop - at, kMaxMatch); };
    U32* pairNext = pairs;
    bool carried = carriedIn.length != 0;
    Match here{carriedIn.length, p - carriedIn.distance};
    while (p < pause && pairNext != pairEnd) {
        search.beginStep(p, static_cast<size_t>(pairEnd - pairNext));
        const uint32_t q = search.insert(p);
        if (!carried) here = search.longest(p, q, limitAt(p), kBestCandidates);
        const uint32_t distance = p - here.position;
        const bool pays = here.length > kMinMatch ||
                          (here.length == kMinMatch && distance <= kFarthestShortMatch);
        // Where the match here pays, only a strictly longer one at the next position matters.
        const Match next = search.longest(p + 1, search.candidateAt(p + 1), limitAt(p + 1),
                                          kBestCandidates, pays ? here.length : kMinMatch - 1);
        carried = here.length < next.length || !pays;
        if (carried) {
            *pairNext++ = literalPair(*search.at(p++));
            here = next;
            continue;
        }
        *pairNext++ = pairOf(here.length, distance);
        search.insertUpTo(p + 1, p + here.length);
        p += here.length;
    }
    pairs = pairNext;
    carriedIn = carried ? Carried{here.length, p - here.position} : Carried{};
    return p;
}

}  // namespace zeldc::deflate
