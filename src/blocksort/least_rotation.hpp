// The least rotation of a block and its shortest period, in linear time and no memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zeldc::blocksort {

struct LeastRotation {
    size_t start;   // the first position at which the least rotation begins
    size_t period;  // the block is a word of this many bytes, repeated; len where it is not
};

// `twice` holds the block of `len` bytes two times over. Two candidates are compared; the loser is
// struck out together with as many starts behind it as bytes were equal, for its rival's
// successors beat those in the same way. So each comparison of k bytes moves a candidate by k.
inline LeastRotation leastRotation(const uint8_t* twice, size_t len) {
    size_t best = 0;
    size_t rival = 1;
    while (rival < len) {
        size_t same = 0;
        while (same < len && twice[best + same] == twice[rival + same])
            ++same;
        // Nothing between the two was left standing, so they are neighbours.
        if (same == len) return {best, rival - best};
        if (twice[best + same] < twice[rival + same]) {
            rival += same + 1;
        } else {
            best = std::max(rival, best + same + 1);
            rival = best + 1;
        }
    }
    return {best, len};
}

}  // namespace zeldc::blocksort
