// The zeldc command.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "command_line.hpp"

namespace {

// A file opened in the place of a closed standard one would be taken for it, and messages written
// into an output. What stands in refuses to be read or written.
void occupyStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    try {
        return tool::runCommandLine(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zeldc: %s\n", error.what());
    } catch (...) {
        std::fputs("zeldc: unknown failure\n", stderr);
    }
    return 1;
}
