// The byte Huffman coder against models: the construction of codes on a plain sorted list, the
// coder bit by bit, the stream decoder step by step.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <numeric>
#include <string>

#include "support/guarded_buffer.hpp"
#include "support/no_memory.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using support::GuardedBuffer;
using Table = std::array<int32_t, 256>;
using HuffMemory = support::StateMemory<HuffState>;

constexpr size_t kStateSize = 2596;

Table histogram(const Bytes& bytes) {
    Table table{};
    for (const uint8_t b : bytes)
        ++table[b];
    return table;
}

// --- models ---------------------------------------------------------------------------------

struct Weighted {
    int64_t weight;
    int name;
};

void modelSort(std::vector<Weighted>& v, int lo, int hi) {
    const auto orderTwo = [&v](int a, int b) {
        if (v[size_t(a)].weight > v[size_t(b)].weight) std::swap(v[size_t(a)], v[size_t(b)]);
    };
    const auto weight = [&v](int i) { return v[size_t(i)].weight; };
    if (hi - lo + 1 <= 9) {
        for (; hi > lo; --hi) {
            int largest = lo;
            for (int i = lo; i <= hi; ++i)
                if (weight(i) > weight(largest)) largest = i;
            std::swap(v[size_t(largest)], v[size_t(hi)]);
        }
        return;
    }
    const int mid = lo + (hi - lo + 1) / 2;
    orderTwo(lo, mid);
    orderTwo(lo, hi);
    orderTwo(mid, hi);
    const int64_t pivot = weight(mid);
    int i = lo + 1;
    int j = hi;
    while (true) {
        while (i < hi && weight(i) <= pivot)
            ++i;
        while (j > i && weight(j) > pivot)
            --j;
        if (i == j) break;
        std::swap(v[size_t(i)], v[size_t(j)]);
    }
    int left = i - 1;
    while (left >= lo && weight(left) == pivot)
        --left;
    modelSort(v, lo, left);
    modelSort(v, j, hi);
}

// Empty when a code would exceed 32 bits.
std::vector<int32_t> modelLengths(const Table& frequencies) {
    std::vector<Weighted> list;
    for (int i = 0; i < 256; ++i)
        if (frequencies[size_t(i)] != 0) list.push_back({frequencies[size_t(i)], i});
    modelSort(list, 0, static_cast<int>(list.size()) - 1);
    std::vector<int32_t> lengths(256);
    if (list.size() == 1) lengths[size_t(list[0].name)] = 1;
    std::vector<std::pair<int, int>> merges;
    while (list.size() > 1) {
        const Weighted node{list[0].weight + list[1].weight, list[0].name};
        merges.emplace_back(list[0].name, list[1].name);
        list.erase(list.begin(), list.begin() + 2);
        auto at = list.begin();
        while (at != list.end() && at->weight <= node.weight)
            ++at;
        list.insert(at, node);
    }
    for (size_t i = merges.size(); i-- > 0;) {
        const int32_t depth = lengths[size_t(merges[i].first)] + 1;
        lengths[size_t(merges[i].first)] = lengths[size_t(merges[i].second)] = depth;
        if (depth > 32) return {};
    }
    return lengths;
}

bool isFlat(const Table& lengths) {
    return lengths[0] != 0 && std::ranges::count(lengths, lengths[0]) == 256;
}

// Codes as strings of '0' and '1'; all zeros where all bytes have one length.
std::vector<std::string> modelCodes(const Table& lengths) {
    std::vector<std::string> codes(256);
    if (isFlat(lengths)) return {256, std::string(size_t(lengths[0]), '0')};
    uint64_t next = 0;
    for (int length = 32; length > 0; --length, next >>= 1) {
        for (size_t value = 256; value-- > 0;) {
            if (lengths[value] != length) continue;
            for (int bit = length; bit-- > 0;)
                codes[value] += (next >> bit & 1) != 0 ? '1' : '0';
            ++next;
        }
    }
    return codes;
}

std::string bitsOf(const Bytes& bytes) {
    std::string bits;
    for (const uint8_t b : bytes)
        for (int i = 7; i >= 0; --i)
            bits += (b >> i & 1) != 0 ? '1' : '0';
    return bits;
}

