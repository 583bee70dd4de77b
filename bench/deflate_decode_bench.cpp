// Decoding of whole raw deflate streams: the one-pass way against libdeflate, the two-stage way
// against zlib; then the one-pass way in pieces of 64 KB, and calls with a byte of room.
//
// Each benchmark runs ours and the peer's turn by turn and reports, besides its own time, the
// peer's time divided by ours ("ratio": above 1 we are faster).
#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "bench/support/corpus.hpp"
#include "zeldc.h"

namespace {

using bench::Bytes;

// Time that this thread has had the processor for, in seconds.
double cpuTime() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

Bytes zlibStream(const Bytes& plain, int level) {
    z_stream stream{};
    deflateInit2(&stream, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    Bytes packed(deflateBound(&stream, static_cast<uLong>(plain.size())) + 3);
    Bytes source = plain;
    stream.next_in = source.data();
    stream.avail_in = static_cast<uInt>(source.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "deflate failed");
    packed.resize(packed.size() - stream.avail_out);
    deflateEnd(&stream);
    return packed;
}

// By this library, in blocks of 128 KB of one kind.
template <auto coder>
Bytes ownStream(const Bytes& plain, Lz77Level level) {
    constexpr int32_t kChunk = 128 * 1024;
    Lz77EncodeState* state = nullptr;
    zelsEncodeLZ77InitAlloc_8u(level, Lz77ChecksumNone, &state);
    std::vector<Lz77Pair> pairs(kChunk);
    Bytes packed(plain.size() * 2);
    const uint8_t* src = plain.data();
    auto srcLeft = static_cast<int32_t>(plain.size());
    uint8_t* dst = packed.data();
    auto dstLeft = static_cast<int32_t>(packed.size());
    while (srcLeft > 0) {
        int32_t chunk = std::min(srcLeft, kChunk);
        srcLeft -= chunk;
        const Lz77Flush flush = srcLeft == 0 ? Lz77FlushFinal : Lz77FlushNone;
        Lz77Pair* next = pairs.data();
        int32_t room = kChunk;
        zelsEncodeLZ77_8u(&src, &chunk, &next, &room, flush, state);
        const Lz77Pair* coded = pairs.data();
        int32_t count = kChunk - room;
        zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, state);
        require(coder(&coded, &count, &dst, &dstLeft, flush, state) >= 0 && count == 0,
                "encoding failed");
    }
    zelsLZ77Free_8u(state);
    packed.resize(packed.size() - static_cast<size_t>(dstLeft));
    return packed;
}

class Decoder {
  public:
    Decoder() { zelsDecodeLZ77InitAlloc_8u(Lz77ChecksumNone, &state_); }
    ~Decoder() { zelsFree(state_); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    // In pieces of at most `piece` bytes of source and destination.
    size_t onePass(const Bytes& src, Bytes& dst, size_t piece) {
        zelsDecodeLZ77Init_8u(Lz77ChecksumNone, state_);
        src_ = src.data();
        const uint8_t* const srcEnd = src_ + src.size();
        uint8_t* next = dst.data();
        uint8_t* const dstEnd = next + dst.size();
        Lz77BlockType type = -1;
        ZelStatus status = zelStsOk;
        int32_t srcLeft = 0;
        int32_t dstLeft = 0;
        for (;;) {
            if (srcLeft == 0) srcLeft = limit(srcEnd - src_, piece);
            if (dstLeft == 0) dstLeft = limit(dstEnd - next, piece);
            if (status == zelStsOk &&
                zelsDecodeLZ77GetBlockType_8u(&src_, &srcLeft, &type, state_) != zelStsOk) {
                continue;
            }
            if (type == Lz77BlockStored) {
                status = zelsDecodeLZ77StoredBlock_8u(&src_, &srcLeft, &next, &dstLeft, state_);
            } else {
                const auto decode = type == Lz77BlockFixed ? zelsDecodeLZ77FixedHuffFull_8u
                                                           : zelsDecodeLZ77DynamicHuffFull_8u;
                status = decode(&src_, &srcLeft, &next, &dstLeft, Lz77FlushNone, state_);
            }
            if (status == zelStsStreamEnd) return static_cast<size_t>(next - dst.data());
            require(status >= 0, "one-pass decoding failed");
        }
    }

    size_t twoStage(const Bytes& src, Bytes& dst) {
        zelsDecodeLZ77Init_8u(Lz77ChecksumNone, state_);
        Lz77Pair* pairs = nullptr;
        int32_t position = 0;
        int32_t slots = 0;
        zelsDecodeLZ77GetPairs_8u(&pairs, &position, &slots, state_);
        src_ = src.data();
        auto srcLeft = static_cast<int32_t>(src.size());
        uint8_t* next = dst.data();
        auto dstLeft = static_cast<int32_t>(dst.size());
        Lz77BlockType type = -1;
        ZelStatus status = zelStsOk;
        while (status != zelStsStreamEnd) {
            if (status == zelStsOk) zelsDecodeLZ77GetBlockType_8u(&src_, &srcLeft, &type, state_);
            if (type == Lz77BlockStored) {
                status = zelsDecodeLZ77StoredBlock_8u(&src_, &srcLeft, &next, &dstLeft, state_);
                continue;
            }
            Lz77Pair* pairNext = pairs;
            int32_t left = slots;
            const auto decode =
                type == Lz77BlockFixed ? zelsDecodeLZ77FixedHuff_8u : zelsDecodeLZ77DynamicHuff_8u;
            status = decode(&src_, &srcLeft, &pairNext, &left, Lz77FlushNone, state_);
            require(status >= 0, "pair decoding failed");
            const Lz77Pair* in = pairs;
            auto count = static_cast<int32_t>(pairNext - pairs);
            zelsDecodeLZ77_8u(&in, &count, &next, &dstLeft, Lz77FlushNone, state_);
        }
        return static_cast<size_t>(next - dst.data());
    }

    // Seconds a call with room for one byte takes.
    double byteCalls(const Bytes& src, size_t calls) {
        zelsDecodeLZ77Init_8u(Lz77ChecksumNone, state_);
        src_ = src.data();
        auto srcLeft = static_cast<int32_t>(src.size());
        Lz77BlockType type = -1;
        zelsDecodeLZ77GetBlockType_8u(&src_, &srcLeft, &type, state_);
        require(type == Lz77BlockDynamic, "not a dynamic block");
        const double start = cpuTime();
        for (size_t i = 0; i < calls; ++i) {
            uint8_t byte = 0;
            uint8_t* next = &byte;
            int32_t room = 1;
            const ZelStatus status = zelsDecodeLZ77DynamicHuffFull_8u(&src_, &srcLeft, &next, &room,
                                                                      Lz77FlushNone, state_);
            require(status == zelStsDstFull || status == zelStsOk, "byte calls failed");
            if (status == zelStsOk) zelsDecodeLZ77GetBlockType_8u(&src_, &srcLeft, &type, state_);
        }
        return (cpuTime() - start) / static_cast<double>(calls);
    }

  private:
    static int32_t limit(std::ptrdiff_t left, size_t piece) {
        return static_cast<int32_t>(std::min(static_cast<size_t>(left), piece));
    }

    Lz77DecodeState* state_ = nullptr;
    const uint8_t* src_ = nullptr;
};

class Peer {
  public:
    Peer() {
        fast_ = libdeflate_alloc_decompressor();
        inflateInit2(&stream_, -15);
    }
    ~Peer() {
        libdeflate_free_decompressor(fast_);
        inflateEnd(&stream_);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    size_t libdeflate(const Bytes& src, Bytes& dst) {
        size_t size = 0;
        require(libdeflate_deflate_decompress(fast_, src.data(), src.size(), dst.data(), dst.size(),
                                              &size) == LIBDEFLATE_SUCCESS,
                "libdeflate failed");
        return size;
    }
    size_t zlib(Bytes& src, Bytes& dst) {
        inflateReset(&stream_);
        stream_.next_in = src.data();
        stream_.avail_in = static_cast<uInt>(src.size());
        stream_.next_out = dst.data();
        stream_.avail_out = static_cast<uInt>(dst.size());
        require(inflate(&stream_, Z_FINISH) == Z_STREAM_END, "inflate failed");
        return dst.size() - stream_.avail_out;
    }

  private:
    libdeflate_decompressor* fast_;
    z_stream stream_{};
};

template <class Ours, class Theirs>
void race(benchmark::State& state, const Bytes& plain, Bytes& dst, Ours ours, Theirs theirs) {
    double ourTime = 0;
    double theirTime = 0;
    const auto timed = [&](auto run, double& total) {
        const double start = cpuTime();
        const size_t size = run();
        const double taken = cpuTime() - start;
        require(size == plain.size() && std::equal(plain.begin(), plain.end(), dst.begin()),
                "wrong output");
        total += taken;
        return taken;
    };
    for (auto _ : state) {
        timed(theirs, theirTime);
        state.SetIterationTime(timed(ours, ourTime));
    }
    state.SetBytesProcessed(static_cast<int64_t>(plain.size()) *
                            static_cast<int64_t>(state.iterations()));
    state.counters["ratio"] = theirTime / ourTime;
}

struct Maker {
    const char* name;
    Bytes (*compress)(const Bytes& plain, int level);
    int level;
};
constexpr Maker kMakers[] = {
    {"zlib-1", zlibStream, 1},
    {"zlib-6", zlibStream, 6},
    {"zlib-9", zlibStream, 9},
    {"own-fast", ownStream<zelsEncodeLZ77DynamicHuff_8u>, Lz77LevelFast},
    {"own-normal", ownStream<zelsEncodeLZ77DynamicHuff_8u>, Lz77LevelNormal},
    {"own-best", ownStream<zelsEncodeLZ77DynamicHuff_8u>, Lz77LevelBest},
    {"own-fixed", ownStream<zelsEncodeLZ77FixedHuff_8u>, Lz77LevelNormal},
};

// Made when the first benchmark asks for it.
struct Input {
    const Bytes* plain;
    const Maker* maker;

