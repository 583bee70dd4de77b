// What the stages around the transform share at their edge: a source of which a part is consumed
// and a destination whose length is capacity on entry and count on return.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::blocksort {

// What one call did, in elements.
struct StageResult {
    size_t consumed;
    size_t written;
    ZelStatus status;
};

template <class Source>
ZelStatus report(const StageResult& result, Source** ppSrc, int32_t* pSrcLen, int32_t* pDstLen) {
    auto& src = *anyAlignment(ppSrc);
    src = src + result.consumed;
    *anyAlignment(pSrcLen) -= static_cast<int32_t>(result.consumed);
    *anyAlignment(pDstLen) = static_cast<int32_t>(result.written);
    return result.status;
}

}  // namespace zeldc::blocksort
