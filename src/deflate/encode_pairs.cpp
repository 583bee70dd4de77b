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

    friend PairString operator+(const PairString& first, const PairString& second) {
        return {first.bits | second.bits << first.count, first.count + second.count};
    }
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

[[gnu::always_inline]] inline void putTwo(const PairCodes& codes, const PairWord* pairs,
                                          PairSink& out) {
    const PairString first = pairString(codes, pairs[0]);
    const PairString second = pairString(codes, pairs[1]);
    const PairString both = first + second;
    if (both.count <= kOneWrite) [[likely]] {
        out.put(both);
    } else {
        out.put(first);
        out.put(second);
    }
}

// Where literals come in long runs, a branch on whole groups of them can be predicted.
constexpr std::ptrdiff_t kLiteralRun = 8;

[[gnu::always_inline]] inline bool areLiterals(const PairWord* run) {
    const __m128i joined = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(run)),
                                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(run + 4)));
    const __m128i distances = _mm_srli_epi32(joined, 16);
    return _mm_movemask_epi8(_mm_cmpeq_epi8(distances, _mm_setzero_si128())) == 0xFFFF;
}

// Three literals of 15 bits each go into one write.
[[gnu::always_inline]] inline void putLiterals(const PairCodes& codes, const PairWord* run,
                                               PairSink& out) {
    static_assert(3 * kLongestCode <= kOneWrite);
    const auto string = [&](int i) {
        const uint32_t index = literalIndex(run[i]);
        return PairString{Bits(uint32_t{codes.bits[index]}), codes.lengths[index]};
    };
    out.put(string(0) + string(1) + string(2));
    out.put(string(3) + string(4) + string(5));
    out.put(string(6) + string(7));
}

// The hot loop: no test for room inside a burst of pairs, and no branch on what a single pair is,
// which nothing can predict.
[[gnu::always_inline]] inline void code(const PairCodes& codes, PairSource& pairs, BitSink& sink) {
    PairSink out(sink);
    const PairWord* next = pairs.next;
    for (std::ptrdiff_t room = sink.dstEnd - out.dst(); next != pairs.end && room >= kRoomOfPair;
         room = sink.dstEnd - out.dst()) {
        const PairWord* const end = next + std::min(room / kRoomOfPair, pairs.end - next);
        for (; end - next >= kLiteralRun; next += kLiteralRun) {
            if (areLiterals(next)) {
                putLiterals(codes, next, out);
            } else {
                for (std::ptrdiff_t i = 0; i < kLiteralRun; i += 2)
                    putTwo(codes, next + i, out);
            }
        }
        for (; end - next >= 2; next += 2)
            putTwo(codes, next, out);
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
