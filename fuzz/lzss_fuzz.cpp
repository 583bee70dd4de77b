// LZSS: any bytes decode to the same output however source and room are cut; and round trips.
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
    LzssState* get() { return reinterpret_cast<LzssState*>(memory.data() + 1); }
    Bytes memory = Bytes(327725);
};

// Calls in the pieces given, until the source is used up and nothing more comes.
template <class Operation>
Bytes run(Operation operation, LzssState* state, const Bytes& src, size_t srcPiece,
          size_t dstPiece) {
    Bytes all;
    const uint8_t* next = src.data();
    auto total = static_cast<int32_t>(src.size());
    for (;;) {
        int32_t left = std::min(total, static_cast<int32_t>(srcPiece));
        const int32_t given = left;
        Bytes out(dstPiece);
        uint8_t* dst = out.data();
        auto room = static_cast<int32_t>(dstPiece);
        const ZelStatus status = operation(&next, &left, &dst, &room, state);
        require(status == zelStsOk || status == zelStsDstFull);
        require(dst + room == out.data() + dstPiece);
        total -= given - left;
        all.insert(all.end(), out.data(), dst);
        if (total == 0 && (status == zelStsOk || dst == out.data())) return all;
        if (total == 0 && operation == zelsEncodeLZSS_8u) return all;
    }
}

void roundTrip(const Bytes& input, size_t srcPiece, size_t dstPiece) {
    State state;
    zelsEncodeLZSSInit_8u(state.get());
    Bytes coded = run(zelsEncodeLZSS_8u, state.get(), input, srcPiece, dstPiece);
    uint8_t rest[4];
    uint8_t* next = rest;
    int32_t room = sizeof rest;
    require(zelsEncodeLZSSFlush_8u(&next, &room, state.get()) == zelStsOk);
    coded.insert(coded.end(), rest, next);
    zelsDecodeLZSSInit_8u(state.get());
    require(run(zelsDecodeLZSS_8u, state.get(), coded, srcPiece, input.size() + 1) == input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const size_t srcPiece = 1 + data[0];
    const size_t dstPiece = 1 + size_t{data[1]} * data[1] / 8;
    const Bytes input(data + 2, data + size);
    State state;
    zelsDecodeLZSSInit_8u(state.get());
    const Bytes whole = run(zelsDecodeLZSS_8u, state.get(), input, input.size(), 60000);
    zelsDecodeLZSSInit_8u(state.get());
    require(run(zelsDecodeLZSS_8u, state.get(), input, srcPiece, dstPiece) == whole);
    roundTrip(input, srcPiece, dstPiece);
    return 0;
}
