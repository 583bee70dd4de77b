// The frame of a gzip member (RFC 1952): what stands in front of the deflate data.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "byte_source.hpp"

namespace tool {

struct GzipHeader {
    std::string name;    // empty: none
    uint32_t time = 0;   // seconds since 1970, 0: none
    uint8_t effort = 0;  // 2: slowest, 4: fastest
};

std::vector<uint8_t> writeGzipHeader(const GzipHeader& header);

// Whether the two bytes that every member begins with are next.
bool gzipMagicIsNext(ByteSource& source);

// Reads a header, its optional fields and their checksum; fails where it is damaged.
GzipHeader readGzipHeader(ByteSource& source);

uint32_t readLittleEndian32(ByteSource& source);
void appendLittleEndian32(std::vector<uint8_t>& dst, uint32_t value);

}  // namespace tool
