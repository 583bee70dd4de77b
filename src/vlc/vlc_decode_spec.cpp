// Sizing, placing, allocating and releasing decoding specs, for plain values and for tuples.
#include "core/alloc.hpp"
#include "vlc/vlc_table.hpp"

namespace zeldc::vlc {
namespace {

// What the operations of one form take to describe a code.
struct Description {
    const VlcCodeRecord* records;
    int32_t recordCount;
    const int32_t* widths;
    int32_t widthCount;
    const TupleForm* tuple;  // null: plain values
};

ZelStatus shapeOf(const Description& code, const void* out, TableShape& shape) {
    if (code.records == nullptr || code.widths == nullptr || out == nullptr) {
        return zelStsNullPointer;
    }
    if (code.tuple != nullptr && !code.tuple->isValid()) return zelStsOutOfRange;
    return shapeOf(Records(code.records, code.recordCount), code.widths, code.widthCount,
                   code.tuple, shape);
}

ZelStatus getSize(const Description& code, int32_t* pSize) {
    TableShape shape;
    const ZelStatus status = shapeOf(code, pSize, shape);
    if (status == zelStsOk) store(pSize, shape.specSize);
    return status;
}

// A plain header leaves room before its table for the tuple fields; they are cleared there, which
// is how tuple decoding recognises a spec that has none.
uint8_t* layOut(const Description& code, const TableShape& shape, bool allocated,
                VlcDecodeSpec* memory) {
    auto& spec = specAt<TupleDecodeSpec>(memory);
    auto* const header = reinterpret_cast<uint8_t*>(&spec);
    const size_t headerSize = code.tuple == nullptr ? sizeof(DecodeSpec) : sizeof(TupleDecodeSpec);
    uint8_t* const table = alignedUp(header + headerSize);
    spec.common.tag = kDecodeTag;
    spec.common.allocated = allocated ? 1 : 0;
    spec.common.maxLength = shape.levels.maxLength;
    spec.common.table.set(header, table);
    spec.common.entryWidth = shape.entryWidth;
    spec.common.levelBits = shape.levels.levelBits;
    const TupleForm tuple = code.tuple == nullptr ? TupleForm{} : *code.tuple;
    spec.tupleLength = tuple.length;
    spec.elementWidth = tuple.elementWidth;
    if (code.tuple != nullptr) spec.tupleBits = static_cast<int32_t>(tuple.bits());
    return table;
}
static_assert(offsetof(TupleDecodeSpec, tupleBits) <= kSpecAlignment);

Fill fill(const Description& code, const TableShape& shape, uint8_t* table) {
    const Records records(code.records, code.recordCount);
    switch (shape.entryWidth) {
        case 8:
            return fillTable(records, shape, reinterpret_cast<Unaligned<uint8_t>*>(table));
        case 16:
            return fillTable(records, shape, reinterpret_cast<Unaligned<uint16_t>*>(table));
        default:
            return fillTable(records, shape, reinterpret_cast<Unaligned<uint32_t>*>(table));
    }
}

ZelStatus build(const Description& code, const TableShape& shape, bool allocated,
                VlcDecodeSpec* memory) {
    uint8_t* const table = layOut(code, shape, allocated, memory);
    const Fill filled = fill(code, shape, table);
    uint8_t* const header = alignedUp(reinterpret_cast<uint8_t*>(memory));
    store(header + (code.tuple == nullptr ? kPlainDistinctAt : kTupleDistinctAt),
          uint32_t{filled == Fill::distinct});
    return filled == Fill::failed ? zelStsVlcTableErr : zelStsOk;
}

ZelStatus init(const Description& code, VlcDecodeSpec* pSpec) {
    TableShape shape;
    const ZelStatus status = shapeOf(code, pSpec, shape);
    return status == zelStsOk ? build(code, shape, false, pSpec) : status;
}

ZelStatus initAllocated(const Description& code, VlcDecodeSpec** ppSpec) {
    TableShape shape;
    ZelStatus status = shapeOf(code, ppSpec, shape);
    if (status != zelStsOk) return status;
    auto* const spec = reinterpret_cast<VlcDecodeSpec*>(allocate(shape.specSize));
    if (spec == nullptr) return zelStsNoMemory;
    status = build(code, shape, true, spec);
    if (status != zelStsOk) {
        release(spec);
        return status;
    }
    *anyAlignment(ppSpec) = spec;
    return zelStsOk;
}

void freeSpec(VlcDecodeSpec* pSpec) {
    if (pSpec == nullptr) return;
    auto& spec = specAt<DecodeSpec>(pSpec);
    spec.tag = 0;
    if (spec.allocated == 1) release(pSpec);
}

}  // namespace
}  // namespace zeldc::vlc

using namespace zeldc::vlc;

extern "C" {

ZelStatus zelsVLCDecodeGetSize_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                   const int32_t* pSubTableSizes, int32_t subTableCount,
                                   int32_t* pSize) {
    return getSize({pRecords, recordCount, pSubTableSizes, subTableCount, nullptr}, pSize);
}

ZelStatus zelsVLCDecodeInit_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                const int32_t* pSubTableSizes, int32_t subTableCount,
                                VlcDecodeSpec* pSpec) {
    return init({pRecords, recordCount, pSubTableSizes, subTableCount, nullptr}, pSpec);
}

ZelStatus zelsVLCDecodeInitAlloc_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                     const int32_t* pSubTableSizes, int32_t subTableCount,
                                     VlcDecodeSpec** ppSpec) {
    return initAllocated({pRecords, recordCount, pSubTableSizes, subTableCount, nullptr}, ppSpec);
}

void zelsVLCDecodeFree_32s(VlcDecodeSpec* pSpec) {
    freeSpec(pSpec);
}

ZelStatus zelsVLCDecodeUTupleGetSize_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                         const int32_t* pSubTableSizes, int32_t subTableCount,
                                         int32_t tupleLength, int32_t elementWidth,
                                         int32_t* pSize) {
    const TupleForm tuple{tupleLength, elementWidth};
    return getSize({pRecords, recordCount, pSubTableSizes, subTableCount, &tuple}, pSize);
}

ZelStatus zelsVLCDecodeUTupleInit_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                      const int32_t* pSubTableSizes, int32_t subTableCount,
                                      int32_t tupleLength, int32_t elementWidth,
                                      VlcDecodeSpec* pSpec) {
    const TupleForm tuple{tupleLength, elementWidth};
    return init({pRecords, recordCount, pSubTableSizes, subTableCount, &tuple}, pSpec);
}

ZelStatus zelsVLCDecodeUTupleInitAlloc_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                           const int32_t* pSubTableSizes, int32_t subTableCount,
                                           int32_t tupleLength, int32_t elementWidth,
                                           VlcDecodeSpec** ppSpec) {
    const TupleForm tuple{tupleLength, elementWidth};
    return initAllocated({pRecords, recordCount, pSubTableSizes, subTableCount, &tuple}, ppSpec);
}

void zelsVLCDecodeUTupleFree_32s(VlcDecodeSpec* pSpec) {
    freeSpec(pSpec);
}

}  // extern "C"
