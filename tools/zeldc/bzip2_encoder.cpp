#include <algorithm>
#include <cstring>

#include "bzip2_block.hpp"
#include "bzip2_format.hpp"
#include "failure.hpp"

namespace tool::bzip2 {
namespace {

void check(ZelStatus status) {
    if (status != zelStsOk) {
        throw Failure("the encoder failed with status " + std::to_string(status));
    }
}

int32_t limitOf(int level) {
    return level * kBlockUnit - kBlockSpare;
}

// Whether the block is a shorter word repeated: then it is so for a prime number of times. Nearly
// always the comparisons fail in their first bytes.
bool isRepetition(const uint8_t* block, int32_t size) {
    int32_t rest = size;
    for (int32_t prime = 2; rest > 1; ++prime) {
        if (prime > rest / prime) prime = rest;
        if (rest % prime != 0) continue;
        const auto period = static_cast<size_t>(size / prime);
        if (std::memcmp(block, block + period, static_cast<size_t>(size) - period) == 0) {
            return true;
        }
        while (rest % prime == 0)
            rest /= prime;
    }
    return false;
}

}  // namespace

BlockBuilder::BlockBuilder(ByteSource& source, int level)
    : source_(source),
      limit_(limitOf(level)),
      rleMemory_(memoryOf(zelsRLEGetSize_BZ2_8u)),
      rle_(stateIn<RleBz2State>(rleMemory_)) {}

bool BlockBuilder::operator()(PlainBlock& block) {
    block.bytes.resize(static_cast<size_t>(limit_));
    block.transformed = false;
    if (!fill(block)) return false;
    // The transform is not promised to be undone for a word repeated seven times and more. What the
    // block is without its last byte is no repetition.
    while (isRepetition(block.bytes.data(), block.size) && !isRestored(block))
        dropLastByte(block);
    return true;
}

bool BlockBuilder::fill(PlainBlock& block) {
    zelsEncodeRLEInit_BZ2_8u(rle_);
    block.size = 0;
    block.crc = 0;
    bool any = false;
    while (source_.ensure(1)) {
        const uint8_t* src = source_.next();
        auto left = static_cast<int32_t>(source_.left());
        add(block, src, left);
        any |= src != source_.next();
        source_.moveTo(src);
        if (left > 0) break;
    }
    if (any) close(block);
    return any;
}

// One byte of the block stays free for the count that may be due at its end.
void BlockBuilder::add(PlainBlock& block, const uint8_t*& src, int32_t& srcLen) {
    int32_t room = limit_ - 1 - block.size;
    if (room < 1) return;
    const uint8_t* start = src;
    zelsEncodeRLE_BZ2_8u(&src, &srcLen, block.bytes.data() + block.size, &room, rle_);
    block.size += room;
    if (src != start) zelsCRC32_BZ2_8u(start, static_cast<int32_t>(src - start), &block.crc);
}

void BlockBuilder::close(PlainBlock& block) {
    int32_t last = 1;
    zelsEncodeRLEFlush_BZ2_8u(block.bytes.data() + block.size, &last, rle_);
    block.size += last;
    zelsRLEGetInUseTable_8u(block.inUse, rle_);
}

bool BlockBuilder::isRestored(PlainBlock& block) {
    std::vector<uint8_t> work = memoryOf(zelsBWTFwdGetSize_8u, block.size);
    std::vector<uint8_t> restored(static_cast<size_t>(block.size));
    block.rows.resize(static_cast<size_t>(limit_));
    zelsBWTFwd_8u(block.bytes.data(), block.rows.data(), block.size, &block.index, work.data());
    zelsBWTInv_8u(block.rows.data(), restored.data(), block.size, block.index, work.data());
    block.transformed = std::equal(restored.begin(), restored.end(), block.bytes.begin());
    return block.transformed;
}

// The source has moved on, so the content is taken from the block itself. Its last byte goes back
// to the source, which keeps it.
void BlockBuilder::dropLastByte(PlainBlock& block) {
    RestoredBlock whole;
    whole.bytes.assign(block.bytes.begin(), block.bytes.begin() + block.size);
    whole.size = block.size;
    std::vector<uint8_t> content;
    // A count stands for up to 255 bytes and has four in front of it.
    content.resize(static_cast<size_t>(block.size) / 5 * 259 + 260);
    const uint8_t* src = whole.bytes.data();
    int32_t left = whole.size;
    auto size = static_cast<int32_t>(content.size());
    check(zelsDecodeRLE_BZ2_8u(&src, &left, content.data(), &size));

    zelsEncodeRLEInit_BZ2_8u(rle_);
    block.size = 0;
    block.crc = 0;
    src = content.data();
    left = size - 1;
    while (left > 0)
        add(block, src, left);
    close(block);
    source_.stepBack(1);
}

BlockEncoder::BlockEncoder(int level)
    : work_(memoryOf(zelsBWTFwdGetSize_8u, limitOf(level))),
      symbols_(static_cast<size_t>(limitOf(level)) + 1),
      huffman_(memoryOf(zelsEncodeHuffGetSize_BZ2_16u8u, limitOf(level) + 1)),
      mtf_(memoryOf(zelsMTFGetSize_8u)) {}

void BlockEncoder::operator()(PlainBlock& block) {
    const int32_t size = block.size;
    if (!block.transformed) {
        block.rows.resize(block.bytes.size());
        check(
            zelsBWTFwd_8u(block.bytes.data(), block.rows.data(), size, &block.index, work_.data()));
    }
    // Headers and tables stay below 16 KB (a selector takes up to six bits), a symbol takes at most
    // 17 bits.
    block.coded.bytes.resize(16384 + static_cast<size_t>(size) / 50 +
                             (static_cast<size_t>(size) + 1) * 17 / 8);
    code_ = 0;
    codeBits_ = 0;
    size_ = 0;
    putHeader(block.coded, block);

    uint8_t* rows = block.rows.data();
    int32_t values = 0;
    zelsReduceDictionary_8u_I(block.inUse, rows, size, &values);
    auto* mtf = stateIn<MtfState>(mtf_);
    zelsMTFInit_8u(mtf);
    check(zelsMTFFwd_8u(rows, rows, size, mtf));

    uint32_t counts[kMaxAlphabet] = {};
    const uint8_t* ranks = rows;
    int32_t left = size, count = size;
    check(zelsEncodeZ1Z2_BZ2_8u16u(&ranks, &left, symbols_.data(), &count, counts));
    const int32_t endOfBlock = values + 1;
    symbols_[static_cast<size_t>(count++)] = static_cast<uint16_t>(endOfBlock);
    counts[endOfBlock] = 1;
    putSymbols(block.coded, endOfBlock + 1, counts, count);
}

// Up to 24 bits; fewer than 8 are pending before and after.
void BlockEncoder::put(CodedBits& coded, uint32_t value, int bits) {
    code_ |= value << (32 - codeBits_ - bits);
    codeBits_ += bits;
    for (; codeBits_ >= 8; codeBits_ -= 8, code_ <<= 8)
        coded.bytes[size_++] = static_cast<uint8_t>(code_ >> 24);
}

void BlockEncoder::putHeader(CodedBits& coded, const PlainBlock& block) {
    put(coded, static_cast<uint32_t>(kBlockMagic >> 24), 24);
    put(coded, static_cast<uint32_t>(kBlockMagic & 0xFFFFFF), 24);
    put(coded, block.crc >> 16, 16);
    put(coded, block.crc & 0xFFFF, 16);
    put(coded, 0, 1);  // not randomised
    put(coded, static_cast<uint32_t>(block.index), 24);
    uint32_t ranges = 0;
    uint32_t values[16] = {};
    for (unsigned value = 0; value < 256; ++value) {
        if (block.inUse[value] == 0) continue;
        ranges |= 0x8000U >> (value / 16);
        values[value / 16] |= 0x8000U >> (value % 16);
    }
    put(coded, ranges, 16);
    for (const uint32_t range : values) {
        if (range != 0) put(coded, range, 16);
    }
}

void BlockEncoder::putSymbols(CodedBits& coded, int32_t alphabet, const uint32_t* counts,
                              int32_t count) {
    auto* huffman = stateIn<HuffBz2EncodeState>(huffman_);
    const uint16_t* src = symbols_.data();
    int32_t left = count;
    check(zelsEncodeHuffInit_BZ2_16u8u(alphabet, counts, src, count, huffman));
    auto made = static_cast<int32_t>(coded.bytes.size() - size_);
    check(zelsPackHuffContext_BZ2_16u8u(&code_, &codeBits_, coded.bytes.data() + size_, &made,
                                        huffman));
    size_ += static_cast<size_t>(made);
    made = static_cast<int32_t>(coded.bytes.size() - size_);
    check(zelsEncodeHuff_BZ2_16u8u(&code_, &codeBits_, &src, &left, coded.bytes.data() + size_,
                                   &made, huffman));
    size_ += static_cast<size_t>(made);
    coded.count = size_ * 8 + static_cast<unsigned>(codeBits_);
    // The pending bits, up to 32 of them, complete the last bytes.
    for (int bits = codeBits_; bits > 0; bits -= 8, code_ <<= 8)
        coded.bytes[size_++] = static_cast<uint8_t>(code_ >> 24);
}

}  // namespace tool::bzip2
