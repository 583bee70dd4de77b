// LZSS: streams against an outside token reader, the decoder against a model that takes the source
// as it does, both through every way of cutting source and destination.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/guarded_buffer.hpp"
#include "support/no_memory.hpp"
#include "support/shapes.hpp"
#include "support/split_driver.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using support::GuardedBuffer;
using LzssMemory = support::StateMemory<LzssState>;

constexpr size_t kStateSize = 327724;
constexpr size_t kHistory = 32768;

struct Token {
    uint32_t distance;  // 0: a literal
    uint32_t value;     // the literal or the length
    bool operator==(const Token&) const = default;
};

// Reads tokens bit by bit until fewer bits are left than one takes.
std::vector<Token> readTokens(const Bytes& stream) {
    std::vector<Token> tokens;
    size_t at = 0;
    const size_t size = stream.size() * 8;
    const auto take = [&](int count) {
        uint32_t value = 0;
        for (; count > 0; --count, ++at)
            value = value << 1 | (stream[at / 8] >> (7 - at % 8) & 1U);
        return value;
    };
    while (at + 9 <= size) {
        if (take(1) != 0) {
            tokens.push_back({0, take(8)});
        } else if (at + 23 <= size) {
            const uint32_t distance = take(15);
            tokens.push_back({distance, take(8) + 3});
        } else {
            break;
        }
    }
    return tokens;
}

Bytes expand(const std::vector<Token>& tokens) {
    Bytes out;
    for (const Token& token : tokens) {
        if (token.distance == 0) {
            out.push_back(static_cast<uint8_t>(token.value));
            continue;
        }
        EXPECT_LE(token.distance, out.size());
        EXPECT_LT(token.distance, kHistory);
        if (token.distance > out.size()) return out;
        for (uint32_t i = 0; i < token.value; ++i)
            out.push_back(out[out.size() - token.distance]);
    }
    return out;
}

// The decoder byte by byte: refills to 24 bits, leaves the rest of a match pending.
class ModelDecoder {
  public:
    struct Outcome {
        ZelStatus status;
        size_t consumed;
        Bytes out;
        bool operator==(const Outcome&) const = default;
    };
    Outcome decode(const Bytes& src, size_t capacity) {
        const size_t begin = all_.size();
        size_t consumed = 0;
        const auto full = [&] { return all_.size() - begin == capacity; };
        while (true) {
            for (; pending_ > 0 && !full(); --pending_)
                all_.push_back(all_[all_.size() - distance_]);
            if (full()) break;
            for (; count_ < 24 && consumed < src.size(); count_ += 8)
                bits_ = bits_ << 8 | src[consumed++];
            if (count_ >= 9 && peek(1) == 1) {
                all_.push_back(static_cast<uint8_t>(peek(9)));
                count_ -= 9;
            } else if (count_ >= 24 && peek(1) == 0) {
                const auto token = static_cast<uint32_t>(peek(24));
                distance_ = token >> 8 == 0 ? kHistory : token >> 8;
                pending_ = (token & 0xFF) + 3;
                count_ -= 24;
            } else {
                break;
            }
        }
        return {full() ? zelStsDstFull : zelStsOk, consumed,
                Bytes(all_.begin() + std::ptrdiff_t(begin), all_.end())};
    }

  private:
    uint64_t peek(int count) const {
        return bits_ >> (count_ - count) & ((uint64_t{1} << count) - 1);
    }

    Bytes all_ = Bytes(kHistory, 0);
    uint64_t bits_ = 0;
    int count_ = 0;
    size_t distance_ = 0;
    size_t pending_ = 0;
};

std::ostream& operator<<(std::ostream& os, const ModelDecoder::Outcome& o) {
    return os << "status " << o.status << ", consumed " << o.consumed << ", " << o.out.size()
              << " bytes";
}

using Operation = ZelStatus(const uint8_t**, int32_t*, uint8_t**, int32_t*, LzssState*);

// Calls with an eye on the room that is left, which must stay as it was.
auto operationOn(Operation* operation, LzssState* state) {
    return [=](const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst, int32_t* pDstLen) {
        constexpr uint8_t untouched = 0xCC;
        std::fill_n(*ppDst, *pDstLen, untouched);
        const ZelStatus status = operation(ppSrc, pSrcLen, ppDst, pDstLen, state);
        EXPECT_EQ(std::count(*ppDst, *ppDst + *pDstLen, untouched), *pDstLen);
        return status;
    };
}
auto encoder(LzssState* state) {
    return operationOn(zelsEncodeLZSS_8u, state);
}
auto decoder(LzssState* state) {
    return operationOn(zelsDecodeLZSS_8u, state);
}

