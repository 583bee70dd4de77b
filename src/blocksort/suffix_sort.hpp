// The Burrows-Wheeler transform of a Lyndon word by induced sorting (Nong, Zhang and Chan, "Two
// efficient algorithms for linear time suffix array construction", 2011).
//
// A Lyndon word is one that is smaller than all its other rotations. For it the order of suffixes
// is the order of rotations, and the ring needs no sentinel: position 0 is the least suffix, of
// type S, behind a position of type L, so that induction starts from it. The word of names that
// the method recurses on is a Lyndon word again.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeldc::blocksort {

// Entries of the tables of a sort of bytes.
constexpr size_t kByteTables = 9 * 256;

// Bytes of the word's start that are repeated behind its end.
constexpr size_t kReadAhead = 3;

// The memory of a sort of n bytes. Index is uint16_t for n up to 32,768, else uint32_t; its top bit
// is never part of a position except for the alias of position 0.
template <class Index>
struct SortSpace {
    Index* array;  // n entries
    Index* cursors;
    size_t cursorCount;  // n / 4 at least
    Index* tables;       // kByteTables entries
};

// Writes the transform of the n >= 2 bytes at `text`, a Lyndon word, to `dst` and returns the row
// of the rotation that starts at `wanted`. text[-1] must hold the last byte, and
// text[n, n + kReadAhead) the first ones.
template <class Index>
size_t transformLyndonWord(const uint8_t* text, size_t n, size_t wanted, uint8_t* dst,
                           const SortSpace<Index>& space);

extern template size_t transformLyndonWord(const uint8_t*, size_t, size_t, uint8_t*,
                                           const SortSpace<uint16_t>&);
extern template size_t transformLyndonWord(const uint8_t*, size_t, size_t, uint8_t*,
                                           const SortSpace<uint32_t>&);

}  // namespace zeldc::blocksort
