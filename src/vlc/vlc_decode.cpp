// Decoding to plain values.
#include "vlc/vlc_decode.hpp"

#include <algorithm>

#include "vlc/vlc_bulk.hpp"

namespace zeldc::vlc {

ZelStatus checkDecodeArguments(const uint8_t* const* ppStream, const int32_t* pOffset,
                               const int16_t* pDst, const VlcDecodeSpec* pSpec) {
    if (ppStream == nullptr || pOffset == nullptr || pDst == nullptr || pSpec == nullptr) {
        return zelStsNullPointer;
    }
    if (load<const uint8_t*>(ppStream) == nullptr) return zelStsNullPointer;
    if (!isBitOffset(pOffset) || specAt<DecodeSpec>(pSpec).tag != kDecodeTag) {
        return zelStsVlcSpecErr;
    }
    return zelStsOk;
}

namespace {

// A tuple's spec has its mark elsewhere.
bool hasDistinctCodes(const DecodeSpec& spec) {
    const auto& tuple = reinterpret_cast<const TupleDecodeSpec&>(spec);
    return tuple.tupleLength == 0 &&
           load<uint32_t>(reinterpret_cast<const uint8_t*>(&spec) + kPlainDistinctAt) == 1;
}

template <class Entry>
bool decodeOne(const Table<Entry>& table, BitPosition& position, S16& dst) {
    const auto [leaf, length] = table.walk(lookAhead(position));
    if (length == 0) return false;
    dst = static_cast<int16_t>(table.signedValue(leaf));
    position.advance(length);
    return true;
}

// Decodes as long as the first level settles every code, kCodes at a time from one window: each
// takes at most firstWidth bits, and kCodes * firstWidth <= kWindowBits. The bit before `position`
// has been consumed. Returns how many of the `count` values it has written.
template <size_t kCodes, class Entry>
int32_t decodeShortCodes(const Table<Entry> table, BitPosition& position, S16* dst, int32_t count) {
    BitPosition next = position;
    S16* const dstStart = dst;
    for (bool allShort = true; allShort && count >= static_cast<int32_t>(kCodes);
         count -= static_cast<int32_t>(kCodes)) {
        Window window = windowAfterConsumed(next);
        uint32_t used = 0;
        const auto decodeNext = [&](size_t) {
            const Entry entry = table.first(window);
            if (!Table<Entry>::isLeaf(entry)) return false;
            *dst++ = static_cast<int16_t>(table.signedValue(entry));
            const uint32_t length = table.bitsUsed(entry);
            window <<= length;
            used += length;
            return true;
        };
        allShort = [&]<size_t... i>(std::index_sequence<i...>) {
            return (decodeNext(i) && ...);
        }
        (std::make_index_sequence<kCodes>());
        next.advance(used);
    }
    position = next;
    return static_cast<int32_t>(dst - dstStart);
}

// Alternates between one code of any kind and short codes in bulk.
template <size_t kCodes, class Entry>
bool decodeAll(const Table<Entry>& table, BitPosition& position, S16* dst, int32_t count) {
    while (count > 0) {
        if (!decodeOne(table, position, *dst)) return false;
        ++dst;
        --count;
        if constexpr (kCodes != 0) {
            const int32_t decoded = decodeShortCodes<kCodes>(table, position, dst, count);
            dst += decoded;
            count -= decoded;
        }
    }
    return true;
}

// Decodes as long as the bulk table settles the next codes. The values of an entry are stored last
// to first, those that it lacks onto places that the others then take: nothing is written behind
// the last value, and there is no branch on how many there are. The bit before `position` has been
// consumed. Returns how many of the `count` values it has written.
int32_t decodeFromBulk(const BulkTable& table, BitPosition& position, S16* dst, int32_t count) {
    constexpr int32_t kLookups = kWindowBits / kBulkBits;
    BitPosition next = position;
    int32_t left = count;
    for (bool allSettled = true; allSettled && left >= 3 * kLookups;) {
        Window window = windowAfterConsumed(next);
        uint32_t used = 0;
        for (int32_t i = 0; i < kLookups; ++i) {
            const BulkValues& found = table.at(window);
            const uint32_t values = found.count;
            allSettled = values != 0;
            if (!allSettled) break;
            dst[values - 1] = found.values[2];
            dst[values >> 1] = found.values[1];
            dst[0] = found.values[0];
            dst += values;
            left -= static_cast<int32_t>(values);
            window <<= found.length;
            used += found.length;
        }
        next.advance(used);
    }
    position = next;
    return count - left;
}

template <class Entry>
__attribute__((noinline)) bool decodeBulk(const Table<Entry>& table, BitPosition& position,
                                          S16* dst, int32_t count) {
    const BulkTable bulk(table);
    while (count > 0) {
        if (!decodeOne(table, position, *dst)) return false;
        ++dst;
        --count;
        const int32_t decoded = decodeFromBulk(bulk, position, dst, count);
        dst += decoded;
        count -= decoded;
    }
    return true;
}

template <class Entry>
bool decodeBlock(const Table<Entry>& table, bool distinct, BitPosition& position, S16* dst,
                 int32_t count) {
    if (distinct && count >= kBulkCount) return decodeBulk(table, position, dst, count);
    switch (std::min(kWindowBits / table.firstWidth(), 4U)) {
        case 4:
            return decodeAll<4>(table, position, dst, count);
        case 3:
            return decodeAll<3>(table, position, dst, count);
        case 2:
            return decodeAll<2>(table, position, dst, count);
        case 1:
            return decodeAll<1>(table, position, dst, count);
        default:
            return decodeAll<0>(table, position, dst, count);
    }
}

}  // namespace
}  // namespace zeldc::vlc

using namespace zeldc;

extern "C" {

ZelStatus zelsVLCDecodeBlock_1u16s(const uint8_t** ppStream, int32_t* pOffset, int16_t* pDst,
                                   int32_t count, const VlcDecodeSpec* pSpec) {
    const ZelStatus status = vlc::checkDecodeArguments(ppStream, pOffset, pDst, pSpec);
    if (status != zelStsOk || count < 1) return status;
    auto position = vlc::positionAt<BitPosition>(ppStream, pOffset);
    const auto& spec = vlc::specAt<vlc::DecodeSpec>(pSpec);
    const bool decoded = vlc::withTable(spec, [&](const auto& table) {
        return vlc::decodeBlock(table, vlc::hasDistinctCodes(spec), position, anyAlignment(pDst),
                                count);
    });
    vlc::storePosition(position, ppStream, pOffset);
    return decoded ? zelStsOk : zelStsBadData;
}

ZelStatus zelsVLCDecodeOne_1u16s(const uint8_t** ppStream, int32_t* pOffset, int16_t* pDst,
                                 const VlcDecodeSpec* pSpec) {
    const ZelStatus status = vlc::checkDecodeArguments(ppStream, pOffset, pDst, pSpec);
    if (status != zelStsOk) return status;
    auto position = vlc::positionAt<BitPosition>(ppStream, pOffset);
    const bool decoded = vlc::withTable(
        vlc::specAt<vlc::DecodeSpec>(pSpec),
        [&](const auto& table) { return vlc::decodeOne(table, position, *anyAlignment(pDst)); });
    vlc::storePosition(position, ppStream, pOffset);
    return decoded ? zelStsOk : zelStsBadData;
}

}  // extern "C"
