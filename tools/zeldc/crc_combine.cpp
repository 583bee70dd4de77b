#include "crc_combine.hpp"

namespace tool {
namespace {

// Polynomials over GF(2) modulo the CRC's, the coefficient of x^0 in the top bit.
constexpr uint32_t kPolynomial = 0xEDB88320;
constexpr uint32_t kOne = 0x80000000;
constexpr uint32_t kXToThe8 = kOne >> 8;

constexpr uint32_t timesX(uint32_t a) {
    return a >> 1 ^ ((a & 1) != 0 ? kPolynomial : 0);
}

constexpr uint32_t multiply(uint32_t a, uint32_t b) {
    uint32_t product = 0;
    for (uint32_t bit = kOne; bit != 0; bit >>= 1) {
        if ((a & bit) != 0) product ^= b;
        b = timesX(b);
    }
    return product;
}

}  // namespace

// Appending n bytes multiplies what the register holds by x^(8n); the initial and final inversions
// of the two checksums cancel out.
uint32_t crc32Combine(uint32_t first, uint32_t second, uint64_t secondSize) {
    uint32_t power = kXToThe8;
    for (; secondSize != 0; secondSize >>= 1) {
        if ((secondSize & 1) != 0) first = multiply(first, power);
        power = multiply(power, power);
    }
    return first ^ second;
}

}  // namespace tool
