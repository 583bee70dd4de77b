#include <algorithm>
#include <new>

#include "block_cost.hpp"
#include "deflate_chain.hpp"
#include "failure.hpp"

namespace tool {
namespace {

// Pairs of a block. Blocks end by the number of pairs, not of bytes, so that each has the same
// share of symbols to pay for its code lengths with.
constexpr int32_t kBlockPairs = 16384;
constexpr int32_t kMaxStored = 65535;

// Blocks of so many pairs, standing for so many bytes each, are dynamic without a look at the
// costs, which would take a part of the fast level's time that shows: a match takes 24 bits at the
// very most, a literal nine, and the code lengths weigh nothing against thousands of symbols.
constexpr int32_t kManyPairs = 4096;
constexpr size_t kBytesPerPair = 2;

void check(ZelStatus status) {
    if (status == zelStsNoMemory) throw std::bad_alloc();
    if (status < 0) throw Failure("the encoder failed with status " + std::to_string(status));
}

// Runs a coding step, which writes to (dst, dstLen), until it needs no more room.
template <class Step>
void appendCoded(DeflatePiece& piece, Step step) {
    for (;;) {
        if (piece.coded.size() - piece.codedSize < 64) piece.coded.resize(piece.coded.size() * 2);
        uint8_t* dst = piece.coded.data() + piece.codedSize;
        auto dstLen = static_cast<int32_t>(piece.coded.size() - piece.codedSize);
        const ZelStatus status = step(&dst, &dstLen);
        check(status);
        piece.codedSize = static_cast<size_t>(dst - piece.coded.data());
        if (status != zelStsDstFull) return;
    }
}

}  // namespace

DeflateEncoder::DeflateEncoder(Lz77Level level, BlockChoice choice)
    : choice_(choice), state_(makeState(level)), pairs_(kBlockPairs) {}

DeflateEncoder::State DeflateEncoder::makeState(Lz77Level level) {
    Lz77EncodeState* state = nullptr;
    check(zelsEncodeLZ77InitAlloc_8u(level, Lz77ChecksumNone, &state));
    return State(state);
}

void DeflateEncoder::operator()(DeflatePiece& piece) {
    const uint8_t* src = piece.bytes.data() + piece.historySize;
    auto left = static_cast<int32_t>(piece.bytes.size() - piece.historySize);
    const Lz77Flush flush = piece.last ? Lz77FlushFinal : Lz77FlushSync;

    piece.crc = 0;
    if (left > 0) zelsCRC32_8u(src, left, &piece.crc);
    piece.codedSize = 0;
    piece.coded.resize(std::max(piece.coded.size(), piece.bytes.size() + 4096));
    prime(piece);
    // Stored blocks that follow each other are joined: each part of 65,535 bytes costs a header.
    Block stored{src, 0, 0, Lz77FlushNone};
    do {
        const Block block = parseBlock(src, left, flush);
        const BlockKind kind = choice_ == BlockChoice::size ? choose(block) : askLibrary(block);
        if (kind == BlockKind::stored) {
            if (stored.size == 0) stored.src = block.src;
            stored.size += block.size;
            continue;
        }
        if (stored.size > 0) codeStored(stored, piece);
        stored.size = 0;
        codePairs(block, kind, piece);
    } while (left > 0);
    stored.flush = flush;
    if (stored.size > 0) codeStored(stored, piece);
}

// Lets the match finder see the history; the pairs that stand for it are dropped.
void DeflateEncoder::prime(const DeflatePiece& piece) {
    zelsEncodeLZ77Reset_8u(state_.get());
    const uint8_t* src = piece.bytes.data();
    auto left = static_cast<int32_t>(piece.historySize);
    while (left > 0)
        parseBlock(src, left, Lz77FlushNone);
}

DeflateEncoder::Block DeflateEncoder::parseBlock(const uint8_t*& src, int32_t& left,
                                                 Lz77Flush flush) {
    const uint8_t* start = src;
    Lz77Pair* pair = pairs_.data();
    auto room = static_cast<int32_t>(pairs_.size());
    check(zelsEncodeLZ77_8u(&src, &left, &pair, &room, flush, state_.get()));
    // A flush belongs to the last block of its piece only.
    return {start, static_cast<size_t>(src - start), static_cast<int32_t>(pair - pairs_.data()),
            left == 0 ? flush : Lz77FlushNone};
}

DeflateEncoder::BlockKind DeflateEncoder::choose(const Block& block) {
    const auto pairCount = static_cast<size_t>(block.pairCount);
    if (block.pairCount >= kManyPairs && block.size >= kBytesPerPair * pairCount) {
        return BlockKind::dynamic;
    }
    const BlockCost cost = costOf(pairs_.data(), block.pairCount, block.size);
    const BlockKind other =
        cost.fixedBits <= cost.storedBits ? BlockKind::fixed : BlockKind::stored;
    const uint64_t otherBits = std::min(cost.fixedBits, cost.storedBits);
    if (cost.dynamicAtLeast >= otherBits) return other;
    if (cost.dynamicAtMost < otherBits) return BlockKind::dynamic;
    return dynamicIsSmaller(block, otherBits) ? BlockKind::dynamic : other;
}

bool DeflateEncoder::dynamicIsSmaller(const Block& block, uint64_t otherBits) {
    if (!trialState_) trialState_ = makeState(Lz77LevelFast);
    const auto room = static_cast<int32_t>(otherBits / 8 + 1);
    trial_.resize(static_cast<size_t>(room));
    zelsEncodeLZ77Reset_8u(trialState_.get());
    zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, trialState_.get());
    const Lz77Pair* pair = pairs_.data();
    int32_t count = block.pairCount;
    uint8_t* dst = trial_.data();
    int32_t dstLen = room;
    const ZelStatus status = zelsEncodeLZ77DynamicHuff_8u(&pair, &count, &dst, &dstLen,
                                                          Lz77FlushNone, trialState_.get());
    check(status);
    return status != zelStsDstFull && static_cast<uint64_t>(dst - trial_.data()) * 8 < otherBits;
}

