#include "gzip_member.hpp"

#include <algorithm>
#include <memory>

#include "crc_combine.hpp"
#include "deflate_chain.hpp"
#include "failure.hpp"
#include "ordered_workers.hpp"

namespace tool {
namespace {

constexpr uint8_t kFastest = 4, kSlowest = 2;

Lz77Level levelOf(const Options& options) {
    if (options.level == 1) return Lz77LevelFast;
    return options.level == 0 || options.level == 2 ? Lz77LevelNormal : Lz77LevelBest;
}

// Cuts the input into pieces, each with the end of the one before it in front.
class PieceCutter {
  public:
    explicit PieceCutter(ByteSource& source) : source_(source) {}

    bool operator()(DeflatePiece& piece) {
        if (finished_) return false;
        piece.historySize = history_.size();
        piece.bytes.resize(history_.size() + DeflatePiece::kSize);
        std::copy(history_.begin(), history_.end(), piece.bytes.begin());
        const size_t got =
            source_.take(piece.bytes.data() + piece.historySize, DeflatePiece::kSize);
        piece.bytes.resize(piece.historySize + got);
        finished_ = piece.last = !source_.ensure(1);
        const size_t kept = std::min(piece.bytes.size(), DeflatePiece::kHistory);
        history_.assign(piece.bytes.end() - static_cast<ptrdiff_t>(kept), piece.bytes.end());
        return true;
    }

  private:
    ByteSource& source_;
    std::vector<uint8_t> history_;
    bool finished_ = false;
};

void checkTrailer(ByteSource& source, const Restored& restored) {
    const uint64_t offset = source.offset();
    if (readLittleEndian32(source) != restored.crc) {
        failAt(offset, "the checksum differs from that of the restored data");
    }
    if (readLittleEndian32(source) != static_cast<uint32_t>(restored.size)) {
        failAt(offset + 4, "the length differs from that of the restored data");
    }
}

}  // namespace

void compressGzip(ByteSource& source, ByteSink& sink, const GzipHeader& header,
                  const Options& options) {
    const Lz77Level level = levelOf(options);
    GzipHeader full = header;
    if (level != Lz77LevelNormal) full.effort = level == Lz77LevelFast ? kFastest : kSlowest;
    const std::vector<uint8_t> start = writeGzipHeader(full);
    sink.write(start.data(), start.size());

    uint32_t crc = 0;
    uint64_t size = 0;
    runOrdered<DeflatePiece>(
        options.threads, PieceCutter(source),
        [&] { return std::make_unique<DeflateEncoder>(level, options.choice); },
        [&](const DeflatePiece& piece) {
            const size_t pieceSize = piece.bytes.size() - piece.historySize;
            sink.write(piece.coded.data(), piece.codedSize);
            crc = crc32Combine(crc, piece.crc, pieceSize);
            size += pieceSize;
        });

    std::vector<uint8_t> trailer;
    appendLittleEndian32(trailer, crc);
    appendLittleEndian32(trailer, static_cast<uint32_t>(size));
    sink.write(trailer.data(), trailer.size());
}

bool skipPadding(ByteSource& source) {
    while (source.ensure(1)) {
        if (*source.next() != 0) return true;
        source.consume(1);
    }
    return false;
}

Ending restoreGzip(ByteSource& source, ByteSink& sink, GzipHeader& first) {
    if (!gzipMagicIsNext(source)) failAt(source.offset(), "not in gzip format");
    DeflateDecoder decoder;
    Ending ending;
    for (bool isFirst = true;; isFirst = false) {
        const GzipHeader header = readGzipHeader(source);
        if (isFirst) first = header;
        const Restored restored = decoder.decode(source, sink);
        checkTrailer(source, restored);
        ending.crc = restored.crc;
        // Members follow each other directly, or after padding; anything else is none of ours.
        if (!gzipMagicIsNext(source) && skipPadding(source)) {
            ending.garbage = !gzipMagicIsNext(source);
        }
        if (ending.garbage || !source.ensure(1)) return ending;
    }
}

}  // namespace tool
