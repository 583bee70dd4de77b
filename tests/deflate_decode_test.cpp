#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <memory>

#include "support/deflate_streams.hpp"
#include "support/guarded_buffer.hpp"
#include "support/inflater.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::BitWriter;
using support::Bytes;
using support::CanonicalCode;
using support::Cuts;
using support::GuardedBuffer;
using support::Inflater;
using support::pieces;
using support::Random;
using support::randomPieces;
using support::Way;

constexpr int32_t kStateSize = 112876;

// A decoder state at an odd address in front of an unreadable page.
class State {
  public:
    State() : memory_(kStateSize) {
        EXPECT_EQ(zelsDecodeLZ77Init_8u(Lz77ChecksumCrc32, memory_), zelStsOk);
    }
    operator Lz77DecodeState*() { return memory_; }  // NOLINT: used as the state it is

  private:
    support::StateMemory<Lz77DecodeState> memory_;
};

// What a raw stream needs behind it: the dynamic header's reader looks 22 bits ahead.
Bytes withTrailer(Bytes stream) {
    stream.insert(stream.end(), 3, 0);
    return stream;
}

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

// --- whole streams ---------------------------------------------------------------------------

struct Stream {
    std::string name;
    Bytes plain;
    Bytes packed;
};

std::vector<Stream> streams(size_t size) {
    std::vector<Stream> result;
    for (const auto& shape : support::shapes(size)) {
        const support::ZlibSettings kinds[] = {
            {1},
            {6},
            {9, Z_DEFAULT_STRATEGY, 1},
            {0},
            {6, Z_FIXED},
            {6, Z_HUFFMAN_ONLY},
            {6, Z_RLE},
            {6, Z_FILTERED, 9, Z_SYNC_FLUSH},
            {1, Z_DEFAULT_STRATEGY, 2, Z_FULL_FLUSH, 3333},
            {6, Z_FIXED, 8, Z_PARTIAL_FLUSH, 700},
        };
        int number = 0;
        for (const auto& kind : kinds) {
            result.push_back({shape.name + " " + std::to_string(number++), shape.bytes,
                              withTrailer(support::zlibStream(shape.bytes, kind))});
        }
    }
    return result;
}

constexpr Way kWays[] = {Way::onePass, Way::twoStage, Way::alternating, Way::trial};

void expectDecodes(const Stream& stream, Way way, const Cuts& cuts) {
    State state;
    Inflater inflater(state);
    EXPECT_EQ(inflater.run(stream.packed, way, cuts), zelStsStreamEnd);
    EXPECT_EQ(inflater.out == stream.plain, true) << inflater.out.size();
    EXPECT_EQ(inflater.consumed(), stream.packed.size() - 3);
}

TEST(DeflateDecode, StreamsOfZlibInEveryWay) {
    for (const auto& stream : streams(90000)) {
        SCOPED_TRACE(stream.name);
        uint64_t seed = stream.packed.size();
        for (const Way way : kWays) {
            SCOPED_TRACE(static_cast<int>(way));
            expectDecodes(stream, way, {});
            expectDecodes(stream, way,
                          {randomPieces(++seed, 4000), randomPieces(++seed, 9000),
                           randomPieces(++seed, 3000)});
        }
        if (HasFailure()) return;
    }
}

TEST(DeflateDecode, TinyPieces) {
    for (const auto& stream : streams(2500)) {
        SCOPED_TRACE(stream.name);
        uint64_t seed = stream.packed.size();
        for (const Way way : kWays) {
            SCOPED_TRACE(static_cast<int>(way));
            expectDecodes(stream, way, {pieces(1), pieces(1000), pieces(500)});
            expectDecodes(stream, way, {pieces(300), pieces(1), pieces(1)});
            expectDecodes(
                stream, way,
                {randomPieces(++seed, 20), randomPieces(++seed, 30), randomPieces(++seed, 20)});
        }
        if (HasFailure()) return;
    }
}

// Every cut of a stream with all kinds of blocks into two, in source and destination.
TEST(DeflateDecode, EveryCut) {
    const Bytes text = support::textLike(900, 3);
    BitWriter writer;
    writer.stored(false, bytesOf("stored bytes first"));
    writer.header(false, 1).fixedText("fixed").fixed(257).fixedDistance(6, 1, 2).fixed(256);
    writer.stored(false, {});
    Bytes stream = writer.align().get();
    const Bytes rest = support::zlibStream(text);
    stream.insert(stream.end(), rest.begin(), rest.end());
    Bytes plain;
    {
        State state;
        Inflater inflater(state);
        ASSERT_EQ(inflater.run(withTrailer(stream), Way::onePass, {}), zelStsStreamEnd);
        plain = inflater.out;
    }
    ASSERT_EQ(plain.size(), 18 + 5 + 3 + text.size());
    for (const Way way : kWays) {
        for (size_t cut = 0; cut <= stream.size() + 3; ++cut) {
            SCOPED_TRACE(cut);
            auto first = std::make_shared<bool>(true);
            const auto once = [first, cut] { return std::exchange(*first, false) ? cut : 100000; };
            expectDecodes({"", plain, withTrailer(stream)}, way, {once});
            auto firstOut = std::make_shared<bool>(true);
            const auto onceOut = [firstOut, cut] {
                return std::exchange(*firstOut, false) ? cut : 100000;
            };
            expectDecodes({"", plain, withTrailer(stream)}, way,
                          {pieces(100000), onceOut, onceOut});
            if (HasFailure()) return;
        }
    }
}

}  // namespace
