#include "bzip2_stream.hpp"

#include <algorithm>
#include <memory>
#include <string>

#include "bit_sink.hpp"
#include "bzip2_block.hpp"
#include "bzip2_format.hpp"
#include "bzip2_segments.hpp"
#include "failure.hpp"
#include "ordered_workers.hpp"

namespace tool {

using bzip2::DecodeResult;
using bzip2::Segment;

namespace {

constexpr size_t kHeaderSize = 4;  // "BZh" and the level
constexpr unsigned kCrcBits = 32;

// The level, 1 to 9, or 0 if the four bytes are no header.
int levelOfHeader(const uint8_t* src) {
    const bool good =
        src[0] == 'B' && src[1] == 'Z' && src[2] == 'h' && src[3] >= '1' && src[3] <= '9';
    return good ? src[3] - '0' : 0;
}

// Puts the segments of a file together again: which of the marks that were found are real, what the
// checksums say, and what follows a stream.
class Joiner {
  public:
    Joiner(ByteSource& source, ByteSink& sink) : source_(source), sink_(sink) {}

    bool finished() const { return finished_; }
    Ending ending() const { return ending_; }

    void add(const Segment& segment) {
        if (finished_) return;
        if (open_) {
            goOn(segment);
        } else if (segment.kind == Segment::Kind::prefix) {
            beginStream(segment, 0);
        } else if (segment.kind == Segment::Kind::block) {
            addBlock(segment);
        } else {
            endStream(segment);
        }
    }

  private:
    void beginStream(const Segment& segment, size_t at);
    void addBlock(const Segment& segment);
    void beginOpenBlock(const Segment& segment);
    void goOn(const Segment& segment);
    void check(DecodeResult result, const bzip2::RestoredBlock& block, const Segment& segment);
    void accept(const bzip2::RestoredBlock& block, uint64_t startBit);
    void endStream(const Segment& segment);
    void lookBehindStream(const Segment& segment, size_t at);

    ByteSource& source_;
    ByteSink& sink_;
    bool finished_ = false;
    Ending ending_;
    int level_ = 0;
    uint32_t combinedCrc_ = 0;

