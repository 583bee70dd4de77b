// Byte Huffman decoder: its Init, single bytes at a bit position, and streams. The stream decoder
// has a careful loop, which takes the source byte by byte and sets 0 bits aside in whole bytes, and
// for long calls a fast one over the look-up table of decode_table.hpp.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/alloc.hpp"
#include "core/state.hpp"
#include "core/unaligned.hpp"
#include "huffman/decode_table.hpp"
#include "huffman/huffman_state.hpp"
#include "zeldc.h"

namespace zeldc::huffman {
namespace {

bool validLengths(const S32* lengths) {
    return std::all_of(lengths, lengths + kSymbols,
                       [](int32_t length) { return length >= 0 && length <= kMaxCodeLength; });
}

// The byte values of each length in descending order, longest lengths first.
void listSymbols(const CanonicalCode& code, State& state) {
    uint32_t place[kMaxCodeLength + 1];
    uint32_t used = 0;
    for (int32_t length = code.maxLength; length > 0; --length) {
        place[length] = used;
        used += code.count[length];
    }
    for (int32_t value = kSymbols; value-- > 0;) {
        const int32_t length = state.lengths[value];
        if (length == 0) continue;
        if (code.count[length] != 0) state.symbols[place[length]++] = static_cast<uint8_t>(value);
    }
    state.symbolsEnd.set(&state, state.symbols + used);
}

// Where a table would begin if it had an element 0 before the one that it begins with.
template <class T>
T* indexedFromOne(T* table) {
    return reinterpret_cast<T*>(reinterpret_cast<uintptr_t>(table) - sizeof(T));
}

void initDecoder(const S32* lengths, State& state) {
    S32 copied[kSymbols];  // the table may be one inside the state
    std::copy_n(lengths, kSymbols, copied);
    std::memset(&state, 0, sizeof state);
    std::copy_n(copied, kSymbols, state.lengths);
    const CanonicalCode code = canonicalCode(state.lengths);
    assignCodes(code, state);
    listSymbols(code, state);
    uint32_t sum = 0;
    for (int32_t length = 1; length <= code.maxLength; ++length) {
        sum += code.count[length];
        state.cumulative[length - 1] = static_cast<int32_t>(sum);
        state.firstCode[length - 1] = code.first[length] << (code.maxLength - length);
    }
    state.firstCodeByLength.set(&state, indexedFromOne(state.firstCode));
    state.cumulativeByLength.set(&state, indexedFromOne(state.cumulative));
    state.maxLength = code.maxLength;
    state.minLength = code.minLength;
    for (int32_t value = 0; value < kSymbols; ++value) {
        if (code.maxLength != 0 && state.lengths[value] == code.maxLength) {
            state.zeroSymbol = static_cast<uint8_t>(value);
        }
    }
}

// Reads the tables of a state. Lengths that make no prefix code lead to wrong symbols, never out of
// the tables: the first code of the longest length is 0, which ends the search, and what is not in
// the list of symbols decodes to 0.
class CodeReader {
  public:
    explicit CodeReader(const State& state)
        : state_(state),
          maxLength_(static_cast<uint32_t>(int32_t{state.maxLength})),
          minLength_(static_cast<uint32_t>(int32_t{state.minLength})),
          total_(cumulative(maxLength_)) {}

    struct Decoded {
        uint8_t symbol;
        uint32_t length;
    };
    // `lookAhead`: the next maxLength bits.
    Decoded decode(uint32_t lookAhead) const {
        uint32_t length = minLength_;
        while (length < maxLength_ && lookAhead < first(length))
            ++length;
        const uint32_t index =
            total_ - cumulative(length) + ((lookAhead - first(length)) >> (maxLength_ - length));
        return {index < kSymbols ? state_.symbols[index] : uint8_t{0}, length};
    }
    uint32_t maxLength() const { return maxLength_; }

  private:
    uint32_t first(uint32_t length) const { return state_.firstCode[length - 1]; }
    uint32_t cumulative(uint32_t length) const {
        return static_cast<uint32_t>(int32_t{state_.cumulative[length - 1]});
    }

