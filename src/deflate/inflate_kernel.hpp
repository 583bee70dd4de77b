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

// Margins. A round refills at most four times on 32-bit machines (after a literal, before the
// distance, in a distance subtable, at its end) and twice on 64-bit ones; each refill reads a word
// and advances by less than one: 3 * 3 + 4 and 7 + 8 bytes. A refill precedes the first round.
constexpr int32_t kSrcMargin = 16;
constexpr int32_t kSrcToEnter = kSrcMargin + 8;
static_assert(3 * 3 + 4 <= kSrcMargin && 7 + 8 <= kSrcMargin);
// A round puts out at most three literals, or two and a match with its overrun.
constexpr int32_t kByteMargin =
    2 + static_cast<int32_t>(kLongestMatch) +
    std::max(copyOverrun(DynamicCode::kCopyUnits), copyOverrun(FixedCode::kCopyUnits));
constexpr int32_t kPairMargin = 3 * 4;

// Bits in a round. A refill leaves all kWordBits bits of the buffer those of the stream, so that
// many can be looked at, but only kRefilledBits of them may be consumed before the next one.
// Literals of a round are consumed as first-level codes; a length or distance may have a subtable.
template <class Code>
struct BitBudget {
    // Whether the next symbol can be looked up after so many bits, which spares it the wait for the
    // refill.
    static constexpr bool leavesLookUp(int32_t bits) {
        return bits + Code::kLitLenBits <= kWordBits;
    }

    // Two literals; where words are wide three, or two in front of a match.
    static constexpr int32_t kLiterals = 2 * Code::kLitLenBits;
    static constexpr int32_t kBefore = kWideWord ? kLiterals : 0;
    static_assert(leavesLookUp(Code::kLitLenBits) && kLiterals <= kRefilledBits);
    static_assert(!kWideWord || (kLiterals + Code::kLitLenBits <= kRefilledBits &&
                                 leavesLookUp(kLiterals + Code::kLitLenBits)));

    static constexpr int32_t kWhole = kBefore + kMostWholeBits;
    static_assert(kWhole <= kRefilledBits);

    // A length and the look for its distance; then the distance, after a refill if it takes one,
    // and where words are narrow after one more between its levels.
    static constexpr int32_t kLength = kBefore + Code::kLongestLitLen + 5;
    static_assert(kLength <= kRefilledBits && kLength + Code::kDistanceBits <= kWordBits);
    static constexpr int32_t kExtraBits = 13;
    static constexpr int32_t kAllDistance = Code::kLongestDistance + kExtraBits;
    static constexpr bool kRefillsForDistance = kLength + kAllDistance > kRefilledBits;
    static constexpr int32_t kDistance = !kRefillsForDistance ? kLength + kAllDistance
                                         : kWideWord          ? kAllDistance
                                                     : std::max(Code::kDistanceBits + kExtraBits,
                                                                kAllDistance - Code::kDistanceBits);
    static_assert(kDistance <= kRefilledBits);
};

// How a tier masks: the low bits of a word, as many as the low byte of `count` says.
struct PlainTier {
    [[gnu::always_inline]] static Word lowBits(Word word, uint32_t count) {
        return word & ((Word{1} << (count & (kWordBits - 1))) - 1);
    }
};
// From C++, compilers hoist the constant that is shifted out of the loop and with it lose the one
// instruction, which also needs no byte extracted first.
struct Bmi2Tier {
    [[gnu::always_inline]] static Word lowBits(Word word, uint32_t count) {
        Word low = 0;
        __asm__("bzhi %2, %1, %0" : "=r"(low) : "rm"(word), "r"(Word{count}) : "cc");
        return low;
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
        bitBuf |= reinterpret_cast<const Unaligned<Word>*>(srcNext)->value
                  << (bitCount & (kWordBits - 1));
        srcNext += sizeof(Word) - 1;
        srcNext -= bitCount >> 3 & (sizeof(Word) - 1);
        bitCount |= kRefilledBits;
    }
    [[gnu::always_inline]] void consume(Entry entry) {
        bitBuf >>= entry & (kWordBits - 1);
        bitCount -= entry;
    }
    // Consumes a length's or distance's entry and gives its value.
    [[gnu::always_inline]] uint32_t consumeValue(Entry entry) {
        const Word both = Tier::lowBits(bitBuf, entry);
        consume(entry);
        return payload(entry) + static_cast<uint32_t>(both >> (entry >> 8 & (kWordBits - 1)));
    }
    // The same for a whole match's; gives its distance.
    [[gnu::always_inline]] uint32_t consumeWhole(Entry entry) {
        const Word all = Tier::lowBits(bitBuf, wholeBits(entry));
        consume(entry);
        return wholeDistanceBase(entry) + static_cast<uint32_t>(all >> wholeCodeBits(entry));
    }
    // The next entry and a refill, in the better order that there are bits for.
    template <bool lookFirst>
    [[gnu::always_inline]] Entry next(const U32* table, int32_t indexBits) {
        if (!lookFirst) refill();
        const Entry entry = lookUp(table, indexBits);
        if (lookFirst) refill();
        return entry;
    }
    [[gnu::always_inline]] Entry lookUp(const U32* table, int32_t indexBits) const {
        return table[bitBuf & ((Word{1} << indexBits) - 1)].value;
    }
    [[gnu::always_inline]] Entry follow(const U32* table, Entry link) const {
        const Word index = bitBuf & ((Word{1} << codeLength(link)) - 1);
        return table[payload(link) + static_cast<uint32_t>(index)].value;
    }
};

