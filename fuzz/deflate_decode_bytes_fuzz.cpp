// The one-pass way, source and destination cut in pieces of exact size: never outside them, never
// endless, and what zlib decodes comes out the same.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "support/deflate_judge.hpp"
#include "zeldc.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Run {
    ZelStatus status = zelStsOk;
    size_t consumed = 0;
    Bytes out;
};

Run decode(const Bytes& src, size_t srcPiece, size_t dstPiece) {
    Run run;
    const auto memory = std::make_unique<uint8_t[]>(112876);  // cleared: matches may reach before
                                                              // the first byte
    auto* state = reinterpret_cast<Lz77DecodeState*>(memory.get());
    zelsDecodeLZ77Init_8u(Lz77ChecksumNone, state);
    Lz77BlockType type = -1;
    bool inBlock = false;
    while (run.out.size() < fuzz::kMostOutput) {
        const size_t give = std::min(srcPiece, src.size() - run.consumed);
        const auto from = src.begin() + static_cast<std::ptrdiff_t>(run.consumed);
        const Bytes piece(from, from + static_cast<std::ptrdiff_t>(give));
        Bytes room(std::min(dstPiece, fuzz::kMostOutput - run.out.size()));
        const uint8_t none = 0;
        const uint8_t* const start = give != 0 ? piece.data() : &none;
        const uint8_t* next = start;
        auto srcLeft = static_cast<int32_t>(give);
        uint8_t* dst = room.data();
        auto dstLeft = static_cast<int32_t>(room.size());
        if (!inBlock) {
            type = -1;
            run.status = zelsDecodeLZ77GetBlockType_8u(&next, &srcLeft, &type, state);
            if (run.status == zelStsOk && type < 0) run.status = zelStsBadData;
            inBlock = run.status == zelStsOk;
            run.status = inBlock ? zelStsDstFull : run.status;
        } else {
            if (type == Lz77BlockStored) {
                run.status = zelsDecodeLZ77StoredBlock_8u(&next, &srcLeft, &dst, &dstLeft, state);
            } else {
                const auto decoder = type == Lz77BlockFixed ? zelsDecodeLZ77FixedHuffFull_8u
                                                            : zelsDecodeLZ77DynamicHuffFull_8u;
                run.status = decoder(&next, &srcLeft, &dst, &dstLeft, Lz77FlushNone, state);
            }
            inBlock = run.status != zelStsOk;
        }
        run.consumed =
            static_cast<size_t>(static_cast<std::ptrdiff_t>(run.consumed) + (next - start));
        run.out.insert(run.out.end(), room.data(), dst);
        if (run.status < 0 || run.status == zelStsStreamEnd) break;
        if (run.status == zelStsSrcExhausted && run.consumed == src.size()) break;
    }
    return run;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    Bytes src(data + 2, data + size);
    src.insert(src.end(), 3, 0);
    const fuzz::Verdict verdict = fuzz::judge(src);
    const Run whole = decode(src, SIZE_MAX, fuzz::kMostOutput);
    fuzz::hold(verdict, whole.status == zelStsStreamEnd, whole.consumed, whole.out);
    const Run cut = decode(src, 1 + data[0], 1 + size_t{data[1]} * data[1]);
    if (whole.out.size() < fuzz::kMostOutput &&
        (cut.status != whole.status || cut.out != whole.out)) {
        std::abort();
    }
    // At an error, bytes of earlier pieces cannot be given back.
    if (whole.status == zelStsStreamEnd && cut.consumed != whole.consumed) std::abort();
    return 0;
}
