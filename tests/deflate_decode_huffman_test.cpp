// Huffman blocks in single calls: cut symbols, what is given back, invalid symbols, odd codes,
// re-synchronisation; and any operation after any other.
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

TEST(DeflateDecodeFixed, CutSymbolsWait) {
    BitWriter writer;
    writer.header(true, 1).fixedText("ab").fixed(265).bits(1, 1).fixedDistance(13, 63, 5);
    writer.fixed(256);
    const auto size = static_cast<std::ptrdiff_t>((writer.bitCount() + 7) / 8);
    const Bytes stream = writer.bytes({1, 2, 3}).get();
    const std::vector<std::pair<int, int>> all = {{'a', 0}, {'b', 0}, {12, 97 + 31}};
    for (size_t cut = 0; cut < stream.size(); ++cut) {
        State state;
        const Bytes head(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(cut));
        const Bytes rest(stream.begin() + static_cast<std::ptrdiff_t>(cut), stream.end());
        PairCall first = callPairs(zelsDecodeLZ77FixedHuff_8u, head, 9, state);
        if (first.status == zelStsStreamEnd) {
            EXPECT_EQ(first.consumed, size);
            EXPECT_GE(cut, static_cast<size_t>(size));
            continue;
        }
        EXPECT_EQ(first.status, zelStsSrcExhausted);
        EXPECT_EQ(first.consumed, static_cast<std::ptrdiff_t>(cut));
        const PairCall second = callPairs(zelsDecodeLZ77FixedHuff_8u, rest, 9, state);
        EXPECT_EQ(second.status, zelStsStreamEnd);
        EXPECT_EQ(second.consumed + first.consumed, size);
        first.pairs.insert(first.pairs.end(), second.pairs.begin(), second.pairs.end());
        EXPECT_EQ(first.pairs, all);
    }
}

// On every return the buffer holds no whole byte that was not needed: each slot costs the source
// only what its symbol reaches into.
TEST(DeflateDecodeFixed, NothingIsReadAhead) {
    BitWriter writer;
    writer.header(false, 1);
    std::vector<size_t> ends;
    for (int i = 0; i < 100; ++i) {
        writer.fixed(static_cast<uint8_t>(i * 7));
        ends.push_back((writer.bitCount() + 7) / 8);
    }
    writer.fixed(256);
    const size_t end = (writer.bitCount() + 7) / 8;
    writer.bytes(support::randomBytes(200, 1));
    const Bytes stream = writer.get();
    for (size_t slots = 1; slots <= 100; ++slots) {
        State one;
        State two;
        const PairCall pairs = callPairs(zelsDecodeLZ77FixedHuff_8u, stream, slots, one);
        const Call bytes = callBytes(zelsDecodeLZ77FixedHuffFull_8u, stream, slots, two);
        EXPECT_TRUE(pairs.status == zelStsDstFull && bytes.status == zelStsDstFull);
        EXPECT_EQ(pairs.consumed, static_cast<std::ptrdiff_t>(ends[slots - 1]));
        EXPECT_EQ(bytes.consumed, ends[slots - 1]);
    }
    State state;
    const Call all = callBytes(zelsDecodeLZ77FixedHuffFull_8u, stream, 1000, state);
    EXPECT_TRUE(all.status == zelStsOk && all.consumed == end && all.out.size() == 100);
}

