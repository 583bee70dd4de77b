#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "support/guarded_buffer.hpp"
#include "support/no_memory.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using support::GuardedBuffer;
using support::Random;
using StateBytes = support::StateMemory<MtfState>;
using Operation = decltype(zelsMTFFwd_8u);

constexpr size_t kEntries = 256;

// The rules as they are taught: one list, searched and shifted.
class ModelList {
  public:
    ModelList() : list_(kEntries) { std::iota(list_.begin(), list_.end(), uint8_t{0}); }
    explicit ModelList(Bytes list) : list_(std::move(list)) {}

    uint8_t rankOf(uint8_t symbol) {
        const auto found = std::find(list_.begin(), list_.end(), symbol);
        std::rotate(list_.begin(), found, found + 1);
        return static_cast<uint8_t>(found - list_.begin());
    }
    uint8_t symbolAt(uint8_t rank) {
        std::rotate(list_.begin(), list_.begin() + rank, list_.begin() + rank + 1);
        return list_.front();
    }
    const Bytes& list() const { return list_; }
    Bytes ranks() const {
        Bytes ranks(kEntries);
        for (size_t i = 0; i < kEntries; ++i)
            ranks[list_[i]] = static_cast<uint8_t>(i);
        return ranks;
    }

  private:
    Bytes list_;
};

Bytes contentOf(const MtfState* state) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(state);
    return {bytes, bytes + kEntries};
}

// Runs `src` through `operation` in pieces, each in buffers of its own size between unreadable
// pages; in place when asked to.
Bytes run(Operation operation, const Bytes& src, size_t piece, bool inPlace, MtfState* state) {
    Bytes out;
    for (size_t at = 0; at < src.size(); at += piece) {
        const size_t size = std::min(piece, src.size() - at);
        const auto first = src.begin() + static_cast<std::ptrdiff_t>(at);
        const auto guard = at % 2 == 0 ? support::Guard::after : support::Guard::before;
        GuardedBuffer in(Bytes(first, first + static_cast<std::ptrdiff_t>(size)), guard);
        GuardedBuffer separate(size, guard);
        GuardedBuffer& result = inPlace ? in : separate;
        EXPECT_EQ(operation(in.data(), result.data(), static_cast<int32_t>(size), state), zelStsOk);
        out.insert(out.end(), result.data(), result.end());
    }
    return out;
}

// Data that reaches every rank from every rank: descending and ascending sweeps, and ranks that
// jump across the list.
std::vector<support::Shape> mtfShapes() {
    auto shapes = support::shapes(6001);
    Bytes sweep;
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < 256; ++i)
            sweep.push_back(static_cast<uint8_t>(round % 2 == 0 ? i : 255 - i));
    }
    shapes.push_back({"sweep", sweep});
    Random random(77);
    Bytes skewed(6001);
    for (auto& b : skewed)
        b = static_cast<uint8_t>(random.below(1 + random.sizeBelow(256)));
    shapes.push_back({"skewed", skewed});
    // Calm and wild stretches in turn.
    Bytes turns;
    for (uint64_t i = 0; i < 12; ++i) {
        const Bytes piece = support::randomBytes(777, i, i % 2 == 0 ? 3 : 256);
        turns.insert(turns.end(), piece.begin(), piece.end());
    }
    shapes.push_back({"turns", turns});
    return shapes;
}

TEST(Mtf, FollowsTheListOnEverySplit) {
    for (const auto& shape : mtfShapes()) {
        for (const size_t piece : {size_t{1}, size_t{2}, size_t{17}, size_t{700}, size_t{65536}}) {
            SCOPED_TRACE(shape.name + ", pieces of " + std::to_string(piece));
            Bytes src = shape.bytes;
            src.resize(std::min(src.size(), 400 * piece));
            ModelList model;
            Bytes ranks;
            for (const uint8_t symbol : src)
                ranks.push_back(model.rankOf(symbol));

            const bool inPlace = piece % 2 == 1;
            StateBytes state(kEntries);
            ASSERT_EQ(zelsMTFInit_8u(state), zelStsOk);
            EXPECT_EQ(run(zelsMTFFwd_8u, src, piece, inPlace, state), ranks);
            EXPECT_EQ(contentOf(state), model.ranks());

            ASSERT_EQ(zelsMTFInit_8u(state), zelStsOk);
            EXPECT_EQ(run(zelsMTFInv_8u, ranks, piece, inPlace, state), src);
            EXPECT_EQ(contentOf(state), model.list());
        }
    }
}

