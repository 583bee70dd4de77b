// What no test can wait for: positions near the limit of their numbering, in both kinds of tables,
// and a byte count beyond 32 bits.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "core/hash_chain.hpp"
#include "core/state.hpp"
#include "deflate/encode_state.hpp"
#include "support/deflate_encoder.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using namespace support;
using zeldc::deflate::EncodeState;

// Renumbers as if `count` more bytes, a multiple of 32768, had gone before.
void moveOn(Encoder& encoder, uint32_t count) {
    auto& state = zeldc::stateAt<EncodeState>(encoder.state());
    auto& history = state.history;
    state.totalIn += count;
    history.position += count;
    history.origin += count;
    if (state.wideTables == 0) {
        zeldc::NarrowTables::rebase(history, 0 - count);
        return;
    }
    for (auto* table : {history.head, history.chain}) {
        for (uint32_t i = 0; i < zeldc::kHashSize; ++i) {
            if (table[i] != zeldc::kNoPosition) table[i] += count;
        }
    }
}

Bytes part(const Bytes& bytes, size_t from, size_t size) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(from + size)};
}

TEST(DeflateEncodeCore, PairsDoNotDependOnTheNumbering) {
    const Bytes src = textLike(300000, 31);
    for (const Lz77Level level : {Lz77LevelFast, Lz77LevelNormal, Lz77LevelBest}) {
        for (const bool wide : {false, true}) {
            SCOPED_TRACE(testing::Message() << "level " << level << (wide ? ", wide" : ""));
            Encoder plain(level, Lz77ChecksumCrc32);
            Encoder moved(level, Lz77ChecksumCrc32);
            for (Encoder* encoder : {&plain, &moved}) {
                if (wide) encoder->parse(part(src, 0, 20000), Lz77FlushFull);
                encoder->parse(part(src, 20000, 20000));
            }
            // 40000 bytes below the limit, which the first or second call then passes.
            moveOn(moved, (zeldc::kRebaseAt - 40000) & ~0x7FFFU);
            Random random(3);
            for (size_t at = 40000; at < src.size();) {
                const size_t size = std::min<size_t>(1 + random.below(50000), src.size() - at);
                const Bytes chunk = part(src, at, size);
                ASSERT_TRUE(plain.parse(chunk).pairs == moved.parse(chunk).pairs) << at;
                at += size;
            }
            EXPECT_LT(zeldc::stateAt<EncodeState>(moved.state()).history.position,
                      zeldc::kRebaseAt);
        }
    }
}

// A full flush in the middle of a stream goes on from tables that were narrow: the same pairs as
// from tables that were wide all along.
TEST(DeflateEncodeCore, WideningKeepsWhatASearchCanReach) {
    const Bytes src = textLike(100000, 17);
    for (const Lz77Level level : {Lz77LevelFast, Lz77LevelNormal, Lz77LevelBest}) {
        for (const size_t before : {1000U, 20000U, 32768U}) {
            Encoder narrow(level);
            Encoder wide(level);
            auto& state = zeldc::stateAt<EncodeState>(wide.state());
            zeldc::NarrowTables::widen(state.history);
            state.wideTables = 1;
            const Bytes room = src;  // a late full flush reads beyond its source
            for (Encoder* encoder : {&narrow, &wide})
                encoder->parse(part(src, 0, before));
            Pairs results[2];
            for (int i = 0; i < 2; ++i) {
                Encoder& encoder = i == 0 ? narrow : wide;
                const uint8_t* next = room.data() + before;
                int32_t left = 20000;
                results[i].resize(20000);
                Lz77Pair* pairNext = results[i].data();
                int32_t pairLeft = 20000;
                zelsEncodeLZ77_8u(&next, &left, &pairNext, &pairLeft, Lz77FlushFull,
                                  encoder.state());
                results[i].resize(static_cast<size_t>(pairNext - results[i].data()));
            }
            EXPECT_TRUE(results[0] == results[1]) << level << " " << before;
            EXPECT_TRUE(narrow.parse(part(src, 60000, 9000)).pairs ==
                        wide.parse(part(src, 60000, 9000)).pairs);
            EXPECT_TRUE(narrow.parse(part(src, 70000, 30000)).pairs ==
                        wide.parse(part(src, 70000, 30000)).pairs);
        }
    }
}

TEST(DeflateEncodeCore, TheLengthInTheTrailerWraps) {
    Encoder encoder(Lz77LevelFast, Lz77ChecksumCrc32);
    moveOn(encoder, 0xFFFF8000U);
    encoder.parse(Bytes(40000, 'x'));
    zelsEncodeLZ77SetStatus_8u(Lz77StatusFinal, encoder.state());
    Bytes trailer;
    EXPECT_EQ(runTrailer(pieces(8), encoder.state(), trailer), zelStsOk);
    EXPECT_EQ(littleEndian(trailer, 4), 40000U - 0x8000U);
}

}  // namespace
