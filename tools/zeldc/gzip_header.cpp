#include "gzip_header.hpp"

#include "failure.hpp"
#include "zeldc.h"

namespace tool {
namespace {

constexpr uint8_t kMagic[] = {0x1F, 0x8B};
constexpr uint8_t kDeflate = 8;
constexpr uint8_t kUnix = 3;
enum Flag : uint8_t { kText = 1, kHeaderCrc = 2, kExtra = 4, kName = 8, kComment = 16 };
constexpr uint8_t kReservedFlags = 0xE0;
// A name longer than any file system takes is read, but not kept.
constexpr size_t kMaxName = 4096;

// Reads the header's bytes and keeps their checksum.
class HeaderReader {
  public:
    explicit HeaderReader(ByteSource& source) : source_(source) {}

    uint8_t byte() {
        const int value = source_.get();
        if (value < 0) failAt(source_.offset(), "unexpected end of file in the header");
        const auto got = static_cast<uint8_t>(value);
        zelsCRC32_8u(&got, 1, &crc_);
        return got;
    }
    uint32_t number(int bytes) {
        uint32_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value |= static_cast<uint32_t>(byte()) << (8 * i);
        return value;
    }
    std::string text() {
        std::string read;
        while (const uint8_t value = byte()) {
            if (read.size() < kMaxName) read += static_cast<char>(value);
        }
        return read;
    }
    void skip(uint32_t count) {
        while (count-- > 0)
            byte();
    }
    uint32_t crc() const { return crc_; }

  private:
    ByteSource& source_;
    uint32_t crc_ = 0;
};

}  // namespace

void appendLittleEndian32(std::vector<uint8_t>& dst, uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
        dst.push_back(static_cast<uint8_t>(value >> shift));
}

uint32_t readLittleEndian32(ByteSource& source) {
    uint32_t value = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const int got = source.get();
        if (got < 0) failAt(source.offset(), "unexpected end of file in the trailer");
        value |= static_cast<uint32_t>(got) << shift;
    }
    return value;
}

std::vector<uint8_t> writeGzipHeader(const GzipHeader& header) {
    std::vector<uint8_t> bytes = {kMagic[0], kMagic[1], kDeflate,
                                  header.name.empty() ? uint8_t{0} : uint8_t{kName}};
    appendLittleEndian32(bytes, header.time);
    bytes.push_back(header.effort);
    bytes.push_back(kUnix);
    if (!header.name.empty()) {
        bytes.insert(bytes.end(), header.name.begin(), header.name.end());
        bytes.push_back(0);
    }
    return bytes;
}

bool gzipMagicIsNext(ByteSource& source) {
    return source.ensure(2) && source.next()[0] == kMagic[0] && source.next()[1] == kMagic[1];
}

GzipHeader readGzipHeader(ByteSource& source) {
    const uint64_t start = source.offset();
    HeaderReader reader(source);
    GzipHeader header;
    reader.skip(sizeof kMagic);
    if (reader.byte() != kDeflate) failAt(start + 2, "compressed with an unknown method");
    const uint8_t flags = reader.byte();
    if ((flags & kReservedFlags) != 0) failAt(start + 3, "unknown flags in the header");
    header.time = reader.number(4);
    header.effort = reader.byte();
    reader.skip(1);  // the system it was made on
    if ((flags & kExtra) != 0) reader.skip(reader.number(2));
    if ((flags & kName) != 0) header.name = reader.text();
    if ((flags & kComment) != 0) reader.text();
    if ((flags & kHeaderCrc) != 0) {
        const uint64_t offset = source.offset();
        const uint32_t expected = reader.crc() & 0xFFFF;
        if (reader.number(2) != expected) failAt(offset, "the header's checksum is wrong");
    }
    return header;
}

}  // namespace tool
