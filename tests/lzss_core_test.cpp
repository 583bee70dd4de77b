// The LZSS encoder's parse against a model with the same hash and unlimited memory, and what no
// test can wait for: positions near their limit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>

#include "core/hash_chain.hpp"
#include "lzss/lzss_state.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using zeldc::lzss::State;

struct Token {
    size_t distance;  // 0: a literal
    size_t value;
};

class ModelParser {
  public:
    // Parses one call's source; the history is all that came before.
    void call(const Bytes& src) {
        size_t p = text_.size();
        text_.insert(text_.end(), src.begin(), src.end());
        const size_t searchEnd = text_.size() - std::min<size_t>(2, src.size());
        while (p < searchEnd) {
            insert(p);
            const auto [length, distance] = longest(p, std::min<size_t>(searchEnd - p, 258));
            if (length < 3) {
                tokens_.push_back({0, text_[p++]});
                continue;
            }
            tokens_.push_back({distance, length});
            for (size_t i = 1; i < length; ++i)
                insert(p + i);
            p += length;
        }
        for (; p < text_.size(); ++p)
            tokens_.push_back({0, text_[p]});
    }

    Bytes stream() const {
        Bytes out;
        uint64_t bits = 0;
        int count = 0;
        for (const Token& token : tokens_) {
            const bool literal = token.distance == 0;
            const int width = literal ? 9 : 24;
            bits = bits << width |
                   (literal ? 256 + token.value : token.distance << 8 | (token.value - 3));
            for (count += width; count >= 8; count -= 8)
                out.push_back(static_cast<uint8_t>(bits >> (count - 8)));
        }
        if (count > 0) out.push_back(static_cast<uint8_t>(bits << (8 - count)));
        return out;
    }

  private:
    void insert(size_t p) {
        places_[zeldc::tabulationHash(text_[p], text_[p + 1], text_[p + 2])].push_back(p);
    }
    std::pair<size_t, size_t> longest(size_t p, size_t limit) const {
        size_t best = 2;
        size_t distance = 0;
        if (limit < 3) return {best, distance};
        const auto& list = places_.at(zeldc::tabulationHash(text_[p], text_[p + 1], text_[p + 2]));
        for (size_t i = 1; i <= 16 && i < list.size(); ++i) {
            const size_t q = list[list.size() - 1 - i];
            if (p - q >= 32768) break;
            size_t length = 0;
            while (length < limit && text_[q + length] == text_[p + length])
                ++length;
            if (length > best) {
                best = length;
                distance = p - q;
            }
            if (best == limit) break;
        }
        return {best, distance};
    }

    Bytes text_;
    std::map<uint32_t, std::vector<size_t>> places_;
    std::vector<Token> tokens_;
};

class Encoder {
  public:
    Encoder() { zelsEncodeLZSSInit_8u(handle()); }

    void call(const Bytes& src) {
        Bytes out(src.size() * 9 / 8 + 8);
        const uint8_t* srcNext = src.data();
        auto srcLeft = static_cast<int32_t>(src.size());
        uint8_t* dstNext = out.data();
        auto room = static_cast<int32_t>(out.size());
        EXPECT_EQ(zelsEncodeLZSS_8u(&srcNext, &srcLeft, &dstNext, &room, handle()), zelStsOk);
        stream.insert(stream.end(), out.data(), dstNext);
    }
    void flush() {
        uint8_t rest[4];
        uint8_t* next = rest;
        int32_t room = 4;
        EXPECT_EQ(zelsEncodeLZSSFlush_8u(&next, &room, handle()), zelStsOk);
        stream.insert(stream.end(), rest, next);
    }
    // As if `count` more bytes had come before everything.
    void advance(uint32_t count) {
        auto& history = state_.history;
        history.position += count;
        history.origin += count;
        zeldc::NarrowTables::rebase(history, 0 - count);
    }
    uint32_t position() const { return state_.history.position; }

    Bytes stream;

  private:
    LzssState* handle() { return reinterpret_cast<LzssState*>(&state_); }

    State state_;
};

Bytes pieceOf(const Bytes& bytes, size_t from, size_t size) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(from, bytes.size()));
    return {begin, begin + static_cast<std::ptrdiff_t>(
                               std::min(size, static_cast<size_t>(bytes.end() - begin)))};
}

TEST(LzssCore, ParsesAsTheModel) {
    for (const auto& shape : support::shapes(150000)) {
        for (const size_t piece : {size_t{150000}, size_t{40000}, size_t{9000}, size_t{261}}) {
            Encoder encoder;
            ModelParser model;
            for (size_t at = 0; at < shape.bytes.size(); at += piece) {
                encoder.call(pieceOf(shape.bytes, at, piece));
                model.call(pieceOf(shape.bytes, at, piece));
            }
            encoder.flush();
            ASSERT_EQ(encoder.stream, model.stream()) << shape.name << " by " << piece;
        }
    }
}

TEST(LzssCore, PositionsNearTheirLimit) {
    const Bytes text = support::textLike(400000, 9);
    const auto run = [&text](uint32_t jump) {
        Encoder encoder;
        for (size_t at = 0; at < text.size(); at += 50000) {
            if (at == 100000) encoder.advance(jump);
            encoder.call(pieceOf(text, at, 50000));
        }
        encoder.flush();
        EXPECT_LE(encoder.position(), zeldc::kRebaseAt + 50000);
        return encoder.stream;
    };
    const Bytes expected = run(0);
    for (const uint32_t jump : {zeldc::kRebaseAt - 32768 * 6, zeldc::kRebaseAt - 32768 * 3,
                                zeldc::kRebaseAt - 32768 * 2, zeldc::kRebaseAt})
        EXPECT_EQ(run(jump), expected) << jump;
}

}  // namespace