// Any bytes are positions, and any 256 bytes are a list: a coder of short alphabets starts from one
// in which most values do not occur.
TEST(Mtf, InverseTakesAnyPositionsAndAnyList) {
    Bytes list(kEntries, 0);
    std::iota(list.begin(), list.begin() + 6, uint8_t{0});
    for (const Bytes& start : {list, support::randomBytes(kEntries, 5)}) {
        for (const auto& shape : mtfShapes()) {
            SCOPED_TRACE(shape.name);
            ModelList model(start);
            Bytes expected;
            for (const uint8_t rank : shape.bytes)
                expected.push_back(model.symbolAt(rank));
            StateBytes state(kEntries, StateBytes::Place::endsAtPage);
            std::copy(start.begin(), start.end(), reinterpret_cast<uint8_t*>(state.get()));
            EXPECT_EQ(run(zelsMTFInv_8u, shape.bytes, 4000, false, state), expected);
            EXPECT_EQ(contentOf(state), model.list());
        }
    }
}

// A table that is no permutation has no meaning forward, but stays harmless, and what it says of
// the values that are coded holds while their positions are distinct and no other value stands
// behind them.
TEST(Mtf, ForwardFromShortAlphabetTable) {
    Bytes table(kEntries, 0);
    std::iota(table.begin(), table.begin() + 6, uint8_t{0});
    for (const size_t size : {size_t{1}, size_t{50}, size_t{5000}}) {
        const Bytes src = support::randomBytes(size, 9, 6);
        ModelList model;
        Bytes expected;
        for (const uint8_t symbol : src)
            expected.push_back(model.rankOf(symbol));
        StateBytes state(kEntries);
        std::copy(table.begin(), table.end(), reinterpret_cast<uint8_t*>(state.get()));
        EXPECT_EQ(run(zelsMTFFwd_8u, src, size, false, state), expected);
        const Bytes left = contentOf(state);
        EXPECT_TRUE(std::equal(left.begin(), left.begin() + 6, model.ranks().begin()));
    }
    StateBytes noise(kEntries);
    const Bytes bytes = support::randomBytes(kEntries, 3);
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<uint8_t*>(noise.get()));
    run(zelsMTFFwd_8u, support::randomBytes(5000, 4), 2500, true, noise);
}

TEST(Mtf, StateHoldsOneFormPerDirection) {
    StateBytes state(kEntries);
    zelsMTFInit_8u(state);
    EXPECT_EQ(run(zelsMTFFwd_8u, {5}, 1, false, state), Bytes{5});
    EXPECT_EQ(contentOf(state)[5], 0);
    EXPECT_EQ(contentOf(state)[4], 5);
    zelsMTFInit_8u(state);
    EXPECT_EQ(run(zelsMTFInv_8u, {5}, 1, false, state), Bytes{5});
    EXPECT_EQ(contentOf(state)[5], 4);
    EXPECT_EQ(contentOf(state)[0], 5);
    zelsMTFInit_8u(state);
    EXPECT_EQ(run(zelsMTFFwd_8u, {255, 255, 0}, 3, false, state), (Bytes{255, 0, 1}));
}

TEST(Mtf, BadArgumentsChangeNothing) {
    StateBytes state(kEntries);
    zelsMTFInit_8u(state);
    const Bytes fresh = contentOf(state);
    const Bytes src{9};
    Bytes dst{0xEE};
    for (Operation* operation : {zelsMTFFwd_8u, zelsMTFInv_8u}) {
        for (const int32_t len : {1, 0, -1}) {
            EXPECT_EQ(operation(nullptr, dst.data(), len, state), zelStsNullPointer);
            EXPECT_EQ(operation(src.data(), nullptr, len, state), zelStsNullPointer);
            EXPECT_EQ(operation(src.data(), dst.data(), len, nullptr), zelStsNullPointer);
        }
        EXPECT_EQ(operation(src.data(), dst.data(), 0, state), zelStsBadSize);
        EXPECT_EQ(operation(src.data(), dst.data(), INT32_MIN, state), zelStsBadSize);
    }
    EXPECT_EQ(dst[0], 0xEE);
    EXPECT_EQ(contentOf(state), fresh);
}

TEST(Mtf, LifeOfAState) {
    int32_t size = 0;
    EXPECT_EQ(zelsMTFGetSize_8u(nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsMTFGetSize_8u(&size), zelStsOk);
    EXPECT_EQ(size, 256);
    EXPECT_EQ(zelsMTFInit_8u(nullptr), zelStsNullPointer);

    EXPECT_EQ(zelsMTFInitAlloc_8u(nullptr), zelStsNullPointer);
    MtfState* state = nullptr;
    ASSERT_EQ(zelsMTFInitAlloc_8u(&state), zelStsOk);
    EXPECT_EQ(contentOf(state), ModelList().list());
    zelsMTFFree_8u(state);
    zelsMTFFree_8u(nullptr);

    const support::NoMemory noMemory;
    EXPECT_EQ(zelsMTFInitAlloc_8u(&state), zelStsNoMemory);
    EXPECT_EQ(state, nullptr);
}

}  // namespace