    // A block that goes on beyond its segment, since the mark there is none.
    bool open_ = false;
    uint64_t openStart_ = 0;
    std::vector<uint8_t> openBytes_;  // until its header is complete
    bzip2::RestoredBlock openBlock_;
    std::unique_ptr<bzip2::BlockDecoder> decoder_;
};

// The header is all that the segment has from byte `at` on.
void Joiner::beginStream(const Segment& segment, size_t at) {
    const uint64_t offset = segment.startByte() + at;
    level_ = levelOfHeader(segment.bytes.data() + at);
    combinedCrc_ = 0;
    if (segment.endBit == (offset + kHeaderSize) * 8 && !segment.last) return;
    const bool ends = segment.last && segment.endBit < (offset + kHeaderSize) * 8 + 48;
    failAt(offset + kHeaderSize, ends ? "unexpected end of file" : "no block begins here");
}

void Joiner::addBlock(const Segment& segment) {
    const uint64_t end = segment.startByte() * 8 + segment.block.endBit;
    if (segment.result == DecodeResult::complete && end <= segment.endBit) {
        accept(segment.block, segment.startBit);
        if (end == segment.endBit && !segment.last) return;
        const bool ends = segment.last && !segment.cut && segment.endBit - end < bzip2::kMagicBits;
        failAt(end / 8, ends ? "unexpected end of file" : "no block begins here");
    }
    check(segment.result, segment.block, segment);
    beginOpenBlock(segment);
}

void Joiner::check(DecodeResult result, const bzip2::RestoredBlock& block, const Segment& segment) {
    const uint64_t start = open_ ? openStart_ : segment.startBit;
    if (result == DecodeResult::damaged) failAt(start / 8, block.fault);
    if (result == DecodeResult::complete || !segment.last) return;
    if (segment.cut) failAt(start / 8, "the block is too long");
    failAt(segment.endBit / 8, "unexpected end of file");
}

void Joiner::beginOpenBlock(const Segment& segment) {
    if (!decoder_) decoder_ = std::make_unique<bzip2::BlockDecoder>();
    open_ = true;
    openStart_ = segment.startBit;
    openBytes_.assign(segment.bytes.begin(),
                      segment.bytes.begin() + static_cast<ptrdiff_t>(segment.ownBytes()));
    const DecodeResult result =
        decoder_->decode(openBytes_.data(), openBytes_.size(), segment.startBit % 8, openBlock_);
    check(result, openBlock_, segment);
}

void Joiner::goOn(const Segment& segment) {
    // Where the mark stood in the middle of a byte, both segments have that byte.
    const size_t shared = segment.startBit % 8 != 0 ? 1 : 0;
    const uint8_t* src = segment.bytes.data() + shared;
    const size_t size = segment.ownBytes() - shared;
    DecodeResult result = DecodeResult::needMore;
    if (decoder_->resumable()) {
        result = decoder_->resume(src, size, openBlock_);
    } else {
        openBytes_.insert(openBytes_.end(), src, src + size);
        result = decoder_->decode(openBytes_.data(), openBytes_.size(), openStart_ % 8, openBlock_);
    }
    // That a block ends where this segment begins may show only now.
    const uint64_t end = openStart_ / 8 * 8 + openBlock_.endBit;
    const bool before = result == DecodeResult::complete && end == segment.startBit;
    if (!before) check(result, openBlock_, segment);
    if (result == DecodeResult::needMore) return;
    open_ = false;
    expand(openBlock_);
    accept(openBlock_, openStart_);
    if (before) {
        add(segment);
    } else if (end != segment.endBit || segment.last) {
        failAt(end / 8, "no block begins here");
    }
}

void Joiner::accept(const bzip2::RestoredBlock& block, uint64_t startBit) {
    if (block.size > level_ * bzip2::kBlockUnit) failAt(startBit / 8, "the block is too long");
    const uint32_t crc = writeContent(block, sink_);
    if (crc != block.expectedCrc) {
        failAt(startBit / 8, "the block's checksum differs from that of the restored data");
    }
    combinedCrc_ = bzip2::combineCrc(combinedCrc_, crc);
}

void Joiner::endStream(const Segment& segment) {
    const uint64_t crcBit = segment.startBit % 8 + bzip2::kMagicBits;
    const auto behind = static_cast<size_t>((crcBit + kCrcBits + 7) / 8);
    if (segment.ownBytes() < behind) {
        failAt(segment.endBit / 8, segment.last ? "unexpected end of file" : "damaged stream end");
    }
    uint64_t crc = 0;
    for (size_t i = static_cast<size_t>(crcBit / 8); i < behind; ++i)
        crc = crc << 8 | segment.bytes[i];
    crc >>= uint64_t{behind} * 8 - crcBit - kCrcBits;
    if (static_cast<uint32_t>(crc) != combinedCrc_) {
        failAt(segment.startByte() + static_cast<size_t>(crcBit / 8),
               "the checksum differs from that of the restored data");
    }
    ending_.crc = combinedCrc_;
    lookBehindStream(segment, behind);
}

void Joiner::lookBehindStream(const Segment& segment, size_t at) {
    const size_t left = segment.ownBytes() - at;
    if (left >= kHeaderSize && levelOfHeader(segment.bytes.data() + at) != 0) {
        beginStream(segment, at);
        return;
    }
    finished_ = true;
    const auto start = segment.bytes.begin() + static_cast<ptrdiff_t>(at);
    ending_.garbage = !segment.last ||
                      std::any_of(start, start + static_cast<ptrdiff_t>(left),
                                  [](uint8_t byte) { return byte != 0; }) ||
                      (segment.cut && skipPadding(source_));
}

struct SegmentDecoder {
    bzip2::BlockDecoder decoder;

    void operator()(Segment& segment) {
        if (segment.kind != Segment::Kind::block) return;
        segment.result = decoder.decode(segment.bytes.data(), segment.bytes.size(),
                                        segment.startBit % 8, segment.block);
        if (segment.result == DecodeResult::complete) expand(segment.block);
    }
};

}  // namespace

void compressBzip2(ByteSource& source, ByteSink& sink, const Options& options) {
    const int level = options.level == 0 ? bzip2::kMaxLevel : options.level;
    BitSink bits(sink);
    bits.put(0x425A6800 | static_cast<uint32_t>('0' + level), 32);  // BZh
    uint32_t combined = 0;
    runOrdered<bzip2::PlainBlock>(
        options.threads, bzip2::BlockBuilder(source, level),
        [&] { return std::make_unique<bzip2::BlockEncoder>(level); },
        [&](const bzip2::PlainBlock& block) {
            combined = bzip2::combineCrc(combined, block.crc);
            bits.append(block.coded.bytes.data(), block.coded.count);
        });
    bits.put(bzip2::kEndMagic, bzip2::kMagicBits);
    bits.put(combined, kCrcBits);
    bits.finish();
}

bool bzip2MagicIsNext(ByteSource& source) {
    return source.ensure(kHeaderSize) && levelOfHeader(source.next()) != 0;
}

Ending restoreBzip2(ByteSource& source, ByteSink& sink, const Options& options) {
    if (!bzip2MagicIsNext(source)) failAt(source.offset(), "not in bzip2 format");
    bzip2::Splitter splitter(source);
    Joiner joiner(source, sink);
    runOrdered<Segment>(
        options.threads,
        [&](Segment& segment) { return !joiner.finished() && splitter.next(segment); },
        [] { return std::make_unique<SegmentDecoder>(); },
        [&](const Segment& segment) { joiner.add(segment); });
    return joiner.ending();
}

}  // namespace tool
