// The deflate encoder against zlib and libdeflate on whole streams, and its stages alone.
//
// A run of ours codes 128 KB chunks: pairs, then a dynamic block ("dynamic") or whatever block the
// mode selection asks for ("selected"), with a CRC-32 as the peers' gzip streams have it. What is
// timed is decoded once and compared. Counters: MB/s of source, and the share of the source's size
// that the stream has.
#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/corpus.hpp"
#include "zeldc.h"

namespace {

using bench::Bytes;

constexpr int32_t kStateSize = 598928;
int32_t chunkSize() {
    const char* kilobytes = std::getenv("ZELDC_CHUNK");
    return 1024 * (kilobytes == nullptr ? 128 : std::atoi(kilobytes));
}

enum class Blocks { dynamic, selected };

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "deflate_encode_bench: %s\n", what);
    std::exit(1);
}

class Ours {
  public:
    Ours() : state_(kStateSize), pairs_(static_cast<size_t>(chunkSize())) {}

    size_t compress(const Bytes& src, Lz77Level level, Blocks blocks, Bytes& dst) {
        zelsEncodeLZ77Init_8u(level, Lz77ChecksumCrc32, state());
        dstNext_ = dst.data();
        dstLeft_ = static_cast<int32_t>(dst.size());
        const int32_t chunk = chunkSize();
        const uint8_t* next = src.data();
        for (auto left = static_cast<int32_t>(src.size()); left > 0;) {
            int32_t size = std::min(chunk, left);
            left -= size;
            const Lz77Flush flush = left == 0 ? Lz77FlushFinal : Lz77FlushNone;
            Lz77Pair* pairNext = pairs_.data();
            auto room = static_cast<int32_t>(pairs_.size());
            zelsEncodeLZ77_8u(&next, &size, &pairNext, &room, flush, state());
            code(static_cast<int32_t>(pairNext - pairs_.data()), blocks, flush);
        }
        zelsEncodeLZ77SetStatus_8u(Lz77StatusFinal, state());
        check(zelsEncodeLZ77Flush_8u(&dstNext_, &dstLeft_, state()) == zelStsOk, "trailer");
        return dst.size() - static_cast<size_t>(dstLeft_);
    }

    Lz77EncodeState* state() { return reinterpret_cast<Lz77EncodeState*>(state_.data()); }

  private:
    void code(int32_t count, Blocks blocks, Lz77Flush flush) {
        zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, state());
        Lz77HuffMode mode = Lz77HuffModeDynamic;
        if (blocks == Blocks::selected) {
            zelsEncodeLZ77SelectHuffMode_8u(pairs_.data(), count, &mode, state());
        }
        const Lz77Pair* next = pairs_.data();
        const auto coder =
            mode == Lz77HuffModeDynamic ? zelsEncodeLZ77DynamicHuff_8u : zelsEncodeLZ77FixedHuff_8u;
        check(coder(&next, &count, &dstNext_, &dstLeft_, flush, state()) != zelStsDstFull, "room");
    }

    Bytes state_;
    std::vector<Lz77Pair> pairs_;
    uint8_t* dstNext_ = nullptr;
    int32_t dstLeft_ = 0;
};

void verify(const Bytes& stream, size_t size, const Bytes& src) {
    Bytes back(src.size());
    size_t made = 0;
    auto* decompressor = libdeflate_alloc_decompressor();
    size_t used = 0;
    check(libdeflate_deflate_decompress_ex(decompressor, stream.data(), size, back.data(),
                                           back.size(), &used, &made) == LIBDEFLATE_SUCCESS,
          "stream does not decode");
    check(made == src.size() && back == src, "stream decodes to something else");
    libdeflate_free_decompressor(decompressor);
}

void report(benchmark::State& state, const Bytes& src, size_t size) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(src.size()));
    state.counters["size%"] = 100.0 * static_cast<double>(size) / static_cast<double>(src.size());
}

void runOurs(benchmark::State& state, const Bytes& src, Lz77Level level, Blocks blocks) {
    Ours ours;
    Bytes dst(src.size() + src.size() / 4 + 1000);
    size_t size = ours.compress(src, level, blocks, dst);
    verify(dst, size, src);
    for (auto _ : state)
        size = ours.compress(src, level, blocks, dst);
    report(state, src, size);
}

size_t zlibCompress(const Bytes& src, int level, Bytes& dst) {
    z_stream z{};
    check(deflateInit2(&z, level, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY) == Z_OK, "zlib");
    z.next_in = const_cast<Bytef*>(src.data());
    z.avail_in = static_cast<uInt>(src.size());
    z.next_out = dst.data();
    z.avail_out = static_cast<uInt>(dst.size());
    check(deflate(&z, Z_FINISH) == Z_STREAM_END, "zlib");
    const size_t size = z.total_out;
    deflateEnd(&z);
    return size;
}

void runZlib(benchmark::State& state, const Bytes& src, int level) {
    Bytes dst(src.size() + src.size() / 4 + 1000);
    size_t size = 0;
    for (auto _ : state)
        size = zlibCompress(src, level, dst);
    report(state, src, size);
}

void runLibdeflate(benchmark::State& state, const Bytes& src, int level) {
    Bytes dst(src.size() + src.size() / 4 + 1000);
    auto* compressor = libdeflate_alloc_compressor(level);
    size_t size = 0;
    for (auto _ : state) {
        size = libdeflate_gzip_compress(compressor, src.data(), src.size(), dst.data(), dst.size());
    }
    libdeflate_free_compressor(compressor);
    report(state, src, size);
}

