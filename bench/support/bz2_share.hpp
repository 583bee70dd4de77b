// How much of libbz2's time its Huffman coding takes. The stage cannot be called alone, so whole
// compressions run under a profiling timer that notes where the program stands: libbz2 exports the
// functions in question, and their extent is in its symbol table.
#pragma once

#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif
#include <bzlib.h>
#include <dlfcn.h>
#include <link.h>
#include <sys/time.h>
#include <ucontext.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <vector>

extern "C" {
// The second half of libbz2's compressor (its first half, the symbols, is a function of its own),
// with the two that design codes for it; and the whole of its decoder but for the block's inverse
// transform.
void BZ2_compressBlock();
void BZ2_hbMakeCodeLengths();
void BZ2_hbAssignCodes();
void BZ2_decompress();
void BZ2_hbCreateDecodeTables();
}

namespace bench {

struct CodeRange {
    uintptr_t begin;
    uintptr_t end;
};

inline CodeRange rangeOf(void (*function)()) {
    Dl_info info;
    void* entry = nullptr;
    // The address of a function of another object may be that of a stub; its name finds it.
    void* address = reinterpret_cast<void*>(function);
    if (dladdr1(address, &info, &entry, RTLD_DL_SYMENT) == 0 || entry == nullptr) return {0, 0};
    const auto* symbol = static_cast<const ElfW(Sym)*>(entry);
    const auto begin = reinterpret_cast<uintptr_t>(info.dli_saddr);
    return {begin, begin + symbol->st_size};
}

class Sampler {
  public:
    // Runs `work` once more and again for about `seconds`; the share of CPU time in the ranges.
    template <class Work>
    static double share(std::vector<CodeRange> ranges, double seconds, Work work) {
        ranges_ = std::move(ranges);
        inside_ = 0;
        total_ = 0;
        struct sigaction action = {};
        action.sa_sigaction = onTick;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigaction(SIGPROF, &action, nullptr);
        const itimerval tick = {{0, 1000}, {0, 1000}};
        setitimer(ITIMER_PROF, &tick, nullptr);
        const clock_t end = clock() + static_cast<clock_t>(seconds * CLOCKS_PER_SEC);
        while (clock() < end)
            work();
        const itimerval off = {};
        setitimer(ITIMER_PROF, &off, nullptr);
        return total_ == 0 ? 0 : static_cast<double>(inside_) / total_;
    }

  private:
    static void onTick(int, siginfo_t*, void* context) {
        const auto& machine = static_cast<ucontext_t*>(context)->uc_mcontext;
#ifdef __x86_64__
        const auto pc = static_cast<uintptr_t>(machine.gregs[REG_RIP]);
#else
        const auto pc = static_cast<uintptr_t>(machine.gregs[REG_EIP]);
#endif
        total_ = total_ + 1;
        for (const CodeRange& range : ranges_) {
            if (pc >= range.begin && pc < range.end) inside_ = inside_ + 1;
        }
    }

    static inline std::vector<CodeRange> ranges_;
    static inline volatile int inside_ = 0;
    static inline volatile int total_ = 0;
};

}  // namespace bench
