#include "checksum/kernels.hpp"
namespace zeldc::checksum {
uint32_t crc32Clmul(uint32_t crc, const uint8_t* src, size_t size) {
    return crc32Plain(crc, src, size);
}
uint32_t crc32Bz2Clmul(uint32_t crc, const uint8_t* src, size_t size) {
    return crc32Bz2Plain(crc, src, size);
}
uint32_t adler32Ssse3(uint32_t a, const uint8_t* src, size_t size) {
    return adler32Plain(a, src, size);
}
uint32_t adler32Avx2(uint32_t a, const uint8_t* src, size_t size) {
    return adler32Plain(a, src, size);
}
}  // namespace zeldc::checksum
