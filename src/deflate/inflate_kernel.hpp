// The fast loop of both ways of decoding: as long as source and destination are far from their
// ends, nothing is tested but once per round.
#pragma once

#include <climits>

#include "deflate/decode_tables.hpp"
#include "deflate/match_copy.hpp"

namespace zeldc::deflate {

// The bit buffer is one register wide: 64-bit shifts by variable counts cost 32-bit code several
// instructions each.
using Word = uintptr_t;
constexpr int32_t kWordBits = static_cast<int32_t>(sizeof(Word)) * CHAR_BIT;
// What a refill makes available at least.
constexpr int32_t kRefilledBits = kWordBits - 8;
constexpr bool kWideWord = kWordBits == 64;

// What a kernel works on; source, destination and bit buffer are updated in place.
struct KernelIo {
    const uint8_t* srcNext;
    const uint8_t* srcEnd;
    uint8_t* dstNext;  // bytes or pairs
    const uint8_t* dstEnd;
    const uint8_t* dstStart;   // of this call's output
    const uint8_t* windowEnd;  // what preceded it
    const void* tables;        // of the kernel's code
    Word bitBuf;
    int32_t bitCount;  // at most kWordBits - 1
};

// Results of a kernel. A match that it leaves to the caller has its length in the high and its
// distance in the low half, and is above 0.
constexpr int32_t kMarginsUsedUp = 0;
constexpr int32_t kAtBlockEnd = INT32_MIN | 0x60;
constexpr int32_t kAtInvalid = INT32_MIN | 0x70;  // the symbol is left in the bit buffer

// Of 16 bytes: what most matches end in that are not whole.
constexpr int32_t kCopyUnits = 3;
// Literals of a burst.
constexpr int32_t kBurst = kWideWord ? 3 : 2;

// Margins. A round refills at most four times on 32-bit machines (after literals, before the
// distance, in a distance subtable, at its end) and twice on 64-bit ones; each refill reads a word
// and advances by less than one: 3 * 3 + 4 and 7 + 8 bytes. A refill precedes the first round.
constexpr int32_t kSrcMargin = 16;
constexpr int32_t kSrcToEnter = kSrcMargin + 8;
static_assert(3 * 3 + 4 <= kSrcMargin && 7 + 8 <= kSrcMargin);
// A round puts out at most a burst of literals, or one less and a match with its overrun.
constexpr int32_t kByteMargin =
    kBurst - 1 + static_cast<int32_t>(kLongestMatch) + copyOverrun(kCopyUnits);
constexpr int32_t kPairMargin = kBurst * 4;

// Bits in a round. A refill leaves all kWordBits bits of the buffer those of the stream, so that
// many can be looked at, but only kRefilledBits of them may be consumed before the next one.
template <class Code>
struct BitBudget {
    // What leaves the bits to look up the next symbol, which spares that the wait for the refill.
    static constexpr int32_t kLeavesLookUp = kWordBits - Code::kLitLenBits;

    static constexpr int32_t kLiterals = kBurst * Code::kLitLenBits;
    static_assert(!Code::kMayBeMostlyLiterals ||
                  (kLiterals <= kRefilledBits && kLiterals - Code::kLitLenBits <= kLeavesLookUp));

    static_assert(int32_t{kMostWholeBits} <= kRefilledBits);

