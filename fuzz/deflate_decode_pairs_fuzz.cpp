// The two-stage way without GetBlockType, source and pairs cut in pieces; then any operation after
// any other, as the bytes say.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "support/deflate_judge.hpp"
#include "zeldc.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Pairs = std::vector<Lz77Pair>;

class Target {
  public:
    Target() : memory_(new uint8_t[112876]) {
        std::memset(memory_.get(), 0x5A, 112876);
        state_ = reinterpret_cast<Lz77DecodeState*>(memory_.get());
        zelsDecodeLZ77Init_8u(Lz77ChecksumAdler32, state_);
    }

    Lz77DecodeState* state() { return state_; }

    // One call of a pair decoder (0 fixed, 1 dynamic, 2 stored) with exact buffers.
    ZelStatus pairs(int kind, const Bytes& piece, size_t slots, Lz77Flush flush, Pairs& pairs,
                    std::ptrdiff_t& taken) {
        Pairs room(std::max<size_t>(slots, 1));
        const uint8_t none = 0;
        const uint8_t* const start = piece.empty() ? &none : piece.data();
        const uint8_t* next = start;
        auto srcLeft = static_cast<int32_t>(piece.size());
        Lz77Pair* out = room.data();
        auto left = static_cast<int32_t>(slots);
        ZelStatus status = zelStsOk;
        if (kind == 2) {
            status = zelsDecodeLZ77StoredHuff_8u(&next, &srcLeft, &out, &left, state_);
        } else {
            const auto decode =
                kind == 0 ? zelsDecodeLZ77FixedHuff_8u : zelsDecodeLZ77DynamicHuff_8u;
            status = decode(&next, &srcLeft, &out, &left, flush, state_);
        }
        taken = next - start;
        pairs.insert(pairs.end(), room.data(), out);
        return status;
    }

    void expand(const Pairs& pairs, size_t room, Bytes& out) {
        const Lz77Pair* next = pairs.data();
        auto left = static_cast<int32_t>(pairs.size());
        while (left > 0 && out.size() < fuzz::kMostOutput) {
            Bytes dst(room);
            uint8_t* to = dst.data();
            auto dstLeft = static_cast<int32_t>(room);
            const ZelStatus status =
                zelsDecodeLZ77_8u(&next, &left, &to, &dstLeft, Lz77FlushNone, state_);
            if (status < 0) std::abort();
            out.insert(out.end(), dst.data(), to);
        }
    }

  private:
    std::unique_ptr<uint8_t[]> memory_;
    Lz77DecodeState* state_;
};

void wholeStream(const Bytes& src, size_t srcPiece, size_t slots) {
    Target target;
    Bytes out;
    size_t consumed = 0;
    int kind = -1;
    ZelStatus status = zelStsOk;
    while (out.size() < fuzz::kMostOutput) {
        const bool opening = kind < 0;
        // All of it, so that no header is cut: then the kind would still be open.
        const size_t give = std::min(opening ? SIZE_MAX : srcPiece, src.size() - consumed);
        const auto from = src.begin() + static_cast<std::ptrdiff_t>(consumed);
        Bytes piece(from, from + static_cast<std::ptrdiff_t>(give));
        Pairs pairs;
        // The decoder that does not refuse the header; a refused one stays in the bit buffer.
        for (int tried = opening ? 0 : kind; tried < 3; ++tried) {
            std::ptrdiff_t taken = 0;
            status = target.pairs(tried, piece, slots, Lz77FlushNone, pairs, taken);
            consumed = static_cast<size_t>(static_cast<std::ptrdiff_t>(consumed) + taken);
            if (taken > 0) piece.erase(piece.begin(), piece.begin() + taken);
            kind = tried;
            if (!opening || status != zelStsBadData) break;
        }
        target.expand(pairs, pairs.size() * 258 + 1, out);
        if (status < 0 || status == zelStsStreamEnd) break;
        if (status == zelStsSrcExhausted && consumed == src.size()) break;
        if (status == zelStsOk) kind = -1;
    }
    if (out.size() < fuzz::kMostOutput)
        fuzz::hold(fuzz::judge(src), status == zelStsStreamEnd, consumed, out);
}

void anyOrder(const uint8_t* data, size_t size) {
    Target target;
    Pairs pairs;
    Bytes out;
    while (size > 4) {
        const size_t give = std::min<size_t>(data[1], size - 4);
        const Bytes piece(data + 4, data + 4 + give);
        Bytes room(1 + size_t{data[2]} * 4);
        const uint8_t none = 0;
        const uint8_t* next = give != 0 ? piece.data() : &none;
        auto srcLeft = static_cast<int32_t>(give);
        uint8_t* dst = room.data();
        auto dstLeft = static_cast<int32_t>(room.size());
        Lz77BlockType type = -1;
        std::ptrdiff_t taken = 0;
        const auto flush = static_cast<Lz77Flush>(data[3] < 20 ? data[3] & 3 : 0);
        switch (data[0] % 10) {
            case 0:
            case 1:
            case 2:
                target.pairs(data[0] % 10, piece, data[2], flush, pairs, taken);
                break;
            case 3:
                zelsDecodeLZ77GetBlockType_8u(&next, &srcLeft, &type, target.state());
                break;
            case 4:
                zelsDecodeLZ77StoredBlock_8u(&next, &srcLeft, &dst, &dstLeft, target.state());
                break;
            case 5:
                zelsDecodeLZ77FixedHuffFull_8u(&next, &srcLeft, &dst, &dstLeft, flush,
                                               target.state());
                break;
            case 6:
                zelsDecodeLZ77DynamicHuffFull_8u(&next, &srcLeft, &dst, &dstLeft, flush,
                                                 target.state());
                break;
            case 7: {
                Pairs raw(give / sizeof(Lz77Pair) + 1);
                if (give >= 4)
                    std::memcpy(static_cast<void*>(raw.data()), piece.data(), give / 4 * 4);
                out.clear();
                target.expand(raw, room.size(), out);
                break;
            }
            case 8:
                if (data[3] & 1) zelsDecodeLZ77Reset_8u(target.state());
                if (give != 0)
                    zelsDecodeLZ77SetDictionary_8u(piece.data(), srcLeft, target.state());
                break;
            default: {
                Target copy;
                zelsDecodeLZ77CopyState_8u(target.state(), copy.state());
                zelsDecodeLZ77CopyState_8u(copy.state(), target.state());
            }
        }
        data += 4 + give;
        size -= 4 + give;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    anyOrder(data, size);
    Bytes src(data + 2, data + size);
    src.insert(src.end(), 3, 0);
    wholeStream(src, 1 + size_t{data[0]}, 1 + size_t{data[1]});
    return 0;
}
