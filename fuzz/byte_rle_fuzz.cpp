// Byte RLE: any bytes decode within the room; what a call has encoded decodes to what it took.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zeldc.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void decodeAnything(const std::vector<uint8_t>& input, size_t capacity) {
    std::vector<uint8_t> out(capacity);
    const uint8_t* next = input.data();
    auto left = static_cast<int32_t>(input.size());
    auto size = static_cast<int32_t>(capacity);
    const ZelStatus status = zelsDecodeRLE_8u(&next, &left, out.data(), &size);
    require(next + left == input.data() + input.size());
    require(status == (left > 0 ? zelStsDstFull : zelStsOk));
    require(size <= static_cast<int32_t>(capacity) + 255);
}

void roundTrip(const std::vector<uint8_t>& input, size_t capacity) {
    const uint8_t* next = input.data();
    auto left = static_cast<int32_t>(input.size());
    while (left > 0) {
        const uint8_t* const begin = next;
        std::vector<uint8_t> coded(capacity);
        auto size = static_cast<int32_t>(capacity);
        zelsEncodeRLE_8u(&next, &left, coded.data(), &size);
        const auto taken = static_cast<size_t>(next - begin);
        std::vector<uint8_t> out(taken);
        const uint8_t* codedNext = coded.data();
        int32_t codedLeft = size;
        auto outSize = static_cast<int32_t>(taken);
        require(zelsDecodeRLE_8u(&codedNext, &codedLeft, out.data(), &outSize) == zelStsOk);
        require(outSize == static_cast<int32_t>(taken));
        require(std::memcmp(out.data(), begin, taken) == 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const std::vector<uint8_t> input(data + 1, data + size);
    const size_t capacity = 1 + data[0] * size / 100;
    decodeAnything(input, capacity);
    roundTrip(input, capacity);
    return 0;
}