    // A length and the look for its distance; then the distance, after a refill where words are
    // narrow, and there after one more between its levels.
    static constexpr int32_t kLength = Code::kLongestLitLen + 5;
    static_assert(kLength <= kRefilledBits && kLength + Code::kDistanceBits <= kWordBits);
    static constexpr int32_t kExtraBits = 13;
    static constexpr int32_t kAllDistance = Code::kLongestDistance + kExtraBits;
    static constexpr int32_t kDistance =
        kWideWord ? kLength + kAllDistance
                  : std::max(Code::kDistanceBits + kExtraBits, kAllDistance - Code::kDistanceBits);
    static_assert(kDistance <= kRefilledBits);
};

// How a tier masks and shifts: the low bits of a word, as many as the low byte of `count` says; and
// a word by the low five or six bits of `count`.
struct PlainTier {
    [[gnu::always_inline]] static Word lowBits(Word word, uint32_t count) {
        return word & ((Word{1} << (count & (kWordBits - 1))) - 1);
    }
    [[gnu::always_inline]] static Word shiftedLeft(Word word, uint32_t count) {
        return word << (count & (kWordBits - 1));
    }
    [[gnu::always_inline]] static Word shiftedRight(Word word, uint32_t count) {
        return word >> (count & (kWordBits - 1));
    }
};
// From C++, compilers hoist the constant that is shifted out of the loop and with it lose the one
// instruction, which also needs no byte extracted first; and they spill a count that is shifted by
// as a word and load it as a byte, which waits for the store.
struct Bmi2Tier {
    [[gnu::always_inline]] static Word lowBits(Word word, uint32_t count) {
        Word low = 0;
        __asm__("bzhi %2, %1, %0" : "=r"(low) : "rm"(word), "r"(Word{count}) : "cc");
        return low;
    }
    [[gnu::always_inline]] static Word shiftedLeft(Word word, uint32_t count) {
        Word shifted = 0;
        __asm__("shlx %2, %1, %0" : "=r"(shifted) : "rm"(word), "r"(Word{count}));
        return shifted;
    }
    [[gnu::always_inline]] static Word shiftedRight(Word word, uint32_t count) {
        Word shifted = 0;
        __asm__("shrx %2, %1, %0" : "=r"(shifted) : "rm"(word), "r"(Word{count}));
        return shifted;
    }
};

// Everything down to the loads is forced inline: compiled for another tier than its caller, a
// function would be called, once for each symbol.
//
// Bits above bitCount are bits of the stream too, to be ORed in again at the same place; only the
// low five or six bits of bitCount count.
template <class Tier>
struct KernelBits {
    const uint8_t* srcNext;
    Word bitBuf;
    uint32_t bitCount;

    [[gnu::always_inline]] void refill() {
        bitBuf |=
            Tier::shiftedLeft(reinterpret_cast<const Unaligned<Word>*>(srcNext)->value, bitCount);
        srcNext += sizeof(Word) - 1;
        srcNext -= bitCount >> 3 & (sizeof(Word) - 1);
        bitCount |= kRefilledBits;
    }
    [[gnu::always_inline]] void consume(Entry entry) {
        bitBuf = Tier::shiftedRight(bitBuf, entry);
        bitCount -= entry;
    }
    // The value of a length's or distance's entry.
    [[gnu::always_inline]] uint32_t value(Entry entry) const {
        const auto both = static_cast<uint32_t>(Tier::lowBits(bitBuf, entry));
        return payload(entry) + (both >> (entry >> 8 & 31));
    }
    // The distance of a whole match's.
    [[gnu::always_inline]] uint32_t wholeDistance(Entry entry) const {
        const auto all = static_cast<uint32_t>(Tier::lowBits(bitBuf, entry));
        return wholeDistanceBase(entry) + (all >> wholeCodeBits(entry));
    }
    [[gnu::always_inline]] Word peek(int32_t count) const {
        return bitBuf & ((Word{1} << count) - 1);
    }
    // The same and a refill, in the better order that there are bits for.
    template <bool peekFirst>
    [[gnu::always_inline]] Word peekAndRefill(int32_t count) {
        if (!peekFirst) refill();
        const Word low = peek(count);
        if (peekFirst) refill();
        return low;
    }
    [[gnu::always_inline]] Entry follow(const U32* table, int32_t indexBits, Entry link) const {
        const Word index = bitBuf & ((Word{1} << codeLength(link)) - 1);
        return table[(1U << indexBits) + payload(link) + static_cast<uint32_t>(index)].value;
    }
};

// `literal` for the length of one, else `other`. Nothing foresees which, so it must be no branch,
// which compilers would make of it.
template <class T>
[[gnu::always_inline]] inline T literalOr(uint32_t length, T literal, T other) {
    __asm__("cmpl $1, %1\n\tcmove %2, %0" : "+r"(other) : "r"(length), "r"(literal) : "cc");
    return other;
}

// Bytes. Once a call's output is as long as the farthest distance, no match begins before it.
template <bool kReachesHistory>
class ByteSink {
  public:
    static constexpr int32_t kMargin = kByteMargin;

    [[gnu::always_inline]] explicit ByteSink(const KernelIo& io)
        : next_(io.dstNext), start_(io.dstStart), windowEnd_(io.windowEnd) {}

    [[gnu::always_inline]] void literal(Entry entry) {
        *next_++ = static_cast<uint8_t>(entry >> 16);
    }
    // A literal, as a match of one byte with its own entry, or a whole match. False as in match().
    [[gnu::always_inline]] bool either(const U32* found, uint32_t length, uint32_t distance) {
        const uint8_t* src = next_ - distance;
        if (kReachesHistory && !findSource(src, length, distance)) [[unlikely]]
            return false;
        src = literalOr(length, reinterpret_cast<const uint8_t*>(found) + 2, src);
        copy16(next_, src);
        copy16(next_ + 16, src + 16);
        next_ += length;
        return true;
    }
    // False when the match begins in the history and runs on into this call's output.
    [[gnu::always_inline]] bool match(uint32_t length, uint32_t distance) {
        const uint8_t* src = next_ - distance;
        if (kReachesHistory && !findSource(src, length, distance)) [[unlikely]]
            return false;
        copyWide<kCopyUnits>(next_, src, length, distance);
        next_ += length;
        return true;
    }
    [[gnu::always_inline]] uint8_t* next() const { return next_; }

