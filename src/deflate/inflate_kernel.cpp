// The tiers of the fast loop. BMI2 shifts by any register without touching flags, and masks in one
// instruction.
#include "deflate/inflate_kernel.hpp"

#include "core/dispatch.hpp"

namespace zeldc::deflate {
namespace {

// Each loop is a function of its own: compilers find fewer registers for one among others. Its
// alignment makes 2 to 3 % and should not depend on what the linker puts before it.
template <class Code, class Sink, bool kBursts>
[[gnu::noinline, gnu::aligned(64)]] int32_t loop(PlainTier tier, KernelIo& io) {
    return runLoop<Code, Sink, kBursts>(tier, io);
}
template <class Code, class Sink, bool kBursts>
[[gnu::noinline, gnu::aligned(64)]] __attribute__((target("bmi2"))) int32_t loop(Bmi2Tier tier,
                                                                                 KernelIo& io) {
    return runLoop<Code, Sink, kBursts>(tier, io);
}

template <class Code, class Sink, class Tier>
int32_t runKernel(KernelIo& io) {
    if constexpr (Code::kMayBeMostlyLiterals) {
        if (static_cast<const TablesOf<Code>*>(io.tables)->mostlyLiterals) {
            return loop<Code, Sink, true>(Tier{}, io);
        }
    }
    return loop<Code, Sink, false>(Tier{}, io);
}

template <class Code, class Tier>
int32_t runPairKernel(KernelIo& io) {
    return runKernel<Code, PairSink, Tier>(io);
}

// The loop that looks for the history, and when that is out of reach the other.
template <class Code, class Tier>
int32_t runByteKernel(KernelIo& io) {
    constexpr ptrdiff_t kOutOfReach = kFarthestDistance;
    const uint8_t* const dstEnd = io.dstEnd;
    const ptrdiff_t produced = io.dstNext - io.dstStart;
    if (produced < kOutOfReach) {
        io.dstEnd =
            io.dstNext + std::min(dstEnd - io.dstNext, kOutOfReach - produced + kByteMargin);
        const int32_t result = runKernel<Code, ByteSink<true>, Tier>(io);
        io.dstEnd = dstEnd;
        if (result != kMarginsUsedUp || io.srcEnd - io.srcNext < kSrcToEnter ||
            dstEnd - io.dstNext < kByteMargin) {
            return result;
        }
    }
    return runKernel<Code, ByteSink<false>, Tier>(io);
}

}  // namespace

extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateDynamic() {
    return cpu::features().bmi2 ? runByteKernel<DynamicCode, Bmi2Tier>
                                : runByteKernel<DynamicCode, PlainTier>;
}
extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateFixed() {
    return cpu::features().bmi2 ? runByteKernel<FixedCode, Bmi2Tier>
                                : runByteKernel<FixedCode, PlainTier>;
}
extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateDynamicPairs() {
    return cpu::features().bmi2 ? runPairKernel<DynamicCode, Bmi2Tier>
                                : runPairKernel<DynamicCode, PlainTier>;
}
extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateFixedPairs() {
    return cpu::features().bmi2 ? runPairKernel<FixedCode, Bmi2Tier>
                                : runPairKernel<FixedCode, PlainTier>;
}
ZELDC_DISPATCHED(Kernel, zeldcInflateDynamic, zeldcResolveInflateDynamic);
ZELDC_DISPATCHED(Kernel, zeldcInflateFixed, zeldcResolveInflateFixed);
ZELDC_DISPATCHED(Kernel, zeldcInflateDynamicPairs, zeldcResolveInflateDynamicPairs);
ZELDC_DISPATCHED(Kernel, zeldcInflateFixedPairs, zeldcResolveInflateFixedPairs);

template <>
int32_t decodeToBytes<DynamicCode>(KernelIo& io) {
    return zeldcInflateDynamic(io);
}
template <>
int32_t decodeToBytes<FixedCode>(KernelIo& io) {
    return zeldcInflateFixed(io);
}
template <>
int32_t decodeToPairs<DynamicCode>(KernelIo& io) {
    return zeldcInflateDynamicPairs(io);
}
template <>
int32_t decodeToPairs<FixedCode>(KernelIo& io) {
    return zeldcInflateFixedPairs(io);
}

}  // namespace zeldc::deflate