Bytes bytesOf(std::string bits) {
    bits.resize((bits.size() + 7) / 8 * 8, '0');
    Bytes bytes(bits.size() / 8);
    for (size_t i = 0; i < bits.size(); ++i)
        bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] << 1 | (bits[i] - '0'));
    return bytes;
}

// Takes its source as the decoder does: byte by byte, whole zero bytes at the front counted apart.
class ModelDecoder {
  public:
    explicit ModelDecoder(const Table& lengths) {
        const auto codes = modelCodes(lengths);
        for (size_t value = 0; value < 256; ++value) {
            if (codes[value].empty()) continue;
            symbols_[codes[value]] = static_cast<uint8_t>(value);
            longest_ = std::max(longest_, codes[value].size());
        }
    }
    Bytes decode(const Bytes& src, size_t capacity) {
        Bytes out;
        size_t next = 0;
        while (out.size() < capacity) {
            setAside();
            while (bits_.size() <= 16 && next < src.size()) {
                bits_ += bitsOf({src[next++]});
                setAside();
            }
            if (zeros_ >= longest_) {
                out.push_back(symbols_[std::string(longest_, '0')]);
                zeros_ -= longest_;
                continue;
            }
            const std::string held = std::string(zeros_, '0') + bits_;
            size_t length = 1;
            while (length <= held.size() && !symbols_.contains(held.substr(0, length)))
                ++length;
            if (length > held.size()) break;
            out.push_back(symbols_[held.substr(0, length)]);
            bits_.erase(0, length - zeros_);
            zeros_ = 0;
        }
        return out;
    }

  private:
    void setAside() {
        while (bits_.size() >= 8 && bits_.compare(0, 8, "00000000") == 0) {
            bits_.erase(0, 8);
            zeros_ += 8;
        }
    }

    std::map<std::string, uint8_t> symbols_;
    size_t longest_ = 0;
    std::string bits_;
    size_t zeros_ = 0;
};

// --- calls into the library, on buffers that end at an unreadable page
// ----------------------------

Table lengthsOf(const HuffState* state) {
    Table lengths;
    EXPECT_EQ(zelsHuffGetLenCodeTable_8u(lengths.data(), state), zelStsOk);
    return lengths;
}

Bytes encode(HuffState* state, const Bytes& src, size_t exactSize) {
    const GuardedBuffer in(src);
    GuardedBuffer out(exactSize);
    int32_t size = -1;
    EXPECT_EQ(
        zelsEncodeHuff_8u(in.data(), static_cast<int32_t>(in.size()), out.data(), &size, state),
        zelStsOk);
    EXPECT_EQ(static_cast<size_t>(size), exactSize);
    return out.content();
}

Bytes decode(HuffState* state, const Bytes& src, size_t capacity) {
    const GuardedBuffer in(src);
    constexpr uint8_t untouched = 0xCC;
    GuardedBuffer out(Bytes(capacity, untouched));
    auto size = static_cast<int32_t>(capacity);
    EXPECT_EQ(
        zelsDecodeHuff_8u(in.data(), static_cast<int32_t>(in.size()), out.data(), &size, state),
        zelStsOk);
    EXPECT_LE(static_cast<size_t>(size), capacity);
    EXPECT_EQ(std::count(out.data() + size, out.end(), untouched), int32_t(capacity) - size);
    Bytes symbols = out.content();
    symbols.resize(static_cast<size_t>(size));
    return symbols;
}

// Frequencies whose code has lengths up to `longest`.
Table fibonacci(int count) {
    Table table{};
    int32_t a = 1;
    int32_t b = 1;
    for (int i = 0; i < count; ++i) {
        table[size_t(i * 7 % 256)] = a;
        a = std::exchange(b, a + b);
    }
    return table;
}

struct NamedTable {
    std::string name;
    Table frequencies;
};

