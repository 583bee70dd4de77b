// Joins runs of bits that begin and end anywhere, most significant bit first.
#pragma once

#include <cstdint>
#include <vector>

#include "byte_sink.hpp"

namespace tool {

class BitSink {
  public:
    explicit BitSink(ByteSink& sink) : sink_(sink) {}

    // The lower `count` (up to 56) bits of value.
    void put(uint64_t value, unsigned count);
    // The first `count` bits of src.
    void append(const uint8_t* src, uint64_t count);
    // Pads to a byte and hands everything on.
    void finish();

  private:
    ByteSink& sink_;
    uint64_t pending_ = 0;  // fewer than 8 bits
    unsigned pendingCount_ = 0;
    std::vector<uint8_t> bytes_;
};

}  // namespace tool
