// When two neighbouring slots exchange their values: the rule that encoder and decoder share.
#pragma once

#include <cstdint>
#include <limits>

#include "git/git_state.hpp"

namespace zeldc::git {

enum class Ordering {
    fixed,         // slots keep their values
    towardsFirst,  // a slot that overtakes its lower neighbour in occurrences moves down
    towardsLast,   // a slot that overtakes its upper neighbour moves up
};

constexpr int32_t kUnprimed = 3;  // the strategy without priming; its order is fixed

constexpr Ordering orderingOf(int32_t strategy) {
    if (strategy == 0 || strategy == 1) return Ordering::towardsFirst;
    return strategy == 2 ? Ordering::towardsLast : Ordering::fixed;
}

// The last slot never takes part.
template <Ordering ordering>
constexpr bool mayMove(uint32_t slot) {
    if constexpr (ordering == Ordering::fixed) return false;
    return ordering == Ordering::towardsFirst ? slot - 1 < kLastSlot - 1 : slot + 1 < kLastSlot;
}

template <Ordering ordering>
constexpr uint32_t partnerOf(uint32_t slot) {
    return ordering == Ordering::towardsFirst ? slot - 1 : slot + 1;
}

// How many more occurrences in `slot`, at least one, make it exchange with its partner, if nothing
// occurs elsewhere.
template <Ordering ordering>
inline uint32_t occurrencesToExchange(const uint32_t* counts, uint32_t slot) {
    if (!mayMove<ordering>(slot)) return std::numeric_limits<uint32_t>::max();
    const uint32_t mine = counts[slot];
    const uint32_t others = counts[partnerOf<ordering>(slot)];
    return mine < others ? others - mine + 1 : 1;
}

}  // namespace zeldc::git
