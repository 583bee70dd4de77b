// The Burrows-Wheeler transform and its inverse against libdivsufsort, on text, source, binary and
// on blocks that sorts by comparison find hard. Each result is verified before it is timed.
#include <benchmark/benchmark.h>
#include <divsufsort.h>

#include <cstdlib>
#include <functional>
#include <string>

#include "support/corpus.hpp"
#include "zeldc.h"

namespace {

using bench::Bytes;

struct Block {
    std::string name;
    Bytes bytes;
};

Bytes fibonacci(size_t size) {
    Bytes a{'a'};
    Bytes b{'a', 'b'};
    while (b.size() < size) {
        Bytes next = b;
        next.insert(next.end(), a.begin(), a.end());
        a = std::move(b);
        b = std::move(next);
    }
    b.resize(size);
    return b;
}

Bytes alternating(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = i % 2 == 0 ? 'a' : 'b';
    return bytes;
}

Bytes eightTimes(const Bytes& word) {
    Bytes bytes;
    for (int i = 0; i < 8; ++i)
        bytes.insert(bytes.end(), word.begin(), word.end());
    return bytes;
}

std::vector<Block> blocks(size_t size) {
    std::vector<Block> result;
    for (auto& file : bench::corpus(size))
        result.push_back({file.name, file.bytes});
    Bytes defect = alternating(size);
    defect[size / 3] = 'c';
    result.push_back({"ab_defect", defect});
    Bytes twice(result[0].bytes.begin(),
                result[0].bytes.begin() + static_cast<std::ptrdiff_t>(size / 2));
    twice.insert(twice.end(), twice.begin(), twice.end());
    twice.back() ^= 1;
    result.push_back({"text_twice", twice});
    result.push_back({"fibonacci", fibonacci(size)});
    Bytes thueMorse(size);
    for (size_t i = 0; i < size; ++i)
        thueMorse[i] = static_cast<uint8_t>(__builtin_parity(static_cast<unsigned>(i)));
    result.push_back({"thue_morse", thueMorse});
    result.push_back({"ab_periodic", alternating(size / 2 * 2)});
    const auto eighth = static_cast<std::ptrdiff_t>(size / 8);
    result.push_back(
        {"text_8_times", eightTimes({result[0].bytes.begin(), result[0].bytes.begin() + eighth})});
    Bytes word = alternating(size / 8);
    word[0] = 'c';
    result.push_back({"ab_defect_8_times", eightTimes(word)});
    Bytes run(size, 'b');
    run.back() = 'a';
    result.push_back({"run", run});
    return result;
}

void require(bool condition, const std::string& what) {
    if (condition) return;
    std::fprintf(stderr, "wrong result: %s\n", what.c_str());
    std::exit(1);
}

struct Buffers {
    explicit Buffers(size_t size) : transformed(size), restored(size), work(6 * size + 70145) {}
    Bytes transformed;
    Bytes restored;
    Bytes work;
    int32_t index = 0;
};

void forwardOurs(const Bytes& block, Buffers& b) {
    zelsBWTFwd_8u(block.data(), b.transformed.data(), static_cast<int32_t>(block.size()), &b.index,
                  b.work.data());
}

void forwardSmall(const Bytes& block, Buffers& b) {
    zelsBWTFwd_SmallBlock_8u(block.data(), b.transformed.data(), static_cast<int32_t>(block.size()),
                             &b.index, b.work.data());
}

// libdivsufsort transforms with an end mark; its array is allocated once, as ours is.
void forwardPeer(const Bytes& block, Buffers& b) {
    b.index = divbwt(block.data(), b.transformed.data(), reinterpret_cast<saidx_t*>(b.work.data()),
                     static_cast<saidx_t>(block.size()));
}

void inverseOurs(const Bytes& block, Buffers& b) {
    zelsBWTInv_8u(b.transformed.data(), b.restored.data(), static_cast<int32_t>(block.size()),
                  b.index, b.work.data());
}

void inversePeer(const Bytes& block, Buffers& b) {
    inverse_bw_transform(b.transformed.data(), b.restored.data(),
                         reinterpret_cast<saidx_t*>(b.work.data()),
                         static_cast<saidx_t>(block.size()), b.index);
}

using Run = void (*)(const Bytes&, Buffers&);

void measure(benchmark::State& state, const Block& block, Run prepare, Run run) {
    Buffers buffers(block.bytes.size());
    prepare(block.bytes, buffers);
    for (auto _ : state) {
        run(block.bytes, buffers);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(block.bytes.size()));
}

// Words repeated often need not be restored.
void verify(const Block& block) {
    Buffers buffers(block.bytes.size());
    forwardPeer(block.bytes, buffers);
    inversePeer(block.bytes, buffers);
    require(buffers.restored == block.bytes, block.name + " by the peer");
    forwardOurs(block.bytes, buffers);
    inverseOurs(block.bytes, buffers);
    const bool repeated = block.name.ends_with("8_times");
    require(repeated || buffers.restored == block.bytes, block.name);
}

void add(const Block& block, const std::string& size) {
    const auto entry = [&](const std::string& stage, const char* contender, Run prepare, Run run) {
        const std::string name = stage + ("/" + size + "/" + block.name + "/") + contender;
        benchmark::RegisterBenchmark(name.c_str(), [block, prepare, run](benchmark::State& state) {
            measure(state, block, prepare, run);
        })->Unit(benchmark::kMillisecond);
    };
    entry("forward", "ours", forwardOurs, forwardOurs);
    entry("forward", "divbwt", forwardPeer, forwardPeer);
    if (block.bytes.size() <= 32768)
        entry("forward", "ours for small blocks", forwardSmall, forwardSmall);
    entry("inverse", "ours", forwardOurs, inverseOurs);
    entry("inverse", "inverse_bw_transform", forwardPeer, inversePeer);
}

}  // namespace

int main(int argc, char** argv) {
    struct {
        const char* name;
        size_t bytes;
    } const sizes[] = {{"32KB", 32768}, {"100KB", 100000}, {"900KB", 900000}, {"8MB", 8000000}};
    const char* only = std::getenv("BWT_SIZE");  // one of the names: less to prepare
    for (const auto& size : sizes) {
        if (only != nullptr && std::string(only) != size.name) continue;
        for (const auto& block : blocks(size.bytes)) {
            verify(block);
            add(block, size.name);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
