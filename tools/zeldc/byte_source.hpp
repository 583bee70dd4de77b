// Reads a file, or memory, in pieces of bounded size and hands out the bytes where they lie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "progress.hpp"

namespace tool {

class ByteSource {
  public:
    // Bytes already consumed that stay readable in front of next(). The deflate decoder needs two
    // (it gives back what it read too far, and that may have been in the piece before); the
    // bzip2 block builder takes back one.
    static constexpr size_t kKept = 8;
    static constexpr size_t kPiece = size_t{256} << 10;

    ByteSource(int descriptor, Progress& progress);
    // Reads these bytes, which stay where they are.
    ByteSource(const uint8_t* src, size_t size);

    const uint8_t* next() const { return buffer_.data() + next_; }
    size_t left() const { return end_ - next_; }
    // The place of next() in the input.
    uint64_t offset() const { return read_ - left(); }

    void consume(size_t size) { next_ += size; }
    void stepBack(size_t size) { next_ -= size; }
    void moveTo(const uint8_t* next) { next_ = static_cast<size_t>(next - buffer_.data()); }

    // Reads on behind what is left, which moves. False at the end of the input.
    bool refill();
    // Whether size bytes (at most kPiece) are left, after reading if need be.
    bool ensure(size_t size);
    // Takes up to size bytes, fewer only at the end of the input.
    size_t take(uint8_t* dst, size_t size);
    // The next byte, or -1 at the end of the input.
    int get();

  private:
    size_t readSome(uint8_t* dst, size_t size);

    int descriptor_ = -1;
    Progress* progress_ = nullptr;
    const uint8_t* memory_ = nullptr;
    size_t memoryLeft_ = 0;
    std::vector<uint8_t> buffer_;
    size_t next_ = kKept;
    size_t end_ = kKept;
    uint64_t read_ = 0;
};

}  // namespace tool