std::vector<NamedTable> frequencyTables() {
    std::vector<NamedTable> tables;
    for (const auto& shape : support::shapes(20000))
        tables.push_back({shape.name, histogram(shape.bytes)});
    tables.push_back({"fibonacci", fibonacci(33)});
    Table flat;
    flat.fill(1);
    tables.push_back({"flat", flat});
    flat[77] = 0;
    tables.push_back({"255 equal", flat});
    support::Random random(99);
    for (int i = 0; i < 300; ++i) {
        Table table{};
        const uint32_t used = 1 + random.below(256);
        const uint32_t spread = 1 + random.sizeBelow(1 << random.below(23));
        for (uint32_t k = 0; k < used; ++k)
            table[random.below(256)] = static_cast<int32_t>(random.sizeBelow(spread)) + 1;
        tables.push_back({"random " + std::to_string(i), table});
    }
    return tables;
}

// --- tests
// ----------------------------------------------------------------------------------------

TEST(ByteHuffman, CodesFromFrequencies) {
    GuardedBuffer out(8);
    for (const auto& [name, frequencies] : frequencyTables()) {
        HuffMemory state(kStateSize);
        ASSERT_EQ(zelsEncodeHuffInit_8u(frequencies.data(), state), zelStsOk) << name;
        const Table lengths = lengthsOf(state);
        ASSERT_TRUE(std::ranges::equal(lengths, modelLengths(frequencies))) << name;

        // Every code at every offset, into a byte that is in use up to there.
        const auto codes = modelCodes(lengths);
        for (size_t value = 0; value < 256; ++value) {
            const auto offset = static_cast<int32_t>(value % 8);
            const size_t touched = (size_t(offset) + codes[value].size() + 7) / 8;
            uint8_t* const dst = out.end() - std::max<size_t>(touched, 1);
            std::fill(dst, out.end(), 0xFF);
            const ZelStatus status =
                zelsEncodeHuffOne_8u(static_cast<uint8_t>(value), dst, offset, state);
            ASSERT_EQ(status, codes[value].empty() ? zelStsCodeLenTableErr : zelStsOk);
            if (status != zelStsOk) continue;
            ASSERT_EQ(Bytes(dst, out.end()),
                      bytesOf(std::string(size_t(offset), '1') + codes[value]));
        }
    }
}

TEST(ByteHuffman, FrequenciesWithoutACode) {
    const auto init = [](const Table& table) {
        HuffMemory state(kStateSize);
        const Bytes before(reinterpret_cast<uint8_t*>(state.get()),
                           reinterpret_cast<uint8_t*>(state.get()) + kStateSize);
        const ZelStatus status = zelsEncodeHuffInit_8u(table.data(), state);
        EXPECT_TRUE(status == zelStsOk || std::memcmp(before.data(), state.get(), kStateSize) == 0);
        return status;
    };
    EXPECT_EQ(init({}), zelStsFreqTableErr);
    EXPECT_EQ(init({1 << 30, 1 << 30}), zelStsFreqTableErr);
    EXPECT_EQ(init({1 << 30, (1 << 30) - 1}), zelStsOk);
    EXPECT_EQ(init({5, 3, -1}), zelStsFreqTableErr);
    EXPECT_EQ(init(fibonacci(33)), zelStsOk);
    EXPECT_EQ(init(fibonacci(34)), zelStsMaxCodeLenErr);
}

TEST(ByteHuffman, EncodesInWholeWordsAcrossCalls) {
    support::Random random(5);
    for (const auto& [name, frequencies] : frequencyTables()) {
        HuffMemory state(kStateSize);
        ASSERT_EQ(zelsEncodeHuffInit_8u(frequencies.data(), state), zelStsOk);
        const auto codes = modelCodes(lengthsOf(state));
        std::string bits;
        for (int call = 0; call < 4; ++call) {
            // Bytes without a code among them.
            const Bytes src =
                support::randomBytes(1 + random.sizeBelow(call == 3 ? 3000 : 40), random.next());
            for (const uint8_t b : src)
                bits += codes[b];
            const size_t whole = bits.size() / 32 * 32;
            ASSERT_EQ(encode(state, src, whole / 8), bytesOf(bits.substr(0, whole))) << name;
            bits.erase(0, whole);
            for (int again = 0; again < 2; ++again) {
                GuardedBuffer rest((bits.size() + 7) / 8);
                int32_t size = -1;
                ASSERT_EQ(zelsEncodeHuffFinal_8u(rest.data(), &size, state), zelStsOk);
                ASSERT_EQ(size, static_cast<int32_t>(rest.size()));
                ASSERT_EQ(rest.content(), bytesOf(bits));
            }
        }
    }
}

