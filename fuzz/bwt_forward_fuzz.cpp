// Forward transform and back: every block that is not a word repeated seven times or more is
// restored, small blocks always, and both sizes agree where both sort completely.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zeldc.h"

namespace {

using Bytes = std::vector<uint8_t>;

void require(bool condition) {
    if (!condition) std::abort();
}

size_t period(const Bytes& block) {
    size_t p = 1;
    while (block.size() % p != 0 ||
           !std::equal(block.begin() + static_cast<std::ptrdiff_t>(p), block.end(), block.begin()))
        ++p;
    return p;
}

// The first byte says how often the rest is repeated, so that repetitions are met at all.
Bytes blockFrom(const uint8_t* data, size_t size) {
    const size_t times = data[0] < 224 ? 1 : 1U + data[0] % 32U;
    Bytes block;
    for (size_t i = 0; i < times; ++i)
        block.insert(block.end(), data + 1, data + size);
    return block;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const Bytes block = blockFrom(data, size);
    const auto len = static_cast<int32_t>(block.size());
    int32_t workSize = 0;
    require(zelsBWTFwdGetSize_8u(len, &workSize) == zelStsOk);
    Bytes work(static_cast<size_t>(workSize));
    Bytes large(block.size());
    Bytes restored(block.size());
    int32_t index = -1;
    require(zelsBWTFwd_8u(block.data(), large.data(), len, &index, work.data()) == zelStsOk);
    require(index >= 0 && index < len);
    require(zelsBWTInv_8u(large.data(), restored.data(), len, index, work.data()) == zelStsOk);
    const size_t p = period(block);
    const bool complete = p == 1 || block.size() / p < 7;
    require(!complete || restored == block);

    if (zelsBWTGetSize_SmallBlock_8u(len, &workSize) != zelStsOk) return 0;
    work.assign(static_cast<size_t>(workSize), 0xA5);
    work.shrink_to_fit();
    Bytes small(block.size());
    require(zelsBWTFwd_SmallBlock_8u(block.data(), small.data(), len, &index, work.data()) ==
            zelStsOk);
    require(zelsBWTInv_SmallBlock_8u(small.data(), restored.data(), len, index, work.data()) ==
            zelStsOk);
    require(restored == block);
    require(!complete || small == large);
    return 0;
}
