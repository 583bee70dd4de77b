#include "core/alloc.hpp"

#include <cstdlib>

#include "core/unaligned.hpp"
#include "zeldc.h"

// The hooks are data that a host may redirect, also by a copy relocation that moves them into the
// executable: default visibility makes every access go through the global offset table.
extern "C" {
ZELDC_API void* (*i_malloc)(size_t) = malloc;
ZELDC_API void* (*i_calloc)(size_t, size_t) = calloc;
ZELDC_API void* (*i_realloc)(void*, size_t) = realloc;
ZELDC_API void (*i_free)(void*) = free;
}

namespace zeldc {
namespace {

constexpr uintptr_t kBlockAlignment = 32;
// Room for the word that remembers the raw address, and for rounding up.
constexpr uint32_t kBlockOverhead = kBlockAlignment + 4;

// The word before a block holds the raw address itself where addresses have 32 bits, and else the
// distance back to it.
constexpr bool kWordHoldsAddress = sizeof(void*) == 4;

}  // namespace

uint8_t* allocate(int32_t size) {
    void* raw = i_malloc(static_cast<uint32_t>(size) + kBlockOverhead);
    if (raw == nullptr) return nullptr;
    const auto rawAddress = reinterpret_cast<uintptr_t>(raw);
    const uintptr_t address = (rawAddress + kBlockOverhead - 1) & ~(kBlockAlignment - 1);
    auto* block = static_cast<uint8_t*>(raw) + (address - rawAddress);
    store(block - 4, static_cast<uint32_t>(kWordHoldsAddress ? rawAddress : address - rawAddress));
    return block;
}

void release(void* block) {
    if (block == nullptr) return;
    auto* bytes = static_cast<uint8_t*>(block);
    const uint32_t word = load<uint32_t>(bytes - 4);
    i_free(kWordHoldsAddress ? reinterpret_cast<void*>(uintptr_t{word}) : bytes - word);
}

}  // namespace zeldc

extern "C" uint8_t* zelsMalloc_8u(int32_t len) {
    return len < 1 ? nullptr : zeldc::allocate(len);
}

extern "C" void zelsFree(void* ptr) {
    zeldc::release(ptr);
}