ModelDecoder::Outcome decodeOnce(LzssState* state, const Bytes& src, size_t capacity) {
    const GuardedBuffer in(src);
    GuardedBuffer out(capacity);
    const uint8_t* srcNext = in.data();
    auto srcLeft = static_cast<int32_t>(in.size());
    uint8_t* dstNext = out.data();
    auto room = static_cast<int32_t>(capacity);
    const ZelStatus status = decoder(state)(&srcNext, &srcLeft, &dstNext, &room);
    EXPECT_EQ(size_t(srcNext - in.data()) + size_t(srcLeft), in.size());
    EXPECT_EQ(size_t(dstNext - out.data()) + size_t(room), capacity);
    return {status, size_t(srcNext - in.data()), Bytes(out.data(), dstNext)};
}

Bytes flush(LzssState* state, const support::PieceSize& piece) {
    Bytes all;
    for (ZelStatus status = zelStsDstFull; status == zelStsDstFull;) {
        GuardedBuffer out(std::max<size_t>(piece(), 1));
        uint8_t* next = out.data();
        auto room = static_cast<int32_t>(out.size());
        status = zelsEncodeLZSSFlush_8u(&next, &room, state);
        EXPECT_EQ(size_t(next - out.data()) + size_t(room), out.size());
        EXPECT_TRUE(status == zelStsOk || (status == zelStsDstFull && room == 0));
        all.insert(all.end(), out.data(), next);
    }
    return all;
}

// Each piece of `cuts` (the rest last) in calls of its own, its output in pieces of `dstPiece`.
Bytes encodeStream(LzssState* state, const Bytes& src, const std::vector<size_t>& cuts,
                   const support::PieceSize& dstPiece) {
    Bytes stream;
    size_t at = 0;
    for (size_t i = 0; i <= cuts.size() && at < src.size(); ++i) {
        const size_t size = std::min(i < cuts.size() ? cuts[i] : src.size(), src.size() - at);
        const Bytes piece(src.begin() + std::ptrdiff_t(at),
                          src.begin() + std::ptrdiff_t(at + size));
        const auto driven =
            support::drive(piece, support::pieces(size), dstPiece, encoder(state),
                           [](ZelStatus status, bool left) {
                               EXPECT_TRUE(status == zelStsOk || status == zelStsDstFull);
                               EXPECT_FALSE(status == zelStsOk && left);
                               return !left;
                           });
        EXPECT_FALSE(driven.stalled);
        stream.insert(stream.end(), driven.out.begin(), driven.out.end());
        at += size;
    }
    const Bytes rest = flush(state, dstPiece);
    stream.insert(stream.end(), rest.begin(), rest.end());
    return stream;
}

Bytes encodeWhole(const Bytes& src) {
    LzssMemory state(kStateSize);
    EXPECT_EQ(zelsEncodeLZSSInit_8u(state), zelStsOk);
    return encodeStream(state, src, {}, support::pieces(src.size() * 2 + 8));
}

TEST(Lzss, KnownParses) {
    using Tokens = std::vector<Token>;
    const auto parse = [](const Bytes& src) {
        const Bytes stream = encodeWhole(src);
        const Tokens tokens = readTokens(stream);
        size_t bits = 0;
        for (const Token& token : tokens)
            bits += token.distance == 0 ? 9 : 24;
        EXPECT_EQ(stream.size(), (bits + 7) / 8);
        return tokens;
    };
    EXPECT_EQ(encodeWhole(Bytes(4, 'a')), Bytes({0xB0, 0xD8, 0x6C, 0x36, 0x10}));
    EXPECT_EQ(parse(Bytes(300, 'x')), (Tokens{{0, 'x'}, {1, 258}, {1, 39}, {0, 'x'}, {0, 'x'}}));
    EXPECT_EQ(parse(Bytes(6, 'x')), (Tokens{{0, 'x'}, {1, 3}, {0, 'x'}, {0, 'x'}}));
    EXPECT_EQ(parse(Bytes(5, 'x')), Tokens(5, {0, 'x'}));

    // A match may reach 32767 back, not 32768.
    for (const size_t distance : {size_t{32767}, size_t{32768}}) {
        Bytes src(distance + 8, 0);
        support::Random random(3);
        for (auto& b : src)
            b = static_cast<uint8_t>(random.below(200));
        for (const size_t at : {size_t{0}, distance})
            std::fill_n(src.begin() + std::ptrdiff_t(at), 4, 250);
        src[1] = src[distance + 1] = 251;
        const Tokens tokens = parse(src);
        EXPECT_EQ(std::ranges::count(tokens, 32767U, &Token::distance), distance == 32767 ? 1 : 0);
        EXPECT_EQ(expand(tokens), src);
    }
}

