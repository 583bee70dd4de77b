// A buffer whose last byte is followed by an unreadable page (or whose first byte is preceded by
// one), so that a single byte too far is a fault in every build, not only under a sanitizer.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace support {

enum class Guard { after, before };

class GuardedBuffer {
  public:
    explicit GuardedBuffer(size_t size, Guard guard = Guard::after) : size_(size) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t body = (size + page - 1) / page * page;
        mapped_ = body + 2 * page;
        void* base = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED) std::abort();
        base_ = static_cast<uint8_t*>(base);
        if (body != 0 && mprotect(base_ + page, body, PROT_READ | PROT_WRITE) != 0) std::abort();
        data_ = base_ + page + (guard == Guard::after ? body - size : 0);
    }
    explicit GuardedBuffer(const std::vector<uint8_t>& content, Guard guard = Guard::after)
        : GuardedBuffer(content.size(), guard) {
        if (!content.empty()) std::memcpy(data_, content.data(), content.size());
    }
    ~GuardedBuffer() { munmap(base_, mapped_); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    uint8_t* data() { return data_; }
    const uint8_t* data() const { return data_; }
    size_t size() const { return size_; }
    uint8_t* end() { return data_ + size_; }
    uint8_t& operator[](size_t i) { return data_[i]; }
    std::vector<uint8_t> content() const { return {data_, data_ + size_}; }

  private:
    uint8_t* base_ = nullptr;
    uint8_t* data_ = nullptr;
    size_t mapped_ = 0;
    size_t size_ = 0;
};

// Memory for a state at an odd address, ending at an unreadable page: exactly `size` bytes belong
// to it. (Sizes of states are even, so ending at the page makes the address even; odd states
// therefore start right behind a page instead, one byte in.)
template <class State>
class StateMemory {
  public:
    enum class Place { odd, endsAtPage };
    explicit StateMemory(size_t size, Place place = Place::odd)
        : buffer_(size + (place == Place::odd ? 1 : 0)), odd_(place == Place::odd) {
        if (odd_ && (address() & 1) == 0) shift_ = 1;
        std::memset(buffer_.data(), 0xA5, buffer_.size());  // nothing may rely on zeroed memory
    }
    State* get() { return reinterpret_cast<State*>(buffer_.data() + shift_); }
    operator State*() { return get(); }  // NOLINT: used as the state it holds

  private:
    uintptr_t address() const { return reinterpret_cast<uintptr_t>(buffer_.data()); }

    GuardedBuffer buffer_;
    bool odd_;
    size_t shift_ = 0;
};

}  // namespace support
