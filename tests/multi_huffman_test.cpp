#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "support/bz2_model.hpp"
#include "support/bz2_symbols.hpp"
#include "support/guarded_buffer.hpp"
#include "support/huffman_cost.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::BitString;
using support::Bytes;
using support::GuardedBuffer;
using support::ModelDecoder;
using support::Random;
using support::SymbolBlock;
using EncodeMemory = support::StateMemory<HuffBz2EncodeState>;
using DecodeMemory = support::StateMemory<HuffBz2DecodeState>;
using Symbols = std::vector<uint16_t>;

size_t encodeStateSize(int32_t len) {
    int32_t size = 0;
    EXPECT_EQ(zelsEncodeHuffGetSize_BZ2_16u8u(len, &size), zelStsOk);
    return static_cast<size_t>(size);
}

size_t decodeStateSize(int32_t len) {
    int32_t size = 0;
    EXPECT_EQ(zelsDecodeHuffGetSize_BZ2_8u16u(len, &size), zelStsOk);
    return static_cast<size_t>(size);
}

// An array that ends at an unreadable page, or where its count is odd lies at an odd address.
template <class T>
class AwkwardArray {
  public:
    explicit AwkwardArray(size_t count)
        : buffer_(count * sizeof(T) + count % 2), size_(count * sizeof(T)) {}
    explicit AwkwardArray(const std::vector<T>& content) : AwkwardArray(content.size()) {
        if (size_ != 0) std::memcpy(buffer_.data(), content.data(), size_);
    }
    // The buffer ends at a page and its size has the parity of the count.
    T* get() { return reinterpret_cast<T*>(buffer_.data()); }
    std::vector<T> content(size_t count) {
        std::vector<T> out(count);
        if (count != 0) std::memcpy(out.data(), buffer_.data(), count * sizeof(T));
        return out;
    }

  private:
    GuardedBuffer buffer_;
    size_t size_;
};

struct Accumulator {
    uint32_t code = 0;
    int32_t bits = 0;
    bool operator==(const Accumulator&) const = default;
};

struct Coded {
    ZelStatus status = zelStsOk;
    Bytes bytes;
    Accumulator pending;
    int32_t left = 0;  // symbols
};

class Encoder {
  public:
    explicit Encoder(const SymbolBlock& block) : Encoder(block, block.frequencies()) {}
    Encoder(const SymbolBlock& block, const std::vector<uint32_t>& counts)
        : block_(block), memory_(encodeStateSize(block.size()), EncodeMemory::Place::endsAtPage) {
        AwkwardArray<uint16_t> symbols(block.symbols);
        AwkwardArray<uint32_t> frequencies(counts);
        EXPECT_EQ(zelsEncodeHuffInit_BZ2_16u8u(block.alphaSize, frequencies.get(), symbols.get(),
                                               block.size(), memory_),
                  zelStsOk);
    }
    Coded pack(Accumulator start, size_t capacity) {
        Coded result;
        GuardedBuffer dst(capacity);
        auto size = static_cast<int32_t>(capacity);
        result.pending = start;
        result.status = zelsPackHuffContext_BZ2_16u8u(&result.pending.code, &result.pending.bits,
                                                      dst.data(), &size, memory_);
        result.bytes.assign(dst.data(), dst.data() + size);
        return result;
    }
    // Nothing changes behind what is written.
    Coded code(Accumulator start, size_t capacity) {
        Coded result;
        GuardedBuffer dst(Bytes(capacity, kUntouched));
        auto size = static_cast<int32_t>(capacity);
        AwkwardArray<uint16_t> symbols(block_.symbols);
        const uint16_t* src = symbols.get();
        result.left = block_.size();
        result.pending = start;
        result.status = zelsEncodeHuff_BZ2_16u8u(&result.pending.code, &result.pending.bits, &src,
                                                 &result.left, dst.data(), &size, memory_);
        EXPECT_EQ(src - symbols.get(), block_.size() - result.left);
        const auto untouched = [](uint8_t byte) { return byte == kUntouched; };
        EXPECT_TRUE(std::all_of(dst.data() + size, dst.data() + capacity, untouched));
        result.bytes.assign(dst.data(), dst.data() + size);
        return result;
    }
    HuffBz2EncodeState* state() { return memory_; }

  private:
    static constexpr uint8_t kUntouched = 0xC3;

    const SymbolBlock& block_;
    EncodeMemory memory_;
};

size_t roomFor(const SymbolBlock& block) {
    return block.symbols.size() * 3 + 6 * 258 * 6 + 64;
}

void append(Bytes& out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
}

// Description and symbols, the last bits padded with zeros and three bytes behind them.
Bytes encodeBlock(const SymbolBlock& block, Encoder&& encoder) {
    const Coded description = encoder.pack({}, roomFor(block));
    const Coded symbols = encoder.code(description.pending, roomFor(block));
    EXPECT_EQ(description.status, zelStsOk);
    EXPECT_EQ(symbols.status, zelStsOk);
    EXPECT_EQ(symbols.left, 0);
    EXPECT_LT(symbols.pending.bits, 8);
    Bytes out = description.bytes;
    append(out, symbols.bytes);
    out.push_back(static_cast<uint8_t>(symbols.pending.code >> 24));
    out.resize(out.size() + 3);
    return out;
}

Bytes encodeBlock(const SymbolBlock& block) {
    return encodeBlock(block, Encoder(block));
}

struct Decoded {
    ZelStatus status = zelStsOk;
    Symbols symbols;
    ModelDecoder model;
};

Decoded decodeByModel(const Bytes& stream, int32_t alphaSize) {
    Decoded result{zelStsOk, {}, ModelDecoder(alphaSize, 0x7FFF)};
    ModelDecoder::Cursor cursor{stream.data(), static_cast<int32_t>(stream.size()), 0, 0};
    result.status = result.model.unpack(cursor);
    if (result.status == zelStsOk) {
        result.status = result.model.decode(cursor, result.symbols, INT32_MAX);
    }
    return result;
}

// The library's decoder against the model, call by call: the source in pieces, each ending at an
// unreadable page, the destination of the given sizes.
struct Paired {
    ZelStatus status = zelStsOk;
    Symbols symbols;
};

