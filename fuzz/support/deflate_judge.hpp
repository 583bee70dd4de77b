// zlib's verdict on a raw deflate stream, for the fuzz targets of the decoder.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace fuzz {

// Streams that would grow beyond this are left where they reach it.
constexpr size_t kMostOutput = 1 << 16;

struct Verdict {
    bool complete = false;  // the final block has ended
    size_t consumed = 0;
    std::vector<uint8_t> out;
};

inline Verdict judge(const std::vector<uint8_t>& src) {
    Verdict verdict;
    verdict.out.resize(kMostOutput);
    z_stream stream{};
    if (inflateInit2(&stream, -15) != Z_OK) std::abort();
    std::vector<uint8_t> in = src;
    stream.next_in = in.data();
    stream.avail_in = static_cast<uInt>(in.size());
    stream.next_out = verdict.out.data();
    stream.avail_out = static_cast<uInt>(verdict.out.size());
    verdict.complete = inflate(&stream, Z_SYNC_FLUSH) == Z_STREAM_END;
    verdict.consumed = in.size() - stream.avail_in;
    verdict.out.resize(kMostOutput - stream.avail_out);
    inflateEnd(&stream);
    return verdict;
}

// Everything that zlib decodes, ours decodes to the same; beyond an error of zlib's we may go on,
// as codes that it refuses are accepted as far as they lead.
inline void hold(const Verdict& verdict, bool complete, size_t consumed,
                 const std::vector<uint8_t>& out) {
    const size_t known = verdict.out.size();
    if (out.size() < known) std::abort();
    if (known != 0 && std::memcmp(out.data(), verdict.out.data(), known) != 0) std::abort();
    if (!verdict.complete) return;
    if (!complete || consumed != verdict.consumed || out.size() != known) std::abort();
}

}  // namespace fuzz
