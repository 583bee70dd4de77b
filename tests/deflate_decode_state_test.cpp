// The deflate decoder's lifecycle, arguments, block headers and stored blocks. Whole streams are in
// deflate_decode_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/decoder_calls.hpp"
#include "support/deflate_streams.hpp"
#include "support/inflater.hpp"
#include "support/no_memory.hpp"
#include "zeldc.h"

namespace {

using namespace support;  // NOLINT(google-build-using-namespace): all of it is for these tests
using State = DecoderState;

TEST(DeflateDecodeState, SizeAndAllocation) {
    int32_t size = 0;
    EXPECT_EQ(zelsDecodeLZ77GetSize_8u(&size), zelStsOk);
    EXPECT_EQ(size, kStateSize);
    EXPECT_EQ(zelsDecodeLZ77GetSize_8u(nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77Init_8u(1, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77InitAlloc_8u(1, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77Reset_8u(nullptr), zelStsNullPointer);
    Lz77DecodeState* state = nullptr;
    ASSERT_EQ(zelsDecodeLZ77InitAlloc_8u(77, &state), zelStsOk);
    EXPECT_EQ(getType({0x03}, state).type, Lz77BlockFixed);
    zelsFree(state);

    auto* const before = reinterpret_cast<Lz77DecodeState*>(&size);
    Lz77DecodeState* unwritten = before;
    const support::NoMemory noMemory;
    EXPECT_EQ(zelsDecodeLZ77InitAlloc_8u(1, &unwritten), zelStsNoMemory);
    EXPECT_EQ(unwritten, before);
}

TEST(DeflateDecodeState, PairsAndStatusAccessors) {
    State state;
    Lz77Pair own[10];
    Lz77Pair* pairs = nullptr;
    int32_t position = -1;
    int32_t length = -1;
    EXPECT_EQ(zelsDecodeLZ77GetPairs_8u(nullptr, &position, &length, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77GetPairs_8u(&pairs, nullptr, &length, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77GetPairs_8u(&pairs, &position, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77GetPairs_8u(&pairs, &position, &length, nullptr), zelStsNullPointer);
    EXPECT_EQ(length, -1);
    EXPECT_EQ(zelsDecodeLZ77GetPairs_8u(&pairs, &position, &length, state), zelStsOk);
    EXPECT_EQ(position, 0);
    EXPECT_EQ(length, 8192);
    // The whole array lies in the state.
    const auto* base = reinterpret_cast<const uint8_t*>(static_cast<Lz77DecodeState*>(state));
    const auto* array = reinterpret_cast<const uint8_t*>(pairs);
    EXPECT_TRUE(array >= base && array + 8192 * sizeof(Lz77Pair) <= base + kStateSize);

    EXPECT_EQ(zelsDecodeLZ77SetPairs_8u(nullptr, 1, 2, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77SetPairs_8u(own, 1, 2, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77SetPairs_8u(own, 5, 100, state), zelStsOk);
    zelsDecodeLZ77GetPairs_8u(&pairs, &position, &length, state);
    EXPECT_TRUE(pairs == own && position == 5 && length == 100);

    int32_t status = -1;
    EXPECT_EQ(zelsDecodeLZ77GetStatus_8u(&status, state), zelStsOk);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(zelsDecodeLZ77SetStatus_8u(7, state), zelStsOk);
    callBytes(zelsDecodeLZ77FixedHuffFull_8u, {0x03, 0x00}, 10, state);
    zelsDecodeLZ77GetStatus_8u(&status, state);
    EXPECT_EQ(status, 7);

    // The pointer survives a reset, position, length and status do not.
    EXPECT_EQ(zelsDecodeLZ77Reset_8u(state), zelStsOk);
    zelsDecodeLZ77GetPairs_8u(&pairs, &position, &length, state);
    zelsDecodeLZ77GetStatus_8u(&status, state);
    EXPECT_TRUE(pairs == own && position == 0 && length == 8192 && status == 0);
}

TEST(DeflateDecodeState, DictionaryTakesItsFirstBytes) {
    State state;
    const Bytes dictionary = support::randomBytes(40000, 5);
    EXPECT_EQ(zelsDecodeLZ77SetDictionary_8u(nullptr, 5, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77SetDictionary_8u(dictionary.data(), 5, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77SetDictionary_8u(dictionary.data(), 40000, state), zelStsOk);
    EXPECT_EQ(history(state, kWindow), slice(dictionary, 0, kWindow));
    for (const int32_t bad : {0, -1}) {
        EXPECT_EQ(zelsDecodeLZ77SetDictionary_8u(dictionary.data() + 9, bad, state), zelStsBadSize);
    }
    // A short one replaces the end; what was before it stays.
    EXPECT_EQ(zelsDecodeLZ77SetDictionary_8u(dictionary.data() + 35000, 10, state), zelStsOk);
    Bytes expected(dictionary.begin(), dictionary.begin() + kWindow - 10);
    expected.insert(expected.end(), dictionary.begin() + 35000, dictionary.begin() + 35010);
    EXPECT_EQ(history(state, kWindow), expected);

    const Bytes plain(dictionary.begin() + 20000, dictionary.begin() + 28900);
    support::ZlibSettings settings;
    settings.dictionary.assign(dictionary.begin(), dictionary.begin() + kWindow);
    Bytes stream = support::zlibStream(plain, settings);
    EXPECT_LT(stream.size(), 400U);
    stream.insert(stream.end(), 3, 0);
    for (const Way way : {Way::onePass, Way::twoStage}) {
        State fresh;
        zelsDecodeLZ77SetDictionary_8u(dictionary.data(), 40000, fresh);
        Inflater inflater(fresh);
        EXPECT_EQ(inflater.run(stream, way, {support::pieces(50), support::pieces(100)}),
                  zelStsStreamEnd);
        EXPECT_EQ(inflater.out, plain);
    }
}

TEST(DeflateDecodeState, HistoryFollowsEveryWayOfDecoding) {
    State state;
    Bytes all;
    Random random(9);
    uint64_t seed = 1;
    for (int round = 0; round < 60; ++round) {
        const size_t size = 1 + random.sizeBelow(round % 7 == 0 ? 50000 : 9000);
        const Bytes bytes = support::randomBytes(size, ++seed);
        if (round % 2 == 0) {
            EXPECT_EQ(expand(literals(bytes), size + 5, state).status, zelStsOk);
        } else {
            BitWriter writer;
            const Bytes stream = writer.stored(false, bytes).get();
            EXPECT_EQ(getType(stream, state).consumed, 1U);
            EXPECT_EQ(callBytes(zelsDecodeLZ77StoredBlock_8u, slice(stream, 1), size, state).status,
                      zelStsOk);
        }
        all.insert(all.end(), bytes.begin(), bytes.end());
        if (all.size() >= kWindow && round % 9 == 0) {
            ASSERT_EQ(history(state, kWindow), tail(all, kWindow)) << round;
        }
    }
    ASSERT_EQ(history(state, kWindow), tail(all, kWindow));
    // Reset keeps the bytes.
    zelsDecodeLZ77Reset_8u(state);
    EXPECT_EQ(history(state, kWindow), tail(all, kWindow));
}

TEST(DeflateDecodeState, CopiesAreIndependent) {
    const Bytes plain = support::mixed(60000, 4);
    support::ZlibSettings settings;
    settings.memLevel = 2;
    Bytes stream = support::zlibStream(plain, settings);
    stream.insert(stream.end(), 3, 0);
    for (const Way way : {Way::onePass, Way::twoStage, Way::trial}) {
        State first;
        State second;
        State* current = &first;
        State* other = &second;
        Inflater inflater(first);
        inflater.afterStep = [&](Inflater& running) {
            EXPECT_EQ(zelsDecodeLZ77CopyState_8u(*current, *other), zelStsOk);
            std::memset(*current, 0x77, kStateSize);
            zelsDecodeLZ77Init_8u(0, *current);
            std::swap(current, other);
            running.setState(*current);
        };
        EXPECT_EQ(inflater.run(stream, way, {support::pieces(301), support::pieces(777)}),
                  zelStsStreamEnd);
        EXPECT_EQ(inflater.out == plain, true);
    }
    State state;
    EXPECT_EQ(zelsDecodeLZ77CopyState_8u(nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZ77CopyState_8u(state, nullptr), zelStsNullPointer);
}

TEST(DeflateDecodeState, CopiesPairsBetweenTheBuffersInUse) {
    State from;
    State to;
    std::vector<Lz77Pair> source(8192);
    GuardedBuffer target(8192 * sizeof(Lz77Pair));
    for (size_t i = 0; i < source.size(); ++i)
        source[i] = {static_cast<uint16_t>(i), static_cast<uint16_t>(i * 3)};
    zelsDecodeLZ77SetPairs_8u(source.data(), 3, 10, from);
    auto* const targetPairs = reinterpret_cast<Lz77Pair*>(target.data());
    zelsDecodeLZ77SetPairs_8u(targetPairs, 1, 2, to);
    zelsDecodeLZ77SetStatus_8u(55, from);
    EXPECT_EQ(zelsDecodeLZ77CopyState_8u(from, to), zelStsOk);
    EXPECT_EQ(std::memcmp(target.data(), source.data(), target.size()), 0);
    Lz77Pair* pairs = nullptr;
    int32_t position = 0;
    int32_t length = 0;
    int32_t status = 0;
    zelsDecodeLZ77GetPairs_8u(&pairs, &position, &length, to);
    zelsDecodeLZ77GetStatus_8u(&status, to);
    EXPECT_TRUE(pairs == targetPairs && position == 3 && length == 10 && status == 55);
}

TEST(DeflateDecodeArguments, PointersThenLengths) {
    State state;
    const uint8_t source[8] = {};
    uint8_t destination[8];
    Lz77Pair pairArray[2];
    const uint8_t* src = source;
    const uint8_t* nullSrc = nullptr;
    uint8_t* dst = destination;
    uint8_t* nullDst = nullptr;
    Lz77Pair* pairs = pairArray;
    Lz77Pair* nullPairs = nullptr;
    const Lz77Pair* in = pairArray;
    const Lz77Pair* nullIn = nullptr;
    int32_t eight = 8;
    int32_t two = 2;
    int32_t zero = 0;
    int32_t minus = -1;
    Lz77BlockType type = -1;
    const auto n = zelStsNullPointer;
    const auto bad = zelStsBadSize;

    EXPECT_EQ(zelsDecodeLZ77GetBlockType_8u(nullptr, &minus, &type, state), n);
    EXPECT_EQ(zelsDecodeLZ77GetBlockType_8u(&src, nullptr, &type, state), n);
    EXPECT_EQ(zelsDecodeLZ77GetBlockType_8u(&src, &minus, nullptr, state), n);
    EXPECT_EQ(zelsDecodeLZ77GetBlockType_8u(&src, &minus, &type, nullptr), n);
    EXPECT_EQ(zelsDecodeLZ77GetBlockType_8u(&nullSrc, &minus, &type, state), n);
    EXPECT_EQ(zelsDecodeLZ77GetBlockType_8u(&src, &minus, &type, state), bad);

    const auto stored = zelsDecodeLZ77StoredBlock_8u;
    EXPECT_EQ(stored(nullptr, &eight, &dst, &zero, state), n);
    EXPECT_EQ(stored(&src, nullptr, &dst, &zero, state), n);
    EXPECT_EQ(stored(&src, &eight, nullptr, &zero, state), n);
    EXPECT_EQ(stored(&src, &eight, &dst, nullptr, state), n);
    EXPECT_EQ(stored(&nullSrc, &eight, &dst, &zero, state), n);
    EXPECT_EQ(stored(&src, &eight, &nullDst, &zero, state), n);
    EXPECT_EQ(stored(&src, &eight, &dst, &zero, nullptr), n);
    EXPECT_EQ(stored(&src, &eight, &dst, &zero, state), bad);
    EXPECT_EQ(stored(&src, &minus, &dst, &eight, state), bad);
    EXPECT_EQ(stored(&src, &eight, &dst, &eight, state), zelStsBadData);

    const auto storedPairs = zelsDecodeLZ77StoredHuff_8u;
    EXPECT_EQ(storedPairs(nullptr, &eight, &pairs, &minus, state), n);
    EXPECT_EQ(storedPairs(&src, nullptr, &pairs, &minus, state), n);
    EXPECT_EQ(storedPairs(&src, &eight, nullptr, &minus, state), n);
    EXPECT_EQ(storedPairs(&src, &eight, &pairs, nullptr, state), n);
    EXPECT_EQ(storedPairs(&nullSrc, &eight, &pairs, &minus, state), n);
    EXPECT_EQ(storedPairs(&src, &eight, &nullPairs, &minus, state), n);
    EXPECT_EQ(storedPairs(&src, &eight, &pairs, &minus, nullptr), n);
    EXPECT_EQ(storedPairs(&src, &minus, &pairs, &two, state), bad);
    EXPECT_EQ(storedPairs(&src, &eight, &pairs, &minus, state), bad);

    for (const auto full : {zelsDecodeLZ77FixedHuffFull_8u, zelsDecodeLZ77DynamicHuffFull_8u}) {
        EXPECT_EQ(full(nullptr, &minus, &dst, &eight, 0, state), n);
        EXPECT_EQ(full(&src, nullptr, &dst, &minus, 0, state), n);
        EXPECT_EQ(full(&src, &minus, nullptr, &eight, 0, state), n);
        EXPECT_EQ(full(&src, &minus, &dst, nullptr, 0, state), n);
        EXPECT_EQ(full(&src, &minus, &dst, &eight, 0, nullptr), n);
        EXPECT_EQ(full(&nullSrc, &minus, &dst, &eight, 0, state), n);
        EXPECT_EQ(full(&src, &minus, &nullDst, &eight, 0, state), n);
        EXPECT_EQ(full(&src, &minus, &dst, &zero, 0, state), bad);
        EXPECT_EQ(full(&src, &eight, &dst, &minus, 0, state), bad);
        for (const Lz77Flush flush : {Lz77FlushNone, Lz77FlushSync, Lz77FlushFull})
            EXPECT_EQ(full(&src, &eight, &dst, &zero, flush, state), zelStsDstFull);
    }
    for (const auto huff : {zelsDecodeLZ77FixedHuff_8u, zelsDecodeLZ77DynamicHuff_8u}) {
        EXPECT_EQ(huff(&src, &minus, &pairs, &zero, 0, state), bad);
        EXPECT_EQ(huff(&src, &eight, &pairs, &minus, Lz77FlushSync, state), bad);
        EXPECT_EQ(huff(&src, &eight, &pairs, &zero, 0, state), zelStsDstFull);
    }

    EXPECT_EQ(zelsDecodeLZ77_8u(nullptr, &minus, &dst, &eight, 0, state), n);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, nullptr, &dst, &minus, 0, state), n);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &minus, nullptr, &eight, 0, state), n);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &minus, &dst, nullptr, 0, state), n);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &minus, &dst, &eight, 0, nullptr), n);
    EXPECT_EQ(zelsDecodeLZ77_8u(&nullIn, &minus, &dst, &eight, 0, state), n);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &minus, &nullDst, &eight, 0, state), n);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &minus, &dst, &eight, 0, state), bad);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &two, &dst, &minus, 0, state), bad);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &zero, &dst, &zero, 0, state), zelStsOk);
    EXPECT_EQ(zelsDecodeLZ77_8u(&in, &two, &dst, &zero, 0, state), zelStsDstFull);

    // Nothing has moved.
    EXPECT_TRUE(src == source && dst == destination && pairs == pairArray && in == pairArray);
    EXPECT_TRUE(eight == 8 && two == 2 && zero == 0 && minus == -1 && type == -1);
}

