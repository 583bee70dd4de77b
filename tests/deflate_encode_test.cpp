// The deflate encoder's state and block coders, one by one and as whole streams.
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/deflate_encoder.hpp"
#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using namespace support;

// Whole streams.

enum class Block { fixed, dynamic, selected, stored };

struct Plan {
    Lz77Level level = Lz77LevelNormal;
    Lz77Checksum checksum = Lz77ChecksumCrc32;
    std::vector<Block> blocks{Block::dynamic};      // in turn
    std::vector<Lz77Flush> flushes{Lz77FlushNone};  // in turn, one a chunk
    size_t chunk = 40000;
    int32_t pairRoom = 65280;
    PieceSize room = pieces(kLargestPiece);
};

void codeChunkBlock(Encoder& encoder, Block kind, const Pairs& pairs, const Plan& plan,
                    Lz77Flush flush, Bytes& out) {
    encoder.begin();
    bool dynamic = kind == Block::dynamic;
    if (kind == Block::selected) dynamic = encoder.select(pairs) == Lz77HuffModeDynamic;
    const ZelStatus status =
        runCoder(kPairCoders[dynamic ? 1 : 0], pairs, plan.room, flush, encoder.state(), out);
    EXPECT_GE(status, 0);
}

Bytes encode(Encoder& encoder, const Bytes& src, const Plan& plan) {
    Bytes out;
    size_t block = 0;
    size_t chunkIndex = 0;
    size_t at = 0;
    do {
        const size_t size = std::min(plan.chunk, src.size() - at);
        const bool last = at + size == src.size();
        const Lz77Flush flush =
            last ? Lz77FlushFinal : plan.flushes[chunkIndex++ % plan.flushes.size()];
        const Bytes chunk(src.begin() + static_cast<std::ptrdiff_t>(at),
                          src.begin() + static_cast<std::ptrdiff_t>(at + size));
        Bytes rest = chunk;
        do {
            const Block kind = plan.blocks[block++ % plan.blocks.size()];
            const auto parsed = encoder.parse(rest, flush, plan.pairRoom);
            const Bytes taken(rest.begin(), rest.begin() + parsed.consumed);
            rest.erase(rest.begin(), rest.begin() + parsed.consumed);
            if (kind == Block::stored && (rest.empty() || flush != Lz77FlushFinal)) {
                encoder.begin();
                EXPECT_GE(runCoder(zelsEncodeLZ77StoredBlock_8u, taken, plan.room, flush,
                                   encoder.state(), out),
                          0);
            } else {
                codeChunkBlock(encoder, kind, parsed.pairs, plan, flush, out);
            }
        } while (!rest.empty());
        at += size;
    } while (at != src.size());
    zelsEncodeLZ77SetStatus_8u(Lz77StatusFinal, encoder.state());
    EXPECT_EQ(runTrailer(plan.room, encoder.state(), out), zelStsOk);
    return out;
}

Bytes encode(const Bytes& src, const Plan& plan) {
    Encoder encoder(plan.level, plan.checksum);
    return encode(encoder, src, plan);
}

// Both peers decode the stream, and its CRC trailer is right.
void expectDecodes(const Bytes& stream, const Bytes& src) {
    const Inflated inflated = inflateRaw(stream, src.size());
    ASSERT_TRUE(inflated.ended);
    ASSERT_TRUE(inflated.bytes == src);
    ASSERT_EQ(stream.size() - inflated.consumed, 8U);
    EXPECT_EQ(littleEndian(stream, stream.size() - 8),
              crc32(0, src.data(), static_cast<uInt>(src.size())));
    EXPECT_EQ(littleEndian(stream, stream.size() - 4), src.size());

    Bytes other(src.size() + 1);
    size_t size = 0;
    auto* decompressor = libdeflate_alloc_decompressor();
    EXPECT_EQ(libdeflate_deflate_decompress(decompressor, stream.data(), stream.size() - 8,
                                            other.data(), other.size(), &size),
              LIBDEFLATE_SUCCESS);
    libdeflate_free_decompressor(decompressor);
    other.resize(size);
    EXPECT_TRUE(other == src);
}

// State and arguments.