TEST(Lzss, StreamsAreRightAndSmall) {
    for (const auto& shape : support::shapes(200000)) {
        const Bytes stream = encodeWhole(shape.bytes);
        ASSERT_EQ(expand(readTokens(stream)), shape.bytes) << shape.name;
        const size_t limit = shape.name == "text"       ? shape.bytes.size() * 7 / 10
                             : shape.name == "zeros"    ? shape.bytes.size() / 80
                             : shape.name == "periodic" ? shape.bytes.size() / 80
                                                        : shape.bytes.size() * 9 / 8 + 1;
        EXPECT_LE(stream.size(), limit) << shape.name;
        LzssMemory state(kStateSize);
        ASSERT_EQ(zelsDecodeLZSSInit_8u(state), zelStsOk);
        const auto decoded = decodeOnce(state, stream, shape.bytes.size() + 1);
        EXPECT_EQ(decoded.status, zelStsOk);
        EXPECT_EQ(decoded.consumed, stream.size());
        ASSERT_EQ(decoded.out, shape.bytes) << shape.name;
    }
}

// The same stream for every cut of the destination; for every cut of the source one that is right.
TEST(Lzss, EncoderCuts) {
    for (const auto& shape : support::shapes(400)) {
        const std::vector<std::vector<size_t>> sourceCuts = {
            {}, {1, 1, 1, 2, 3}, {150, 5, 0, 100}, {399}, std::vector<size_t>(130, 3)};
        for (const auto& cuts : sourceCuts) {
            LzssMemory state(kStateSize);
            zelsEncodeLZSSInit_8u(state);
            const Bytes whole = encodeStream(state, shape.bytes, cuts, support::pieces(4000));
            ASSERT_EQ(expand(readTokens(whole)), shape.bytes) << shape.name;
            for (const size_t piece : {1U, 2U, 3U, 4U, 5U, 9U}) {
                zelsEncodeLZSSInit_8u(state);
                ASSERT_EQ(encodeStream(state, shape.bytes, cuts, support::pieces(piece)), whole)
                    << shape.name << " by " << piece;
            }
            zelsEncodeLZSSInit_8u(state);
            ASSERT_EQ(encodeStream(state, shape.bytes, cuts, support::randomPieces(cuts.size(), 9)),
                      whole)
                << shape.name;
        }
    }
}

TEST(Lzss, EncoderStatuses) {
    LzssMemory state(kStateSize);
    zelsEncodeLZSSInit_8u(state);
    uint8_t fresh = 0;  // no byte comes twice: all are literals
    const auto call = [&](size_t size, size_t capacity) {
        Bytes src(size + 1);
        for (size_t i = 0; i < size; ++i)
            src[i] = fresh++;
        const uint8_t* srcNext = src.data();
        auto srcLeft = static_cast<int32_t>(size);
        Bytes out(capacity + 1);
        uint8_t* dstNext = out.data();
        auto room = static_cast<int32_t>(capacity);
        const ZelStatus status = zelsEncodeLZSS_8u(&srcNext, &srcLeft, &dstNext, &room, state);
        return std::vector<int>{status, static_cast<int>(srcNext - src.data()),
                                static_cast<int>(dstNext - out.data())};
    };
    // Eight literals make nine bytes.
    EXPECT_EQ(call(8, 9), (std::vector<int>{zelStsOk, 8, 9}));
    // One bit short of another byte: all out, exactly full.
    EXPECT_EQ(call(7, 7), (std::vector<int>{zelStsOk, 7, 7}));
    // The last literal completes two bytes; only one has room.
    EXPECT_EQ(call(1, 1), (std::vector<int>{zelStsDstFull, 1, 1}));
    EXPECT_EQ(call(0, 1), (std::vector<int>{zelStsOk, 0, 0}));
    EXPECT_EQ(call(0, 0), (std::vector<int>{zelStsDstFull, 0, 0}));
    EXPECT_EQ(flush(state, support::pieces(1)).size(), 1U);
    // A complete flush can be repeated, an incomplete one goes on.
    zelsEncodeLZSSInit_8u(state);
    EXPECT_EQ(call(2, 1), (std::vector<int>{zelStsDstFull, 1, 1}));
    EXPECT_EQ(call(1, 1), (std::vector<int>{zelStsOk, 1, 1}));
    EXPECT_EQ(flush(state, support::pieces(4)), flush(state, support::pieces(4)));
}

