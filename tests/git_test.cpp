#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/git_model.hpp"
#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using support::GuardedBuffer;
using EncodeMemory = support::StateMemory<GitEncodeState>;
using DecodeMemory = support::StateMemory<GitDecodeState>;
using Place = EncodeMemory::Place;

constexpr int32_t kLeast = 4096;
const std::vector<int32_t> kStrategies = {0, 1, 2, 3, 4, -1};

size_t encoderSize(int32_t srcLimit, int32_t dstLimit) {
    int32_t size = 0;
    EXPECT_GE(zelsEncodeGITGetSize_8u(srcLimit, dstLimit, &size), zelStsOk);
    return static_cast<size_t>(size);
}

size_t decoderSize(int32_t dstLimit) {
    int32_t size = 0;
    EXPECT_EQ(zelsDecodeGITGetSize_8u(dstLimit, &size), zelStsOk);
    return static_cast<size_t>(size);
}

// Source and destination end at unreadable pages; the destination is as large as it must be.
Bytes encode(const Bytes& src, int32_t strategy, GitEncodeState* state, size_t dstLimit) {
    const GuardedBuffer in(src);
    GuardedBuffer out(dstLimit);
    int32_t size = -1;
    EXPECT_EQ(zelsEncodeGIT_8u(in.data(), static_cast<int32_t>(src.size()), out.data(), &size,
                               strategy, state),
              zelStsOk);
    if (size < 0) return {};
    return {out.data(), out.data() + size};
}

Bytes encode(const Bytes& src, int32_t strategy) {
    const auto srcLimit = std::max(static_cast<int32_t>(src.size()), kLeast);
    const int32_t dstLimit = 2 * srcLimit + 4096;
    EncodeMemory state(encoderSize(srcLimit, dstLimit));
    EXPECT_GE(zelsEncodeGITInit_8u(srcLimit, dstLimit, state), zelStsOk);
    return encode(src, strategy, state, static_cast<size_t>(dstLimit));
}

struct Decoded {
    ZelStatus status;
    int32_t size;
    Bytes bytes;  // the whole destination
};

constexpr uint8_t kUntouched = 0xC3;

Decoded decode(const Bytes& block, int32_t strategy, GitDecodeState* state, size_t dstLimit) {
    const GuardedBuffer in(block);
    GuardedBuffer out(Bytes(dstLimit, kUntouched));
    const auto srcLen = static_cast<int32_t>(block.size());
    int32_t size = -1;
    const ZelStatus status =
        zelsDecodeGIT_8u(in.data(), &srcLen, out.data(), &size, strategy, state);
    return {status, size, out.content()};
}

Decoded decode(const Bytes& block, int32_t strategy, size_t dstLimit) {
    const auto limit = static_cast<int32_t>(dstLimit);
    DecodeMemory state(decoderSize(limit), DecodeMemory::Place::endsAtPage);
    EXPECT_EQ(zelsDecodeGITInit_8u(limit, state), zelStsOk);
    return decode(block, strategy, state, dstLimit);
}

// What a block-sorting stage puts out, or nearly: pieces in which few values prevail, then change.
Bytes sortedLike(size_t size, uint64_t seed) {
    support::Random random(seed);
    Bytes bytes;
    while (bytes.size() < size) {
        uint8_t favourites[4];
        for (auto& f : favourites)
            f = static_cast<uint8_t>(random.sizeBelow(256));
        for (uint32_t pieces = random.below(60); pieces != 0; --pieces) {
            const auto value = random.below(30) == 0 ? static_cast<uint8_t>(random.below(256))
                                                     : favourites[random.sizeBelow(4)];
            bytes.insert(bytes.end(), 1 + random.sizeBelow(random.below(20) == 0 ? 900 : 5), value);
        }
    }
    bytes.resize(size);
    return bytes;
}

// A few bytes of each value in turn, in both directions: intervals are as long as they can be, and
// every slot overtakes its neighbour again and again.
Bytes staircase(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        const size_t step = i / 3 % 512;
        bytes[i] = static_cast<uint8_t>(step < 256 ? step : 511 - step);
    }
    return bytes;
}

