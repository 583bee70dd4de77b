// Byte Huffman: any packed table, any lengths and any bytes; and round trips.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zeldc.h"

namespace {

using Bytes = std::vector<uint8_t>;

void require(bool condition) {
    if (!condition) std::abort();
}

struct State {
    HuffState* get() { return reinterpret_cast<HuffState*>(memory.data()); }
    Bytes memory = Bytes(2596);
};

Bytes decode(HuffState* state, const Bytes& src, size_t capacity) {
    Bytes out(capacity);
    auto size = static_cast<int32_t>(capacity);
    require(zelsDecodeHuff_8u(src.data(), static_cast<int32_t>(src.size()), out.data(), &size,
                              state) == zelStsOk);
    require(size >= 0 && size <= static_cast<int32_t>(capacity));
    out.resize(static_cast<size_t>(size));
    return out;
}

// The lengths need make no code.
void decodeAnything(const int32_t* lengths, const Bytes& src, size_t cut) {
    State state;
    if (zelsDecodeHuffInit_8u(lengths, state.get()) != zelStsOk) return;
    decode(state.get(), Bytes(src.begin(), src.begin() + static_cast<std::ptrdiff_t>(cut)), 5000);
    decode(state.get(), Bytes(src.begin() + static_cast<std::ptrdiff_t>(cut) - 1, src.end()), 9);
    const Bytes window(8, src[0]);
    uint8_t symbol = 0;
    zelsDecodeHuffOne_8u(window.data(), src[0] & 7, &symbol, state.get());
}

void packAgain(const int32_t* lengths) {
    Bytes packed(1024);
    auto size = static_cast<int32_t>(packed.size());
    zelsHuffLenCodeTablePack_8u(lengths, packed.data(), &size);
    packed.resize(static_cast<size_t>(size));
    int32_t restored[256];
    const ZelStatus status = zelsHuffLenCodeTableUnpack_8u(packed.data(), &size, restored);
    if (!std::all_of(lengths, lengths + 256, [](int32_t n) { return n >= 0 && n <= 32; })) return;
    require(status == zelStsOk && size == static_cast<int32_t>(packed.size()));
    require(std::equal(lengths, lengths + 256, restored));
}

// Long enough for the look-up table, where the input is repeated.
void roundTrip(const Bytes& input) {
    Bytes src;
    while (src.size() < 5000)
        src.insert(src.end(), input.begin(), input.end());
    int32_t frequencies[256] = {};
    for (const uint8_t b : src)
        ++frequencies[b];
    State encoder;
    require(zelsEncodeHuffInit_8u(frequencies, encoder.get()) == zelStsOk);
    int32_t lengths[256];
    zelsHuffGetLenCodeTable_8u(lengths, encoder.get());
    if (std::count(lengths, lengths + 256, 8) == 256) return;
    int32_t bound = 0;
    const auto size = static_cast<int32_t>(src.size());
    require(zelsHuffGetDstBuffSize_8u(lengths, size, &bound, nullptr) == zelStsOk);
    Bytes coded(static_cast<size_t>(bound));
    int32_t whole = 0;
    int32_t rest = 0;
    zelsEncodeHuff_8u(src.data(), size, coded.data(), &whole, encoder.get());
    zelsEncodeHuffFinal_8u(coded.data() + whole, &rest, encoder.get());
    coded.resize(static_cast<size_t>(whole + rest));
    State decoder;
    require(zelsDecodeHuffInit_8u(lengths, decoder.get()) == zelStsOk);
    if (coded.empty()) return;
    require(decode(decoder.get(), coded, src.size()) == src);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    const Bytes input(data, data + size);
    int32_t lengths[256] = {};
    auto used = static_cast<int32_t>(size);
    if (zelsHuffLenCodeTableUnpack_8u(input.data(), &used, lengths) != zelStsOk) {
        for (size_t i = 0; i < 256; ++i)
            lengths[i] = input[i % size] % 34;
        used = 1;
    }
    const size_t cut = 1 + data[0] % (size - 1);
    decodeAnything(lengths, input, cut);
    packAgain(lengths);
    roundTrip(input);
    return 0;
}
