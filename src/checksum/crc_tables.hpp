// The tables of slicing-by-8, made at compile time. Table k gives what a byte followed by k zero
// bytes contributes to the remainder.
#pragma once

#include <array>
#include <cstdint>

namespace zeldc::checksum {

using CrcTable = std::array<uint32_t, 256>;
using CrcTables = std::array<CrcTable, 8>;

constexpr uint32_t kPolynomialReflected = 0xEDB88320U;
constexpr uint32_t kPolynomial = 0x04C11DB7U;

constexpr CrcTables makeReflectedTables() {
    CrcTables tables{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t crc = i;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) ? kPolynomialReflected : 0);
        tables[0][i] = crc;
    }
    for (size_t k = 1; k < 8; ++k) {
        for (size_t i = 0; i < 256; ++i) {
            const uint32_t before = tables[k - 1][i];
            tables[k][i] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr CrcTables makeMsbFirstTables() {
    CrcTables tables{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t crc = i << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ ((crc >> 31) ? kPolynomial : 0);
        tables[0][i] = crc;
    }
    for (size_t k = 1; k < 8; ++k) {
        for (size_t i = 0; i < 256; ++i) {
            const uint32_t before = tables[k - 1][i];
            tables[k][i] = (before << 8) ^ tables[0][before >> 24];
        }
    }
    return tables;
}

inline constexpr CrcTables kReflectedTables = makeReflectedTables();
inline constexpr CrcTables kMsbFirstTables = makeMsbFirstTables();
static_assert(kReflectedTables[0][1] == 0x77073096U && kReflectedTables[0][128] == 0xEDB88320U);
static_assert(kMsbFirstTables[0][1] == kPolynomial);

}  // namespace zeldc::checksum