TEST(DeflateEncode, Lifecycle) {
    int32_t size = 0;
    EXPECT_EQ(zelsEncodeLZ77GetSize_8u(nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77GetSize_8u(&size), zelStsOk);
    EXPECT_EQ(size, kStateSize);
    EXPECT_EQ(zelsEncodeLZ77Init_8u(0, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77InitAlloc_8u(0, 0, nullptr), zelStsNullPointer);

    Lz77EncodeState* state = nullptr;
    ASSERT_EQ(zelsEncodeLZ77InitAlloc_8u(2, Lz77ChecksumAdler32, &state), zelStsOk);
    Lz77Pair* pairs = nullptr;
    int32_t index = -1;
    int32_t length = -1;
    EXPECT_EQ(zelsEncodeLZ77GetPairs_8u(nullptr, &index, &length, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77GetPairs_8u(&pairs, nullptr, &length, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77GetPairs_8u(&pairs, &index, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77GetPairs_8u(&pairs, &index, &length, nullptr), zelStsNullPointer);
    EXPECT_TRUE(pairs == nullptr && index == -1 && length == -1);
    const auto expectPairs = [&](int32_t expectedIndex, int32_t expectedLength) {
        EXPECT_EQ(zelsEncodeLZ77GetPairs_8u(&pairs, &index, &length, state), zelStsOk);
        EXPECT_EQ(index, expectedIndex);
        EXPECT_EQ(length, expectedLength);
    };
    expectPairs(0, 65280);
    Lz77Pair* const own = pairs;

    // Two calls collect in the state's own buffer.
    const Bytes src = randomBytes(100, 1);
    const uint8_t* srcNext = src.data();
    Lz77Pair* next = pairs;
    int32_t room = length;
    for (int32_t part : {60, 40})
        EXPECT_EQ(zelsEncodeLZ77_8u(&srcNext, &part, &next, &room, Lz77FlushNone, state), zelStsOk);
    expectPairs(100, 65280);
    zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, state);
    expectPairs(0, 100);
    zelsEncodeLZ77SetStatus_8u(Lz77StatusCollect, state);
    expectPairs(0, 65280);

    Lz77Pair mine[5];
    EXPECT_EQ(zelsEncodeLZ77SetPairs_8u(nullptr, 1, 5, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77SetPairs_8u(mine, 1, 5, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77SetPairs_8u(mine, 1, 5, state), zelStsOk);
    expectPairs(1, 5);
    EXPECT_EQ(pairs, mine);

    Lz77EncodeStatus status = -1;
    zelsEncodeLZ77SetStatus_8u(77, state);
    EXPECT_EQ(zelsEncodeLZ77Reset_8u(state), zelStsOk);
    EXPECT_EQ(zelsEncodeLZ77GetStatus_8u(&status, state), zelStsOk);
    EXPECT_EQ(status, 77);
    expectPairs(0, 65280);
    EXPECT_EQ(pairs, own);
    zelsLZ77Free_8u(state);
    zelsLZ77Free_8u(nullptr);
}

TEST(DeflateEncode, ResetStartsAFreshStream) {
    const Bytes src = textLike(90000, 4);
    for (const Lz77Level level : kLevels) {
        Plan plan;
        plan.level = level;
        const Bytes fresh = encode(src, plan);
        Encoder encoder(level, Lz77ChecksumCrc32);
        // Leave everything that can be left unfinished.
        encoder.parse(randomBytes(50000, 2), Lz77FlushFull, 100);
        encoder.begin();
        encoder.select({literal(1)});
        const Lz77Pair pair = literal(1);
        const Lz77Pair* next = &pair;
        int32_t left = 1;
        uint8_t byte = 0;
        uint8_t* dst = &byte;
        int32_t room = 1;
        EXPECT_EQ(
            zelsEncodeLZ77DynamicHuff_8u(&next, &left, &dst, &room, Lz77FlushSync, encoder.state()),
            zelStsDstFull);
        zelsEncodeLZ77Reset_8u(encoder.state());
        EXPECT_TRUE(encode(encoder, src, plan) == fresh);
    }
}

TEST(DeflateEncode, ArgumentsAreTestedInOrder) {
    Encoder encoder;
    Lz77EncodeState* const state = encoder.state();
    uint8_t bytes[4] = {};
    Lz77Pair pairArray[4] = {};
    const uint8_t* src = bytes;
    const uint8_t* noSrc = nullptr;
    const Lz77Pair* pairSrc = pairArray;
    Lz77Pair* pairDst = pairArray;
    Lz77Pair* noPairs = nullptr;
    uint8_t* dst = bytes;
    uint8_t* noDst = nullptr;
    int32_t minus = -1;
    int32_t zero = 0;
    int32_t four = 4;

    EXPECT_EQ(zelsEncodeLZ77_8u(nullptr, &minus, &pairDst, &minus, 0, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77_8u(&src, nullptr, &pairDst, &four, 0, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77_8u(&src, &four, nullptr, &four, 0, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77_8u(&src, &four, &pairDst, nullptr, 0, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77_8u(&src, &four, &noPairs, &minus, 0, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77_8u(&src, &four, &pairDst, &minus, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZ77_8u(&src, &four, &pairDst, &minus, 0, state), zelStsBadSize);
    EXPECT_EQ(zelsEncodeLZ77_8u(&src, &minus, &pairDst, &zero, 0, state), zelStsBadSize);
    EXPECT_EQ(zelsEncodeLZ77_8u(&src, &zero, &pairDst, &zero, 0, state), zelStsDstFull);
    EXPECT_EQ(zelsEncodeLZ77_8u(&noSrc, &zero, &pairDst, &four, 0, state), zelStsOk);
    EXPECT_EQ(pairDst, pairArray);

    for (const PairCoder coder : kPairCoders) {
        EXPECT_EQ(coder(nullptr, &minus, &dst, &four, 0, state), zelStsNullPointer);
        EXPECT_EQ(coder(&pairSrc, nullptr, &dst, &four, 0, state), zelStsNullPointer);
        EXPECT_EQ(coder(&pairSrc, &four, nullptr, &four, 0, state), zelStsNullPointer);
        EXPECT_EQ(coder(&pairSrc, &four, &dst, nullptr, 0, state), zelStsNullPointer);
        EXPECT_EQ(coder(&pairSrc, &minus, &noDst, &four, 0, state), zelStsNullPointer);
        EXPECT_EQ(coder(&pairSrc, &minus, &dst, &four, 0, nullptr), zelStsNullPointer);
        EXPECT_EQ(coder(&pairSrc, &four, &dst, &minus, 0, state), zelStsBadSize);
        EXPECT_EQ(coder(&pairSrc, &minus, &dst, &zero, 0, state), zelStsBadSize);
        EXPECT_EQ(coder(&pairSrc, &zero, &dst, &zero, 0, state), zelStsDstFull);
    }

    int32_t tooLong = 65536;
    const auto stored = zelsEncodeLZ77StoredBlock_8u;
    EXPECT_EQ(stored(&noSrc, &minus, &dst, &four, 0, state), zelStsNullPointer);
    EXPECT_EQ(stored(&src, &minus, &noDst, &four, 0, state), zelStsNullPointer);
    EXPECT_EQ(stored(&src, &minus, &dst, &four, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(stored(nullptr, &minus, &dst, &four, 0, state), zelStsNullPointer);
    EXPECT_EQ(stored(&src, nullptr, &dst, &four, 0, state), zelStsNullPointer);
    EXPECT_EQ(stored(&src, &four, nullptr, &four, 0, state), zelStsNullPointer);
    EXPECT_EQ(stored(&src, &four, &dst, nullptr, 0, state), zelStsNullPointer);
    EXPECT_EQ(stored(&src, &minus, &dst, &zero, 0, state), zelStsBadSize);
    EXPECT_EQ(stored(&src, &four, &dst, &minus, 0, state), zelStsBadSize);
    EXPECT_EQ(stored(&src, &tooLong, &dst, &zero, 0, state), zelStsDstFull);
    EXPECT_EQ(stored(&src, &tooLong, &dst, &four, 0, state), zelStsBadSize);

    Lz77HuffMode mode = 5;
    const auto select = zelsEncodeLZ77SelectHuffMode_8u;
    EXPECT_EQ(select(nullptr, -1, &mode, state), zelStsNullPointer);
    EXPECT_EQ(select(pairArray, -1, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(select(pairArray, -1, &mode, nullptr), zelStsNullPointer);
    EXPECT_EQ(select(pairArray, -1, &mode, state), zelStsBadSize);
    EXPECT_EQ(mode, 5);

    EXPECT_EQ(zelsEncodeLZ77Flush_8u(&dst, &four, state), zelStsBadData);
    Encoder unknown(Lz77LevelFast, 3);
    zelsEncodeLZ77SetStatus_8u(Lz77StatusFinal, unknown.state());
    EXPECT_EQ(zelsEncodeLZ77Flush_8u(&dst, &four, unknown.state()), zelStsBadData);
    EXPECT_EQ(dst, bytes);
}

// Blocks.

TEST(DeflateEncode, FixedBits) {
    struct Case {
        Pairs pairs;
        Lz77Flush flush;
        Bytes expected;
        ZelStatus status;
    };
    const Case cases[] = {
        {{}, Lz77FlushFinal, {0x03, 0x00}, zelStsStreamEnd},
        {{}, Lz77FlushNone, {0x02}, zelStsOk},
        {{}, Lz77FlushSync, {0x02, 0x00, 0x00, 0x00, 0xFF, 0xFF}, zelStsOk},
        {{}, Lz77FlushFull, {0x02, 0x00, 0x00, 0x00, 0xFF, 0xFF}, zelStsOk},
        // 'a' is 10010001; length 258 is 11000101 and no extra bits; distance 1 is 00000.
        {{literal('a'), {258, 1}}, Lz77FlushFinal, {0x4B, 0x1C, 0x05, 0x00}, zelStsStreamEnd},
    };
    for (const Case& c : cases) {
        for (const size_t room : {1U, 100U}) {
            Encoder encoder;
            encoder.begin();
            Bytes out;
            EXPECT_EQ(
                runCoder(kPairCoders[0], c.pairs, pieces(room), c.flush, encoder.state(), out),
                c.status);
            EXPECT_EQ(out, c.expected);
        }
    }
}

// All lengths and distances at once, judged by what a decoder makes of them.
TEST(DeflateEncode, EveryLengthAndDistance) {
    const Bytes start = randomBytes(32768, 8);
    Pairs pairs;
    for (const uint8_t b : start)
        pairs.push_back(literal(b));
    for (uint32_t distance = 1; distance <= 32768; ++distance) {
        pairs.push_back(
            {static_cast<uint16_t>(3 + distance % 256), static_cast<uint16_t>(distance)});
    }
    const Bytes expected = expand(pairs, {});
    for (const PairCoder coder : kPairCoders) {
        Encoder encoder;
        encoder.begin();
        Bytes out;
        EXPECT_EQ(
            runCoder(coder, pairs, randomPieces(3, 5000), Lz77FlushFinal, encoder.state(), out),
            zelStsStreamEnd);
        EXPECT_TRUE(inflateRaw(out, expected.size()).bytes == expected);
    }
}

TEST(DeflateEncode, SkewedCountsStayWithinTheCodeLimits) {
    // Fibonacci counts make the deepest trees: literals alone, and distance codes alone.
    Pairs pairs;
    Bytes history;
    uint32_t a = 1;
    uint32_t b = 1;
    for (uint32_t symbol = 0; symbol < 24; ++symbol) {
        pairs.insert(pairs.end(), a, literal(static_cast<uint8_t>(symbol * 7)));
        std::swap(a, b);
        b += a;
    }
    Random random(5);
    a = b = 1;
    for (uint32_t code = 0; code < 20; ++code) {
        const uint32_t distance = code < 4 ? code + 1 : (2 + code % 2) * (1U << (code / 2 - 1)) + 1;
        pairs.insert(pairs.end(), a, {3, static_cast<uint16_t>(distance)});
        std::swap(a, b);
        b += a;
    }
    const Bytes expected = expand(pairs, {});
    Encoder encoder;
    encoder.begin();
    Bytes out;
    EXPECT_EQ(runCoder(kPairCoders[1], pairs, pieces(kLargestPiece), Lz77FlushFinal,
                       encoder.state(), out),
              zelStsStreamEnd);
    const Inflated inflated = inflateRaw(out, expected.size());
    EXPECT_TRUE(inflated.ended && inflated.bytes == expected);

    // One symbol in all still makes two codes.
    for (const Pairs& few : {Pairs{}, Pairs{literal('q')}, Pairs(50, literal(0))}) {
        Encoder fresh;
        fresh.begin();
        Bytes bytes;
        EXPECT_EQ(runCoder(kPairCoders[1], few, pieces(1), Lz77FlushFinal, fresh.state(), bytes),
                  zelStsStreamEnd);
        const Inflated back = inflateRaw(bytes, 100);
        EXPECT_TRUE(back.ended && back.bytes == expand(few, {}));
    }
}

// The header of a block of one literal, bit for bit: 4 literal/length and 2 distance lengths.
TEST(DeflateEncode, DynamicHeaderBits) {
    Encoder encoder;
    encoder.begin();
    Bytes out;
    EXPECT_EQ(runCoder(kPairCoders[1], Pairs{literal(0)}, pieces(100), Lz77FlushFinal,
                       encoder.state(), out),
              zelStsStreamEnd);
    // Lengths: 1, 255 zeros, 1 | 1, 1. Run-length form: 1, 18 (138), 18 (117), 1 | 1, 1. Counts:
    // four times 1, twice 18, so both have 1 bit: 1 is code 0, 18 is code 1. HLIT 0, HDIST 1,
    // HCLEN 14 (18 lengths, up to the one of symbol 1).
    std::vector<int> bits;
    const auto put = [&bits](uint32_t value, int count) {
        for (int i = 0; i < count; ++i)
            bits.push_back(static_cast<int>(value >> i & 1));
    };
    put(1, 1), put(2, 2), put(0, 5), put(1, 5), put(14, 4);
    for (int i = 0; i < 18; ++i)
        put(i == 2 || i == 17 ? 1 : 0, 3);
    put(0, 1), put(1, 1), put(127, 7), put(1, 1), put(106, 7), put(0, 1), put(0, 1), put(0, 1);
    put(0, 1), put(1, 1);
    Bytes expected((bits.size() + 7) / 8);
    for (size_t i = 0; i < bits.size(); ++i)
        expected[i / 8] = static_cast<uint8_t>(expected[i / 8] | bits[i] << (i % 8));
    EXPECT_EQ(out, expected);
}

TEST(DeflateEncode, ModeSelection) {
    struct Case {
        Pairs pairs;
        Lz77HuffMode expected;
    };
    Pairs oneAndNine(9, literal('b'));
    oneAndNine.insert(oneAndNine.begin(), literal('a'));
    Pairs equal;
    for (int i = 0; i < 40; ++i)
        equal.push_back(literal(static_cast<uint8_t>(i % 10)));
    const Case cases[] = {{oneAndNine, Lz77HuffModeDynamic},
                          {Pairs(10, literal('a')), Lz77HuffModeFixed},
                          {equal, Lz77HuffModeFixed},
                          {{literal('a')}, Lz77HuffModeDynamic},
                          {{}, Lz77HuffModeFixed}};
    Encoder encoder;
    for (const Case& c : cases) {
        encoder.begin();
        EXPECT_EQ(encoder.select(c.pairs), c.expected);
        // The block's first decision stands, before and after its coding.
        if (!c.pairs.empty()) {
            EXPECT_EQ(encoder.select(equal), c.expected);
        }
        Bytes out;
        runCoder(kPairCoders[c.expected], c.pairs, pieces(100), Lz77FlushNone, encoder.state(),
                 out);
        EXPECT_EQ(encoder.select(oneAndNine), c.expected);
    }
}

// The rule as it is said: the most frequent symbol leads that of the mean rank by a quarter of all.
Lz77HuffMode plainMode(const Pairs& pairs) {
    std::vector<uint32_t> symbols;  // in the order of their first occurrence
    std::vector<uint32_t> counts;
    uint64_t ranks = 0;
    const auto rankOf = [&](uint32_t symbol) {
        return std::find(symbols.begin(), symbols.end(), symbol) - symbols.begin();
    };
    for (const Lz77Pair pair : pairs) {
        uint32_t symbol = pair.length;
        if (pair.distance != 0) {
            uint32_t extra = 0;
            while ((pair.length - 3U) >> extra >= 8)
                ++extra;
            symbol = pair.length == 258 ? 285 : 257 + 4 * extra + ((pair.length - 3U) >> extra);
        }
        if (rankOf(symbol) == static_cast<std::ptrdiff_t>(symbols.size())) {
            symbols.push_back(symbol);
            counts.push_back(0);
        }
        ++counts[static_cast<size_t>(rankOf(symbol))];
    }
    for (size_t i = 0; i < counts.size(); ++i)
        ranks += uint64_t{counts[i]} * (i + 1);
    const uint32_t lead = *std::max_element(counts.begin(), counts.end()) -
                          counts[static_cast<size_t>(ranks / pairs.size() - 1)];
    return lead >= pairs.size() / 4 ? Lz77HuffModeDynamic : Lz77HuffModeFixed;
}

// Few symbols around one that makes up a quarter of a block, where each rank and count decides.
TEST(DeflateEncode, ModeSelectionOnTheVerge) {
    Random random(11);
    int chosen[2] = {};
    Encoder encoder;
    for (int round = 0; round < 4000; ++round) {
        const Lz77Pair frequent = {static_cast<uint16_t>(3 + random.below(256)),
                                   static_cast<uint16_t>(random.below(2) * 5)};
        Pairs pairs(1 + random.below(60));
        for (Lz77Pair& pair : pairs) {
            pair = {static_cast<uint16_t>(3 + random.below(20)),
                    static_cast<uint16_t>(random.below(2))};
            if (random.below(8) < 3) pair = frequent;
            if (pair.distance == 0) pair.length %= 256;
        }
        encoder.begin();
        const Lz77HuffMode mode = encoder.select(pairs);
        ASSERT_EQ(mode, plainMode(pairs)) << round;
        ++chosen[mode];
    }
    EXPECT_GT(std::min(chosen[0], chosen[1]), 500);
}

// Selection counts distance codes among the literal/length symbols, which shows in the code; counts
// are used for one block and dropped by every other kind of block.
TEST(DeflateEncode, SelectionCountsBelongToOneBlock) {
    const Bytes src = textLike(5000, 6);
    const Pairs pairs = Encoder(Lz77LevelNormal).parse(src).pairs;
    const auto code = [&](auto prepare) {
        Encoder encoder;
        prepare(encoder);
        Bytes out;
        runCoder(kPairCoders[1], pairs, pieces(9000), Lz77FlushFinal, encoder.state(), out);
        return out;
    };
    const Bytes plain = code([](Encoder& e) { e.begin(); });
    const Bytes selected = code([&](Encoder& e) { e.begin(), e.select(pairs); });
    const Bytes discarded = code([&](Encoder& e) { e.begin(), e.select({literal(1)}), e.begin(); });
    EXPECT_TRUE(plain == discarded);
    EXPECT_NE(plain, selected);
    for (const Bytes& stream : {plain, selected}) {
        const Inflated inflated = inflateRaw(stream, src.size());
        EXPECT_TRUE(inflated.ended && inflated.bytes == src);
    }
}

TEST(DeflateEncode, StoredBlocks) {
    for (const int32_t size : {0, 1, 100, 65535}) {
        const Bytes src = randomBytes(static_cast<size_t>(size), 3);
        for (const size_t room : {1U, 3U, 70000U}) {
            if (room < 70000 && size > 1000) continue;
            Encoder encoder(Lz77LevelFast, Lz77ChecksumAdler32);
            encoder.begin();
            Bytes out;
            EXPECT_EQ(runCoder(kPairCoders[0], Pairs{literal(200)}, pieces(room), Lz77FlushNone,
                               encoder.state(), out),
                      zelStsOk);
            EXPECT_EQ(runCoder(zelsEncodeLZ77StoredBlock_8u, src, pieces(room), Lz77FlushFinal,
                               encoder.state(), out),
                      zelStsStreamEnd);
            Bytes expected{200};
            expected.insert(expected.end(), src.begin(), src.end());
            const size_t blocks = out.size();
            const Inflated inflated = inflateRaw(out, expected.size());
            EXPECT_TRUE(inflated.ended && inflated.bytes == expected);
            zelsEncodeLZ77SetStatus_8u(Lz77StatusFinal, encoder.state());
            EXPECT_EQ(runTrailer(pieces(room), encoder.state(), out), zelStsOk);
            EXPECT_EQ(out.size(), blocks + 4);
        }
    }
}

TEST(DeflateEncode, Trailers) {
    const Bytes src = textLike(3000, 8);
    const auto size = static_cast<uInt>(src.size());
    // Adler-32 starts at 0.
    const auto adler = static_cast<uint32_t>(adler32(0, src.data(), size));
    const auto crc = static_cast<uint32_t>(crc32(0, src.data(), size));
    const Bytes adlerBytes{static_cast<uint8_t>(adler >> 24), static_cast<uint8_t>(adler >> 16),
                           static_cast<uint8_t>(adler >> 8), static_cast<uint8_t>(adler)};
    for (const size_t room : {1U, 3U, 20U}) {
        for (const Lz77Checksum kind : {Lz77ChecksumNone, Lz77ChecksumAdler32, Lz77ChecksumCrc32}) {
            Encoder encoder(Lz77LevelFast, kind);
            encoder.parse(src);
            zelsEncodeLZ77SetStatus_8u(Lz77StatusFinal, encoder.state());
            Bytes out;
            EXPECT_EQ(runTrailer(pieces(room), encoder.state(), out), zelStsOk);
            if (kind == Lz77ChecksumAdler32) {
                EXPECT_EQ(out, adlerBytes);
                continue;
            }
            ASSERT_EQ(out.size(), 8U);
            EXPECT_EQ(littleEndian(out, 0), kind == Lz77ChecksumCrc32 ? crc : 0);
            EXPECT_EQ(littleEndian(out, 4), size);
        }
    }
}

// Whole streams, however they are cut.

TEST(DeflateEncode, StreamsDecode) {
    const std::vector<std::vector<Block>> blockPlans = {
        {Block::fixed},
        {Block::dynamic},
        {Block::selected},
        {Block::stored, Block::dynamic, Block::fixed, Block::selected}};
    for (const auto& shape : shapes(130000, 21)) {
        for (const Lz77Level level : kLevels) {
            for (const auto& blocks : blockPlans) {
                SCOPED_TRACE(shape.name + " at level " + std::to_string(level));
                Plan plan;
                plan.level = level;
                plan.blocks = blocks;
                plan.flushes = {Lz77FlushNone, Lz77FlushSync};
                plan.chunk = 30011;
                plan.pairRoom = 9000;
                expectDecodes(encode(shape.bytes, plan), shape.bytes);
            }
        }
    }
    for (const size_t size : {0U, 1U, 2U, 3U, 4U, 5U}) {
        const Bytes src = randomBytes(size, size, 2);
        for (const Block block : {Block::fixed, Block::dynamic, Block::selected, Block::stored}) {
            Plan plan;
            plan.blocks = {block};
            expectDecodes(encode(src, plan), src);
        }
    }
}

TEST(DeflateEncode, FullFlushAtTheStartOfAStream) {
    const Bytes src = textLike(50000, 12);
    for (const Lz77Level level : kLevels) {
        Encoder encoder(level);
        Bytes out;
        for (size_t at = 0; at < src.size(); at += 10000) {
            const Bytes chunk(src.begin() + static_cast<std::ptrdiff_t>(at),
                              src.begin() + static_cast<std::ptrdiff_t>(at + 10000));
            const bool last = at + 10000 == src.size();
            const Lz77Flush flush = last ? Lz77FlushFinal : Lz77FlushFull;
            const Pairs pairs = encoder.parse(chunk, flush).pairs;
            encoder.begin();
            // What precedes can be dropped: the chunk decodes on its own.
            const size_t before = out.size();
            runCoder(kPairCoders[1], pairs, pieces(20000), flush, encoder.state(), out);
            const Bytes alone(out.begin() + static_cast<std::ptrdiff_t>(before), out.end());
            EXPECT_TRUE(inflateRaw(alone, 10000).bytes == chunk);
        }
        EXPECT_TRUE(inflateRaw(out, src.size()).bytes == src);
    }
}

TEST(DeflateEncode, EveryCutGivesTheSameStream) {
    const Bytes src = mixed(4000, 2);
    Plan plan;
    plan.blocks = {Block::dynamic, Block::fixed, Block::stored, Block::selected};
    plan.flushes = {Lz77FlushNone, Lz77FlushSync, Lz77FlushNone, Lz77FlushNone, Lz77FlushSync};
    for (const size_t chunk : {1U, 17U, 333U, 4000U}) {
        plan.chunk = chunk;
        plan.pairRoom = chunk == 17 ? 5 : 65280;
        plan.room = pieces(kLargestPiece);
        const Bytes whole = encode(src, plan);
        expectDecodes(whole, src);
        for (const size_t room : {1U, 2U, 3U, 5U, 7U, 8U, 9U, 15U, 16U, 17U, 64U, 1000U}) {
            plan.room = pieces(room);
            ASSERT_TRUE(encode(src, plan) == whole) << room;
        }
        for (uint64_t seed = 1; seed <= 12; ++seed) {
            plan.room = randomPieces(seed, seed % 2 == 0 ? 2 : 40);  // empty ones too
            ASSERT_TRUE(encode(src, plan) == whole) << seed;
        }
    }
}

// A block whose caller turns to something else before it was finished is finished first.
TEST(DeflateEncode, WhatIsDueComesFirst) {
    for (const PairCoder coder : kPairCoders) {
        for (const size_t room : {0U, 1U, 2U, 3U, 4U, 5U}) {
            Encoder encoder;
            encoder.begin();
            const Lz77Pair pair = literal('z');
            const Lz77Pair* next = &pair;
            int32_t left = 1;
            GuardedBuffer first(room);
            uint8_t* dst = first.data();
            auto dstLeft = static_cast<int32_t>(room);
            ASSERT_EQ(coder(&next, &left, &dst, &dstLeft, Lz77FlushSync, encoder.state()),
                      zelStsDstFull);
            Bytes out(first.data(), dst);
            const Pairs rest(static_cast<size_t>(left), pair);
            // No mode of the next call loses the header, the end of block or the marker.
            EXPECT_EQ(runCoder(coder, rest, pieces(3), Lz77FlushNone, encoder.state(), out),
                      zelStsOk);
            encoder.begin();
            EXPECT_EQ(runCoder(coder, Pairs{}, pieces(3), Lz77FlushFinal, encoder.state(), out),
                      zelStsStreamEnd);
            const Inflated inflated = inflateRaw(out, 1);
            EXPECT_TRUE(inflated.ended && inflated.bytes == Bytes{'z'}) << room;
        }
    }
}

// A call without pairs that finishes a sync marker ends that block, not the stream; the next one
// finds nothing due.
TEST(DeflateEncode, FinishingAMarkerEndsNoStream) {
    for (const size_t room : {0U, 1U, 2U, 3U, 5U}) {
        Encoder encoder;
        encoder.begin();
        const Lz77Pair pair = literal('z');
        const Lz77Pair* next = &pair;
        int32_t left = 1;
        uint8_t bytes[8] = {};
        uint8_t* dst = bytes;
        auto dstLeft = static_cast<int32_t>(room);
        const auto coder = zelsEncodeLZ77FixedHuff_8u;
        Lz77EncodeState* const state = encoder.state();
        ASSERT_EQ(coder(&next, &left, &dst, &dstLeft, Lz77FlushSync, state), zelStsDstFull);
        if (left != 0) continue;
        dstLeft = static_cast<int32_t>(bytes + 8 - dst);
        EXPECT_EQ(coder(&next, &left, &dst, &dstLeft, Lz77FlushFinal, state), zelStsOk) << room;
        EXPECT_EQ(dst, bytes + 7);
        EXPECT_EQ(coder(&next, &left, &dst, &dstLeft, Lz77FlushFinal, state), zelStsStreamEnd);
        EXPECT_EQ(dst, bytes + 7);
    }
}

// Pairs that no generator makes are coded as others that have their low bits, within the tables.
TEST(DeflateEncode, WildPairs) {
    Random random(9);
    Pairs pairs(20000);
    for (Lz77Pair& pair : pairs) {
        pair.length = static_cast<uint16_t>(random.next());
        pair.distance = static_cast<uint16_t>(random.next() >> (random.below(2) * 48));
    }
    Pairs tame = pairs;
    for (Lz77Pair& pair : tame) {
        const int shortest = pair.distance == 0 ? 0 : 3;
        pair.length = static_cast<uint16_t>(((pair.length - shortest) & 0xFF) + shortest);
        if (pair.distance > 32768) pair.distance = static_cast<uint16_t>(pair.distance - 32768);
    }
    for (const PairCoder coder : kPairCoders) {
        for (const bool selected : {false, true}) {
            const auto code = [&](const Pairs& block) {
                Encoder encoder;
                encoder.begin();
                if (selected) encoder.select(block);
                Bytes out;
                EXPECT_EQ(runCoder(coder, block, randomPieces(1, 3000), Lz77FlushFinal,
                                   encoder.state(), out),
                          zelStsStreamEnd);
                return out;
            };
            EXPECT_TRUE(code(pairs) == code(tame));
        }
    }
}

}  // namespace