TEST(DeflateDecodeFixed, EmptySourceFinishesWhatIsThere) {
    // The end of block lies in the byte of the literal before it.
    BitWriter writer;
    writer.header(true, 1).fixed('a').bits(0, 7);
    State state;
    Call call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, writer.get(), 1, state);
    EXPECT_TRUE(call.status == zelStsDstFull && call.consumed == 2);
    call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, {}, 1, state);
    EXPECT_EQ(call.status, zelStsSrcExhausted);
    call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, {Bytes(1, 0)}, 1, state);
    EXPECT_EQ(call.status, zelStsStreamEnd);

    // A pending match, too: nothing of the source is needed for it.
    BitWriter match;
    match.header(true, 1).fixed('x').fixed(285).fixedDistance(0).fixed(256);
    State second;
    call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, match.get(), 100, second);
    EXPECT_TRUE(call.status == zelStsDstFull && call.out == Bytes(100, 'x'));
    call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, {}, 159, second);
    EXPECT_TRUE(call.status == zelStsDstFull && call.out == Bytes(159, 'x'));
    State third;
    expand({{'x', 0}, {9, 1}}, 4, third);
    call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, match.get(), 6, third);
    EXPECT_TRUE(call.status == zelStsDstFull && call.consumed == 0 && call.out == Bytes(6, 'x'));
    Bytes last = match.get();
    last.erase(last.begin(), last.begin() + 3);
    call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, last, 1, second);
    EXPECT_TRUE(call.status == zelStsStreamEnd && call.out.empty());
}

TEST(DeflateDecodeFixed, InvalidSymbols) {
    for (const uint32_t filler : {0U, 200U}) {  // by the careful loop, by the fast one
        for (const int kind : {0, 1, 2, 3}) {
            BitWriter writer;
            writer.header(false, 1);
            const std::string text(filler, 'q');
            writer.fixedText(text);
            if (kind < 2) writer.fixed(286 + static_cast<uint32_t>(kind));
            if (kind >= 2) writer.fixed(257).fixedDistance(30 + static_cast<uint32_t>(kind) - 2);
            writer.bytes(Bytes(200, 0));
            State bytes;
            State pairs;
            const Call call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, writer.get(), 2000, bytes);
            EXPECT_EQ(call.status, zelStsBadSize);
            EXPECT_EQ(call.out, bytesOf(text));
            const PairCall pairCall =
                callPairs(zelsDecodeLZ77FixedHuff_8u, writer.get(), 2000, pairs);
            EXPECT_EQ(pairCall.status, zelStsBadSize);
            EXPECT_EQ(pairCall.pairs.size(), filler);
            EXPECT_EQ(static_cast<size_t>(pairCall.consumed), call.consumed);
            // It stays where it is.
            EXPECT_EQ(
                callBytes(zelsDecodeLZ77FixedHuffFull_8u,
                          Bytes(writer.get().begin() + static_cast<std::ptrdiff_t>(call.consumed),
                                writer.get().end()),
                          2000, bytes)
                    .status,
                zelStsBadSize);
        }
    }
}

// A length may stand for "more than enough", also near the last address, where a stack lies.
TEST(DeflateDecodeFixed, LengthsBeyondAllMemory) {
    const std::string text(1000, 'q');
    BitWriter writer;
    writer.header(true, 1).fixedText(text).fixed(256);
    const size_t size = writer.get().size();
    uint8_t source[1100] = {};
    std::copy(writer.get().begin(), writer.get().end(), source);
    alignas(4) uint8_t room[8192];
    State state;

    const uint8_t* src = source;
    auto srcLeft = static_cast<int32_t>(size);
    auto* pairs = reinterpret_cast<Lz77Pair*>(room);
    int32_t pairsLeft = INT32_MAX;
    ASSERT_EQ(zelsDecodeLZ77FixedHuff_8u(&src, &srcLeft, &pairs, &pairsLeft, 0, state),
              zelStsStreamEnd);
    ASSERT_EQ(pairsLeft, INT32_MAX - 1000);
    const auto* in = reinterpret_cast<const Lz77Pair*>(room);
    int32_t count = 1000;
    uint8_t* dst = room + 4000;
    int32_t dstLeft = INT32_MAX;
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &count, &dst, &dstLeft, 0, state), zelStsStreamEnd);
    EXPECT_EQ(dstLeft, INT32_MAX - 1000);

    src = source;
    srcLeft = INT32_MAX;
    dst = room;
    dstLeft = INT32_MAX;
    EXPECT_EQ(zelsDecodeLZ77FixedHuffFull_8u(&src, &srcLeft, &dst, &dstLeft, 0, state),
              zelStsStreamEnd);
    EXPECT_TRUE(src == source + size && dst == room + 1000);
    EXPECT_EQ(srcLeft, INT32_MAX - static_cast<int32_t>(size));
    EXPECT_EQ(dstLeft, INT32_MAX - 1000);
    EXPECT_EQ(std::memcmp(room, text.data(), text.size()), 0);
}

