#include "chains.hpp"

#include <algorithm>
#include <array>

#include "byte_sink.hpp"
#include "byte_source.hpp"
#include "bzip2_stream.hpp"
#include "failure.hpp"
#include "gzip_member.hpp"
#include "options.hpp"
#include "zeldc.h"

namespace tool {
namespace {

// Blocks of the chains that are no file format. A state of the GIT coder is 256 times as large.
constexpr size_t kBlockSize = size_t{256} << 10;

void check(ZelStatus status) {
    if (status < 0) throw Failure("a stage failed with status " + std::to_string(status));
}

int32_t lengthOf(const Bytes& bytes) {
    return static_cast<int32_t>(bytes.size());
}

void appendNumber(Bytes& dst, uint32_t value) {
    appendLittleEndian32(dst, value);
}

// Reads what the chains of this file wrote.
class PackedReader {
  public:
    explicit PackedReader(const Bytes& packed) : packed_(packed) {}

    bool atEnd() const { return next_ == packed_.size(); }
    const uint8_t* bytes(size_t size) {
        if (packed_.size() - next_ < size) throw Failure("a chain's own output is cut short");
        next_ += size;
        return packed_.data() + next_ - size;
    }
    uint32_t number() {
        const uint8_t* src = bytes(4);
        return src[0] | static_cast<uint32_t>(src[1]) << 8 | static_cast<uint32_t>(src[2]) << 16 |
               static_cast<uint32_t>(src[3]) << 24;
    }

