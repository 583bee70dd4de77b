// Decoding long blocks with a table made for the call, on the stack: what the next bits settle is
// found in one step, whatever the level widths. With one table access to a code, the chain from
// code to code (index, load, length, shift) alone takes 3 ns; several codes to an access, or the
// signs' number with the code's, are what makes it shorter.
#pragma once

#include <emmintrin.h>

#include <array>
#include <cstdint>

#include "vlc/vlc_decode.hpp"

namespace zeldc::vlc {

// Values or tuples that make it worth while. The table takes some 10 us to make; it saves 2 ns a
// value, 7 ns a tuple (EPYC, 32 and 64 bits alike), and so has paid at about 5,000 values.
constexpr int32_t kBulkCount = 8192;

constexpr uint32_t kBulkBits = 11;
constexpr size_t kBulkSize = size_t{1} << kBulkBits;

// Up to three plain values with the bits that they take together; count 0: the bits here begin a
// longer code, or none.
struct BulkValues {
    int16_t values[3];
    uint8_t length;
    uint8_t count;
};
static_assert(sizeof(BulkValues) == 8);

class BulkTable {
  public:
    // Codes must be distinct: their bits then decide, whatever follows.
    template <class Entry>
    explicit BulkTable(const Table<Entry>& table) {
        for (uint32_t i = 0; i < kBulkSize; ++i) {
            const auto [leaf, length] = table.walk(i << (32 - kBulkBits));
            firstLengths_[i] = static_cast<uint8_t>(length <= kBulkBits ? length : 0);
            entries_[i].values[0] = static_cast<int16_t>(table.signedValue(leaf));
        }
        for (uint32_t i = 0; i < kBulkSize; ++i)
            addFollowing(i);
    }

    const BulkValues& at(Window window) const {
        return entries_[window >> (kWindowSize - kBulkBits)];
    }

  private:
    // Continues with the codes that the remaining bits hold whole.
    void addFollowing(uint32_t index) {
        BulkValues& entry = entries_[index];
        uint32_t used = 0;
        uint32_t count = 0;
        for (; count < 3; ++count) {
            const uint32_t rest = index << used & (kBulkSize - 1);
            const uint32_t length = firstLengths_[rest];
            if (length == 0 || used + length > kBulkBits) break;
            entry.values[count] = entries_[rest].values[0];
            used += length;
        }
        entry.length = static_cast<uint8_t>(used);
        entry.count = static_cast<uint8_t>(count);
        for (; count != 0 && count < 3; ++count)
            entry.values[count] = 0;
    }

    BulkValues entries_[kBulkSize];
    uint8_t firstLengths_[kBulkSize];
};

constexpr uint32_t kBulkTupleBits = 10;
constexpr size_t kBulkTupleSize = size_t{1} << kBulkTupleBits;

// A tuple of up to four elements, cut to 16 bits; total 0: the bits here begin a longer code, or
// none.
struct BulkTuple {
    int16_t values[4];
    uint8_t length;   // of the code
    uint8_t total;    // with its sign bits
    uint8_t nonzero;  // bit i: element i has a sign
    uint8_t unused[5];
};
static_assert(sizeof(BulkTuple) == 16);

// For nonzero elements (bit i: element i) and the four bits behind the code: -1 where an element
// is to be negated, so that (v ^ mask) - mask applies the signs.
using SignMask = std::array<int16_t, 4>;
constexpr auto kSignMasks = [] {
    std::array<SignMask, 256> masks{};
    for (uint32_t i = 0; i < masks.size(); ++i) {
        uint32_t signs = i & 15;
        for (uint32_t element = 0; element < 4; ++element) {
            if ((i >> 4 >> element & 1) == 0) continue;
            masks[i][element] = static_cast<int16_t>((signs & 8) != 0 ? -1 : 0);
            signs <<= 1;
        }
    }
    return masks;
}();

class BulkTupleTable {
  public:
    // Codes must be distinct. `split(tuple, i)` gives element i.
    template <class Entry, class Split>
    BulkTupleTable(const Table<Entry>& table, uint32_t tupleLength, Split split) {
        for (uint32_t i = 0; i < kBulkTupleSize; ++i) {
            const auto [leaf, length] = table.walk(i << (32 - kBulkTupleBits));
            BulkTuple& entry = entries_[i];
            entry = {};
            if (length == 0 || length > kBulkTupleBits) continue;
            entry.length = entry.total = static_cast<uint8_t>(length);
            for (uint32_t j = 0; j < tupleLength; ++j) {
                const uint32_t element = split(table.tuple(leaf), j);
                entry.values[j] = static_cast<int16_t>(element);
                if (element == 0) continue;
                ++entry.total;
                entry.nonzero = static_cast<uint8_t>(entry.nonzero | 1U << j);
            }
        }
    }

    const BulkTuple& at(Window window) const {
        return entries_[window >> (kWindowSize - kBulkTupleBits)];
    }

    // The tuple's elements with the signs that follow its code in `window`.
    static __m128i withSigns(const BulkTuple& tuple, Window window) {
        const auto signs = static_cast<uint32_t>(window << tuple.length >> (kWindowSize - 4));
        const SignMask& mask = kSignMasks[tuple.nonzero << 4 | signs];
        const __m128i masks = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(mask.data()));
        const __m128i values = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(tuple.values));
        return _mm_sub_epi16(_mm_xor_si128(values, masks), masks);
    }

  private:
    BulkTuple entries_[kBulkTupleSize];
};

}  // namespace zeldc::vlc