TEST(Lzss, DecoderCuts) {
    for (const auto& shape : support::shapes(400)) {
        const Bytes stream = encodeWhole(shape.bytes);
        LzssMemory state(kStateSize);
        for (const size_t srcPiece : {1U, 2U, 3U, 40U, 2000U}) {
            for (const size_t dstPiece : {1U, 2U, 7U, 100U, 300U, 399U, 400U, 2000U}) {
                zelsDecodeLZSSInit_8u(state);
                const auto driven = support::drive(
                    stream, support::pieces(srcPiece), support::pieces(dstPiece), decoder(state),
                    [](ZelStatus status, bool left) { return status == zelStsOk && !left; });
                ASSERT_EQ(driven.out, shape.bytes) << shape.name;
                ASSERT_FALSE(driven.stalled);
            }
        }
    }
}

// Foreign bytes: distances of 0 and before the start among them. Statuses and counts of each call,
// long enough to carry the window around several times.
TEST(Lzss, DecoderStepByStep) {
    support::Random random(17);
    for (int round = 0; round < 40; ++round) {
        LzssMemory state(kStateSize,
                         round % 2 == 0 ? LzssMemory::Place::odd : LzssMemory::Place::endsAtPage);
        zelsDecodeLZSSInit_8u(state);
        ModelDecoder model;
        for (int call = 0; call < 40; ++call) {
            Bytes src = support::randomBytes(random.sizeBelow(900), random.next());
            // More matches, near ones, or none.
            const uint32_t kind = random.below(4);
            for (auto& b : src) {
                if (kind == 0) b &= 0x55;
                if (kind == 1) b &= 0x03;
                if (kind == 2) b |= 0xC1;
            }
            const size_t capacity = 1 + random.sizeBelow(call % 3 == 0 ? 40000 : 900);
            ASSERT_EQ(decodeOnce(state, src, capacity), model.decode(src, capacity))
                << round << ", " << call;
        }
    }
}

// Hundreds of kilobytes from one call, most of them from long matches: at any distance, near and
// overlapping ones in every other, at each position in a byte.
TEST(Lzss, DecoderOfLongMatches) {
    support::Random random(23);
    for (uint32_t literals = 0; literals < 8; ++literals) {
        Bytes src = support::randomBytes(7000, literals);
        for (uint32_t i = 0; i < literals; ++i)
            src[i] |= 0x80U >> i;
        for (size_t i = literals; i < src.size(); i += 3)
            src[i] &= static_cast<uint8_t>(~((i % 2 == 0 ? 0xFFU : 0x80U) >> literals));
        for (int ends = 0; ends < 6; ++ends) {
            LzssMemory state(kStateSize);
            zelsDecodeLZSSInit_8u(state);
            ModelDecoder model;
            const size_t capacity = ends == 0 ? 1000000 : 140000 + random.below(100000);
            ASSERT_EQ(decodeOnce(state, src, capacity), model.decode(src, capacity))
                << literals << ", " << capacity;
            ASSERT_EQ(decodeOnce(state, {}, 700), model.decode({}, 700));
        }
    }
}

