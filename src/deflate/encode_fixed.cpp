// Fixed-Huffman blocks (RFC 1951, section 3.2.6).
#include "deflate/encode_block.hpp"
#include "deflate/encode_codes.hpp"
#include "zeldc.h"

namespace zeldc::deflate {
namespace {

// The fixed code is the canonical one for its lengths, written out.
constexpr uint32_t fixedLitLenString(int32_t symbol) {
    const uint32_t length = fixedLitLenLength(symbol);
    const auto s = static_cast<uint32_t>(symbol);
    uint32_t code = 0xC0 + (s - 280);
    if (s < 144) code = 0x30 + s;
    if (s >= 144 && s < 256) code = 0x190 + (s - 144);
    if (s >= 256 && s < 280) code = s - 256;
    return bitString(reversedCode(code, length), length);
}

constexpr PairCodes kFixedCodes = [] {
    PairCodes codes{};
    fillPairCodes(codes, fixedLitLenString, [](int32_t symbol) {
        return bitString(reversedCode(static_cast<uint32_t>(symbol), kFixedDistanceBits),
                         kFixedDistanceBits);
    });
    return codes;
}();

void beginHeader(EncodeState& /*state*/, BitSink& sink, PairSource /*pairs*/, bool isFinal) {
    sink.append(kFixedBlock << 1 | (isFinal ? 1U : 0U), 3);
}

const PairCodes& codes(const EncodeState& /*state*/) {
    return kFixedCodes;
}

}  // namespace
}  // namespace zeldc::deflate

extern "C" ZelStatus zelsEncodeLZ77FixedHuff_8u(const Lz77Pair** ppSrc, int32_t* pSrcLen,
                                                uint8_t** ppDst, int32_t* pDstLen, Lz77Flush flush,
                                                Lz77EncodeState* pState) {
    using namespace zeldc::deflate;
    constexpr BlockKind kFixed{beginHeader, codes};
    return codeBlock(kFixed, ppSrc, pSrcLen, ppDst, pDstLen, flush, pState);
}
