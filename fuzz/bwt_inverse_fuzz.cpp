// Inverse transform of anything, from any row: the bytes are those that the plain walk spells.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zeldc.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes plainWalk(const Bytes& src, size_t row) {
    std::vector<size_t> next(257);
    for (const uint8_t c : src)
        ++next[size_t{c} + 1];
    for (size_t c = 0; c < 256; ++c)
        next[c + 1] += next[c];
    std::vector<size_t> vector(src.size());
    for (size_t i = 0; i < src.size(); ++i)
        vector[next[src[i]]++] = i;
    Bytes out(src.size());
    for (auto& byte : out) {
        row = vector[row];
        byte = src[row];
    }
    return out;
}

// The first bytes give the row, and how far the rest is stretched: long blocks are walked in
// another way than short ones.
constexpr size_t kHeader = 4;

Bytes stretched(const uint8_t* data, size_t size, size_t times) {
    Bytes src;
    for (size_t i = 0; i < size * times; ++i)
        src.push_back(times % 2 == 0 ? data[i / times] : data[i % size]);
    return src;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kHeader + 2) return 0;
    uint32_t row = 0;
    std::memcpy(&row, data, 3);
    const size_t times = 1 + data[3] % 16U;
    const Bytes src = stretched(data + kHeader, size - kHeader, times);
    row %= static_cast<uint32_t>(src.size());
    const auto len = static_cast<int32_t>(src.size());
    int32_t workSize = 0;
    if (zelsBWTInvGetSize_8u(len, &workSize) != zelStsOk) std::abort();
    Bytes work(static_cast<size_t>(workSize));
    Bytes out(src.size());
    if (zelsBWTInv_8u(src.data(), out.data(), len, static_cast<int32_t>(row), work.data()) !=
            zelStsOk ||
        out != plainWalk(src, row)) {
        std::abort();
    }
    return 0;
}
