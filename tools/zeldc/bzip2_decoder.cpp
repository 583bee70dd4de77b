#include <algorithm>
#include <bit>
#include <cstring>

#include "bzip2_block.hpp"
#include "bzip2_format.hpp"

namespace tool::bzip2 {
namespace {

// Blocks longer than this are written in slices: a block can stand for 46 MB, and several are held
// at a time.
constexpr size_t kExpandAtOnce = size_t{4} << 20;

}  // namespace

// Room for the longest table description that a hostile file can have.
BlockDecoder::BlockDecoder()
    : rows_(kMaxBlock),
      work_(memoryOf(zelsBWTInvGetSize_8u, kMaxBlock)),
      symbols_(size_t{kMaxBlock} + 1),
      huffman_(memoryOf(zelsDecodeHuffGetSize_BZ2_8u16u, kMaxSelected)),
      mtf_(memoryOf(zelsMTFGetSize_8u)) {}

DecodeResult BlockDecoder::damaged(RestoredBlock& block, const char* fault) {
    block.fault = fault;
    return DecodeResult::damaged;
}

DecodeResult BlockDecoder::decode(const uint8_t* src, size_t size, unsigned firstBit,
                                  RestoredBlock& block) {
    phase_ = Phase::header;
    start_ = src_ = src;
    left_ = static_cast<int32_t>(size);
    taken_ = 0;
    code_ = 0;
    codeBits_ = 0;
    block.fault = "";
    block.expanded = false;
    uint32_t unused = 0;
    if (!get(static_cast<int>(firstBit), unused) || !readHeader(block)) {
        return DecodeResult::needMore;
    }
    return *block.fault != '\0' ? DecodeResult::damaged : readTables(block);
}

DecodeResult BlockDecoder::resume(const uint8_t* src, size_t size, RestoredBlock& block) {
    taken_ += static_cast<uint64_t>(src_ - start_);
    start_ = src_ = src;
    left_ = static_cast<int32_t>(size);
    return phase_ == Phase::tables ? readTables(block) : readSymbols(block);
}

// Up to 24 bits.
bool BlockDecoder::get(int bits, uint32_t& value) {
    for (; codeBits_ < bits; codeBits_ += 8, --left_) {
        if (left_ <= 0) return false;
        code_ |= static_cast<uint32_t>(*src_++) << (24 - codeBits_);
    }
    value = bits == 0 ? 0 : code_ >> (32 - bits);
    code_ <<= bits;
    codeBits_ -= bits;
    return true;
}

bool BlockDecoder::readHeader(RestoredBlock& block) {
    uint32_t value = 0, crcHigh = 0, crcLow = 0, randomised = 0, index = 0, ranges = 0;
    if (!get(24, value) || !get(24, value) || !get(16, crcHigh) || !get(16, crcLow) ||
        !get(1, randomised) || !get(24, index) || !get(16, ranges)) {
        return false;
    }
    std::memset(inUse_, 0, sizeof inUse_);
    values_ = 0;
    for (unsigned range = 0; range < 16; ++range) {
        uint32_t used = 0;
        if ((ranges & 0x8000U >> range) != 0 && !get(16, used)) return false;
        for (unsigned i = 0; i < 16; ++i)
            inUse_[range * 16 + i] = (used & 0x8000U >> i) != 0 ? 1 : 0;
        values_ += std::popcount(used);
    }
    block.expectedCrc = crcHigh << 16 | crcLow;
    index_ = static_cast<int32_t>(index);
    if (randomised != 0) block.fault = "randomised blocks are not supported";
    if (values_ == 0) block.fault = "the block has no byte values";
    zelsDecodeHuffInit_BZ2_8u16u(std::max(values_, int32_t{1}) + 2, huffman());
    symbolCount_ = 0;
    phase_ = Phase::tables;
    return true;
}

DecodeResult BlockDecoder::readTables(RestoredBlock& block) {
    if (left_ < 1) return DecodeResult::needMore;
    const ZelStatus status =
        zelsUnpackHuffContext_BZ2_8u16u(&code_, &codeBits_, &src_, &left_, huffman());
    if (status == zelStsSrcExhausted) return DecodeResult::needMore;
    if (status != zelStsOk) return damaged(block, "the block's code tables are damaged");
    phase_ = Phase::symbols;
    return readSymbols(block);
}

DecodeResult BlockDecoder::readSymbols(RestoredBlock& block) {
    auto made = static_cast<int32_t>(symbols_.size()) - symbolCount_;
    if (made < 1) return damaged(block, "the block is too long");
    const ZelStatus status = zelsDecodeHuff_BZ2_8u16u(
        &code_, &codeBits_, &src_, &left_, symbols_.data() + symbolCount_, &made, huffman());
    symbolCount_ += made;
    if (status == zelStsSrcExhausted) return DecodeResult::needMore;
    if (status == zelStsDstFull) return damaged(block, "the block is too long");
    if (status != zelStsOk) return damaged(block, "the block's data are damaged");
    block.endBit =
        (taken_ + static_cast<uint64_t>(src_ - start_)) * 8 - static_cast<unsigned>(codeBits_);
    return undo(block);
}

// From symbols to the block as it was before the transform. A stage that runs out of room has been
// given more than a block can hold.
DecodeResult BlockDecoder::undo(RestoredBlock& block) {
    block.bytes.resize(kMaxBlock);
    const uint16_t* src = symbols_.data();
    int32_t left = symbolCount_ - 1;
    int32_t size = kMaxBlock;
    if (left < 1) return damaged(block, "the block is empty");
    if (zelsDecodeZ1Z2_BZ2_16u8u(&src, &left, rows_.data(), &size) != zelStsOk) {
        return damaged(block, "the block is too long");
    }
    if (index_ >= size) return damaged(block, "the block's origin lies outside it");
    auto* mtf = stateIn<MtfState>(mtf_);
    zelsMTFInit_8u(mtf);
    zelsMTFInv_8u(rows_.data(), rows_.data(), size, mtf);
    zelsExpandDictionary_8u_I(inUse_, rows_.data(), size, values_);
    zelsBWTInv_8u(rows_.data(), block.bytes.data(), size, index_, work_.data());
    block.size = size;
    return DecodeResult::complete;
}

void expand(RestoredBlock& block) {
    block.content.resize(kExpandAtOnce);
    const uint8_t* src = block.bytes.data();
    int32_t left = block.size;
    block.contentSize = static_cast<int32_t>(kExpandAtOnce);
    block.expanded =
        zelsDecodeRLE_BZ2_8u(&src, &left, block.content.data(), &block.contentSize) == zelStsOk;
    block.crc = 0;
    if (block.expanded) zelsCRC32_BZ2_8u(block.content.data(), block.contentSize, &block.crc);
}

namespace {

// The end of a slice that begins at `from` and stands for less than kExpandAtOnce bytes: runs begin
// anew behind a count and where the byte changes.
int32_t sliceEnd(const RestoredBlock& block, int32_t from) {
    size_t size = 0;
    int32_t end = from;
    int run = 0;
    for (int32_t i = from; i < block.size && size + 260 < kExpandAtOnce; ++i) {
        const uint8_t byte = block.bytes[static_cast<size_t>(i)];
        if (run == 4) {
            size += byte;
            run = 0;
            end = i + 1;
            continue;
        }
        const bool same = run > 0 && byte == block.bytes[static_cast<size_t>(i) - 1];
        if (!same) end = i;
        run = same ? run + 1 : 1;
        ++size;
        if (i + 1 == block.size) end = block.size;
    }
    return end;
}

}  // namespace

uint32_t writeContent(const RestoredBlock& block, ByteSink& sink) {
    if (block.expanded) {
        sink.write(block.content.data(), static_cast<size_t>(block.contentSize));
        return block.crc;
    }
    std::vector<uint8_t> slice(kExpandAtOnce);
    uint32_t crc = 0;
    for (int32_t from = 0; from < block.size;) {
        const int32_t end = sliceEnd(block, from);
        const uint8_t* src = block.bytes.data() + from;
        int32_t left = end - from;
        auto made = static_cast<int32_t>(slice.size());
        zelsDecodeRLE_BZ2_8u(&src, &left, slice.data(), &made);
        zelsCRC32_BZ2_8u(slice.data(), made, &crc);
        sink.write(slice.data(), static_cast<size_t>(made));
        from = end;
    }
    return crc;
}

}  // namespace tool::bzip2
