// The deflate decoder's single operations: arguments, headers, stored blocks, tables, expander,
// hostile input. Whole streams are in deflate_decode_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/deflate_streams.hpp"
#include "support/guarded_buffer.hpp"
#include "support/inflater.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::BitWriter;
using support::Bytes;
using support::CanonicalCode;
using support::GuardedBuffer;
using support::Inflater;
using support::Random;
using support::Way;

constexpr int32_t kStateSize = 112876;
constexpr int32_t kWindow = 32768;

class State {
  public:
    explicit State(Lz77Checksum checksum = Lz77ChecksumNone) : memory_(kStateSize) {
        EXPECT_EQ(zelsDecodeLZ77Init_8u(checksum, memory_), zelStsOk);
    }
    operator Lz77DecodeState*() { return memory_; }  // NOLINT: used as the state it is

  private:
    support::StateMemory<Lz77DecodeState> memory_;
};

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

Bytes slice(const Bytes& bytes, size_t from, size_t to = SIZE_MAX) {
    Bytes part;
    for (size_t i = from; i < std::min(to, bytes.size()); ++i)
        part.push_back(bytes[i]);
    return part;
}

// A call of the resumable kind over a whole source, with everything that it left.
struct Call {
    ZelStatus status = zelStsOk;
    size_t consumed = 0;
    Bytes out;
};

template <class Operation>
Call callBytes(Operation operation, const Bytes& source, size_t room, Lz77DecodeState* state) {
    const GuardedBuffer src(source);
    GuardedBuffer dst(room);
    const uint8_t* srcNext = src.data();
    auto srcLeft = static_cast<int32_t>(src.size());
    uint8_t* dstNext = dst.data();
    auto dstLeft = static_cast<int32_t>(room);
    Call call;
    if constexpr (std::is_same_v<Operation, decltype(&zelsDecodeLZ77StoredBlock_8u)>) {
        call.status = operation(&srcNext, &srcLeft, &dstNext, &dstLeft, state);
    } else {
        call.status = operation(&srcNext, &srcLeft, &dstNext, &dstLeft, Lz77FlushNone, state);
    }
    call.consumed = static_cast<size_t>(srcNext - src.data());
    EXPECT_EQ(srcLeft, static_cast<int32_t>(src.size() - call.consumed));
    EXPECT_EQ(dstLeft, dst.end() - dstNext);
    call.out.assign(dst.data(), dstNext);
    return call;
}

struct PairCall {
    ZelStatus status = zelStsOk;
    std::ptrdiff_t consumed = 0;
    std::vector<std::pair<int, int>> pairs;
};

template <class Operation>
PairCall callPairs(Operation operation, const Bytes& source, size_t slots, Lz77DecodeState* state,
                   Lz77Flush flush = Lz77FlushNone) {
    const GuardedBuffer src(source);
    GuardedBuffer dst(slots * sizeof(Lz77Pair));
    const uint8_t* srcNext = src.data();
    auto srcLeft = static_cast<int32_t>(src.size());
    auto* next = reinterpret_cast<Lz77Pair*>(dst.data());
    auto left = static_cast<int32_t>(slots);
    PairCall call;
    if constexpr (std::is_same_v<Operation, decltype(&zelsDecodeLZ77StoredHuff_8u)>) {
        call.status = operation(&srcNext, &srcLeft, &next, &left, state);
    } else {
        call.status = operation(&srcNext, &srcLeft, &next, &left, flush, state);
    }
    call.consumed = srcNext - src.data();
    EXPECT_EQ(srcLeft, static_cast<std::ptrdiff_t>(src.size()) - call.consumed);
    const auto* pairs = reinterpret_cast<const Lz77Pair*>(dst.data());
    for (; pairs != next; ++pairs)
        call.pairs.emplace_back(pairs->length, pairs->distance);
    EXPECT_EQ(left, static_cast<int32_t>(slots - call.pairs.size()));
    return call;
}

