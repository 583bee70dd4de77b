// Placement of state objects: each is one block at any address, described by a struct of
// alignment 1 (bytes and Unaligned fields), whose references point into the block itself.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/alloc.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc {

// The layout behind an opaque state pointer.
template <class Layout, class Opaque>
Layout& stateAt(Opaque* state) {
    static_assert(alignof(Layout) == 1, "states may lie at any address");
    return *reinterpret_cast<Layout*>(state);
}

template <class Layout, class Opaque>
const Layout& stateAt(const Opaque* state) {
    static_assert(alignof(Layout) == 1, "states may lie at any address");
    return *reinterpret_cast<const Layout*>(state);
}

// A reference from a state into itself, 32 bits wide on every machine: the address where
// addresses have 32 bits, else the distance from the state. `owner` is the state's own address.
template <class T>
class StateRef {
  public:
    void set(const void* owner, T* target) {
        raw_ = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(target) - origin(owner));
    }
    T* get(const void* owner) const {
        return reinterpret_cast<T*>(origin(owner) + static_cast<uintptr_t>(uint32_t{raw_}));
    }
    // A reference to nothing; on no machine does one to something look like it, unless it leads to
    // the first byte of the state.
    void clear() { raw_ = 0; }
    bool isNull() const { return raw_ == 0; }

  private:
    static uintptr_t origin(const void* owner) {
        return sizeof(void*) == 4 ? 0 : reinterpret_cast<uintptr_t>(owner);
    }

    U32 raw_;
};
static_assert(sizeof(StateRef<uint8_t>) == 4 && alignof(StateRef<uint8_t>) == 1);

// A pointer that the caller supplied, kept in a state: always eight bytes, so that layouts are the
// same on every machine.
template <class T>
class CallerPointer {
  public:
    void set(T* target) { raw_ = reinterpret_cast<uintptr_t>(target); }
    T* get() const { return reinterpret_cast<T*>(static_cast<uintptr_t>(uint64_t{raw_})); }

  private:
    U64 raw_;
};
static_assert(sizeof(CallerPointer<uint8_t>) == 8 && alignof(CallerPointer<uint8_t>) == 1);

// The common InitAlloc for families that look at nothing but memory: allocates `size` bytes, hands
// the block to `init`, whose status is not looked at, and stores it. `*ppState` stays unwritten
// when there is no memory.
template <class Opaque, class Init>
ZelStatus initAlloc(int32_t size, Opaque** ppState, Init init) {
    uint8_t* block = allocate(size);
    if (block == nullptr) return zelStsNoMemory;
    auto* state = reinterpret_cast<Opaque*>(block);
    init(state);
    *ppState = state;
    return zelStsOk;
}

}  // namespace zeldc
