// The tiers of the fast loop. BMI2 shifts by any register without touching flags, and masks in one
// instruction.
#include "deflate/inflate_kernel.hpp"

#include "core/dispatch.hpp"

namespace zeldc::deflate {
namespace {

int32_t bytesPlain(KernelIo& io) {
    return runKernel<ByteSink, PlainTier>(io);
}
int32_t pairsPlain(KernelIo& io) {
    return runKernel<PairSink, PlainTier>(io);
}
__attribute__((target("bmi2"))) int32_t bytesBmi2(KernelIo& io) {
    return runKernel<ByteSink, Bmi2Tier>(io);
}
__attribute__((target("bmi2"))) int32_t pairsBmi2(KernelIo& io) {
    return runKernel<PairSink, Bmi2Tier>(io);
}

}  // namespace

extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflateBytes() {
    return cpu::features().bmi2 ? bytesBmi2 : bytesPlain;
}
extern "C" ZELDC_NO_SANITIZE Kernel* zeldcResolveInflatePairs() {
    return cpu::features().bmi2 ? pairsBmi2 : pairsPlain;
}
ZELDC_DISPATCHED(Kernel, zeldcInflateBytes, zeldcResolveInflateBytes);
ZELDC_DISPATCHED(Kernel, zeldcInflatePairs, zeldcResolveInflatePairs);

int32_t decodeToBytes(KernelIo& io) {
    return zeldcInflateBytes(io);
}
int32_t decodeToPairs(KernelIo& io) {
    return zeldcInflatePairs(io);
}

}  // namespace zeldc::deflate
