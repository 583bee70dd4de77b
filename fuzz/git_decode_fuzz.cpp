// GIT decoder over arbitrary streams: it writes what the bitwise model writes, and nothing else.
//
// The input is cut into 256 streams, so that the lengths in the block are whole, as the decoder's
// contract asks. The model is slow: the first byte says whether it is asked.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tests/support/git_model.hpp"
#include "tests/support/guarded_buffer.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;

constexpr size_t kMostInput = 20000;

// Lengths are taken from the data itself: small as a rule, the last stream takes the rest.
Bytes blockFrom(const uint8_t* data, size_t size) {
    Bytes block;
    for (int stream = 0; stream < 256; ++stream) {
        size_t length = 0;
        if (stream == 255) {
            length = std::min<size_t>(size, 4);
        } else if (size > 1) {
            length = *data % 16 == 15 ? *data * 4U : *data % 16U;
            ++data;
            --size;
            length = std::min(length, size);
        }
        support::gitAppendStream(block, Bytes(data, data + length));
        data += length;
        size -= length;
    }
    return block;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3 || size > kMostInput) return 0;
    const int32_t strategy = data[0] % 6 - 1;
    const int32_t limit = 1 + data[1] * data[2] / 64;
    const Bytes block = blockFrom(data + 3, size - 3);

    int32_t stateSize = 0;
    if (zelsDecodeGITGetSize_8u(limit, &stateSize) != zelStsOk) std::abort();
    support::StateMemory<GitDecodeState> state(static_cast<size_t>(stateSize));
    if (zelsDecodeGITInit_8u(limit, state) != zelStsOk) std::abort();
    const support::GuardedBuffer in(block);
    support::GuardedBuffer out(static_cast<size_t>(limit));
    int32_t written = -1;
    const ZelStatus status =
        zelsDecodeGIT_8u(in.data(), nullptr, out.data(), &written, strategy, state);

    const size_t area = 256 * ((static_cast<size_t>(limit) & ~size_t{7}) + 8);
    if (block.size() - 1024 > area) {
        if (status != zelStsBadSize) std::abort();
        return 0;
    }
    if (data[0] < 0xC0) return 0;
    const auto expected = support::gitModelDecode(block, strategy, static_cast<size_t>(limit));
    if (status != (expected.tooLong ? zelStsBadSize : zelStsOk)) std::abort();
    if (written != (expected.tooLong ? -1 : static_cast<int32_t>(expected.bytes.size())))
        std::abort();
    if (!std::equal(expected.bytes.begin(), expected.bytes.end(), out.data())) std::abort();
    return 0;
}
