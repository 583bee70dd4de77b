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

// Per byte value: how its positions divide by type, and where the next one of a kind goes.
// The kinds, and the column of a position of one, are 2 * (it is type S) + (the one before is).
template <class Index>
struct ByteTables {
    struct Queue {
        Index cursor;
        Index group;  // the group whose entry came last into this queue
    };
    Index counts[256][4];
    Queue queues[256][2];
    Index rows[256];
};

// The memory of a sort of n bytes. Index is uint16_t for n up to 32,768, else uint32_t; its top bit
// is never part of a position except for the alias of position 0.
template <class Index>
struct SortSpace {
    Index* array;    // n entries
    Index* cursors;
    size_t cursorCount;  // n / 4 at least
    ByteTables<Index>* tables;
};

// Writes the transform of the n >= 2 bytes at `text`, a Lyndon word, to `dst` and returns the row of
// the rotation that starts at `wanted`. text[-1] and text[n] must hold the last and first byte.
template <class Index>
size_t transformLyndonWord(const uint8_t* text, size_t n, size_t wanted, uint8_t* dst,
                           const SortSpace<Index>& space);

extern template size_t transformLyndonWord(const uint8_t*, size_t, size_t, uint8_t*,
                                           const SortSpace<uint16_t>&);
extern template size_t transformLyndonWord(const uint8_t*, size_t, size_t, uint8_t*,
                                           const SortSpace<uint32_t>&);

}  // namespace zeldc::blocksort
