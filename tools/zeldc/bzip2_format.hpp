// Numbers of the bzip2 format that several files need.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tool::bzip2 {

constexpr int32_t kBlockUnit = 100000;  // bytes of a block per level
constexpr int kMaxLevel = 9;
constexpr int32_t kMaxBlock = kMaxLevel * kBlockUnit;
// Left free by the usual encoder, and by this one.
constexpr int32_t kBlockSpare = 19;
constexpr int kMaxAlphabet = 258;
// Symbols that a table description can speak of: 32767 groups of 50.
constexpr int32_t kMaxSelected = 32767 * 50;

constexpr uint64_t kBlockMagic = 0x314159265359;
constexpr uint64_t kEndMagic = 0x177245385090;
constexpr unsigned kMagicBits = 48;

constexpr uint32_t combineCrc(uint32_t combined, uint32_t crc) {
    return (combined << 1 | combined >> 31) ^ crc;
}

}  // namespace tool::bzip2
