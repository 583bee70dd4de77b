// Writing and measuring values as variable-length codes.
//
// The stream is written by aligned 32-bit words, most significant byte first. A word is touched
// only once a code bit falls into it. Behind the last code of a call its word is completed with
// 1 bits when the code began in it; when the code came over from the word before, with the lower
// bits of what a plain load of the memory gives. Streams of earlier releases end so, and whoever
// compares whole buffers finds the same bytes.
#include "core/unaligned.hpp"
#include "vlc/vlc_spec.hpp"

namespace zeldc::vlc {
namespace {

struct WritePosition {
    uint8_t* byte;
    uint32_t bit;  // 0..7, 0 being the most significant bit of the byte
};

struct Code {
    uint32_t bits;
    uint32_t length;  // 0: the object has no such value
};

// A spec's tables.
class CodeBook {
  public:
    explicit CodeBook(const EncodeSpec& spec)
        : lengths_(reinterpret_cast<const U32*>(spec.lengthTable.get(&spec))),
          entries_(1U << spec.sizeExponent),
          bias_(spec.bias) {}

    uint32_t lengthOf(int16_t value) const {
        const uint32_t index = indexOf(value);
        return index < entries_ ? uint32_t{lengths_[index]} : 0;
    }
    // The code table is shorter than the length table, which is zero behind its end.
    Code codeOf(int16_t value) const {
        const uint32_t index = indexOf(value);
        if (index >= entries_ || lengths_[index] == 0) return {0, 0};
        return {lengths_[entries_ + index], lengths_[index]};
    }

  private:
    // Values below the smallest come out beyond every table, whose size is below 2^29 entries.
    uint32_t indexOf(int16_t value) const { return static_cast<uint32_t>(int32_t{value}) + bias_; }

    const U32* lengths_;
    uint32_t entries_;
    uint32_t bias_;
};

constexpr uint32_t lowBits(uint32_t count) {
    return count >= 32 ? 0xFFFFFFFFU : (1U << count) - 1;
}

uint8_t* wordOf(uint8_t* byte) {
    return byte - (reinterpret_cast<uintptr_t>(byte) & 3);
}

// The word being written. Codes are appended without a branch: every append stores the word as it
// then is, which the code just appended entitles it to, and steps on when it is full.
class WordWriter {
  public:
    explicit WordWriter(WritePosition position) : word_(wordOf(position.byte)) {
        used_ = static_cast<uint32_t>(position.byte - word_) * 8 + position.bit;
        bits_ = used_ == 0 ? 0 : loadBe<uint32_t>(word_) & ~(0xFFFFFFFFU >> used_);
    }

    void append(Code code) {
        const uint32_t aligned = code.bits << (32 - code.length);
        const uint32_t current = bits_ | aligned >> used_;
        const uint32_t beyond = (aligned << 1) << (31 - used_);  // 31 - used_: no shift by 32
        storeBe(word_, current);
        used_ += code.length;
        const uint32_t full = used_ >> 5;
        bits_ = full != 0 ? beyond : current;
        word_ += full * 4;
        used_ &= 31;
        lastLength_ = code.length;
    }

    // Completes the last word and gives the position behind the last code.
    WritePosition finish() {
        if (lastLength_ != 0 && used_ != 0) {
            const bool crossed = lastLength_ > used_;
            const uint32_t rest = crossed ? load<uint32_t>(word_) : 0xFFFFFFFFU;
            storeBe(word_, bits_ | (rest & lowBits(32 - used_)));
        }
        return {word_ + used_ / 8, used_ % 8};
    }

  private:
    uint8_t* word_;
    uint32_t bits_;  // the word's used bits at its top, the others 0
    uint32_t used_;  // 0..31
    uint32_t lastLength_ = 0;
};

// False: there is a value without a code; the codes before it are written.
bool encodeBlock(const CodeBook book, const S16* src, int32_t count, WritePosition& position) {
    WordWriter writer(position);
    bool known = true;
    for (int32_t i = 0; i < count; ++i) {
        const Code code = book.codeOf(src[i]);
        known = code.length != 0;
        if (!known) break;
        writer.append(code);
    }
    position = writer.finish();
    return known;
}

bool hasTag(const VlcEncodeSpec* pSpec) {
    return specAt<EncodeSpec>(pSpec).tag == kEncodeTag;
}

}  // namespace
}  // namespace zeldc::vlc

