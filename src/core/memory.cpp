#include "core/memory.hpp"

#include <cstring>

#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc {
namespace {

// `dst` need not be aligned, so the pattern is stored unaligned throughout: on the processors that
// this library is for, that costs only at cache-line crossings, less than a branching prologue.
void fillPattern(uint64_t pattern, uint8_t* dst, size_t bytes) {
    const uint64_t wide[2] = {pattern, pattern};
    for (; bytes >= sizeof wide; bytes -= sizeof wide, dst += sizeof wide) {
        std::memcpy(dst, wide, sizeof wide);
    }
    std::memcpy(dst, wide, bytes);
}

}  // namespace

void fill16(uint16_t value, void* dst, size_t count) {
    fillPattern(value * 0x0001000100010001U, static_cast<uint8_t*>(dst), count * 2);
}

void fill32(uint32_t value, void* dst, size_t count) {
    fillPattern(value * 0x0000000100000001U, static_cast<uint8_t*>(dst), count * 4);
}

void fill64(uint64_t value, void* dst, size_t count) {
    fillPattern(value, static_cast<uint8_t*>(dst), count * 8);
}

}  // namespace zeldc

using namespace zeldc;

// The unchecked kernels and the checked operations share their work, but not by calling each
// other: a call to an exported function would take the detour through the procedure linkage table.
extern "C" {

ZelStatus ownsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    std::memcpy(pDst, pSrc, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus ownsSet_8u(uint8_t val, uint8_t* pDst, int32_t len) {
    std::memset(pDst, val, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus ownsSet_16u(uint16_t val, uint16_t* pDst, int32_t len) {
    fill16(val, pDst, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus ownsSet_32s(int32_t val, int32_t* pDst, int32_t len) {
    fill32(static_cast<uint32_t>(val), pDst, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus ownsSet_64s(int64_t val, int64_t* pDst, int32_t len) {
    fill64(static_cast<uint64_t>(val), pDst, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus ownsZero_8u(uint8_t* pDst, int32_t len) {
    std::memset(pDst, 0, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus zelsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    if (pSrc == nullptr || pDst == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    std::memcpy(pDst, pSrc, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus zelsSet_8u(uint8_t val, uint8_t* pDst, int32_t len) {
    if (pDst == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    std::memset(pDst, val, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus zelsSet_16s(int16_t val, int16_t* pDst, int32_t len) {
    if (pDst == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    fill16(static_cast<uint16_t>(val), pDst, static_cast<size_t>(len));
    return zelStsOk;
}

ZelStatus zelsZero_8u(uint8_t* pDst, int32_t len) {
    if (pDst == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    std::memset(pDst, 0, static_cast<size_t>(len));
    return zelStsOk;
}

}  // extern "C"