TEST(DeflateDecodeHeader, BlockTypes) {
    const struct {
        uint8_t byte;
        Lz77BlockType type;
    } cases[] = {{0x00, Lz77BlockStored}, {0x01, Lz77BlockStored},  {0x02, Lz77BlockFixed},
                 {0x03, Lz77BlockFixed},  {0x04, Lz77BlockDynamic}, {0x05, Lz77BlockDynamic}};
    for (const auto& c : cases) {
        State state;
        EXPECT_EQ(getType({}, state).status, zelStsSrcExhausted);
        const TypeCall first = getType({c.byte, 0xFF}, state);
        EXPECT_EQ(first.status, zelStsOk);
        EXPECT_EQ(first.type, c.type);
        EXPECT_EQ(first.consumed, 1U);
        // Under way: the same again, and nothing is read.
        const TypeCall again = getType({}, state);
        EXPECT_TRUE(again.status == zelStsOk && again.type == c.type && again.consumed == 0);
    }
    // The reserved kind passes, and its three bits are gone: then come 011 of the same byte.
    State state;
    const TypeCall reserved = getType({0x1F}, state);
    EXPECT_TRUE(reserved.status == zelStsOk && reserved.type == -1 && reserved.consumed == 1);
    const TypeCall next = getType({}, state);
    EXPECT_TRUE(next.status == zelStsOk && next.type == Lz77BlockFixed);
}

