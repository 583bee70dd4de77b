// Initial run lengths: any cuts give one output, it decodes to the input, and any bytes decode
// without harm into a destination of any size.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zeldc.h"

namespace {

using Bytes = std::vector<uint8_t>;

void require(bool holds) {
    if (!holds) std::abort();
}

Bytes encode(const Bytes& src, size_t piece, size_t room, RleBz2State* state) {
    zelsEncodeRLEInit_BZ2_8u(state);
    Bytes out;
    for (size_t at = 0; at < src.size();) {
        const Bytes part(
            src.begin() + static_cast<std::ptrdiff_t>(at),
            src.begin() + static_cast<std::ptrdiff_t>(std::min(src.size(), at + piece)));
        Bytes dst(room);
        const uint8_t* srcNext = part.data();
        auto srcLen = static_cast<int32_t>(part.size());
        auto dstLen = static_cast<int32_t>(room);
        const ZelStatus status =
            zelsEncodeRLE_BZ2_8u(&srcNext, &srcLen, dst.data(), &dstLen, state);
        require(status == (srcLen == 0 ? zelStsOk : zelStsDstFull));
        require(srcLen == 0 || dstLen == static_cast<int32_t>(room));
        out.insert(out.end(), dst.begin(), dst.begin() + dstLen);
        at += static_cast<size_t>(srcNext - part.data());
    }
    uint8_t last = 0;
    int32_t lastLen = 1;
    zelsEncodeRLEFlush_BZ2_8u(&last, &lastLen, state);
    out.insert(out.end(), static_cast<size_t>(lastLen), last);
    return out;
}

Bytes decode(const Bytes& src, size_t capacity, ZelStatus& status) {
    Bytes dst(capacity);
    const uint8_t* srcNext = src.data();
    auto srcLen = static_cast<int32_t>(src.size());
    auto dstLen = static_cast<int32_t>(capacity);
    status = zelsDecodeRLE_BZ2_8u(&srcNext, &srcLen, dst.data(), &dstLen);
    require(dstLen >= 0 && static_cast<size_t>(dstLen) <= capacity);
    dst.resize(static_cast<size_t>(dstLen));
    return dst;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    const size_t piece = 1 + data[0];
    const size_t room = 1 + data[1];
    const size_t capacity = 1 + data[2] * size_t{16};
    const Bytes src(data + 3, data + size);
    Bytes memory(264);
    auto* state = reinterpret_cast<RleBz2State*>(memory.data());

    const Bytes whole = encode(src, src.size(), 2 * src.size() + 1, state);
    require(whole.size() <= src.size() + src.size() / 4);
    require(encode(src, piece, room, state) == whole);
    ZelStatus status = zelStsOk;
    require(decode(whole, src.size() + 1, status) == src && status == zelStsOk);
    require(decode(whole, src.size(), status) == src && status == zelStsDstFull);
    decode(src, capacity, status);
    return 0;
}