// The stages alone: the search with or without its checksum, and the coding of ready pairs.

void runSearch(benchmark::State& state, const Bytes& src, Lz77Level level, Lz77Checksum checksum) {
    Ours ours;
    std::vector<Lz77Pair> pairs(static_cast<size_t>(chunkSize()));
    for (auto _ : state) {
        zelsEncodeLZ77Init_8u(level, checksum, ours.state());
        const uint8_t* next = src.data();
        for (auto left = static_cast<int32_t>(src.size()); left > 0;) {
            int32_t size = std::min(chunkSize(), left);
            left -= size;
            Lz77Pair* pairNext = pairs.data();
            auto room = static_cast<int32_t>(pairs.size());
            zelsEncodeLZ77_8u(&next, &size, &pairNext, &room, Lz77FlushNone, ours.state());
        }
    }
    report(state, src, 0);
}

std::vector<std::vector<Lz77Pair>> pairsOf(const Bytes& src, Lz77Level level) {
    Ours ours;
    std::vector<std::vector<Lz77Pair>> chunks;
    zelsEncodeLZ77Init_8u(level, Lz77ChecksumNone, ours.state());
    const uint8_t* next = src.data();
    for (auto left = static_cast<int32_t>(src.size()); left > 0;) {
        int32_t size = std::min(chunkSize(), left);
        left -= size;
        std::vector<Lz77Pair> pairs(static_cast<size_t>(size));
        Lz77Pair* pairNext = pairs.data();
        auto room = static_cast<int32_t>(pairs.size());
        zelsEncodeLZ77_8u(&next, &size, &pairNext, &room, Lz77FlushNone, ours.state());
        pairs.resize(static_cast<size_t>(pairNext - pairs.data()));
        chunks.push_back(std::move(pairs));
    }
    return chunks;
}

void runSelection(benchmark::State& state, const Bytes& src, Lz77Level level) {
    Ours ours;
    zelsEncodeLZ77Init_8u(level, Lz77ChecksumNone, ours.state());
    const auto chunks = pairsOf(src, level);
    for (auto _ : state) {
        for (const auto& pairs : chunks) {
            zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, ours.state());
            Lz77HuffMode mode = Lz77HuffModeFixed;
            zelsEncodeLZ77SelectHuffMode_8u(pairs.data(), static_cast<int32_t>(pairs.size()), &mode,
                                            ours.state());
            benchmark::DoNotOptimize(mode);
        }
    }
    report(state, src, 0);
}

void runCoding(benchmark::State& state, const Bytes& src, Lz77Level level, Lz77HuffMode mode) {
    Ours ours;
    zelsEncodeLZ77Init_8u(level, Lz77ChecksumNone, ours.state());
    const auto chunks = pairsOf(src, level);
    Bytes dst(src.size() * 2);
    const auto coder =
        mode == Lz77HuffModeDynamic ? zelsEncodeLZ77DynamicHuff_8u : zelsEncodeLZ77FixedHuff_8u;
    for (auto _ : state) {
        uint8_t* dstNext = dst.data();
        auto dstLeft = static_cast<int32_t>(dst.size());
        for (const auto& pairs : chunks) {
            zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, ours.state());
            const Lz77Pair* pairNext = pairs.data();
            auto count = static_cast<int32_t>(pairs.size());
            check(coder(&pairNext, &count, &dstNext, &dstLeft, Lz77FlushNone, ours.state()) ==
                      zelStsOk,
                  "room");
        }
    }
    report(state, src, 0);
}

struct Race {
    const char* name;
    Lz77Level level;
    int zlib;
    int libdeflate;
};

void registerAll(const std::vector<bench::CorpusFile>& files) {
    constexpr Race races[] = {{"fast", Lz77LevelFast, 1, 1},
                              {"normal", Lz77LevelNormal, 4, 3},
                              {"best", Lz77LevelBest, 8, 9}};
    for (const auto& [name, bytes] : files) {
        for (const Race& race : races) {
            const std::string prefix = name + "/" + race.name + "/";
            const auto add = [&](const std::string& what, auto run) {
                benchmark::RegisterBenchmark((prefix + what).c_str(), run)
                    ->Unit(benchmark::kMillisecond);
            };
            const Bytes& src = bytes;
            const Lz77Level level = race.level;
            add("ours dynamic",
                [&src, level](benchmark::State& s) { runOurs(s, src, level, Blocks::dynamic); });
            add("zlib -" + std::to_string(race.zlib),
                [&src, z = race.zlib](benchmark::State& s) { runZlib(s, src, z); });
            add("ours selected",
                [&src, level](benchmark::State& s) { runOurs(s, src, level, Blocks::selected); });
            add("libdeflate -" + std::to_string(race.libdeflate),
                [&src, d = race.libdeflate](benchmark::State& s) { runLibdeflate(s, src, d); });
            add("search/ours",
                [&src, level](benchmark::State& s) { runSearch(s, src, level, Lz77ChecksumNone); });
            add("search and CRC-32/ours", [&src, level](benchmark::State& s) {
                runSearch(s, src, level, Lz77ChecksumCrc32);
            });
            add("selection/ours",
                [&src, level](benchmark::State& s) { runSelection(s, src, level); });
            add("dynamic coding/ours", [&src, level](benchmark::State& s) {
                runCoding(s, src, level, Lz77HuffModeDynamic);
            });
            add("fixed coding/ours", [&src, level](benchmark::State& s) {
                runCoding(s, src, level, Lz77HuffModeFixed);
            });
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    static const auto files = bench::corpus();
    registerAll(files);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