// Symbols, and through what later calls decode also what each call took of its source: calls that
// fill their room lose the rest. Short calls and such as use the look-up table.
TEST(ByteHuffman, DecodesStepByStep) {
    support::Random random(11);
    for (const auto& [name, frequencies] : frequencyTables()) {
        HuffMemory encoder(kStateSize);
        ASSERT_EQ(zelsEncodeHuffInit_8u(frequencies.data(), encoder), zelStsOk);
        const Table lengths = lengthsOf(encoder);
        if (isFlat(lengths)) continue;
        HuffMemory state(kStateSize);
        ASSERT_EQ(zelsDecodeHuffInit_8u(lengths.data(), state), zelStsOk);
        EXPECT_EQ(lengthsOf(state), lengths);
        if (std::ranges::count(lengths, 0) == 255) continue;  // 1 bits are no code there
        ModelDecoder model(lengths);
        for (int call = 0; call < 12; ++call) {
            const bool table = call % 4 == 3;
            Bytes src =
                support::randomBytes(1 + random.sizeBelow(table ? 2500 : 60), random.next());
            if (table) src.resize(src.size() + 600, static_cast<uint8_t>(random.below(3)));
            // Stretches of zeros, from a few bits to many bytes.
            for (int i = 0; i < 4; ++i) {
                const size_t at = random.below(static_cast<uint32_t>(src.size()));
                const size_t count = random.sizeBelow(static_cast<uint32_t>(src.size() - at)) + 1;
                if (random.below(2) == 0) std::fill_n(src.begin() + std::ptrdiff_t(at), count, 0);
            }
            const size_t capacity =
                1 + random.below(3) * 40 + (table ? 4096 : 0) + random.sizeBelow(table ? 9000 : 70);
            ASSERT_EQ(decode(state, src, capacity), model.decode(src, capacity))
                << name << ", call " << call;
        }
    }
}

// Room behind the symbols stays as it was (decode() looks), also where the source ends among codes
// that are longer than what any look-up takes.
TEST(ByteHuffman, WritesNothingBehindTheSymbols) {
    const Table frequencies = fibonacci(33);
    HuffMemory encoder(kStateSize);
    HuffMemory state(kStateSize);
    ASSERT_EQ(zelsEncodeHuffInit_8u(frequencies.data(), encoder), zelStsOk);
    const Table lengths = lengthsOf(encoder);
    const auto ofLength = [&](int32_t length) {
        return static_cast<uint8_t>(std::ranges::find(lengths, length) - lengths.begin());
    };
    for (size_t count = 4096; count < 4128; ++count) {
        Bytes src(count, ofLength(1));
        for (const int32_t length : {12, 12, 12, 12, 30, 30, 30, 30})
            src.push_back(ofLength(length));
        ASSERT_EQ(zelsEncodeHuffInit_8u(frequencies.data(), encoder), zelStsOk);
        const Bytes coded = encode(encoder, src, (count + 4 * 12 + 4 * 30) / 32 * 4);
        for (size_t cut = 0; cut < 12; ++cut) {
            ASSERT_EQ(zelsDecodeHuffInit_8u(lengths.data(), state), zelStsOk);
            const Bytes symbols = decode(state, Bytes(coded.begin(), coded.end() - cut), 5000);
            ASSERT_GT(symbols.size(), count);
            ASSERT_TRUE(std::equal(symbols.begin(), symbols.end(), src.begin()));
        }
    }
}

