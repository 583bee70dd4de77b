// Variable-length codes: any description and any stream. What a description yields is decoded to
// the end, and what was decoded is encoded again to the same bits.
//
// Input: flags, number of widths, number of records, widths (a byte each), records (length, then
// four bytes of code and two of value each), stream.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zeldc.h"

namespace {

class Input {
  public:
    Input(const uint8_t* data, size_t size) : next_(data), end_(data + size) {}
    uint8_t byte() { return next_ == end_ ? uint8_t{0} : *next_++; }
    int32_t number(int bytes) {
        uint32_t value = 0;
        while (bytes-- > 0)
            value = value << 8 | byte();
        return static_cast<int32_t>(value);
    }
    size_t left() const { return static_cast<size_t>(end_ - next_); }
    const uint8_t* rest() const { return next_; }

  private:
    const uint8_t* next_;
    const uint8_t* end_;
};

// The largest table worth filling here.
constexpr int32_t kLargestSpec = 1 << 22;

struct Code {
    std::vector<VlcCodeRecord> records;
    std::vector<int32_t> widths;
    int32_t recordCount() const { return static_cast<int32_t>(records.size()); }
    int32_t widthCount() const { return static_cast<int32_t>(widths.size()); }
};

void require(bool condition) {
    if (!condition) std::abort();
}

// The input's rest, `times` over, from a word boundary on, and the words behind it that reading
// ahead may need.
struct Stream {
    Stream(const Input& input, size_t times) : size(input.left() * times), words(size / 4 + 3) {
        auto* next = reinterpret_cast<uint8_t*>(words.data());
        for (; input.left() != 0 && times-- > 0; next += input.left())
            std::memcpy(next, input.rest(), input.left());
    }
    const uint8_t* start() const { return reinterpret_cast<const uint8_t*>(words.data()); }