template <class SrcPiece, class DstPiece>
Paired decodePaired(const Bytes& stream, int32_t alphaSize, int32_t capacity, SrcPiece srcPiece,
                    DstPiece dstPiece, Accumulator start = {}) {
    Paired result;
    DecodeMemory memory(decodeStateSize(capacity * 50), DecodeMemory::Place::endsAtPage);
    EXPECT_EQ(zelsDecodeHuffInit_BZ2_8u16u(alphaSize, memory), zelStsOk);
    ModelDecoder model(alphaSize, 0x7FFF);
    uint64_t modelWord = start.bits == 0 ? 0 : start.code >> (32 - start.bits);
    Accumulator acc = start;
    size_t consumed = 0;
    bool unpacked = false;
    for (int idle = 0; idle < 50;) {
        const size_t give = std::min<size_t>(srcPiece(), stream.size() - consumed);
        if (!unpacked && give == 0) {
            if (consumed == stream.size()) return {zelStsSrcExhausted, {}};
            ++idle;
            continue;
        }
        const GuardedBuffer in(
            Bytes(stream.begin() + static_cast<std::ptrdiff_t>(consumed),
                  stream.begin() + static_cast<std::ptrdiff_t>(consumed + give)));
        const uint8_t* src = in.data();
        auto srcLen = static_cast<int32_t>(give);
        ModelDecoder::Cursor cursor{src, srcLen, modelWord, acc.bits};
        ZelStatus expected = zelStsOk;
        size_t made = 0;
        if (!unpacked) {
            expected = model.unpack(cursor);
            result.status =
                zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &src, &srcLen, memory);
        } else {
            const auto room = static_cast<int32_t>(std::max<size_t>(1, dstPiece()));
            AwkwardArray<uint16_t> out(static_cast<size_t>(room));
            int32_t size = room;
            Symbols modelSymbols;
            expected = model.decode(cursor, modelSymbols, room);
            result.status = zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &src, &srcLen, out.get(),
                                                     &size, memory);
            made = static_cast<size_t>(size);
            const Symbols symbols = out.content(made);
            EXPECT_EQ(symbols, modelSymbols);
            result.symbols.insert(result.symbols.end(), symbols.begin(), symbols.end());
        }
        const auto word =
            static_cast<uint32_t>(cursor.count == 0 ? 0 : cursor.word << (32 - cursor.count));
        const bool same = result.status == expected && srcLen == cursor.srcLen &&
                          src == cursor.src && acc == Accumulator{word, cursor.count};
        EXPECT_TRUE(same) << "status " << result.status << " " << expected << ", left " << srcLen
                          << " " << cursor.srcLen << ", bits " << acc.bits << " " << cursor.count;
        if (!same || result.status < 0) return result;
        modelWord = cursor.word;
        const auto taken = static_cast<size_t>(src - in.data());
        consumed += taken;
        if (result.status == zelStsOk) {
            if (unpacked) return result;
            unpacked = true;
        }
        if (result.status == zelStsSrcExhausted && consumed == stream.size() && made == 0) {
            return result;
        }
        idle = taken == 0 && made == 0 ? idle + 1 : 0;
    }
    return result;
}

Paired decodePaired(const Bytes& stream, int32_t alphaSize, int32_t capacity = 40000) {
    const auto all = [] { return size_t{1} << 24; };
    return decodePaired(stream, alphaSize, capacity, all, [] { return size_t{1} << 15; });
}

// Each table must be a complete code of at most 17 bits, and unless it had to be shortened the best
// one for the groups that selected it, where absent symbols weigh 1.
void checkTables(const SymbolBlock& block, const Bytes& stream, int& shortened) {
    ModelDecoder model(block.alphaSize, 0x7FFF);
    ModelDecoder::Cursor cursor{stream.data(), static_cast<int32_t>(stream.size()), 0, 0};
    ASSERT_EQ(model.unpack(cursor), zelStsOk);
    std::vector<std::vector<uint64_t>> weights(
        6, std::vector<uint64_t>(static_cast<size_t>(block.alphaSize)));
    for (size_t i = 0; i < block.symbols.size(); ++i)
        ++weights[model.selectors()[i / 50]][block.symbols[i]];
    for (int t = 0; t < model.tableCount(); ++t) {
        auto& w = weights[static_cast<size_t>(t)];
        for (auto& weight : w)
            weight = std::max<uint64_t>(weight, 1);
        const auto& lengths = model.lengths(t);
        uint64_t kraft = 0;
        uint64_t cost = 0;
        for (size_t s = 0; s < lengths.size(); ++s) {
            ASSERT_LE(lengths[s], 17);
            kraft += 1U << (17 - lengths[s]);
            cost += w[s] * static_cast<uint64_t>(lengths[s]);
        }
        EXPECT_EQ(kraft, block.alphaSize == 1 ? 1U << 16 : 1U << 17);
        if (block.alphaSize == 1) continue;
        if (cost == support::optimalCost(w)) continue;
        EXPECT_EQ(*std::max_element(lengths.begin(), lengths.end()), 17);
        EXPECT_LT(static_cast<double>(cost), 1.01 * static_cast<double>(support::optimalCost(w)));
        ++shortened;
    }
}

SymbolBlock fibonacciBlock() {
    SymbolBlock block;
    block.alphaSize = 26;
    uint32_t a = 1;
    uint32_t b = 1;
    for (uint16_t s = 0; s < 25; ++s) {
        block.symbols.insert(block.symbols.end(), a, s);
        b += a;
        std::swap(a, b);
    }
    Random random(3);
    for (size_t i = block.symbols.size(); i > 1; --i)
        std::swap(block.symbols[i - 1], block.symbols[random.below(static_cast<uint32_t>(i))]);
    block.symbols.push_back(25);
    return block;
}

TEST(MultiHuffman, SizesFollowTheGroups) {
    struct {
        int32_t len, encode, decode;
    } const cases[] = {{1, 7766, 8177},
                       {50, 7766, 8177},
                       {51, 7768, 8178},
                       {900001, 43766, 26177},
                       {2147483647, 85907110, 42957849}};
    for (const auto& c : cases) {
        int32_t size = 0;
        EXPECT_EQ(zelsEncodeHuffGetSize_BZ2_16u8u(c.len, &size), zelStsOk);
        EXPECT_EQ(size, c.encode);
        EXPECT_EQ(zelsDecodeHuffGetSize_BZ2_8u16u(c.len, &size), zelStsOk);
        EXPECT_EQ(size, c.decode);
    }
    int32_t size = 77;
    for (const auto getSize : {zelsEncodeHuffGetSize_BZ2_16u8u, zelsDecodeHuffGetSize_BZ2_8u16u}) {
        EXPECT_EQ(getSize(0, nullptr), zelStsNullPointer);
        EXPECT_EQ(getSize(0, &size), zelStsBadSize);
        EXPECT_EQ(getSize(-50, &size), zelStsBadSize);
        EXPECT_EQ(size, 77);
    }
}

