// One kernel, several CPU tiers: the choice is made once, by the dynamic loader, through an
// indirect function (IFUNC). The chosen address then lives in the relocated, read-only global
// offset table, so there is no writable data, no constructor and no race.
//
// In the file that holds the tiers:
//
//     using SumKernel = uint32_t(const uint8_t* src, size_t size, uint32_t sum);
//     uint32_t sumPlain(const uint8_t* src, size_t size, uint32_t sum);
//     uint32_t sumAvx2(...);      // __attribute__((target("avx2")))
//     extern "C" ZELDC_NO_SANITIZE SumKernel* zeldcResolveSum() {
//         return cpu::features().avx2 ? sumAvx2 : sumPlain;
//     }
//     ZELDC_DISPATCHED(SumKernel, zeldcSum, zeldcResolveSum);
//
//     uint32_t sum(...) { return zeldcSum(...); }   // what other files call
//
// A resolver does nothing but look at cpu::features() and return an address. Resolver and kernel
// have C linkage and a name of their own beginning with zeldc; the version script keeps both
// inside. They carry default visibility because a hidden indirect function would be called without
// the register that i386 needs for its PLT entry.
#pragma once

#include "core/cpu.hpp"

// NOLINTBEGIN(bugprone-macro-parentheses): a name that is declared takes none
#ifdef ZELDC_TESTING

namespace zeldc {

// Tests switch tiers while they run, so they choose anew on each call.
template <auto resolve>
struct TestDispatch {
    template <class... Args>
    auto operator()(Args&&... args) const {
        return resolve()(static_cast<Args&&>(args)...);
    }
};

}  // namespace zeldc

#define ZELDC_DISPATCHED(Signature, name, resolver) \
    constexpr ::zeldc::TestDispatch<resolver> name {}

#else

#define ZELDC_DISPATCHED(Signature, name, resolver) \
    extern "C" __attribute__((ifunc(#resolver), visibility("default"))) Signature name

#endif
// NOLINTEND(bugprone-macro-parentheses)