std::vector<support::Shape> blocks(size_t size, uint64_t seed) {
    auto all = support::shapes(size, seed);
    all.push_back({"sorted", sortedLike(size, seed)});
    all.push_back({"staircase", staircase(size)});
    all.push_back({"ones", Bytes(size, 255)});
    return all;
}

TEST(Git, SizesAndLimits) {
    struct Row {
        int32_t srcLimit, dstLimit;
        ZelStatus status;
        int64_t size;
    };
    const Row rows[] = {
        {100, 1, zelStsDstFull, 256 * 4128 + 8192 + 25720},
        {4095, 1000000, zelStsDstFull, 256 * 4128 + 8192 + 25720},
        {4096, 1, zelStsOk, 256 * 4128 + 25720},
        {4103, 8199, zelStsOk, 256 * 4128 + 8192 + 25720},
        {900000, 1000001, zelStsOk, 256 * 900032 + 1000000 + 25720},
        {8388471, 1, zelStsOk, 256LL * (8388464 + 32) + 25720},
        {8388600, 1, zelStsBadSize, -7},
        {INT32_MAX, INT32_MAX, zelStsBadSize, -7},
        {0, 5000, zelStsBadSize, -7},
        {100, 0, zelStsBadSize, -7},
        {-5, -5, zelStsBadSize, -7},
    };
    for (const auto& row : rows) {
        int32_t size = -7;
        EXPECT_EQ(zelsEncodeGITGetSize_8u(row.srcLimit, row.dstLimit, &size), row.status);
        EXPECT_EQ(size, row.size) << row.srcLimit;
    }
    for (const auto& [limit, expected] :
         std::vector<std::pair<int32_t, int64_t>>{{4096, 256 * 4104 + 26776},
                                                  {1, 256 * 8 + 26776},
                                                  {7, 256 * 8 + 26776},
                                                  {8, 256 * 16 + 26776},
                                                  {8388600, -7},
                                                  {0, -7},
                                                  {-1, -7}}) {
        int32_t size = -7;
        EXPECT_EQ(zelsDecodeGITGetSize_8u(limit, &size), expected < 0 ? zelStsBadSize : zelStsOk);
        EXPECT_EQ(size, expected) << limit;
    }
}