TEST(ByteHuffman, RoundTripsAndSingleBytes) {
    for (const auto& shape : support::shapes(30000)) {
        HuffMemory encoder(kStateSize);
        const Table frequencies = histogram(shape.bytes);
        ASSERT_EQ(zelsEncodeHuffInit_8u(frequencies.data(), encoder), zelStsOk);
        const Table lengths = lengthsOf(encoder);
        if (isFlat(lengths)) continue;
        int32_t bound = 0;
        ASSERT_EQ(zelsHuffGetDstBuffSize_8u(lengths.data(), 30000, &bound, nullptr), zelStsOk);
        Bytes coded(size_t(bound) + 4);
        int32_t size = 0;
        int32_t rest = 0;
        ASSERT_EQ(zelsEncodeHuff_8u(shape.bytes.data(), 30000, coded.data(), &size, encoder),
                  zelStsOk);
        ASSERT_EQ(zelsEncodeHuffFinal_8u(coded.data() + size, &rest, encoder), zelStsOk);
        ASSERT_LE(size + rest, bound);
        coded.resize(size_t(size + rest));

        HuffMemory state(kStateSize, HuffMemory::Place::endsAtPage);
        ASSERT_EQ(zelsDecodeHuffInit_8u(lengths.data(), state), zelStsOk);
        ASSERT_EQ(decode(state, coded, 30000), shape.bytes) << shape.name;

        const int32_t longest = *std::ranges::max_element(lengths);
        Bytes singles;
        size_t bit = 0;
        while (singles.size() < 3000 && bit + size_t(longest) <= coded.size() * 8) {
            const size_t read = (bit % 8 + size_t(longest) + 7) / 8;
            const auto begin = coded.begin() + std::ptrdiff_t(bit / 8);
            const GuardedBuffer in(Bytes(begin, begin + std::ptrdiff_t(read)));
            uint8_t symbol = 0;
            ASSERT_EQ(zelsDecodeHuffOne_8u(in.data(), int32_t(bit % 8), &symbol, state), zelStsOk);
            singles.push_back(symbol);
            bit += size_t(lengths[symbol]);
        }
        ASSERT_TRUE(std::equal(singles.begin(), singles.end(), shape.bytes.begin()));
    }
}

TEST(ByteHuffman, OneLengthForAllIsEmpty) {
    Table flat;
    flat.fill(3);
    HuffMemory state(kStateSize);
    ASSERT_EQ(zelsEncodeHuffInit_8u(flat.data(), state), zelStsOk);
    Table lengths = lengthsOf(state);
    EXPECT_EQ(std::ranges::count(lengths, 8), 256);
    EXPECT_EQ(encode(state, support::randomBytes(4000, 3), 4000), Bytes(4000, 0));
    ASSERT_EQ(zelsDecodeHuffInit_8u(lengths.data(), state), zelStsOk);
    EXPECT_EQ(decode(state, Bytes(50, 0), 40), Bytes(40, 255));
    for (int32_t length = 1; length <= 32; ++length) {
        lengths.fill(length);
        ASSERT_EQ(zelsDecodeHuffInit_8u(lengths.data(), state), zelStsOk);
        decode(state, support::randomBytes(2000, 1), 16000);
        uint8_t symbol = 0;
        EXPECT_EQ(zelsDecodeHuffOne_8u(Bytes(8, 0xFF).data(), 7, &symbol, state), zelStsOk);
    }
}

