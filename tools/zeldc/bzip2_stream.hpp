// Whole .bz2 files.
#pragma once

#include "byte_sink.hpp"
#include "byte_source.hpp"
#include "gzip_member.hpp"
#include "options.hpp"

namespace tool {

void compressBzip2(ByteSource& source, ByteSink& sink, const Options& options);

// Whether the header of a stream is next.
bool bzip2MagicIsNext(ByteSource& source);

// Restores all streams.
Ending restoreBzip2(ByteSource& source, ByteSink& sink, const Options& options);

}  // namespace tool
