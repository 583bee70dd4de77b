// Variable-length codes against a walk of the same tables that takes every bit by itself.
//
// Three codes: the AC code of baseline JPEG luminance (ITU-T T.81, table K.5; 162 codes of up to 16
// bits), quadruples of small elements with signs as audio and video coders have them, and a skewed
// code of up to 12 bits. Values are drawn with the probabilities that the code lengths stand for.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <queue>
#include <random>
#include <string>
#include <vector>

#include "zeldc.h"

namespace {

constexpr size_t kCodes = 100000;

struct Code {
    std::string name;
    std::vector<VlcCodeRecord> records;
    std::vector<int32_t> widths;
    int32_t tupleLength = 0;  // 0: plain values
    int32_t elementWidth = 0;
};

// Canonical codes: shorter ones first, equal lengths in order.
void assignCodes(std::vector<VlcCodeRecord>& records) {
    uint32_t next = 0;
    for (int32_t length = 1; length <= 32; ++length, next <<= 1) {
        for (auto& record : records) {
            if (record.length == length) record.code = static_cast<int32_t>(next++);
        }
    }
}

Code jpegAc() {
    Code code{"jpeg_ac", {}, {9, 7}};
    const int32_t counts[] = {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125};
    int32_t value = 0;
    for (int32_t length = 1; length <= 16; ++length) {
        for (int32_t i = 0; i < counts[length - 1]; ++i)
            code.records.push_back({value++, 0, length});
    }
    assignCodes(code.records);
    return code;
}

// Quadruples of 0, 1 or 2: a Huffman code of their joint weights.
Code tuples() {
    Code code{"tuples", {}, {8, 8}, 4, 2};
    struct Node {
        double weight;
        std::vector<size_t> leaves;
        bool operator<(const Node& other) const { return weight > other.weight; }
    };
    std::priority_queue<Node> nodes;
    const double weights[] = {0.6, 0.3, 0.1};
    for (int32_t i = 0; i < 81; ++i) {
        int32_t packed = 0;
        double weight = 1;
        for (int32_t j = 0, rest = i; j < 4; ++j, rest /= 3) {
            packed = packed << 2 | rest % 3;
            weight *= weights[rest % 3];
        }
        code.records.push_back({packed, 0, 0});
        nodes.push({weight, {static_cast<size_t>(i)}});
    }
    while (nodes.size() > 1) {
        Node a = nodes.top();
        nodes.pop();
        const Node& b = nodes.top();
        a.weight += b.weight;
        a.leaves.insert(a.leaves.end(), b.leaves.begin(), b.leaves.end());
        nodes.pop();
        for (const size_t leaf : a.leaves)
            ++code.records[leaf].length;
        nodes.push(a);
    }
    assignCodes(code.records);
    return code;
}

Code skewed() {
    Code code{"skewed_12", {}, {12}};
    for (int32_t length = 1; length <= 12; ++length)
        code.records.push_back({length * (length % 2 == 0 ? 3 : -3), 0, length});
    code.records.push_back({100, 0, 12});
    assignCodes(code.records);
    return code;
}

const std::vector<Code>& codes() {
    static const std::vector<Code> all{jpegAc(), tuples(), skewed()};
    return all;
}

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "vlc_bench: %s\n", what);
    std::exit(1);
}

bool bitAt(const uint8_t* stream, size_t position) {
    return (stream[position >> 3] >> (7 - (position & 7)) & 1) != 0;
}

// ---- the reference: one bit after the other ----

template <class Entry>
size_t walkCode(const uint8_t* stream, size_t position, const Entry* table, uint32_t levelBits,
                int32_t* leaf) {
    const Entry* subTable = table;
    size_t resolved = position;
    for (;;) {
        uint32_t index = 0;
        for (uint32_t i = 0; i < subTable[0]; ++i)
            index = index << 1 | bitAt(stream, resolved + i);
        const Entry entry = subTable[1 + index];
        if ((entry & 1) != 0) {
            *leaf = static_cast<std::make_signed_t<Entry>>(entry) >> (levelBits + 1);
            return resolved + (entry >> 1 & ((1U << levelBits) - 1));
        }
        resolved += subTable[0];
        subTable = table + (entry >> 1);
    }
}