// Neither faults nor hangs, and another Init makes the state good again.
TEST(ByteHuffman, LengthsThatMakeNoCode) {
    support::Random random(21);
    HuffMemory state(kStateSize, HuffMemory::Place::endsAtPage);
    for (int round = 0; round < 400; ++round) {
        Table lengths{};
        const uint32_t used = 1 + random.below(256);
        const uint32_t longest = 1 + random.below(32);
        for (uint32_t i = 0; i < used; ++i)
            lengths[random.below(256)] = static_cast<int32_t>(random.below(longest + 1));
        ASSERT_EQ(zelsDecodeHuffInit_8u(lengths.data(), state), zelStsOk);
        for (const uint32_t alphabet : {1U, 2U, 256U})
            decode(state, support::randomBytes(1500, random.next(), alphabet), 9000);
        const GuardedBuffer in(support::randomBytes(5, random.next()));
        uint8_t symbol = 0;
        zelsDecodeHuffOne_8u(in.data() + 5 - (7 + longest + 7) / 8, 7, &symbol, state);
    }
    // Without any code there is nothing to decode.
    const Table none{};
    ASSERT_EQ(zelsDecodeHuffInit_8u(none.data(), state), zelStsOk);
    EXPECT_EQ(decode(state, Bytes(9000, 0), 9000), Bytes());
    uint8_t symbol = 0;
    EXPECT_EQ(zelsDecodeHuffOne_8u(Bytes(8, 0).data(), 0, &symbol, state), zelStsBadSize);
    for (const int32_t bad : {-1, 33, INT32_MIN}) {
        Table lengths{};
        lengths[255] = bad;
        EXPECT_EQ(zelsDecodeHuffInit_8u(lengths.data(), state), zelStsCodeLenTableErr);
    }
}

// More 0 bits than a signed 32-bit counter holds, in calls that read the same memory.
TEST(ByteHuffman, PendingZerosDoNotOverflow) {
    const Table lengths = {1, 32, 32};
    HuffMemory state(kStateSize);
    ASSERT_EQ(zelsDecodeHuffInit_8u(lengths.data(), state), zelStsOk);
    const Bytes zeros(1 << 24, 0);
    for (int call = 0; call < 18; ++call) {
        uint8_t symbol = 9;
        int32_t size = 1;
        ASSERT_EQ(zelsDecodeHuff_8u(zeros.data(), int32_t(zeros.size()), &symbol, &size, state),
                  zelStsOk);
        EXPECT_EQ(size, 1);
        EXPECT_EQ(symbol, 2);
    }
}

TEST(ByteHuffman, PackedTables) {
    const auto pack = [](const Table& table, int32_t capacity, ZelStatus expected) {
        GuardedBuffer out(size_t(capacity), support::Guard::after);
        EXPECT_EQ(zelsHuffLenCodeTablePack_8u(table.data(), out.data(), &capacity), expected);
        return Bytes(out.data(), out.data() + capacity);
    };
    const auto repeated = [](Bytes head, const Bytes& body, int times, const Bytes& tail) {
        for (int i = 0; i < times; ++i)
            head.insert(head.end(), body.begin(), body.end());
        head.insert(head.end(), tail.begin(), tail.end());
        return head;
    };
    Table table;
    table.fill(8);
    EXPECT_EQ(pack(table, 99, zelStsOk),
              repeated({0x88, 0x8F, 0x6D}, {0x88, 0xF6, 0xD8}, 0,
                       {0x88, 0xF6, 0xD8, 0x8F, 0x6D, 0x88, 0xF6, 0xD8, 0x8F, 0x6D, 0x88, 0xF6,
                        0xD8, 0x8F, 0x6D, 0x88, 0xE2}));
    table.fill(0);
    EXPECT_EQ(pack(table, 99, zelStsOk),
              repeated({0x00, 0xF6}, {0xD0, 0x0F, 0x6D, 0x00, 0xF6}, 3, {0xD0, 0x0E, 0x30}));

    support::Random random(31);
    for (int round = 0; round < 400; ++round) {
        for (size_t i = 0; i < 256;) {
            const auto length = static_cast<int32_t>(random.below(33));
            for (size_t run = 1 + random.sizeBelow(1 + random.below(90)); run > 0 && i < 256; --run)
                table[i++] = length;
        }
        const Bytes packed = pack(table, 512, zelStsOk);
        Bytes followed = packed;
        followed.resize(packed.size() + size_t(round % 3), 0xEE);
        const GuardedBuffer in(followed);
        auto size = static_cast<int32_t>(in.size());
        Table restored{};
        ASSERT_EQ(zelsHuffLenCodeTableUnpack_8u(in.data(), &size, restored.data()), zelStsOk);
        ASSERT_EQ(restored, table);
        ASSERT_EQ(static_cast<size_t>(size), packed.size());

        // One byte short on either side.
        const auto less = static_cast<int32_t>(packed.size()) - 1;
        if (less == 0) continue;
        ASSERT_EQ(pack(table, less, zelStsBadSize), Bytes(packed.begin(), packed.end() - 1));
        size = less;
        const Table untouched = restored = {-7};
        const GuardedBuffer cut(Bytes(packed.begin(), packed.end() - 1));
        ASSERT_EQ(zelsHuffLenCodeTableUnpack_8u(cut.data(), &size, restored.data()), zelStsBadSize);
        ASSERT_EQ(restored, untouched);
        ASSERT_EQ(size, less);
    }

    // Out of range is packed and told, whatever else; foreign bytes are unpacked as they come.
    table.fill(5);
    table[100] = 33;
    EXPECT_EQ(pack(table, 1, zelStsCodeLenTableErr), Bytes({0x55}));
    const GuardedBuffer wild(Bytes(30, 0xFF));
    int32_t size = 30;
    EXPECT_EQ(zelsHuffLenCodeTableUnpack_8u(wild.data(), &size, table.data()), zelStsOk);
    EXPECT_EQ(size, 19);  // 41 three times and 41 more; then twice and 41 more, five times
    EXPECT_EQ(table[0], 41);
    EXPECT_EQ(table[255], 41);
}

