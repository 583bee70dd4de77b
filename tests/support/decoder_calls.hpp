// Single calls of the deflate decoder's operations, over buffers of exact size at unreadable pages.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace support {

inline constexpr int32_t kStateSize = 112876;
inline constexpr int32_t kWindow = 32768;

class DecoderState {
  public:
    explicit DecoderState(Lz77Checksum checksum = Lz77ChecksumNone) : memory_(kStateSize) {
        EXPECT_EQ(zelsDecodeLZ77Init_8u(checksum, memory_), zelStsOk);
    }
    operator Lz77DecodeState*() { return memory_; }  // NOLINT: used as the state it is

  private:
    StateMemory<Lz77DecodeState> memory_;
};

inline Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

inline Bytes slice(const Bytes& bytes, size_t from, size_t to = SIZE_MAX) {
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

inline TypeCall getType(const Bytes& source, Lz77DecodeState* state) {
    const GuardedBuffer src(source);
    const uint8_t* next = src.data();
    auto left = static_cast<int32_t>(src.size());
    TypeCall call{zelStsError, -1, 0};
    call.status = zelsDecodeLZ77GetBlockType_8u(&next, &left, &call.type, state);
    call.consumed = static_cast<size_t>(next - src.data());
    return call;
}

inline Call expand(const std::vector<Lz77Pair>& pairs, size_t room, Lz77DecodeState* state) {
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

inline std::vector<Lz77Pair> literals(const Bytes& bytes) {
    std::vector<Lz77Pair> pairs;
    for (const uint8_t byte : bytes)
        pairs.push_back({byte, 0});
    return pairs;
}

// The last `size` bytes of the history, farthest first, by matches of one byte each.
inline Bytes history(Lz77DecodeState* state, int32_t size) {
    DecoderState copy;
    zelsDecodeLZ77CopyState_8u(state, copy);
    std::vector<Lz77Pair> pairs;
    for (int32_t i = 0; i < size; ++i)
        pairs.push_back({1, static_cast<uint16_t>(size)});
    return expand(pairs, static_cast<size_t>(size) + 300, copy).out;
}

inline Bytes tail(const Bytes& bytes, size_t size) {
    return {bytes.end() - static_cast<std::ptrdiff_t>(size), bytes.end()};
}

}  // namespace support
