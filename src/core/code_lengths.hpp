// Huffman code lengths from symbol counts, their limitation, and canonical codes: the part in
// which the coders that design codes of their own agree.
#pragma once

#include <cassert>
#include <cstdint>

namespace zeldc {

// A tree of depth d needs a total weight of at least Fibonacci(d + 2), and Fibonacci(48) is above
// 2^32.
constexpr int32_t kDeepestTree = 45;

// Turns `count` weights in ascending order into the depths of their leaves in a Huffman tree, which
// descend (the lightest symbol lies deepest). Weights are 1 or more and their sum is below 2^32.
// Among equal weights a leaf is merged before an inner node, which gives the shallowest of the
// optimal trees. A single symbol gets length 1.
//
// Both queues of the construction and the tree share the array (Moffat and Katajainen, "In-place
// calculation of minimum-redundancy codes", 1995): inner nodes are made in ascending order of
// weight, and entry i of the array stops being a leaf before inner node i is made.
inline void huffmanDepths(uint32_t* weights, int32_t count) {
    if (count < 2) {
        if (count == 1) weights[0] = 1;
        return;
    }
    uint32_t* const nodes = weights;
    const int32_t top = count - 2;  // the last inner node made, the root

    // Inner node `made` takes the two lightest; a node that is taken keeps its parent instead of
    // its weight.
    int32_t leaf = 0;
    int32_t inner = 0;
    for (int32_t made = 0; made <= top; ++made) {
        uint32_t sum = 0;
        for (int32_t child = 0; child < 2; ++child) {
            const bool takeLeaf = leaf < count && (inner == made || nodes[leaf] <= nodes[inner]);
            if (takeLeaf) {
                sum += nodes[leaf++];
            } else {
                sum += nodes[inner];
                nodes[inner++] = static_cast<uint32_t>(made);
            }
        }
        nodes[made] = sum;
    }

    // Parents become depths, from the root down.
    nodes[top] = 0;
    for (int32_t node = top; node-- > 0;)
        nodes[node] = nodes[nodes[node]] + 1;

    // Of the places at a depth, those that are not inner nodes are leaves; the heaviest come first.
    int32_t node = top;
    int32_t symbol = count - 1;
    int32_t places = 1;
    for (uint32_t depth = 0; places > 0; ++depth) {
        int32_t innerHere = 0;
        for (; node >= 0 && nodes[node] == depth; --node)
            ++innerHere;
        for (int32_t leaves = places - innerHere; leaves > 0; --leaves)
            weights[symbol--] = depth;
        places = 2 * innerHere;
    }
}

// Shortens the lengths of a complete code, in descending order as huffmanDepths leaves them, to
// `limit` bits. Each pair of codes at an excessive length L becomes one code at L - 1, and the
// symbol that is over goes beside the longest code shorter than the limit, both one bit longer
// than that code was (the method of ITU-T T.81, K.2). The new lengths are dealt out in the same
// order, longest first. 2^limit must not be below `count`.
inline void limitLengths(uint32_t* lengths, int32_t count, int32_t limit) {
    if (count < 1 || lengths[0] <= static_cast<uint32_t>(limit)) return;
    int32_t codesOf[kDeepestTree + 1] = {};
    const auto deepest = static_cast<int32_t>(lengths[0]);
    assert(deepest <= kDeepestTree);
    for (int32_t i = 0; i < count; ++i)
        ++codesOf[lengths[i]];

    int32_t shortestSplit = limit;
    for (int32_t length = deepest; length > limit; --length) {
        for (; codesOf[length] > 0; codesOf[length] -= 2) {
            int32_t split = limit - 1;
            while (split > 1 && codesOf[split] == 0)
                --split;
            --codesOf[split];
            codesOf[split + 1] += 2;
            ++codesOf[length - 1];
            if (split < shortestSplit) shortestSplit = split;
        }
    }

    // Below the shortest length that was split nothing changed.
    int32_t dealt = 0;
    for (int32_t length = limit; length >= shortestSplit; --length) {
        for (int32_t i = codesOf[length]; i > 0; --i)
            lengths[dealt++] = static_cast<uint32_t>(length);
    }
}

// Canonical codes (RFC 1951, section 3.2.2): shorter codes first, and in order of `take` calls
// within a length. Lengths are below 32; symbols of length 0 have no code.
class CanonicalCodes {
  public:
    template <class Length>
    CanonicalCodes(const Length* lengths, int32_t count) {
        for (int32_t i = 0; i < count; ++i)
            ++next_[lengths[i]];
        uint32_t code = 0;
        for (uint32_t& entry : next_) {
            const uint32_t codes = &entry == next_ ? 0 : entry;
            entry = code;
            code = (code + codes) << 1;
        }
    }

    // The next code of this length, right-aligned.
    uint32_t take(uint32_t length) { return next_[length]++; }

  private:
    uint32_t next_[32] = {};
};

}  // namespace zeldc