TEST(Git, ArgumentChecksInOrder) {
    EXPECT_EQ(zelsEncodeGITGetSize_8u(0, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeGITInit_8u(0, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeGITInitAlloc_8u(0, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeGITGetSize_8u(0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeGITInit_8u(0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeGITInitAlloc_8u(0, 0, nullptr), zelStsNullPointer);

    auto* untouched = reinterpret_cast<GitEncodeState*>(&zelsFree);
    GitEncodeState* encoder = untouched;
    EXPECT_EQ(zelsEncodeGITInitAlloc_8u(0, 5, &encoder), zelStsBadSize);
    EXPECT_EQ(zelsEncodeGITInitAlloc_8u(5, 0, &encoder), zelStsBadSize);
    EXPECT_EQ(zelsEncodeGITInitAlloc_8u(8388600, 5, &encoder), zelStsBadSize);
    EXPECT_EQ(encoder, untouched);
    EXPECT_EQ(zelsEncodeGITInitAlloc_8u(100, 20000, &encoder), zelStsDstFull);

    uint8_t bytes[8192] = {};
    int32_t size = -7;
    EXPECT_EQ(zelsEncodeGIT_8u(nullptr, -1, bytes, &size, 1, encoder), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeGIT_8u(bytes, -1, nullptr, &size, 1, encoder), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeGIT_8u(bytes, -1, bytes, &size, 1, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeGIT_8u(bytes, -1, bytes, &size, 1, encoder), zelStsBadSize);
    EXPECT_EQ(zelsEncodeGIT_8u(bytes, kLeast + 1, bytes, &size, 1, encoder), zelStsBadSize);
    EXPECT_EQ(size, -7);
    zelsGITFree_8u(encoder);

    GitDecodeState* decoder = nullptr;
    EXPECT_EQ(zelsDecodeGITInitAlloc_8u(0, 5, &decoder), zelStsBadSize);
    EXPECT_EQ(zelsDecodeGITInitAlloc_8u(5, 0, &decoder), zelStsBadSize);
    EXPECT_EQ(zelsDecodeGITInitAlloc_8u(5, 5, &decoder), zelStsOk);
    EXPECT_EQ(zelsDecodeGIT_8u(bytes, &size, nullptr, &size, 1, decoder), zelStsNullPointer);
    zelsGITFree_8u(decoder);
    zelsGITFree_8u(nullptr);
}

void* noMemory(size_t) {
    return nullptr;
}

TEST(Git, InitAllocWithoutMemory) {
    int32_t here = 0;
    auto* encoder = reinterpret_cast<GitEncodeState*>(&here);
    auto* decoder = reinterpret_cast<GitDecodeState*>(&here);
    auto* const before = i_malloc;
    i_malloc = noMemory;
    EXPECT_EQ(zelsEncodeGITInitAlloc_8u(5000, 5000, &encoder), zelStsNoMemory);
    // The decoder stores what it got, and Init says what that is.
    EXPECT_EQ(zelsDecodeGITInitAlloc_8u(5000, 5000, &decoder), zelStsNullPointer);
    i_malloc = before;
    EXPECT_EQ(encoder, reinterpret_cast<GitEncodeState*>(&here));
    EXPECT_EQ(decoder, nullptr);
}

// The encoder's bytes are the model's, and the decoder restores the block, for every strategy.
TEST(Git, BlocksAgreeWithModelAndRoundTrip) {
    constexpr int32_t kLimit = 20000;
    constexpr int32_t kDstLimit = 60001;
    EncodeMemory encoder(encoderSize(kLimit, kDstLimit));
    DecodeMemory decoder(decoderSize(kLimit));
    ASSERT_EQ(zelsEncodeGITInit_8u(kLimit, kDstLimit, encoder), zelStsOk);
    ASSERT_EQ(zelsDecodeGITInit_8u(kLimit, decoder), zelStsOk);
    for (const size_t size : {0U, 1U, 7U, 300U, 20000U}) {
        for (const auto& shape : blocks(size, size)) {
            for (const int32_t strategy : kStrategies) {
                SCOPED_TRACE(shape.name + " " + std::to_string(size) + " strategy " +
                             std::to_string(strategy));
                const Bytes block = encode(shape.bytes, strategy, encoder, kDstLimit);
                ASSERT_EQ(block, support::gitModelEncode(shape.bytes, strategy));
                const Decoded decoded = decode(block, strategy, decoder, kLimit);
                ASSERT_EQ(decoded.status, zelStsOk);
                ASSERT_EQ(decoded.size, static_cast<int32_t>(size));
                Bytes expected = shape.bytes;
                expected.resize(kLimit, kUntouched);
                ASSERT_EQ(decoded.bytes, expected);
            }
        }
    }
}

// Longer than the coders' narrow counters reach, so that they are renewed many times: far values
// wait across renewals, runs meet them, and Rice parameters double beyond 32 bits.
TEST(Git, LongBlocks) {
    Bytes far(700000, 0);
    for (const size_t i : {0U, 1U, 32766U, 32767U, 32768U, 65535U, 65536U, 131071U, 650000U})
        far[i] = static_cast<uint8_t>(200 + i % 7);
    far[699999] = 201;
    Bytes farBetween = far;
    for (size_t i = 3; i < 600000; i += 11)
        farBetween[i] = static_cast<uint8_t>(1 + i % 13);
    const std::vector<std::pair<Bytes, std::vector<int32_t>>> cases = {
        {far, {2}},
        {farBetween, {1, 3}},
        {sortedLike(300000, 5), {1, 2}},
        {staircase(200000), {1, 2}},
    };
    for (const auto& [bytes, strategies] : cases) {
        // Allocated, because most of these large states is never touched.
        const auto limit = static_cast<int32_t>(bytes.size());
        GitEncodeState* encoder = nullptr;
        GitDecodeState* decoder = nullptr;
        ASSERT_EQ(zelsEncodeGITInitAlloc_8u(limit, 2 * limit, &encoder), zelStsOk);
        ASSERT_EQ(zelsDecodeGITInitAlloc_8u(limit, limit, &decoder), zelStsOk);
        for (const int32_t strategy : strategies) {
            const Bytes block = encode(bytes, strategy, encoder, 2 * bytes.size());
            ASSERT_TRUE(block == support::gitModelEncode(bytes, strategy));
            const Decoded decoded = decode(block, strategy, decoder, bytes.size());
            ASSERT_EQ(decoded.status, zelStsOk);
            ASSERT_EQ(decoded.size, static_cast<int32_t>(bytes.size()));
            ASSERT_TRUE(decoded.bytes == bytes);
        }
        zelsGITFree_8u(encoder);
        zelsGITFree_8u(decoder);
    }
}

// Known bytes of the smallest blocks: the priming pass codes slot distances, the count of zeros
// ends the last stream, everything else is padding.
TEST(Git, SmallestBlocks) {
    const Bytes unprimed = encode({}, 3);
    ASSERT_EQ(unprimed.size(), 1281U);
    for (size_t stream = 0; stream < 255; ++stream) {
        EXPECT_EQ(Bytes(&unprimed[5 * stream], &unprimed[5 * stream] + 5),
                  (Bytes{0, 0, 0, 1, 0xFF}));
    }
    EXPECT_EQ(Bytes(unprimed.end() - 6, unprimed.end()), (Bytes{0, 0, 0, 2, 0, 0x1F}));

    const Bytes primed = encode({}, 0);
    ASSERT_EQ(primed.size(), 1024U + 512U);
    EXPECT_EQ(Bytes(&primed[0], &primed[6]), (Bytes{0, 0, 0, 2, 0x1F, 0xFF}));  // 255 before it
    EXPECT_EQ(Bytes(primed.end() - 6, primed.end()), (Bytes{0, 0, 0, 2, 0, 0x3F}));
}

TEST(Git, OutputLimitIsExact) {
    const Bytes src = support::textLike(5001, 3);
    const Bytes block = encode(src, 1);
    const auto exact = static_cast<int32_t>(block.size());
    for (const int32_t limit : {exact, exact - 1, 1}) {
        EncodeMemory state(encoderSize(5001, limit), Place::endsAtPage);
        ASSERT_EQ(zelsEncodeGITInit_8u(5001, limit, state), zelStsOk);
        GuardedBuffer out(Bytes(static_cast<size_t>(limit), kUntouched));
        int32_t size = -7;
        const ZelStatus status = zelsEncodeGIT_8u(src.data(), 5001, out.data(), &size, 1, state);
        EXPECT_EQ(status, limit == exact ? zelStsOk : zelStsBadSize);
        EXPECT_EQ(size, limit == exact ? exact : -7);
        EXPECT_EQ(out.content(), limit == exact ? block : Bytes(out.size(), kUntouched));
    }
    // A source limit below the least one brings the least destination limit with it.
    EncodeMemory state(encoderSize(100, 1000000));
    ASSERT_EQ(zelsEncodeGITInit_8u(100, 1000000, state), zelStsDstFull);
    Bytes out(20000);
    EXPECT_EQ(
        zelsEncodeGIT_8u(support::randomBytes(4096, 1).data(), 4096, out.data(), nullptr, 3, state),
        zelStsOk);
    EXPECT_EQ(zelsEncodeGIT_8u(staircase(4096).data(), 4096, out.data(), nullptr, 1, state),
              zelStsOk);
}

TEST(Git, DecoderLimitIsExact) {
    for (const int32_t strategy : {1, 2, 3}) {
        const Bytes src = sortedLike(3000, 9);
        const Bytes block = encode(src, strategy);
        const Decoded fits = decode(block, strategy, 3000);
        EXPECT_EQ(fits.status, zelStsOk);
        EXPECT_EQ(fits.bytes, src);
        const Decoded over = decode(block, strategy, 2999);
        EXPECT_EQ(over.status, zelStsBadSize);
        EXPECT_EQ(over.size, -1);
        EXPECT_TRUE(std::equal(over.bytes.begin(), over.bytes.end(), src.begin()));
    }
}

TEST(Git, DecoderIgnoresSourceLengthAndSkipsNullResults) {
    const Bytes src(7, 0x41);
    const Bytes block = encode(src, 0);
    DecodeMemory state(decoderSize(7));
    ASSERT_EQ(zelsDecodeGITInit_8u(7, state), zelStsOk);
    for (const int32_t srcLen : {0, -1, 1}) {
        Bytes out(7);
        int32_t size = 0;
        EXPECT_EQ(zelsDecodeGIT_8u(block.data(), &srcLen, out.data(), &size, 0, state), zelStsOk);
        EXPECT_EQ(size, 7);
        EXPECT_EQ(out, src);
    }
    Bytes out(7);
    EXPECT_EQ(zelsDecodeGIT_8u(block.data(), nullptr, out.data(), nullptr, 0, state), zelStsOk);
    EXPECT_EQ(out, src);
}

// The first argument sizes the state, the second limits the output.
TEST(Git, DecoderInitAllocTakesTwoLimits) {
    const Bytes src = sortedLike(2000, 4);
    const Bytes block = encode(src, 2);
    for (const auto& [sizeLen, limit, status] :
         std::vector<std::tuple<int32_t, int32_t, ZelStatus>>{
             {1, 2000, zelStsOk}, {5000, 1999, zelStsBadSize}, {16, INT32_MAX, zelStsOk}}) {
        GitDecodeState* state = nullptr;
        ASSERT_EQ(zelsDecodeGITInitAlloc_8u(sizeLen, limit, &state), zelStsOk);
        Bytes out(2000);
        int32_t size = 0;
        EXPECT_EQ(zelsDecodeGIT_8u(block.data(), nullptr, out.data(), &size, 2, state), status);
        if (status == zelStsOk) {
            EXPECT_EQ(out, src);
        }
        zelsGITFree_8u(state);
    }
}

// A block may lie where its own output goes; it is then moved out of the way, if there is room.
TEST(Git, DecodesOverItsOwnSource) {
    const Bytes src = sortedLike(9000, 6);
    const Bytes block = encode(src, 1);
    for (const size_t at : {size_t{0}, size_t{1}, src.size() - 1}) {
        Bytes shared(src.size() + block.size());
        std::copy(block.begin(), block.end(), shared.begin() + static_cast<std::ptrdiff_t>(at));
        DecodeMemory state(decoderSize(9000), DecodeMemory::Place::endsAtPage);
        ASSERT_EQ(zelsDecodeGITInit_8u(9000, state), zelStsOk);
        int32_t size = 0;
        ASSERT_EQ(zelsDecodeGIT_8u(&shared[at], nullptr, shared.data(), &size, 1, state), zelStsOk);
        EXPECT_TRUE(std::equal(src.begin(), src.end(), shared.begin()));
    }
    GitDecodeState* small = nullptr;
    ASSERT_EQ(zelsDecodeGITInitAlloc_8u(1, 9000000, &small), zelStsOk);
    const Bytes large = support::randomBytes(60000, 1);
    Bytes shared = encode(large, 1);
    EXPECT_EQ(zelsDecodeGIT_8u(shared.data(), nullptr, shared.data(), nullptr, 1, small),
              zelStsBadSize);
    zelsGITFree_8u(small);
}

void putLength(Bytes& block, size_t at, uint32_t length) {
    for (size_t i = 0; i < 4; ++i)
        block[at + i] = static_cast<uint8_t>(length >> (24 - 8 * i));
}

TEST(Git, StreamsLongerThanTheStateAreRefused) {
    // An area of 256 * 8 bytes, filled by one stream, and one byte more.
    for (const uint32_t extra : {0U, 1U}) {
        Bytes block(1024 + 2048 + extra, 0);
        putLength(block, 40, 2048 + extra);
        const Decoded decoded = decode(block, 3, 7);
        EXPECT_EQ(decoded.status, zelStsBadSize);
        EXPECT_EQ(decoded.bytes == Bytes(7, kUntouched), extra == 1);  // refused before or after
    }
    for (const uint32_t length : {0x80000000U, 0xFFFFFFFFU, 0x7FFFFFFFU}) {
        Bytes block(1024, 0);
        putLength(block, 0, length);
        EXPECT_EQ(decode(block, 1, 4096).status, zelStsBadSize);
    }
    // Nor does the largest limit let a block reach around the address space.
    GitDecodeState* state = nullptr;
    ASSERT_EQ(zelsDecodeGITInitAlloc_8u(1, INT32_MAX, &state), zelStsOk);
    for (const uint32_t length : {0x7FFFFC00U, 0x80000000U, 0xFFFFFFFCU}) {
        Bytes block(1024, 0);
        putLength(block, 0, length);
        EXPECT_EQ(zelsDecodeGIT_8u(block.data(), nullptr, block.data(), nullptr, 1, state),
                  zelStsBadSize);
    }
    zelsGITFree_8u(state);
    // Empty streams are exhausted from the start: nothing comes out, priming or not.
    for (const int32_t strategy : kStrategies) {
        const Decoded nothing = decode(Bytes(1024, 0), strategy, 10);
        EXPECT_EQ(nothing.status, zelStsOk);
        EXPECT_EQ(nothing.size, 0);
    }
}

// Damaged streams decode to what their bits say, as the model reads them, or are refused as it
// refuses them; lengths stay whole.
TEST(Git, DamagedStreamsDecodeAsTheModel) {
    support::Random random(77);
    const std::vector<Bytes> sources = {sortedLike(1500, 1), support::randomBytes(700, 2),
                                        support::runs(2500, 3, 90), staircase(1200), Bytes(900, 0)};
    DecodeMemory state(decoderSize(4000));
    ASSERT_EQ(zelsDecodeGITInit_8u(4000, state), zelStsOk);
    for (int round = 0; round < 250; ++round) {
        const int32_t strategy = kStrategies[random.below(5)];
        Bytes block = support::gitModelEncode(sources[random.below(5)], strategy);
        std::vector<size_t> payload;
        for (size_t at = 0; at < block.size();) {
            const size_t length = size_t{block[at + 2]} << 8 | block[at + 3];
            for (size_t i = 0; i < length; ++i)
                payload.push_back(at + 4 + i);
            at += 4 + length;
        }
        for (uint32_t damages = 1 + random.sizeBelow(200); damages != 0; --damages) {
            const uint8_t choices[] = {0xFF, 0, static_cast<uint8_t>(random.below(256))};
            block[payload[random.below(static_cast<uint32_t>(payload.size()))]] =
                choices[random.below(3)];
        }
        const auto expected = support::gitModelDecode(block, strategy, 4000);
        const Decoded decoded = decode(block, strategy, state, 4000);
        ASSERT_EQ(decoded.status, expected.tooLong ? zelStsBadSize : zelStsOk) << round;
        ASSERT_EQ(decoded.size,
                  expected.tooLong ? -1 : static_cast<int32_t>(expected.bytes.size()));
        Bytes all = expected.bytes;
        all.resize(4000, kUntouched);
        ASSERT_EQ(decoded.bytes, all) << round;
    }
}

// Long stretches of equal bits: escapes upon escapes, quotients without end, large parameters.
Bytes bitRuns(support::Random& random, size_t size, uint32_t longest) {
    Bytes bytes(size);
    // An escape that ends at once and a quotient of several words.
    std::memcpy(bytes.data(), "\xFF\x7F\xFF\xFF\xFF\xFF", 6);
    bool bit = false;
    for (size_t i = random.below(2) * 46; i < 8 * size; bit = !bit) {
        for (uint32_t run = 1 + random.sizeBelow(longest); run != 0 && i < 8 * size; --run, ++i)
            bytes[i / 8] |= static_cast<uint8_t>((bit ? 0x80 : 0) >> i % 8);
    }
    return bytes;
}

// Values of any size up to the largest, whose sums reach their limit.
Bytes largeValues(support::Random& random, size_t count) {
    support::GitModelWriter writer;
    for (size_t i = 0; i < count; ++i) {
        const auto value = static_cast<uint32_t>(random.next() >> 33);
        writer.put(random.below(3) == 0 ? value >> random.below(31)
                                        : 0x7FFFFFFFU >> (20 - i % 42 / 2));
    }
    return writer.padded();
}

// Streams that no encoder writes: all but a few slots are exhausted, the last one among them, so
// that no slot is ever at zero, and intervals are as large as they can be.
TEST(Git, StreamsOfLargeValuesDecodeAsTheModel) {
    support::Random random(11);
    for (int round = 0; round < 120; ++round) {
        std::vector<Bytes> streams(256);
        for (uint32_t used = 1 + random.below(6); used != 0; --used) {
            Bytes& stream = streams[random.below(256)];
            stream = round % 2 == 0 ? largeValues(random, 40 + random.below(200))
                                    : bitRuns(random, 100 + random.below(300), 6 << round % 5);
        }
        Bytes block;
        for (const auto& stream : streams)
            support::gitAppendStream(block, stream);
        for (const int32_t strategy : {1, 2, 3}) {
            const auto expected = support::gitModelDecode(block, strategy, 900);
            const Decoded decoded = decode(block, strategy, 900);
            ASSERT_EQ(decoded.status, expected.tooLong ? zelStsBadSize : zelStsOk) << round;
            Bytes all = expected.bytes;
            all.resize(900, kUntouched);
            ASSERT_EQ(decoded.bytes, all) << round;
        }
    }
}

// The steps that the encoder is made of, on their own.
TEST(Git, StepsOnTheirOwn) {
    EncodeMemory state(encoderSize(4099, 30000), Place::endsAtPage);
    ASSERT_EQ(zelsEncodeGITInit_8u(4099, 30000, state), zelStsOk);
    support::Random random(3);
    std::vector<support::GitModelWriter> model(256);
    for (int i = 0; i < 4000; ++i) {
        const auto stream = static_cast<int32_t>(random.below(7) * 42);
        const uint32_t value = static_cast<uint32_t>(random.next() >> 33) >> random.below(32);
        ASSERT_EQ(ownsARGM_Encode(static_cast<int32_t>(value), stream, state), zelStsOk);
        model[static_cast<size_t>(stream)].put(value);
    }
    EXPECT_EQ(ownsFlushLastFewBits(state), zelStsOk);
    Bytes out(30000);
    int32_t size = 0;
    ASSERT_EQ(ownsDealBStreams(out.data(), &size, state), zelStsOk);
    Bytes expected;
    for (const auto& stream : model)
        support::gitAppendStream(expected, stream.padded());
    out.resize(static_cast<size_t>(size));
    EXPECT_EQ(out, expected);

    EXPECT_EQ(ownsARGM_Encode(-1, 0, state), zelStsBadSize);
    EXPECT_EQ(ownsARGM_Encode(0, 256, state), zelStsBadSize);
    EXPECT_EQ(ownsARGM_Encode(0, -1, state), zelStsBadSize);
    EXPECT_EQ(ownsARGM_Encode(0, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(ownsFlushLastFewBits(nullptr), zelStsNullPointer);
    EXPECT_EQ(ownsDealBStreams(nullptr, &size, state), zelStsNullPointer);
}

// A full stream says so from its capacity on, and takes neither long codes nor short ones that
// would reach beyond its buffer.
TEST(Git, StepStopsAtTheStreamsEnd) {
    for (const int32_t stream : {0, 255}) {
        EncodeMemory state(encoderSize(4096, 8192), Place::endsAtPage);
        ASSERT_EQ(zelsEncodeGITInit_8u(4096, 8192, state), zelStsOk);
        int32_t fine = 0;
        while (ownsARGM_Encode(fine % 3 == 0 ? INT32_MAX : fine, stream, state) == zelStsOk)
            ++fine;
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(ownsARGM_Encode(i < 50 ? INT32_MAX : i, stream, state), zelStsError);
        EXPECT_EQ(ownsFlushLastFewBits(state), zelStsOk);
        GuardedBuffer out(8192);
        int32_t size = 0;
        EXPECT_EQ(ownsDealBStreams(out.data(), &size, state), zelStsOk);
        EXPECT_GE(size, 1024 + 255 + 4097);
        EXPECT_LE(size, 1024 + 255 + 4128);
        for (int i = 0; i < 40; ++i)
            ownsFlushLastFewBits(state);
        EXPECT_EQ(ownsFlushLastFewBits(state), zelStsError);
    }
}

}  // namespace
