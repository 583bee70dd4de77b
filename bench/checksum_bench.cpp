// Checksums against libdeflate's and zlib's, and the bzip2 CRC against a byte-wise table. Results
// are compared before they are timed.
#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <zlib.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/support/corpus.hpp"
#include "zeldc.h"

namespace {

using bench::Bytes;
using Sum = uint32_t (*)(const uint8_t* src, size_t size);

uint32_t ourCrc(const uint8_t* src, size_t size) {
    uint32_t value = 0;
    zelsCRC32_8u(src, static_cast<int32_t>(size), &value);
    return value;
}
uint32_t peerCrc(const uint8_t* src, size_t size) {
    return libdeflate_crc32(0, src, size);
}
uint32_t zlibCrc(const uint8_t* src, size_t size) {
    return static_cast<uint32_t>(crc32(0, src, static_cast<uInt>(size)));
}
uint32_t ourAdler(const uint8_t* src, size_t size) {
    uint32_t value = 1;
    zelsAdler32_8u(src, static_cast<int32_t>(size), &value);
    return value;
}
uint32_t peerAdler(const uint8_t* src, size_t size) {
    return libdeflate_adler32(1, src, size);
}
uint32_t ourBz2Crc(const uint8_t* src, size_t size) {
    uint32_t value = 0;
    zelsCRC32_BZ2_8u(src, static_cast<int32_t>(size), &value);
    return value;
}

constexpr std::array<uint32_t, 256> kByteTable = [] {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t crc = i << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ ((crc >> 31) != 0 ? 0x04C11DB7U : 0);
        table[i] = crc;
    }
    return table;
}();

uint32_t byteWiseBz2Crc(const uint8_t* src, size_t size) {
    uint32_t crc = 0xFFFFFFFFU;
    for (; size != 0; --size)
        crc = (crc << 8) ^ kByteTable[(crc >> 24) ^ *src++];
    return ~crc;
}

Bytes data;

void time(benchmark::State& state, Sum sum, size_t size) {
    for (auto _ : state)
        benchmark::DoNotOptimize(sum(data.data(), size));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}

struct Contender {
    const char* name;
    Sum sum;
};
struct Race {
    const char* name;
    std::vector<Contender> contenders;
};

}  // namespace

int main(int argc, char** argv) {
    data = bench::corpus()[2].bytes;
    while (data.size() < size_t{16} << 20)
        data.insert(data.end(), data.begin(), data.end());
    const Race races[] = {
        {"crc32", {{"ours", ourCrc}, {"libdeflate", peerCrc}, {"zlib", zlibCrc}}},
        {"adler32", {{"ours", ourAdler}, {"libdeflate", peerAdler}}},
        {"bz2crc", {{"ours", ourBz2Crc}, {"bytewise", byteWiseBz2Crc}}},
    };
    for (const auto& [race, contenders] : races) {
        for (const size_t size : {64, 256, 1024, 4096, 65536, 1 << 20, 16 << 20}) {
            for (const auto& [name, sum] : contenders) {
                if (sum(data.data(), size) != contenders[0].sum(data.data(), size)) {
                    std::fprintf(stderr, "%s differs from %s's\n", race, name);
                    return 1;
                }
                const std::string full = race + ("/" + std::to_string(size) + "/") + name;
                benchmark::RegisterBenchmark(
                    full.c_str(),
                    [sum = sum, size](benchmark::State& state) { time(state, sum, size); });
            }
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