TEST(MultiHuffman, TablesAndGroupsFollowTheLength) {
    struct {
        int32_t len;
        int tables;
    } const cases[] = {{1, 2},    {120, 2},  {199, 2},  {200, 3},  {599, 3},  {600, 4},
                       {1199, 4}, {1200, 5}, {2399, 5}, {2400, 6}, {12345, 6}};
    for (const auto& c : cases) {
        const SymbolBlock block = support::symbolBlock(c.len, 40, 5);
        const Decoded decoded = decodeByModel(encodeBlock(block), 40);
        EXPECT_EQ(decoded.status, zelStsOk);
        EXPECT_EQ(decoded.model.tableCount(), c.tables);
        EXPECT_EQ(decoded.model.selectors().size(), static_cast<size_t>((c.len + 49) / 50));
        EXPECT_EQ(decoded.symbols, block.symbols);
    }
}

// One symbol, two tables of one code each: put together by hand.
TEST(MultiHuffman, SmallestBlockBitByBit) {
    const SymbolBlock block{{0}, 1};
    BitString bits;
    putHeader(bits, 2, 1);
    bits.put(0, 1).put(0b000010, 6).put(0b000010, 6).put(0, 1);
    Bytes expected = bits.bytes(4);
    std::fill(expected.begin() + 4, expected.end(), uint8_t{0});
    EXPECT_EQ(encodeBlock(block), expected);
    EXPECT_EQ(decodePaired(expected, 1).symbols, block.symbols);
}

TEST(MultiHuffman, TablesAreOptimalForTheirGroups) {
    int shortened = 0;
    const SymbolBlock blocks[] = {
        support::symbolBlock(1, 258, 1),
        support::symbolBlock(77, 258, 2),
        support::symbolBlock(1500, 3, 3),
        support::symbolBlock(30000, 258, 4),
        support::symbolBlock(30000, 258, 5, 1),
        support::symbolBlock(20000, 90, 6, 8),
        {Symbols(5000, 0), 1},
        {Symbols(5000, 7), 8},
    };
    for (const SymbolBlock& block : blocks)
        checkTables(block, encodeBlock(block), shortened);
    EXPECT_EQ(shortened, 0);

    // Without frequencies the first table gets the whole alphabet, and with it nearly all groups.
    const SymbolBlock steep = fibonacciBlock();
    const Bytes stream = encodeBlock(steep, Encoder(steep, std::vector<uint32_t>(26)));
    checkTables(steep, stream, shortened);
    EXPECT_GT(shortened, 0);
    EXPECT_EQ(decodePaired(stream, steep.alphaSize).symbols, steep.symbols);
}

TEST(MultiHuffman, SelectionTakesTheCheapestAndLowestTable) {
    Random random(11);
    for (int round = 0; round < 200; ++round) {
        const int32_t len = 1 + static_cast<int32_t>(random.below(230));
        const int32_t tables = 1 + static_cast<int32_t>(random.below(6));
        const uint32_t spread = round % 3 == 0 ? 2 : round % 3 == 1 ? 20 : 26;
        const Bytes lengths =
            support::randomBytes(static_cast<size_t>(tables) * 258, random.next(), spread);
        Symbols symbols(static_cast<size_t>(len));
        for (auto& s : symbols)
            s = static_cast<uint16_t>(random.below(round % 2 == 0 ? 258 : 5));
        Bytes expected;
        std::vector<uint32_t> expectedCounts(static_cast<size_t>(tables) * 258);
        for (size_t from = 0; from < symbols.size(); from += 50) {
            std::vector<uint32_t> costs(static_cast<size_t>(tables));
            const size_t to = std::min(from + 50, symbols.size());
            for (size_t t = 0; t < costs.size(); ++t) {
                for (size_t i = from; i < to; ++i)
                    costs[t] += lengths[t * 258 + symbols[i]];
            }
            const auto best =
                static_cast<size_t>(std::min_element(costs.begin(), costs.end()) - costs.begin());
            expected.push_back(static_cast<uint8_t>(best));
            for (size_t i = from; i < to; ++i)
                ++expectedCounts[best * 258 + symbols[i]];
        }
        AwkwardArray<uint16_t> src(symbols);
        AwkwardArray<uint32_t> counts(expectedCounts.size());
        GuardedBuffer rows(lengths);
        GuardedBuffer selectors(expected.size());
        EXPECT_EQ(ownsHuffSelectGroup(src.get(), len, tables, rows.data(), counts.get(),
                                      selectors.data()),
                  zelStsOk);
        EXPECT_EQ(selectors.content(), expected);
        EXPECT_EQ(counts.content(expectedCounts.size()), expectedCounts);
    }
}

// The bits of an operation do not depend on what is pending before, nor on the room as long as it
// suffices; 32 bits may stay behind in the accumulator, not one more.
template <class Operation>
void checkRoom(Operation operation) {
    const Coded whole = operation(Accumulator{}, size_t{100000});
    ASSERT_EQ(whole.status, zelStsOk);
    const size_t bits = whole.bytes.size() * 8 + static_cast<size_t>(whole.pending.bits);
    for (int32_t before : {0, 1, 7, 8, 13, 24, 31, 32}) {
        const size_t total = bits + static_cast<size_t>(before);
        const auto mark = static_cast<uint32_t>(0xA5C396E1);
        const Coded shifted = operation(Accumulator{mark, before}, size_t{100000});
        EXPECT_EQ(shifted.status, zelStsOk);
        EXPECT_EQ(shifted.bytes.size(), total / 8);
        EXPECT_EQ(static_cast<size_t>(shifted.pending.bits), total % 8);
        Bytes stream = shifted.bytes;
        stream.push_back(static_cast<uint8_t>(shifted.pending.code >> 24));
        EXPECT_EQ(shifted.pending.code & 0x00FFFFFF, 0U);

        const size_t least = (total - 32 + 7) / 8;
        for (size_t room = least > 3 ? least - 3 : 1; room <= total / 8 + 1; ++room) {
            const Coded coded = operation(Accumulator{mark, before}, room);
            EXPECT_EQ(coded.status, room >= least ? zelStsOk : zelStsDstFull);
            EXPECT_EQ(coded.bytes,
                      Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(
                                                                 std::min(room, total / 8))));
            EXPECT_LE(coded.pending.bits, 32);
            if (coded.status != zelStsOk) continue;
            EXPECT_EQ(coded.bytes.size() * 8 + static_cast<size_t>(coded.pending.bits), total);
            const uint32_t top = coded.pending.code >> 24;
            EXPECT_EQ(top, coded.bytes.size() < stream.size() ? stream[coded.bytes.size()] : 0U);
        }
        for (size_t room = 1; room < total / 8; room += 1 + total / 64) {
            const Coded coded = operation(Accumulator{mark, before}, room);
            EXPECT_TRUE(std::equal(coded.bytes.begin(), coded.bytes.end(), stream.begin()));
        }
    }
}