// Bytes. Once a call's output is as long as the farthest distance, no match begins before it.
template <class Code, bool kReachesHistory>
class ByteSink {
  public:
    static constexpr int32_t kMargin = kByteMargin;

    [[gnu::always_inline]] explicit ByteSink(const KernelIo& io)
        : next_(io.dstNext), start_(io.dstStart), windowEnd_(io.windowEnd) {}

    [[gnu::always_inline]] void literal(Entry entry) {
        *next_++ = static_cast<uint8_t>(entry >> 16);
    }
    // False when the match begins in the history and runs on into this call's output. Whether it
    // lies in the one or the other follows no pattern, so no branch asks.
    [[gnu::always_inline]] bool match(uint32_t length, uint32_t distance) {
        const uint8_t* src = next_ - distance;
        if constexpr (kReachesHistory) {
            const auto back = static_cast<int32_t>(distance) - static_cast<int32_t>(next_ - start_);
            if (static_cast<uint32_t>(back) - 1 < length - 1) [[unlikely]]
                return false;
            const uint8_t* const inHistory = windowEnd_ - back;
            src = back > 0 ? inHistory : src;
        }
        copyWide<Code::kCopyUnits>(next_, src, length, distance);
        next_ += length;
        return true;
    }
    [[gnu::always_inline]] uint8_t* next() const { return next_; }

  private:
    uint8_t* next_;
    const uint8_t* start_;
    const uint8_t* windowEnd_;
};

class PairSink {
  public:
    static constexpr int32_t kMargin = kPairMargin;

    [[gnu::always_inline]] explicit PairSink(const KernelIo& io) : next_(io.dstNext) {}

