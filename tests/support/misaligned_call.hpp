// Calls an operation as old programs do: with a stack pointer that is a multiple of 4 only.
// (32-bit x86; elsewhere the ABI has no such callers.)
#pragma once

#ifdef __i386__

#include <cstdint>
#include <initializer_list>

namespace support {

// The result of operation(args...), called with the stack `shift` bytes off a multiple of 16
// before the arguments are pushed.
inline int32_t callMisaligned(uint32_t shift, const void* operation,
                              std::initializer_list<uintptr_t> args) {
    const void* result = operation;
    auto count = static_cast<uint32_t>(args.size());
    __asm__ volatile(
        "movl %%esp, %%ebx\n\t"
        "subl $64, %%esp\n\t"
        "andl $-16, %%esp\n\t"
        "subl %%edi, %%esp\n\t"
        "testl %%ecx, %%ecx\n\t"
        "je 2f\n"
        "1:\n\t"
        "pushl -4(%%esi, %%ecx, 4)\n\t"
        "decl %%ecx\n\t"
        "jne 1b\n"
        "2:\n\t"
        "call *%%eax\n\t"
        "movl %%ebx, %%esp"
        : "+a"(result), "+c"(count)
        : "S"(args.begin()), "D"(shift)
        : "ebx", "edx", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6",
          "xmm7");
    return static_cast<int32_t>(reinterpret_cast<uintptr_t>(result));
}

inline uintptr_t word(const void* pointer) {
    return reinterpret_cast<uintptr_t>(pointer);
}

constexpr uint32_t kStackShifts[] = {0, 4, 8, 12};

}  // namespace support

#endif
