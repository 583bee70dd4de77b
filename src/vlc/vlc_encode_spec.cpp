// The encoding spec: tables of code lengths and codes, indexed by value.
#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "core/alloc.hpp"
#include "vlc/vlc_spec.hpp"

namespace zeldc::vlc {
namespace {

// The span of values that the tables cover.
struct ValueRange {
    int32_t smallest;
    uint32_t last;  // largest - smallest

    // One more than `last` is 2^32 at most.
    uint64_t codeEntries() const { return uint64_t{last} + 1; }
    uint32_t sizeExponent() const { return static_cast<uint32_t>(std::bit_width(codeEntries())); }
    uint64_t tableBytes() const { return 4 * ((uint64_t{1} << sizeExponent()) + codeEntries()); }
    uint64_t specSize() const { return tableBytes() + sizeof(EncodeSpec) + kSpecAlignment; }
    bool isRepresentable() const { return specSize() <= std::numeric_limits<int32_t>::max(); }
};

ValueRange rangeOf(const Records& records) {
    int32_t smallest = records[0].value;
    int32_t largest = smallest;
    for (const Record& record : records) {
        smallest = std::min<int32_t>(smallest, record.value);
        largest = std::max<int32_t>(largest, record.value);
    }
    return {smallest, static_cast<uint32_t>(largest) - static_cast<uint32_t>(smallest)};
}

// Whether tables can be made for the records, and over which values.
bool describe(const Records& records, ValueRange& range) {
    for (const Record& record : records) {
        if (!record.lengthIsValid()) return false;
    }
    range = rangeOf(records);
    return range.isRepresentable();
}

void build(const Records& records, const ValueRange& range, bool allocated, VlcEncodeSpec* memory) {
    auto& spec = specAt<EncodeSpec>(memory);
    uint8_t* const tables = reinterpret_cast<uint8_t*>(&spec) + sizeof spec;
    std::memset(tables, 0, static_cast<size_t>(range.tableBytes()));
    auto* const lengths = reinterpret_cast<U32*>(tables);
    U32* const codes = lengths + (size_t{1} << range.sizeExponent());
    const auto bias = 0 - static_cast<uint32_t>(range.smallest);
    // Backwards, so that the first of several records with one value is the one that stays.
    for (int32_t i = records.count(); i-- > 0;) {
        const Record& record = records[i];
        const uint32_t index = static_cast<uint32_t>(int32_t{record.value}) + bias;
        lengths[index] = static_cast<uint32_t>(int32_t{record.length});
        codes[index] = record.leftAligned() >> (32 - record.length);
    }
    spec.lengthTable.set(&spec, tables);
    spec.bias = bias;
    spec.sizeExponent = range.sizeExponent();
    spec.allocated = allocated ? 1 : 0;
    spec.tag = kEncodeTag;
}

}  // namespace
}  // namespace zeldc::vlc

using namespace zeldc;

extern "C" {

ZelStatus zelsVLCEncodeGetSize_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                   int32_t* pSize) {
    if (pRecords == nullptr || pSize == nullptr) return zelStsNullPointer;
    if (recordCount < 1) return zelStsVlcSpecErr;
    const vlc::ValueRange range = vlc::rangeOf(vlc::Records(pRecords, recordCount));
    if (range.last >= 0x7FFFFFFFU) {
        // Too wide a span to be counted in 31 bits: kept as it has always been reported, modulo
        // 2^32. Init refuses such records.
        store(pSize, static_cast<int32_t>((range.last + 2) * 4 + 64));
        return zelStsOk;
    }
    if (!range.isRepresentable()) return zelStsVlcSpecErr;
    store(pSize, static_cast<int32_t>(range.specSize()));
    return zelStsOk;
}

ZelStatus zelsVLCEncodeInit_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                VlcEncodeSpec* pSpec) {
    if (pRecords == nullptr || pSpec == nullptr) return zelStsNullPointer;
    if (recordCount < 1) return zelStsVlcSpecErr;
    const vlc::Records records(pRecords, recordCount);
    vlc::ValueRange range{};
    if (!vlc::describe(records, range)) return zelStsVlcSpecErr;
    vlc::build(records, range, false, pSpec);
    return zelStsOk;
}

ZelStatus zelsVLCEncodeInitAlloc_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                     VlcEncodeSpec** ppSpec) {
    if (pRecords == nullptr || ppSpec == nullptr) return zelStsNullPointer;
    if (recordCount < 1) return zelStsVlcSpecErr;
    const vlc::Records records(pRecords, recordCount);
    vlc::ValueRange range{};
    if (!vlc::describe(records, range)) return zelStsVlcSpecErr;
    uint8_t* const block = allocate(static_cast<int32_t>(range.specSize()));
    if (block == nullptr) return zelStsNoMemory;
    auto* const spec = reinterpret_cast<VlcEncodeSpec*>(block);
    vlc::build(records, range, true, spec);
    *anyAlignment(ppSpec) = spec;
    return zelStsOk;
}

void zelsVLCEncodeFree_32s(VlcEncodeSpec* pSpec) {
    if (pSpec == nullptr) return;
    auto& spec = vlc::specAt<vlc::EncodeSpec>(pSpec);
    spec.tag = 0;
    if (spec.allocated == 1) release(pSpec);
}

}  // extern "C"