TEST(ByteHuffman, BufferSizes) {
    struct Case {
        Table lengths;
        int32_t srcLen;
        ZelStatus status;
        int32_t encoded;
        int32_t decoded;
    };
    const Case cases[] = {
        {{}, 100, zelStsOk, (100 + 1 + 7) >> 3, 200},
        {{3, 9, 0, 4}, 1000, zelStsOk, (9000 + 16) >> 3, 64000 / 3},
        {{1, 32}, 33554431, zelStsOk, 134217728, 2147483584},
        {{1, 32}, 33554432, zelStsBadSize, 134217732, -1},
        {{32}, 536870910, zelStsOk, 2147483644, 1073741820},
        {{32}, 536870911, zelStsBadSize, -1, 1073741822},
        {{8, -1}, 100, zelStsCodeLenTableErr, -1, -1},
        {{8, 33}, 100, zelStsCodeLenTableErr, -1, -1},
        {{8}, 0, zelStsBadSize, -1, -1},
    };
    for (const Case& c : cases) {
        int32_t encoded = -1;
        int32_t decoded = -1;
        EXPECT_EQ(zelsHuffGetDstBuffSize_8u(c.lengths.data(), c.srcLen, &encoded, &decoded),
                  c.status);
        EXPECT_EQ(encoded, c.status == zelStsOk ? c.encoded : -1);
        EXPECT_EQ(decoded, c.status == zelStsOk ? c.decoded : -1);
        // Only what is asked for can be too large.
        zelsHuffGetDstBuffSize_8u(c.lengths.data(), c.srcLen, &encoded, nullptr);
        zelsHuffGetDstBuffSize_8u(c.lengths.data(), c.srcLen, nullptr, &decoded);
        EXPECT_EQ(encoded, c.encoded);
        EXPECT_EQ(decoded, c.decoded);
    }
}

