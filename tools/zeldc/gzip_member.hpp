// Whole .gz files.
#pragma once

#include "byte_sink.hpp"
#include "byte_source.hpp"
#include "gzip_header.hpp"
#include "options.hpp"

namespace tool {

// What a reader has to say about a file that it restored without error.
struct Ending {
    bool garbage = false;  // something that is no compressed data follows, and was left alone
    uint32_t crc = 0;      // of the last member or stream, as the format has it
};

void compressGzip(ByteSource& source, ByteSink& sink, const GzipHeader& header,
                  const Options& options);

// Restores all members. `first` receives the header of the first one.
Ending restoreGzip(ByteSource& source, ByteSink& sink, GzipHeader& first);

// Passes over zero bytes, which archives on tape are padded with. True if something else follows.
bool skipPadding(ByteSource& source);

}  // namespace tool
