// Decoding to tuples of small unsigned elements, each nonzero one with a sign bit behind the code.
#include <algorithm>

#include "vlc/vlc_bulk.hpp"
#include "vlc/vlc_decode.hpp"

namespace zeldc::vlc {
namespace {

// How a leaf's value divides into elements. A length known at compile time unrolls the loop over
// them; kLength 0 stands for any.
template <uint32_t kLength>
class Elements {
  public:
    explicit Elements(const TupleDecodeSpec& spec)
        : length_(static_cast<uint32_t>(int32_t{spec.tupleLength})),
          width_(static_cast<uint32_t>(int32_t{spec.elementWidth})),
          mask_((1U << width_) - 1) {}

    uint32_t length() const { return kLength == 0 ? length_ : kLength; }
    uint32_t element(uint32_t tuple, uint32_t i) const {
        return tuple >> (length() - 1 - i) * width_ & mask_;
    }

    // Writes the elements with their signs, the upper bits of `signs` in order. Returns the number
    // of sign bits used.
    uint32_t write(uint32_t tuple, Window signs, S16* dst) const {
        uint32_t used = 0;
        uint32_t shift = width_ * length();
        for (uint32_t i = 0; i < length(); ++i) {
            shift -= width_;
            const uint32_t element = tuple >> shift & mask_;
            const uint32_t isNonzero = element != 0;
            const uint32_t negate =
                0 - (static_cast<uint32_t>(signs >> (kWindowSize - 1)) & isNonzero);
            dst[i] = static_cast<int16_t>((element ^ negate) - negate);
            signs <<= isNonzero;
            used += isNonzero;
        }
        return used;
    }

  private:
    uint32_t length_;
    uint32_t width_;
    uint32_t mask_;
};

// The 32 bits behind the code hold the signs: a tuple has at most 30 elements.
template <class Entry, uint32_t kLength>
bool decodeOne(const Table<Entry>& table, const Elements<kLength>& elements, BitPosition& position,
               S16* dst) {
    const auto [leaf, length] = table.walk(lookAhead(position));
    if (length == 0) return false;
    position.advance(length);
    const Window signs = Window{lookAhead(position)} << (kWindowSize - 32);
    position.advance(elements.write(table.tuple(leaf), signs, dst));
    return true;
}

// Decodes as long as the first level settles every code, one tuple with its signs from one window:
// firstWidth + length <= kWindowBits. The bit before `position` has been consumed. Returns how many
// of the `count` tuples it has written.
template <class Entry, uint32_t kLength>
int32_t decodeShortCodes(const Table<Entry> table, const Elements<kLength> elements,
                         BitPosition& position, S16* dst, int32_t count) {
    BitPosition next = position;
    int32_t decoded = 0;
    for (; decoded < count; ++decoded) {
        const Window window = windowAfterConsumed(next);
        const Entry entry = table.first(window);
        if (!Table<Entry>::isLeaf(entry)) break;
        const uint32_t length = table.bitsUsed(entry);
        next.advance(length + elements.write(table.tuple(entry), window << length, dst));
        dst += elements.length();
    }
    position = next;
    return decoded;
}

template <class Entry, uint32_t kLength>
bool decodeDirectly(const Table<Entry>& table, const Elements<kLength>& elements,
                    BitPosition& position, S16* dst, int32_t count) {
    const bool fitsWindow = table.firstWidth() + elements.length() <= kWindowBits;
    while (count > 0) {
        if (!decodeOne(table, elements, position, dst)) return false;
        dst += elements.length();
        --count;
        if (!fitsWindow) continue;
        const int32_t decoded = decodeShortCodes(table, elements, position, dst, count);
        dst += ptrdiff_t{decoded} * elements.length();
        count -= decoded;
    }
    return true;
}

// Decodes as long as the bulk table settles the next codes. The bit before `position` has been
// consumed. Returns how many of the `count` tuples it has written.
template <uint32_t kLength>
int32_t decodeFromBulk(const BulkTupleTable& table, BitPosition& position, S16* dst,
                       int32_t count) {
    static_assert(kLength == 2 || kLength == 4);
    constexpr int32_t kLookups = kWindowBits / (kBulkTupleBits + 4);
    static_assert(kLookups >= 1);
    BitPosition next = position;
    int32_t left = count;
    for (bool allSettled = true; allSettled && left >= kLookups;) {
        Window window = windowAfterConsumed(next);
        uint32_t used = 0;
        for (int32_t i = 0; i < kLookups; ++i) {
            const BulkTuple& found = table.at(window);
            allSettled = found.total != 0;
            if (!allSettled) break;
            const __m128i elements = BulkTupleTable::withSigns(found, window);
            if constexpr (kLength == 4) {
                _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), elements);
            } else {
                store(dst, _mm_cvtsi128_si32(elements));
            }
            dst += kLength;
            --left;
            window <<= found.total;
            used += found.total;
        }
        next.advance(used);
    }
    position = next;
    return count - left;
}

