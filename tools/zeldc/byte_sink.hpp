// Writes to a file, or nowhere: testing and listing only count.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tool {

class ByteSink {
  public:
    static constexpr int kNowhere = -1;

    explicit ByteSink(int descriptor) : descriptor_(descriptor) {}

    void write(const uint8_t* src, size_t size);
    uint64_t count() const { return count_; }

  private:
    int descriptor_;
    uint64_t count_ = 0;
};

}  // namespace tool
