#include "deflate/decode_blocks.hpp"

#include "deflate/inflate_kernel.hpp"

namespace zeldc::deflate {
namespace {

// The block header, as decoders of one kind of block read it. `kind` is BTYPE.
ZelStatus readHeader(DecodeProgress& progress, BitSource& bits, uint32_t kind) {
    if (bits.count() < 3) {
        // Two bytes at once from an even address: seen only when the header is then refused.
        const bool even = (reinterpret_cast<uintptr_t>(bits.srcNext()) & 1) == 0;
        if (!bits.takeByte()) return zelStsSrcExhausted;
        if (even) bits.takeByte();
    }
    const auto header = static_cast<uint32_t>(bits.peek()) & 7;
    if (header >> 1 != kind) return zelStsBadData;
    if (header & 1) progress.finalBlock = 1;
    bits.consume(3);
    return zelStsOk;
}

enum class Unit { literal, match, blockEnd, invalid, cut };

struct Symbol {
    Unit unit;
    uint32_t value;  // the literal, or the length
    uint32_t distance;
    int32_t bits;
};

// An entry found by looking at bits that may not all be there: those that are missing count as 0.
// As a code's unused bit patterns come last in the order of its codes, zeros lead to an unused one
// only where no other bits could lead to a code.
struct Found {
    Entry entry;
    int32_t bits;  // with everything before it
    uint32_t value;
};

Found find(const U32* table, int32_t indexBits, uint64_t bitBuf, int32_t bitsBefore) {
    uint64_t rest = bitBuf >> bitsBefore;
    Entry entry = table[rest & ((1U << indexBits) - 1)];
    int32_t bits = bitsBefore;
    if (entry & kLink && entry & kExceptional) {
        bits += indexBits;
        rest >>= indexBits;
        const auto index = static_cast<uint32_t>(rest) & ((1U << codeLength(entry)) - 1);
        entry = table[(1U << indexBits) + payload(entry) + index];
    }
    const auto both = static_cast<uint32_t>(rest) & ((1U << bitsToConsume(entry)) - 1);
    return {entry, bits + static_cast<int32_t>(bitsToConsume(entry)),
            payload(entry) + (both >> codeLength(entry))};
}

// Reads one symbol with all that belongs to it, without consuming it.
template <class Code>
Symbol peekSymbol(const TablesOf<Code>& tables, const BitSource& bits) {
    const Entry entry = tables.litLen[bits.peek() & ((1U << Code::kLitLenBits) - 1)];
    if (isWholeMatch(entry)) {
        const uint32_t size = bitsToConsume(entry);
        if (static_cast<int32_t>(size) > bits.count()) return {Unit::cut, 0, 0, 0};
        const auto all = static_cast<uint32_t>(bits.peek()) & ((1U << size) - 1);
        return {Unit::match, ownLength(entry),
                wholeDistanceBase(entry) + (all >> wholeCodeBits(entry)),
                static_cast<int32_t>(size)};
    }
    const Found first = find(tables.litLen, Code::kLitLenBits, bits.peek(), 0);
    if (first.bits > bits.count()) return {Unit::cut, 0, 0, 0};
    if (isLiteral(first.entry)) return {Unit::literal, payload(first.entry) & 0xFF, 0, first.bits};
    if (first.entry & kExceptional) {
        return {first.entry & kBlockEnd ? Unit::blockEnd : Unit::invalid, 0, 0, first.bits};
    }
    const Found second = find(tables.distance, Code::kDistanceBits, bits.peek(), first.bits);
    if (second.bits > bits.count()) return {Unit::cut, 0, 0, 0};
    if (second.entry & kExceptional) return {Unit::invalid, 0, 0, second.bits};
    return {Unit::match, first.value, second.value, second.bits};
}

ZelStatus endBlock(DecodeProgress& progress, BitSource& bits) {
    progress.phase = phaseBetweenBlocks;
    if (progress.finalBlock == 0) return zelStsOk;
    progress.endOfStream = 1;
    bits.skipToByteBoundary();
    bits.handBackAll();
    return zelStsStreamEnd;
}

// The kernel, as each output needs it.
struct ByteKernel {
    static constexpr int32_t kMargin = kByteMargin;
    template <class Code>
    static int32_t run(KernelIo& io) {
        return decodeToBytes<Code>(io);
    }
    static void place(KernelIo& io, const ByteOutput& out) {
        const DecodeState& state = out.state();
        io.dstStart = out.start();
        io.windowEnd = state.window + int32_t{state.progress.windowEnd};
    }
};
struct PairKernel {
    static constexpr int32_t kMargin = kPairMargin;
    template <class Code>
    static int32_t run(KernelIo& io) {
        return decodeToPairs<Code>(io);
    }
    static void place(KernelIo&, const PairOutput&) {}
};
template <class Output>
using KernelFor = std::conditional_t<std::is_same_v<Output, ByteOutput>, ByteKernel, PairKernel>;

template <class Output>
bool hasMargins(const BitSource& bits, const Output& out) {
    return bits.srcLeft() >= kSrcToEnter && out.end() - out.next() >= KernelFor<Output>::kMargin;
}

template <class Code, class Output>
int32_t runFast(const TablesOf<Code>& tables, BitSource& bits, Output& out) {
    KernelIo io{};
    io.srcNext = bits.srcNext();
    io.srcEnd = bits.srcEnd();
    io.dstNext = out.next();
    io.dstEnd = out.end();
    io.tables = &tables;
    io.bitBuf = static_cast<Word>(bits.peek());
    io.bitCount = bits.count();
    KernelFor<Output>::place(io, out);
    const int32_t result = KernelFor<Output>::template run<Code>(io);
    bits.set(io.srcNext, io.bitBuf, io.bitCount);
    out.setNext(io.dstNext);
    return result;
}

template <class Code, class Output>
ZelStatus decodeBody(const TablesOf<Code>& tables, DecodeProgress& progress, BitSource& bits,
                     Output& out) {
    while (!out.full()) {
        if (hasMargins(bits, out)) {
            bits.handBack();
            // More may be left from earlier calls.
            if (bits.count() < kWordBits) {
                const int32_t result = runFast<Code>(tables, bits, out);
                if (result == kAtBlockEnd) return endBlock(progress, bits);
                if (result == kAtInvalid) return zelStsBadSize;
                if (result != kMarginsUsedUp) {
                    out.match(static_cast<uint32_t>(result) >> 16,
                              static_cast<uint32_t>(result) & 0xFFFF);
                }
                // A kernel makes at least one round, which may have filled the destination.
                continue;
            }
        }
        bits.fill();
        const Symbol symbol = peekSymbol<Code>(tables, bits);
        switch (symbol.unit) {
            case Unit::cut:
                return zelStsSrcExhausted;
            case Unit::invalid:
                return zelStsBadSize;
            case Unit::literal:
                bits.consume(symbol.bits);
                out.literal(symbol.value);
                break;
            case Unit::match:
                bits.consume(symbol.bits);
                out.match(symbol.value, symbol.distance);
                break;
            case Unit::blockEnd:
                bits.consume(symbol.bits);
                return endBlock(progress, bits);
        }
    }
    return zelStsDstFull;
}

}  // namespace

template <class Output>
ZelStatus decodeFixedBlock(DecodeState& state, BitSource& bits, Output& out) {
    if (state.progress.phase != phaseBody) {
        const ZelStatus status = readHeader(state.progress, bits, kFixedBlock);
        if (status != zelStsOk) return status;
        state.progress.blockType = Lz77BlockFixed;
        state.progress.phase = phaseBody;
    }
    return decodeBody<FixedCode>(kFixedTables, state.progress, bits, out);
}

template <class Output>
ZelStatus decodeDynamicBlock(DecodeState& state, BitSource& bits, Output& out) {
    DecodeProgress& progress = state.progress;
    if (progress.phase == phaseBetweenBlocks) {
        const ZelStatus status = readHeader(progress, bits, kDynamicBlock);
        if (status != zelStsOk) return status;
        progress.blockType = Lz77BlockDynamic;
        progress.phase = phaseHeaderRead;
    }
    if (progress.phase != phaseBody) {
        const ZelStatus status = readDynamicHeader(state, bits);
        if (status != zelStsOk) return status;
    }
    if (!progress.tablesBuilt) {
        // A decoder of another kind has opened this body: no code has been described.
        buildTables(state.tables, state.lengths, 0, 0);
        progress.tablesBuilt = 1;
    }
    return decodeBody<DynamicCode>(state.tables, progress, bits, out);
}

template ZelStatus decodeFixedBlock(DecodeState&, BitSource&, ByteOutput&);
template ZelStatus decodeFixedBlock(DecodeState&, BitSource&, PairOutput&);
template ZelStatus decodeDynamicBlock(DecodeState&, BitSource&, ByteOutput&);
template ZelStatus decodeDynamicBlock(DecodeState&, BitSource&, PairOutput&);

ZelStatus resynchronise(BitSource& bits) {
    constexpr uint32_t kMarker = 0xFFFF0000;
    bits.skipToByteBoundary();
    for (;;) {
        if (!bits.ensure(32)) return zelStsSrcExhausted;
        if (static_cast<uint32_t>(bits.peek()) == kMarker) break;
        bits.consume(8);
    }
    // What is left now was there before this call.
    bits.clear();
    return zelStsOk;
}

}  // namespace zeldc::deflate
