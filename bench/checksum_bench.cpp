// Checksums against libdeflate's and zlib's, and the bzip2 CRC against a byte-wise table. Each
// size is timed for ours and the peer in turn; both results are compared before.
#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <zlib.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

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

void time(benchmark::State& state, Sum sum, const Bytes& data) {
    const auto size = static_cast<size_t>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(sum(data.data(), size));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

struct Race {
    const char* name;
    Sum ours;
    const char* peerName;
    Sum peer;
};

constexpr Race kRaces[] = {
    {"crc32", ourCrc, "libdeflate", peerCrc},
    {"crc32", ourCrc, "zlib", zlibCrc},
    {"adler32", ourAdler, "libdeflate", peerAdler},
    {"bz2crc", ourBz2Crc, "bytewise", byteWiseBz2Crc},
};

}  // namespace

int main(int argc, char** argv) {
    static Bytes data = bench::corpus()[2].bytes;
    while (data.size() < size_t{16} << 20)
        data.insert(data.end(), data.begin(), data.end());
    for (const Race& race : kRaces) {
        for (const int64_t size : {64, 256, 1024, 4096, 65536, 1 << 20, 16 << 20}) {
            if (race.ours(data.data(), static_cast<size_t>(size)) !=
                race.peer(data.data(), static_cast<size_t>(size))) {
                std::fprintf(stderr, "%s differs from %s\n", race.name, race.peerName);
                return 1;
            }
            const std::string name = std::string(race.name) + "/" + race.peerName;
            benchmark::RegisterBenchmark((name + "/ours").c_str(), [race](benchmark::State& state) {
                time(state, race.ours, data);
            })->Arg(size);
            benchmark::RegisterBenchmark((name + "/peer").c_str(), [race](benchmark::State& state) {
                time(state, race.peer, data);
            })->Arg(size);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
