// Files opened for reading, - standing for standard input.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "failure.hpp"
#include "progress.hpp"

namespace tool {

// Closes a file, but none of the three that every process begins with.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ > STDERR_FILENO) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }

  private:
    int number_;
};

inline int openForReading(const std::string& path) {
    if (path == "-") return STDIN_FILENO;
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) failWithErrno("cannot open");
    return descriptor;
}

// The size of a regular file, 0 for anything else.
inline uint64_t sizeOf(const struct stat& info) {
    return S_ISREG(info.st_mode) ? static_cast<uint64_t>(info.st_size) : 0;
}

}  // namespace tool
