#include "deflate/encode_pairs.hpp"

#include <cstddef>

#include "core/dispatch.hpp"
#include "core/unaligned.hpp"
#include "deflate/format.hpp"

namespace zeldc::deflate {
namespace {

// Bits in one machine word, written by whole words into a destination with room. At most 7 bits
// remain after a write.
template <class Word>
struct WordSink {
    uint8_t* dst;
    Word bits;
    uint32_t count;

    void append(uint32_t string, uint32_t length) {
        bits |= static_cast<Word>(string) << count;
        count += length;
    }
    void write() {
        store(dst, bits);
        dst += count >> 3;
        bits >>= count & ~7U;
        count &= 7;
    }
};

// The hot loop: no test for room inside a pair. A pair has at most 15 + 5 + 15 + 13 = 48 bits.
//
// 64-bit words take a pair behind the 7 bits that remained: 55, one store of 8 bytes. 32-bit words
// are written after the length (27 bits), and again after 16 bits of a distance that might not fit
// (7 + 25 to 28 bits); each write advances by what it completed, at most 55 / 8 = 6
// bytes in all, and the last one stores 4 bytes from there on.
constexpr std::ptrdiff_t kPairReach = 10;
static_assert(7 + 48 <= 63 && 7 + 20 <= 31 && 7 + 24 <= 31 && 7 + 28 - 16 <= 31 &&
              6 + 4 <= kPairReach);

[[gnu::always_inline]] inline void code(const PairCodes& codes, PairSource& pairs, BitSink& sink) {
    using Word = uintptr_t;
    constexpr bool kWide = sizeof(Word) == 8;
    WordSink<Word> out{sink.dstNext, static_cast<Word>(sink.bitBuf), sink.bitCount};
    const uint8_t* const dstEnd = sink.dstEnd;
    const PairWord* const pairsEnd = pairs.end;
    const PairWord* next = pairs.next;
    for (; next != pairsEnd && dstEnd - out.dst >= kPairReach; ++next) {
        const uint32_t pair = *next;
        const uint32_t distance = pair >> 16;
        if (distance == 0) {
            const uint32_t string = codes.strings[literalIndex(pair)];
            out.append(stringBits(string), stringLength(string));
        } else {
            const uint32_t string = codes.strings[lengthIndex(pair & 0xFFFF)];
            out.append(stringBits(string), stringLength(string));
            const auto [bits, count] = distanceString(codes, distance);
            if (kWide) {
                out.append(bits, count);
            } else {
                out.write();
                if (count <= 24) {
                    out.append(bits, count);
                } else {
                    out.append(bits & 0xFFFF, 16);
                    out.write();
                    out.append(bits >> 16, count - 16);
                }
            }
        }
        out.write();
    }
    pairs.next = next;
    sink.dstNext = out.dst;
    sink.bitBuf = out.bits;
    sink.bitCount = out.count;
}

using PairKernel = void(const PairCodes& codes, PairSource& pairs, BitSink& sink);

void pairsToBits(const PairCodes& codes, PairSource& pairs, BitSink& sink) {
    code(codes, pairs, sink);
}

// A pair takes four to seven shifts by variable counts, which BMI2 makes one instruction each.
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
