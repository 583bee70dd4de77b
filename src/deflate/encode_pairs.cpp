#include "deflate/encode_pairs.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>

#include "core/dispatch.hpp"
#include "core/unaligned.hpp"
#include "deflate/format.hpp"

namespace zeldc::deflate {
namespace {

// 64 bits to shift and to join: a word where words have 64 bits, else half a vector register,
// since general registers would take two writes or three for a pair.
#ifdef __x86_64__
struct Bits {
    uint64_t value;

    explicit Bits(uint64_t bits) : value(bits) {}
    uint64_t get() const { return value; }
    void put(uint8_t* dst) const { store(dst, value); }
    friend Bits operator|(Bits a, Bits b) { return Bits(a.value | b.value); }
    friend Bits operator<<(Bits a, uint32_t count) { return Bits(a.value << (count & 63)); }
    friend Bits operator>>(Bits a, uint32_t count) { return Bits(a.value >> (count & 63)); }
};
#else
struct Bits {
    __m128i value;

    explicit Bits(__m128i bits) : value(bits) {}
    explicit Bits(uint32_t bits) : value(_mm_cvtsi32_si128(static_cast<int>(bits))) {}
    explicit Bits(uint64_t bits)
        : value(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(&bits))) {}
    uint64_t get() const {
        uint64_t bits = 0;
        put(reinterpret_cast<uint8_t*>(&bits));
        return bits;
    }
    void put(uint8_t* dst) const { _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), value); }
    friend Bits operator|(Bits a, Bits b) { return Bits(_mm_or_si128(a.value, b.value)); }
    friend Bits operator<<(Bits a, uint32_t count) {
        return Bits(_mm_sll_epi64(a.value, _mm_cvtsi32_si128(static_cast<int>(count))));
    }
    friend Bits operator>>(Bits a, uint32_t count) {
        return Bits(_mm_srl_epi64(a.value, _mm_cvtsi32_si128(static_cast<int>(count))));
    }
};
#endif

// Bits above `count` are 0.
struct PairString {
    Bits bits;
    uint32_t count;
};

[[gnu::always_inline]] inline PairString pairString(const PairCodes& codes, const PairWord& pair) {
    const PairParts parts(pair);
    const auto [bits, count] = distanceString(codes, parts.distance());
    const uint32_t index = parts.stringIndex();
    const uint32_t length = codes.lengths[index];
    return {Bits(uint32_t{codes.bits[index]}) | Bits(bits) << length, length + count};
}

// A pair has at most 15 + 5 + 15 + 13 = 48 bits. Two that have not more than 56 together go behind
// the up to 7 bits that remained, and with them into one store of 8 bytes. Behind 7 bits, k pairs
// complete at most 6 k bytes, so that the stores of k pairs end within 6 (k - 1) + 8 bytes, which 8
// bytes of room for each pair cover.
constexpr uint32_t kOneWrite = 56;
constexpr std::ptrdiff_t kRoomOfPair = 8;
static_assert(7 + kOneWrite <= 63 && 48 <= 8 * 6);

class PairSink {
  public:
    explicit PairSink(const BitSink& sink)
        : dst_(sink.dstNext), bits_(Bits(sink.bitBuf)), count_(sink.bitCount) {}

    const uint8_t* dst() const { return dst_; }
    void put(const PairString& string) {
        bits_ = bits_ | string.bits << count_;
        count_ += string.count;
        bits_.put(dst_);
        dst_ += count_ >> 3;
        bits_ = bits_ >> (count_ & ~7U);
        count_ &= 7;
    }
    void close(BitSink& sink) const {
        sink.dstNext = dst_;
        sink.bitBuf = bits_.get();
        sink.bitCount = count_;
    }

  private:
    uint8_t* dst_;
    Bits bits_;
    uint32_t count_;
};

// The hot loop: no test for room inside a burst of pairs, and no branch on what a pair is, which
// nothing can predict.
[[gnu::always_inline]] inline void code(const PairCodes& codes, PairSource& pairs, BitSink& sink) {
    PairSink out(sink);
    const PairWord* next = pairs.next;
    for (std::ptrdiff_t room = sink.dstEnd - out.dst(); next != pairs.end && room >= kRoomOfPair;
         room = sink.dstEnd - out.dst()) {
        const PairWord* const end = next + std::min(room / kRoomOfPair, pairs.end - next);
        for (; end - next >= 2; next += 2) {
            const PairString first = pairString(codes, next[0]);
            const PairString second = pairString(codes, next[1]);
            const uint32_t count = first.count + second.count;
            if (count <= kOneWrite) [[likely]] {
                out.put({first.bits | second.bits << first.count, count});
            } else {
                out.put(first);
                out.put(second);
            }
        }
        if (next != end) out.put(pairString(codes, *next++));
    }
    pairs.next = next;
    out.close(sink);
}

using PairKernel = void(const PairCodes& codes, PairSource& pairs, BitSink& sink);

void pairsToBits(const PairCodes& codes, PairSource& pairs, BitSink& sink) {
    code(codes, pairs, sink);
}

// A pair takes several shifts by variable counts, which BMI2 makes one instruction each.
__attribute__((target("bmi2"))) void pairsToBitsBmi2(const PairCodes& codes, PairSource& pairs,
                                                     BitSink& sink) {
    code(codes, pairs, sink);
}

}  // namespace

extern "C" ZELDC_NO_SANITIZE PairKernel* zeldcResolvePairsToBits() {
    return cpu::features().bmi2 ? pairsToBitsBmi2 : pairsToBits;
}
ZELDC_DISPATCHED(PairKernel, zeldcPairsToBits, zeldcResolvePairsToBits);

void codePairsFast(const PairCodes& codes, PairSource& pairs, BitSink& sink) {
    zeldcPairsToBits(codes, pairs, sink);
}

}  // namespace zeldc::deflate