TEST(DeflateDecodeFixed, EndOfStreamGivesBackWhatFollows) {
    BitWriter writer;
    writer.header(true, 1).fixedText("end").fixed(256).align().bytes(support::randomBytes(40, 1));
    const size_t size = writer.get().size() - 40;
    State state;
    const PairCall call = callPairs(zelsDecodeLZ77FixedHuff_8u, writer.get(), 50, state);
    EXPECT_TRUE(call.status == zelStsStreamEnd && static_cast<size_t>(call.consumed) == size);
    // The flag for the expander stays until Reset.
    EXPECT_EQ(expand({{'a', 0}}, 10, state).status, zelStsStreamEnd);
    EXPECT_EQ(expand({{'a', 0}, {'b', 0}}, 1, state).status, zelStsDstFull);
    zelsDecodeLZ77Reset_8u(state);
    EXPECT_EQ(expand({{'a', 0}}, 10, state).status, zelStsOk);

    // So do the final flag, and the history without what the final call put out.
    BitWriter again;
    again.header(false, 1).fixed(257).fixedDistance(2).fixed(256);
    State one;
    EXPECT_EQ(expand(literals(bytesOf("xyz")), 10, one).status, zelStsOk);
    EXPECT_EQ(callBytes(zelsDecodeLZ77FixedHuffFull_8u, writer.get(), 50, one).status,
              zelStsStreamEnd);
    const Call last = callBytes(zelsDecodeLZ77FixedHuffFull_8u, again.get(), 50, one);
    EXPECT_TRUE(last.status == zelStsStreamEnd && last.out == bytesOf("xyz"));
}

// The farthest distance from just before where it is the call's own output.
TEST(DeflateDecodeFixed, FarthestDistance) {
    for (size_t i = 0; i < 18; ++i) {
        const size_t before = 32766 + i % 3;
        const size_t run = 3 + i / 3;  // moves the literals against the rounds of the loop
        BitWriter writer;
        writer.header(true, 1).fixed('q').fixed(static_cast<uint32_t>(254 + run)).fixedDistance(0);
        writer.fixedText(std::string(before - 1 - run, 'q')).fixed(285);
        writer.fixedDistance(29, 8191, 13).fixed(256).bytes(Bytes(40, 0));
        State state;
        expand(literals(bytesOf("yz")), 9, state);
        const Call call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, writer.get(), 40000, state);
        EXPECT_EQ(call.status, zelStsStreamEnd);
        const std::string old = std::string("yz").substr(before - 32766);
        EXPECT_EQ(slice(call.out, before), bytesOf(old + std::string(258 - old.size(), 'q')));
    }
}

