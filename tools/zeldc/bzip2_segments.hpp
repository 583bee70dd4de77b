// Cuts a .bz2 file where the marks of blocks and of stream ends appear, at any bit, so that blocks
// can be decoded side by side. A mark may also appear in a block's data by chance, or by malice:
// who joins the segments again finds out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "byte_source.hpp"
#include "bzip2_block.hpp"

namespace tool::bzip2 {

struct Segment {
    enum class Kind { prefix, block, end };

    Kind kind = Kind::prefix;  // what its first bits say; prefix: the file's first segment
    uint64_t startBit = 0;     // in the input
    uint64_t endBit = 0;       // where the next segment begins
    bool last = false;         // no mark follows
    bool cut = false;          // as long as no block can be, and cut off there
    // From the byte that holds the first bit to a few bytes behind the last one, which the decoder
    // wants to see.
    std::vector<uint8_t> bytes;

    // Of a block: what a worker made of it.
    DecodeResult result = DecodeResult::needMore;
    RestoredBlock block;

    uint64_t startByte() const { return startBit / 8; }
    // Bytes that hold bits of the segment, without those behind it.
    size_t ownBytes() const { return static_cast<size_t>((endBit + 7) / 8 - startByte()); }
};

class Splitter {
  public:
    explicit Splitter(ByteSource& source) : source_(source) {}
    // False behind the last segment.
    bool next(Segment& segment);

  private:
    ByteSource& source_;
    std::vector<uint8_t> carry_;  // read already, from the byte where the next segment begins
    Segment::Kind kind_ = Segment::Kind::prefix;
    uint64_t startBit_ = 0;
    bool finished_ = false;
};

}  // namespace tool::bzip2
