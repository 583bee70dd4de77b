#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"

#include "zeldc.h"

// In the record's own namespace, where the standard algorithms look.
bool operator==(const Lz77Pair& a, const Lz77Pair& b) {
    return a.length == b.length && a.distance == b.distance;
}

namespace {

using support::Bytes;
using support::GuardedBuffer;
using support::pieces;
using support::PieceSize;
using support::Random;
using support::randomPieces;
using Pairs = std::vector<Lz77Pair>;

constexpr int32_t kStateSize = 598928;
constexpr Lz77Level kLevels[] = {Lz77LevelFast, Lz77LevelNormal, Lz77LevelBest};

Lz77Pair literal(uint8_t byte) {
    return {byte, 0};
}

// A state at an odd address, with the operations as methods.
class Encoder {
  public:
    explicit Encoder(Lz77Level level = Lz77LevelNormal, Lz77Checksum checksum = Lz77ChecksumNone)
        : memory_(kStateSize) {
        EXPECT_EQ(zelsEncodeLZ77Init_8u(level, checksum, memory_), zelStsOk);
    }
    Lz77EncodeState* state() { return memory_; }
    void begin() { zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, memory_); }

    struct Parsed {
        Pairs pairs;
        ZelStatus status;
        int32_t consumed;
    };
    // One generator call from a buffer that ends at an unreadable page.
    Parsed parse(const Bytes& src, Lz77Flush flush = Lz77FlushNone, int32_t room = 1 << 20) {
        const GuardedBuffer in(src);
        Parsed result{Pairs(static_cast<size_t>(std::min(room, static_cast<int32_t>(src.size())))),
                      0, 0};
        const uint8_t* srcNext = in.data();
        auto srcLeft = static_cast<int32_t>(src.size());
        auto* next = result.pairs.data();
        auto left = static_cast<int32_t>(result.pairs.size());
        result.status = zelsEncodeLZ77_8u(&srcNext, &srcLeft, &next, &left, flush, memory_);
        EXPECT_EQ(next + left, result.pairs.data() + result.pairs.size());
        result.pairs.resize(static_cast<size_t>(next - result.pairs.data()));
        result.consumed = static_cast<int32_t>(srcNext - in.data());
        EXPECT_EQ(result.consumed + srcLeft, static_cast<int32_t>(src.size()));
        return result;
    }

    Lz77HuffMode select(const Pairs& pairs) {
        static const Lz77Pair none{};
        Lz77HuffMode mode = -1;
        EXPECT_EQ(
            zelsEncodeLZ77SelectHuffMode_8u(pairs.empty() ? &none : pairs.data(),
                                            static_cast<int32_t>(pairs.size()), &mode, memory_),
            zelStsOk);
        return mode;
    }

  private:
    support::StateMemory<Lz77EncodeState> memory_;
};

using PairCoder = decltype(&zelsEncodeLZ77FixedHuff_8u);
constexpr PairCoder kPairCoders[] = {zelsEncodeLZ77FixedHuff_8u, zelsEncodeLZ77DynamicHuff_8u};

// Calls a resumable coder over `src` until it says something other than DstFull, appending to out.
template <class Element, class Coder>
ZelStatus runCoder(Coder coder, const std::vector<Element>& src, const PieceSize& room,
                   Lz77Flush flush, Lz77EncodeState* state, Bytes& out) {
    static const Element none{};
    const Element* next = src.empty() ? &none : src.data();
    auto left = static_cast<int32_t>(src.size());
    for (int idle = 0; idle < 100; ++idle) {
        GuardedBuffer dst(room());
        uint8_t* dstNext = dst.data();
        auto dstLeft = static_cast<int32_t>(dst.size());
        const ZelStatus status = coder(&next, &left, &dstNext, &dstLeft, flush, state);
        EXPECT_EQ(dstNext + dstLeft, dst.end());
        if (dstNext != dst.data()) idle = 0;
        out.insert(out.end(), dst.data(), dstNext);
        if (status != zelStsDstFull) {
            EXPECT_EQ(left, 0);
            return status;
        }
    }
    return -1000;
}

