// The stages around the Burrows-Wheeler transform against plain loops that do the same, on blocks
// of 100 KB, 900 KB and 8 MB: text, source and binary as they pass through a compressor, and random
// bytes (STAGES_SIZE picks one size). Every pair is compared before it is timed. Run with
// --benchmark_enable_random_interleaving=true and compare the `ours` of a row with its `plain`;
// front/SIZE/BLOCK/ours shows what part of the time of all front stages the transform takes.
#include <benchmark/benchmark.h>
#include <divsufsort.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "support/corpus.hpp"
#include "zeldc.h"

namespace {

using bench::Bytes;
using Symbols = std::vector<uint16_t>;

int32_t lengthOf(size_t size) {
    return static_cast<int32_t>(size);
}

// ---------------------------------------------------------------------------------------------
// Plain loops: what one writes first
// ---------------------------------------------------------------------------------------------
namespace plain {

size_t encodeRle(const uint8_t* src, size_t size, uint8_t* dst, uint8_t* inUse) {
    uint8_t* next = dst;
    int last = -1;
    int run = 0;
    const auto put = [&](uint8_t byte) {
        *next++ = byte;
        inUse[byte] = 1;
    };
    for (size_t i = 0; i < size; ++i) {
        if (run >= 4 && (src[i] != last || run == 259)) {
            put(static_cast<uint8_t>(run - 4));
            run = 0;
        }
        run = src[i] == last ? run + 1 : 1;
        last = src[i];
        if (run <= 4) put(src[i]);
    }
    if (run >= 4) put(static_cast<uint8_t>(run - 4));
    return static_cast<size_t>(next - dst);
}

size_t decodeRle(const uint8_t* src, size_t size, uint8_t* dst, size_t /*capacity*/) {
    uint8_t* next = dst;
    int last = -1;
    int run = 0;
    for (size_t i = 0; i < size; ++i) {
        if (run == 4) {
            for (int n = src[i]; n != 0; --n)
                *next++ = static_cast<uint8_t>(last);
            run = 0;
            continue;
        }
        run = src[i] == last ? run + 1 : 1;
        last = src[i];
        *next++ = src[i];
    }
    return static_cast<size_t>(next - dst);
}

void applyMap(const uint8_t* map, uint8_t* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i)
        bytes[i] = map[bytes[i]];
}

void mtfForward(const uint8_t* src, uint8_t* dst, size_t size) {
    uint8_t list[256];
    std::iota(list, list + 256, uint8_t{0});
    for (size_t i = 0; i < size; ++i) {
        const uint8_t symbol = src[i];
        size_t rank = 0;
        while (list[rank] != symbol)
            ++rank;
        std::memmove(list + 1, list, rank);
        list[0] = symbol;
        dst[i] = static_cast<uint8_t>(rank);
    }
}

void mtfInverse(const uint8_t* src, uint8_t* dst, size_t size) {
    uint8_t list[256];
    std::iota(list, list + 256, uint8_t{0});
    for (size_t i = 0; i < size; ++i) {
        const uint8_t symbol = list[src[i]];
        std::memmove(list + 1, list, src[i]);
        list[0] = symbol;
        dst[i] = symbol;
    }
}

size_t encodeZeroRuns(const uint8_t* src, size_t size, uint16_t* dst, uint32_t* freq) {
    uint16_t* next = dst;
    size_t run = 0;
    const auto put = [&](size_t symbol) {
        *next++ = static_cast<uint16_t>(symbol);
        ++freq[symbol];
    };
    const auto putRun = [&] {
        for (; run != 0; run = (run - 1) >> 1)
            put((run - 1) & 1);
    };
    for (size_t i = 0; i < size; ++i) {
        if (src[i] == 0) {
            ++run;
            continue;
        }
        putRun();
        put(src[i] + size_t{1});
    }
    putRun();
    return static_cast<size_t>(next - dst);
}

size_t decodeZeroRuns(const uint16_t* src, size_t size, uint8_t* dst, size_t /*capacity*/) {
    uint8_t* next = dst;
    size_t run = 0;
    size_t weight = 1;
    for (size_t i = 0; i < size; ++i) {
        if (src[i] <= 1) {
            run += weight << src[i];
            weight <<= 1;
            continue;
        }
        for (; run != 0; --run)
            *next++ = 0;
        weight = 1;
        *next++ = static_cast<uint8_t>(src[i] - 1);
    }
    for (; run != 0; --run)
        *next++ = 0;
    return static_cast<size_t>(next - dst);
}

}  // namespace plain

