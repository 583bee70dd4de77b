// The forward transform. Every block is turned to its least rotation first: a block that is no
// repetition is then a Lyndon word, whose sort is linear; for a repetition the word alone is
// sorted.
#include "blocksort/bwt_forward.hpp"

#include <cstring>

#include "blocksort/least_rotation.hpp"
#include "blocksort/periodic_sort.hpp"
#include "blocksort/suffix_sort.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::blocksort {
namespace {

// The caller's work buffer from its first multiple of 32 on:
//
//   tables   kByteTables entries
//   array    4 n bytes
//   cursors  up to the text; n / 4 entries are needed
//   text     the least rotation, its last byte before it and kReadAhead bytes behind it
//
// For a word repeated often, the block itself twice over and its first byte lie behind the array.
constexpr size_t kAlignment = 32;
constexpr size_t kFixed = 70145;  // callers ask for 6 n more than this
constexpr size_t kUsable = kFixed - (kAlignment - 1);
constexpr int32_t kLongest = (INT32_MAX - int32_t{kFixed}) / 6;  // whose size is still an int32_t

constexpr size_t textOffset(size_t n) {
    return 6 * n + kUsable - (n + 1 + kReadAhead);
}

// The cursors have n + kUsable - 4 * kByteTables - 1 - kReadAhead bytes.
static_assert(kUsable >= kByteTables * sizeof(uint32_t) + 1 + kReadAhead);

// From this many repetitions on, the transform is that of the abandoned sort (periodic_sort.cpp).
constexpr size_t kManyRepetitions = 7;

size_t transformLarge(const uint8_t* src, size_t len, uint8_t* dst, uint8_t* buffer) {
    uint8_t* base = alignUp(buffer, kAlignment);
    auto* tables = reinterpret_cast<uint32_t*>(base);
    uint32_t* array = tables + kByteTables;
    auto* behind = reinterpret_cast<uint8_t*>(array + len);
    // While nothing is sorted yet, the array has room for the doubled block.
    auto* twice = reinterpret_cast<uint8_t*>(array);
    writeTwice(src, len, twice);
    const LeastRotation least = leastRotation(twice, len);
    if (least.period == 1) {
        std::memcpy(dst, src, len);
        return 0;
    }
    if (len / least.period >= kManyRepetitions) {
        writeTwice(twice, len, behind);
        behind[2 * len] = behind[0];
        return transformPeriodic(len, least.period, dst, {array, behind});
    }
    auto* cursors = reinterpret_cast<uint32_t*>(behind);
    uint8_t* text = base + textOffset(len);
    const size_t cursorCount = static_cast<size_t>(text - behind) / sizeof(uint32_t);
    return transformRepeated<uint32_t>(twice, len, least, dst, text + 1,
                                       {array, cursors, cursorCount, tables});
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;

extern "C" {

ZelStatus zelsBWTFwdGetSize_8u(int32_t len, int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    if (len < 1 || len > blocksort::kLongest) return zelStsBadSize;
    store(pSize, 6 * len + int32_t{blocksort::kFixed});
    return zelStsOk;
}

ZelStatus zelsBWTFwd_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t* pPrimaryIndex,
                        uint8_t* pBuffer) {
    if (pSrc == nullptr || pDst == nullptr || pPrimaryIndex == nullptr || pBuffer == nullptr) {
        return zelStsNullPointer;
    }
    if (len < 1) return zelStsBadSize;
    const size_t row = blocksort::transformLarge(pSrc, static_cast<size_t>(len), pDst, pBuffer);
    store(pPrimaryIndex, static_cast<int32_t>(row));
    return zelStsOk;
}

}  // extern "C"