TEST(Lzss, ArgumentsAreTestedInOrder) {
    LzssMemory memory(kStateSize);
    LzssState* const state = memory;
    zelsEncodeLZSSInit_8u(state);
    int32_t size = 0;
    EXPECT_EQ(zelsLZSSGetSize_8u(nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsLZSSGetSize_8u(&size), zelStsOk);
    EXPECT_EQ(size, 327724);
    EXPECT_EQ(zelsEncodeLZSSInit_8u(nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeLZSSInit_8u(nullptr), zelStsNullPointer);

    uint8_t buffer[8] = {};
    const uint8_t* src = buffer;
    const uint8_t* nullSrc = nullptr;
    uint8_t* dst = buffer;
    uint8_t* nullDst = nullptr;
    int32_t n = 8;
    int32_t zero = 0;
    int32_t negative = -1;
    const auto encode = zelsEncodeLZSS_8u;
    EXPECT_EQ(encode(nullptr, &negative, &dst, &negative, state), zelStsNullPointer);
    EXPECT_EQ(encode(&src, nullptr, &dst, &negative, state), zelStsNullPointer);
    EXPECT_EQ(encode(&src, &negative, nullptr, &negative, state), zelStsNullPointer);
    EXPECT_EQ(encode(&src, &negative, &dst, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(encode(&src, &negative, &dst, &negative, nullptr), zelStsNullPointer);
    EXPECT_EQ(encode(&nullSrc, &n, &dst, &n, state), zelStsNullPointer);
    EXPECT_EQ(encode(&src, &n, &nullDst, &n, state), zelStsNullPointer);
    EXPECT_EQ(encode(&src, &negative, &dst, &zero, state), zelStsBadSize);
    EXPECT_EQ(encode(&src, &zero, &dst, &negative, state), zelStsBadSize);
    EXPECT_EQ(encode(&nullSrc, &zero, &nullDst, &zero, state), zelStsDstFull);
    EXPECT_EQ(encode(&nullSrc, &zero, &nullDst, &n, state), zelStsOk);

    EXPECT_EQ(zelsEncodeLZSSFlush_8u(nullptr, &zero, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZSSFlush_8u(&dst, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZSSFlush_8u(&dst, &zero, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZSSFlush_8u(&nullDst, &zero, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeLZSSFlush_8u(&dst, &zero, state), zelStsBadSize);
    EXPECT_EQ(zelsEncodeLZSSFlush_8u(&dst, &n, state), zelStsOk);

    // The room comes before everything else here.
    zelsDecodeLZSSInit_8u(state);
    const auto decode = zelsDecodeLZSS_8u;
    EXPECT_EQ(decode(nullptr, nullptr, nullptr, &zero, nullptr), zelStsBadSize);
    EXPECT_EQ(decode(nullptr, nullptr, nullptr, &negative, nullptr), zelStsBadSize);
    EXPECT_EQ(decode(nullptr, &negative, &dst, &n, state), zelStsNullPointer);
    EXPECT_EQ(decode(&src, &negative, nullptr, &n, state), zelStsNullPointer);
    EXPECT_EQ(decode(&src, &negative, &dst, &n, nullptr), zelStsNullPointer);
    EXPECT_EQ(decode(&nullSrc, &n, &dst, &n, state), zelStsNullPointer);
    EXPECT_EQ(decode(&src, &n, &nullDst, &n, state), zelStsNullPointer);
    EXPECT_EQ(decode(&src, &negative, &dst, &n, state), zelStsBadSize);
    EXPECT_EQ(decode(&nullSrc, &zero, &dst, &n, state), zelStsOk);
    EXPECT_EQ(n, 8);
    EXPECT_EQ(src, buffer);
    EXPECT_EQ(dst, buffer);
}

TEST(Lzss, InitAlloc) {
    for (auto* operation : {zelsEncodeLZSSInitAlloc_8u, zelsDecodeLZSSInitAlloc_8u}) {
        LzssState* state = nullptr;
        EXPECT_EQ(operation(nullptr), zelStsNullPointer);
        EXPECT_EQ(operation(&state), zelStsOk);
        ASSERT_NE(state, nullptr);
        zelsLZSSFree_8u(state);
        const support::NoMemory noMemory;
        LzssState* const before = state;
        EXPECT_EQ(operation(&state), zelStsNoMemory);
        EXPECT_EQ(state, before);
    }
    zelsLZSSFree_8u(nullptr);
}

TEST(Lzss, SlowCopyRepeatsWhatOverlaps) {
    for (const int32_t length : {-1, 0, 1, 2, 15, 30, 31, 32, 33, 64, 100}) {
        for (int32_t distance = -120; distance <= 120; ++distance) {
            GuardedBuffer area(support::randomBytes(220, 5));
            Bytes expected = area.content();
            // The destination ends at the unreadable page, or the source does.
            const int32_t reach = std::max(length, 0) + std::max(-distance, 0);
            const auto to = static_cast<size_t>(220 - reach);
            const auto from = static_cast<size_t>(static_cast<int32_t>(to) - distance);
            if (static_cast<int32_t>(to) - distance < 0) continue;
            for (int32_t i = 0; i < length; ++i)
                expected[to + size_t(i)] = expected[from + size_t(i)];
            EXPECT_EQ(D_COPY_SLOW(area.data() + from, area.data() + to, length), zelStsOk);
            ASSERT_EQ(area.content(), expected) << length << " at " << distance;
        }
    }
}

}  // namespace