// ---------------------------------------------------------------------------------------------
// The library's stages with the same shapes
// ---------------------------------------------------------------------------------------------
namespace ours {

size_t encodeRle(const uint8_t* src, size_t size, uint8_t* dst, uint8_t* inUse) {
    alignas(16) uint8_t memory[264];
    auto* state = reinterpret_cast<RleBz2State*>(memory);
    zelsEncodeRLEInit_BZ2_8u(state);
    int32_t srcLen = lengthOf(size);
    int32_t written = lengthOf(size + size / 4 + 1);
    zelsEncodeRLE_BZ2_8u(&src, &srcLen, dst, &written, state);
    int32_t last = 1;
    zelsEncodeRLEFlush_BZ2_8u(dst + written, &last, state);
    zelsRLEGetInUseTable_8u(inUse, state);
    return static_cast<size_t>(written + last);
}

size_t decodeRle(const uint8_t* src, size_t size, uint8_t* dst, size_t capacity) {
    int32_t srcLen = lengthOf(size);
    int32_t written = lengthOf(capacity);
    zelsDecodeRLE_BZ2_8u(&src, &srcLen, dst, &written);
    return static_cast<size_t>(written);
}

template <decltype(zelsMTFFwd_8u) operation>
void mtf(const uint8_t* src, uint8_t* dst, size_t size) {
    alignas(16) uint8_t memory[256];
    auto* state = reinterpret_cast<MtfState*>(memory);
    zelsMTFInit_8u(state);
    operation(src, dst, lengthOf(size), state);
}

size_t encodeZeroRuns(const uint8_t* src, size_t size, uint16_t* dst, uint32_t* freq) {
    int32_t srcLen = lengthOf(size);
    int32_t written = lengthOf(size);
    zelsEncodeZ1Z2_BZ2_8u16u(&src, &srcLen, dst, &written, freq);
    return static_cast<size_t>(written);
}

size_t decodeZeroRuns(const uint16_t* src, size_t size, uint8_t* dst, size_t capacity) {
    int32_t srcLen = lengthOf(size);
    int32_t written = lengthOf(capacity);
    zelsDecodeZ1Z2_BZ2_16u8u(&src, &srcLen, dst, &written);
    return static_cast<size_t>(written);
}

}  // namespace ours

// One block on its way through the stages.
struct Block {
    std::string name;
    Bytes raw, packed, inUse, transformed, reduced, ranks;
    Symbols symbols;
};

Block prepare(const std::string& name, const Bytes& raw) {
    const size_t room = 2 * raw.size();
    Block block{name, raw, Bytes(room), Bytes(256), {}, {}, {}, Symbols(room)};
    block.packed.resize(
        plain::encodeRle(raw.data(), raw.size(), block.packed.data(), block.inUse.data()));
    block.transformed.resize(block.packed.size());
    divbwt(block.packed.data(), block.transformed.data(), nullptr, lengthOf(block.packed.size()));
    block.reduced = block.transformed;
    int32_t alphabet = 0;
    zelsReduceDictionary_8u_I(block.inUse.data(), block.reduced.data(),
                              lengthOf(block.reduced.size()), &alphabet);
    block.ranks.resize(block.reduced.size());
    plain::mtfForward(block.reduced.data(), block.ranks.data(), block.ranks.size());
    std::vector<uint32_t> freq(257);
    block.symbols.resize(plain::encodeZeroRuns(block.ranks.data(), block.ranks.size(),
                                               block.symbols.data(), freq.data()));
    return block;
}