ZelStatus runTrailer(const PieceSize& room, Lz77EncodeState* state, Bytes& out) {
    for (int i = 0; i < 1000; ++i) {
        GuardedBuffer dst(room());
        uint8_t* dstNext = dst.data();
        auto dstLeft = static_cast<int32_t>(dst.size());
        const ZelStatus status = zelsEncodeLZ77Flush_8u(&dstNext, &dstLeft, state);
        out.insert(out.end(), dst.data(), dstNext);
        if (status != zelStsDstFull) return status;
    }
    return -1000;
}

// Whole streams.

enum class Block { fixed, dynamic, selected, stored };

struct Plan {
    Lz77Level level = Lz77LevelNormal;
    Lz77Checksum checksum = Lz77ChecksumCrc32;
    std::vector<Block> blocks{Block::dynamic};      // in turn
    std::vector<Lz77Flush> flushes{Lz77FlushNone};  // in turn, one a chunk
    size_t chunk = 40000;
    int32_t pairRoom = 65280;
    PieceSize room = pieces(1 << 20);
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

struct Inflated {
    Bytes bytes;
    bool ended = false;
    size_t consumed = 0;
};

Inflated inflateRaw(const Bytes& stream, size_t expected) {
    Inflated result;
    result.bytes.resize(expected + 64);
    z_stream z{};
    inflateInit2(&z, -15);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = static_cast<uInt>(stream.size());
    z.next_out = result.bytes.data();
    z.avail_out = static_cast<uInt>(result.bytes.size());
    result.ended = inflate(&z, Z_SYNC_FLUSH) == Z_STREAM_END;
    result.bytes.resize(z.total_out);
    result.consumed = z.total_in;
    inflateEnd(&z);
    return result;
}

uint32_t littleEndian(const Bytes& bytes, size_t at) {
    return static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
           static_cast<uint32_t>(bytes[at + 2]) << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
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

// ---------------------------------------------------------------------------------------------
// The generator against a plain model of its rules.

constexpr uint32_t kRows[3][4] = {
    {18845, 15810, 11527, 28763}, {23403, 25964, 7330, 5756}, {23616, 7640, 29028, 30668}};

// Keeps all bytes since the counter's last restart; positions index them.
class Model {
  public:
    explicit Model(Lz77Level level) : level_(level), head_(32768, -32768), chain_(32768, -32768) {}

    Pairs parse(const Bytes& src, Lz77Flush flush, size_t room, size_t& consumed) {
        anyDistance_ = flush == Lz77FlushFull || lastFlush_ == Lz77FlushFull;
        lastFlush_ = flush;
        const auto first = static_cast<int32_t>(text_.size());
        text_.insert(text_.end(), src.begin(), src.end());
        end_ = static_cast<int32_t>(text_.size());
        pairs_.clear();
        room_ = room;
        int32_t p = first;
        if (level_ == Lz77LevelFast) p = fast(p);
        if (level_ == Lz77LevelNormal) p = normal(p);
        if (level_ == Lz77LevelBest) p = best(p);
        for (; p < end_ && pairs_.size() < room_; ++p)
            pairs_.push_back(literal(at(p)));
        consumed = static_cast<size_t>(p - first);
        text_.resize(flush == Lz77FlushFull ? 0 : static_cast<size_t>(p));
        return pairs_;
    }

  private:
    struct Found {
        int32_t length;
        int32_t position;
    };

    uint8_t at(int32_t p) const { return text_[static_cast<size_t>(p)]; }
    int32_t& head(uint32_t hash) { return head_[hash]; }
    int32_t& chain(int32_t p) { return chain_[static_cast<size_t>(p) % 32768]; }
    bool admissible(int32_t p, int32_t q) const {
        return anyDistance_ ? q >= 1 && q < p : q < p && p - q < 32768;
    }
    uint32_t tabulation(int32_t p) const {
        return kRows[0][at(p)] ^ kRows[1][at(p + 1)] ^ kRows[2][at(p + 2)];
    }
    uint32_t shifts(int32_t p) const {
        return (static_cast<uint32_t>(at(p)) << 10 ^ static_cast<uint32_t>(at(p + 1)) << 5 ^
                at(p + 2)) &
               0x7FFF;
    }
    int32_t equalBytes(int32_t q, int32_t p, int32_t limit) const {
        int32_t n = 0;
        while (n < limit && at(q + n) == at(p + n))
            ++n;
        return n;
    }
    int32_t insert(int32_t p) {
        const int32_t q = head(tabulation(p));
        chain(p) = q;
        head(tabulation(p)) = p;
        return q;
    }
    Found search(int32_t p, int32_t q, int32_t limit, int32_t candidates) {
        Found best{2, q};
        if (limit < 3) return best;
        for (; candidates > 0 && admissible(p, q); --candidates, q = chain(q)) {
            const int32_t length = equalBytes(q, p, limit);
            if (length > best.length) best = {length, q};
            if (best.length == limit) break;
        }
        return best;
    }
    void put(int32_t length, int32_t distance) {
        pairs_.push_back({static_cast<uint16_t>(length), static_cast<uint16_t>(distance)});
    }

    int32_t fast(int32_t p) {
        while (p < end_ - 2 && pairs_.size() < room_) {
            const int32_t q = head(shifts(p));
            head(shifts(p)) = p;
            const int32_t length =
                admissible(p, q) ? equalBytes(q, p, std::min(end_ - p - 2, 258)) : 0;
            if (length < 3) {
                put(at(p++), 0);
                continue;
            }
            put(length, p - q);
            for (int32_t r = p + 1; r < p + length; ++r)
                head(shifts(r)) = r;
            p += length;
        }
        return p;
    }
    int32_t normal(int32_t p) {
        while (p < end_ - 2 && pairs_.size() < room_) {
            const Found found = search(p, insert(p), std::min(end_ - p - 2, 258), 16);
            if (found.length < 3) {
                put(at(p++), 0);
                continue;
            }
            put(found.length, p - found.position);
            for (int32_t r = p + 1; r < p + found.length; ++r)
                insert(r);
            p += found.length;
        }
        return p;
    }
    int32_t best(int32_t p) {
        bool carried = false;
        Found one{};
        while (p < end_ - 3 && pairs_.size() < room_) {
            const int32_t q = insert(p);
            if (!carried) one = search(p, q, std::min(end_ - 3 - p, 258), 512);
            const Found two =
                search(p + 1, head(tabulation(p + 1)), std::min(end_ - 3 - (p + 1), 258), 512);
            const int32_t distance = p - one.position;
            if (one.length < two.length ||
                !(one.length > 3 || (one.length == 3 && distance <= 4096))) {
                put(at(p++), 0);
                one = two;
                carried = true;
                continue;
            }
            put(one.length, distance);
            for (int32_t r = p + 1; r < p + one.length; ++r)
                insert(r);
            p += one.length;
            carried = false;
        }
        return p;
    }

    Lz77Level level_;
    std::vector<int32_t> head_;
    std::vector<int32_t> chain_;
    Bytes text_;
    Pairs pairs_;
    size_t room_ = 0;
    int32_t end_ = 0;
    bool anyDistance_ = false;
    Lz77Flush lastFlush_ = Lz77FlushNone;
};

// Bytes 0 to 3 with repeats at all distances: their hashes are fixed by the rows' known entries.
Bytes quaternary(size_t size, uint64_t seed) {
    Random random(seed);
    Bytes bytes;
    while (bytes.size() < size) {
        if (bytes.size() > 10 && random.below(2) == 0) {
            const size_t back = 1 + random.sizeBelow(static_cast<uint32_t>(bytes.size()));
            for (uint32_t n = 3 + random.sizeBelow(300); n > 0; --n)
                bytes.push_back(bytes[bytes.size() - back]);
        } else {
            for (uint32_t n = random.below(40); n > 0; --n)
                bytes.push_back(static_cast<uint8_t>(random.below(4)));
        }
    }
    bytes.resize(size);
    return bytes;
}

struct ModelCase {
    const char* name;
    size_t call;     // longest call
    int32_t room;    // longest pair buffer
    bool fullFlush;  // now and then, where the counter is 0
};

TEST(DeflateEncode, PairStreamsAreExact) {
    const ModelCase cases[] = {
        {"one call", 1 << 20, 1 << 20, false},
        {"short calls", 700, 1 << 20, false},
        {"tiny calls", 7, 3, false},
        {"around the window", 34000, 1 << 20, false},
        {"one pair a call", 300, 1, false},
        {"full flushes", 900, 1 << 20, true},
        {"long full flushes", 70000, 1 << 20, true},
    };
    for (const Lz77Level level : kLevels) {
        for (const ModelCase& c : cases) {
            SCOPED_TRACE(testing::Message() << "level " << level << ", " << c.name);
            const size_t size = c.call < 1000 ? 60000 : 180000;
            const Bytes src = quaternary(size, 11 + static_cast<uint64_t>(level));
            Random random(c.call + static_cast<size_t>(c.room));
            Encoder encoder(level);
            Model model(level);
            bool counterAtZero = true;
            for (size_t at = 0; at < src.size();) {
                const size_t give = std::min<size_t>(
                    1 + random.below(static_cast<uint32_t>(c.call)), src.size() - at);
                const Bytes chunk(src.begin() + static_cast<std::ptrdiff_t>(at),
                                  src.begin() + static_cast<std::ptrdiff_t>(at + give));
                const bool full = c.fullFlush && counterAtZero && random.below(3) != 0;
                const Lz77Flush flush = full ? Lz77FlushFull : Lz77FlushNone;
                size_t expectedConsumed = 0;
                const size_t room = std::min<size_t>(give, static_cast<size_t>(c.room));
                const Pairs expected = model.parse(chunk, flush, room, expectedConsumed);
                const auto got = encoder.parse(chunk, flush, c.room);
                ASSERT_EQ(static_cast<size_t>(got.consumed), expectedConsumed) << at;
                ASSERT_TRUE(got.pairs == expected) << at;
                ASSERT_EQ(got.status, expectedConsumed < give ? zelStsDstFull : zelStsOk);
                counterAtZero = full;
                at += expectedConsumed;
                // Start over now and then, so that full flushes come again.
                if (c.fullFlush && random.below(8) == 0) {
                    zelsEncodeLZ77Reset_8u(encoder.state());
                    model = Model(level);
                    counterAtZero = true;
                }
            }
        }
    }
}

TEST(DeflateEncode, FastPairsAreExactOnEveryShape) {
    for (const auto& shape : support::shapes(150000, 5)) {
        SCOPED_TRACE(shape.name);
        Encoder encoder(Lz77LevelFast);
        Model model(Lz77LevelFast);
        for (size_t at = 0; at < shape.bytes.size(); at += 50000) {
            const Bytes chunk(shape.bytes.begin() + static_cast<std::ptrdiff_t>(at),
                              shape.bytes.begin() + static_cast<std::ptrdiff_t>(at + 50000));
            size_t consumed = 0;
            const Pairs expected = model.parse(chunk, Lz77FlushNone, chunk.size(), consumed);
            ASSERT_TRUE(encoder.parse(chunk).pairs == expected);
        }
    }
}

// A late full flush: history and all distances serve, the accounting uses the end position.
TEST(DeflateEncode, LateFullFlushCountsItsEndPosition) {
    for (const Lz77Level level : kLevels) {
        SCOPED_TRACE(level);
        const Bytes src = quaternary(3000, 9);
        Encoder encoder(level, Lz77ChecksumCrc32);
        Model model(level);
        size_t consumed = 0;
        const Bytes before(src.begin(), src.begin() + 1000);
        EXPECT_TRUE(encoder.parse(before).pairs ==
                    model.parse(before, Lz77FlushNone, 1000, consumed));
        const Bytes late(src.begin() + 1000, src.begin() + 1500);
        const Pairs expected = model.parse(late, Lz77FlushFull, 500, consumed);

        const uint8_t* next = src.data() + 1000;
        int32_t left = 500;
        Pairs pairs(500);
        auto* pairNext = pairs.data();
        int32_t pairLeft = 500;
        EXPECT_EQ(
            zelsEncodeLZ77_8u(&next, &left, &pairNext, &pairLeft, Lz77FlushFull, encoder.state()),
            zelStsOk);
        EXPECT_EQ(next, src.data() + 2500);
        EXPECT_EQ(left, -1000);
        pairs.resize(static_cast<size_t>(pairNext - pairs.data()));
        EXPECT_TRUE(pairs == expected);

        zelsEncodeLZ77SetStatus_8u(Lz77StatusFinal, encoder.state());
        Bytes trailer;
        EXPECT_EQ(runTrailer(pieces(8), encoder.state(), trailer), zelStsOk);
        EXPECT_EQ(littleEndian(trailer, 0),
                  crc32(crc32(0, src.data(), 1000), src.data() + 1000, 1500));
        EXPECT_EQ(littleEndian(trailer, 4), 0U);
    }
}

Bytes expand(const Pairs& pairs, Bytes history) {
    for (const Lz77Pair pair : pairs) {
        if (pair.distance == 0) {
            history.push_back(static_cast<uint8_t>(pair.length));
            continue;
        }
        if (pair.distance > history.size()) return {};
        for (int i = 0; i < pair.length; ++i)
            history.push_back(history[history.size() - pair.distance]);
    }
    return history;
}

TEST(DeflateEncode, PairsExpandToTheSourceAndObeyTheirLevel) {
    for (const auto& shape : support::shapes(120000, 3)) {
        for (const Lz77Level level : kLevels) {
            SCOPED_TRACE(shape.name + " at level " + std::to_string(level));
            Encoder encoder(level);
            Random random(7);
            Bytes expanded;
            for (size_t at = 0; at < shape.bytes.size();) {
                const size_t give =
                    std::min<size_t>(1 + random.sizeBelow(70000), shape.bytes.size() - at);
                const auto parsed =
                    encoder.parse({shape.bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                   shape.bytes.begin() + static_cast<std::ptrdiff_t>(at + give)});
                ASSERT_EQ(parsed.status, zelStsOk);
                const size_t tail = level == Lz77LevelBest ? 3 : 2;
                for (size_t i = 1; i <= std::min(tail, parsed.pairs.size()); ++i)
                    ASSERT_EQ(parsed.pairs[parsed.pairs.size() - i].distance, 0);
                for (const Lz77Pair pair : parsed.pairs) {
                    if (pair.distance == 0) {
                        ASSERT_LE(pair.length, 255);
                        continue;
                    }
                    ASSERT_GE(pair.length, 3);
                    ASSERT_LE(pair.length, 258);
                    ASSERT_LE(pair.distance, 32767);
                    if (level == Lz77LevelBest && pair.length == 3) {
                        ASSERT_LE(pair.distance, 4096);
                    }
                }
                expanded = expand(parsed.pairs, std::move(expanded));
                at += give;
                ASSERT_EQ(expanded.size(), at);
            }
            EXPECT_TRUE(expanded == shape.bytes);
        }
    }
}

TEST(DeflateEncode, KnownParses) {
    for (const Lz77Level level : kLevels) {
        Encoder encoder(level);
        const Bytes shortSource(level == Lz77LevelBest ? 3 : 2, 'x');
        EXPECT_TRUE(encoder.parse(shortSource).pairs == Pairs(shortSource.size(), literal('x')));
    }
    Encoder normal(Lz77LevelNormal);
    const Lz77Pair a = literal('a');
    EXPECT_TRUE(normal.parse(Bytes(300, 'a')).pairs == (Pairs{a, {258, 1}, {39, 1}, a, a}));

    // Level 7 is the normal one.
    Encoder seven(7);
    EXPECT_TRUE(seven.parse(Bytes(300, 'a')).pairs == (Pairs{a, {258, 1}, {39, 1}, a, a}));

    // Three bytes pay at 4096 and not beyond, at the best level.
    for (const size_t distance : {4096U, 4097U}) {
        Bytes src = support::randomBytes(distance + 20, 77);
        for (uint8_t& b : src)
            b |= 0x80;
        std::memcpy(src.data(), "abc", 3);
        std::memcpy(src.data() + distance, "abc", 3);
        const Pairs pairs = Encoder(Lz77LevelBest).parse(src).pairs;
        const bool found = std::any_of(pairs.begin(), pairs.end(), [=](const Lz77Pair& pair) {
            return pair == Lz77Pair{3, static_cast<uint16_t>(distance)};
        });
        EXPECT_EQ(found, distance == 4096);
    }

    // Lazy: "bcde" at the next position beats "abc".
    const char* text = "abcX....bcdeY..abcde......";
    const Bytes lazy(text, text + std::strlen(text));
    const Pairs pairs = Encoder(Lz77LevelBest).parse(lazy).pairs;
    const auto it = std::find(pairs.begin(), pairs.end(), Lz77Pair{4, 8});
    ASSERT_NE(it, pairs.end());
    EXPECT_TRUE(it[-1] == literal('a'));
}

// ---------------------------------------------------------------------------------------------
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
    const Bytes src = support::randomBytes(100, 1);
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
    const Bytes src = support::textLike(90000, 4);
    for (const Lz77Level level : kLevels) {
        Plan plan;
        plan.level = level;
        const Bytes fresh = encode(src, plan);
        Encoder encoder(level, Lz77ChecksumCrc32);
        // Leave everything that can be left unfinished.
        encoder.parse(support::randomBytes(50000, 2), Lz77FlushFull, 100);
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

// ---------------------------------------------------------------------------------------------
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
    const Bytes start = support::randomBytes(32768, 8);
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
    EXPECT_EQ(
        runCoder(kPairCoders[1], pairs, pieces(1 << 20), Lz77FlushFinal, encoder.state(), out),
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

// Selection counts distance codes among the literal/length symbols, which shows in the code; counts
// are used for one block and dropped by every other kind of block.
TEST(DeflateEncode, SelectionCountsBelongToOneBlock) {
    const Bytes src = support::textLike(5000, 6);
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
        const Bytes src = support::randomBytes(static_cast<size_t>(size), 3);
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
    const Bytes src = support::textLike(3000, 8);
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

// ---------------------------------------------------------------------------------------------
// Whole streams, however they are cut.

TEST(DeflateEncode, StreamsDecode) {
    const std::vector<std::vector<Block>> blockPlans = {
        {Block::fixed},
        {Block::dynamic},
        {Block::selected},
        {Block::stored, Block::dynamic, Block::fixed, Block::selected}};
    for (const auto& shape : support::shapes(130000, 21)) {
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
        const Bytes src = support::randomBytes(size, size, 2);
        for (const Block block : {Block::fixed, Block::dynamic, Block::selected, Block::stored}) {
            Plan plan;
            plan.blocks = {block};
            expectDecodes(encode(src, plan), src);
        }
    }
}

TEST(DeflateEncode, FullFlushAtTheStartOfAStream) {
    const Bytes src = support::textLike(50000, 12);
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
    const Bytes src = support::mixed(4000, 2);
    Plan plan;
    plan.blocks = {Block::dynamic, Block::fixed, Block::stored, Block::selected};
    plan.flushes = {Lz77FlushNone, Lz77FlushSync, Lz77FlushNone, Lz77FlushNone, Lz77FlushSync};
    for (const size_t chunk : {1U, 17U, 333U, 4000U}) {
        plan.chunk = chunk;
        plan.pairRoom = chunk == 17 ? 5 : 65280;
        plan.room = pieces(1 << 20);
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

// Pairs that no generator makes are coded as something, within the tables.
TEST(DeflateEncode, WildPairs) {
    Random random(9);
    Pairs pairs(20000);
    for (Lz77Pair& pair : pairs) {
        pair.length = static_cast<uint16_t>(random.next());
        pair.distance = static_cast<uint16_t>(random.next() >> (random.below(2) * 48));
    }
    for (const PairCoder coder : kPairCoders) {
        for (const bool selected : {false, true}) {
            Encoder encoder;
            encoder.begin();
            if (selected) encoder.select(pairs);
            Bytes out;
            EXPECT_EQ(
                runCoder(coder, pairs, randomPieces(1, 3000), Lz77FlushFinal, encoder.state(), out),
                zelStsStreamEnd);
        }
    }
}

}  // namespace
