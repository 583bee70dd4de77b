// Tells LMS positions apart whose substrings are the same, by the bytes that follow.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blocksort/index_flag.hpp"
#include "blocksort/suffix_sort.hpp"
#include "core/unaligned.hpp"

namespace zeldc::blocksort {

// Divides groups of LMS positions by as many bytes as pay: where most substrings differ anyway,
// little is then left for the levels below. A group may be given up at any depth, for the next LMS
// position stands at the same distance in all of its members, and is compared below.
//
// A group is sorted by its next bytes, and the groups that it divides into likewise, so that the
// text around the positions of a small group is fetched once. Large groups are divided by a byte,
// small ones by four.
class PrefixSorter {
  public:
    using Index = uint32_t;

    // text[n, n + kReadAhead) repeats the text's start. `positions` holds `count` positions, the
    // last of each group flagged, and has room for as many again; `bytes` has room for `count`.
    PrefixSorter(const uint8_t* text, size_t n, Index* positions, size_t count, uint8_t* bytes)
        : text_(text),
          n_(n),
          positions_(positions),
          count_(count),
          spare_(positions + count),
          bytes_(bytes),
          largeSteps_(kLargeSteps * count) {}

    void sort() {
        for (Index* group = positions_; group != positions_ + count_;) {
            Index* const end = endOf(group);
            if (end - group > 1) {
                end[-1] &= ~kTop;
                const size_t depth = lengthOfSubstring(*group);
                refine(group, end, depth, depth + kDepth);
            }
            group = end;
        }
    }

  private:
    static constexpr Index kTop = kFlag<Index>;
    // Bytes behind the LMS substring that are looked at, where positions are few ...
    static constexpr size_t kDepth = 32;
    static constexpr size_t kFew = 64;
    // ... and steps per position that large groups may take in all.
    static constexpr size_t kLargeSteps = 8;

    static Index* endOf(Index* group) {
        while (!(*group++ & kTop)) {
        }
        return group;
    }

    // Sorts [begin, end), equal in the first `depth` bytes, and flags the last of each group that
    // is left.
    void refine(Index* begin, Index* end, size_t depth, size_t limit) {
        while (end - begin > 1 && depth < limit) {
            const auto size = static_cast<size_t>(end - begin);
            if (size == 2) {
                sortTwo(begin, depth, limit);
                return;
            }
            if (size <= kFew) {
                rank(begin, size, depth);
                depth += kKeyBytes;
            } else {
                if (largeSteps_ < size) break;
                largeSteps_ -= size;
                distribute(begin, size, depth);
                depth += 1;
            }
            // The largest group comes last, so that the others nest at most log2(n) deep.
            Index* largest = begin;
            Index* largestEnd = begin;
            for (Index* group = begin; group != end;) {
                Index* groupEnd = endOf(group);
                Index* const next = groupEnd;
                if (groupEnd - group > largestEnd - largest) {
                    std::swap(group, largest);
                    std::swap(groupEnd, largestEnd);
                }
                if (groupEnd - group > 1) {
                    groupEnd[-1] &= ~kTop;
                    refine(group, groupEnd, depth, limit);
                }
                group = next;
            }
            begin = largest;
            end = largestEnd;
            end[-1] &= ~kTop;
        }
        end[-1] |= kTop;
    }

    static constexpr size_t kKeyBytes = 4;
    static_assert(kReadAhead >= kKeyBytes - 1);

    size_t wrapped(size_t i) const { return i >= n_ ? i - n_ : i; }
    uint32_t keyAt(size_t i) const { return loadBe<uint32_t>(text_ + wrapped(i)); }

    // From an LMS position to the next one, with the symbol there: up, down, and the bytes that are
    // equal to the lowest are the next one's.
    size_t lengthOfSubstring(size_t position) const {
        size_t i = position;
        const auto here = [&] { return text_[wrapped(i)]; };
        const auto next = [&] { return text_[wrapped(i + 1)]; };
        while (here() <= next())
            ++i;
        size_t lowest = i;
        for (; here() >= next(); ++i) {
            if (here() > next()) lowest = i + 1;
        }
        return lowest - position + 1;
    }

    void sortTwo(Index* pair, size_t depth, size_t limit) const {
        const Index a = pair[0];
        const Index b = pair[1];
        for (; depth < limit; depth += kKeyBytes) {
            const uint32_t keyA = keyAt(a + depth);
            const uint32_t keyB = keyAt(b + depth);
            if (keyA == keyB) continue;
            pair[0] = (keyA < keyB ? a : b) | kTop;
            pair[1] = (keyA < keyB ? b : a);
            break;
        }
        pair[1] |= kTop;
    }

    // Sorts a few positions by the four bytes at `depth`: each goes behind as many as have lesser
    // ones, counted without a branch.
    [[gnu::noinline]] void rank(Index* group, size_t size, size_t depth) const {
        constexpr size_t kLanes = 4;
        alignas(16) uint32_t keys[kFew];
        alignas(16) uint32_t less[kFew];
        Index positions[kFew];
        uint8_t taken[kFew] = {};
        const size_t padded = (size + kLanes - 1) & ~(kLanes - 1);
        for (size_t i = 0; i < size; ++i) {
            positions[i] = group[i];
            keys[i] = keyAt(group[i] + depth) ^ 0x80000000U;  // SSE2 compares signed numbers
        }
        for (size_t i = size; i < padded; ++i)
            keys[i] = 0x7FFFFFFF;
        for (size_t i = 0; i < padded; i += kLanes) {
            const __m128i mine = _mm_load_si128(reinterpret_cast<const __m128i*>(keys + i));
            __m128i sum = _mm_setzero_si128();
            for (size_t j = 0; j < size; ++j) {
                const __m128i other = _mm_set1_epi32(static_cast<int>(keys[j]));
                sum = _mm_sub_epi32(sum, _mm_cmpgt_epi32(mine, other));
            }
            _mm_store_si128(reinterpret_cast<__m128i*>(less + i), sum);
        }
        for (size_t i = 0; i < size; ++i) {
            const size_t slot = less[i] + taken[less[i]]++;
            group[slot] = positions[i];
        }
        for (size_t first = 0; first < size; first += taken[first])
            group[first + taken[first] - 1] |= kTop;
    }

    // Sorts many positions by the byte at `depth`.
    [[gnu::noinline]] void distribute(Index* group, size_t size, size_t depth) const {
        uint32_t cursors[256] = {};
        for (size_t i = 0; i < size; ++i) {
            const uint8_t byte = text_[wrapped(group[i] + depth)];
            bytes_[i] = byte;
            ++cursors[byte];
        }
        uint32_t row = 0;
        for (uint32_t& cursor : cursors) {
            const uint32_t count = cursor;
            cursor = row;
            row += count;
        }
        for (size_t i = 0; i < size; ++i)
            spare_[cursors[bytes_[i]]++] = group[i];
        std::memcpy(group, spare_, size * sizeof(Index));
        uint32_t before = 0;
        for (const uint32_t end : cursors) {
            if (end != before) group[end - 1] |= kTop;
            before = end;
        }
    }

    const uint8_t* text_;
    size_t n_;
    Index* positions_;
    size_t count_;
    Index* spare_;
    uint8_t* bytes_;
    size_t largeSteps_;
};

}  // namespace zeldc::blocksort
