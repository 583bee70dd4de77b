// The first byte chooses: a description and symbols, in calls of all sizes, against a plain
// decoder; symbols, coded and decoded; a whole .bz2 stream, judged by libbz2; or bytes, made into
// one.
#include <bzlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "docs/examples/bzip2_chain.h"
#include "tests/support/bz2_model.hpp"
#include "zeldc.h"

namespace {

using support::ModelDecoder;
using Bytes = std::vector<uint8_t>;

void must(bool condition) {
    if (!condition) std::abort();
}

struct Pieces {
    const uint8_t* data;
    size_t size;
    size_t at = 0;
    // 0 .. most-1
    size_t next(size_t most) {
        const uint8_t byte = data[at++ % size];
        return byte % 4 == 0 ? most - 1 : byte % most;
    }
};

// Copies of exactly the piece, so that a byte too far is seen.
void decodeAgainstModel(const Bytes& stream, int32_t alphaSize, Pieces pieces) {
    HuffBz2DecodeState* state = nullptr;
    must(zelsDecodeHuffInitAlloc_BZ2_8u16u(50 * 700, alphaSize, &state) == zelStsOk);
    ModelDecoder model(alphaSize, 700);
    uint32_t code = 0;
    int32_t bits = 0;
    uint64_t modelWord = 0;
    size_t done = 0;
    bool unpacked = false;
    for (int call = 0; call < 200; ++call) {
        const size_t give = std::min(stream.size() - done, pieces.next(16384));
        if (give == 0 && !unpacked) break;
        const Bytes piece(stream.begin() + static_cast<std::ptrdiff_t>(done),
                          stream.begin() + static_cast<std::ptrdiff_t>(done + give));
        const uint8_t none = 0;
        const uint8_t* begin = piece.empty() ? &none : piece.data();
        const uint8_t* src = begin;
        auto left = static_cast<int32_t>(give);
        ModelDecoder::Cursor cursor{src, left, modelWord, bits};
        ZelStatus status = zelStsOk;
        ZelStatus expected = zelStsOk;
        if (!unpacked) {
            expected = model.unpack(cursor);
            status = zelsUnpackHuffContext_BZ2_8u16u(&code, &bits, &src, &left, state);
            unpacked = status == zelStsOk;
        } else {
            std::vector<uint16_t> out(1 + pieces.next(16384));
            auto count = static_cast<int32_t>(out.size());
            std::vector<uint16_t> modelOut;
            expected = model.decode(cursor, modelOut, count);
            status = zelsDecodeHuff_BZ2_8u16u(&code, &bits, &src, &left, out.data(), &count, state);
            out.resize(static_cast<size_t>(count));
            must(out == modelOut);
            unpacked = status != zelStsOk;
        }
        must(status == expected && src == cursor.src && left == cursor.srcLen &&
             bits == cursor.count);
        must(code == (bits == 0 ? 0 : static_cast<uint32_t>(cursor.word << (32 - bits))));
        modelWord = cursor.word;
        done += static_cast<size_t>(src - begin);
        if (status < 0 || (status == zelStsSrcExhausted && done == stream.size())) break;
    }
    zelsDecodeHuffFree_BZ2_8u16u(state);
}

void roundTrip(const uint8_t* data, size_t size, int32_t alphaSize) {
    std::vector<uint16_t> symbols;
    std::vector<uint32_t> freq(static_cast<size_t>(alphaSize));
    for (size_t i = 0; i + 1 < size; ++i)
        symbols.push_back(static_cast<uint16_t>((data[i] + (data[i + 1] & 1)) % alphaSize));
    // The end of the block comes once.
    for (auto& s : symbols)
        if (s == alphaSize - 1) s = 0;
    symbols.push_back(static_cast<uint16_t>(alphaSize - 1));
    for (const uint16_t s : symbols)
        freq[s] += data[0];
    const auto len = static_cast<int32_t>(symbols.size());
    HuffBz2EncodeState* encoder = nullptr;
    must(zelsEncodeHuffInitAlloc_BZ2_16u8u(len, alphaSize, freq.data(), symbols.data(), len,
                                           &encoder) == zelStsOk);
    Bytes stream(symbols.size() * 3 + 16384);
    uint32_t code = 0;
    int32_t bits = 0;
    auto head = static_cast<int32_t>(stream.size());
    must(zelsPackHuffContext_BZ2_16u8u(&code, &bits, stream.data(), &head, encoder) == zelStsOk);
    auto rest = static_cast<int32_t>(stream.size()) - head;
    const uint16_t* src = symbols.data();
    int32_t left = len;
    must(zelsEncodeHuff_BZ2_16u8u(&code, &bits, &src, &left, stream.data() + head, &rest,
                                  encoder) == zelStsOk);
    stream[static_cast<size_t>(head + rest)] = static_cast<uint8_t>(code >> 24);
    stream.resize(static_cast<size_t>(head + rest) + 4);
    zelsEncodeHuffFree_BZ2_16u8u(encoder);

    HuffBz2DecodeState* decoder = nullptr;
    must(zelsDecodeHuffInitAlloc_BZ2_8u16u(len, alphaSize, &decoder) == zelStsOk);
    const uint8_t* from = stream.data();
    auto bytes = static_cast<int32_t>(stream.size());
    code = 0;
    bits = 0;
    must(zelsUnpackHuffContext_BZ2_8u16u(&code, &bits, &from, &bytes, decoder) == zelStsOk);
    std::vector<uint16_t> out(symbols.size());
    int32_t count = len;
    must(zelsDecodeHuff_BZ2_8u16u(&code, &bits, &from, &bytes, out.data(), &count, decoder) ==
         zelStsOk);
    must(count == len && out == symbols);
    zelsDecodeHuffFree_BZ2_8u16u(decoder);
}

void judgeStream(const Bytes& stream) {
    if (stream.size() > 14 && (stream[14] & 0x80) != 0) return;  // randomised: the peer's alone
    const uint8_t none = 0;
    const uint8_t* src = stream.empty() ? &none : stream.data();
    auto left = static_cast<int32_t>(stream.size());
    Bz2Buffer out = {};
    const ZelStatus status = bz2Decompress(&src, &left, &out);
    Bytes judged(out.size + 1);
    bz_stream bz = {};
    must(BZ2_bzDecompressInit(&bz, 0, 0) == BZ_OK);
    Bytes copy = stream;
    bz.next_in = reinterpret_cast<char*>(copy.data());
    bz.avail_in = static_cast<unsigned>(copy.size());
    bz.next_out = reinterpret_cast<char*>(judged.data());
    bz.avail_out = static_cast<unsigned>(judged.size());
    const bool good = BZ2_bzDecompress(&bz) == BZ_STREAM_END;
    must(good == (status == zelStsOk));
    if (good) {
        must(bz.avail_out == 1 && left == static_cast<int32_t>(bz.avail_in));
        must(out.size == 0 || std::memcmp(judged.data(), out.data, out.size) == 0);
    }
    BZ2_bzDecompressEnd(&bz);
    free(out.data);
}

void chainRoundTrip(const Bytes& src) {
    Bz2Buffer out = {};
    must(bz2Compress(src.data(), static_cast<int32_t>(src.size()), 1, &out) == zelStsOk);
    Bytes judged(src.size() + 1);
    auto size = static_cast<unsigned>(judged.size());
    must(BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(judged.data()), &size,
                                    reinterpret_cast<char*>(out.data),
                                    static_cast<unsigned>(out.size), 0, 0) == BZ_OK);
    must(size == src.size() && std::memcmp(judged.data(), src.data(), size) == 0);
    free(out.data);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    const auto alphaSize = static_cast<int32_t>(1 + (data[1] | (data[2] & 1) << 8) % 258);
    Bytes stream(data + 3, data + size);
    switch (data[0] % 5) {
        case 0:
            judgeStream(stream);
            break;
        case 1:
            roundTrip(data + 3, size - 3, alphaSize > 1 ? alphaSize : 2);
            break;
        case 2:
            decodeAgainstModel(stream, alphaSize, {data, size});
            break;
        case 3:
            // Long enough for bursts.
            while (stream.size() < 20000)
                stream.insert(stream.end(), data + 3, data + size);
            decodeAgainstModel(stream, alphaSize, {data, size});
            break;
        default:
            chainRoundTrip(stream);
            break;
    }
    return 0;
}