template <class Entry>
size_t walkBlock(const Code& code, const uint8_t* header, const uint8_t* stream, int16_t* dst) {
    uint32_t fields[6];
    std::memcpy(fields, header, sizeof fields);
    const auto* const table =
        reinterpret_cast<const Entry*>(header + (code.tupleLength == 0 ? 32 : 64));
    size_t position = 0;
    for (size_t i = 0; i < kCodes; ++i) {
        int32_t leaf = 0;
        position = walkCode(stream, position, table, fields[5], &leaf);
        if (code.tupleLength == 0) *dst++ = static_cast<int16_t>(leaf);
        for (int32_t j = code.tupleLength; j-- > 0;) {
            int32_t element = leaf >> (j * code.elementWidth) & ((1 << code.elementWidth) - 1);
            if (element != 0 && bitAt(stream, position++)) element = -element;
            *dst++ = static_cast<int16_t>(element);
        }
    }
    return position;
}

size_t walk(const Code& code, const VlcDecodeSpec* spec, const uint8_t* stream, int16_t* dst) {
    const auto* const header = reinterpret_cast<const uint8_t*>(spec);  // aligned by InitAlloc
    uint32_t entryWidth;
    std::memcpy(&entryWidth, header + 16, 4);
    if (entryWidth == 8) return walkBlock<uint8_t>(code, header, stream, dst);
    if (entryWidth == 16) return walkBlock<uint16_t>(code, header, stream, dst);
    return walkBlock<uint32_t>(code, header, stream, dst);
}

size_t writeBits(uint8_t* stream, size_t position, uint32_t bits, uint32_t length) {
    for (uint32_t i = length; i-- > 0; ++position) {
        const auto mask = static_cast<uint8_t>(0x80 >> (position & 7));
        uint8_t& byte = stream[position >> 3];
        byte = static_cast<uint8_t>((bits >> i & 1) != 0 ? byte | mask : byte & ~mask);
    }
    return position;
}

size_t encodeByBits(const VlcEncodeSpec* spec, const int16_t* src, uint8_t* stream) {
    const auto* const header = reinterpret_cast<const uint32_t*>(spec);
    const uint32_t* const lengths = header + 8;
    const uint32_t* const bits = lengths + (size_t{1} << header[2]);
    size_t position = 0;
    for (size_t i = 0; i < kCodes; ++i) {
        const uint32_t index = static_cast<uint32_t>(src[i]) + header[1];
        position = writeBits(stream, position, bits[index], lengths[index]);
    }
    return position;
}

// ---- data: a stream of each code, and what it decodes to ----

struct Sample {
    explicit Sample(const Code& c) : code(c), stream(kCodes * 3 + 16) {
        std::mt19937 random(11);
        std::vector<double> weights;
        for (const auto& record : code.records)
            weights.push_back(1.0 / static_cast<double>(uint64_t{1} << record.length));
        std::discrete_distribution<size_t> draw(weights.begin(), weights.end());
        for (size_t i = 0; i < kCodes; ++i) {
            const auto& record = code.records[draw(random)];
            bits = writeBits(stream.data(), bits, static_cast<uint32_t>(record.code),
                             static_cast<uint32_t>(record.length));
            if (code.tupleLength == 0) values.push_back(static_cast<int16_t>(record.value));
            for (int32_t j = code.tupleLength; j-- > 0;) {
                const int32_t element =
                    record.value >> (j * code.elementWidth) & ((1 << code.elementWidth) - 1);
                const bool negative = element != 0 && random() % 2 == 0;
                if (element != 0) bits = writeBits(stream.data(), bits, negative ? 1 : 0, 1);
                values.push_back(static_cast<int16_t>(negative ? -element : element));
            }
        }
        const auto count = static_cast<int32_t>(code.records.size());
        const auto widthCount = static_cast<int32_t>(code.widths.size());
        const ZelStatus status =
            code.tupleLength == 0
                ? zelsVLCDecodeInitAlloc_32s(code.records.data(), count, code.widths.data(),
                                             widthCount, &decodeSpec)
                : zelsVLCDecodeUTupleInitAlloc_32s(code.records.data(), count, code.widths.data(),
                                                   widthCount, code.tupleLength, code.elementWidth,
                                                   &decodeSpec);
        check(status == zelStsOk, "decoding spec");
        check(zelsVLCEncodeInitAlloc_32s(code.records.data(), count, &encodeSpec) == zelStsOk,
              "encoding spec");
    }
    ~Sample() {
        zelsVLCDecodeFree_32s(decodeSpec);
        zelsVLCEncodeFree_32s(encodeSpec);
    }
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;

