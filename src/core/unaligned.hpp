// Access to words at any address. States and buffers may lie anywhere, so nothing in the library
// may dereference a plain uint32_t* into them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace zeldc {

// A T at any address, for arrays and fields inside states and for views of caller arrays: a
// pointer or reference to it promises no alignment.
template <class T>
struct [[gnu::packed, gnu::may_alias]] Unaligned {
    T value;

    // NOLINTNEXTLINE(google-explicit-constructor): stands in for a T wherever a T is read
    constexpr operator T() const {
        return value;
    }
    constexpr Unaligned& operator=(T v) {
        value = v;
        return *this;
    }
    constexpr Unaligned& operator+=(T v) {
        value = static_cast<T>(value + v);
        return *this;
    }
    constexpr Unaligned& operator-=(T v) {
        value = static_cast<T>(value - v);
        return *this;
    }
    constexpr Unaligned& operator++() {
        return *this += T{1};
    }
    constexpr Unaligned& operator--() {
        return *this -= T{1};
    }
};

using U16 = Unaligned<uint16_t>;
using S16 = Unaligned<int16_t>;
using U32 = Unaligned<uint32_t>;
using S32 = Unaligned<int32_t>;
using U64 = Unaligned<uint64_t>;
static_assert(alignof(U16) == 1 && alignof(U32) == 1 && alignof(U64) == 1 && sizeof(U64) == 8);

// The same array seen as one whose elements may lie anywhere.
template <class T>
Unaligned<T>* anyAlignment(T* p) {
    return reinterpret_cast<Unaligned<T>*>(p);
}
template <class T>
const Unaligned<T>* anyAlignment(const T* p) {
    return reinterpret_cast<const Unaligned<T>*>(p);
}

template <class T>
inline T load(const void* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <class T>
inline void store(void* p, T v) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a T may be a pointer
    std::memcpy(p, &v, sizeof v);
}

inline uint16_t byteSwap(uint16_t v) {
    return __builtin_bswap16(v);
}
inline uint32_t byteSwap(uint32_t v) {
    return __builtin_bswap32(v);
}
inline uint64_t byteSwap(uint64_t v) {
    return __builtin_bswap64(v);
}

// Most significant byte first. Words of the other order are plain load and store: the library is
// for x86.
template <class T>
inline T loadBe(const void* p) {
    return byteSwap(load<T>(p));
}

template <class T>
inline void storeBe(void* p, T v) {
    store(p, byteSwap(v));
}

}  // namespace zeldc
