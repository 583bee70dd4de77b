// The exported checksums: known answers, argument checks, splits, and outside judges.
#include <bzlib.h>
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using support::GuardedBuffer;

using Operation = ZelStatus (*)(const uint8_t*, int32_t, uint32_t*);

struct Checksum {
    const char* name;
    Operation operation;
    uint32_t start;
    uint32_t ofDigits;
};

constexpr Checksum kChecksums[] = {
    {"crc32", zelsCRC32_8u, 0, 0xCBF43926U},
    {"crc32 kernel", ownsCRC32_8u, 0, 0xCBF43926U},
    {"bzip2 crc", zelsCRC32_BZ2_8u, 0, 0xFC891918U},
    {"adler32", zelsAdler32_8u, 1, 0x091E01DEU},
};

uint32_t of(const Checksum& checksum, const uint8_t* src, size_t size) {
    uint32_t value = checksum.start;
    EXPECT_EQ(checksum.operation(src, static_cast<int32_t>(size), &value), zelStsOk);
    return value;
}

TEST(Checksum, KnownAnswerInEverySplit) {
    const GuardedBuffer digits(Bytes{'1', '2', '3', '4', '5', '6', '7', '8', '9'});
    for (const Checksum& checksum : kChecksums) {
        EXPECT_EQ(of(checksum, digits.data(), 9), checksum.ofDigits) << checksum.name;
        for (int32_t cut = 1; cut < 9; ++cut) {
            uint32_t value = checksum.start;
            EXPECT_EQ(checksum.operation(digits.data(), cut, &value), zelStsOk);
            EXPECT_EQ(checksum.operation(digits.data() + cut, 9 - cut, &value), zelStsOk);
            EXPECT_EQ(value, checksum.ofDigits) << checksum.name << " cut at " << cut;
        }
    }
}

TEST(Checksum, ArgumentsAreTestedInOrder) {
    const uint8_t byte = 7;
    for (const Operation crc : {zelsCRC32_8u, zelsCRC32_BZ2_8u}) {
        uint32_t value = 0x12345678;
        EXPECT_EQ(crc(nullptr, 0, &value), zelStsNullPointer);
        EXPECT_EQ(crc(&byte, 0, nullptr), zelStsNullPointer);
        EXPECT_EQ(crc(&byte, 0, &value), zelStsBadSize);
        EXPECT_EQ(crc(&byte, -1, &value), zelStsBadSize);
        EXPECT_EQ(value, 0x12345678U);
    }
    uint32_t value = 0x12345678;
    EXPECT_EQ(zelsAdler32_8u(&byte, 0, &value), zelStsOk);
    EXPECT_EQ(zelsAdler32_8u(&byte, -5, &value), zelStsOk);
    EXPECT_EQ(value, 0x12345678U);
    EXPECT_EQ(zelsAdler32_8u(nullptr, -5, &value), zelStsBadSize);
    EXPECT_EQ(value, 0U);
}

// The value's four bytes may be part of the source: the source then reads as zero there.
TEST(Checksum, AdlerClearsAnAliasedValueFirst) {
    uint32_t value = 0xAABBCCDD;
    uint32_t expected = 0xAABBCCDD;
    const Bytes zeros(4, 0);
    EXPECT_EQ(zelsAdler32_8u(zeros.data(), 4, &expected), zelStsOk);
    EXPECT_EQ(zelsAdler32_8u(reinterpret_cast<const uint8_t*>(&value), 4, &value), zelStsOk);
    EXPECT_EQ(value, expected);
}

TEST(Checksum, OutsideJudgesAgree) {
    for (const size_t size : {1U, 14U, 15U, 16U, 63U, 64U, 65U, 4096U, 100003U}) {
        for (const auto& shape : support::shapes(size + 8)) {
            for (size_t shift = 0; shift < 8; ++shift) {
                const uint8_t* src = shape.bytes.data() + shift;
                EXPECT_EQ(of(kChecksums[0], src, size), crc32(0, src, static_cast<uInt>(size)));
                EXPECT_EQ(of(kChecksums[3], src, size), libdeflate_adler32(1, src, size));
            }
        }
    }
}

// libbz2 writes the block's CRC into its stream, right behind the block's magic number.
TEST(Checksum, Bzip2StoresTheSameCrc) {
    Bytes src = support::textLike(5000, 3);
    Bytes packed(10000);
    auto packedSize = static_cast<unsigned>(packed.size());
    ASSERT_EQ(BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(packed.data()), &packedSize,
                                       reinterpret_cast<char*>(src.data()),
                                       static_cast<unsigned>(src.size()), 9, 0, 0),
              BZ_OK);
    const uint32_t stored = uint32_t{packed[10]} << 24 | uint32_t{packed[11]} << 16 |
                            uint32_t{packed[12]} << 8 | packed[13];
    EXPECT_EQ(of(kChecksums[2], src.data(), src.size()), stored);
}

}  // namespace