  private:
    const Bytes& packed_;
    size_t next_ = 0;
};

// Runs a coder of blocks over the input; each block is preceded by its two sizes.
template <class PackBlock>
Bytes packBlocks(const Bytes& plain, PackBlock packBlock) {
    Bytes packed;
    for (size_t at = 0; at < plain.size(); at += kBlockSize) {
        const auto first = plain.begin() + static_cast<ptrdiff_t>(at);
        const Bytes block(first,
                          first + static_cast<ptrdiff_t>(std::min(kBlockSize, plain.size() - at)));
        const Bytes coded = packBlock(block);
        appendNumber(packed, static_cast<uint32_t>(block.size()));
        appendNumber(packed, static_cast<uint32_t>(coded.size()));
        packed.insert(packed.end(), coded.begin(), coded.end());
    }
    return packed;
}

template <class UnpackBlock>
Bytes unpackBlocks(const Bytes& packed, UnpackBlock unpackBlock) {
    Bytes plain;
    PackedReader reader(packed);
    while (!reader.atEnd()) {
        const uint32_t size = reader.number();
        const uint32_t codedSize = reader.number();
        const uint8_t* coded = reader.bytes(codedSize);
        const Bytes block = unpackBlock(Bytes(coded, coded + codedSize), size);
        plain.insert(plain.end(), block.begin(), block.end());
    }
    return plain;
}

// ---- the file formats --------------------------------------------------------------------------

Chain gzipChain(int level, const char* effort) {
    Options options;
    options.level = level;
    return {"deflate " + std::string(effort), "match finder, block coder",
            [options](const Bytes& plain) {
                Bytes packed;
                ByteSource source(plain.data(), plain.size());
                ByteSink sink(packed);
                compressGzip(source, sink, {}, options);
                return packed;
            },
            [](const Bytes& packed, size_t plainSize) {
                Bytes plain;
                plain.reserve(plainSize);
                ByteSource source(packed.data(), packed.size());
                ByteSink sink(plain);
                GzipHeader header;
                restoreGzip(source, sink, header);
                return plain;
            }};
}

Chain bzip2Chain(int level) {
    Options options;
    options.level = level;
    return {"bzip2 " + std::to_string(level),
            "RLE, BWT, dictionary, MTF, zero runs, multi-table Huffman",
            [options](const Bytes& plain) {
                Bytes packed;
                ByteSource source(plain.data(), plain.size());
                ByteSink sink(packed);
                compressBzip2(source, sink, options);
                return packed;
            },
            [options](const Bytes& packed, size_t plainSize) {
                Bytes plain;
                plain.reserve(plainSize);
                ByteSource source(packed.data(), packed.size());
                ByteSink sink(plain);
                restoreBzip2(source, sink, options);
                return plain;
            }};
}

// ---- block sorting -----------------------------------------------------------------------------

// The transform, with its index in front. A repetition that it would not restore is passed on one
// byte shorter, that byte behind the index.
Bytes sortBlock(const Bytes& block) {
    int32_t workSize = 0, index = 0;
    check(zelsBWTFwdGetSize_8u(lengthOf(block), &workSize));
    Bytes work(static_cast<size_t>(workSize)), rows(block.size()), restored(block.size());
    check(zelsBWTFwd_8u(block.data(), rows.data(), lengthOf(block), &index, work.data()));
    check(zelsBWTInv_8u(rows.data(), restored.data(), lengthOf(block), index, work.data()));
    Bytes sorted;
    if (restored == block) {
        appendNumber(sorted, static_cast<uint32_t>(index) << 1);
    } else {
        rows.pop_back();
        check(zelsBWTFwd_8u(block.data(), rows.data(), lengthOf(rows), &index, work.data()));
        appendNumber(sorted, static_cast<uint32_t>(index) << 1 | 1);
        sorted.push_back(block.back());
    }
    sorted.insert(sorted.end(), rows.begin(), rows.end());
    return sorted;
}

Bytes unsortBlock(const Bytes& sorted) {
    PackedReader reader(sorted);
    const uint32_t head = reader.number();
    const bool shorter = (head & 1) != 0;
    const uint8_t last = shorter ? *reader.bytes(1) : 0;
    const size_t size = sorted.size() - (shorter ? 5 : 4);
    int32_t workSize = 0;
    zelsBWTInvGetSize_8u(static_cast<int32_t>(size), &workSize);
    Bytes work(static_cast<size_t>(workSize)), block(size);
    check(zelsBWTInv_8u(reader.bytes(size), block.data(), static_cast<int32_t>(size),
                        static_cast<int32_t>(head >> 1), work.data()));
    if (shorter) block.push_back(last);
    return block;
}

// ---- single stages -----------------------------------------------------------------------------

Bytes encodeGit(const Bytes& src, int32_t strategy) {
    // Rice codes may need several times the size of what does not suit them.
    const int32_t room = 65536 + 8 * lengthOf(src);
    GitEncodeState* state = nullptr;
    check(zelsEncodeGITInitAlloc_8u(lengthOf(src), room, &state));
    Bytes dst(static_cast<size_t>(room));
    int32_t made = 0;
    const ZelStatus status =
        zelsEncodeGIT_8u(src.data(), lengthOf(src), dst.data(), &made, strategy, state);
    zelsGITFree_8u(state);
    check(status);
    dst.resize(static_cast<size_t>(made));
    return dst;
}

Bytes decodeGit(const Bytes& src, int32_t strategy, int32_t size) {
    GitDecodeState* state = nullptr;
    check(zelsDecodeGITInitAlloc_8u(size, size, &state));
    Bytes dst(static_cast<size_t>(size));
    int32_t made = 0;
    const ZelStatus status =
        zelsDecodeGIT_8u(src.data(), nullptr, dst.data(), &made, strategy, state);
    zelsGITFree_8u(state);
    check(status);
    dst.resize(static_cast<size_t>(made));
    return dst;
}

// The lengths of a Huffman code's codes, 0 for a byte that does not occur.
using CodeLengths = std::array<int32_t, 256>;

HuffState* makeHuffmanEncoder(const Bytes& src, CodeLengths& lengths) {
    std::array<int32_t, 256> counts{};
    for (const uint8_t byte : src)
        ++counts[byte];
    HuffState* state = nullptr;
    check(zelsEncodeHuffInitAlloc_8u(counts.data(), &state));
    check(zelsHuffGetLenCodeTable_8u(lengths.data(), state));
    return state;
}

Bytes packLengths(const CodeLengths& lengths) {
    Bytes table(512);
    int32_t size = lengthOf(table);
    check(zelsHuffLenCodeTablePack_8u(lengths.data(), table.data(), &size));
    table.resize(static_cast<size_t>(size));
    return table;
}

Bytes encodeHuffman(const Bytes& src) {
    CodeLengths lengths{};
    HuffState* state = makeHuffmanEncoder(src, lengths);
    Bytes dst = packLengths(lengths);
    const size_t tableSize = dst.size();
    int32_t room = 0, made = 0, rest = 4;
    check(zelsHuffGetDstBuffSize_8u(lengths.data(), lengthOf(src), &room, nullptr));
    dst.resize(tableSize + static_cast<size_t>(room + rest));
    check(zelsEncodeHuff_8u(src.data(), lengthOf(src), dst.data() + tableSize, &made, state));
    check(zelsEncodeHuffFinal_8u(dst.data() + tableSize + made, &rest, state));
    zelsHuffFree_8u(state);
    dst.resize(tableSize + static_cast<size_t>(made + rest));
    // Equal lengths throughout are an empty code, which would lose the data; they stay plain.
    const bool lost = std::all_of(lengths.begin(), lengths.end(),
                                  [&](int32_t length) { return length == lengths[0]; });
    if (lost) dst = src;
    dst.insert(dst.begin(), lost ? 1 : 0);
    return dst;
}

Bytes decodeHuffman(const Bytes& src, size_t size) {
    if (src.at(0) == 1) return Bytes(src.begin() + 1, src.end());
    CodeLengths lengths{};
    int32_t tableSize = lengthOf(src) - 1;
    check(zelsHuffLenCodeTableUnpack_8u(src.data() + 1, &tableSize, lengths.data()));
    HuffState* state = nullptr;
    check(zelsDecodeHuffInitAlloc_8u(lengths.data(), &state));
    Bytes dst(size);
    auto made = static_cast<int32_t>(size);
    const ZelStatus status = zelsDecodeHuff_8u(
        src.data() + 1 + tableSize, lengthOf(src) - 1 - tableSize, dst.data(), &made, state);
    zelsHuffFree_8u(state);
    check(status);
    return dst;
}

// The canonical code of these lengths, as the list that the variable-length stages take.
std::vector<VlcCodeRecord> describeCode(const CodeLengths& lengths) {
    std::vector<VlcCodeRecord> records;
    uint32_t code = 0;
    for (int32_t length = 1; length <= 32; ++length, code <<= 1) {
        for (int32_t value = 0; value < 256; ++value) {
            if (lengths[static_cast<size_t>(value)] != length) continue;
            records.push_back({value, static_cast<int32_t>(code++), length});
        }
    }
    return records;
}

// The stream consists of aligned words, of which the decoder looks one ahead.
Bytes encodeVlc(const Bytes& src) {
    CodeLengths lengths{};
    zelsHuffFree_8u(makeHuffmanEncoder(src, lengths));
    const std::vector<VlcCodeRecord> records = describeCode(lengths);
    const std::vector<int16_t> values(src.begin(), src.end());
    VlcEncodeSpec* spec = nullptr;
    check(zelsVLCEncodeInitAlloc_32s(records.data(), static_cast<int32_t>(records.size()), &spec));
    int32_t bits = 0;
    check(zelsVLCCountBits_16s32s(values.data(), lengthOf(src), &bits, spec));
    std::vector<uint32_t> words(static_cast<size_t>(bits) / 32 + 1);
    auto* stream = reinterpret_cast<uint8_t*>(words.data());
    uint8_t* next = stream;
    int32_t offset = 0;
    const ZelStatus status =
        zelsVLCEncodeBlock_16s1u(values.data(), lengthOf(src), &next, &offset, spec);
    zelsVLCEncodeFree_32s(spec);
    check(status);
    Bytes dst = packLengths(lengths);
    dst.insert(dst.end(), stream, stream + (bits + 7) / 8);
    return dst;
}

Bytes decodeVlc(const Bytes& src, size_t size) {
    constexpr int32_t kLevelWidths[] = {9, 7, 8, 8};
    CodeLengths lengths{};
    int32_t tableSize = lengthOf(src);
    check(zelsHuffLenCodeTableUnpack_8u(src.data(), &tableSize, lengths.data()));
    const std::vector<VlcCodeRecord> records = describeCode(lengths);
    VlcDecodeSpec* spec = nullptr;
    check(zelsVLCDecodeInitAlloc_32s(records.data(), static_cast<int32_t>(records.size()),
                                     kLevelWidths, 4, &spec));
    std::vector<uint32_t> words(src.size() / 4 + 2);
    auto* stream = reinterpret_cast<uint8_t*>(words.data());
    std::copy(src.begin() + tableSize, src.end(), stream);
    const uint8_t* next = stream;
    int32_t offset = 0;
    std::vector<int16_t> values(size);
    const ZelStatus status =
        zelsVLCDecodeBlock_1u16s(&next, &offset, values.data(), static_cast<int32_t>(size), spec);
    zelsVLCDecodeFree_32s(spec);
    check(status);
    return Bytes(values.begin(), values.end());
}

Bytes moveToFront(const Bytes& src, bool forward) {
    Bytes stateMemory(256), dst(src.size());
    auto* state = reinterpret_cast<MtfState*>(stateMemory.data());
    check(zelsMTFInit_8u(state));
    const auto code = forward ? zelsMTFFwd_8u : zelsMTFInv_8u;
    check(code(src.data(), dst.data(), lengthOf(src), state));
    return dst;
}

Bytes encodeRle(const Bytes& src) {
    Bytes dst(src.size() * 3 / 2 + 3);
    const uint8_t* next = src.data();
    int32_t left = lengthOf(src), made = lengthOf(dst);
    check(zelsEncodeRLE_8u(&next, &left, dst.data(), &made));
    dst.resize(static_cast<size_t>(made));
    return dst;
}

Bytes decodeRle(const Bytes& src, size_t size) {
    Bytes dst(size);
    const uint8_t* next = src.data();
    int32_t left = lengthOf(src), made = static_cast<int32_t>(size);
    check(zelsDecodeRLE_8u(&next, &left, dst.data(), &made));
    return dst;
}

Bytes encodeLzss(const Bytes& src) {
    LzssState* state = nullptr;
    check(zelsEncodeLZSSInitAlloc_8u(&state));
    Bytes dst(src.size() + src.size() / 8 + 64);  // a literal has nine bits
    const uint8_t* next = src.data();
    uint8_t* out = dst.data();
    int32_t left = lengthOf(src), room = lengthOf(dst);
    check(zelsEncodeLZSS_8u(&next, &left, &out, &room, state));
    check(zelsEncodeLZSSFlush_8u(&out, &room, state));
    zelsLZSSFree_8u(state);
    dst.resize(static_cast<size_t>(out - dst.data()));
    return dst;
}

Bytes decodeLzss(const Bytes& src, size_t size) {
    LzssState* state = nullptr;
    check(zelsDecodeLZSSInitAlloc_8u(&state));
    Bytes dst(std::max(size, size_t{1}));
    const uint8_t* next = src.data();
    uint8_t* out = dst.data();
    int32_t left = lengthOf(src), room = lengthOf(dst);
    const ZelStatus status = zelsDecodeLZSS_8u(&next, &left, &out, &room, state);
    zelsLZSSFree_8u(state);
    check(status);
    dst.resize(static_cast<size_t>(out - dst.data()));
    return dst;
}

// ---- chains of them ----------------------------------------------------------------------------

Chain gitChain(int32_t strategy) {
    return {"BWT, GIT " + std::to_string(strategy),
            "BWT, GIT coder with strategy " + std::to_string(strategy),
            [strategy](const Bytes& plain) {
                return packBlocks(plain, [strategy](const Bytes& block) {
                    const Bytes sorted = sortBlock(block);
                    return encodeGit(sorted, strategy);
                });
            },
            [strategy](const Bytes& packed, size_t) {
                return unpackBlocks(packed, [strategy](const Bytes& coded, uint32_t size) {
                    // The index in front, and the byte of a shortened block.
                    return unsortBlock(decodeGit(coded, strategy, static_cast<int32_t>(size) + 5));
                });
            }};
}

// A stage that codes blocks on its own.
Chain blockChain(const std::string& name, const std::string& stages, Bytes (*encode)(const Bytes&),
                 Bytes (*decode)(const Bytes&, size_t)) {
    return {name, stages, [encode](const Bytes& plain) { return packBlocks(plain, encode); },
            [decode](const Bytes& packed, size_t) { return unpackBlocks(packed, decode); }};
}

Chain sortedHuffmanChain() {
    return {"BWT, MTF, Huffman", "BWT, MTF, byte Huffman",
            [](const Bytes& plain) {
                return packBlocks(plain, [](const Bytes& block) {
                    const Bytes ranks = moveToFront(sortBlock(block), true);
                    Bytes coded;
                    appendNumber(coded, static_cast<uint32_t>(ranks.size()));
                    const Bytes bits = encodeHuffman(ranks);
                    coded.insert(coded.end(), bits.begin(), bits.end());
                    return coded;
                });
            },
            [](const Bytes& packed, size_t) {
                return unpackBlocks(packed, [](const Bytes& coded, uint32_t) {
                    PackedReader reader(coded);
                    const size_t size = reader.number();
                    const Bytes bits(coded.begin() + 4, coded.end());
                    return unsortBlock(moveToFront(decodeHuffman(bits, size), false));
                });
            }};
}

}  // namespace

std::vector<Chain> allChains() {
    std::vector<Chain> chains = {gzipChain(1, "fast"), gzipChain(2, "normal"), gzipChain(3, "best"),
                                 bzip2Chain(1), bzip2Chain(9)};
    for (int32_t strategy = 1; strategy <= 4; ++strategy)
        chains.push_back(gitChain(strategy));
    chains.push_back(sortedHuffmanChain());
    chains.push_back({"LZSS", "LZSS", encodeLzss, decodeLzss});
    chains.push_back(blockChain("byte Huffman", "byte Huffman", encodeHuffman, decodeHuffman));
    chains.push_back(blockChain("VLC", "variable-length codes, described by byte Huffman's lengths",
                                encodeVlc, decodeVlc));
    chains.push_back(blockChain("byte RLE", "byte run lengths", encodeRle, decodeRle));
    return chains;
}

}  // namespace tool
