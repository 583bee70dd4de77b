#include "byte_sink.hpp"

#include <unistd.h>

#include "failure.hpp"

namespace tool {

void ByteSink::write(const uint8_t* src, size_t size) {
    count_ += size;
    if (memory_ != nullptr) memory_->insert(memory_->end(), src, src + size);
    if (descriptor_ == kNowhere) return;
    while (size > 0) {
        const ssize_t put = ::write(descriptor_, src, size);
        if (put >= 0) {
            src += put;
            size -= static_cast<size_t>(put);
        } else if (errno != EINTR) {
            failWithErrno("cannot write");
        }
    }
}

}  // namespace tool
