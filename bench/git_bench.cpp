// The GIT coder over block-sorted text, source and binary, each run paired with one of the plain
// implementation of its steps (git_plain.hpp) on the same block; the coded size stands beside what
// libbz2 makes of the unsorted block.
#include <benchmark/benchmark.h>
#include <bzlib.h>
#include <divsufsort.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "git_plain.hpp"
#include "support/corpus.hpp"
#include "zeldc.h"

namespace {

using bench::Bytes;

struct Block {
    std::string name;
    Bytes sorted;
    size_t bz2Size;
};

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "git_bench: %s\n", what);
    std::exit(1);
}

Bytes blockSorted(const Bytes& bytes) {
    Bytes sorted(bytes.size());
    std::vector<saidx_t> suffixes(bytes.size() + 1);
    require(divbwt(bytes.data(), sorted.data(), suffixes.data(),
                   static_cast<saidx_t>(bytes.size())) >= 0,
            "divbwt failed");
    return sorted;
}

size_t bz2Size(Bytes bytes) {
    Bytes out(bytes.size() + bytes.size() / 50 + 1000);
    auto size = static_cast<unsigned>(out.size());
    require(BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &size,
                                     reinterpret_cast<char*>(bytes.data()),
                                     static_cast<unsigned>(bytes.size()), 9, 0, 0) == BZ_OK,
            "libbz2 failed");
    return size;
}

// Processor time of this thread: what others run on the machine does not count.
double seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Operation>
double timed(Operation operation) {
    const double start = seconds();
    operation();
    return seconds() - start;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Ours and plain, turn by turn: the medians of what both took per byte, and of the ratio within
// each turn, which a busy machine disturbs least.
template <class Ours, class Plain>
void pair(benchmark::State& state, size_t bytes, Ours ours, Plain plain) {
    std::vector<double> oursTimes;
    std::vector<double> plainTimes;
    std::vector<double> ratios;
    for (auto _ : state) {
        plainTimes.push_back(timed(plain));
        oursTimes.push_back(timed(ours));
        state.SetIterationTime(oursTimes.back());
        ratios.push_back(plainTimes.back() / oursTimes.back());
    }
    state.counters["ns_per_byte"] = median(oursTimes) / static_cast<double>(bytes) * 1e9;
    state.counters["plain_ns_per_byte"] = median(plainTimes) / static_cast<double>(bytes) * 1e9;
    state.counters["ratio"] = median(ratios);
}

void encodeBlock(benchmark::State& state, const Block& block, int strategy) {
    const auto size = static_cast<int32_t>(block.sorted.size());
    GitEncodeState* coder = nullptr;
    require(zelsEncodeGITInitAlloc_8u(size, 2 * size, &coder) == zelStsOk, "no memory");
    bench::plain::Encoder plain(block.sorted.size());
    Bytes ours(2 * block.sorted.size());
    Bytes theirs(2 * block.sorted.size());
    int32_t oursSize = 0;
    size_t plainSize = 0;
    pair(
        state, block.sorted.size(),
        [&] {
            zelsEncodeGIT_8u(block.sorted.data(), size, ours.data(), &oursSize, strategy, coder);
        },
        [&] {
            plainSize =
                plain.encode(block.sorted.data(), block.sorted.size(), strategy, theirs.data());
        });
    require(plainSize == static_cast<size_t>(oursSize) &&
                std::memcmp(ours.data(), theirs.data(), plainSize) == 0,
            "the encoders disagree");
    state.counters["size"] = static_cast<double>(oursSize);
    state.counters["bz2_size"] = static_cast<double>(block.bz2Size);
    zelsGITFree_8u(coder);
}

void decodeBlock(benchmark::State& state, const Block& block, int strategy) {
    const auto size = static_cast<int32_t>(block.sorted.size());
    GitDecodeState* coder = nullptr;
    require(zelsDecodeGITInitAlloc_8u(size, size, &coder) == zelStsOk, "no memory");
    Bytes coded(2 * block.sorted.size());
    bench::plain::Encoder encoder(block.sorted.size());
    encoder.encode(block.sorted.data(), block.sorted.size(), strategy, coded.data());
    bench::plain::Decoder plain;
    Bytes ours(block.sorted.size());
    Bytes theirs(block.sorted.size());
    int32_t oursSize = 0;
    pair(
        state, block.sorted.size(),
        [&] { zelsDecodeGIT_8u(coded.data(), nullptr, ours.data(), &oursSize, strategy, coder); },
        [&] { plain.decode(coded.data(), strategy, theirs.data()); });
    require(oursSize == size && ours == block.sorted && theirs == block.sorted,
            "the decoders disagree");
    zelsGITFree_8u(coder);
}

}  // namespace

int main(int argc, char** argv) {
    static std::vector<Block> blocks;
    for (const size_t size : {size_t{100000}, size_t{900000}}) {
        for (const auto& file : bench::corpus(size)) {
            blocks.push_back({file.name + "/" + std::to_string(size / 1000) + "K",
                              blockSorted(file.bytes), bz2Size(file.bytes)});
        }
    }
    for (const auto& block : blocks) {
        for (const int strategy : {1, 2}) {
            const std::string name =
                block.name + "/strategy" + std::to_string(strategy) + "/ours against plain";
            benchmark::RegisterBenchmark(("encode/" + name).c_str(), encodeBlock, block, strategy)
                ->UseManualTime();
            benchmark::RegisterBenchmark(("decode/" + name).c_str(), decodeBlock, block, strategy)
                ->UseManualTime();
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