// A refused header stays, in one byte from an odd address or at the end, else in two.
TEST(DeflateDecodeHeader, RefusedHeadersStayBuffered) {
    alignas(4) uint8_t source[8] = {0x06, 0xAA, 0xBB, 0xCC};
    const struct {
        size_t offset;
        int32_t size;
        size_t taken;
    } cases[] = {{0, 4, 2}, {0, 1, 1}, {1, 3, 1}};
    for (const auto& c : cases) {
        source[c.offset] = 0x06;
        uint8_t room[4];
        State state;
        const uint8_t* src = source + c.offset;
        int32_t left = c.size;
        uint8_t* dst = room;
        int32_t dstLeft = 4;
        EXPECT_EQ(zelsDecodeLZ77DynamicHuffFull_8u(&src, &left, &dst, &dstLeft, 0, state),
                  zelStsBadData);
        EXPECT_EQ(src, source + c.offset + c.taken);
        EXPECT_EQ(zelsDecodeLZ77FixedHuffFull_8u(&src, &left, &dst, &dstLeft, 0, state),
                  zelStsBadData);
        EXPECT_EQ(src, source + c.offset + c.taken);
        EXPECT_EQ(left, c.size - static_cast<int32_t>(c.taken));
    }
}

TEST(DeflateDecodeStored, EmptyBrokenAndLong) {
    const auto stored = zelsDecodeLZ77StoredBlock_8u;
    State state;
    EXPECT_EQ(callBytes(stored, {1, 2, 3}, 5, state).status, zelStsBadData);
    getType({0x01}, state);
    Call call = callBytes(stored, {0, 0, 0xFF}, 1, state);
    EXPECT_TRUE(call.status == zelStsSrcExhausted && call.consumed == 3);
    call = callBytes(stored, {0xFF, 9}, 1, state);
    EXPECT_TRUE(call.status == zelStsStreamEnd && call.consumed == 1 && call.out.empty());

    getType({0x00}, state);
    call = callBytes(stored, {1, 0, 0xFF, 0xFF, 7}, 1, state);
    EXPECT_TRUE(call.status == zelStsBadSize && call.consumed == 4);
    EXPECT_EQ(callBytes(stored, {}, 1, state).status, zelStsBadSize);

    // 60000 bytes with room for 50000: the history holds the last 32768 of what was delivered.
    State fresh;
    const Bytes content = support::randomBytes(60000, 3);
    BitWriter writer;
    const Bytes stream = writer.stored(true, content).get();
    getType(stream, fresh);
    call = callBytes(stored, slice(stream, 1), 50000, fresh);
    EXPECT_TRUE(call.status == zelStsDstFull && call.consumed == 50004);
    EXPECT_EQ(history(fresh, kWindow), slice(content, 17232, 50000));
    const Bytes rest(stream.begin() + 50005, stream.end());
    EXPECT_EQ(callBytes(stored, slice(rest, 0, 10), 10, fresh).status, zelStsDstFull);
    EXPECT_EQ(callBytes(stored, slice(rest, 10, 20), 11, fresh).status, zelStsSrcExhausted);
    EXPECT_EQ(callBytes(stored, slice(rest, 20), 9980, fresh).status, zelStsStreamEnd);
    EXPECT_EQ(history(fresh, kWindow), tail(content, kWindow));
}