    size_t size;
    std::vector<uint32_t> words;
};

size_t bitsBetween(const uint8_t* start, const uint8_t* end, int32_t offset) {
    return static_cast<size_t>(end - start) * 8 + static_cast<size_t>(offset);
}

bool bitAt(const uint8_t* bytes, size_t i) {
    return (bytes[i / 8] >> (7 - i % 8) & 1) != 0;
}

// Whether each decoded value names its code: no value occurs twice, and none of the largest
// magnitude may come back negated.
bool isInvertible(const Code& code) {
    int32_t largest = 0;
    for (size_t i = 0; i < code.records.size(); ++i) {
        largest = std::max(largest, std::abs(code.records[i].value));
        for (size_t j = 0; j < i; ++j) {
            if (code.records[i].value == code.records[j].value) return false;
        }
    }
    return (largest & (largest - 1)) != 0;
}

void encodeAgain(const Code& code, const std::vector<int16_t>& values, const uint8_t* stream,
                 size_t bits) {
    VlcEncodeSpec* spec = nullptr;
    require(zelsVLCEncodeInitAlloc_32s(code.records.data(), code.recordCount(), &spec) == zelStsOk);
    std::vector<uint32_t> out(bits / 32 + 1);
    auto* const start = reinterpret_cast<uint8_t*>(out.data());
    uint8_t* next = start;
    int32_t offset = 0;
    int32_t counted = 0;
    const auto count = static_cast<int32_t>(values.size());
    require(zelsVLCEncodeBlock_16s1u(values.data(), count, &next, &offset, spec) == zelStsOk);
    require(zelsVLCCountBits_16s32s(values.data(), count, &counted, spec) == zelStsOk);
    require(bitsBetween(start, next, offset) == bits && static_cast<size_t>(counted) == bits);
    for (size_t i = 0; i < bits; ++i)
        require(bitAt(start, i) == bitAt(stream, i));
    zelsVLCEncodeFree_32s(spec);
}

void decodePlain(const Code& code, const Stream& stream, bool prefixFree) {
    int32_t size = 0;
    VlcDecodeSpec* spec = nullptr;
    if (zelsVLCDecodeGetSize_32s(code.records.data(), code.recordCount(), code.widths.data(),
                                 code.widthCount(), &size) != zelStsOk ||
        size > kLargestSpec ||
        zelsVLCDecodeInitAlloc_32s(code.records.data(), code.recordCount(), code.widths.data(),
                                   code.widthCount(), &spec) != zelStsOk) {
        return;
    }
    const uint8_t* const start = stream.start();
    std::vector<int16_t> singly;
    const uint8_t* next = start;
    int32_t offset = 0;
    size_t bits = 0;
    // A call that starts before the input's end ends at most one word behind it.
    while (bitsBetween(start, next, offset) < stream.size * 8) {
        int16_t value = 0;
        const ZelStatus status = zelsVLCDecodeOne_1u16s(&next, &offset, &value, spec);
        require(status == zelStsOk || status == zelStsBadData);
        if (status != zelStsOk) break;
        singly.push_back(value);
        bits = bitsBetween(start, next, offset);
    }
    const auto count = static_cast<int32_t>(singly.size());
    std::vector<int16_t> values(singly.size() + 1);  // never a null pointer
    next = start;
    offset = 0;
    require(zelsVLCDecodeBlock_1u16s(&next, &offset, values.data(), count, spec) == zelStsOk);
    values.resize(singly.size());
    require(values == singly && bitsBetween(start, next, offset) == bits);
    if (prefixFree && isInvertible(code) && !values.empty()) encodeAgain(code, values, start, bits);
    zelsVLCDecodeFree_32s(spec);
}

void decodeTuples(const Code& code, const Stream& stream, int32_t length, int32_t width) {
    int32_t size = 0;
    VlcDecodeSpec* spec = nullptr;
    if (zelsVLCDecodeUTupleGetSize_32s(code.records.data(), code.recordCount(), code.widths.data(),
                                       code.widthCount(), length, width, &size) != zelStsOk ||
        size > kLargestSpec ||
        zelsVLCDecodeUTupleInitAlloc_32s(code.records.data(), code.recordCount(),
                                         code.widths.data(), code.widthCount(), length, width,
                                         &spec) != zelStsOk) {
        return;
    }
    // At most 62 bits to a tuple with its signs, so eight bytes of input hold one.
    const uint8_t* const start = stream.start();
    const auto unit = static_cast<size_t>(length);
    std::vector<int16_t> values((stream.size / 8 + 1) * unit);
    std::vector<int16_t> singly(values.size());
    const uint8_t* next = start;
    int32_t offset = 0;
    const ZelStatus status = zelsVLCDecodeUTupleBlock_1u16s(
        &next, &offset, values.data(), static_cast<int32_t>(values.size()), spec);
    const size_t bits = bitsBetween(start, next, offset);
    next = start;
    offset = 0;
    ZelStatus last = zelStsOk;
    for (size_t i = 0; i < singly.size() && last == zelStsOk; i += unit)
        last = zelsVLCDecodeUTupleOne_1u16s(&next, &offset, singly.data() + i, spec);
    require(last == status && values == singly && bitsBetween(start, next, offset) == bits);
    zelsVLCDecodeUTupleFree_32s(spec);
}

bool isPrefixFree(const Code& code) {
    for (const auto& a : code.records) {
        for (const auto& b : code.records) {
            if (&a == &b || a.length > b.length) continue;
            const uint32_t mask = 0xFFFFFFFFU << (32 - a.length);
            const uint32_t bitsA = static_cast<uint32_t>(a.code) << (32 - a.length);
            const uint32_t bitsB = static_cast<uint32_t>(b.code) << (32 - b.length);
            if (((bitsA ^ bitsB) & mask) == 0) return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const uint8_t flags = input.byte();
    Code code;
    code.widths.resize(1 + input.byte() % 8);
    code.records.resize(1 + input.byte() % 64);
    bool sound = true;
    for (auto& width : code.widths)
        width = input.number(1) - 1;
    for (auto& record : code.records) {
        record.length = input.number(1) - 1;
        // Mostly sound lengths, so that tables get built.
        if ((flags & 1) == 0) record.length = 1 + (record.length & 31);
        sound = sound && record.length >= 1 && record.length <= 32;
        record.code = input.number(4);
        record.value = static_cast<int16_t>(input.number(2));
    }
    if ((flags & 2) != 0) {
        decodeTuples(code, Stream(input, 1), 1 + (flags >> 2) % 8, 1 + (flags >> 5));
    } else {
        // Long blocks decode by other means.
        decodePlain(code, Stream(input, (flags & 4) != 0 ? 64 : 1), sound && isPrefixFree(code));
    }
    return 0;
}
