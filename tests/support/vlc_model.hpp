// Variable-length codes as they are understood without tables: records, bit strings, and a decoder
// that compares prefixes. What the library computes is held against these.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/shapes.hpp"
#include "zeldc.h"

namespace support {

using Bits = std::string;  // of '0' and '1'

inline Bits codeBits(uint32_t code, int32_t length) {
    Bits bits;
    for (int32_t i = length; i-- > 0;)
        bits += static_cast<char>('0' + (code >> i & 1));
    return bits;
}

struct VlcCode {
    std::vector<VlcCodeRecord> records;
    std::vector<int32_t> widths;

    int32_t count() const { return static_cast<int32_t>(records.size()); }
    int32_t widthCount() const { return static_cast<int32_t>(widths.size()); }
    Bits bitsOf(size_t record) const {
        return codeBits(static_cast<uint32_t>(records[record].code), records[record].length);
    }
    int32_t longest() const {
        int32_t longest = 0;
        for (const auto& record : records)
            longest = std::max(longest, record.length);
        return longest;
    }
    // The record whose code the bits at `position` begin with, or -1.
    int32_t match(const Bits& stream, size_t position) const {
        for (size_t i = 0; i < records.size(); ++i) {
            const Bits bits = bitsOf(i);
            if (stream.compare(position, bits.size(), bits) == 0) return static_cast<int32_t>(i);
        }
        return -1;
    }
};

// The widths as kept.
inline std::vector<int32_t> cutWidths(const VlcCode& code) {
    std::vector<int32_t> kept;
    for (int32_t left = code.longest(); left > 0; left -= kept.back())
        kept.push_back(std::min(code.widths[kept.size()], left));
    return kept;
}

// A prefix code of `count` leaves of a randomly grown tree, in random order, with junk above the
// codes; `keep` of 100 leaves stay in it. Values are distinct and below 2^valueBits in magnitude.
inline VlcCode randomCode(Random& random, size_t count, int32_t longest, uint32_t keep = 100,
                          uint32_t valueBits = 15) {
    std::vector<Bits> leaves{"0", "1"};
    while (leaves.size() < count) {
        const bool deep = random.below(2) == 0;  // grow long codes as well as bushy ones
        const size_t i =
            deep ? leaves.size() - 1 : random.below(static_cast<uint32_t>(leaves.size()));
        if (static_cast<int32_t>(leaves[i].size()) >= longest) {
            if (random.below(64) == 0) break;
            continue;
        }
        leaves.push_back(leaves[i] + '1');
        leaves[i] += '0';
    }
    std::set<int32_t> values;
    VlcCode code;
    for (const Bits& leaf : leaves) {
        if (random.below(100) >= keep && !code.records.empty()) continue;
        int32_t value = 0;
        do {
            value = static_cast<int32_t>(random.below(2U << valueBits)) - (1 << valueBits);
        } while (!values.insert(value).second);
        uint32_t bits = static_cast<uint32_t>(random.next());
        for (const char c : leaf)
            bits = bits << 1 | static_cast<uint32_t>(c - '0');
        code.records.push_back(
            {value, static_cast<int32_t>(bits), static_cast<int32_t>(leaf.size())});
    }
    for (size_t i = code.records.size(); i-- > 1;)
        std::swap(code.records[i], code.records[random.below(static_cast<uint32_t>(i + 1))]);
    return code;
}

// Widths of at most `widest` bits that reach the longest code, with more behind them that nobody
// may look at.
inline void randomWidths(Random& random, VlcCode& code, uint32_t widest) {
    int32_t sum = 0;
    code.widths.clear();
    while (sum < code.longest()) {
        code.widths.push_back(static_cast<int32_t>(1 + random.below(widest)));
        sum += code.widths.back();
    }
    if (random.below(2) == 0) code.widths.push_back(-1);
}

// Entries that a table has: the first sub-table, and one for each prefix that codes run through.
inline int64_t modelEntryCount(const VlcCode& code) {
    int64_t entries = 0;
    int32_t resolved = 0;
    for (const int32_t width : cutWidths(code)) {
        std::set<Bits> prefixes;
        for (size_t i = 0; i < code.records.size(); ++i) {
            const Bits bits = code.bitsOf(i);
            if (static_cast<int32_t>(bits.size()) > resolved)
                prefixes.insert(bits.substr(0, static_cast<size_t>(resolved)));
        }
        entries += static_cast<int64_t>(prefixes.empty() ? 1 : prefixes.size()) *
                   ((int64_t{1} << width) + 1);
        resolved += width;
    }
    return entries;
}

inline uint32_t bitsFor(uint64_t value) {  // smallest n with 2^n > value
    uint32_t n = 0;
    while ((uint64_t{1} << n) <= value)
        ++n;
    return n;
}

}  // namespace support
