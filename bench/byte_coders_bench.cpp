// The byte RLE, the byte Huffman coder and LZSS against the plainest readers of their formats, and
// against memcpy, libdeflate and the deflate encoder's match search as measures of the machine.
// Rates are of uncompressed bytes.
#include <benchmark/benchmark.h>
#include <libdeflate.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "bench/support/corpus.hpp"
#include "zeldc.h"

namespace {

using bench::Bytes;

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "wrong result: %s\n", what);
    std::exit(1);
}

template <class Function>
void add(const std::string& name, size_t bytes, Function function) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        for (auto _ : state) {
            function();
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                                static_cast<int64_t>(bytes));
    });
}

// --- byte RLE -----------------------------------------------------------------------------------

using RleOperation = ZelStatus(const uint8_t**, int32_t*, uint8_t*, int32_t*);

int32_t runRle(RleOperation* operation, const Bytes& src, Bytes& dst) {
    const uint8_t* next = src.data();
    auto left = static_cast<int32_t>(src.size());
    auto size = static_cast<int32_t>(dst.size());
    require(operation(&next, &left, dst.data(), &size) == zelStsOk, "byte RLE");
    return size;
}

Bytes withoutRuns(size_t size) {
    Bytes bytes(size);
    uint32_t state = 1;
    for (size_t i = 0; i < size; ++i) {
        state = state * 1664525 + 1013904223;
        bytes[i] = static_cast<uint8_t>(state >> 24);
        if (i > 0 && bytes[i] == bytes[i - 1]) ++bytes[i];
    }
    return bytes;
}

Bytes longRuns(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>(i / 3000);
    return bytes;
}

void addRle(const std::string& name, Bytes bytes) {
    const auto src = std::make_shared<Bytes>(std::move(bytes));
    const auto coded = std::make_shared<Bytes>(src->size() * 3 / 2 + 3);
    const auto out = std::make_shared<Bytes>(src->size() * 3 / 2 + 3);
    coded->resize(static_cast<size_t>(runRle(zelsEncodeRLE_8u, *src, *coded)));
    out->resize(src->size());
    require(
        runRle(zelsDecodeRLE_8u, *coded, *out) == static_cast<int32_t>(src->size()) && *out == *src,
        "byte RLE round trip");
    const auto room = std::make_shared<Bytes>(src->size() * 3 / 2 + 3);
    const auto copy = [=] { std::memcpy(room->data(), src->data(), src->size()); };
    add("rle_encode/" + name + "/memcpy", src->size(), copy);
    add("rle_encode/" + name + "/ours", src->size(),
        [=] { runRle(zelsEncodeRLE_8u, *src, *room); });
    add("rle_decode/" + name + "/memcpy", src->size(), copy);
    add("rle_decode/" + name + "/ours", src->size(),
        [=] { runRle(zelsDecodeRLE_8u, *coded, *out); });
}

// --- byte Huffman -------------------------------------------------------------------------------

// Canonical decoding one bit at a time.
class BitReader {
  public:
    explicit BitReader(const int32_t* lengths) {
        for (int length = 32; length > 0; --length) {
            for (int value = 256; value-- > 0;) {
                if (lengths[value] == length) order_.push_back(static_cast<uint8_t>(value));
            }
        }
        uint32_t next = 0;
        size_t used = 0;
        for (int length = 32; length > 0; --length, next >>= 1) {
            first_[length] = next;
            start_[length] = used;
            const auto count = static_cast<size_t>(std::count(lengths, lengths + 256, length));
            next += static_cast<uint32_t>(count);
            used += count;
            end_[length] = next;
        }
    }
    void decode(const uint8_t* src, Bytes& out) const {
        size_t at = 0;
        for (auto& symbol : out) {
            uint32_t code = 0;
            int length = 0;
            do {
                code = code << 1 | (src[at / 8] >> (7 - at % 8) & 1U);
                ++at;
                ++length;
            } while (code < first_[length] || code >= end_[length]);
            symbol = order_[start_[length] + code - first_[length]];
        }
    }

  private:
    Bytes order_;
    uint32_t first_[33] = {};
    uint32_t end_[33] = {};
    size_t start_[33] = {};
};

struct HuffFree {
    void operator()(HuffState* state) const { zelsHuffFree_8u(state); }
};

