// Pairs to bytes, pattern fills, and the decoding tables with values and controls apart.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/decoder_calls.hpp"
#include "support/deflate_streams.hpp"
#include "support/inflater.hpp"
#include "zeldc.h"

namespace {

using namespace support;  // NOLINT(google-build-using-namespace): all of it is for these tests
using State = DecoderState;

TEST(DeflateExpand, MatchesOfEveryDistanceAndLength) {
    Bytes expected = support::randomBytes(600, 8);
    std::vector<Lz77Pair> pairs = literals(expected);
    for (int distance = 1; distance <= 40; ++distance) {
        for (int length = 1; length <= 258; length += 1 + length / 9) {
            pairs.push_back({static_cast<uint16_t>(length), static_cast<uint16_t>(distance)});
            for (int i = 0; i < length; ++i)
                expected.push_back(expected[expected.size() - static_cast<size_t>(distance)]);
            pairs.push_back({static_cast<uint16_t>(length * 7 % 256), 0});
            expected.push_back(static_cast<uint8_t>(length * 7));
        }
    }
    for (const size_t room : {expected.size() + 1, size_t{1000}, size_t{70}, size_t{1}}) {
        State state;
        Bytes out;
        std::vector<Lz77Pair> left = pairs;
        while (!left.empty()) {
            const Call call = expand(left, room, state);
            out.insert(out.end(), call.out.begin(), call.out.end());
            left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(call.consumed));
            if (call.status != zelStsDstFull) {
                EXPECT_EQ(call.status, zelStsOk);
                break;
            }
            if (room == 1 && out.size() > 3000) break;
        }
        out.resize(std::min(out.size(), expected.size()));
        EXPECT_EQ(Bytes(expected.begin(),
                        expected.begin() + static_cast<std::ptrdiff_t>(out.size())) == out,
                  true)
            << room;
        EXPECT_TRUE(room == 1 || out.size() == expected.size());
    }
}

TEST(DeflateExpand, PendingCopies) {
    State state;
    EXPECT_EQ(expand(literals(bytesOf("xyz")), 3, state).status, zelStsOk);
    Call call = expand({{10, 3}, {'!', 0}}, 4, state);
    EXPECT_TRUE(call.status == zelStsDstFull && call.out == bytesOf("xyzx") && call.consumed == 1);
    // Without pairs it stays pending.
    EXPECT_EQ(expand({}, 10, state).status, zelStsOk);
    call = expand({{'!', 0}}, 6, state);
    EXPECT_TRUE(call.status == zelStsDstFull && call.out == bytesOf("yzxyzx") &&
                call.consumed == 0);
    call = expand({{'!', 0}}, 6, state);
    EXPECT_TRUE(call.status == zelStsOk && call.out == bytesOf("!"));

    // The one-pass decoder finishes a match that the expander cut.
    call = expand({{258, 1}}, 100, state);
    EXPECT_TRUE(call.status == zelStsDstFull && call.out == Bytes(100, '!'));
    BitWriter writer;
    writer.header(true, 1).fixed(256);
    call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, writer.get(), 500, state);
    EXPECT_TRUE(call.status == zelStsStreamEnd && call.out == Bytes(158, '!'));
}

TEST(DeflateExpand, HostilePairsStayInside) {
    Random random(31);
    for (int round = 0; round < 200; ++round) {
        State state;
        Bytes some = support::randomBytes(random.below(3000), static_cast<uint64_t>(round));
        if (!some.empty()) expand(literals(some), some.size(), state);
        for (int calls = 0; calls < 12; ++calls) {
            std::vector<Lz77Pair> pairs(1 + random.below(20));
            for (auto& pair : pairs) {
                pair = {static_cast<uint16_t>(random.sizeBelow(65536)),
                        static_cast<uint16_t>(random.below(3) == 0 ? 65535 - random.below(9)
                                                                   : random.below(65536))};
            }
            const Call call = expand(pairs, 1 + random.sizeBelow(100000), state);
            EXPECT_TRUE(call.status == zelStsOk || call.status == zelStsDstFull);
        }
    }
}

TEST(DeflateFill, PatternsOfEveryDistance) {
    for (int32_t distance = 1; distance <= 8; ++distance) {
        for (int32_t count = 0; count < 70; ++count) {
            for (size_t offset = 0; offset < 3; ++offset) {
                GuardedBuffer buffer(offset + static_cast<size_t>(distance + count));
                const Bytes start = support::randomBytes(offset + static_cast<size_t>(distance), 3);
                std::memcpy(buffer.data(), start.data(), start.size());
                Bytes expected = start;
                for (int32_t i = 0; i < count; ++i)
                    expected.push_back(expected[expected.size() - static_cast<size_t>(distance)]);
                ownTablFillBuf[distance - 1](buffer.data() + offset,
                                             buffer.data() + offset + distance, count);
                ASSERT_EQ(buffer.content(), expected) << distance << " " << count;
            }
        }
    }
}

struct SplitResult {
    uint32_t value;
    uint32_t control;
};

uint32_t reversed(uint32_t code, int length) {
    uint32_t result = 0;
    for (int i = 0; i < length; ++i)
        result |= (code >> i & 1) << (length - 1 - i);
    return result;
}

