#include "deflate/decode_dynamic_header.hpp"

namespace zeldc::deflate {
namespace {

constexpr uint16_t kNoSymbol = 32;

// What each code length is asked to find in the source: the longest code with the longest extra
// field, and more. A stream must go on for that many bits even where a shorter code is the last.
constexpr int32_t kCodeLengthLookahead = 22;

bool readCounts(DecodeProgress& progress, BitSource& bits) {
    if (!bits.ensure(14)) return false;
    const auto fields = static_cast<int32_t>(bits.peek() & 0x3FFF);
    progress.litLenCount = (fields & 31) + kFewestLitLenLengths;
    progress.distanceCount = (fields >> 5 & 31) + kFewestDistanceLengths;
    progress.codeLengthCount = (fields >> 10) + kFewestCodeLengthLengths;
    bits.consume(14);
    progress.phase = phaseCodeLengthCode;
    return true;
}

// Codes that would leave the table's index range belong to an over-subscribed code, which has no
// meaning: all of its entries stay empty.
void buildCodeLengthTable(U16* table, const uint8_t* lengths) {
    const SortedCode code(lengths, kCodeLengthSymbols);
    for (int32_t i = 0; i < 1 << kLongestCodeLengthCode; ++i)
        table[i] = kNoSymbol;
    if (code.oversubscribed) return;
    const uint16_t* symbol = code.symbols;
    uint32_t codeword = 0;
    for (int32_t length = 1; length <= kLongestCodeLengthCode; ++length) {
        for (int32_t left = code.counts[length]; left > 0; --left) {
            const auto entry = static_cast<uint16_t>(length << 8 | *symbol++);
            for (uint32_t i = codeword; i < 1U << kLongestCodeLengthCode; i += 1U << length)
                table[i] = entry;
            codeword = nextReversed(codeword, length);
        }
    }
}

bool readCodeLengthCode(DecodeProgress& progress, BitSource& bits) {
    const int32_t count = progress.codeLengthCount;
    if (!bits.ensure(3 * count)) return false;
    uint8_t lengths[kCodeLengthSymbols] = {};
    for (int32_t i = 0; i < count; ++i) {
        lengths[kCodeLengthOrder[static_cast<size_t>(i)]] = static_cast<uint8_t>(bits.peek() & 7);
        bits.consume(3);
    }
    buildCodeLengthTable(progress.codeLengthTable, lengths);
    progress.lengthsRead = 0;
    progress.phase = phaseCodeLengths;
    return true;
}

// What the symbols of the code-length code stand for: `repeat` times the length given or, for 16,
// the one before.
struct LengthRun {
    uint16_t length;
    int32_t repeat;
    int32_t bits;  // of code and extra field
};

LengthRun lengthRun(uint32_t symbol, uint32_t codeBits, uint64_t bitBuf, uint16_t previous) {
    const auto extra = static_cast<int32_t>(bitBuf >> codeBits & 0x7F);
    const auto length = static_cast<int32_t>(codeBits);
    switch (symbol) {
        case kRepeatPrevious:
            return {previous, 3 + (extra & 3), length + 2};
        case kRepeatZero:
            return {0, 3 + (extra & 7), length + 3};
        case kRepeatZeroLonger:
            return {0, 11 + extra, length + 7};
        default:
            return {static_cast<uint16_t>(symbol), 1, length};
    }
}

// A repeat as the first length repeats 0; a run that passes the end is cut there.
ZelStatus readCodeLengths(DecodeState& state, BitSource& bits) {
    const int32_t total = state.progress.litLenCount + state.progress.distanceCount;
    int32_t read = state.progress.lengthsRead;
    ZelStatus status = zelStsOk;
    while (read < total) {
        bits.fill();
        if (bits.count() < kCodeLengthLookahead) {
            status = zelStsSrcExhausted;
            break;
        }
        const uint16_t entry =
            state.progress.codeLengthTable[bits.peek() & ((1 << kLongestCodeLengthCode) - 1)];
        if (entry == kNoSymbol) {
            status = zelStsBadSize;
            break;
        }
        const uint16_t previous = read > 0 ? uint16_t{state.lengths[read - 1]} : uint16_t{0};
        const LengthRun run = lengthRun(entry & 0xFF, entry >> 8, bits.peek(), previous);
        bits.consume(run.bits);
        for (const int32_t end = std::min(read + run.repeat, total); read < end; ++read)
            state.lengths[read] = run.length;
    }
    state.progress.lengthsRead = read;
    return status;
}

}  // namespace

ZelStatus readDynamicHeader(DecodeState& state, BitSource& bits) {
    DecodeProgress& progress = state.progress;
    if (progress.phase != phaseCodeLengthCode && progress.phase != phaseCodeLengths) {
        if (!readCounts(progress, bits)) return zelStsSrcExhausted;
    }
    if (progress.phase == phaseCodeLengthCode) {
        if (!readCodeLengthCode(progress, bits)) return zelStsSrcExhausted;
    }
    const ZelStatus status = readCodeLengths(state, bits);
    if (status != zelStsOk) return status;
    buildTables(state.tables, state.lengths, progress.litLenCount, progress.distanceCount);
    progress.tablesBuilt = 1;
    progress.phase = phaseBody;
    return zelStsOk;
}

}  // namespace zeldc::deflate
