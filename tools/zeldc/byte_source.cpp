#include "byte_source.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "failure.hpp"

namespace tool {

ByteSource::ByteSource(int descriptor, Progress& progress)
    : descriptor_(descriptor), progress_(&progress), buffer_(2 * kKept + 2 * kPiece) {}

ByteSource::ByteSource(const uint8_t* src, size_t size)
    : memory_(src), memoryLeft_(size), buffer_(2 * kKept + 2 * kPiece) {}

size_t ByteSource::readSome(uint8_t* dst, size_t size) {
    if (memory_ != nullptr) {
        const size_t got = std::min(size, memoryLeft_);
        std::memcpy(dst, memory_, got);
        memory_ += got;
        memoryLeft_ -= got;
        read_ += got;
        return got;
    }
    for (;;) {
        const ssize_t got = read(descriptor_, dst, size);
        if (got >= 0) {
            read_ += static_cast<uint64_t>(got);
            progress_->advance(static_cast<uint64_t>(got));
            return static_cast<size_t>(got);
        }
        if (errno != EINTR) failWithErrno("cannot read");
    }
}

bool ByteSource::refill() {
    const size_t keepFrom = next_ - std::min(next_, kKept);
    if (keepFrom > 0) {
        std::memmove(buffer_.data(), buffer_.data() + keepFrom, end_ - keepFrom);
        next_ -= keepFrom;
        end_ -= keepFrom;
    }
    const size_t got = readSome(buffer_.data() + end_, std::min(kPiece, buffer_.size() - end_));
    end_ += got;
    return got > 0;
}

bool ByteSource::ensure(size_t size) {
    while (left() < size) {
        if (!refill()) return false;
    }
    return true;
}

size_t ByteSource::take(uint8_t* dst, size_t size) {
    size_t taken = std::min(size, left());
    std::memcpy(dst, next(), taken);
    consume(taken);
    while (taken < size) {
        const size_t got = readSome(dst + taken, size - taken);
        if (got == 0) break;
        taken += got;
    }
    return taken;
}

int ByteSource::get() {
    if (!ensure(1)) return -1;
    const int value = *next();
    consume(1);
    return value;
}

}  // namespace tool
