// Array entries: positions, with a top bit that a sort uses for its own ends.
#pragma once

#include <cstdint>

namespace zeldc::blocksort {

template <class Index>
constexpr Index kFlag = static_cast<Index>(Index{1} << (sizeof(Index) * 8 - 1));

template <class Index>
constexpr unsigned kFlagShift = sizeof(Index) * 8 - 1;

template <class Index>
constexpr Index withoutFlag(Index entry) {
    return entry & static_cast<Index>(~kFlag<Index>);
}

// Prefetches text[position], where the position may be anything.
template <class Index, class Symbol>
void prefetchSymbol(const Symbol* text, Index position) {
    const auto address = reinterpret_cast<uintptr_t>(text) + uintptr_t{position} * sizeof(Symbol);
    __builtin_prefetch(reinterpret_cast<const void*>(address));
}

}  // namespace zeldc::blocksort