  private:
    // Whether it lies in the history or in the output follows no pattern, so no branch asks.
    [[gnu::always_inline]] bool findSource(const uint8_t*& src, uint32_t length,
                                           uint32_t distance) const {
        const auto back = static_cast<int32_t>(distance) - static_cast<int32_t>(next_ - start_);
        if (static_cast<uint32_t>(back) - 1 < length - 1) [[unlikely]]
            return false;
        const uint8_t* const inHistory = windowEnd_ - back;
        src = back > 0 ? inHistory : src;
        return true;
    }

    uint8_t* next_;
    const uint8_t* start_;
    const uint8_t* windowEnd_;
};

class PairSink {
  public:
    static constexpr int32_t kMargin = kPairMargin;

    [[gnu::always_inline]] explicit PairSink(const KernelIo& io) : next_(io.dstNext) {}

    [[gnu::always_inline]] void literal(Entry entry) { put(entry >> 16 & 0xFF); }
    [[gnu::always_inline]] bool either(const U32* found, uint32_t length, uint32_t distance) {
        const uint32_t byte = found->value >> 16 & 0xFF;
        put(literalOr(length, byte, length | distance << 16));
        return true;
    }
    [[gnu::always_inline]] bool match(uint32_t length, uint32_t distance) {
        put(length | distance << 16);
        return true;
    }
    [[gnu::always_inline]] uint8_t* next() const { return next_; }

  private:
    [[gnu::always_inline]] void put(uint32_t pair) {
        reinterpret_cast<U32*>(next_)->value = pair;
        next_ += sizeof pair;
    }

    uint8_t* next_;
};

// The reader put back by `back` bits, which it has consumed since it was at `io`. Bits that were
// buffered there cannot be read again from the source.
template <class Tier>
KernelBits<Tier> rewind(KernelBits<Tier> bits, const KernelIo& io, uint32_t back) {
    const uint32_t left = bits.bitCount & (kWordBits - 1);
    const auto buffered = static_cast<uint32_t>(io.bitCount);
    const uint64_t consumed =
        static_cast<uint64_t>(bits.srcNext - io.srcNext) * 8 + buffered - left - back;
    if (consumed < buffered) {
        return {io.srcNext, io.bitBuf >> consumed, buffered - static_cast<uint32_t>(consumed)};
    }
    const uint64_t fromSource = consumed - buffered;
    const auto used = static_cast<uint32_t>(fromSource) % 8;
    bits = {io.srcNext + fromSource / 8, 0, 0};
    bits.bitBuf = static_cast<Word>(*bits.srcNext++) >> used;
    bits.bitCount = 8 - used;
    return bits;
}

// What a kernel keeps in registers. It decodes until the margins are used up, the block ends or
// something is left to the caller; on entry the source has kSrcToEnter bytes or more and the
// destination its margin.
template <class Sink, class Tier>
struct KernelLoop {
    [[gnu::always_inline]] explicit KernelLoop(const KernelIo& io)
        : bits{io.srcNext, io.bitBuf, static_cast<uint32_t>(io.bitCount)},
          sink(io),
          srcLast(io.srcEnd - kSrcMargin),
          dstLast(io.dstEnd - Sink::kMargin) {
        bits.refill();
    }
    [[gnu::always_inline]] bool inMargins() const {
        return bits.srcNext <= srcLast && sink.next() <= dstLast;
    }
    [[gnu::always_inline]] int32_t leave(KernelIo& io, int32_t result) {
        // Hides the count from the optimiser, which else keeps it masked throughout the loop.
        __asm__("" : "+r"(bits.bitCount));
        io.srcNext = bits.srcNext;
        io.dstNext = sink.next();
        io.bitCount = static_cast<int32_t>(bits.bitCount & (kWordBits - 1));
        io.bitBuf = bits.bitBuf & ((Word{1} << io.bitCount) - 1);
        return result;
    }
    [[gnu::always_inline]] int32_t leaveInvalid(KernelIo& io, uint32_t consumed) {
        bits = rewind(bits, io, consumed);
        return leave(io, kAtInvalid);
    }
    [[gnu::always_inline]] int32_t leaveMatch(KernelIo& io, uint32_t length, uint32_t distance) {
        return leave(io, static_cast<int32_t>(length << 16 | distance));
    }

