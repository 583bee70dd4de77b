// zeldc sum: the three checksums of files or of standard input.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "byte_source.hpp"
#include "commands.hpp"
#include "input_file.hpp"
#include "zeldc.h"

namespace tool {
namespace {

struct Sums {
    uint32_t crc32 = 0;
    uint32_t bzip2 = 0;
    uint32_t adler32 = 1;
};

Sums sumUp(const std::string& name) {
    const Descriptor file(openForReading(name));
    struct stat info {};
    if (fstat(file.get(), &info) != 0) failWithErrno("cannot read");
    Progress progress(name, sizeOf(info), true);
    ByteSource source(file.get(), progress);
    Sums sums;
    while (source.refill()) {
        const auto len = static_cast<int32_t>(source.left());
        zelsCRC32_8u(source.next(), len, &sums.crc32);
        zelsCRC32_BZ2_8u(source.next(), len, &sums.bzip2);
        zelsAdler32_8u(source.next(), len, &sums.adler32);
        source.consume(source.left());
    }
    return sums;
}

}  // namespace

int printSums(const std::vector<std::string>& files) {
    int exitStatus = 0;
    for (const auto& name : files) {
        try {
            const Sums sums = sumUp(name);
            std::printf("crc32 %08x  bzip2 %08x  adler32 %08x  %s\n", sums.crc32, sums.bzip2,
                        sums.adler32, name.c_str());
        } catch (const Failure& failure) {
            say(name, failure.what());
            exitStatus = 1;
        }
    }
    return exitStatus;
}

}  // namespace tool
