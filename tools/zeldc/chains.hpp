// Every way of compressing that the library's stages can be assembled to, on whole buffers.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

using Bytes = std::vector<uint8_t>;

struct Chain {
    std::string name;
    std::string stages;  // what it is made of
    std::function<Bytes(const Bytes& plain)> pack;
    std::function<Bytes(const Bytes& packed, size_t plainSize)> unpack;
};

std::vector<Chain> allChains();

}  // namespace tool
