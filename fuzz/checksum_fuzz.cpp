// Checksums: any split of the input gives the checksum of the whole.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>

#include "zeldc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const size_t cut = 1 + data[0] % (size - 1);
    for (auto* operation : {zelsCRC32_8u, zelsCRC32_BZ2_8u, zelsAdler32_8u}) {
        uint32_t whole = 1;
        uint32_t split = 1;
        operation(data, static_cast<int32_t>(size), &whole);
        operation(data, static_cast<int32_t>(cut), &split);
        operation(data + cut, static_cast<int32_t>(size - cut), &split);
        if (whole != split) std::abort();
    }
    return 0;
}