// The bits of the code lengths end less than 22 bits before the source does.
TEST(DeflateDecodeDynamic, LooksAheadForCodeLengths) {
    std::vector<uint16_t> litLen(257, 0);
    litLen['a'] = 1;
    litLen[256] = 1;
    const CanonicalCode code(litLen);
    for (size_t i = 0; i < 32; ++i) {
        // Literals of nine bits in a block before it move the lengths within a byte.
        const size_t padding = i % 4;
        BitWriter writer;
        writer.header(false, 1).fixedText(std::string(i / 4, '\xE0')).fixed(256);
        support::writeDynamicHeader(writer, true, litLen, {1});
        const size_t lastLength = writer.bitCount() - 4;
        code.write(writer, 'a');
        code.write(writer, 256);
        const Bytes stream = writer.get();
        Bytes padded = stream;
        padded.insert(padded.end(), padding, 0);
        State state;
        const Call before = callBytes(zelsDecodeLZ77FixedHuffFull_8u, padded, 9, state);
        const Call call =
            callBytes(zelsDecodeLZ77DynamicHuffFull_8u, slice(padded, before.consumed), 9, state);
        const bool enough = padded.size() * 8 - lastLength >= 22;
        EXPECT_EQ(call.status, enough ? zelStsStreamEnd : zelStsSrcExhausted) << i;
        if (enough) {
            EXPECT_EQ(call.out, bytesOf("a"));
            EXPECT_EQ(before.consumed + call.consumed, stream.size());
            continue;
        }
        const Call rest = callBytes(zelsDecodeLZ77DynamicHuffFull_8u, Bytes(3, 0), 9, state);
        EXPECT_TRUE(rest.status == zelStsStreamEnd && rest.out == bytesOf("a"));
        // Everything behind the block is given back, the padding of the call before too, and the
        // state holds nothing.
        EXPECT_EQ(static_cast<std::ptrdiff_t>(rest.consumed),
                  -static_cast<std::ptrdiff_t>(padding));
        EXPECT_EQ(getType({}, state).status, zelStsSrcExhausted);
    }
}

TEST(DeflateDecodeDynamic, OddCodesAreAcceptedAndTheirHolesAreNot) {
    // 288 and 32 lengths, incomplete codes: what no code reaches is refused when it is met.
    std::vector<uint16_t> litLen(288, 0);
    litLen['a'] = 2;
    litLen['b'] = 13;
    for (const size_t symbol : {256U, 257U, 286U, 287U})
        litLen[symbol] = 3;
    std::vector<uint16_t> distance(32, 0);
    distance[0] = 9;
    distance[30] = 2;
    distance[31] = 15;
    const CanonicalCode code(litLen);
    const CanonicalCode distanceCode(distance);
    const auto run = [&](auto write) {
        BitWriter writer;
        support::writeDynamicHeader(writer, false, litLen, distance);
        code.write(writer, 'a');
        code.write(writer, 'b');
        write(writer);
        const size_t content = writer.bitCount();
        writer.bytes(Bytes(60, 0xFF));
        State state;
        const Call call = callBytes(zelsDecodeLZ77DynamicHuffFull_8u, writer.get(), 1000, state);
        EXPECT_EQ(call.out, bytesOf("ab"));
        State pairState;
        const PairCall pairs =
            callPairs(zelsDecodeLZ77DynamicHuff_8u, writer.get(), 1000, pairState);
        EXPECT_EQ(pairs.status, call.status);
        EXPECT_EQ(static_cast<size_t>(pairs.consumed), call.consumed);
        EXPECT_LE(call.consumed, content / 8 + 1);
        // Too short for the fast loop: the careful one stops at the same byte.
        State careful;
        const Bytes few = slice(writer.get(), 0, content / 8 + 4);
        const Call slow = callBytes(zelsDecodeLZ77DynamicHuffFull_8u, few, 1000, careful);
        EXPECT_TRUE(slow.status == call.status && slow.consumed == call.consumed);
        return call.status;
    };
    const auto distanceOf = [&](size_t symbol) {
        return run([&](BitWriter& w) {
            code.write(w, 257);
            distanceCode.write(w, symbol);
        });
    };
    EXPECT_EQ(run([&](BitWriter& w) { code.write(w, 256); }), zelStsOk);
    EXPECT_EQ(run([&](BitWriter& w) { code.write(w, 287); }), zelStsBadSize);
    EXPECT_EQ(run([&](BitWriter&) {}), zelStsBadSize);                         // 1111...
    EXPECT_EQ(run([&](BitWriter& w) { w.code(0x1801, 13); }), zelStsBadSize);  // behind 'b'
    EXPECT_EQ(run([&](BitWriter& w) {
                  code.write(w, 286);
                  distanceCode.write(w, 0);
              }),
              zelStsBadSize);
    EXPECT_EQ(distanceOf(30), zelStsBadSize);
    EXPECT_EQ(distanceOf(31), zelStsBadSize);
    EXPECT_EQ(run([&](BitWriter& w) { code.write(w, 257); }), zelStsBadSize);
    // An over-subscribed code has no valid distance at all.
    distance.assign(3, 1);
    EXPECT_EQ(distanceOf(0), zelStsBadSize);
}