int32_t huffEncode(const int32_t* frequencies, const Bytes& src, Bytes& dst) {
    HuffState* state = nullptr;
    require(zelsEncodeHuffInitAlloc_8u(frequencies, &state) == zelStsOk, "Huffman Init");
    const std::unique_ptr<HuffState, HuffFree> owner(state);
    int32_t size = 0;
    int32_t rest = 0;
    zelsEncodeHuff_8u(src.data(), static_cast<int32_t>(src.size()), dst.data(), &size, state);
    zelsEncodeHuffFinal_8u(dst.data() + size, &rest, state);
    return size + rest;
}

void huffDecode(const int32_t* lengths, const Bytes& coded, Bytes& out) {
    HuffState* state = nullptr;
    require(zelsDecodeHuffInitAlloc_8u(lengths, &state) == zelStsOk, "Huffman Init");
    const std::unique_ptr<HuffState, HuffFree> owner(state);
    auto size = static_cast<int32_t>(out.size());
    zelsDecodeHuff_8u(coded.data(), static_cast<int32_t>(coded.size()), out.data(), &size, state);
}

void addHuffman(const std::string& name, const Bytes& bytes) {
    const auto src = std::make_shared<Bytes>(bytes);
    const auto frequencies = std::make_shared<std::vector<int32_t>>(256);
    for (const uint8_t b : bytes)
        ++(*frequencies)[b];
    HuffState* state = nullptr;
    zelsEncodeHuffInitAlloc_8u(frequencies->data(), &state);
    const auto lengths = std::make_shared<std::vector<int32_t>>(256);
    zelsHuffGetLenCodeTable_8u(lengths->data(), state);
    zelsHuffFree_8u(state);
    const auto coded = std::make_shared<Bytes>(bytes.size() + bytes.size() / 8 + 8);
    coded->resize(static_cast<size_t>(huffEncode(frequencies->data(), *src, *coded)));
    const auto out = std::make_shared<Bytes>(bytes.size());
    const auto reader = std::make_shared<BitReader>(lengths->data());
    reader->decode(coded->data(), *out);
    require(*out == *src, "bit reader");
    std::fill(out->begin(), out->end(), uint8_t{0});
    huffDecode(lengths->data(), *coded, *out);
    require(*out == *src, "Huffman round trip");

    const auto room = std::make_shared<Bytes>(coded->size() + 8);
    add("huffman_encode/" + name + "/ours", bytes.size(),
        [=] { huffEncode(frequencies->data(), *src, *room); });
    add("huffman_decode/" + name + "/ours", bytes.size(),
        [=] { huffDecode(lengths->data(), *coded, *out); });
    add("huffman_decode/" + name + "/bit by bit", bytes.size(),
        [=] { reader->decode(coded->data(), *out); });
}

void addLibdeflate(const std::string& name, const Bytes& bytes) {
    auto* compressor = libdeflate_alloc_compressor(6);
    const auto coded =
        std::make_shared<Bytes>(libdeflate_deflate_compress_bound(compressor, bytes.size()));
    coded->resize(libdeflate_deflate_compress(compressor, bytes.data(), bytes.size(), coded->data(),
                                              coded->size()));
    libdeflate_free_compressor(compressor);
    const auto out = std::make_shared<Bytes>(bytes.size());
    add("huffman_decode/" + name + "/libdeflate", bytes.size(), [=] {
        auto* decompressor = libdeflate_alloc_decompressor();
        require(
            libdeflate_deflate_decompress(decompressor, coded->data(), coded->size(), out->data(),
                                          out->size(), nullptr) == LIBDEFLATE_SUCCESS,
            "libdeflate");
        libdeflate_free_decompressor(decompressor);
    });
}

// --- LZSS ---------------------------------------------------------------------------------------

struct LzssFree {
    void operator()(LzssState* state) const { zelsLZSSFree_8u(state); }
};

int32_t lzssEncode(const Bytes& src, Bytes& dst) {
    LzssState* state = nullptr;
    require(zelsEncodeLZSSInitAlloc_8u(&state) == zelStsOk, "LZSS Init");
    const std::unique_ptr<LzssState, LzssFree> owner(state);
    const uint8_t* next = src.data();
    auto left = static_cast<int32_t>(src.size());
    uint8_t* dstNext = dst.data();
    auto room = static_cast<int32_t>(dst.size());
    zelsEncodeLZSS_8u(&next, &left, &dstNext, &room, state);
    zelsEncodeLZSSFlush_8u(&dstNext, &room, state);
    return static_cast<int32_t>(dstNext - dst.data());
}