    const Bytes& packed() const {
        static std::map<std::pair<const Bytes*, const Maker*>, Bytes> made;
        Bytes& bytes = made[{plain, maker}];
        if (bytes.empty()) {
            bytes = maker->compress(*plain, maker->level);
            bytes.insert(bytes.end(), 3, 0);
        }
        return bytes;
    }
};

void benchOnePass(benchmark::State& state, Input input) {
    const Bytes& packed = input.packed();
    Decoder decoder;
    Peer peer;
    Bytes dst(input.plain->size() + 400);
    race(
        state, *input.plain, dst, [&] { return decoder.onePass(packed, dst, SIZE_MAX); },
        [&] { return peer.libdeflate(packed, dst); });
}

void benchTwoStage(benchmark::State& state, Input input) {
    Bytes packed = input.packed();
    Decoder decoder;
    Peer peer;
    Bytes dst(input.plain->size() + 400);
    race(
        state, *input.plain, dst, [&] { return decoder.twoStage(packed, dst); },
        [&] { return peer.zlib(packed, dst); });
}

// Against our own speed in one piece.
void benchPieces(benchmark::State& state, Input input) {
    const Bytes& packed = input.packed();
    Decoder decoder;
    Bytes dst(input.plain->size() + 400);
    race(
        state, *input.plain, dst, [&] { return decoder.onePass(packed, dst, 65536); },
        [&] { return decoder.onePass(packed, dst, SIZE_MAX); });
}

void benchByteCalls(benchmark::State& state, Input input) {
    const Bytes& packed = input.packed();
    Decoder decoder;
    double seconds = 0;
    for (auto _ : state) {
        const double each = decoder.byteCalls(packed, 100000);
        seconds += each;
        state.SetIterationTime(each * 100000);
    }
    state.counters["ns_per_call"] = seconds / static_cast<double>(state.iterations()) * 1e9;
}

void add(const std::string& name, void (*run)(benchmark::State&, Input), Input input) {
    benchmark::RegisterBenchmark(name.c_str(), run, input)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const auto files = bench::corpus();
    for (const auto& file : files) {
        for (const Maker& maker : kMakers) {
            const Input input{&file.bytes, &maker};
            const std::string stream = "/" + file.name + "/" + maker.name;
            add("one pass" + stream + "/ours against libdeflate", benchOnePass, input);
            add("two stages" + stream + "/ours against zlib", benchTwoStage, input);
            if (maker.name != std::string("zlib-6")) continue;
            add("64 KB pieces" + stream + "/ours against one piece", benchPieces, input);
            add("calls with a byte of room" + stream + "/ours", benchByteCalls, input);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
