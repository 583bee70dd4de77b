#include "deflate_chain.hpp"
#include "failure.hpp"

namespace tool {
namespace {

constexpr size_t kRoom = size_t{256} << 10;

size_t stateSize() {
    int32_t size = 0;
    zelsDecodeLZ77GetSize_8u(&size);
    return static_cast<size_t>(size);
}

}  // namespace

// The window is part of the state and starts as zeros, so that damaged data which reaches back
// before its start always gives the same.
DeflateDecoder::DeflateDecoder() : stateMemory_(stateSize()), room_(kRoom) {
    zelsDecodeLZ77Init_8u(Lz77ChecksumNone, state());
}

Restored DeflateDecoder::decode(ByteSource& source, ByteSink& sink) {
    Restored restored;
    bool inBlock = false;
    zelsDecodeLZ77Reset_8u(state());
    for (;;) {
        if (!inBlock) inBlock = readBlockType(source);
        const ZelStatus status =
            inBlock ? decodeBlock(source) : static_cast<ZelStatus>(zelStsSrcExhausted);
        if (filled_ == room_.size() || status == zelStsStreamEnd) drain(sink, restored);
        if (status == zelStsStreamEnd) return restored;
        if (status == zelStsOk) inBlock = false;
        if (status < 0) failAt(source.offset(), "the compressed data are damaged");
        if (status == zelStsSrcExhausted && !source.refill()) {
            failAt(source.offset(), "unexpected end of file");
        }
    }
}

// False if there is no byte left to read it from.
bool DeflateDecoder::readBlockType(ByteSource& source) {
    constexpr Lz77BlockType kUnset = -1;
    const uint8_t* src = source.next();
    auto srcLen = static_cast<int32_t>(source.left());
    type_ = kUnset;
    const ZelStatus status = zelsDecodeLZ77GetBlockType_8u(&src, &srcLen, &type_, state());
    source.moveTo(src);
    if (status == zelStsSrcExhausted) return false;
    // A reserved type is not reported but for leaving the variable alone.
    if (status != zelStsOk || type_ == kUnset) failAt(source.offset(), "unknown kind of block");
    return true;
}

ZelStatus DeflateDecoder::decodeBlock(ByteSource& source) {
    const uint8_t* src = source.next();
    auto srcLen = static_cast<int32_t>(source.left());
    uint8_t* dst = room_.data() + filled_;
    auto dstLen = static_cast<int32_t>(room_.size() - filled_);
    ZelStatus status = zelStsOk;
    if (type_ == Lz77BlockStored) {
        status = zelsDecodeLZ77StoredBlock_8u(&src, &srcLen, &dst, &dstLen, state());
    } else if (type_ == Lz77BlockFixed) {
        status =
            zelsDecodeLZ77FixedHuffFull_8u(&src, &srcLen, &dst, &dstLen, Lz77FlushNone, state());
    } else {
        status =
            zelsDecodeLZ77DynamicHuffFull_8u(&src, &srcLen, &dst, &dstLen, Lz77FlushNone, state());
    }
    source.moveTo(src);
    filled_ = static_cast<size_t>(dst - room_.data());
    return status;
}

void DeflateDecoder::drain(ByteSink& sink, Restored& restored) {
    zelsCRC32_8u(room_.data(), static_cast<int32_t>(filled_), &restored.crc);
    restored.size += filled_;
    sink.write(room_.data(), filled_);
    filled_ = 0;
}

}  // namespace tool
