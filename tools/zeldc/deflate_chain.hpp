// The library's deflate stages as two chains: pieces of a file to deflate blocks, and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "byte_sink.hpp"
#include "byte_source.hpp"
#include "options.hpp"
#include "zeldc.h"

namespace tool {

// A piece of a file on its way through the encoder. Pieces are coded independently of each other,
// by any thread: each brings along the bytes in front of it that its matches may reach back to.
struct DeflatePiece {
    static constexpr size_t kHistory = 32768;
    // A tenth of a second's work; the history costs 1.6 % of parsing.
    static constexpr size_t kSize = size_t{2} << 20;

    std::vector<uint8_t> bytes;  // history, then the piece
    size_t historySize = 0;
    bool last = false;

    std::vector<uint8_t> coded;
    size_t codedSize = 0;
    uint32_t crc = 0;  // of the piece alone
};

// Codes pieces. All but the last end with a sync flush, which ends them on a byte, so that they can
// be joined; the last one ends with the final block.
class DeflateEncoder {
  public:
    DeflateEncoder(Lz77Level level, BlockChoice choice);
    void operator()(DeflatePiece& piece);

  private:
    enum class BlockKind { stored, fixed, dynamic };
    struct Block {
        const uint8_t* src;  // the bytes that the pairs stand for
        size_t size;
        int32_t pairCount;
        Lz77Flush flush;
    };
    struct FreeState {
        void operator()(Lz77EncodeState* state) const { zelsLZ77Free_8u(state); }
    };
    using State = std::unique_ptr<Lz77EncodeState, FreeState>;

    static State makeState(Lz77Level level);
    void prime(const DeflatePiece& piece);
    Block parseBlock(const uint8_t*& src, int32_t& left, Lz77Flush flush);
    BlockKind choose(const Block& block);
    BlockKind askLibrary(const Block& block);
    bool dynamicIsSmaller(const Block& block, uint64_t otherBits);
    void codePairs(const Block& block, BlockKind kind, DeflatePiece& piece);
    void codeStored(const Block& block, DeflatePiece& piece);

    BlockChoice choice_;
    State state_;
    State trialState_;  // for the blocks whose size only coding them tells
    std::vector<Lz77Pair> pairs_;
    std::vector<uint8_t> trial_;
};

struct Restored {
    uint32_t crc = 0;
    uint64_t size = 0;
};

// Decodes the deflate data of one member after the other.
class DeflateDecoder {
  public:
    DeflateDecoder();
    // Decodes one stream, up to the end of its final block, where the source then stands.
    Restored decode(ByteSource& source, ByteSink& sink);

  private:
    Lz77DecodeState* state() { return reinterpret_cast<Lz77DecodeState*>(stateMemory_.data()); }
    bool readBlockType(ByteSource& source);
    ZelStatus decodeBlock(ByteSource& source);
    void drain(ByteSink& sink, Restored& restored);

    std::vector<uint8_t> stateMemory_;
    std::vector<uint8_t> room_;
    size_t filled_ = 0;
    Lz77BlockType type_ = Lz77BlockFixed;
};

}  // namespace tool