    const Code& code;
    std::vector<uint8_t> stream;
    std::vector<int16_t> values;
    size_t bits = 0;
    VlcDecodeSpec* decodeSpec = nullptr;
    VlcEncodeSpec* encodeSpec = nullptr;
};

// By calls of at most `piece` 16-bit elements.
size_t decode(const Sample& sample, int16_t* dst, size_t piece) {
    const uint8_t* next = sample.stream.data();
    int32_t offset = 0;
    const auto block =
        sample.code.tupleLength == 0 ? zelsVLCDecodeBlock_1u16s : zelsVLCDecodeUTupleBlock_1u16s;
    for (size_t left = sample.values.size(); left != 0;) {
        const size_t count = std::min(left, piece);
        check(
            block(&next, &offset, dst, static_cast<int32_t>(count), sample.decodeSpec) == zelStsOk,
            "decoding");
        dst += count;
        left -= count;
    }
    return static_cast<size_t>(next - sample.stream.data()) * 8 + static_cast<size_t>(offset);
}

size_t encode(const Sample& sample, uint8_t* dst) {
    uint8_t* next = dst;
    int32_t offset = 0;
    check(zelsVLCEncodeBlock_16s1u(sample.values.data(), kCodes, &next, &offset,
                                   sample.encodeSpec) == zelStsOk,
          "encoding");
    return static_cast<size_t>(next - dst) * 8 + static_cast<size_t>(offset);
}

void report(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kCodes));
    state.counters["time_per_code"] = benchmark::Counter(
        kCodes, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void benchDecode(benchmark::State& state, const Code& code, size_t piece) {
    const bool byBits = piece == 0;
    const Sample sample(code);
    std::vector<int16_t> dst(sample.values.size());
    for (auto _ : state) {
        const size_t bits = byBits ? walk(code, sample.decodeSpec, sample.stream.data(), dst.data())
                                   : decode(sample, dst.data(), piece);
        check(bits == sample.bits, "decoded length");
    }
    check(dst == sample.values, "decoded values");
    report(state);
}

void benchEncode(benchmark::State& state, const Code& code, bool byBits) {
    const Sample sample(code);
    std::vector<uint8_t> dst(sample.stream.size());
    for (auto _ : state) {
        const size_t bits = byBits
                                ? encodeByBits(sample.encodeSpec, sample.values.data(), dst.data())
                                : encode(sample, dst.data());
        check(bits == sample.bits, "encoded length");
    }
    check(std::memcmp(dst.data(), sample.stream.data(), sample.bits / 8) == 0, "encoded bits");
    report(state);
}

// 65,536 codes of 12 to 20 bits in descending order, the costly one to count.
void benchBuild(benchmark::State& state) {
    std::vector<VlcCodeRecord> records;
    for (int32_t i = 65536; i-- > 0;)
        records.push_back({static_cast<int16_t>(i), i, 16 + i % 2});
    for (auto& record : records) {
        if (record.length == 17) record.code = record.code * 2 + 1;
    }
    const int32_t widths[] = {8, 4, 8};
    for (auto _ : state) {
        VlcDecodeSpec* spec = nullptr;
        check(zelsVLCDecodeInitAlloc_32s(records.data(), 65536, widths, 3, &spec) == zelStsOk,
              "building");
        zelsVLCDecodeFree_32s(spec);
    }
}

}  // namespace

int main(int argc, char** argv) {
    for (const Code& code : codes()) {
        const std::pair<const char*, size_t> ways[] = {
            {"ours", SIZE_MAX}, {"ours by 64", 64}, {"by bits", 0}};
        for (const auto& [name, piece] : ways) {
            const size_t size = piece;
            benchmark::RegisterBenchmark(
                ("decode/" + code.name + "/" + name).c_str(),
                [&code, size](benchmark::State& state) { benchDecode(state, code, size); });
        }
        if (code.tupleLength != 0) continue;
        for (const bool byBits : {false, true}) {
            const std::string kind = byBits ? "by bits" : "ours";
            benchmark::RegisterBenchmark(
                ("encode/" + code.name + "/" + kind).c_str(),
                [&code, byBits](benchmark::State& state) { benchEncode(state, code, byBits); });
        }
    }
    benchmark::RegisterBenchmark("build/65536_codes/ours", benchBuild)
        ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