    [[gnu::always_inline]] void literal(Entry entry) { put(entry >> 16 & 0xFF); }
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

// Decodes until the margins are used up, the block ends or something is left to the caller. On
// entry the source has kSrcToEnter bytes or more and the destination its margin.
template <class Code, class Sink, class Tier>
[[gnu::always_inline]] inline int32_t runKernel(KernelIo& io) {
    using Budget = BitBudget<Code>;
    constexpr int32_t kLitLenBits = Code::kLitLenBits;
    const auto* const tables = static_cast<const TablesOf<Code>*>(io.tables);
    const uint8_t* const srcLast = io.srcEnd - kSrcMargin;
    const uint8_t* const dstLast = io.dstEnd - Sink::kMargin;
    KernelBits<Tier> bits{io.srcNext, io.bitBuf, static_cast<uint32_t>(io.bitCount)};
    Sink sink(io);
    int32_t result = kMarginsUsedUp;

    bits.refill();
    Entry entry = bits.lookUp(tables->litLen, kLitLenBits);
    while (bits.srcNext <= srcLast && sink.next() <= dstLast) {
        // Here the buffer is full and holds the whole symbol of `entry`.
        if (isLiteral(entry)) {
            bits.consume(entry);
            sink.literal(entry);
            entry = bits.lookUp(tables->litLen, kLitLenBits);
            if (isLiteral(entry)) {
                bits.consume(entry);
                sink.literal(entry);
                if (!kWideWord) {
                    entry = bits.template next<Budget::leavesLookUp(Budget::kLiterals)>(
                        tables->litLen, kLitLenBits);
                    continue;
                }
                entry = bits.lookUp(tables->litLen, kLitLenBits);
                if (isLiteral(entry)) {
                    bits.consume(entry);
                    sink.literal(entry);
                    entry = bits.template next<true>(tables->litLen, kLitLenBits);
                    continue;
                }
            }
            if (!kWideWord) bits.refill();
        }

        if (Code::kHasWholeMatches && entry & kWholeMatch) {
            const uint32_t length = wholeLength(entry);
            const uint32_t distance = bits.consumeWhole(entry);
            // The next symbol's entry is on its way while the match is copied.
            entry = bits.template next<Budget::leavesLookUp(Budget::kWhole)>(tables->litLen,
                                                                             kLitLenBits);
            if (sink.match(length, distance)) [[likely]]
                continue;
            result = static_cast<int32_t>(length << 16 | distance);
            break;
        }

        Entry symbol = entry;  // whose low byte counts all that has been consumed of it
        if (entry & kExceptional) [[unlikely]] {
            if (entry & kLink) {
                bits.consume(entry);
                entry = bits.follow(tables->litLen, entry);
                symbol = entry + kLitLenBits;
                if (isLiteral(entry)) {
                    bits.consume(entry);
                    sink.literal(entry);
                    bits.refill();
                    entry = bits.lookUp(tables->litLen, kLitLenBits);
                    continue;
                }
            }
            if (entry & kExceptional) {
                bits.consume(entry);
                result = entry & kBlockEnd ? kAtBlockEnd : kAtInvalid;
                if (result == kAtInvalid) bits = rewind(bits, io, bitsToConsume(symbol));
                break;
            }
        }
        const uint32_t length = bits.consumeValue(entry);

        entry = bits.lookUp(tables->distance, Code::kDistanceBits);
        if (Budget::kRefillsForDistance) bits.refill();
        if (entry & kExceptional) [[unlikely]] {
            if (entry & kLink) {
                bits.consume(entry);
                symbol += Code::kDistanceBits;
                if (!kWideWord) bits.refill();
                entry = bits.follow(tables->distance, entry);
            }
            if (entry & kExceptional) {
                result = kAtInvalid;
                bits = rewind(bits, io, bitsToConsume(symbol));
                break;
            }
        }
        const uint32_t distance = bits.consumeValue(entry);
        entry = bits.template next<Budget::leavesLookUp(Budget::kDistance)>(tables->litLen,
                                                                            kLitLenBits);
        if (!sink.match(length, distance)) [[unlikely]] {
            result = static_cast<int32_t>(length << 16 | distance);
            break;
        }
    }

    // Hides the count from the optimiser, which else keeps it masked throughout the loop.
    __asm__("" : "+r"(bits.bitCount));
    io.srcNext = bits.srcNext;
    io.dstNext = sink.next();
    io.bitCount = static_cast<int32_t>(bits.bitCount & (kWordBits - 1));
    io.bitBuf = bits.bitBuf & ((Word{1} << io.bitCount) - 1);
    return result;
}

// A kernel for bytes: the loop that looks for the history, and when that is out of reach the other.
template <class Code, class Tier>
[[gnu::always_inline]] inline int32_t runByteKernel(KernelIo& io) {
    constexpr ptrdiff_t kOutOfReach = kFarthestDistance;
    const uint8_t* const dstEnd = io.dstEnd;
    const ptrdiff_t produced = io.dstNext - io.dstStart;
    if (produced < kOutOfReach) {
        io.dstEnd =
            io.dstNext + std::min(dstEnd - io.dstNext, kOutOfReach - produced + kByteMargin);
        const int32_t result = runKernel<Code, ByteSink<Code, true>, Tier>(io);
        io.dstEnd = dstEnd;
        if (result != kMarginsUsedUp || io.srcEnd - io.srcNext < kSrcToEnter ||
            dstEnd - io.dstNext < kByteMargin) {
            return result;
        }
    }
    return runKernel<Code, ByteSink<Code, false>, Tier>(io);
}

// One kernel for each code and output, in the tier that the processor has.
using Kernel = int32_t(KernelIo& io);
template <class Code>
int32_t decodeToBytes(KernelIo& io);
template <class Code>
int32_t decodeToPairs(KernelIo& io);

}  // namespace zeldc::deflate
