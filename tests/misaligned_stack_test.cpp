// Operations called from stacks that are aligned to 4 bytes only give what they always give.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/misaligned_call.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

#ifdef __i386__

namespace {

using support::Bytes;
using support::callMisaligned;
using support::word;

const void* address(ZelStatus (*operation)(const uint8_t*, int32_t, uint32_t*)) {
    return reinterpret_cast<const void*>(operation);
}

TEST(MisalignedStack, Checksums) {
    for (const size_t size : {100U, 5000U, 700000U}) {
        const Bytes src = support::textLike(size, 3);
        for (auto* operation : {zelsCRC32_8u, zelsCRC32_BZ2_8u, zelsAdler32_8u}) {
            uint32_t expected = 1;
            ASSERT_EQ(operation(src.data(), static_cast<int32_t>(size), &expected), zelStsOk);
            for (const uint32_t shift : support::kStackShifts) {
                uint32_t value = 1;
                EXPECT_EQ(callMisaligned(shift, address(operation),
                                         {word(src.data()), size, word(&value)}),
                          zelStsOk);
                EXPECT_EQ(value, expected);
            }
        }
    }
}

TEST(MisalignedStack, MemoryAndSort) {
    for (const uint32_t shift : support::kStackShifts) {
        int32_t elements[300];
        const auto* set = reinterpret_cast<const void*>(&ownsSet_32s);
        const auto* sort = reinterpret_cast<const void*>(&zelsSortAscend_32s_I);
        EXPECT_EQ(callMisaligned(shift, set, {9, word(elements), 300}), zelStsOk);
        EXPECT_EQ(elements[299], 9);
        for (int32_t i = 0; i < 300; ++i)
            elements[i] = 300 - i;
        EXPECT_EQ(callMisaligned(shift, sort, {word(elements), 300}), zelStsOk);
        for (int32_t i = 0; i < 300; ++i)
            EXPECT_EQ(elements[i], i + 1);
    }
}

// A hook is compiled for the full alignment and must find it.
int hookCalls = 0;
int hookCallsOffBalance = 0;

void lookAtFrame(const void* frame) {
    ++hookCalls;
    // The return address and the saved frame pointer lie between the frame and the arguments.
    hookCallsOffBalance += (word(frame) + 2 * sizeof(void*)) % 16 != 0 ? 1 : 0;
}

void* watchingMalloc(size_t size) {
    lookAtFrame(__builtin_frame_address(0));
    return malloc(size);
}

void watchingFree(void* block) {
    lookAtFrame(__builtin_frame_address(0));
    free(block);
}

TEST(MisalignedStack, HooksAreCalledAligned) {
    i_malloc = watchingMalloc;
    i_free = watchingFree;
    for (const uint32_t shift : support::kStackShifts) {
        const int32_t block =
            callMisaligned(shift, reinterpret_cast<const void*>(&zelsMalloc_8u), {1000});
        EXPECT_NE(block, 0);
        callMisaligned(shift, reinterpret_cast<const void*>(&zelsFree),
                       {static_cast<uintptr_t>(block)});
    }
    i_malloc = malloc;
    i_free = free;
    EXPECT_EQ(hookCalls, 8);
    EXPECT_EQ(hookCallsOffBalance, 0);
}

}  // namespace

#endif