    const State& state_;
    uint32_t maxLength_;
    uint32_t minLength_;
    uint32_t total_;
};

// Up to 7 + 32 bits from `offset` on; only the bytes that hold them are read.
uint32_t bitsAt(const uint8_t* src, uint32_t offset, uint32_t count) {
    uint64_t bits = 0;
    for (uint32_t taken = 0; taken < offset + count; taken += 8)
        bits |= uint64_t{*src++} << (56 - taken);
    return static_cast<uint32_t>(bits << offset >> (64 - count));
}

// Zeros in whole bytes are counted, not kept; the counter stops taking more in time to stay a
// positive 32-bit number, wherever in memory 256 MB of them come from.
constexpr int32_t kMostPendingZeros = INT32_MAX - 64;

class StreamDecoder {
  public:
    StreamDecoder(State& state, const uint8_t* src, const uint8_t* srcEnd, uint8_t* dst,
                  uint8_t* dstEnd)
        : state_(state),
          reader_(state),
          srcBegin_(src),
          srcNext_(src),
          srcEnd_(srcEnd),
          dstNext_(dst),
          dstEnd_(dstEnd),
          bitBuf_(state.bitBuf),
          bitCount_(static_cast<uint32_t>(int32_t{state.bitCount})),
          pendingZeros_(state.pendingZeros) {}

    uint8_t* run() {
        if (dstEnd_ - dstNext_ >= kWorthTable && srcEnd_ - srcNext_ >= kWorthTable / 8) {
            runWithTable();
        } else {
            while (dstNext_ != dstEnd_ && step()) {
            }
        }
        state_.bitBuf = bitBuf_;
        state_.bitCount = static_cast<int32_t>(bitCount_);
        state_.pendingZeros = pendingZeros_;
        return dstNext_;
    }

  private:
    void setZerosAside() {
        while (bitCount_ >= 8 && bitBuf_ >> 24 == 0) {
            bitBuf_ <<= 8;
            bitCount_ -= 8;
            pendingZeros_ += 8;
        }
    }
    // To at least 17 bits, none of the first eight of which are all zero, while the source lasts.
    void refill() {
        setZerosAside();
        while (bitCount_ <= 16 && srcNext_ != srcEnd_ && pendingZeros_ <= kMostPendingZeros) {
            bitBuf_ |= uint32_t{*srcNext_++} << (24 - bitCount_);
            bitCount_ += 8;
            setZerosAside();
        }
    }

    // Decodes one symbol, or a run of the one whose code is all zeros; there is room for one. False
    // when the bits do not suffice.
    bool step() {
        refill();
        const uint32_t maxLength = reader_.maxLength();
        const auto zeros = static_cast<uint32_t>(pendingZeros_);
        if (zeros >= maxLength) {
            storeZeroCodes(zeros / maxLength);
            return true;
        }
        // zeros < maxLength <= 32
        const auto [symbol, length] = reader_.decode(bitBuf_ >> zeros >> (32 - maxLength));
        if (length > bitCount_ + zeros) return false;
        *dstNext_++ = symbol;
        if (length < zeros) {  // only where the lengths are no prefix code
            pendingZeros_ -= static_cast<int32_t>(length);
        } else {
            drop(length - zeros);
            pendingZeros_ = 0;
        }
        return true;
    }
    void storeZeroCodes(uint32_t available) {
        const auto room = static_cast<size_t>(dstEnd_ - dstNext_);
        const size_t count = std::min<size_t>(available, room);
        std::memset(dstNext_, state_.zeroSymbol, count);
        dstNext_ += count;
        pendingZeros_ -= static_cast<int32_t>(count * reader_.maxLength());
    }
    void drop(uint32_t count) {  // at most 24
        bitBuf_ <<= count;
        bitCount_ -= count;
    }

    // The table costs about as much as decoding this many symbols step by step.
    static constexpr ptrdiff_t kWorthTable = 4096;

    __attribute__((noinline)) void runWithTable() {
        DecodeTable table;
        const bool complete = table.build(state_);
        while (dstNext_ != dstEnd_ && step()) {
            if (complete && pendingZeros_ == 0 && dstNext_[-1] != state_.zeroSymbol &&
                srcEnd_ - srcNext_ >= DecodeTable::kSrcNeeded &&
                dstEnd_ - dstNext_ >= DecodeTable::kRoomNeeded) {
                runFast(table);
            }
        }
    }
    void runFast(const DecodeTable& table);