struct TypeCall {
    ZelStatus status;
    Lz77BlockType type;
    size_t consumed;
};

TypeCall getType(const Bytes& source, Lz77DecodeState* state) {
    const GuardedBuffer src(source);
    const uint8_t* next = src.data();
    auto left = static_cast<int32_t>(src.size());
    TypeCall call{zelStsError, -1, 0};
    call.status = zelsDecodeLZ77GetBlockType_8u(&next, &left, &call.type, state);
    call.consumed = static_cast<size_t>(next - src.data());
    return call;
}

Call expand(const std::vector<Lz77Pair>& pairs, size_t room, Lz77DecodeState* state) {
    GuardedBuffer src(pairs.size() * sizeof(Lz77Pair));
    if (!pairs.empty()) std::memcpy(src.data(), pairs.data(), src.size());
    GuardedBuffer dst(room);
    const auto* next = reinterpret_cast<const Lz77Pair*>(src.data());
    auto left = static_cast<int32_t>(pairs.size());
    uint8_t* dstNext = dst.data();
    auto dstLeft = static_cast<int32_t>(room);
    Call call;
    call.status = zelsDecodeLZ77_8u(&next, &left, &dstNext, &dstLeft, Lz77FlushNone, state);
    call.consumed = pairs.size() - static_cast<size_t>(left);
    call.out.assign(dst.data(), dstNext);
    return call;
}

std::vector<Lz77Pair> literals(const Bytes& bytes) {
    std::vector<Lz77Pair> pairs;
    for (const uint8_t byte : bytes)
        pairs.push_back({byte, 0});
    return pairs;
}

// The last `size` bytes of the history, farthest first, by matches of one byte each.
Bytes history(Lz77DecodeState* state, int32_t size) {
    State copy;
    zelsDecodeLZ77CopyState_8u(state, copy);
    std::vector<Lz77Pair> pairs;
    for (int32_t i = 0; i < size; ++i)
        pairs.push_back({1, static_cast<uint16_t>(size)});
    return expand(pairs, static_cast<size_t>(size) + 300, copy).out;
}

Bytes tail(const Bytes& bytes, size_t size) {
    return {bytes.end() - static_cast<std::ptrdiff_t>(size), bytes.end()};
}

// --- lifecycle -------------------------------------------------------------------------------

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
    auto* const hook = i_malloc;
    i_malloc = [](size_t) -> void* { return nullptr; };
    EXPECT_EQ(zelsDecodeLZ77InitAlloc_8u(1, &unwritten), zelStsNoMemory);
    i_malloc = hook;
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
            EXPECT_EQ(
                callBytes(zelsDecodeLZ77StoredBlock_8u, slice(stream, 1), size, state).status,
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

// --- arguments -------------------------------------------------------------------------------

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

// --- headers and stored blocks ---------------------------------------------------------------

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
    EXPECT_EQ(callBytes(stored, slice(rest, 0, 10), 11, fresh).status,
              zelStsSrcExhausted);
    EXPECT_EQ(callBytes(stored, slice(rest, 10), 9990, fresh).status,
              zelStsStreamEnd);
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

// --- Huffman blocks --------------------------------------------------------------------------

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
}

