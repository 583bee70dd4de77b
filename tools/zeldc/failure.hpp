// How the tool reports what it cannot do.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdio>
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

// An output that is in the way. Said even to those who want no warnings.
struct Conflict : Refusal {
    using Refusal::Refusal;
};

// A file that there is nothing to do for. No matter for the exit status.
struct PassedOver : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] inline void failWithErrno(const std::string& what) {
    throw Failure(what + ": " + std::strerror(errno));
}

// Content that is not what the format asks for, at this byte of the input.
[[noreturn]] inline void failAt(uint64_t offset, const std::string& what) {
    throw Failure("offset " + std::to_string(offset) + ": " + what);
}

// A name as messages show it: on one line, and without commands to the terminal.
inline std::string printable(std::string name) {
    for (char& c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7F) c = '?';
    }
    return name;
}

// One line about a file, or about standard input.
inline void say(const std::string& path, const std::string& text) {
    const std::string line = (path == "-" ? "standard input" : path) + ": " + text;
    std::fprintf(stderr, "zeldc: %s\n", printable(line).c_str());
}

}  // namespace tool