// A pair of a stage's two sides: each fills a result, by which they are compared. Time is told per
// byte of the stage's own byte side.
void addPair(const std::string& name, size_t bytes, const std::function<void(Bytes&)>& plainSide,
             const std::function<void(Bytes&)>& ourSide) {
    const size_t room = 4 * bytes + 2048;
    Bytes expected(room);
    Bytes made(room);
    plainSide(expected);
    ourSide(made);
    if (made != expected) {
        std::fprintf(stderr, "%s: results differ\n", name.c_str());
        std::exit(1);
    }
    const auto add = [&](const char* side, const std::function<void(Bytes&)>& work) {
        benchmark::RegisterBenchmark((name + "/" + side).c_str(), [work, bytes,
                                                                   room](benchmark::State& state) {
            Bytes result(room);
            for (auto _ : state) {
                work(result);
                benchmark::DoNotOptimize(result.data());
            }
            state.counters["ns/byte"] = benchmark::Counter(
                static_cast<double>(bytes) * 1e-9,
                benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
        })->Unit(benchmark::kMicrosecond);
    };
    add("ours", ourSide);
    add("plain", plainSide);
}

void addByteStages(const Block& block) {
    const size_t raw = block.raw.size();
    const size_t packed = block.packed.size();
    const auto rle = [&block, raw](auto encode) {
        return [&block, raw, encode](Bytes& out) {
            std::memset(out.data(), 0, 256);
            encode(block.raw.data(), raw, out.data() + 256, out.data());
        };
    };
    addPair("rle_encode/" + block.name, raw, rle(plain::encodeRle), rle(ours::encodeRle));
    const auto unrle = [&block, packed](auto decode) {
        return [&block, packed, decode](Bytes& out) {
            decode(block.packed.data(), packed, out.data(), block.raw.size() + 1);
        };
    };
    addPair("rle_decode/" + block.name, raw, unrle(plain::decodeRle), unrle(ours::decodeRle));
    // In place, so that each round starts with a copy of the block on either side.
    addPair(
        "dictionary/" + block.name, packed,
        [&block, packed](Bytes& out) {
            uint8_t map[256];
            int rank = 0;
            for (int value = 0; value < 256; ++value) {
                map[value] = static_cast<uint8_t>(rank);
                rank += block.inUse[static_cast<size_t>(value)];
            }
            std::memcpy(out.data(), block.transformed.data(), packed);
            plain::applyMap(map, out.data(), packed);
        },
        [&block, packed](Bytes& out) {
            int32_t count = 0;
            std::memcpy(out.data(), block.transformed.data(), packed);
            zelsReduceDictionary_8u_I(block.inUse.data(), out.data(), lengthOf(packed), &count);
        });
}

void addRankStages(const Block& block) {
    const size_t size = block.reduced.size();
    const auto over = [size](const Bytes& src, auto transform) {
        return [&src, size, transform](Bytes& out) { transform(src.data(), out.data(), size); };
    };
    addPair("mtf_forward/" + block.name, size, over(block.reduced, plain::mtfForward),
            over(block.reduced, ours::mtf<zelsMTFFwd_8u>));
    addPair("mtf_inverse/" + block.name, size, over(block.ranks, plain::mtfInverse),
            over(block.ranks, ours::mtf<zelsMTFInv_8u>));
    const auto encode = [&block, size](auto stage) {
        return [&block, size, stage](Bytes& out) {
            std::memset(out.data(), 0, 257 * 4);
            stage(block.ranks.data(), size, reinterpret_cast<uint16_t*>(out.data() + 2048),
                  reinterpret_cast<uint32_t*>(out.data()));
        };
    };
    addPair("zero_runs_encode/" + block.name, size, encode(plain::encodeZeroRuns),
            encode(ours::encodeZeroRuns));
    const auto decode = [&block](auto stage) {
        return [&block, stage](Bytes& out) {
            stage(block.symbols.data(), block.symbols.size(), out.data(), out.size());
        };
    };
    addPair("zero_runs_decode/" + block.name, size, decode(plain::decodeZeroRuns),
            decode(ours::decodeZeroRuns));
}

// All front stages in order. `transform_%` is the transform's share of their time.
void timeFront(benchmark::State& state, const Block& block) {
    using Clock = std::chrono::steady_clock;
    const size_t room = 2 * block.raw.size();
    Bytes packed(room);
    Bytes inUse(256);
    Bytes transformed(room);
    Symbols symbols(room);
    int32_t workSize = 0;
    zelsBWTFwdGetSize_8u(lengthOf(block.packed.size()), &workSize);
    Bytes work(static_cast<size_t>(workSize));
    std::vector<uint32_t> freq(257);
    std::chrono::duration<double> inTransform{};
    std::chrono::duration<double> inAll{};
    for (auto _ : state) {
        const auto start = Clock::now();
        const size_t size =
            ours::encodeRle(block.raw.data(), block.raw.size(), packed.data(), inUse.data());
        const auto sorting = Clock::now();
        int32_t index = 0;
        zelsBWTFwd_8u(packed.data(), transformed.data(), lengthOf(size), &index, work.data());
        inTransform += Clock::now() - sorting;
        int32_t alphabet = 0;
        zelsReduceDictionary_8u_I(inUse.data(), transformed.data(), lengthOf(size), &alphabet);
        ours::mtf<zelsMTFFwd_8u>(transformed.data(), transformed.data(), size);
        ours::encodeZeroRuns(transformed.data(), size, symbols.data(), freq.data());
        inAll += Clock::now() - start;
    }
    state.counters["transform_%"] = 100 * inTransform.count() / inAll.count();
}

}  // namespace

int main(int argc, char** argv) {
    struct {
        const char* name;
        size_t bytes;
    } const sizes[] = {{"100KB", 100000}, {"900KB", 900000}, {"8MB", 8000000}};
    const char* only = std::getenv("STAGES_SIZE");
    std::vector<Block> blocks;
    for (const auto& size : sizes) {
        if (only != nullptr && std::string(only) != size.name) continue;
        const auto prefix = std::string(size.name) + "/";
        for (const auto& file : bench::corpus(size.bytes))
            blocks.push_back(prepare(prefix + file.name, file.bytes));
        std::mt19937 random(1);
        Bytes noise(size.bytes);
        std::generate(noise.begin(), noise.end(),
                      [&] { return static_cast<uint8_t>(random() >> 11); });
        blocks.push_back(prepare(prefix + "random", noise));
    }
    for (const auto& block : blocks) {
        addByteStages(block);
        addRankStages(block);
        benchmark::RegisterBenchmark(("front/" + block.name + "/ours").c_str(),
                                     [&block](benchmark::State& state) { timeFront(state, block); })
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
