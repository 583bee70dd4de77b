#include "bit_sink.hpp"

namespace tool {

void BitSink::put(uint64_t value, unsigned count) {
    pending_ = pending_ << count | value;
    pendingCount_ += count;
    while (pendingCount_ >= 8) {
        pendingCount_ -= 8;
        bytes_.push_back(static_cast<uint8_t>(pending_ >> pendingCount_));
    }
    pending_ &= (1U << pendingCount_) - 1;
}

void BitSink::append(const uint8_t* src, uint64_t count) {
    const auto whole = static_cast<size_t>(count / 8);
    const unsigned rest = count % 8;
    auto carry = static_cast<uint32_t>(pending_);
    const size_t start = bytes_.size();
    bytes_.resize(start + whole);
    for (size_t i = 0; i < whole; ++i) {
        carry = carry << 8 | src[i];
        bytes_[start + i] = static_cast<uint8_t>(carry >> pendingCount_);
        carry &= 0xFF;
    }
    pending_ = carry & ((1U << pendingCount_) - 1);
    if (rest != 0) put(src[whole] >> (8 - rest), rest);
    sink_.write(bytes_.data(), bytes_.size());
    bytes_.clear();
}

void BitSink::finish() {
    if (pendingCount_ != 0) put(0, 8 - pendingCount_);
    sink_.write(bytes_.data(), bytes_.size());
    bytes_.clear();
}

}  // namespace tool
