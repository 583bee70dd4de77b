// How the tool reports what it cannot do.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tool {

// Ends the work on one file; the message lacks only the file's name. Exit status 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A file that is passed over, for a reason that the user may want to override. Exit status 2.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] inline void failWithErrno(const std::string& what) {
    throw Failure(what + ": " + std::strerror(errno));
}

// Content that is not what the format asks for, at this byte of the input.
[[noreturn]] inline void failAt(uint64_t offset, const std::string& what) {
    throw Failure("offset " + std::to_string(offset) + ": " + what);
}

}  // namespace tool
