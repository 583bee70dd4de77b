// Zero runs: what fits into a destination decodes to what was consumed, and any symbols decode
// without harm into a destination of any size.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zeldc.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Symbols = std::vector<uint16_t>;

void require(bool holds) {
    if (!holds) std::abort();
}

Symbols encode(const Bytes& src, size_t capacity, size_t& consumed) {
    Symbols dst(capacity);
    std::vector<uint32_t> freq(257);
    const uint8_t* srcNext = src.data();
    auto srcLen = static_cast<int32_t>(src.size());
    auto dstLen = static_cast<int32_t>(capacity);
    const ZelStatus status =
        zelsEncodeZ1Z2_BZ2_8u16u(&srcNext, &srcLen, dst.data(), &dstLen, freq.data());
    require(status == (srcLen == 0 ? zelStsOk : zelStsDstFull));
    require(srcLen == 0 || dstLen == static_cast<int32_t>(capacity));
    consumed = static_cast<size_t>(srcNext - src.data());
    dst.resize(static_cast<size_t>(dstLen));
    for (const uint16_t symbol : dst)
        --freq[symbol];
    for (const uint32_t count : freq)
        require(count == 0);
    return dst;
}

Bytes decode(const Symbols& src, size_t capacity, ZelStatus& status) {
    Bytes dst(capacity);
    const uint16_t* srcNext = src.data();
    auto srcLen = static_cast<int32_t>(src.size());
    auto dstLen = static_cast<int32_t>(capacity);
    status = zelsDecodeZ1Z2_BZ2_16u8u(&srcNext, &srcLen, dst.data(), &dstLen);
    require(static_cast<size_t>(srcNext - src.data()) + static_cast<size_t>(srcLen) == src.size());
    require(dstLen >= 0 && static_cast<size_t>(dstLen) <= capacity);
    dst.resize(static_cast<size_t>(dstLen));
    return dst;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    const size_t capacity = 1 + data[0] + data[1] * size_t{16};
    const Bytes src(data + 2, data + size);
    size_t consumed = 0;
    ZelStatus status = zelStsOk;
    for (const size_t room : {src.size(), capacity}) {
        const Symbols symbols = encode(src, room, consumed);
        const Bytes restored = decode(symbols, consumed, status);
        require(status == zelStsOk && restored.size() == consumed);
        require(std::memcmp(restored.data(), src.data(), consumed) == 0);
    }
    // Bytes as symbols: as they are, and as digits for the most part.
    Symbols symbols(src.begin(), src.end());
    decode(symbols, capacity, status);
    for (auto& symbol : symbols)
        symbol = static_cast<uint16_t>(symbol < 200 ? symbol & 1 : symbol * 3);
    decode(symbols, capacity, status);
    return 0;
}
