// What RFC 1951 fixes and the decoder needs: alphabets, the ranges behind length and distance
// codes, the fixed code.
#pragma once

#include <array>
#include <cstdint>

namespace zeldc::deflate {

constexpr int32_t kLongestCode = 15;
constexpr int32_t kEndOfBlock = 256;
constexpr int32_t kFirstLengthSymbol = 257;
// Sizes of the alphabets as the header fields can express them; the last two symbols of each are
// never valid.
constexpr int32_t kLitlenSymbols = 288;
constexpr int32_t kValidLitlenSymbols = 286;
constexpr int32_t kDistanceSymbols = 32;
constexpr int32_t kValidDistanceSymbols = 30;
constexpr int32_t kCodeLengthSymbols = 19;

constexpr uint32_t kLongestMatch = 258;
constexpr uint32_t kFarthest = 32768;

// The values that one length or distance code stands for: base .. base + 2^extraBits - 1.
struct CodeRange {
    uint16_t base;
    uint8_t extraBits;
};

constexpr CodeRange lengthRange(int32_t symbol) {
    const int32_t index = symbol - kFirstLengthSymbol;
    if (index == 28) return {kLongestMatch, 0};
    if (index < 8) return {static_cast<uint16_t>(index + 3), 0};
    const int32_t extra = index / 4 - 1;
    return {static_cast<uint16_t>(((4 + index % 4) << extra) + 3), static_cast<uint8_t>(extra)};
}

constexpr CodeRange distanceRange(int32_t symbol) {
    if (symbol < 4) return {static_cast<uint16_t>(symbol + 1), 0};
    const int32_t extra = symbol / 2 - 1;
    return {static_cast<uint16_t>(((2 + symbol % 2) << extra) + 1), static_cast<uint8_t>(extra)};
}

static_assert(lengthRange(265).base == 11 && lengthRange(284).base == 227 &&
              lengthRange(284).extraBits == 5);
static_assert(distanceRange(4).base == 5 && distanceRange(29).base == 24577 &&
              distanceRange(29).extraBits == 13);

constexpr uint8_t fixedLitlenLength(int32_t symbol) {
    if (symbol < 144) return 8;
    if (symbol < 256) return 9;
    return symbol < 280 ? 7 : 8;
}
constexpr uint8_t kFixedDistanceLength = 5;

// The order in which a dynamic block's header gives the lengths of the code-length code.
inline constexpr std::array<uint8_t, kCodeLengthSymbols> sTreeOrder = {
    16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

}  // namespace zeldc::deflate
