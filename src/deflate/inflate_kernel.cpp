// The tiers of the fast loop. BMI2 shifts by any register without touching flags, and masks in one
// instruction.
#include "deflate/inflate_kernel.hpp"

#include "core/dispatch.hpp"

namespace zeldc::deflate {
namespace {

template <class Code>
int32_t bytesPlain(KernelIo& io) {
    return runByteKernel<Code, PlainTier>(io);
}
template <class Code>
int32_t pairsPlain(KernelIo& io) {
    return runKernel<Code, PairSink, PlainTier>(io);
}
template <class Code>
__attribute__((target("bmi2"))) int32_t bytesBmi2(KernelIo& io) {
    return runByteKernel<Code, Bmi2Tier>(io);
}
template <class Code>
__attribute__((target("bmi2"))) int32_t pairsBmi2(KernelIo& io) {
    return runKernel<Code, PairSink, Bmi2Tier>(io);
}

}  // namespace

extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateDynamic() {
    return cpu::features().bmi2 ? bytesBmi2<DynamicCode> : bytesPlain<DynamicCode>;
}
extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateFixed() {
    return cpu::features().bmi2 ? bytesBmi2<FixedCode> : bytesPlain<FixedCode>;
}
extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateDynamicPairs() {
    return cpu::features().bmi2 ? pairsBmi2<DynamicCode> : pairsPlain<DynamicCode>;
}
extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateFixedPairs() {
    return cpu::features().bmi2 ? pairsBmi2<FixedCode> : pairsPlain<FixedCode>;
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