// The bits of the code lengths end less than 22 bits before the source does.
TEST(DeflateDecodeDynamic, LooksAheadForCodeLengths) {
    std::vector<uint16_t> litLen(257, 0);
    litLen['a'] = 1;
    litLen[256] = 1;
    BitWriter writer;
    support::writeDynamicHeader(writer, true, litLen, {1});
    const CanonicalCode code(litLen);
    code.write(writer, 'a');
    code.write(writer, 256);
    const Bytes stream = writer.get();
    for (const size_t padding : {0U, 1U, 2U, 3U}) {
        Bytes padded = stream;
        padded.insert(padded.end(), padding, 0);
        State state;
        const Call call = callBytes(zelsDecodeLZ77DynamicHuffFull_8u, padded, 9, state);
        // The last length starts 4 + 2 bits before the end, which padding to a byte moves.
        const size_t ahead = stream.size() * 8 - (writer.bitCount() - 6) + 8 * padding;
        EXPECT_EQ(call.status, ahead >= 22 ? zelStsStreamEnd : zelStsSrcExhausted) << padding;
        if (ahead >= 22) {
            EXPECT_TRUE(call.out == bytesOf("a") && call.consumed == stream.size());
            continue;
        }
        const Call rest = callBytes(zelsDecodeLZ77DynamicHuffFull_8u, Bytes(3, 0), 9, state);
        EXPECT_TRUE(rest.status == zelStsStreamEnd && rest.out == bytesOf("a"));
    }
}

TEST(DeflateDecodeDynamic, OddCodesAreAcceptedAndTheirHolesAreNot) {
    // 288 and 32 lengths, incomplete codes: what no code reaches is refused when it is met.
    std::vector<uint16_t> litLen(288, 0);
    litLen['a'] = 2;
    litLen['b'] = 13;
    litLen[256] = 3;
    litLen[287] = 3;
    std::vector<uint16_t> distance(32, 0);
    distance[0] = 9;
    distance[31] = 15;
    const CanonicalCode code(litLen);
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
        return call.status;
    };
    EXPECT_EQ(run([&](BitWriter& w) { code.write(w, 256); }), zelStsOk);
    EXPECT_EQ(run([&](BitWriter& w) { code.write(w, 287); }), zelStsBadSize);
    EXPECT_EQ(run([&](BitWriter&) {}), zelStsBadSize);                         // 1111...
    EXPECT_EQ(run([&](BitWriter& w) { w.code(0x1001, 13); }), zelStsBadSize);  // behind 'b'
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
    const Call call = callBytes(zelsDecodeLZ77FixedHuffFull_8u,
                                slice(stream, 6), 10, state);
    EXPECT_TRUE(call.status == zelStsStreamEnd && call.out == bytesOf("on"));
}

// --- expander and copies ---------------------------------------------------------------------

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

// --- tables ----------------------------------------------------------------------------------

struct SplitResult {
    uint32_t value;
    uint32_t control;
};

// The look-up of the split tables, for bits that start with a code.
SplitResult lookUpLitLen(const uint8_t* area, uint32_t bits) {
    uint32_t index = bits & 1023;
    const uint32_t count = area[1536 + index] & 15U;
    if (count > 10) {
        const uint32_t rest = bits >> 10 & ((1U << (count - 10)) - 1);
        uint32_t reversed = 0;
        for (uint32_t i = 0; i < 5; ++i)
            reversed |= (rest >> i & 1) << (4 - i);
        index = 1024 + 2 * area[index] + (reversed >> (15 - count));
    }
    return {area[index], area[1536 + index]};
}
SplitResult lookUpDistance(const uint8_t* area, uint32_t bits) {
    const auto value = [&](uint32_t i) {
        return static_cast<uint32_t>(area[3072 + 2 * i] | area[3073 + 2 * i] << 8);
    };
    uint32_t index = bits & 1023;
    const uint32_t count = area[5632 + index] & 15U;
    if (count > 10) {
        const uint32_t rest = bits >> 10 & ((1U << (count - 10)) - 1);
        uint32_t reversed = 0;
        for (uint32_t i = 0; i < 5; ++i)
            reversed |= (rest >> i & 1) << (4 - i);
        index = 1024 + value(index) + (reversed >> (15 - count));
    }
    return {value(index), area[5632 + index]};
}

uint32_t reversed(uint32_t code, int length) {
    uint32_t result = 0;
    for (int i = 0; i < length; ++i)
        result |= (code >> i & 1) << (length - 1 - i);
    return result;
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

// --- hostile use -----------------------------------------------------------------------------

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

}  // namespace