TEST(DeflateDecodeDynamic, HeadersThatFail) {
    // Counts and a code-length code, then what follows: status of the whole.
    const auto run = [](const std::vector<std::pair<int, int>>& codeLengthLengths,
                        const std::vector<std::pair<int, int>>& bits) {
        uint32_t lengths[19] = {};
        for (const auto& [symbol, length] : codeLengthLengths)
            lengths[symbol] = static_cast<uint32_t>(length);
        BitWriter writer;
        writer.header(false, 2).bits(31, 5).bits(31, 5).bits(15, 4);
        for (const int symbol : {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15})
            writer.bits(lengths[symbol], 3);
        for (const auto& [value, count] : bits)
            writer.bits(static_cast<uint32_t>(value), count);
        writer.bytes(Bytes(100, 0));
        State state;
        return callBytes(zelsDecodeLZ77DynamicHuffFull_8u, writer.get(), 100, state).status;
    };
    EXPECT_EQ(run({}, {}), zelStsBadSize);                        // no code at all
    EXPECT_EQ(run({{0, 2}}, {{1, 1}}), zelStsBadSize);            // beyond its one code
    EXPECT_EQ(run({{0, 1}, {1, 1}, {2, 1}}, {}), zelStsBadSize);  // over-subscribed
    // All zeros, and a repeat before any length: no symbol can follow.
    EXPECT_EQ(run({{0, 1}}, {}), zelStsBadSize);
    EXPECT_EQ(run({{16, 1}, {18, 1}}, {{0, 1}, {3, 2}, {0xFF, 8}, {0xFF, 8}, {0xFF, 8}}),
              zelStsBadSize);
    // Over-subscribed literals: 138 + ... lengths of 1.
    EXPECT_EQ(run({{1, 1}, {16, 1}}, {}), zelStsBadSize);
}

