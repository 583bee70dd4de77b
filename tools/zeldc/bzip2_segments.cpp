#include "bzip2_segments.hpp"

#include <algorithm>
#include <array>

#include "bzip2_format.hpp"

namespace tool::bzip2 {
namespace {

constexpr size_t kReadSize = size_t{64} << 10;
constexpr size_t kMarkBytes = 7;  // that 48 bits at any bit may touch
constexpr size_t kLookahead = 8;
// A block of 900,000 symbols of 20 bits, with its tables, stays below 3 MB.
constexpr size_t kMaxSegment = size_t{4} << 20;

// Both marks at all eight bits of a byte are sixteen patterns, of which the second and the third
// byte are fully known. Each table tells, for a value of that byte, the patterns that have it; the
// patterns that both tables name are rare enough to be compared in full.
using PatternTable = std::array<uint16_t, 256>;

constexpr PatternTable makeTable(unsigned byteIndex) {
    PatternTable table{};
    for (unsigned pattern = 0; pattern < 16; ++pattern) {
        const uint64_t mark = pattern < 8 ? kBlockMagic : kEndMagic;
        const unsigned shift = kMagicBits - 8 * (byteIndex + 1) + pattern % 8;
        table[mark >> shift & 0xFF] |= static_cast<uint16_t>(1U << pattern);
    }
    return table;
}

constexpr PatternTable kSecondByte = makeTable(1);
constexpr PatternTable kThirdByte = makeTable(2);

struct Mark {
    bool found = false;
    uint64_t bit = 0;
    bool end = false;
};

Mark compare(const uint8_t* src, uint64_t bit, unsigned patterns, uint64_t fromBit) {
    uint64_t bits = 0;
    for (size_t i = 0; i < kMarkBytes; ++i)
        bits = bits << 8 | src[i];
    for (unsigned shift = 0; shift < 8; ++shift) {
        if ((patterns >> shift & 0x101) == 0 || bit + shift < fromBit) continue;
        const uint64_t value = bits >> (8 - shift) & ((uint64_t{1} << kMagicBits) - 1);
        if (value == kBlockMagic || value == kEndMagic) {
            return {true, bit + shift, value == kEndMagic};
        }
    }
    return {};
}

// The first mark from this bit on that lies within the bytes.
Mark findMark(const std::vector<uint8_t>& bytes, uint64_t fromBit) {
    const uint8_t* data = bytes.data();
    for (auto i = static_cast<size_t>(fromBit / 8); i + kMarkBytes <= bytes.size(); ++i) {
        const unsigned patterns = kSecondByte[data[i + 1]] & kThirdByte[data[i + 2]];
        if (patterns == 0) continue;
        const Mark mark = compare(data + i, uint64_t{i} * 8, patterns, fromBit);
        if (mark.found) return mark;
    }
    return {};
}

}  // namespace

bool Splitter::next(Segment& segment) {
    if (finished_) return false;
    segment.kind = kind_;
    segment.startBit = startBit_;
    segment.last = segment.cut = false;
    std::vector<uint8_t>& bytes = segment.bytes;
    bytes.assign(carry_.begin(), carry_.end());
    const uint64_t base = segment.startByte() * 8;
    uint64_t searchFrom = startBit_ - base + (kind_ == Segment::Kind::prefix ? 0 : 1);

    for (;;) {
        const Mark mark = findMark(bytes, searchFrom);
        if (mark.found) {
            const auto at = static_cast<size_t>(mark.bit / 8);
            segment.endBit = startBit_ = base + mark.bit;
            kind_ = mark.end ? Segment::Kind::end : Segment::Kind::block;
            carry_.assign(bytes.begin() + static_cast<ptrdiff_t>(at), bytes.end());
            bytes.resize(std::min(bytes.size(), at + kLookahead));
            return true;
        }
        if (bytes.size() >= kMarkBytes) {
            searchFrom = std::max(searchFrom, uint64_t{bytes.size() - kMarkBytes + 1} * 8);
        }
        const size_t size = bytes.size();
        segment.cut = size >= kMaxSegment;
        bytes.resize(size + (segment.cut ? 0 : kReadSize));
        const size_t got = source_.take(bytes.data() + size, bytes.size() - size);
        bytes.resize(size + got);
        if (got == 0) break;
    }
    finished_ = segment.last = true;
    segment.endBit = base + uint64_t{bytes.size()} * 8;
    return true;
}

}  // namespace tool::bzip2