TEST(ByteHuffman, ArgumentsAreTestedInOrder) {
    HuffMemory memory(kStateSize);
    HuffState* const state = memory;
    const Table table = {1, 2, 2};
    uint8_t byte = 0;
    uint8_t buffer[16] = {};
    int32_t size = 1;
    int32_t bad = 0;
    Table out{};
    EXPECT_EQ(zelsHuffGetSize_8u(nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsHuffGetSize_8u(&size), zelStsOk);
    EXPECT_EQ(size, 2596);
    EXPECT_EQ(zelsEncodeHuffInit_8u(nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffInit_8u(table.data(), nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuffInit_8u(nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuffInit_8u(table.data(), nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsHuffGetLenCodeTable_8u(nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsHuffGetLenCodeTable_8u(out.data(), nullptr), zelStsNullPointer);

    // A decoder made an encoder is no decoder any more.
    ASSERT_EQ(zelsDecodeHuffInit_8u(table.data(), state), zelStsOk);
    EXPECT_EQ(zelsDecodeHuffOne_8u(buffer, 0, &byte, state), zelStsOk);
    ASSERT_EQ(zelsEncodeHuffInit_8u(table.data(), state), zelStsOk);
    EXPECT_EQ(zelsDecodeHuffOne_8u(buffer, 0, &byte, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuffOne_8u(buffer, 8, &byte, state), zelStsBadSize);
    EXPECT_EQ(zelsDecodeHuffOne_8u(buffer, -1, &byte, state), zelStsBadSize);
    EXPECT_EQ(zelsDecodeHuffOne_8u(nullptr, 8, &byte, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuffOne_8u(buffer, 8, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuffOne_8u(buffer, 8, &byte, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffOne_8u(0, nullptr, 8, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffOne_8u(0, buffer, 8, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffOne_8u(9, buffer, 8, state), zelStsBadSize);
    EXPECT_EQ(zelsEncodeHuffOne_8u(9, buffer, 7, state), zelStsCodeLenTableErr);

    EXPECT_EQ(zelsEncodeHuff_8u(nullptr, 0, buffer, &size, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_8u(&byte, 0, nullptr, &size, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_8u(&byte, 0, buffer, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_8u(&byte, 0, buffer, &size, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuff_8u(&byte, 0, buffer, &size, state), zelStsBadSize);
    EXPECT_EQ(zelsEncodeHuffFinal_8u(nullptr, &size, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffFinal_8u(buffer, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeHuffFinal_8u(buffer, &size, nullptr), zelStsNullPointer);

    EXPECT_EQ(zelsDecodeHuff_8u(nullptr, 0, buffer, &bad, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_8u(&byte, 0, nullptr, &bad, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_8u(&byte, 0, buffer, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_8u(&byte, 0, buffer, &bad, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuff_8u(&byte, 1, buffer, &bad, state), zelStsBadSize);
    size = 5;
    EXPECT_EQ(zelsDecodeHuff_8u(&byte, 0, buffer, &size, state), zelStsBadSize);
    EXPECT_EQ(size, 5);

    EXPECT_EQ(zelsHuffGetDstBuffSize_8u(nullptr, 0, &size, &size), zelStsNullPointer);
    EXPECT_EQ(zelsHuffLenCodeTablePack_8u(nullptr, buffer, &bad), zelStsNullPointer);
    EXPECT_EQ(zelsHuffLenCodeTablePack_8u(table.data(), nullptr, &bad), zelStsNullPointer);
    EXPECT_EQ(zelsHuffLenCodeTablePack_8u(table.data(), buffer, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsHuffLenCodeTablePack_8u(table.data(), buffer, &bad), zelStsBadSize);
    EXPECT_EQ(zelsHuffLenCodeTableUnpack_8u(nullptr, &bad, out.data()), zelStsNullPointer);
    EXPECT_EQ(zelsHuffLenCodeTableUnpack_8u(buffer, nullptr, out.data()), zelStsNullPointer);
    EXPECT_EQ(zelsHuffLenCodeTableUnpack_8u(buffer, &bad, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsHuffLenCodeTableUnpack_8u(buffer, &bad, out.data()), zelStsBadSize);
}

TEST(ByteHuffman, InitAllocStoresBeforeItInitialises) {
    HuffState* state = nullptr;
    const Table none{};
    EXPECT_EQ(zelsEncodeHuffInitAlloc_8u(none.data(), nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeHuffInitAlloc_8u(nullptr, &state), zelStsNullPointer);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(zelsEncodeHuffInitAlloc_8u(none.data(), &state), zelStsFreqTableErr);
    EXPECT_NE(state, nullptr);
    zelsHuffFree_8u(state);
    EXPECT_EQ(zelsDecodeHuffInitAlloc_8u(none.data(), &state), zelStsOk);
    zelsHuffFree_8u(state);

    const support::NoMemory noMemory;
    EXPECT_EQ(zelsEncodeHuffInitAlloc_8u(none.data(), &state), zelStsNullPointer);
    EXPECT_EQ(state, nullptr);
}

}  // namespace
