// Each tier of each checksum against the byte-wise definition, over lengths, alignments and
// starting values.
#include <gtest/gtest.h>

#include "checksum/checksum.hpp"
#include "checksum/kernels.hpp"
#include "core/cpu.hpp"
#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"

namespace zeldc::checksum {
namespace {

uint32_t reflectedByBits(uint32_t crc, const uint8_t* src, size_t size) {
    for (; size != 0; --size) {
        crc ^= *src++;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
    }
    return crc;
}

uint32_t msbFirstByBits(uint32_t crc, const uint8_t* src, size_t size) {
    for (; size != 0; --size) {
        crc ^= uint32_t{*src++} << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ ((crc >> 31) != 0 ? 0x04C11DB7U : 0);
    }
    return crc;
}

uint32_t adlerByBytes(uint32_t adler, const uint8_t* src, size_t size) {
    uint32_t a = adler & 0xFFFF;
    uint32_t b = adler >> 16;
    for (; size != 0; --size) {
        a = (a + *src++) % 65521;
        b = (b + a) % 65521;
    }
    return b << 16 | a;
}

struct Tier {
    const char* name;
    CrcKernel* kernel;
    CrcKernel* definition;
    bool present;
};

std::vector<Tier> tiers() {
    const cpu::Features has = cpu::detect();
    return {
        {"crc32 plain", crc32Plain, reflectedByBits, true},
        {"crc32 clmul", crc32Clmul, reflectedByBits, has.pclmul && has.sse41},
        {"crc32 wide", crc32WideClmul, reflectedByBits, has.vpclmul && has.avx2},
        {"bzip2 crc plain", crc32Bz2Plain, msbFirstByBits, true},
        {"bzip2 crc clmul", crc32Bz2Clmul, msbFirstByBits, has.pclmul && has.sse41},
        {"bzip2 crc wide", crc32Bz2WideClmul, msbFirstByBits, has.vpclmul && has.avx2},
        {"adler plain", adler32Plain, adlerByBytes, true},
        {"adler ssse3", adler32Ssse3, adlerByBytes, has.ssse3},
        {"adler avx2", adler32Avx2, adlerByBytes, has.avx2},
    };
}

TEST(ChecksumTiers, AgreeWithTheDefinition) {
    support::Random random(7);
    for (const Tier& tier : tiers()) {
        if (!tier.present) continue;
        for (size_t size = 0; size < 400; ++size) {
            support::GuardedBuffer buffer(support::randomBytes(size + size % 16, size));
            const uint8_t* src = buffer.data() + size % 16;
            // Adler-32 of unreduced halves, of 0 and of all ones are legal starts.
            for (const uint32_t start : {0U, 0xFFFFFFFFU, static_cast<uint32_t>(random.next())}) {
                EXPECT_EQ(tier.kernel(start, src, size), tier.definition(start, src, size))
                    << tier.name << " size " << size << " start " << start;
            }
        }
    }
}

// The sums' bounds are tightest over long runs of 0xFF from unreduced halves.
TEST(ChecksumTiers, LongInputsStayExact) {
    for (const size_t size : {5551U, 5552U, 5553U, 11104U, 1200000U}) {
        for (const auto& shape : support::shapes(size)) {
            const support::GuardedBuffer buffer(shape.bytes);
            const support::GuardedBuffer ones(support::Bytes(size, 0xFF));
            for (const Tier& tier : tiers()) {
                if (!tier.present) continue;
                EXPECT_EQ(tier.kernel(0xFFFFFFFFU, ones.data(), size),
                          tier.definition(0xFFFFFFFFU, ones.data(), size))
                    << tier.name << " ones " << size;
                EXPECT_EQ(tier.kernel(1, buffer.data(), size),
                          tier.definition(1, buffer.data(), size))
                    << tier.name << " " << shape.name << " " << size;
            }
        }
    }
}

}  // namespace
}  // namespace zeldc::checksum