// The library never proposes a stored block.
DeflateEncoder::BlockKind DeflateEncoder::askLibrary(const Block& block) {
    Lz77HuffMode mode = Lz77HuffModeFixed;
    zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, state_.get());
    check(zelsEncodeLZ77SelectHuffMode_8u(pairs_.data(), block.pairCount, &mode, state_.get()));
    return mode == Lz77HuffModeDynamic ? BlockKind::dynamic : BlockKind::fixed;
}

void DeflateEncoder::codePairs(const Block& block, BlockKind kind, DeflatePiece& piece) {
    const Lz77Pair* pair = pairs_.data();
    int32_t count = block.pairCount;
    // The library's choice has begun the block already, and left counts there.
    if (choice_ == BlockChoice::size) zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, state_.get());
    const auto code =
        kind == BlockKind::dynamic ? zelsEncodeLZ77DynamicHuff_8u : zelsEncodeLZ77FixedHuff_8u;
    appendCoded(piece, [&](uint8_t** dst, int32_t* dstLen) {
        return code(&pair, &count, dst, dstLen, block.flush, state_.get());
    });
}

void DeflateEncoder::codeStored(const Block& block, DeflatePiece& piece) {
    const uint8_t* src = block.src;
    size_t left = block.size;
    do {
        auto part = static_cast<int32_t>(std::min(left, size_t{kMaxStored}));
        left -= static_cast<size_t>(part);
        const Lz77Flush flush = left == 0 ? block.flush : Lz77FlushNone;
        zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, state_.get());
        appendCoded(piece, [&](uint8_t** dst, int32_t* dstLen) {
            return zelsEncodeLZ77StoredBlock_8u(&src, &part, dst, dstLen, flush, state_.get());
        });
    } while (left > 0);
}

}  // namespace tool
