// GIT coder: any block, under any strategy, is restored; and coded as the bitwise model codes it,
// which is slow and only looked at where the first byte says so.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tests/support/git_model.hpp"
#include "tests/support/guarded_buffer.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;

constexpr size_t kMostInput = 4000;
constexpr size_t kMostBytes = 40000;

// Runs spelled as value and length, so that long blocks come from short inputs.
Bytes expanded(const uint8_t* data, size_t size, bool runs) {
    if (!runs) return {data, data + size};
    Bytes bytes;
    for (size_t i = 0; i + 1 < size && bytes.size() < kMostBytes; i += 2)
        bytes.insert(bytes.end(), 1U + data[i + 1], data[i]);
    return bytes;
}

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > kMostInput) return 0;
    const int32_t strategy = data[0] % 6 - 1;
    const Bytes bytes = expanded(data + 1, size - 1, (data[0] & 0x80) != 0);

    const auto limit = static_cast<int32_t>(std::max<size_t>(bytes.size(), 1));
    const int32_t codedLimit = 2 * limit + 8192;
    GitEncodeState* encoder = nullptr;
    GitDecodeState* decoder = nullptr;
    require(zelsEncodeGITInitAlloc_8u(limit, codedLimit, &encoder) >= zelStsOk);
    require(zelsDecodeGITInitAlloc_8u(limit, limit, &decoder) == zelStsOk);
    Bytes block(static_cast<size_t>(codedLimit));
    int32_t blockSize = 0;
    require(zelsEncodeGIT_8u(bytes.data() == nullptr ? data : bytes.data(),
                             static_cast<int32_t>(bytes.size()), block.data(), &blockSize, strategy,
                             encoder) == zelStsOk);
    block.resize(static_cast<size_t>(blockSize));
    if ((data[0] & 0x40) != 0) require(block == support::gitModelEncode(bytes, strategy));

    const support::GuardedBuffer in(block);
    Bytes out(static_cast<size_t>(limit));
    int32_t written = 0;
    require(zelsDecodeGIT_8u(in.data(), &blockSize, out.data(), &written, strategy, decoder) ==
            zelStsOk);
    out.resize(static_cast<size_t>(written));
    require(out == bytes);
    zelsGITFree_8u(encoder);
    zelsGITFree_8u(decoder);
    return 0;
}
