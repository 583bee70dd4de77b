// Deflate encoder: any bytes, level, flush sequence and buffer sizes give a stream that zlib
// decodes to the source. Inputs whose first byte is odd try what no stream allows instead (late and
// long full flushes, wild pairs, coders out of order), for memory safety alone.
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "zeldc.h"

namespace {

constexpr size_t kStateSize = 598928;

void require(bool condition) {
    if (!condition) std::abort();
}

// Choices come from the end of the input, so that the source stays a plain prefix.
class Choices {
  public:
    Choices(const uint8_t* data, size_t size) : data_(data), left_(size) {}
    uint32_t next() { return left_ == 0 ? 0 : data_[--left_]; }
    uint32_t below(uint32_t bound) { return next() % bound; }
    bool exhausted() const { return left_ == 0; }

  private:
    const uint8_t* data_;
    size_t left_;
};

struct Stream {
    explicit Stream(uint32_t level, Lz77Checksum checksum) : memory(kStateSize + 1) {
        zelsEncodeLZ77Init_8u(static_cast<Lz77Level>(level), checksum, state());
    }
    Lz77EncodeState* state() { return reinterpret_cast<Lz77EncodeState*>(memory.data() + 1); }

    std::vector<uint8_t> memory;
    std::vector<uint8_t> out;
};

// One coder call into a buffer of exactly `room` bytes.
template <class Element, class Coder>
ZelStatus codeOnce(Stream& stream, Coder coder, const Element*& next, int32_t& left, size_t room,
                   Lz77Flush flush) {
    const std::unique_ptr<uint8_t[]> dst(new uint8_t[room + 1]);
    // The array ends where the room does.
    uint8_t* dstNext = dst.get() + 1;
    auto dstLeft = static_cast<int32_t>(room);
    const ZelStatus status = coder(&next, &left, &dstNext, &dstLeft, flush, stream.state());
    stream.out.insert(stream.out.end(), dst.get() + 1, dstNext);
    return status;
}

template <class Element, class Coder>
ZelStatus codeAll(Stream& stream, Coder coder, const Element* next, int32_t left, Choices& choices,
                  Lz77Flush flush) {
    ZelStatus status = zelStsDstFull;
    for (int idle = 0; status == zelStsDstFull; ++idle) {
        const size_t before = stream.out.size();
        const size_t room = idle > 8 ? 64 : choices.below(40);
        status = codeOnce(stream, coder, next, left, room, flush);
        if (stream.out.size() != before) idle = 0;
        require(idle < 20);
    }
    require(left == 0);
    return status;
}

void expectInflates(const std::vector<uint8_t>& stream, const uint8_t* src, size_t size) {
    std::vector<uint8_t> back(size + 1);
    z_stream z{};
    require(inflateInit2(&z, -15) == Z_OK);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = static_cast<uInt>(stream.size());
    z.next_out = back.data();
    z.avail_out = static_cast<uInt>(back.size());
    require(inflate(&z, Z_FINISH) == Z_STREAM_END);
    require(z.total_out == size && z.avail_in == 0);
    require(size == 0 || std::memcmp(back.data(), src, size) == 0);
    inflateEnd(&z);
}

void roundTrip(const uint8_t* src, size_t size, Choices& choices) {
    Stream stream(choices.below(4), Lz77ChecksumNone);
    size_t at = 0;
    bool counterAtZero = true;
    ZelStatus status = zelStsOk;
    while (status != zelStsStreamEnd) {
        // Without choices left all that remains comes at once, or nothing ever would.
        const size_t wanted = choices.next() * (1 + choices.next());
        const size_t give = choices.exhausted() ? size - at : std::min(wanted, size - at);
        auto flush = static_cast<Lz77Flush>(choices.below(3));
        if (flush == Lz77FlushFull && (!counterAtZero || give > 32768)) flush = Lz77FlushSync;
        if (at + give == size) flush = Lz77FlushFinal;
        std::vector<Lz77Pair> pairs(1 + choices.next() * (1 + choices.next()));
        const std::vector<uint8_t> chunk(src + at, src + at + give);
        const uint8_t* next = chunk.data();
        auto left = static_cast<int32_t>(give);
        Lz77Pair* pairNext = pairs.data();
        auto room = static_cast<int32_t>(pairs.size());
        zelsEncodeLZ77_8u(&next, &left, &pairNext, &room, flush, stream.state());
        at += give - static_cast<size_t>(left);
        if (give != 0) counterAtZero = flush == Lz77FlushFull;

        const auto count = static_cast<int32_t>(pairNext - pairs.data());
        zelsEncodeLZ77SetStatus_8u(Lz77StatusCode, stream.state());
        Lz77HuffMode mode = static_cast<Lz77HuffMode>(choices.below(2));
        if (choices.below(3) == 0) {
            zelsEncodeLZ77SelectHuffMode_8u(pairs.data(), count, &mode, stream.state());
        }
        const auto taken = static_cast<int32_t>(give) - left;
        if (choices.below(5) == 0 && left == 0 && taken <= 65535) {
            const uint8_t none = 0;
            status = codeAll(stream, zelsEncodeLZ77StoredBlock_8u,
                             taken == 0 ? &none : chunk.data(), taken, choices, flush);
        } else {
            const auto coder = mode == Lz77HuffModeDynamic ? zelsEncodeLZ77DynamicHuff_8u
                                                           : zelsEncodeLZ77FixedHuff_8u;
            status = codeAll<Lz77Pair>(stream, coder, pairs.data(), count, choices, flush);
        }
    }
    expectInflates(stream.out, src, size);
}

// A late full flush reads the counter's worth of bytes beyond its own.
void anythingGoes(const uint8_t* src, size_t size, Choices& choices) {
    Stream stream(choices.below(4), static_cast<Lz77Checksum>(choices.below(4)));
    std::vector<uint8_t> padded(src, src + size);
    size_t counter = 0;
    for (int steps = 0; steps < 200; ++steps) {
        std::vector<Lz77Pair> pairs(choices.next() + 1);
        const auto flush = static_cast<Lz77Flush>(choices.below(5));
        switch (choices.below(6)) {
            case 0:
            case 1: {
                padded.resize(size + counter);
                const uint8_t* next = padded.data();
                auto left = static_cast<int32_t>(size);
                Lz77Pair* pairNext = pairs.data();
                auto room = static_cast<int32_t>(pairs.size());
                zelsEncodeLZ77_8u(&next, &left, &pairNext, &room, flush, stream.state());
                counter = flush == Lz77FlushFull
                              ? 0
                              : counter + static_cast<size_t>(next - padded.data());
                break;
            }
            case 2: {
                Lz77HuffMode mode = 0;
                std::memcpy(pairs.data(), src, std::min(size, pairs.size() * sizeof(Lz77Pair)));
                zelsEncodeLZ77SelectHuffMode_8u(pairs.data(), static_cast<int32_t>(pairs.size()),
                                                &mode, stream.state());
                [[fallthrough]];
            }
            case 3: {
                std::memcpy(pairs.data(), src, std::min(size, pairs.size() * sizeof(Lz77Pair)));
                const Lz77Pair* next = pairs.data();
                auto left = static_cast<int32_t>(pairs.size());
                codeOnce(stream,
                         choices.below(2) == 0 ? zelsEncodeLZ77FixedHuff_8u
                                               : zelsEncodeLZ77DynamicHuff_8u,
                         next, left, choices.next(), flush);
                break;
            }
            case 4: {
                const uint8_t* next = src;
                auto left = static_cast<int32_t>(std::min<size_t>(size, choices.next()));
                codeOnce(stream, zelsEncodeLZ77StoredBlock_8u, next, left, choices.below(30),
                         flush);
                break;
            }
            default: {
                zelsEncodeLZ77SetStatus_8u(static_cast<Lz77EncodeStatus>(choices.below(4)),
                                           stream.state());
                uint8_t trailer[8];
                uint8_t* dst = trailer;
                auto room = static_cast<int32_t>(choices.below(9));
                zelsEncodeLZ77Flush_8u(&dst, &room, stream.state());
                if (choices.below(16) == 0) {
                    zelsEncodeLZ77Reset_8u(stream.state());
                    counter = 0;
                }
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const bool strict = data[0] % 2 == 0;
    ++data;
    --size;
    Choices choices(data, size);
    strict ? roundTrip(data, size, choices) : anythingGoes(data, size, choices);
    return 0;
}