// The look-up of the split tables, for bits that start with a code: where its value and control
// lie. Codes of more than ten bits link from the first 1,024 places to those behind.
template <class Link>
uint32_t lookUp(const uint8_t* controls, uint32_t bits, Link link) {
    const uint32_t index = bits & 1023;
    const uint32_t count = controls[index] & 15U;
    if (count <= 10) return index;
    const uint32_t rest = bits >> 10 & ((1U << (count - 10)) - 1);
    return 1024 + link(index) + (reversed(rest, 5) >> (15 - count));
}
SplitResult lookUpLitLen(const uint8_t* area, uint32_t bits) {
    const uint32_t place = lookUp(area + 1536, bits, [&](uint32_t i) { return 2U * area[i]; });
    return {area[place], area[1536 + place]};
}
SplitResult lookUpDistance(const uint8_t* area, uint32_t bits) {
    const auto value = [&](uint32_t i) {
        return static_cast<uint32_t>(area[3072 + 2 * i] | area[3073 + 2 * i] << 8);
    };
    const uint32_t place = lookUp(area + 5632, bits, value);
    return {value(place), area[5632 + place]};
}

// Value, and control without the bits to consume.
SplitResult expectedLitLen(uint32_t symbol) {
    if (symbol < 256) return {symbol, 0};
    if (symbol == 256) return {0, 6};
    if (symbol > 285) return {0, 7};
    if (symbol == 285) return {255, 8};
    const uint32_t index = symbol - 257;
    if (index < 8) return {index, 8};
    return {(4 + index % 4) << (index / 4 - 1), 8 + index / 4 - 1};
}
SplitResult expectedDistance(uint32_t symbol) {
    if (symbol > 29) return {0, 14};
    if (symbol < 4) return {symbol + 1, 0};
    return {((2 + symbol % 2) << (symbol / 2 - 1)) + 1, symbol / 2 - 1};
}

TEST(DeflateSplitTables, EverySymbolOfACode) {
    Random random(5);
    for (int round = 0; round < 60; ++round) {
        const bool deep = round % 2 == 0;
        const auto make = [&](size_t alphabet) {
            std::vector<uint16_t> lengths = {1, 1};
            while (lengths.size() < alphabet) {
                const size_t i = deep && random.below(3) != 0
                                     ? lengths.size() - 1
                                     : random.below(static_cast<uint32_t>(lengths.size()));
                if (lengths[i] < 15) lengths.push_back(++lengths[i]);
            }
            if (round % 3 == 0) lengths[random.below(static_cast<uint32_t>(alphabet))] = 0;
            return lengths;
        };
        const auto litLen = make(round % 5 == 0 ? 288 : 286);
        const auto distance = make(round % 5 == 0 ? 32 : 30);
        const CanonicalCode code(litLen);
        const CanonicalCode distanceCode(distance);
        GuardedBuffer area(6912);
        std::memset(area.data(), 0xEE, area.size());
        int32_t counts[16] = {};
        ownMakeLiterTabl(litLen.data(), counts, area.data(), static_cast<int32_t>(litLen.size()));
        for (size_t i = 3072; i < 6912; ++i)
            ASSERT_EQ(area[i], 0);
        ownMakeOffsetTabl(distance.data(), counts, area.data(),
                          static_cast<int32_t>(distance.size()));
        for (size_t symbol = 0; symbol < litLen.size(); ++symbol) {
            const int length = litLen[symbol];
            if (length == 0) continue;
            for (int i = 0; i < 4; ++i) {
                const uint32_t bits = reversed(code.codes[symbol], length) |
                                      static_cast<uint32_t>(random.next()) << length;
                const auto [value, control] = lookUpLitLen(area.data(), bits);
                ASSERT_EQ(control & 15, static_cast<uint32_t>(length));
                const SplitResult expected = expectedLitLen(static_cast<uint32_t>(symbol));
                ASSERT_TRUE(value == expected.value && control >> 4 == expected.control);
            }
        }
        for (size_t symbol = 0; symbol < distance.size(); ++symbol) {
            const int length = distance[symbol];
            if (length == 0) continue;
            const uint32_t bits = reversed(distanceCode.codes[symbol], length) |
                                  static_cast<uint32_t>(random.next()) << length;
            const auto [value, control] = lookUpDistance(area.data(), bits);
            ASSERT_EQ(control & 15, static_cast<uint32_t>(length));
            const SplitResult expected = expectedDistance(static_cast<uint32_t>(symbol));
            ASSERT_TRUE(value == expected.value && std::min(control >> 4, 14U) == expected.control);
        }
    }
}

// Any lengths at all: nothing outside the area, and no entry that consumes nothing.
TEST(DeflateSplitTables, HostileLengths) {
    Random random(6);
    for (int round = 0; round < 300; ++round) {
        const uint32_t bound = round % 3 == 0 ? 65536 : 1 + random.below(16);
        std::vector<uint16_t> lengths(320);
        for (auto& length : lengths)
            length = static_cast<uint16_t>(round % 4 == 1 ? 15 - random.sizeBelow(bound % 16 + 1)
                                                          : random.below(bound));
        GuardedBuffer area(6912);
        const int32_t counts[16] = {};
        ownMakeLiterTabl(lengths.data(), counts, area.data(), 257 + round % 64);
        ownMakeOffsetTabl(lengths.data() + 100, counts, area.data(), round % 40);
        for (uint32_t bits = 0; bits < 32768; bits += 7) {
            ASSERT_NE(lookUpLitLen(area.data(), bits).control & 15, 0U);
            ASSERT_NE(lookUpDistance(area.data(), bits).control & 15, 0U);
        }
    }
}

}  // namespace
