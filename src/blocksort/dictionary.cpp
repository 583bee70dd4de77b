// The alphabet of a block: byte values in use are renumbered 0, 1, 2 .., so that move-to-front
// starts from a list without gaps and the coder's alphabet is as small as can be.
#include <array>

#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::blocksort {
namespace {

using ByteMap = std::array<uint8_t, 256>;

void apply(const ByteMap& map, uint8_t* bytes, size_t size) {
    for (; size >= 4; size -= 4, bytes += 4) {
        const auto four = load<uint32_t>(bytes);
        bytes[0] = map[four & 0xFF];
        bytes[1] = map[four >> 8 & 0xFF];
        bytes[2] = map[four >> 16 & 0xFF];
        bytes[3] = map[four >> 24];
    }
    for (; size != 0; --size, ++bytes)
        *bytes = map[*bytes];
}

// The rank of each value, marked or not: how many marked values are smaller. Returns the number of
// marked values.
int32_t ranksOf(const uint8_t* inUse, ByteMap& map) {
    int32_t rank = 0;
    for (size_t value = 0; value < map.size(); ++value) {
        map[value] = static_cast<uint8_t>(rank);
        rank += inUse[value] != 0 ? 1 : 0;
    }
    return rank;
}

// The marked values in ascending order, `count` of them at most; what is no rank of one maps to 0.
void valuesOf(const uint8_t* inUse, int32_t count, ByteMap& map) {
    map.fill(0);
    int32_t rank = 0;
    for (size_t value = 0; value < map.size() && rank < count; ++value) {
        if (inUse[value] != 0) map[static_cast<size_t>(rank++)] = static_cast<uint8_t>(value);
    }
}

}  // namespace
}  // namespace zeldc::blocksort

using namespace zeldc;
using namespace zeldc::blocksort;

extern "C" ZelStatus zelsReduceDictionary_8u_I(const uint8_t* inUse, uint8_t* pSrcDst, int32_t len,
                                               int32_t* pSizeDictionary) {
    if (inUse == nullptr || pSrcDst == nullptr || pSizeDictionary == nullptr)
        return zelStsNullPointer;
    if (len < 1) return zelStsBadSize;
    ByteMap map;
    const int32_t count = ranksOf(inUse, map);
    apply(map, pSrcDst, static_cast<size_t>(len));
    *anyAlignment(pSizeDictionary) = count;
    return zelStsOk;
}

extern "C" ZelStatus zelsExpandDictionary_8u_I(const uint8_t* inUse, uint8_t* pSrcDst, int32_t len,
                                               int32_t sizeDictionary) {
    if (inUse == nullptr || pSrcDst == nullptr) return zelStsNullPointer;
    if (len < 1 || sizeDictionary < 1) return zelStsBadSize;
    ByteMap map;
    valuesOf(inUse, sizeDictionary, map);
    apply(map, pSrcDst, static_cast<size_t>(len));
    return zelStsOk;
}
