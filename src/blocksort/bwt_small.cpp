// The transform of small blocks: positions fit 16 bits, which halves the array.
#include <cstring>

#include "blocksort/bwt_forward.hpp"
#include "blocksort/bwt_inverse.hpp"
#include "blocksort/least_rotation.hpp"
#include "blocksort/suffix_sort.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::blocksort {
namespace {

// The caller's work buffer from its first multiple of 32 on: the array (2 n bytes), the cursors,
// and the text with a byte before it
// and kReadAhead behind it. The byte tables are on the stack.
constexpr int32_t kLongest = 32768;
constexpr size_t kAlignment = 32;
constexpr size_t kFixed = 2080;  // callers ask for 4 n more than this
constexpr size_t kUsable = kFixed - (kAlignment - 1);

constexpr size_t textOffset(size_t n) {
    return 4 * n + kUsable - (n + 1 + kReadAhead);
}

// The cursors have n + kUsable - 1 - kReadAhead bytes; n / 4 entries are needed.
static_assert(kUsable >= 1 + kReadAhead);
// The inverse serves both sizes.
static_assert(kFixed >= kInverseSlack);

// Unlike large blocks, a word repeated any number of times is sorted out completely.
size_t transformSmall(const uint8_t* src, size_t len, uint8_t* dst, uint8_t* buffer) {
    uint8_t* base = alignUp(buffer, kAlignment);
    writeTwice(src, len, base);
    const LeastRotation least = leastRotation(base, len);
    if (least.period == 1) {
        std::memcpy(dst, src, len);
        return 0;
    }
    auto* array = reinterpret_cast<uint16_t*>(base);
    uint16_t tables[kByteTables];
    auto* cursors = array + len;
    uint8_t* text = base + textOffset(len);
    const size_t cursorCount = static_cast<size_t>(text - base) / sizeof(uint16_t) - len;
    return transformRepeated<uint16_t>(base, len, least, dst, text + 1,
                                       {array, cursors, cursorCount, tables});
}

bool accepted(int32_t len) {
    return len >= 1 && len <= kLongest;
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;

extern "C" {

ZelStatus zelsBWTGetSize_SmallBlock_8u(int32_t len, int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    if (!blocksort::accepted(len)) return zelStsBadSize;
    store(pSize, 4 * len + static_cast<int32_t>(blocksort::kFixed));
    return zelStsOk;
}

ZelStatus zelsBWTFwd_SmallBlock_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len,
                                   int32_t* pPrimaryIndex, uint8_t* pBuffer) {
    if (pSrc == nullptr || pDst == nullptr || pPrimaryIndex == nullptr || pBuffer == nullptr) {
        return zelStsNullPointer;
    }
    if (!blocksort::accepted(len)) return zelStsBadSize;
    const size_t row = blocksort::transformSmall(pSrc, static_cast<size_t>(len), pDst, pBuffer);
    store(pPrimaryIndex, static_cast<int32_t>(row));
    return zelStsOk;
}

ZelStatus zelsBWTInv_SmallBlock_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t index,
                                   uint8_t* pBuffer) {
    if (len < 2) return zelsCopy_8u(pSrc, pDst, len);
    if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr) return zelStsNullPointer;
    if (index >= len || len > blocksort::kLongest) return zelStsBadSize;
    blocksort::invert(pSrc, pDst, static_cast<size_t>(len), blocksort::safeRow(index), pBuffer);
    return zelStsOk;
}

}  // extern "C"
