#include <gtest/gtest.h>
#include <zlib.h>

#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;

TEST(Checksum, KnownAnswers) {
    const auto* digits = reinterpret_cast<const uint8_t*>("123456789");
    uint32_t value = 0;
    EXPECT_EQ(zelsCRC32_8u(digits, 9, &value), zelStsOk);
    EXPECT_EQ(value, 0xCBF43926U);
}

}  // namespace
