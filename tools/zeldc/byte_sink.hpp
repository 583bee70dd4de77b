// Writes to a file, to memory, or nowhere: testing and listing only count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tool {

class ByteSink {
  public:
    static constexpr int kNowhere = -1;

    explicit ByteSink(int descriptor) : descriptor_(descriptor) {}
    // Appends to these bytes.
    explicit ByteSink(std::vector<uint8_t>& memory) : memory_(&memory) {}

    void write(const uint8_t* src, size_t size);
    uint64_t count() const { return count_; }

  private:
    int descriptor_ = kNowhere;
    std::vector<uint8_t>* memory_ = nullptr;
    uint64_t count_ = 0;
};

}  // namespace tool