    State& state_;
    CodeReader reader_;
    const uint8_t* srcBegin_;
    const uint8_t* srcNext_;
    const uint8_t* srcEnd_;
    uint8_t* dstNext_;
    uint8_t* dstEnd_;
    uint32_t bitBuf_;
    uint32_t bitCount_;
    int32_t pendingZeros_;
};

// Decodes while source and room are ample. What the careful loop holds depends on how zeros lay in
// the bytes that it took, but not where the last code has a 1 in it: then no zeros are pending, and
// which bytes it takes next follows from the position in the source. So this begins and ends at
// such codes, undoing what it decoded behind the last one, and hands back all bytes that the
// position does not touch. (A complete code, which the table demands, has a 1 in every code but the
// zero symbol's, and its codes of length L begin with at least L - 8 zeros, so that the careful
// loop's 17 bits never fall short while there is source.)
void StreamDecoder::runFast(const DecodeTable& table) {
    BitPosition at{};
    if (!findBitPosition(srcBegin_, srcNext_, bitCount_, at)) return;
    uint8_t* const begin = dstNext_;
    dstNext_ = table.decode(at, srcEnd_, dstNext_, dstEnd_);
    uint32_t undone = 0;
    for (; dstNext_ != begin && dstNext_[-1] == state_.zeroSymbol; --dstNext_)
        undone += reader_.maxLength();
    at.goBack(undone);
    const HeldBits held = holdFrom(at, srcNext_);
    bitBuf_ = held.bitBuf;
    bitCount_ = held.bitCount;
}

}  // namespace
}  // namespace zeldc::huffman

using namespace zeldc;
using namespace zeldc::huffman;

extern "C" {

ZelStatus zelsDecodeHuffInit_8u(const int32_t* pLenTable, HuffState* pState) {
    if (pLenTable == nullptr || pState == nullptr) return zelStsNullPointer;
    const S32* lengths = anyAlignment(pLenTable);
    if (!validLengths(lengths)) return zelStsCodeLenTableErr;
    initDecoder(lengths, stateAt<State>(pState));
    return zelStsOk;
}

ZelStatus zelsDecodeHuffInitAlloc_8u(const int32_t* pLenTable, HuffState** ppState) {
    if (pLenTable == nullptr || ppState == nullptr) return zelStsNullPointer;
    auto* state = reinterpret_cast<HuffState*>(allocate(sizeof(State)));
    store(ppState, state);
    return zelsDecodeHuffInit_8u(pLenTable, state);
}

ZelStatus zelsDecodeHuffOne_8u(const uint8_t* pSrc, int32_t srcOffset, uint8_t* pDst,
                               const HuffState* pState) {
    if (pSrc == nullptr || pDst == nullptr || pState == nullptr) return zelStsNullPointer;
    const auto& state = stateAt<State>(pState);
    if (srcOffset < 0 || srcOffset > 7 || state.maxLength < 1) return zelStsBadSize;
    if (state.firstCodeByLength.isNull() || state.cumulativeByLength.isNull() ||
        state.symbolsEnd.isNull()) {
        return zelStsNullPointer;
    }
    const CodeReader reader(state);
    *pDst =
        reader.decode(bitsAt(pSrc, static_cast<uint32_t>(srcOffset), reader.maxLength())).symbol;
    return zelStsOk;
}

ZelStatus zelsDecodeHuff_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen,
                            HuffState* pState) {
    if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr || pState == nullptr) {
        return zelStsNullPointer;
    }
    const auto capacity = load<int32_t>(pDstLen);
    if (srcLen < 1 || capacity < 1) return zelStsBadSize;
    auto& state = stateAt<State>(pState);
    uint8_t* dstNext = pDst;
    // A state without codes (or one that is no decoder) decodes nothing.
    if (state.minLength > 0 && state.maxLength > 0) {
        dstNext = StreamDecoder(state, pSrc, pSrc + srcLen, pDst, pDst + capacity).run();
    }
    store(pDstLen, static_cast<int32_t>(dstNext - pDst));
    return zelStsOk;
}

}  // extern "C"