using namespace zeldc;

extern "C" {

ZelStatus ownzelsPutBitsRightMost(uint8_t** ppStream, int32_t* pFreeBits, uint32_t code,
                                  int32_t length) {
    const auto free = static_cast<uint32_t>(load<int32_t>(pFreeBits));
    uint8_t* const word = vlc::wordOf(load<uint8_t*>(ppStream));
    vlc::WordWriter writer({word + (32 - free) / 8, (32 - free) % 8});
    writer.append(
        {code & vlc::lowBits(static_cast<uint32_t>(length)), static_cast<uint32_t>(length)});
    const vlc::WritePosition end = writer.finish();
    const uint8_t* const endWord = vlc::wordOf(end.byte);
    store(ppStream, vlc::wordOf(end.byte));
    store(pFreeBits,
          static_cast<int32_t>(32 - 8 * (end.byte - endWord)) - static_cast<int32_t>(end.bit));
    return zelStsOk;
}

ZelStatus zelsVLCEncodeBlock_16s1u(const int16_t* pSrc, int32_t count, uint8_t** ppStream,
                                   int32_t* pOffset, const VlcEncodeSpec* pSpec) {
    if (pSrc == nullptr || ppStream == nullptr || pOffset == nullptr || pSpec == nullptr ||
        load<uint8_t*>(ppStream) == nullptr) {
        return zelStsNullPointer;
    }
    if (count < 1 || !vlc::isBitOffset(pOffset) || !vlc::hasTag(pSpec)) return zelStsVlcSpecErr;
    auto position = vlc::positionAt<vlc::WritePosition>(ppStream, pOffset);
    const vlc::CodeBook book(vlc::specAt<vlc::EncodeSpec>(pSpec));
    const bool encoded = vlc::encodeBlock(book, anyAlignment(pSrc), count, position);
    vlc::storePosition(position, ppStream, pOffset);
    return encoded ? zelStsOk : zelStsVlcSpecErr;
}

// Any offset is taken modulo 8.
ZelStatus zelsVLCEncodeOne_16s1u(int16_t value, uint8_t** ppStream, int32_t* pOffset,
                                 const VlcEncodeSpec* pSpec) {
    if (pSpec == nullptr || ppStream == nullptr || pOffset == nullptr ||
        load<uint8_t*>(ppStream) == nullptr) {
        return zelStsNullPointer;
    }
    if (!vlc::hasTag(pSpec)) return zelStsVlcSpecErr;
    auto position = vlc::positionAt<vlc::WritePosition>(ppStream, pOffset);
    const vlc::Code code = vlc::CodeBook(vlc::specAt<vlc::EncodeSpec>(pSpec)).codeOf(value);
    if (code.length == 0) return zelStsVlcSpecErr;
    vlc::WordWriter writer(position);
    writer.append(code);
    vlc::storePosition(writer.finish(), ppStream, pOffset);
    return zelStsOk;
}

ZelStatus zelsVLCCountBits_16s32s(const int16_t* pSrc, int32_t count, int32_t* pBits,
                                  const VlcEncodeSpec* pSpec) {
    if (pSrc == nullptr || pBits == nullptr || pSpec == nullptr) return zelStsNullPointer;
    if (count < 1 || !vlc::hasTag(pSpec)) return zelStsVlcSpecErr;
    const S16* const src = anyAlignment(pSrc);
    const vlc::CodeBook book(vlc::specAt<vlc::EncodeSpec>(pSpec));
    uint32_t bits = 0;
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t length = book.lengthOf(src[i]);
        if (length == 0) return zelStsVlcSpecErr;
        bits += length;
    }
    store(pBits, static_cast<int32_t>(bits));
    return zelStsOk;
}

}  // extern "C"