template <class Entry, uint32_t kLength>
__attribute__((noinline)) bool decodeBulk(const Table<Entry>& table,
                                          const Elements<kLength>& elements, BitPosition& position,
                                          S16* dst, int32_t count) {
    const BulkTupleTable bulk(
        table, kLength, [&](uint32_t tuple, uint32_t i) { return elements.element(tuple, i); });
    while (count > 0) {
        if (!decodeOne(table, elements, position, dst)) return false;
        dst += kLength;
        --count;
        const int32_t decoded = decodeFromBulk<kLength>(bulk, position, dst, count);
        dst += ptrdiff_t{decoded} * kLength;
        count -= decoded;
    }
    return true;
}

template <class Entry, uint32_t kLength>
bool decodeBlock(const TupleDecodeSpec& spec, const Table<Entry>& table, BitPosition& position,
                 S16* dst, int32_t count) {
    const Elements<kLength> elements(spec);
    if constexpr (kLength != 0) {
        const auto* const header = reinterpret_cast<const uint8_t*>(&spec);
        const bool distinct = load<uint32_t>(header + kTupleDistinctAt) == 1;
        if (distinct && count >= kBulkCount) {
            return decodeBulk(table, elements, position, dst, count);
        }
    }
    return decodeDirectly(table, elements, position, dst, count);
}

// Decodes `tuples` tuples; the common tuple lengths have loops of their own.
bool decodeTuples(const TupleDecodeSpec& spec, BitPosition& position, S16* dst, int32_t tuples) {
    return withTable(spec.common, [&]<class Entry>(const Table<Entry>& table) {
        switch (spec.tupleLength) {
            case 2:
                return decodeBlock<Entry, 2>(spec, table, position, dst, tuples);
            case 4:
                return decodeBlock<Entry, 4>(spec, table, position, dst, tuples);
            default:
                return decodeBlock<Entry, 0>(spec, table, position, dst, tuples);
        }
    });
}

ZelStatus checkTupleArguments(const uint8_t* const* ppStream, const int32_t* pOffset,
                              const int16_t* pDst, const VlcDecodeSpec* pSpec) {
    const ZelStatus status = checkDecodeArguments(ppStream, pOffset, pDst, pSpec);
    if (status != zelStsOk) return status;
    // A spec for plain values has no tuple length.
    return specAt<TupleDecodeSpec>(pSpec).tupleLength < 1 ? zelStsVlcSpecErr : zelStsOk;
}

}  // namespace
}  // namespace zeldc::vlc

using namespace zeldc;

extern "C" {

ZelStatus zelsVLCDecodeUTupleBlock_1u16s(const uint8_t** ppStream, int32_t* pOffset, int16_t* pDst,
                                         int32_t count, const VlcDecodeSpec* pSpec) {
    const ZelStatus status = vlc::checkTupleArguments(ppStream, pOffset, pDst, pSpec);
    if (status != zelStsOk || count < 1) return status;
    const auto& spec = vlc::specAt<vlc::TupleDecodeSpec>(pSpec);
    auto position = vlc::positionAt<BitPosition>(ppStream, pOffset);
    const bool decoded =
        vlc::decodeTuples(spec, position, anyAlignment(pDst), count / spec.tupleLength);
    vlc::storePosition(position, ppStream, pOffset);
    return decoded ? zelStsOk : zelStsBadData;
}

ZelStatus zelsVLCDecodeUTupleOne_1u16s(const uint8_t** ppStream, int32_t* pOffset, int16_t* pDst,
                                       const VlcDecodeSpec* pSpec) {
    const ZelStatus status = vlc::checkTupleArguments(ppStream, pOffset, pDst, pSpec);
    if (status != zelStsOk) return status;
    auto position = vlc::positionAt<BitPosition>(ppStream, pOffset);
    const bool decoded = vlc::decodeTuples(vlc::specAt<vlc::TupleDecodeSpec>(pSpec), position,
                                           anyAlignment(pDst), 1);
    vlc::storePosition(position, ppStream, pOffset);
    return decoded ? zelStsOk : zelStsBadData;
}

}  // extern "C"
