// One bzip2 block through the library's stages, both ways.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "byte_sink.hpp"
#include "byte_source.hpp"
#include "zeldc.h"

namespace tool::bzip2 {

// Memory for a state, as large as the library asks for, and the state in it.
inline std::vector<uint8_t> memoryOf(ZelStatus (*getSize)(int32_t*)) {
    int32_t size = 0;
    getSize(&size);
    return std::vector<uint8_t>(static_cast<size_t>(size));
}

inline std::vector<uint8_t> memoryOf(ZelStatus (*getSize)(int32_t, int32_t*), int32_t len) {
    int32_t size = 0;
    getSize(len, &size);
    return std::vector<uint8_t>(static_cast<size_t>(size));
}

template <class State>
State* stateIn(std::vector<uint8_t>& memory) {
    return reinterpret_cast<State*>(memory.data());
}

// Bits from the most significant one of the first byte on.
struct CodedBits {
    std::vector<uint8_t> bytes;
    uint64_t count = 0;
};

struct PlainBlock {
    std::vector<uint8_t> bytes;  // after the initial run lengths; the first `size` count
    int32_t size = 0;
    uint32_t crc = 0;  // of what the block stands for
    uint8_t inUse[256] = {};

    // The transform, where the builder has made it already.
    bool transformed = false;
    std::vector<uint8_t> rows;
    int32_t index = 0;

    CodedBits coded;
};

// Cuts the input into blocks by the initial run-length stage.
class BlockBuilder {
  public:
    BlockBuilder(ByteSource& source, int level);
    // Fills a block; false when there is nothing left.
    bool operator()(PlainBlock& block);

  private:
    bool fill(PlainBlock& block);
    void add(PlainBlock& block, const uint8_t*& src, int32_t& srcLen);
    void close(PlainBlock& block);
    bool isRestored(PlainBlock& block);
    void dropLastByte(PlainBlock& block);

    ByteSource& source_;
    int32_t limit_;
    std::vector<uint8_t> rleMemory_;
    RleBz2State* rle_;
};

// Transforms and codes blocks.
class BlockEncoder {
  public:
    explicit BlockEncoder(int level);
    void operator()(PlainBlock& block);

  private:
    void putHeader(CodedBits& coded, const PlainBlock& block);
    void putSymbols(CodedBits& coded, int32_t alphabet, const uint32_t* counts, int32_t count);
    void put(CodedBits& coded, uint32_t value, int bits);

    std::vector<uint8_t> work_;
    std::vector<uint16_t> symbols_;
    std::vector<uint8_t> huffman_;
    std::vector<uint8_t> mtf_;
    uint32_t code_ = 0;
    int32_t codeBits_ = 0;
    size_t size_ = 0;
};

enum class DecodeResult { complete, needMore, damaged };

// A restored block, before its run lengths are undone.
struct RestoredBlock {
    std::vector<uint8_t> bytes;
    int32_t size = 0;
    uint32_t expectedCrc = 0;
    const char* fault = "";  // why it is damaged
    uint64_t endBit = 0;     // behind its last bit, from the start of what was decoded

    // What the block stands for, unless it is so long that it is to be written in slices.
    bool expanded = false;
    std::vector<uint8_t> content;
    int32_t contentSize = 0;
    uint32_t crc = 0;
};

class BlockDecoder {
  public:
    BlockDecoder();
    // Decodes the block whose magic begins `firstBit` (0..7) bits into the bytes. After needMore,
    // resume() goes on with the bytes that follow if the block's header was complete; if not,
    // resumable() is false, and decode() is to be called again with all bytes.
    DecodeResult decode(const uint8_t* src, size_t size, unsigned firstBit, RestoredBlock& block);
    DecodeResult resume(const uint8_t* src, size_t size, RestoredBlock& block);
    bool resumable() const { return phase_ != Phase::header; }

  private:
    enum class Phase { header, tables, symbols };

    bool readHeader(RestoredBlock& block);
    bool get(int bits, uint32_t& value);
    DecodeResult readTables(RestoredBlock& block);
    DecodeResult readSymbols(RestoredBlock& block);
    DecodeResult undo(RestoredBlock& block);
    static DecodeResult damaged(RestoredBlock& block, const char* fault);
    HuffBz2DecodeState* huffman() { return reinterpret_cast<HuffBz2DecodeState*>(huffman_.data()); }

    Phase phase_ = Phase::header;
    const uint8_t* src_ = nullptr;
    int32_t left_ = 0;
    uint64_t taken_ = 0;  // bytes taken by earlier calls for this block
    const uint8_t* start_ = nullptr;
    uint32_t code_ = 0;
    int32_t codeBits_ = 0;

    int32_t index_ = 0;
    uint8_t inUse_[256] = {};
    int32_t values_ = 0;
    int32_t symbolCount_ = 0;

    std::vector<uint8_t> rows_;
    std::vector<uint8_t> work_;
    std::vector<uint16_t> symbols_;
    std::vector<uint8_t> huffman_;
    std::vector<uint8_t> mtf_;
};

// Undoes the run lengths of a block in one go where that takes bounded memory.
void expand(RestoredBlock& block);
// Writes what the block stands for and returns its checksum.
uint32_t writeContent(const RestoredBlock& block, ByteSink& sink);

}  // namespace tool::bzip2
