// Deflate streams to decode: from zlib, and bit by bit.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

#include "support/shapes.hpp"

namespace support {

struct ZlibSettings {
    int level = 6;
    int strategy = Z_DEFAULT_STRATEGY;
    int memLevel = 8;
    int flush = Z_NO_FLUSH;  // after every `flushEvery` bytes
    size_t flushEvery = 10000;
    Bytes dictionary = {};
};

// A raw stream that zlib makes of `bytes`.
inline Bytes zlibStream(const Bytes& bytes, const ZlibSettings& settings = {}) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, settings.level, Z_DEFLATED, -15, settings.memLevel,
                           settings.strategy),
              Z_OK);
    if (!settings.dictionary.empty()) {
        deflateSetDictionary(&stream, settings.dictionary.data(),
                             static_cast<uInt>(settings.dictionary.size()));
    }
    Bytes out(deflateBound(&stream, static_cast<uLong>(bytes.size())) + bytes.size() / 4 + 1000);
    Bytes in = bytes;
    stream.next_in = in.data();
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    size_t left = bytes.size();
    while (settings.flush != Z_NO_FLUSH && left > settings.flushEvery) {
        stream.avail_in = static_cast<uInt>(settings.flushEvery);
        EXPECT_EQ(deflate(&stream, settings.flush), Z_OK);
        left -= settings.flushEvery;
    }
    stream.avail_in = static_cast<uInt>(left);
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.erase(out.end() - static_cast<std::ptrdiff_t>(stream.avail_out), out.end());
    deflateEnd(&stream);
    return out;
}

// Writes a stream from its lowest bit on, with the codes of the fixed and of any canonical code.
class BitWriter {
  public:
    BitWriter& bits(uint32_t value, int count) {
        for (int i = 0; i < count; ++i, ++size_) {
            if (size_ % 8 == 0) bytes_.push_back(0);
            bytes_.back() = static_cast<uint8_t>(bytes_.back() | (value >> i & 1) << size_ % 8);
        }
        return *this;
    }
    // Huffman codes go from their highest bit on.
    BitWriter& code(uint32_t value, int count) {
        for (int i = count; i-- > 0;)
            bits(value >> i & 1, 1);
        return *this;
    }
    BitWriter& header(bool final, uint32_t kind) { return bits(final ? 1 : 0, 1).bits(kind, 2); }
    BitWriter& align() { return size_ % 8 == 0 ? *this : bits(0, static_cast<int>(8 - size_ % 8)); }
    BitWriter& bytes(const Bytes& bytes) {
        for (const uint8_t byte : bytes)
            bits(byte, 8);
        return *this;
    }

    // Symbols of the fixed code; distances by code and extra bits.
    BitWriter& fixed(uint32_t symbol) {
        if (symbol < 144) return code(0x30 + symbol, 8);
        if (symbol < 256) return code(0x190 + symbol - 144, 9);
        if (symbol < 280) return code(symbol - 256, 7);
        return code(0xC0 + symbol - 280, 8);
    }
    BitWriter& fixedText(const std::string& text) {
        for (const char c : text)
            fixed(static_cast<uint8_t>(c));
        return *this;
    }
    BitWriter& fixedDistance(uint32_t symbol, uint32_t extra = 0, int extraBits = 0) {
        return code(symbol, 5).bits(extra, extraBits);
    }
    BitWriter& stored(bool final, const Bytes& content) {
        const auto size = static_cast<uint32_t>(content.size());
        return header(final, 0).align().bits(size, 16).bits(~size & 0xFFFF, 16).bytes(content);
    }

    const Bytes& get() const { return bytes_; }
    size_t bitCount() const { return size_; }

  private:
    Bytes bytes_;
    size_t size_ = 0;
};

// The canonical code of given lengths (RFC 1951, section 3.2.2), worked out symbol by symbol.
struct CanonicalCode {
    std::vector<uint16_t> lengths;
    std::vector<uint32_t> codes;

    explicit CanonicalCode(std::vector<uint16_t> given)
        : lengths(std::move(given)), codes(lengths.size()) {
        uint32_t next = 0;
        for (uint16_t length = 1; length <= 15; ++length, next <<= 1) {
            for (size_t symbol = 0; symbol < lengths.size(); ++symbol) {
                if (lengths[symbol] == length) codes[symbol] = next++;
            }
        }
    }
    void write(BitWriter& writer, size_t symbol) const {
        writer.code(codes[symbol], lengths[symbol]);
    }
};

// The header of a dynamic block with these lengths, each written out without repeats: the
// code-length code has 16 codes of 4 bits, 16 to 18 have none.
inline void writeDynamicHeader(BitWriter& writer, bool final, const std::vector<uint16_t>& litLen,
                               const std::vector<uint16_t>& distance) {
    static constexpr uint8_t kOrder[] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                         11, 4,  12, 3, 13, 2, 14, 1, 15};
    writer.header(final, 2)
        .bits(static_cast<uint32_t>(litLen.size() - 257), 5)
        .bits(static_cast<uint32_t>(distance.size() - 1), 5)
        .bits(15, 4);
    for (const uint8_t symbol : kOrder)
        writer.bits(symbol < 16 ? 4 : 0, 3);
    for (const auto* lengths : {&litLen, &distance}) {
        for (const uint16_t length : *lengths)
            writer.code(length, 4);
    }
}

}  // namespace support