TEST(DeflateDecodeStored, Pairs) {
    const auto stored = zelsDecodeLZ77StoredHuff_8u;
    State state;
    EXPECT_EQ(callPairs(stored, {}, 5, state).status, zelStsSrcExhausted);
    PairCall call = callPairs(stored, {0x01, 3, 0, 0xFC, 0xFF, 'a', 'b'}, 5, state);
    EXPECT_EQ(call.status, zelStsSrcExhausted);
    EXPECT_EQ(call.pairs, (std::vector<std::pair<int, int>>{{'a', 0}, {'b', 0}}));
    EXPECT_EQ(callPairs(stored, {}, 0, state).status, zelStsSrcExhausted);
    EXPECT_EQ(callPairs(stored, {'c'}, 0, state).status, zelStsDstFull);
    call = callPairs(stored, {'c', 'd'}, 5, state);
    EXPECT_TRUE(call.status == zelStsStreamEnd && call.consumed == 1 && call.pairs.size() == 1);

    // The final flag stays once set; an empty block ends at once.
    call = callPairs(stored, {0x00, 0, 0, 0xFF, 0xFF, 9}, 5, state);
    EXPECT_TRUE(call.status == zelStsStreamEnd && call.consumed == 5 && call.pairs.empty());
    EXPECT_EQ(callPairs(stored, {0x02}, 5, state).status, zelStsBadData);

    State broken;
    EXPECT_EQ(callPairs(stored, {0x00, 5, 0, 5, 0}, 5, broken).status, zelStsBadSize);

    // Bytes that an unfinished unit of another kind left in the buffer come first, and no byte is
    // emitted from the buffer while the source is empty.
    State buffered;
    getType({0x04}, buffered);
    EXPECT_EQ(callPairs(stored, {2, 0, 0xFD, 0xFF}, 5, buffered).status, zelStsSrcExhausted);
    call = callPairs(stored, {'x', 'y'}, 5, buffered);
    EXPECT_EQ(call.status, zelStsOk);
    EXPECT_EQ(call.pairs, (std::vector<std::pair<int, int>>{{'x', 0}, {'y', 0}}));
}

}  // namespace