// Random codes, complete or not, with symbols of all lengths, against a decoder bit by bit.
TEST(DeflateDecodeDynamic, RandomCodes) {
    Random random(77);
    for (int round = 0; round < 150; ++round) {
        // Splitting random leaves gives a complete code; dropping symbols makes it incomplete.
        const auto randomLengths = [&](size_t alphabet, size_t used) {
            std::vector<uint16_t> leaves = {1, 1};
            while (leaves.size() < used) {
                const size_t i = random.below(4) == 0
                                     ? leaves.size() - 1
                                     : random.below(static_cast<uint32_t>(leaves.size()));
                if (leaves[i] == 15) continue;
                leaves.push_back(++leaves[i]);
            }
            std::vector<uint16_t> lengths(alphabet, 0);
            for (const uint16_t leaf : leaves) {
                const size_t at = random.below(static_cast<uint32_t>(alphabet));
                if (lengths[at] == 0) lengths[at] = leaf;
            }
            return lengths;
        };
        auto litLen = randomLengths(286, 2 + random.below(280));
        if (litLen[256] == 0) litLen[256] = 15;
        auto distance = randomLengths(30, 2 + random.below(28));
        // An added length may fill more than there is: leave such rounds out.
        double space = 0;
        for (const uint16_t length : litLen)
            space += length == 0 ? 0 : 1.0 / (1 << length);
        if (space > 1) continue;

        const CanonicalCode code(litLen);
        const CanonicalCode distanceCode(distance);
        BitWriter writer;
        support::writeDynamicHeader(writer, true, litLen, distance);
        std::vector<std::pair<int, int>> expected;
        for (int i = 0; i < 3000; ++i) {
            const size_t symbol = random.below(286);
            if (litLen[symbol] == 0 || symbol == 256) continue;
            if (symbol < 256) {
                code.write(writer, symbol);
                expected.emplace_back(symbol, 0);
                continue;
            }
            const size_t far = random.below(30);
            if (distance[far] == 0) continue;
            const auto index = static_cast<int>(symbol) - 257;
            const int lengthExtra = index < 8 || index == 28 ? 0 : index / 4 - 1;
            const int base = index == 28 ? 258
                             : index < 8 ? index + 3
                                         : ((4 + index % 4) << lengthExtra) + 3;
            const auto lengthBits = random.below(1U << lengthExtra);
            const int farExtra = far < 4 ? 0 : static_cast<int>(far) / 2 - 1;
            const int farBase = far < 4 ? static_cast<int>(far) + 1
                                        : ((2 + static_cast<int>(far) % 2) << farExtra) + 1;
            const auto farBits = random.below(1U << farExtra);
            code.write(writer, symbol);
            writer.bits(lengthBits, lengthExtra);
            distanceCode.write(writer, far);
            writer.bits(farBits, farExtra);
            expected.emplace_back(base + static_cast<int>(lengthBits),
                                  farBase + static_cast<int>(farBits));
        }
        code.write(writer, 256);
        const size_t size = (writer.bitCount() + 7) / 8;
        writer.align().bytes({0, 0, 0});
        State state;
        const PairCall call = callPairs(zelsDecodeLZ77DynamicHuff_8u, writer.get(), 4000, state);
        ASSERT_EQ(call.status, zelStsStreamEnd) << round;
        ASSERT_EQ(call.pairs == expected, true) << round;
        ASSERT_EQ(static_cast<size_t>(call.consumed), size);
    }
}

TEST(DeflateDecodeResync, FindsTheMarker) {
    const auto both = {zelsDecodeLZ77FixedHuff_8u, zelsDecodeLZ77DynamicHuff_8u};
    for (const auto decoder : both) {
        for (const Lz77Flush flush : {Lz77FlushSync, Lz77FlushFull}) {
            State state;
            PairCall call =
                callPairs(decoder, {0x12, 0x00, 0x00, 0xFF, 0xFF, 0x34}, 0, state, flush);
            EXPECT_TRUE(call.status == zelStsOk && call.consumed == 5);
            call = callPairs(decoder, {0x12, 0x00, 0x00, 0x00, 0xFF}, 0, state, flush);
            EXPECT_TRUE(call.status == zelStsSrcExhausted && call.consumed == 5);
            call = callPairs(decoder, {0xFF, 0x34}, 0, state, flush);
            EXPECT_TRUE(call.status == zelStsOk && call.consumed == 1);
        }
    }
    // What follows decodes from there.
    State state;
    BitWriter writer;
    writer.bytes({1, 2, 0, 0, 0xFF, 0xFF}).header(true, 1).fixedText("on").fixed(256);
    const Bytes stream = writer.get();
    const PairCall found = callPairs(zelsDecodeLZ77FixedHuff_8u, stream, 0, state, Lz77FlushSync);
    ASSERT_EQ(found.consumed, 6);
    const Call call = callBytes(zelsDecodeLZ77FixedHuffFull_8u, slice(stream, 6), 10, state);
    EXPECT_TRUE(call.status == zelStsStreamEnd && call.out == bytesOf("on"));
}

