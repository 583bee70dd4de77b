// The multi-table Huffman coder on the symbols of real blocks, with libbz2's share for the same;
// and the whole chain of docs/examples/bzip2_chain.h against libbz2's.
#include <benchmark/benchmark.h>
#include <bzlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "docs/examples/bzip2_chain.h"
#include "support/bz2_share.hpp"
#include "support/corpus.hpp"
#include "zeldc.h"

namespace {

using bench::Bytes;
using Symbols = std::vector<uint16_t>;

void must(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

struct Block {
    std::string name;
    Bytes bytes;  // of the file
    Bytes transformed;
    Symbols symbols;
    std::vector<uint32_t> frequencies;
    int32_t alphaSize = 0;
    Bytes coded;
    std::vector<uint8_t> state;

    void encode() {
        auto* encoder = reinterpret_cast<HuffBz2EncodeState*>(state.data());
        const auto len = static_cast<int32_t>(symbols.size());
        must(zelsEncodeHuffInit_BZ2_16u8u(alphaSize, frequencies.data(), symbols.data(), len,
                                          encoder) == zelStsOk,
             "init");
        uint32_t code = 0;
        int32_t bits = 0;
        auto head = static_cast<int32_t>(coded.size());
        must(zelsPackHuffContext_BZ2_16u8u(&code, &bits, coded.data(), &head, encoder) == zelStsOk,
             "pack");
        auto rest = static_cast<int32_t>(coded.size()) - head;
        const uint16_t* src = symbols.data();
        int32_t left = len;
        must(zelsEncodeHuff_BZ2_16u8u(&code, &bits, &src, &left, coded.data() + head, &rest,
                                      encoder) == zelStsOk,
             "encode");
        coded[static_cast<size_t>(head + rest)] = static_cast<uint8_t>(code >> 24);
    }
};

Block makeBlock(const bench::CorpusFile& file) {
    Block block;
    block.name = file.name;
    int32_t size = 0;
    zelsRLEGetSize_BZ2_8u(&size);
    std::vector<uint8_t> rle(static_cast<size_t>(size));
    auto* state = reinterpret_cast<RleBz2State*>(rle.data());
    zelsEncodeRLEInit_BZ2_8u(state);
    Bytes out(899980);
    const uint8_t* src = file.bytes.data();
    auto left = static_cast<int32_t>(file.bytes.size());
    auto made = static_cast<int32_t>(out.size()) - 1;
    zelsEncodeRLE_BZ2_8u(&src, &left, out.data(), &made, state);
    int32_t more = 1;
    zelsEncodeRLEFlush_BZ2_8u(out.data() + made, &more, state);
    out.resize(static_cast<size_t>(made + more));
    block.bytes.assign(file.bytes.data(), src);
    uint8_t inUse[256];
    zelsRLEGetInUseTable_8u(inUse, state);
    Bytes rows(out.size());
    zelsBWTFwdGetSize_8u(static_cast<int32_t>(out.size()), &size);
    Bytes work(static_cast<size_t>(size));
    int32_t index = 0;
    zelsBWTFwd_8u(out.data(), rows.data(), static_cast<int32_t>(out.size()), &index, work.data());
    int32_t values = 0;
    zelsReduceDictionary_8u_I(inUse, rows.data(), static_cast<int32_t>(rows.size()), &values);
    std::vector<uint8_t> mtf(256);
    zelsMTFInit_8u(reinterpret_cast<MtfState*>(mtf.data()));
    zelsMTFFwd_8u(rows.data(), rows.data(), static_cast<int32_t>(rows.size()),
                  reinterpret_cast<MtfState*>(mtf.data()));
    block.transformed = rows;
    block.symbols.resize(rows.size() + 32);
    block.frequencies.resize(258);
    const uint8_t* from = rows.data();
    auto rest = static_cast<int32_t>(rows.size());
    auto count = static_cast<int32_t>(block.symbols.size());
    must(zelsEncodeZ1Z2_BZ2_8u16u(&from, &rest, block.symbols.data(), &count,
                                  block.frequencies.data()) == zelStsOk,
         "zero runs");
    block.symbols.resize(static_cast<size_t>(count));
    block.symbols.push_back(static_cast<uint16_t>(values + 1));
    ++block.frequencies[static_cast<size_t>(values + 1)];
    block.alphaSize = values + 2;
    zelsEncodeHuffGetSize_BZ2_16u8u(count + 1, &size);
    block.state.resize(static_cast<size_t>(size));
    block.coded.resize(block.symbols.size() * 3 + 10000);
    block.encode();
    return block;
}

std::vector<Block>& blocks() {
    static std::vector<Block> made = [] {
        std::vector<Block> all;
        for (const auto& file : bench::corpus(4000000))
            all.push_back(makeBlock(file));
        return all;
    }();
    return made;
}

void symbolRate(benchmark::State& state, const Block& block, double factor = 1) {
    const double count = static_cast<double>(block.symbols.size()) * factor;
    state.counters["Msym/s"] = benchmark::Counter(
        count * static_cast<double>(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}

void encode(benchmark::State& state, Block& block) {
    for (auto _ : state)
        block.encode();
    symbolRate(state, block);
}

void encodeInit(benchmark::State& state, Block& block) {
    auto* encoder = reinterpret_cast<HuffBz2EncodeState*>(block.state.data());
    for (auto _ : state) {
        zelsEncodeHuffInit_BZ2_16u8u(block.alphaSize, block.frequencies.data(),
                                     block.symbols.data(),
                                     static_cast<int32_t>(block.symbols.size()), encoder);
    }
    symbolRate(state, block);
}

void decodeBlock(const Block& block, HuffBz2DecodeState* decoder, Symbols& out) {
    uint32_t code = 0;
    int32_t bits = 0;
    const uint8_t* src = block.coded.data();
    auto left = static_cast<int32_t>(block.coded.size());
    must(zelsUnpackHuffContext_BZ2_8u16u(&code, &bits, &src, &left, decoder) == zelStsOk, "unpack");
    auto count = static_cast<int32_t>(out.size());
    must(zelsDecodeHuff_BZ2_8u16u(&code, &bits, &src, &left, out.data(), &count, decoder) ==
             zelStsOk,
         "decode");
    must(count == static_cast<int32_t>(block.symbols.size()), "count");
}

void decode(benchmark::State& state, Block& block) {
    HuffBz2DecodeState* decoder = nullptr;
    zelsDecodeHuffInitAlloc_BZ2_8u16u(900100, block.alphaSize, &decoder);
    Symbols out(900100);
    for (auto _ : state)
        decodeBlock(block, decoder, out);
    must(std::equal(block.symbols.begin(), block.symbols.end(), out.begin()), "decoded symbols");
    zelsDecodeHuffFree_BZ2_8u16u(decoder);
    symbolRate(state, block);
}

double seconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// One compression (decompression) of the block's bytes per iteration; the time reported is the part
// of it that the profile gives to the Huffman stage.
template <class Work>
void peerShare(benchmark::State& state, const Block& block, std::vector<bench::CodeRange> ranges,
               Work work) {
    const double share = bench::Sampler::share(std::move(ranges), 2.0, work);
    for (auto _ : state) {
        const double begin = seconds();
        work();
        state.SetIterationTime((seconds() - begin) * share);
    }
    state.counters["share"] = share;
    symbolRate(state, block);
}

Bytes peerCompressed(const Block& block) {
    Bytes out(block.bytes.size() + 100000);
    auto size = static_cast<unsigned>(out.size());
    auto* src = reinterpret_cast<char*>(const_cast<uint8_t*>(block.bytes.data()));
    must(BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &size, src,
                                  static_cast<unsigned>(block.bytes.size()), 9, 0, 0) == BZ_OK,
         "libbz2");
    out.resize(size);
    return out;
}

void peerEncode(benchmark::State& state, Block& block) {
    peerShare(state, block,
              {bench::rangeOf(BZ2_compressBlock), bench::rangeOf(BZ2_hbMakeCodeLengths),
               bench::rangeOf(BZ2_hbAssignCodes)},
              [&] { benchmark::DoNotOptimize(peerCompressed(block).data()); });
}

void peerDecode(benchmark::State& state, Block& block) {
    Bytes packed = peerCompressed(block);
    Bytes out(block.bytes.size());
    peerShare(state, block,
              {bench::rangeOf(BZ2_decompress), bench::rangeOf(BZ2_hbCreateDecodeTables)}, [&] {
                  auto size = static_cast<unsigned>(out.size());
                  BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(out.data()), &size,
                                             reinterpret_cast<char*>(packed.data()),
                                             static_cast<unsigned>(packed.size()), 0, 0);
              });
}

// Eight megabytes of the file, in blocks of 900,000 bytes.
void chainRate(benchmark::State& state, const bench::CorpusFile& file) {
    state.SetBytesProcessed(static_cast<int64_t>(file.bytes.size()) *
                            static_cast<int64_t>(state.iterations()));
}

Bytes chainCompressed(const bench::CorpusFile& file) {
    Bz2Buffer out = {};
    must(bz2Compress(file.bytes.data(), static_cast<int32_t>(file.bytes.size()), 9, &out) ==
             zelStsOk,
         "chain");
    Bytes bytes(out.data, out.data + out.size);
    free(out.data);
    return bytes;
}

Bytes peerChainCompressed(const bench::CorpusFile& file) {
    Bytes out(file.bytes.size() + 1000000);
    auto size = static_cast<unsigned>(out.size());
    auto* src = reinterpret_cast<char*>(const_cast<uint8_t*>(file.bytes.data()));
    must(BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &size, src,
                                  static_cast<unsigned>(file.bytes.size()), 9, 0, 0) == BZ_OK,
         "libbz2");
    out.resize(size);
    return out;
}

void chainCompress(benchmark::State& state, const bench::CorpusFile& file) {
    size_t size = 0;
    for (auto _ : state)
        size = chainCompressed(file).size();
    chainRate(state, file);
    state.counters["size"] = static_cast<double>(size);
}

void peerChainCompress(benchmark::State& state, const bench::CorpusFile& file) {
    size_t size = 0;
    for (auto _ : state)
        size = peerChainCompressed(file).size();
    chainRate(state, file);
    state.counters["size"] = static_cast<double>(size);
}

void chainDecompress(benchmark::State& state, const bench::CorpusFile& file) {
    const Bytes packed = peerChainCompressed(file);
    Bz2Buffer out = {};
    for (auto _ : state) {
        const uint8_t* src = packed.data();
        auto left = static_cast<int32_t>(packed.size());
        out.size = 0;
        must(bz2Decompress(&src, &left, &out) == zelStsOk, "chain");
    }
    must(
        out.size == file.bytes.size() && std::equal(file.bytes.begin(), file.bytes.end(), out.data),
        "restored bytes");
    free(out.data);
    chainRate(state, file);
}

void peerChainDecompress(benchmark::State& state, const bench::CorpusFile& file) {
    Bytes packed = chainCompressed(file);
    Bytes out(file.bytes.size());
    for (auto _ : state) {
        auto size = static_cast<unsigned>(out.size());
        must(BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(out.data()), &size,
                                        reinterpret_cast<char*>(packed.data()),
                                        static_cast<unsigned>(packed.size()), 0, 0) == BZ_OK,
             "libbz2");
    }
    must(out == file.bytes, "restored bytes");
    chainRate(state, file);
}

}  // namespace

int main(int argc, char** argv) {
    for (Block& block : blocks()) {
        const auto add = [&](const std::string& stage, const char* contender,
                             void (*run)(benchmark::State&, Block&)) {
            return benchmark::RegisterBenchmark(
                (stage + "/" + block.name + "/" + contender).c_str(),
                [run, &block](benchmark::State& s) { run(s, block); });
        };
        add("encode", "ours", encode);
        add("encode", "libbz2", peerEncode)->UseManualTime();
        add("encode_init", "ours", encodeInit);
        add("decode", "ours", decode);
        add("decode", "libbz2", peerDecode)->UseManualTime();
    }
    static const std::vector<bench::CorpusFile> files = bench::corpus(8000000);
    for (const auto& file : files) {
        const auto add = [&](const std::string& stage, const char* contender,
                             void (*run)(benchmark::State&, const bench::CorpusFile&)) {
            benchmark::RegisterBenchmark((stage + "/" + file.name + "/" + contender).c_str(),
                                         [run, &file](benchmark::State& s) { run(s, file); });
        };
        add("compress", "ours", chainCompress);
        add("compress", "libbz2", peerChainCompress);
        add("decompress", "ours", chainDecompress);
        add("decompress", "libbz2", peerChainDecompress);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
