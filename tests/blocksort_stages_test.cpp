#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "support/guarded_buffer.hpp"
#include "support/no_memory.hpp"
#include "support/shapes.hpp"
#include "zeldc.h"

namespace {

using support::Bytes;
using support::GuardedBuffer;
using support::Random;
using RleState = support::StateMemory<RleBz2State>;
using Symbols = std::vector<uint16_t>;

constexpr uint8_t kUntouched = 0xC3;

// What a call of a block stage did; `out` is its whole destination, kUntouched where not written.
template <class Element>
struct Call {
    ZelStatus status = zelStsOk;
    size_t consumed = 0;
    size_t written = 0;
    std::vector<Element> out;

    bool operator==(const Call&) const = default;
};

// Runs `operation(ppSrc, pSrcLen, pDst, pDstLen)` on buffers that end at unreadable pages, the
// 16-bit ones at odd addresses.
template <class To, class From, class Operation>
Call<To> call(Operation operation, const std::vector<From>& src, size_t capacity) {
    constexpr size_t kShift = sizeof(To) * sizeof(From) == 1 ? 0 : 1;
    GuardedBuffer in(src.size() * sizeof(From) + kShift);
    GuardedBuffer out(capacity * sizeof(To) + kShift);
    uint8_t* const inData = in.data() + (sizeof(From) == 1 ? kShift : 0);
    uint8_t* const outData = out.data() + (sizeof(To) == 1 ? kShift : 0);
    if (!src.empty()) std::memcpy(inData, src.data(), src.size() * sizeof(From));
    std::memset(out.data(), kUntouched, out.size());
    const auto* srcNext = reinterpret_cast<const From*>(inData);
    auto srcLen = static_cast<int32_t>(src.size());
    auto dstLen = static_cast<int32_t>(capacity);
    Call<To> result;
    result.status = operation(&srcNext, &srcLen, reinterpret_cast<To*>(outData), &dstLen);
    result.consumed =
        (reinterpret_cast<uintptr_t>(srcNext) - reinterpret_cast<uintptr_t>(inData)) / sizeof(From);
    EXPECT_EQ(result.consumed + static_cast<size_t>(srcLen), src.size());
    result.written = static_cast<size_t>(dstLen);
    result.out.resize(capacity);
    std::memcpy(result.out.data(), outData, capacity * sizeof(To));
    return result;
}

// The first `written` elements, after a check that the rest was left alone.
template <class Element>
std::vector<Element> written(const Call<Element>& made) {
    EXPECT_LE(made.written, made.out.size());
    const auto end = made.out.begin() + static_cast<std::ptrdiff_t>(made.written);
    const auto untouched = static_cast<Element>(0x0101U * kUntouched);
    EXPECT_TRUE(std::all_of(end, made.out.end(), [=](Element e) { return e == untouched; }));
    return {made.out.begin(), end};
}

// Every string of up to `longest` letters out of the first ones of `alphabet`.
template <class Element, class Visit>
void forEachString(const std::vector<Element>& alphabet, size_t longest, Visit visit) {
    for (size_t length = 1; length <= longest; ++length) {
        std::vector<size_t> letters(length, 0);
        for (size_t carry = length; carry != 0;) {
            std::vector<Element> text(length);
            std::transform(letters.begin(), letters.end(), text.begin(),
                           [&](size_t i) { return alphabet[i]; });
            visit(text);
            for (carry = length; carry != 0 && ++letters[carry - 1] == alphabet.size(); --carry)
                letters[carry - 1] = 0;
        }
    }
}

Bytes prefix(const Bytes& bytes, size_t size) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

// ---------------------------------------------------------------------------------------------
// Initial run lengths
// ---------------------------------------------------------------------------------------------

Bytes modelRle(const Bytes& src) {
    Bytes out;
    for (size_t at = 0; at < src.size();) {
        size_t run = 1;
        while (run < 259 && at + run < src.size() && src[at + run] == src[at])
            ++run;
        out.insert(out.end(), std::min(run, size_t{4}), src[at]);
        if (run >= 4) out.push_back(static_cast<uint8_t>(run - 4));
        at += run;
    }
    return out;
}

Call<uint8_t> encodeRle(const Bytes& src, size_t capacity, RleBz2State* state) {
    return call<uint8_t>([=](auto... args) { return zelsEncodeRLE_BZ2_8u(args..., state); }, src,
                         capacity);
}

Bytes flushRle(RleBz2State* state) {
    Bytes out(1);
    int32_t length = 1;
    EXPECT_EQ(zelsEncodeRLEFlush_BZ2_8u(out.data(), &length, state), zelStsOk);
    out.resize(static_cast<size_t>(length));
    return out;
}

Bytes inUseOf(const RleBz2State* state) {
    Bytes inUse(256, kUntouched);
    EXPECT_EQ(zelsRLEGetInUseTable_8u(inUse.data(), state), zelStsOk);
    return inUse;
}

// Encodes in calls of at most `piece` source bytes and `room` destination bytes.
Bytes encodeInPieces(const Bytes& src, size_t piece, size_t room, RleBz2State* state) {
    Bytes out;
    for (size_t at = 0; at < src.size();) {
        const Bytes part(
            src.begin() + static_cast<std::ptrdiff_t>(at),
            src.begin() + static_cast<std::ptrdiff_t>(std::min(at + piece, src.size())));
        const auto made = encodeRle(part, room, state);
        EXPECT_EQ(made.status, made.consumed == part.size() ? zelStsOk : zelStsDstFull);
        EXPECT_TRUE(made.consumed == part.size() || made.written == room);
        const Bytes bytes = written(made);
        out.insert(out.end(), bytes.begin(), bytes.end());
        at += made.consumed;
    }
    const Bytes last = flushRle(state);
    out.insert(out.end(), last.begin(), last.end());
    return out;
}

TEST(RleBz2, EverySplitEncodesAlike) {
    auto shapes = support::shapes(9001);
    for (const size_t run : {3, 4, 5, 7, 20, 257, 258, 259, 260, 263, 264, 300, 518, 523}) {
        Bytes bytes(run, 'a');
        bytes.insert(bytes.end(), {'b', 'a', 'a', 'a'});
        shapes.push_back({"run of " + std::to_string(run), bytes});
    }
    for (const auto& shape : shapes) {
        const Bytes expected = modelRle(shape.bytes);
        Bytes inUse(256, 0);
        for (const uint8_t b : expected)
            inUse[b] = 1;
        for (const size_t piece : {1, 4, 260, 100000}) {
            for (const size_t room : {1, 4, 5000, 100000}) {
                if (std::min(piece, room) < 260 && shape.bytes.size() > 700) continue;
                SCOPED_TRACE(shape.name + " " + std::to_string(piece) + "/" + std::to_string(room));
                RleState state(264);
                zelsEncodeRLEInit_BZ2_8u(state);
                EXPECT_EQ(encodeInPieces(shape.bytes, piece, room, state), expected);
                EXPECT_EQ(inUseOf(state), inUse);
                EXPECT_EQ(flushRle(state), Bytes{});
            }
        }
        const auto decoded = call<uint8_t>(zelsDecodeRLE_BZ2_8u, expected, shape.bytes.size() + 1);
        EXPECT_EQ(decoded.status, zelStsOk);
        EXPECT_EQ(written(decoded), shape.bytes);
    }
}

// Where a call stops: four literals that fill the destination leave the rest of the run behind.
TEST(RleBz2, EncodingStopsWithTheDestination) {
    RleState state(264, RleState::Place::endsAtPage);
    zelsEncodeRLEInit_BZ2_8u(state);
    const Bytes six(6, 'a');
    const auto literals = encodeRle(six, 4, state);
    EXPECT_EQ(literals.status, zelStsDstFull);
    EXPECT_EQ(literals.consumed, 4U);
    EXPECT_EQ(literals.written, 4U);
    const auto rest = encodeRle(Bytes(2, 'a'), 1, state);
    EXPECT_EQ(rest.status, zelStsOk);
    EXPECT_EQ(rest.written, 0U);
    // The count takes the only place; the byte that closed the run stays.
    const auto count = encodeRle({'b'}, 1, state);
    EXPECT_EQ(count, (Call<uint8_t>{zelStsDstFull, 0, 1, {2}}));
    // Flush leaves the last literal: a run of three goes on behind it.
    EXPECT_EQ(written(encodeRle(Bytes(3, 'b'), 9, state)), Bytes(3, 'b'));
    EXPECT_EQ(flushRle(state), Bytes{});
    EXPECT_EQ(written(encodeRle({'b', 'b', 'c'}, 9, state)), (Bytes{'b', 1, 'c'}));
}

// Byte by byte, as the format is described.
Call<uint8_t> modelDecodeRle(const Bytes& src, size_t capacity) {
    Call<uint8_t> result{zelStsDstFull, 0, 0, Bytes(capacity, kUntouched)};
    int last = -1;
    int count = 0;
    for (;;) {
        while (count < 4 && result.consumed < src.size() && result.written < capacity) {
            const uint8_t b = src[result.consumed++];
            result.out[result.written++] = b;
            count = b == last ? count + 1 : 1;
            last = b;
        }
        if (result.consumed == src.size()) {
            if (result.written < capacity) result.status = zelStsOk;
            return result;
        }
        if (count < 4) return result;
        const uint8_t more = src[result.consumed++];
        if (result.written + more > capacity) return result;
        for (int i = 0; i < more; ++i)
            result.out[result.written++] = static_cast<uint8_t>(last);
        count = 0;
    }
}

TEST(RleBz2, DecodingOfAnyBytes) {
    forEachString<uint8_t>({0, 1, 3}, 8, [](const Bytes& src) {
        const size_t whole = modelDecodeRle(src, 100).written;
        for (const size_t capacity :
             {size_t{1}, size_t{4}, size_t{5}, whole - 1, whole, whole + 1}) {
            if (capacity == 0) continue;
            Bytes out(capacity, kUntouched);
            const uint8_t* next = src.data();
            auto srcLen = static_cast<int32_t>(src.size());
            auto dstLen = static_cast<int32_t>(capacity);
            Call<uint8_t> made;
            made.status = zelsDecodeRLE_BZ2_8u(&next, &srcLen, out.data(), &dstLen);
            made.consumed = static_cast<size_t>(next - src.data());
            made.written = static_cast<size_t>(dstLen);
            made.out = out;
            ASSERT_EQ(made, modelDecodeRle(src, capacity)) << testing::PrintToString(src);
        }
    });
    for (uint64_t seed = 0; seed < 200; ++seed) {
        const Bytes src = support::runs(1 + seed * 7, seed, 8);
        const size_t capacity = 1 + Random(seed).below(3000);
        EXPECT_EQ(call<uint8_t>(zelsDecodeRLE_BZ2_8u, src, capacity),
                  modelDecodeRle(src, capacity));
    }
}

TEST(RleBz2, LifeAndArguments) {
    int32_t size = 0;
    EXPECT_EQ(zelsRLEGetSize_BZ2_8u(nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsRLEGetSize_BZ2_8u(&size), zelStsOk);
    EXPECT_EQ(size, 264);
    EXPECT_EQ(zelsEncodeRLEInit_BZ2_8u(nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLEInitAlloc_BZ2_8u(nullptr), zelStsNullPointer);
    RleBz2State* state = nullptr;
    ASSERT_EQ(zelsEncodeRLEInitAlloc_BZ2_8u(&state), zelStsOk);
    EXPECT_EQ(inUseOf(state), Bytes(256, 0));

    uint8_t byte = 7;
    const uint8_t* src = &byte;
    const uint8_t* null = nullptr;
    int32_t one = 1;
    int32_t zero = 0;
    int32_t minus = -1;
    EXPECT_EQ(zelsEncodeRLE_BZ2_8u(nullptr, &zero, &byte, &one, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLE_BZ2_8u(&null, &zero, &byte, &one, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLE_BZ2_8u(&src, nullptr, &byte, &one, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLE_BZ2_8u(&src, &zero, nullptr, &one, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLE_BZ2_8u(&src, &zero, &byte, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLE_BZ2_8u(&src, &zero, &byte, &one, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLE_BZ2_8u(&src, &zero, &byte, &one, state), zelStsBadSize);
    EXPECT_EQ(zelsEncodeRLE_BZ2_8u(&src, &one, &byte, &zero, state), zelStsBadSize);
    EXPECT_EQ(zelsEncodeRLEFlush_BZ2_8u(nullptr, &zero, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLEFlush_BZ2_8u(&byte, nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLEFlush_BZ2_8u(&byte, &zero, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeRLEFlush_BZ2_8u(&byte, &zero, state), zelStsBadSize);
    EXPECT_EQ(zelsRLEGetInUseTable_8u(nullptr, state), zelStsNullPointer);
    EXPECT_EQ(zelsRLEGetInUseTable_8u(&byte, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeRLE_BZ2_8u(nullptr, &minus, &byte, &zero), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeRLE_BZ2_8u(&null, &minus, &byte, &zero), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeRLE_BZ2_8u(&src, nullptr, &byte, &zero), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeRLE_BZ2_8u(&src, &minus, nullptr, &zero), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeRLE_BZ2_8u(&src, &minus, &byte, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeRLE_BZ2_8u(&src, &zero, &byte, &zero), zelStsBadSize);
    EXPECT_EQ(zelsDecodeRLE_BZ2_8u(&src, &minus, &byte, &one), zelStsBadSize);
    EXPECT_EQ(one, 1);
    EXPECT_EQ(zelsDecodeRLE_BZ2_8u(&src, &zero, &byte, &one), zelStsOk);
    EXPECT_EQ(one, 0);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(inUseOf(state), Bytes(256, 0));
    zelsRLEFree_BZ2_8u(state);
    zelsRLEFree_BZ2_8u(nullptr);

    const support::NoMemory noMemory;
    EXPECT_EQ(zelsEncodeRLEInitAlloc_BZ2_8u(&state), zelStsNullPointer);
    EXPECT_EQ(state, nullptr);
}

// ---------------------------------------------------------------------------------------------
// Dictionary
// ---------------------------------------------------------------------------------------------

TEST(Dictionary, RanksAndBack) {
    for (const uint32_t marks : {0U, 1U, 2U, 100U, 255U, 256U}) {
        Random random(marks);
        std::set<uint8_t> used;
        while (used.size() < marks)
            used.insert(static_cast<uint8_t>(random.below(256)));
        GuardedBuffer inUse(Bytes(256, 0));
        for (const uint8_t value : used)
            inUse[value] = static_cast<uint8_t>(1 + random.below(255));
        for (const size_t size : {1, 2, 3, 17, 1000}) {
            SCOPED_TRACE(std::to_string(marks) + " marks, " + std::to_string(size) + " bytes");
            const Bytes src = support::randomBytes(size, size);
            Bytes ranks(size);
            Bytes back(size);
            for (size_t i = 0; i < size; ++i) {
                const auto behind = used.lower_bound(src[i]);
                ranks[i] = static_cast<uint8_t>(std::distance(used.begin(), behind));
                back[i] = behind == used.end() ? 0 : *behind;
            }
            if (marks == 256) {
                EXPECT_EQ(back, src);
            }
            GuardedBuffer bytes(src,
                                size % 2 == 0 ? support::Guard::after : support::Guard::before);
            int32_t count = -1;
            const auto length = static_cast<int32_t>(size);
            EXPECT_EQ(zelsReduceDictionary_8u_I(inUse.data(), bytes.data(), length, &count),
                      zelStsOk);
            EXPECT_EQ(bytes.content(), ranks);
            EXPECT_EQ(count, static_cast<int32_t>(marks));
            EXPECT_EQ(zelsExpandDictionary_8u_I(inUse.data(), bytes.data(), length,
                                                marks == 0 ? INT32_MAX : count),
                      zelStsOk);
            EXPECT_EQ(bytes.content(), back);
        }
    }
}

TEST(Dictionary, ExpansionStopsAtItsSize) {
    Bytes inUse(256, 0);
    inUse[10] = inUse[20] = inUse[30] = 1;
    Bytes bytes{0, 1, 2, 3, 255};
    EXPECT_EQ(zelsExpandDictionary_8u_I(inUse.data(), bytes.data(), 5, 2), zelStsOk);
    EXPECT_EQ(bytes, (Bytes{10, 20, 0, 0, 0}));
}

TEST(Dictionary, Arguments) {
    Bytes inUse(256, 1);
    uint8_t byte = 9;
    int32_t count = -5;
    EXPECT_EQ(zelsReduceDictionary_8u_I(nullptr, &byte, 0, &count), zelStsNullPointer);
    EXPECT_EQ(zelsReduceDictionary_8u_I(inUse.data(), nullptr, 0, &count), zelStsNullPointer);
    EXPECT_EQ(zelsReduceDictionary_8u_I(inUse.data(), &byte, 0, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsReduceDictionary_8u_I(inUse.data(), &byte, 0, &count), zelStsBadSize);
    EXPECT_EQ(zelsExpandDictionary_8u_I(nullptr, &byte, 0, 1), zelStsNullPointer);
    EXPECT_EQ(zelsExpandDictionary_8u_I(inUse.data(), nullptr, 0, 1), zelStsNullPointer);
    EXPECT_EQ(zelsExpandDictionary_8u_I(inUse.data(), &byte, 0, 1), zelStsBadSize);
    EXPECT_EQ(zelsExpandDictionary_8u_I(inUse.data(), &byte, 1, 0), zelStsBadSize);
    EXPECT_EQ(byte, 9);
    EXPECT_EQ(count, -5);
}

// ---------------------------------------------------------------------------------------------
// Zero runs
// ---------------------------------------------------------------------------------------------

Symbols modelZeroRuns(const Bytes& src) {
    Symbols out;
    for (size_t at = 0; at < src.size(); ++at) {
        if (src[at] != 0) {
            out.push_back(static_cast<uint16_t>(src[at] + 1));
            continue;
        }
        size_t run = 1;
        while (at + 1 < src.size() && src[at + 1] == 0)
            ++run, ++at;
        for (; run > 0; run = (run - 1) / 2)
            out.push_back(static_cast<uint16_t>((run - 1) % 2));
    }
    return out;
}

Call<uint16_t> encodeZ1Z2(const Bytes& src, size_t capacity) {
    GuardedBuffer freq(257 * 4 + 1);  // one byte in: an odd address, and its end at the page
    std::memset(freq.data(), 0xFF, freq.size());
    auto* counters = reinterpret_cast<uint32_t*>(freq.data() + 1);
    const auto made = call<uint16_t>(
        [=](auto... args) { return zelsEncodeZ1Z2_BZ2_8u16u(args..., counters); }, src, capacity);
    std::vector<uint32_t> counted(257);
    std::memcpy(counted.data(), freq.data() + 1, 257 * 4);
    std::vector<uint32_t> expected(257, 0xFFFFFFFF);  // counters are added to, and wrap
    for (const uint16_t symbol : written(made)) {
        if (symbol < 257) ++expected[symbol];
    }
    EXPECT_EQ(counted, expected);
    return made;
}

// What must come out: the symbols of the longest prefix that fits.
void expectLongestPrefix(const Bytes& src, size_t capacity) {
    const auto made = encodeZ1Z2(src, capacity);
    EXPECT_EQ(made.status, made.consumed == src.size() ? zelStsOk : zelStsDstFull);
    EXPECT_EQ(written(made), modelZeroRuns(prefix(src, made.consumed)));
    if (made.consumed != src.size()) {
        EXPECT_GT(modelZeroRuns(prefix(src, made.consumed + 1)).size(), capacity);
    }
}

TEST(ZeroRuns, EncodingFillsAnyDestination) {
    EXPECT_EQ(modelZeroRuns(Bytes(5, 0)), (Symbols{0, 1}));
    EXPECT_EQ(modelZeroRuns(Bytes(4, 0)), (Symbols{1, 0}));
    forEachString<uint8_t>({0, 255}, 7, [](const Bytes& src) {
        for (size_t capacity = 1; capacity <= src.size(); ++capacity)
            expectLongestPrefix(src, capacity);
    });
    Random random(8);
    for (uint64_t seed = 0; seed < 300; ++seed) {
        // Zero runs of every length between literals.
        Bytes src;
        while (src.size() < 40 * seed) {
            src.insert(src.end(), random.sizeBelow(seed % 4 == 0 ? 300 : 9), uint8_t{0});
            src.push_back(static_cast<uint8_t>(random.sizeBelow(256)));
        }
        src.resize(1 + random.below(static_cast<uint32_t>(src.size() + 1)));
        const size_t symbols = modelZeroRuns(src).size();
        expectLongestPrefix(src, symbols);
        expectLongestPrefix(src, symbols + 1 + random.below(100));
        expectLongestPrefix(src, 1 + random.below(static_cast<uint32_t>(symbols)));
    }
}

// Runs around the longest that r digits tell, with r symbols free, alone and behind a literal.
TEST(ZeroRuns, LongRunsAreCutToWhatFits) {
    for (const size_t r : {1, 2, 5, 18, 19, 20, 21, 22}) {
        const size_t bound = (size_t{2} << r) - 2;
        for (const size_t run : {bound, bound + 1}) {
            SCOPED_TRACE(std::to_string(run) + " zeros, " + std::to_string(r) + " free");
            for (const size_t literals : {0, 1}) {
                Bytes src(literals, 3);
                src.resize(literals + run, 0);
                src.push_back(7);
                const auto made = encodeZ1Z2(src, r + literals);
                EXPECT_EQ(made.consumed, literals + std::min(run, bound));
                EXPECT_EQ(made.status, zelStsDstFull);
                EXPECT_EQ(written(made), modelZeroRuns(prefix(src, made.consumed)));
            }
        }
    }
}

Call<uint8_t> modelDecodeZ1Z2(const Symbols& src, size_t capacity) {
    Call<uint8_t> result{zelStsDstFull, 0, 0, Bytes(capacity, kUntouched)};
    for (;;) {
        double zeros = 0;  // exact far beyond any capacity, and never wraps
        for (double weight = 1; result.consumed < src.size() && src[result.consumed] < 2;
             weight *= 2)
            zeros += weight * (src[result.consumed++] + 1);
        if (static_cast<double>(result.written) + zeros > static_cast<double>(capacity))
            return result;
        for (; zeros > 0; --zeros)
            result.out[result.written++] = 0;
        if (result.consumed == src.size()) {
            result.status = zelStsOk;
            return result;
        }
        if (result.written == capacity) return result;
        result.out[result.written++] = static_cast<uint8_t>(src[result.consumed++] - 1);
    }
}

void expectDecodes(const Symbols& src, size_t capacity) {
    EXPECT_EQ(call<uint8_t>(zelsDecodeZ1Z2_BZ2_16u8u, src, capacity),
              modelDecodeZ1Z2(src, capacity))
        << src.size() << " symbols into " << capacity << " bytes";
}

TEST(ZeroRuns, DecodingOfAnySymbols) {
    forEachString<uint16_t>({0, 1, 2, 0xFFFF}, 5, [](const Symbols& src) {
        const size_t whole = modelDecodeZ1Z2(src, 200).written;
        for (const size_t capacity : {size_t{1}, size_t{3}, whole - 1, whole, whole + 1}) {
            if (capacity != 0) expectDecodes(src, capacity);
        }
    });
    Random random(4);
    for (uint32_t round = 0; round < 300; ++round) {
        Symbols src(1 + random.below(800));
        for (auto& symbol : src)
            symbol = static_cast<uint16_t>(random.below(1 + round % 5) == 0 ? random.below(260)
                                                                            : random.below(2));
        const size_t whole = modelDecodeZ1Z2(src, 5000).written;
        for (const size_t capacity : {whole + 1, whole, whole - random.below(64), whole + 77}) {
            if (capacity - 1 < 6000) expectDecodes(src, capacity);
        }
    }
}

// A run that does not fit leaves the destination alone, wherever it stands behind decoded symbols.
TEST(ZeroRuns, RunsThatDoNotFitLeaveNoTrace) {
    Random random(21);
    for (size_t at = 0; at < 140; ++at) {
        for (const size_t digits : {10, 11, 14}) {
            Symbols src;
            while (src.size() < at)
                src.push_back(random.below(3) == 0 ? 2 : static_cast<uint16_t>(random.below(2)));
            src.push_back(9);
            src.insert(src.end(), digits, 1);
            src.insert(src.end(), 60, 5);
            for (const size_t capacity : {3000, 6000})
                expectDecodes(src, capacity);
        }
    }
}

// More digits than a length has bits.
TEST(ZeroRuns, RunsBeyondAnyBufferSaturate) {
    for (const size_t digits : {20, 30, 31, 32, 33, 63, 64, 65, 200}) {
        for (const uint16_t digit : {0, 1}) {
            Symbols src(digits, digit);
            expectDecodes(src, 70000);
            src.push_back(40);
            expectDecodes(src, 70000);
        }
    }
}

TEST(ZeroRuns, Arguments) {
    const uint8_t byte = 1;
    const uint8_t* bytes = &byte;
    const uint8_t* noBytes = nullptr;
    const uint16_t symbol = 1;
    const uint16_t* symbols = &symbol;
    const uint16_t* noSymbols = nullptr;
    uint16_t to16 = 5;
    uint8_t to8 = 5;
    uint32_t freq[257] = {};
    int32_t one = 1;
    int32_t zero = 0;
    EXPECT_EQ(zelsEncodeZ1Z2_BZ2_8u16u(nullptr, &zero, &to16, &one, freq), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeZ1Z2_BZ2_8u16u(&noBytes, &zero, &to16, &one, freq), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeZ1Z2_BZ2_8u16u(&bytes, nullptr, &to16, &one, freq), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeZ1Z2_BZ2_8u16u(&bytes, &zero, nullptr, &one, freq), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeZ1Z2_BZ2_8u16u(&bytes, &zero, &to16, nullptr, freq), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeZ1Z2_BZ2_8u16u(&bytes, &zero, &to16, &one, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsEncodeZ1Z2_BZ2_8u16u(&bytes, &zero, &to16, &one, freq), zelStsBadSize);
    EXPECT_EQ(zelsEncodeZ1Z2_BZ2_8u16u(&bytes, &one, &to16, &zero, freq), zelStsBadSize);
    EXPECT_EQ(zelsDecodeZ1Z2_BZ2_16u8u(nullptr, &zero, &to8, &one), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeZ1Z2_BZ2_16u8u(&noSymbols, &zero, &to8, &one), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeZ1Z2_BZ2_16u8u(&symbols, nullptr, &to8, &one), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeZ1Z2_BZ2_16u8u(&symbols, &zero, nullptr, &one), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeZ1Z2_BZ2_16u8u(&symbols, &zero, &to8, nullptr), zelStsNullPointer);
    EXPECT_EQ(zelsDecodeZ1Z2_BZ2_16u8u(&symbols, &zero, &to8, &one), zelStsBadSize);
    EXPECT_EQ(zelsDecodeZ1Z2_BZ2_16u8u(&symbols, &one, &to8, &zero), zelStsBadSize);
    EXPECT_EQ(one + zero, 1);
    EXPECT_EQ(to8 + to16, 10);
    EXPECT_EQ(freq[0] + freq[1] + freq[2], 0U);
}

}  // namespace
