#include "core/sort.hpp"

#include "core/unaligned.hpp"
#include "zeldc.h"

extern "C" ZelStatus zelsSortAscend_32s_I(int32_t* pSrcDst, int32_t len) {
    if (pSrcDst == nullptr) return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    zeldc::sortAscending(zeldc::anyAlignment(pSrcDst), len,
                         [](const zeldc::S32& element) { return int32_t{element}; });
    return zelStsOk;
}