// Every operation on every state that others have left, with streams that change half-way.
TEST(DeflateDecodeHostile, AnyOperationAfterAnyOther) {
    Random random(123);
    const Bytes plain = support::textLike(4000, 2);
    const Bytes valid = support::zlibStream(plain);
    for (int round = 0; round < 1500; ++round) {
        State state;
        for (int calls = 0; calls < 30; ++calls) {
            Bytes source =
                random.below(3) == 0
                    ? support::randomBytes(random.sizeBelow(400), random.next())
                    : Bytes(valid.begin(),
                            valid.begin() + random.sizeBelow(static_cast<uint32_t>(valid.size())));
            if (!source.empty() && random.below(2) == 0)
                source[random.below(static_cast<uint32_t>(source.size()))] ^=
                    static_cast<uint8_t>(1 << random.below(8));
            const size_t room = 1 + random.sizeBelow(3000);
            const auto flush = static_cast<Lz77Flush>(random.below(12) == 0 ? random.below(4) : 0);
            switch (random.below(8)) {
                case 0:
                    getType(source, state);
                    break;
                case 1:
                    callBytes(zelsDecodeLZ77StoredBlock_8u, source, room, state);
                    break;
                case 2:
                    callPairs(zelsDecodeLZ77StoredHuff_8u, source, room, state);
                    break;
                case 3:
                    callPairs(zelsDecodeLZ77FixedHuff_8u, source, room, state, flush);
                    break;
                case 4:
                    callPairs(zelsDecodeLZ77DynamicHuff_8u, source, room, state, flush);
                    break;
                case 5:
                    callBytes(zelsDecodeLZ77FixedHuffFull_8u, source, room, state);
                    break;
                case 6:
                    callBytes(zelsDecodeLZ77DynamicHuffFull_8u, source, room, state);
                    break;
                default:
                    expand({{300, 40000}, {3, 1}, {7, 0}}, room, state);
            }
        }
    }
}

// A body whose tables no header has described has no valid symbol.
TEST(DeflateDecodeHostile, BodyWithoutTables) {
    State state;
    getType({0x02}, state);
    EXPECT_EQ(callBytes(zelsDecodeLZ77DynamicHuffFull_8u, Bytes(50, 0x5A), 100, state).status,
              zelStsBadSize);
}

// The fast loop alone, with the matches that it leaves to its caller copied here.
TEST(DeflateDecodeHotSpot, DecodesABodyWithItsCaller) {
    const Bytes plain = textLike(60000, 6);
    ZlibSettings settings;
    settings.memLevel = 9;
    const Bytes stream = zlibStream(plain, settings);
    State state;
    ASSERT_EQ(getType(stream, state).type, Lz77BlockDynamic);
    // One byte, and with it the tables.
    const uint8_t* src = stream.data() + 1;
    auto srcLeft = static_cast<int32_t>(stream.size() - 1);
    Bytes out(plain.size() + 400);
    uint8_t* dst = out.data();
    int32_t room = 1;
    ASSERT_EQ(zelsDecodeLZ77DynamicHuffFull_8u(&src, &srcLeft, &dst, &room, 0, state),
              zelStsDstFull);
    room = static_cast<int32_t>(out.size() - 1);
    const uint8_t* const start = dst;
    int32_t result = 1;
    while (result > 0) {
        result = ownDecodeLZ77DHF_HotSpot(&src, &srcLeft, start, &dst, &room, state);
        if (result <= 0) break;
        for (int32_t i = 0; i < result >> 16; ++i, ++dst, --room)
            *dst = dst[-(result & 0xFFFF)];
    }
    EXPECT_EQ(result, 0);
    EXPECT_LE(srcLeft, 40);
    const auto made = static_cast<size_t>(dst - out.data());
    EXPECT_GT(made, plain.size() - 3000);
    EXPECT_EQ(std::memcmp(out.data(), plain.data(), made), 0);
    // The rest by the decoder that it belongs to; the history is missing, the bits are not.
    const PairCall rest =
        callPairs(zelsDecodeLZ77DynamicHuff_8u, Bytes(src, src + srcLeft), 5000, state);
    EXPECT_EQ(rest.status, zelStsStreamEnd);
    EXPECT_EQ(rest.consumed, srcLeft);
    size_t size = made;
    for (const auto& [length, distance] : rest.pairs)
        size += distance == 0 ? 1 : static_cast<size_t>(length);
    EXPECT_EQ(size, plain.size());
}

}  // namespace
