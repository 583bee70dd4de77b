// As long as one exists, the library is given no memory.
#pragma once

#include "zeldc.h"

namespace support {

class NoMemory {
  public:
    NoMemory() : saved_(i_malloc) {
        i_malloc = [](size_t) -> void* { return nullptr; };
    }
    ~NoMemory() { i_malloc = saved_; }
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;

  private:
    decltype(i_malloc) saved_;
};

}  // namespace support