void lzssDecode(const Bytes& coded, Bytes& out) {
    LzssState* state = nullptr;
    require(zelsDecodeLZSSInitAlloc_8u(&state) == zelStsOk, "LZSS Init");
    const std::unique_ptr<LzssState, LzssFree> owner(state);
    const uint8_t* next = coded.data();
    auto left = static_cast<int32_t>(coded.size());
    uint8_t* dstNext = out.data();
    auto room = static_cast<int32_t>(out.size());
    zelsDecodeLZSS_8u(&next, &left, &dstNext, &room, state);
}

// Token by token, with byte copies.
void lzssRead(const Bytes& coded, Bytes& out) {
    uint32_t bits = 0;
    int count = 0;
    const uint8_t* src = coded.data();
    const uint8_t* const srcEnd = src + coded.size();
    const auto take = [&](int width) {
        for (; count < width; count += 8)
            bits = bits << 8 | (src != srcEnd ? *src++ : 0U);
        count -= width;
        return bits >> count & ((1U << width) - 1);
    };
    uint8_t* dst = out.data();
    uint8_t* const dstEnd = dst + out.size();
    while (dst != dstEnd) {
        if (take(1) != 0) {
            *dst++ = static_cast<uint8_t>(take(8));
            continue;
        }
        const uint32_t distance = take(15);
        for (uint32_t length = take(8) + 3; length > 0; --length, ++dst)
            *dst = *(dst - distance);
    }
}

struct Lz77Free {
    void operator()(Lz77EncodeState* state) const { zelsLZ77Free_8u(state); }
};

// The same search without the coding of tokens: pairs at the normal level. Returns their number.
size_t lz77Pairs(const Bytes& src, std::vector<Lz77Pair>& pairs) {
    Lz77EncodeState* state = nullptr;
    require(zelsEncodeLZ77InitAlloc_8u(Lz77LevelNormal, Lz77ChecksumNone, &state) == zelStsOk,
            "deflate Init");
    const std::unique_ptr<Lz77EncodeState, Lz77Free> owner(state);
    const uint8_t* next = src.data();
    auto left = static_cast<int32_t>(src.size());
    size_t count = 0;
    while (left > 0) {
        Lz77Pair* pairNext = pairs.data();
        auto room = static_cast<int32_t>(pairs.size());
        zelsEncodeLZ77_8u(&next, &left, &pairNext, &room, Lz77FlushNone, state);
        count += pairs.size() - static_cast<size_t>(room);
    }
    return count;
}

void addLzss(const std::string& name, const Bytes& bytes) {
    const auto src = std::make_shared<Bytes>(bytes);
    const auto coded = std::make_shared<Bytes>(bytes.size() * 9 / 8 + 8);
    coded->resize(static_cast<size_t>(lzssEncode(*src, *coded)));
    const auto out = std::make_shared<Bytes>(bytes.size());
    lzssDecode(*coded, *out);
    require(*out == *src, "LZSS round trip");
    std::fill(out->begin(), out->end(), uint8_t{0});
    lzssRead(*coded, *out);
    require(*out == *src, "LZSS reader");

    const auto room = std::make_shared<Bytes>(coded->size() + 8);
    const auto pairs = std::make_shared<std::vector<Lz77Pair>>(65280);
    const size_t pairCount = lz77Pairs(*src, *pairs);
    add("lzss_encode/" + name + "/ours", bytes.size(), [=] { lzssEncode(*src, *room); });
    add("lzss_encode/" + name + "/deflate normal pairs", bytes.size(),
        [=] { require(lz77Pairs(*src, *pairs) == pairCount, "deflate pairs"); });
    add("lzss_decode/" + name + "/ours", bytes.size(), [=] { lzssDecode(*coded, *out); });
    add("lzss_decode/" + name + "/by bytes", bytes.size(), [=] { lzssRead(*coded, *out); });
}

}  // namespace

int main(int argc, char** argv) {
    constexpr size_t kSize = 8000000;
    const auto files = bench::corpus(kSize);
    addRle("no_runs", withoutRuns(kSize));
    addRle("long_runs", longRuns(kSize));
    for (const auto& file : files)
        addRle(file.name, file.bytes);
    for (const auto& file : files) {
        addHuffman(file.name, file.bytes);
        addLibdeflate(file.name, file.bytes);
    }
    for (const auto& file : files)
        addLzss(file.name, file.bytes);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
