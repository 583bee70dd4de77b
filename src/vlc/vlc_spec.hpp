// The two spec objects and what both directions share: layouts, records and placement.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::vlc {

constexpr int32_t kMaxCodeLength = 32;
constexpr uint32_t kSpecAlignment = 32;
constexpr uint32_t kDecodeTag = 0x434D4160;
constexpr uint32_t kEncodeTag = 0x434D415F;  // the bytes "_AMC"

// The caller's record at any address.
struct Record {
    S32 value;
    S32 code;
    S32 length;

    bool lengthIsValid() const { return length >= 1 && length <= kMaxCodeLength; }
    // The code at the top of the word; the shift drops bits above its length.
    uint32_t leftAligned() const { return static_cast<uint32_t>(int32_t{code}) << (32 - length); }
};
static_assert(sizeof(Record) == sizeof(VlcCodeRecord) && alignof(Record) == 1);

// A view of the caller's records.
class Records {
  public:
    Records(const VlcCodeRecord* first, int32_t count)
        : first_(reinterpret_cast<const Record*>(first)), count_(count) {}

    int32_t count() const { return count_; }
    const Record& operator[](int32_t i) const { return first_[i]; }
    const Record* begin() const { return first_; }
    const Record* end() const { return first_ + (count_ > 0 ? count_ : 0); }

  private:
    const Record* first_;
    int32_t count_;
};

struct DecodeSpec {
    U32 tag;
    U32 allocated;
    S32 maxLength;
    StateRef<uint8_t> table;
    U32 entryWidth;  // bits: 8, 16 or 32
    U32 levelBits;
};
static_assert(sizeof(DecodeSpec) == 24);

struct TupleDecodeSpec {
    DecodeSpec common;
    S32 tupleLength;
    S32 elementWidth;
    S32 tupleBits;
};
static_assert(sizeof(TupleDecodeSpec) == 36);

// Behind the header, before the table, lies a word that only this library knows: 1 when no code
// hides a part of another one, so that a leaf holds wherever its code's bits are seen.
constexpr size_t kPlainDistinctAt = 28;
constexpr size_t kTupleDistinctAt = 36;

struct EncodeSpec {
    StateRef<uint8_t> lengthTable;  // 2^sizeExponent entries of 32 bits, then the codes
    U32 bias;                       // added to a value (modulo 2^32) to index the tables
    U32 sizeExponent;
    U32 allocated;
    U32 tag;
    U32 unused[3];
};
static_assert(sizeof(EncodeSpec) == 32);

// The first boundary at or after `p`.
inline uint8_t* alignedUp(uint8_t* p) {
    return p + (-reinterpret_cast<uintptr_t>(p) & (kSpecAlignment - 1));
}
inline const uint8_t* alignedUp(const uint8_t* p) {
    return p + (-reinterpret_cast<uintptr_t>(p) & (kSpecAlignment - 1));
}

// The object inside the memory that the opaque pointer names.
template <class Layout, class Opaque>
Layout& specAt(Opaque* memory) {
    return stateAt<Layout>(alignedUp(reinterpret_cast<uint8_t*>(memory)));
}
template <class Layout, class Opaque>
const Layout& specAt(const Opaque* memory) {
    return stateAt<Layout>(alignedUp(reinterpret_cast<const uint8_t*>(memory)));
}

// The caller's position in a bit stream, and its return. A Position has a `byte` and, counted from
// its most significant one, a `bit`.
template <class Position>
Position positionAt(const decltype(Position::byte)* ppStream, const int32_t* pOffset) {
    return {load<decltype(Position::byte)>(ppStream), load<uint32_t>(pOffset) & 7};
}
template <class Position>
void storePosition(Position position, decltype(Position::byte)* ppStream, int32_t* pOffset) {
    store(ppStream, position.byte);
    store(pOffset, static_cast<int32_t>(position.bit));
}

inline bool isBitOffset(const int32_t* pOffset) {
    return load<uint32_t>(pOffset) <= 7;
}

}  // namespace zeldc::vlc