TEST(MultiHuffman, EncoderFillsTheDestinationToTheLastBit) {
    const SymbolBlock blocks[] = {support::symbolBlock(60, 30, 1),
                                  support::symbolBlock(3000, 258, 2, 6)};
    for (const SymbolBlock& block : blocks) {
        Encoder encoder(block);
        checkRoom([&](Accumulator start, size_t room) { return encoder.pack(start, room); });
        checkRoom([&](Accumulator start, size_t room) { return encoder.code(start, room); });
    }
}

TEST(MultiHuffman, EncoderWithoutSymbolsFlushes) {
    const SymbolBlock block = support::symbolBlock(60, 30, 1);
    Encoder encoder(block);
    uint8_t dst[8] = {};
    int32_t size = 8;
    Accumulator acc{0x12345FFF, 20};
    const uint16_t* src = block.symbols.data();
    int32_t left = 0;
    EXPECT_EQ(
        zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, &src, &left, dst, &size, encoder.state()),
        zelStsOk);
    EXPECT_EQ(size, 2);
    EXPECT_EQ(dst[1], 0x34);
    EXPECT_EQ(acc, (Accumulator{0x50000000, 4}));
}

TEST(MultiHuffman, EncoderChecksItsArguments) {
    SymbolBlock block = support::symbolBlock(120, 30, 1);
    const auto frequencies = block.frequencies();
    const uint32_t* freq = frequencies.data();
    uint16_t* src = block.symbols.data();
    EncodeMemory memory(encodeStateSize(120));
    HuffBz2EncodeState* state = memory;
    const auto init = [&](int32_t alphaSize, int32_t len) {
        return zelsEncodeHuffInit_BZ2_16u8u(alphaSize, freq, src, len, state);
    };
    EXPECT_EQ(zelsEncodeHuffInit_BZ2_16u8u(0, nullptr, src, 0, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffInit_BZ2_16u8u(0, freq, nullptr, 0, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffInit_BZ2_16u8u(0, freq, src, 0, nullptr), zelStsNullPointer);
    const Bytes before(reinterpret_cast<uint8_t*>(state), reinterpret_cast<uint8_t*>(state) + 7000);
    for (const auto& [alphaSize, len] :
         {std::pair{0, 120}, {30, 0}, {30, -1}, {259, 120}, {29, 120}, {INT32_MAX, 120}}) {
        EXPECT_EQ(init(alphaSize, len), zelStsBadSize) << alphaSize << " " << len;
    }
    // A single bad symbol anywhere.
    for (size_t i = 0; i < 120; ++i) {
        const uint16_t kept = std::exchange(src[i], i % 2 == 0 ? 30 : 0xFFFF);
        EXPECT_EQ(init(30, 120), zelStsBadSize);
        src[i] = kept;
    }
    EXPECT_TRUE(std::equal(before.begin(), before.end(), reinterpret_cast<uint8_t*>(state)));
    ASSERT_EQ(init(30, 120), zelStsOk);

    Accumulator acc{0x80000000, 1};
    uint8_t dst[600];
    int32_t size = 600;
    EXPECT_EQ(zelsPackHuffContext_BZ2_16u8u(nullptr, &acc.bits, dst, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsPackHuffContext_BZ2_16u8u(&acc.code, nullptr, dst, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsPackHuffContext_BZ2_16u8u(&acc.code, &acc.bits, nullptr, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsPackHuffContext_BZ2_16u8u(&acc.code, &acc.bits, dst, nullptr, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsPackHuffContext_BZ2_16u8u(&acc.code, &acc.bits, dst, &size, nullptr),
              zelStsNullPointer);
    const uint16_t* from = src;
    const uint16_t* none = nullptr;
    int32_t left = 120;
    const auto code = [&] {
        return zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, &from, &left, dst, &size, state);
    };
    EXPECT_EQ(zelsEncodeHuff_BZ2_16u8u(nullptr, &acc.bits, &from, &left, dst, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_BZ2_16u8u(&acc.code, nullptr, &from, &left, dst, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, nullptr, &left, dst, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, &none, &left, dst, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, &from, nullptr, dst, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, &from, &left, nullptr, &size, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, &from, &left, dst, nullptr, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, &from, &left, dst, &size, nullptr),
              zelStsNullPointer);
    for (const int32_t bad : {0, -1}) {
        size = bad;
        EXPECT_EQ(code(), zelStsBadSize);
        EXPECT_EQ(zelsPackHuffContext_BZ2_16u8u(&acc.code, &acc.bits, dst, &size, state),
                  zelStsBadSize);
    }
    size = 600;
    for (const int32_t bad : {-1, 33, INT32_MIN, INT32_MAX}) {
        acc.bits = bad;
        EXPECT_EQ(code(), zelStsBadSize);
        EXPECT_EQ(zelsPackHuffContext_BZ2_16u8u(&acc.code, &acc.bits, dst, &size, state),
                  zelStsBadSize);
    }
    acc.bits = 1;
    for (const int32_t bad : {-1, 121}) {
        left = bad;
        EXPECT_EQ(code(), zelStsBadSize);
    }
    left = 120;
    const uint16_t kept = std::exchange(src[119], uint16_t{30});
    EXPECT_EQ(code(), zelStsBadSize);
    src[119] = kept;
    EXPECT_EQ(acc, (Accumulator{0x80000000, 1}));
    EXPECT_EQ(from, src);
    EXPECT_EQ(size, 600);
    EXPECT_EQ(code(), zelStsOk);
}

// Frequencies that have nothing to do with the symbols only make a worse first deal.
TEST(MultiHuffman, AnyFrequenciesAreSafe) {
    const SymbolBlock block = support::symbolBlock(3000, 258, 9);
    for (const uint32_t value : {0U, 1U, 5000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        AwkwardArray<uint32_t> frequencies(std::vector<uint32_t>(258, value));
        EncodeMemory memory(encodeStateSize(3000));
        ASSERT_EQ(zelsEncodeHuffInit_BZ2_16u8u(258, frequencies.get(), block.symbols.data(), 3000,
                                               memory),
                  zelStsOk);
        uint8_t dst[8000];
        int32_t size = 8000;
        Accumulator acc;
        EXPECT_EQ(zelsPackHuffContext_BZ2_16u8u(&acc.code, &acc.bits, dst, &size, memory),
                  zelStsOk);
    }
}

// The most that a description can tell, and one symbol more.
TEST(MultiHuffman, LongestBlock) {
    constexpr int32_t kMost = 32767 * 50;
    Symbols symbols(kMost + 1, 1);
    symbols[7] = 0;
    symbols[kMost - 1] = 2;
    const uint32_t frequencies[] = {1, kMost - 2, 1};
    HuffBz2EncodeState* state = nullptr;
    EXPECT_EQ(zelsEncodeHuffInitAlloc_BZ2_16u8u(kMost + 1, 3, frequencies, symbols.data(),
                                                kMost + 1, &state),
              zelStsBadSize);
    zelsEncodeHuffFree_BZ2_16u8u(state);
    ASSERT_EQ(
        zelsEncodeHuffInitAlloc_BZ2_16u8u(kMost, 3, frequencies, symbols.data(), kMost, &state),
        zelStsOk);
    GuardedBuffer dst(kMost);
    Accumulator acc;
    int32_t size = kMost;
    ASSERT_EQ(zelsPackHuffContext_BZ2_16u8u(&acc.code, &acc.bits, dst.data(), &size, state),
              zelStsOk);
    int32_t more = kMost - size;
    const uint16_t* src = symbols.data();
    int32_t left = kMost;
    ASSERT_EQ(zelsEncodeHuff_BZ2_16u8u(&acc.code, &acc.bits, &src, &left, dst.data() + size, &more,
                                       state),
              zelStsOk);
    zelsEncodeHuffFree_BZ2_16u8u(state);
    dst[static_cast<size_t>(size + more)] = static_cast<uint8_t>(acc.code >> 24);

    HuffBz2DecodeState* decoder = nullptr;
    ASSERT_EQ(zelsDecodeHuffInitAlloc_BZ2_8u16u(kMost, 3, &decoder), zelStsOk);
    const uint8_t* from = dst.data();
    int32_t rest = size + more + 4;
    acc = {};
    ASSERT_EQ(zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &from, &rest, decoder),
              zelStsOk);
    Symbols out(kMost);
    int32_t count = kMost;
    EXPECT_EQ(
        zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &from, &rest, out.data(), &count, decoder),
        zelStsOk);
    EXPECT_EQ(count, kMost);
    EXPECT_TRUE(std::equal(out.begin(), out.end(), symbols.begin()));
    zelsDecodeHuffFree_BZ2_8u16u(decoder);
}

void* noMemory(size_t) {
    return nullptr;
}

TEST(MultiHuffman, InitAllocStatuses) {
    const SymbolBlock block = support::symbolBlock(120, 30, 1);
    const auto frequencies = block.frequencies();
    const uint32_t* freq = frequencies.data();
    const uint16_t* src = block.symbols.data();
    auto* const untouched = reinterpret_cast<HuffBz2EncodeState*>(uintptr_t{16});
    HuffBz2EncodeState* state = untouched;
    EXPECT_EQ(zelsEncodeHuffInitAlloc_BZ2_16u8u(120, 30, freq, src, 120, nullptr),
              zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffInitAlloc_BZ2_16u8u(0, 30, freq, src, 120, &state), zelStsBadSize);
    EXPECT_EQ(state, untouched);
    struct {
        int32_t len, alphaSize, srcLen;
        const uint16_t* src;
        ZelStatus status;
    } const cases[] = {
        {120, 30, 120, src, zelStsOk},      {120, 30, 120, nullptr, zelStsNullPointer},
        {120, 0, 120, src, zelStsBadSize},  {120, 30, 0, src, zelStsBadSize},
        {100, 30, 120, src, zelStsBadSize}, {101, 30, 120, src, zelStsOk},
        {1000000, 30, 120, src, zelStsOk},
    };
    for (const auto& c : cases) {
        state = untouched;
        EXPECT_EQ(
            zelsEncodeHuffInitAlloc_BZ2_16u8u(c.len, c.alphaSize, freq, c.src, c.srcLen, &state),
            c.status);
        EXPECT_NE(state, untouched);
        EXPECT_NE(state, nullptr);
        zelsEncodeHuffFree_BZ2_16u8u(state);
    }
    zelsEncodeHuffFree_BZ2_16u8u(nullptr);

    auto* const kept = reinterpret_cast<HuffBz2DecodeState*>(uintptr_t{16});
    HuffBz2DecodeState* decoder = kept;
    EXPECT_EQ(zelsDecodeHuffInitAlloc_BZ2_8u16u(120, 30, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuffInitAlloc_BZ2_8u16u(0, 30, &decoder), zelStsBadSize);
    EXPECT_EQ(decoder, kept);
    for (const int32_t alphaSize : {0, 259}) {
        EXPECT_EQ(zelsDecodeHuffInitAlloc_BZ2_8u16u(120, alphaSize, &decoder), zelStsBadSize);
        EXPECT_NE(decoder, kept);
        zelsDecodeHuffFree_BZ2_8u16u(decoder);
        decoder = kept;
    }
    zelsDecodeHuffFree_BZ2_8u16u(nullptr);

    void* (*const usual)(size_t) = std::exchange(i_malloc, noMemory);
    EXPECT_EQ(zelsDecodeHuffInitAlloc_BZ2_8u16u(120, 30, &decoder), zelStsNoMemory);
    EXPECT_EQ(decoder, kept);
    EXPECT_EQ(zelsEncodeHuffInitAlloc_BZ2_16u8u(120, 30, freq, src, 120, &state),
              zelStsNullPointer);
    EXPECT_EQ(state, nullptr);
    i_malloc = usual;
}

TEST(MultiHuffman, DecoderTakesAndGivesAsTheModelDoes) {
    const SymbolBlock blocks[] = {
        support::symbolBlock(1, 2, 1),         support::symbolBlock(260, 258, 2),
        support::symbolBlock(4000, 258, 3),    support::symbolBlock(9000, 120, 4, 8),
        support::symbolBlock(3000, 258, 5, 1), {Symbols(3000, 1), 3},
    };
    Random random(21);
    for (SymbolBlock block : blocks) {
        block.symbols.back() = static_cast<uint16_t>(block.alphaSize - 1);
        const Bytes stream = encodeBlock(block);
        EXPECT_EQ(decodePaired(stream, block.alphaSize).symbols, block.symbols);
        for (int round = 0; round < 30; ++round) {
            const uint32_t srcMost = 1 + random.sizeBelow(round % 2 == 0 ? 400 : 20000);
            const uint32_t dstMost = 1 + random.sizeBelow(round % 3 == 0 ? 60 : 4000);
            const Paired paired = decodePaired(
                stream, block.alphaSize, 400, [&] { return random.below(srcMost + 1); },
                [&] { return random.below(dstMost + 1); });
            ASSERT_EQ(paired.status, zelStsOk);
            ASSERT_EQ(paired.symbols, block.symbols);
        }
    }
}

TEST(MultiHuffman, DecoderResumesAtEveryByte) {
    const SymbolBlock block = support::symbolBlock(700, 258, 7, 6);
    const Bytes stream = encodeBlock(block);
    const auto room = [] { return size_t{1} << 12; };
    for (size_t split = 1; split < stream.size(); ++split) {
        size_t piece = split;
        const Paired paired = decodePaired(
            stream, 258, 14, [&] { return std::exchange(piece, stream.size()); }, room);
        ASSERT_EQ(paired.symbols, block.symbols) << split;
    }
    const auto one = [] { return size_t{1}; };
    EXPECT_EQ(decodePaired(stream, 258, 14, one, one).symbols, block.symbols);
    // Bits of the caller's header pending, with junk below them.
    for (int32_t bits = 0; bits <= 32; ++bits) {
        BitString tail;
        for (const uint8_t byte : stream)
            tail.put(byte, 8);
        Accumulator start{0xFFFFFFFF, bits};
        BitString rest;
        for (int32_t i = 0; i < 32; ++i) {
            const uint32_t bit = stream[static_cast<size_t>(i) / 8] >> (7 - i % 8) & 1;
            if (i >= bits) {
                rest.put(bit, 1);
            } else if (bit == 0) {
                start.code &= ~(0x80000000U >> i);
            }
        }
        for (size_t i = 4; i < stream.size(); ++i)
            rest.put(stream[i], 8);
        EXPECT_EQ(decodePaired(rest.bytes(), 258, 14, room, room, start).symbols, block.symbols);
    }
}

TEST(MultiHuffman, DecoderNeedsTwentyBits) {
    // Two symbols of one bit each, and an end of block of two: 4 bits in all.
    BitString bits = support::description(1, {1, 2, 2});
    const size_t head = bits.size();
    bits.put(0b0011, 4);
    const Bytes stream = bits.bytes(4);
    for (size_t size = (head + 7) / 8; size <= stream.size(); ++size) {
        const Bytes cut(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size));
        const Paired paired = decodePaired(cut, 3);
        const bool enough = size * 8 >= head + 2 + 20;
        EXPECT_EQ(paired.status, enough ? zelStsOk : zelStsSrcExhausted);
        EXPECT_EQ(paired.symbols.size(), enough                 ? 3U
                                         : size * 8 < head + 20 ? 0U
                                                                : 2U + 0U)
            << size * 8 - head;
    }
}

TEST(MultiHuffman, LongCodes) {
    // One code of every length up to 20, and two of 20.
    std::vector<int> staircase(20);
    std::iota(staircase.begin(), staircase.end(), 1);
    staircase.push_back(20);
    // One short code and 257 long ones.
    std::vector<int> many(258, 9);
    many[0] = 1;
    many[256] = many[257] = 10;
    // All of 8 bits, so that no long code exists; and all of 9 or 8, with the space used up at 9.
    const std::vector<int> flat(256, 8);
    std::vector<int> nine(258, 8);
    std::fill(nine.begin() + 100, nine.begin() + 104, 9);
    Random random(5);
    for (const auto& lengths : {staircase, many, flat, nine}) {
        const auto alphaSize = static_cast<int32_t>(lengths.size());
        BitString bits = support::description(40, lengths);
        std::vector<uint32_t> codes(lengths.size());
        uint32_t code = 0;
        for (int length = 1; length <= 20; ++length, code <<= 1) {
            for (size_t s = 0; s < lengths.size(); ++s) {
                if (lengths[s] == length) codes[s] = code++;
            }
        }
        Symbols symbols;
        for (int i = 0; i < 1990; ++i) {
            const auto s = static_cast<size_t>(
                i < alphaSize - 1
                    ? i
                    : static_cast<int>(random.below(static_cast<uint32_t>(alphaSize - 1))));
            symbols.push_back(static_cast<uint16_t>(s));
        }
        symbols.push_back(static_cast<uint16_t>(alphaSize - 1));
        for (const uint16_t s : symbols)
            bits.put(codes[s], lengths[s]);
        const Paired paired = decodePaired(bits.bytes(4), alphaSize);
        EXPECT_EQ(paired.status, zelStsOk);
        EXPECT_EQ(paired.symbols, symbols);
    }
}

// Calls with much of both sides decode in bursts: the same symbols, bytes taken and bits left.
TEST(MultiHuffman, DecoderInBurstsTakesAndGivesTheSame) {
    Random random(55);
    std::vector<int> staircase(20);
    std::iota(staircase.begin(), staircase.end(), 1);
    staircase.push_back(20);
    for (int round = 0; round < 60; ++round) {
        const auto alphaSize = static_cast<int32_t>(3 + random.sizeBelow(256));
        SymbolBlock block = support::symbolBlock(20000 + static_cast<int32_t>(random.below(20000)),
                                                 alphaSize, random.next(), 1 + round % 9);
        Bytes stream = encodeBlock(block);
        if (round % 5 == 4) {
            // Random bits under long codes; often the end of the block comes early, or never.
            BitString bits = support::description(900, staircase);
            stream = bits.bytes();
            const Bytes noise = support::randomBytes(12000 + random.below(3000), random.next());
            stream.insert(stream.end(), noise.begin(), noise.end());
            block.alphaSize = 21;
        } else if (round % 2 == 1) {
            for (uint32_t i = random.below(40); i-- > 0;) {
                stream[2500 + random.below(static_cast<uint32_t>(stream.size()) - 2500)] ^=
                    static_cast<uint8_t>(1U << random.below(8));
            }
        }
        const uint32_t least = random.below(2) * 9000;
        const uint32_t srcMost = 1 + random.below(40000);
        const uint32_t dstMost = 1 + random.below(30000);
        const Paired paired = decodePaired(
            stream, block.alphaSize, 900, [&] { return least + random.below(srcMost); },
            [&] { return least + random.below(dstMost); });
        ASSERT_FALSE(HasFailure()) << round;
        if (round % 10 == 0) {
            EXPECT_EQ(paired.symbols, block.symbols);
        }
    }
}

// More symbols than the selectors allow: what was taken before that shows must be the same, too.
TEST(MultiHuffman, BurstsStopWhereTheSelectorsEnd) {
    for (uint32_t shift = 0; shift < 16; ++shift) {
        BitString bits = support::description(400, {2, 2, 2, 3, 3});
        for (uint32_t i = 0; i < 21000 + shift; ++i)
            bits.put(i % 7 == 0 ? 0b110 : i % 3, i % 7 == 0 ? 3 : 2);
        const Paired paired = decodePaired(bits.put(0, static_cast<int32_t>(shift)).bytes(9000), 5);
        EXPECT_EQ(paired.status, zelStsBadData);
        EXPECT_EQ(paired.symbols.size(), 20000U);
    }
}

Bytes lengthsStream(std::initializer_list<std::pair<uint32_t, int32_t>> pieces) {
    BitString bits;
    putHeader(bits, 2, 1);
    bits.put(0, 1);
    for (const auto& [value, size] : pieces)
        bits.put(value, size);
    return bits.bytes(8);
}

TEST(MultiHuffman, InvalidDescriptions) {
    const auto status = [](const Bytes& stream) { return decodePaired(stream, 3).status; };
    const auto header = [](uint32_t tables, uint32_t selectors, uint32_t first) {
        BitString bits;
        putHeader(bits, tables, selectors);
        return bits.put(first, 6).put(0, 16).bytes(8);
    };
    for (const uint32_t tables : {0U, 1U, 7U})
        EXPECT_EQ(status(header(tables, 1, 0)), zelStsBz2BadContext) << tables;
    EXPECT_EQ(status(header(2, 0, 0)), zelStsBz2BadContext);
    for (uint32_t tables = 2; tables <= 6; ++tables) {
        // A selector one too high, and seven ones.
        const uint32_t high = 0x3F & ~((1U << (6 - tables)) - 1);
        EXPECT_EQ(status(header(tables, 1, high)), zelStsBz2BadContext) << tables;
        EXPECT_EQ(status(header(tables, 1, 0x3F)), zelStsBz2BadContext) << tables;
    }
    EXPECT_EQ(status(lengthsStream({{0, 5}})), zelStsBz2BadContext);
    EXPECT_EQ(status(lengthsStream({{21, 5}})), zelStsBz2BadContext);
    EXPECT_EQ(status(lengthsStream({{31, 5}})), zelStsBz2BadContext);
    // Leaves the range and would come back.
    EXPECT_EQ(status(lengthsStream({{20, 5}, {0b1011, 4}, {0, 20}})), zelStsBz2BadContext);
    EXPECT_EQ(status(lengthsStream({{1, 5}, {0b1110, 4}, {0, 20}})), zelStsBz2BadContext);
    EXPECT_EQ(status(lengthsStream({{20, 5}, {0, 3}, {0, 5}})), zelStsBz2BadContext);
}

TEST(MultiHuffman, CodesThatDoNotExist) {
    struct {
        std::vector<int> lengths;
        uint32_t bits;  // 20 of them
        ZelStatus status;
    } const cases[] = {
        {{2, 2, 2}, 0xC0000, zelStsBadData},  // 11 is free
        {{20, 20, 20}, 0x00003, zelStsBadData},
        {{20, 20, 20}, 0x00002, zelStsOk},
        {{9, 9, 12}, 0x01000, zelStsOk},
        {{9, 9, 12}, 0x01100, zelStsBadData},
        {{9, 9, 12}, 0xFFFFF, zelStsBadData},
        {{1, 1, 1}, 0x80000, zelStsSrcExhausted},  // over-subscribed: 1, then ones without end
        {{1, 1, 20}, 0x80000, zelStsSrcExhausted},
    };
    for (const auto& c : cases) {
        BitString bits = support::description(1, c.lengths);
        bits.put(c.bits, 20);
        const bool endless = c.status == zelStsSrcExhausted;
        const Paired paired = decodePaired(bits.bytes(endless ? 4 : 8), 3);
        EXPECT_EQ(paired.status, c.status) << c.lengths[0] << " " << std::hex << c.bits;
    }
    // 51 symbols and a single selector.
    BitString bits = support::description(1, {1, 2, 2});
    bits.put(0, 30).put(0, 30);
    const Paired paired = decodePaired(bits.bytes(8), 3);
    EXPECT_EQ(paired.status, zelStsBadData);
    EXPECT_EQ(paired.symbols.size(), 50U);
}

TEST(MultiHuffman, OverSubscribedAndIncompleteLengths) {
    Random random(33);
    for (int round = 0; round < 400; ++round) {
        std::vector<int> lengths(1 + random.below(258));
        const uint32_t shortest = 1 + random.below(20);
        const uint32_t spread = 21 - shortest;
        for (auto& length : lengths)
            length = static_cast<int>(shortest + random.sizeBelow(spread));
        BitString bits = support::description(30, lengths);
        for (int i = 0; i < 200; ++i)
            bits.put(static_cast<uint32_t>(random.next()), 32);
        decodePaired(bits.bytes(), static_cast<int32_t>(lengths.size()), 30);
        if (HasFailure()) return;
    }
}

TEST(MultiHuffman, MutatedStreams) {
    Random random(44);
    for (int round = 0; round < 1500; ++round) {
        const auto alphaSize = static_cast<int32_t>(2 + random.sizeBelow(257));
        const auto size = static_cast<int32_t>(1 + random.sizeBelow(3000));
        Bytes stream = encodeBlock(support::symbolBlock(size, alphaSize, random.next()));
        for (uint32_t i = random.below(4); i-- > 0;)
            stream[random.sizeBelow(static_cast<uint32_t>(stream.size()))] ^=
                static_cast<uint8_t>(1U << random.below(8));
        const uint32_t srcMost = 1 + random.sizeBelow(3000);
        const uint32_t dstMost = 1 + random.sizeBelow(2000);
        decodePaired(
            stream, alphaSize, 0x7FFF, [&] { return random.below(srcMost + 1); },
            [&] { return random.below(dstMost + 1); });
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST(MultiHuffman, EarlierTablesNeverShowThrough) {
    DecodeMemory memory(decodeStateSize(50));
    ASSERT_EQ(zelsDecodeHuffInit_BZ2_8u16u(3, memory), zelStsOk);
    const auto run = [&](const std::vector<int>& lengths, uint32_t first20) {
        BitString bits = support::description(1, lengths);
        const Bytes stream = bits.put(first20, 20).bytes(4);
        Accumulator acc;
        const uint8_t* src = stream.data();
        auto left = static_cast<int32_t>(stream.size());
        EXPECT_EQ(zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, memory),
                  zelStsOk);
        uint16_t out[60];
        int32_t count = 60;
        return zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, out, &count, memory);
    };
    EXPECT_EQ(run({1, 2, 2}, 0xC0000), zelStsOk);
    EXPECT_EQ(run({2, 2, 2}, 0xC0000), zelStsBadData);
    EXPECT_EQ(run({10, 10, 1}, 0x80800), zelStsBadData);
    EXPECT_EQ(run({1, 10, 9}, 0x80000), zelStsOk);
    EXPECT_EQ(run({20, 20, 20}, 0x80000), zelStsBadData);

    // A broken description leaves none behind, and a new one can follow.
    const Bytes bad = lengthsStream({{0, 5}});
    Accumulator acc;
    const uint8_t* src = bad.data();
    auto left = static_cast<int32_t>(bad.size());
    EXPECT_EQ(zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, memory),
              zelStsBz2BadContext);
    uint16_t out[60];
    int32_t count = 60;
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, out, &count, memory),
              zelStsBadData);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(run({1, 2, 2}, 0xC0000), zelStsOk);
}

TEST(MultiHuffman, SelectorsAreHeldToTheRoomThatIsKnown) {
    const auto unpack = [](HuffBz2DecodeState* state, uint32_t selectors) {
        const Bytes stream = support::description(selectors, {1, 2, 2}).bytes(1);
        Accumulator acc;
        const uint8_t* src = stream.data();
        auto left = static_cast<int32_t>(stream.size());
        return zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, state);
    };
    HuffBz2DecodeState* state = nullptr;
    ASSERT_EQ(zelsDecodeHuffInitAlloc_BZ2_8u16u(101, 3, &state), zelStsOk);
    EXPECT_EQ(unpack(state, 3), zelStsOk);
    EXPECT_EQ(unpack(state, 4), zelStsBz2BadContext);
    EXPECT_EQ(unpack(state, 0x7FFF), zelStsBz2BadContext);
    EXPECT_EQ(unpack(state, 3), zelStsOk);
    zelsDecodeHuffFree_BZ2_8u16u(state);
    // Where the size is not known, more than the groups of the state's blocks, within its size.
    DecodeMemory exact(decodeStateSize(101), DecodeMemory::Place::endsAtPage);
    ASSERT_EQ(zelsDecodeHuffInit_BZ2_8u16u(3, exact), zelStsOk);
    EXPECT_EQ(unpack(exact, 3 + 1226), zelStsOk);
    DecodeMemory memory(decodeStateSize(0x7FFF * 50), DecodeMemory::Place::endsAtPage);
    ASSERT_EQ(zelsDecodeHuffInit_BZ2_8u16u(3, memory), zelStsOk);
    EXPECT_EQ(unpack(memory, 0x7FFF), zelStsOk);
}

TEST(MultiHuffman, DecoderChecksItsArguments) {
    DecodeMemory memory(decodeStateSize(50));
    HuffBz2DecodeState* state = memory;
    EXPECT_EQ(zelsDecodeHuffInit_BZ2_8u16u(0, nullptr), zelStsNullPointer);
    for (const int32_t alphaSize : {0, -1, 259, INT32_MAX})
        EXPECT_EQ(zelsDecodeHuffInit_BZ2_8u16u(alphaSize, state), zelStsBadSize);
    ASSERT_EQ(zelsDecodeHuffInit_BZ2_8u16u(3, state), zelStsOk);

    const Bytes stream = support::description(1, {1, 2, 2}).put(3, 2).bytes(4);
    const uint8_t* src = stream.data();
    const uint8_t* none = nullptr;
    auto left = static_cast<int32_t>(stream.size());
    Accumulator acc{0x80000000, 0};
    uint16_t dst[4];
    int32_t count = 4;
    const auto unpack = [&] {
        return zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, state);
    };
    const auto decode = [&] {
        return zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, dst, &count, state);
    };
    EXPECT_EQ(zelsUnpackHuffContext_BZ2_8u16u(nullptr, &acc.bits, &src, &left, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsUnpackHuffContext_BZ2_8u16u(&acc.code, nullptr, &src, &left, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, nullptr, &left, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &none, &left, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &src, nullptr, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsUnpackHuffContext_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, nullptr),
              zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(nullptr, &acc.bits, &src, &left, dst, &count, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(&acc.code, nullptr, &src, &left, dst, &count, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, nullptr, &left, dst, &count, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &none, &left, dst, &count, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &src, nullptr, dst, &count, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, nullptr, &count, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, dst, nullptr, state),
              zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_BZ2_8u16u(&acc.code, &acc.bits, &src, &left, dst, &count, nullptr),
              zelStsNullPointer);
    for (const int32_t bad : {-1, 33, INT32_MIN, INT32_MAX}) {
        acc.bits = bad;
        EXPECT_EQ(unpack(), zelStsBadSize);
        EXPECT_EQ(decode(), zelStsBadSize);
    }
    acc.bits = 0;
    const int32_t whole = std::exchange(left, 0);
    EXPECT_EQ(unpack(), zelStsBadSize);
    left = -1;
    EXPECT_EQ(unpack(), zelStsBadSize);
    EXPECT_EQ(decode(), zelStsBadSize);
    left = whole;
    count = 0;
    EXPECT_EQ(decode(), zelStsBadSize);
    count = 4;
    EXPECT_EQ(src, stream.data());
    EXPECT_EQ(decode(), zelStsBadData);  // nothing unpacked yet
    EXPECT_EQ(count, 0);
    EXPECT_EQ(left, whole);
    count = 4;
    EXPECT_EQ(unpack(), zelStsOk);
    EXPECT_EQ(decode(), zelStsOk);
    EXPECT_EQ(count, 1);

    std::memset(static_cast<void*>(state), 0xFF, 8176);
    left = 2;
    EXPECT_EQ(unpack(), zelStsBadData);
}

}  // namespace
