// zeldc sum: the three checksums of files or of standard input.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "commands.hpp"
#include "zeldc.h"

namespace tool {
namespace {

constexpr size_t kBufferSize = size_t{1} << 20;

struct Sums {
    uint32_t crc32 = 0;
    uint32_t bzip2 = 0;
    uint32_t adler32 = 1;
};

void add(Sums& sums, const uint8_t* src, size_t size) {
    const auto len = static_cast<int32_t>(size);
    zelsCRC32_8u(src, len, &sums.crc32);
    zelsCRC32_BZ2_8u(src, len, &sums.bzip2);
    zelsAdler32_8u(src, len, &sums.adler32);
}

// False, with errno set, if reading failed.
bool sumUp(int descriptor, Sums& sums) {
    std::vector<uint8_t> buffer(kBufferSize);
    for (;;) {
        const ssize_t got = read(descriptor, buffer.data(), buffer.size());
        if (got > 0) {
            add(sums, buffer.data(), static_cast<size_t>(got));
        } else if (got == 0) {
            return true;
        } else if (errno != EINTR) {
            return false;
        }
    }
}

bool sumFile(const std::string& name) {
    const bool standardInput = name == "-";
    const int descriptor = standardInput ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    Sums sums;
    const bool good = descriptor >= 0 && sumUp(descriptor, sums);
    if (!good) std::fprintf(stderr, "zeldc: %s: %s\n", name.c_str(), std::strerror(errno));
    if (descriptor >= 0 && !standardInput) close(descriptor);
    if (good) {
        std::printf("crc32 %08x  bzip2 %08x  adler32 %08x  %s\n", sums.crc32, sums.bzip2,
                    sums.adler32, name.c_str());
    }
    return good;
}

}  // namespace

void addSumCommand(CLI::App& app, int& exitStatus) {
    auto* command = app.add_subcommand("sum", "Print CRC-32, bzip2 CRC and Adler-32 of files");
    auto files = std::make_shared<std::vector<std::string>>();
    command->add_option("FILE", *files, "Files to read; - or none: standard input");
    command->callback([files, &exitStatus] {
        if (files->empty()) files->emplace_back("-");
        for (const auto& name : *files) {
            if (!sumFile(name)) exitStatus = 1;
        }
    });
}

}  // namespace tool
