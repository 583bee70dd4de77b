// The deflate encoder's match finder: pair streams against a plain model of its rules.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/deflate_encoder.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using namespace support;

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
    size_t call;        // longest call
    int32_t room;       // longest pair buffer
    bool fullFlush;     // now and then, where the counter is 0
    int tinyCalls = 0;  // of this many percent of the calls, which then have up to four bytes
};

TEST(DeflateMatch, PairStreamsAreExact) {
    const ModelCase cases[] = {
        {"one call", 1 << 20, 1 << 20, false},
        {"short calls", 700, 1 << 20, false},
        {"tiny calls", 7, 3, false},
        {"around the window", 34000, 1 << 20, false},
        // Long enough to be sorted, over a history in which positions are left out: few, many.
        {"long and tiny calls", 90000, 40000, false, 50},
        {"long and very many tiny calls", 90000, 1 << 20, false, 98},
        {"one pair a call", 300, 1, false},
        {"full flushes", 900, 1 << 20, true},
        {"long full flushes", 70000, 1 << 20, true},
    };
    for (const Lz77Level level : kLevels) {
        for (const ModelCase& c : cases) {
            SCOPED_TRACE(testing::Message() << "level " << level << ", " << c.name);
            const size_t size =
                c.call < 1000 ? 60000 : 180000 + 6000 * static_cast<size_t>(c.tinyCalls);
            const Bytes src = quaternary(size, 11 + static_cast<uint64_t>(level));
            Random random(c.call + static_cast<size_t>(c.room));
            Encoder encoder(level);
            Model model(level);
            bool counterAtZero = true;
            for (size_t at = 0; at < src.size();) {
                const bool tiny = static_cast<int>(random.below(100)) < c.tinyCalls;
                const size_t give = std::min<size_t>(
                    1 + random.below(tiny ? 4 : static_cast<uint32_t>(c.call)), src.size() - at);
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

TEST(DeflateMatch, FastPairsAreExactOnEveryShape) {
    auto all = shapes(160000, 5);
    // The farthest distance of all, which needs the whole history after every kind of upkeep.
    const Bytes period = randomBytes(32767, 6);
    Bytes far;
    while (far.size() < 160000)
        far.insert(far.end(), period.begin(), period.end());
    far.resize(160000);
    all.push_back({"far", far});
    for (const auto& shape : all) {
        for (const size_t call : {400U, 40000U}) {
            SCOPED_TRACE(shape.name);
            Encoder encoder(Lz77LevelFast);
            Model model(Lz77LevelFast);
            for (size_t at = 0; at < shape.bytes.size(); at += call) {
                const Bytes chunk(shape.bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                  shape.bytes.begin() + static_cast<std::ptrdiff_t>(at + call));
                size_t consumed = 0;
                const Pairs expected = model.parse(chunk, Lz77FlushNone, chunk.size(), consumed);
                ASSERT_TRUE(encoder.parse(chunk).pairs == expected);
            }
        }
    }
}

// A late full flush: history and all distances serve, the accounting uses the end position.
TEST(DeflateMatch, LateFullFlushCountsItsEndPosition) {
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

TEST(DeflateMatch, PairsExpandToTheSourceAndObeyTheirLevel) {
    for (const auto& shape : shapes(120000, 3)) {
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

// Counts that no array of pairs in memory has: room enough, without an end address.
TEST(DeflateMatch, RoomWithoutEnd) {
    const Bytes src = textLike(1000, 14);
    const Pairs expected = Encoder().parse(src).pairs;
    for (const int32_t room : {1 << 30, (1 << 30) + 1, INT32_MAX}) {
        Encoder encoder;
        Pairs pairs(src.size());
        const uint8_t* next = src.data();
        auto left = static_cast<int32_t>(src.size());
        Lz77Pair* pairNext = pairs.data();
        int32_t pairLeft = room;
        EXPECT_EQ(
            zelsEncodeLZ77_8u(&next, &left, &pairNext, &pairLeft, Lz77FlushNone, encoder.state()),
            zelStsOk);
        EXPECT_EQ(left, 0);
        pairs.resize(static_cast<size_t>(pairNext - pairs.data()));
        EXPECT_TRUE(pairs == expected);
        EXPECT_EQ(pairLeft, room - static_cast<int32_t>(pairs.size()));
    }

    // An index that the caller put at its limit wraps.
    Encoder encoder;
    Lz77Pair* own = nullptr;
    int32_t index = 0;
    int32_t length = 0;
    zelsEncodeLZ77GetPairs_8u(&own, &index, &length, encoder.state());
    Lz77Pair* pairNext = own;
    EXPECT_EQ(zelsEncodeLZ77SetPairs_8u(own, INT32_MAX, length, encoder.state()), zelStsOk);
    const uint8_t* next = src.data();
    int32_t two = 2;
    zelsEncodeLZ77_8u(&next, &two, &pairNext, &length, Lz77FlushNone, encoder.state());
    zelsEncodeLZ77GetPairs_8u(&own, &index, &length, encoder.state());
    EXPECT_EQ(index, INT32_MIN + 1);
}

TEST(DeflateMatch, KnownParses) {
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
        Bytes src = randomBytes(distance + 20, 77);
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

}  // namespace