    KernelBits<Tier> bits;
    Sink sink;
    const uint8_t* srcLast;
    const uint8_t* dstLast;
};

// Whole matches are copied by two vectors without a look at length and distance.
static_assert(kLongestWholeMatch <= 32 && kLeastWholeDistance >= 16);

// Literals and whole matches are put out the same way, and no branch asks which comes next: in
// most data that is a guess, and a wrong one costs more than a match. Only where nearly all symbols
// are literals, a burst of them is tried first.
template <class Code, class Sink, bool kBursts, class Tier>
[[gnu::always_inline]] inline int32_t runLoop(Tier, KernelIo& io) {
    using Budget = BitBudget<Code>;
    constexpr int32_t kLitLenBits = Code::kLitLenBits;
    constexpr int32_t kDistanceBits = Code::kDistanceBits;
    const auto* const tables = static_cast<const TablesOf<Code>*>(io.tables);
    const U32* const litLen = tables->litLen;
    KernelLoop<Sink, Tier> loop(io);
    KernelBits<Tier>& bits = loop.bits;

    Word index = bits.peek(kLitLenBits);
    Entry entry = litLen[index].value;
    while (loop.inMargins()) {
        // Here the buffer is full and holds the whole symbol of `entry`.
        if (kBursts && isLiteral(entry)) {
#pragma GCC unroll 3
            for (int32_t i = 1; i < kBurst; ++i) {
                bits.consume(entry);
                loop.sink.literal(entry);
                index = bits.peek(kLitLenBits);
                entry = litLen[index].value;
                if (!isLiteral(entry)) break;
            }
            if (isLiteral(entry)) {
                bits.consume(entry);
                loop.sink.literal(entry);
                index = bits.template peekAndRefill<Budget::kLiterals <= Budget::kLeavesLookUp>(
                    kLitLenBits);
                entry = litLen[index].value;
                continue;
            }
            bits.refill();
        }

        if (ownLength(entry) != 0) [[likely]] {
            const uint32_t length = ownLength(entry);
            const uint32_t distance = bits.wholeDistance(entry);
            const Word own = index;
            bits.consume(entry);
            // The next symbol's entry is on its way while this one is put out.
            index = bits.template peekAndRefill<int32_t{kMostWholeBits} <= Budget::kLeavesLookUp>(
                kLitLenBits);
            entry = litLen[index].value;
            if (!loop.sink.either(litLen + own, length, distance)) [[unlikely]]
                return loop.leaveMatch(io, length, distance);
            continue;
        }

        Entry symbol = entry;  // whose low byte counts all that has been consumed of it
        if (entry & kExceptional) [[unlikely]] {
            if (entry & kLink) {
                bits.consume(entry);
                entry = bits.follow(litLen, kLitLenBits, entry);
                symbol = entry + kLitLenBits;
                if (isLiteral(entry)) {
                    bits.consume(entry);
                    loop.sink.literal(entry);
                    bits.refill();
                    index = bits.peek(kLitLenBits);
                    entry = litLen[index].value;
                    continue;
                }
            }
            if (entry & kExceptional) {
                bits.consume(entry);
                if (entry & kBlockEnd) return loop.leave(io, kAtBlockEnd);
                return loop.leaveInvalid(io, bitsToConsume(symbol));
            }
        }
        const uint32_t length = bits.value(entry);
        bits.consume(entry);

        entry = tables->distance[bits.peek(kDistanceBits)].value;
        if (!kWideWord) bits.refill();
        if (entry & kExceptional) [[unlikely]] {
            if (entry & kLink) {
                bits.consume(entry);
                symbol += kDistanceBits;
                if (!kWideWord) bits.refill();
                entry = bits.follow(tables->distance, kDistanceBits, entry);
            }
            if (entry & kExceptional) return loop.leaveInvalid(io, bitsToConsume(symbol));
        }
        const uint32_t distance = bits.value(entry);
        bits.consume(entry);
        index =
            bits.template peekAndRefill<Budget::kDistance <= Budget::kLeavesLookUp>(kLitLenBits);
        entry = litLen[index].value;
        if (!loop.sink.match(length, distance)) [[unlikely]]
            return loop.leaveMatch(io, length, distance);
    }
    return loop.leave(io, kMarginsUsedUp);
}

// One kernel for each code and output, in the tier that the processor has.
using Kernel = int32_t(KernelIo& io);
template <class Code>
int32_t decodeToBytes(KernelIo& io);
template <class Code>
int32_t decodeToPairs(KernelIo& io);

}  // namespace zeldc::deflate
