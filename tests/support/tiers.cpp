// Chooses the CPU tier of the testing library from the environment: ZELDC_TIER=plain, sse or full.
#include <cstdlib>
#include <string>

#include "core/cpu.hpp"

namespace {

zeldc::cpu::Features chosen() {
    zeldc::cpu::Features features = zeldc::cpu::detect();
    const char* name = std::getenv("ZELDC_TIER");
    const std::string tier = name == nullptr ? "full" : name;
    if (tier == "plain") features = {};
    if (tier == "sse") features.avx2 = features.bmi2 = features.vpclmul = false;
    return features;
}

}  // namespace

zeldc::cpu::Features zeldc::cpu::forced = chosen();
