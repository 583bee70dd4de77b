// What the processor offers beyond the SSE2 baseline, asked by cpuid directly: the resolvers that
// use this run while the library is being relocated, when nothing outside their own code can be
// called (see dispatch.hpp).
#pragma once

#include <cpuid.h>

// Sanitizer runtimes are not up yet when resolvers run.
#define ZELDC_NO_SANITIZE __attribute__((no_sanitize("address", "thread", "undefined")))

namespace zeldc::cpu {

struct Features {
    bool ssse3 = false;
    bool sse41 = false;
    bool pclmul = false;
    bool avx2 = false;
    bool bmi2 = false;
    bool vpclmul = false;  // VPCLMULQDQ on 256-bit registers
};

// AVX registers are usable only when the system saves them (XCR0 bits 1 and 2).
ZELDC_NO_SANITIZE inline bool osSavesAvxState(unsigned leaf1Ecx) {
    if (!(leaf1Ecx & bit_OSXSAVE)) return false;
    unsigned low = 0;
    unsigned high = 0;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (low & 6U) == 6U;
}

ZELDC_NO_SANITIZE inline Features detect() {
    Features found;
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    __cpuid(0, a, b, c, d);
    const unsigned maxLeaf = a;
    __cpuid(1, a, b, c, d);
    found.ssse3 = (c & bit_SSSE3) != 0;
    found.sse41 = (c & bit_SSE4_1) != 0;
    found.pclmul = (c & bit_PCLMUL) != 0;
    if (maxLeaf < 7) return found;
    const bool avxUsable = osSavesAvxState(c);
    __cpuid_count(7, 0, a, b, c, d);
    found.avx2 = avxUsable && (b & bit_AVX2) != 0;
    found.bmi2 = (b & bit_BMI2) != 0;
    found.vpclmul = avxUsable && (c & bit_VPCLMULQDQ) != 0;
    return found;
}

#ifdef ZELDC_TESTING
// Set by the test program; starts as everything that the machine has.
extern Features forced;
inline Features features() {
    return forced;
}
#else
ZELDC_NO_SANITIZE inline Features features() {
    return detect();
}
#endif

}  // namespace zeldc::cpu
