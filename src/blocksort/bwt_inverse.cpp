// The inverse transform. The walk along the vector waits for one cache miss per byte, so it is cut
// into segments that several lanes walk at once, their misses overlapping.
#include "blocksort/bwt_inverse.hpp"

#include <algorithm>
#include <cstring>

#include "blocksort/bwt_forward.hpp"
#include "core/unaligned.hpp"
#include "zeldc.h"

namespace zeldc::blocksort {
namespace {

constexpr size_t kCacheLine = 64;
static_assert(kInverseSlack >= kCacheLine - 1);

// A vector entry holds the next row and, where both fit, the byte that the step spells, which saves
// the second access. Its top bit tells that the next row is a head, where a segment begins.
constexpr uint32_t kToHead = 0x80000000U;

struct PackedEntry {
    static constexpr size_t kRowBits = 23;
    static constexpr size_t kLongest = size_t{1} << kRowBits;
    // As it comes out of an entry, with the head bit at its top while that is set.
    static constexpr uint32_t kRowToHead = kToHead >> 8;

    static uint32_t make(uint32_t row, uint8_t symbol) { return row << 8 | symbol; }
    static uint32_t row(uint32_t entry) { return entry >> 8; }
    static uint8_t symbol(uint32_t entry, const uint8_t*) { return static_cast<uint8_t>(entry); }
};

struct PlainEntry {
    static constexpr uint32_t kRowToHead = kToHead;

    static uint32_t make(uint32_t row, uint8_t) { return row; }
    static uint32_t row(uint32_t entry) { return entry; }
    static uint8_t symbol(uint32_t entry, const uint8_t* src) { return src[entry & ~kToHead]; }
};

// The rows that begin segments: one in every stretch of stride rows, and the row where the walk
// begins in its own. Any rows would do, but evenly spaced ones may lie close together along the
// walk of a regular block (five times as slow for a Thue-Morse word), so they are scattered.
class Heads {
  public:
    Heads(size_t n, size_t stride, size_t index)
        : n_(n), stride_(stride), index_(index), count_((n + stride - 1) / stride) {}

    size_t count() const { return count_; }
    size_t of(size_t row) const { return row / stride_; }
    size_t row(size_t head) const {
        if (head == of(index_)) return index_;
        const size_t first = head * stride_;
        const uint32_t scattered = static_cast<uint32_t>(head) * 0x9E3779B1U >> 8;
        return first + scattered % std::min(stride_, n_ - first);
    }

  private:
    size_t n_;
    size_t stride_;
    size_t index_;
    size_t count_;
};

constexpr size_t kMaxHeads = 512;
constexpr size_t kMinStride = 64;
// Shorter blocks stay in the nearest cache.
constexpr size_t kShortestInLanes = 2048;
constexpr size_t kLanes = 16;
// Where nearly all rows are in long runs, each lane walks along a few stretches of the vector, and
// all lanes' together must not be more than the processor fetches ahead.
constexpr size_t kLanesInRuns = 4;
constexpr size_t inRunsFrom(size_t n) {
    return n - n / 32;
}

Heads headsFor(size_t n, size_t index) {
    return {n, std::max(kMinStride, (n + kMaxHeads - 1) / kMaxHeads), index};
}

// Fills cursors with the first row of each byte value. Four tables, for one alone would wait for
// itself in runs of a byte.
void countRows(const uint8_t* src, size_t n, uint32_t (&cursors)[256]) {
    uint32_t counts[4][256] = {};
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const auto four = load<uint32_t>(src + i);
        ++counts[0][four & 0xFF];
        ++counts[1][four >> 8 & 0xFF];
        ++counts[2][four >> 16 & 0xFF];
        ++counts[3][four >> 24];
    }
    for (; i < n; ++i)
        ++counts[0][src[i]];
    uint32_t row = 0;
    for (size_t c = 0; c < 256; ++c) {
        cursors[c] = row;
        row += counts[0][c] + counts[1][c] + counts[2][c] + counts[3][c];
    }
}

// Without heads, for the plain walk, or with. Returns how many rows are in long runs.
template <class Entry>
size_t buildVector(const uint8_t* src, size_t n, const Heads* heads, uint32_t* vector) {
    size_t inRuns = 0;
    uint32_t cursors[256];
    countRows(src, n, cursors);
    const auto put = [&](size_t i, uint32_t flag) {
        vector[cursors[src[i]]++] = Entry::make(static_cast<uint32_t>(i), src[i]) | flag;
    };
    // In runs, each of the cursor's steps would wait for the one before. Only long ones pay:
    // whether the next bytes are a short one is hard to predict.
    constexpr size_t kRun = 64;
    const auto putUpTo = [&](size_t i, size_t end) {
        for (; end - i >= kRun; i += kRun) {
            if (src[i] == src[i + kRun - 1] && std::memcmp(src + i, src + i + 1, kRun - 1) == 0) {
                uint32_t* const rows = vector + cursors[src[i]];
                for (size_t k = 0; k < kRun; ++k)
                    rows[k] = Entry::make(static_cast<uint32_t>(i + k), src[i]);
                cursors[src[i]] += kRun;
                inRuns += kRun;
            } else {
                for (size_t k = 0; k < kRun; ++k)
                    put(i + k, 0);
            }
        }
        for (; i < end; ++i)
            put(i, 0);
    };
    size_t i = 0;
    for (size_t head = 0; heads != nullptr && head < heads->count(); ++head) {
        const size_t end = heads->row(head);
        putUpTo(i, end);
        put(end, kToHead);
        i = end + 1;
    }
    putUpTo(i, n);
    return inRuns;
}

// Walks one row after another.
template <class Entry>
void walkPlainly(const uint8_t* src, uint8_t* dst, size_t n, size_t index, const uint32_t* vector) {
    uint32_t row = static_cast<uint32_t>(index);
    for (size_t k = 0; k < n; ++k) {
        const uint32_t entry = vector[row];
        dst[k] = Entry::symbol(entry, src);
        row = Entry::row(entry) & (Entry::kRowToHead - 1);
    }
}

// Walks segments into pieces of dst, wherever there is room, and then puts the pieces in order.
//
// Each lane owns a range of dst and writes its segments there, one behind the other. Rows belong
// to one segment each, so all segments together are at most n bytes, and while a lane still has a
// byte to write there is room for it in some range: the ranges of lanes that found no further
// segment are left over, and a lane may take half of what another one has left.
template <class Entry, size_t lanes>
class LaneWalk {
  public:
    LaneWalk(const uint8_t* src, uint8_t* dst, size_t n, const Heads& heads, uint32_t* vector)
        : src_(src), dst_(dst), n_(n), heads_(heads), vector_(vector) {}

    // False when the pieces became too many to keep account of; dst then holds nothing of use.
    bool walk(size_t index) {
        firstHead_ = heads_.of(index);
        for (size_t lane = 0; lane < lanes; ++lane) {
            out_[lane] = dst_ + n_ / lanes * lane;
            outEnd_[lane] = lane + 1 == lanes ? dst_ + n_ : out_[lane] + n_ / lanes;
            begin(lane);
        }
        active_ = lanes;
        while (active_ != 0) {
            const size_t steps = leastRoom();
            if (steps == 0) {
                if (!makeRoom()) return false;
                continue;
            }
            const size_t taken = active_ == lanes ? stepAll(steps) : stepActive(steps);
            for (size_t lane = 0; lane < active_; ++lane)
                out_[lane] += taken;
            finishSegments();
        }
        assemble();
        return true;
    }

  private:
    static constexpr size_t kMaxPieces = kMaxHeads + 256;
    static constexpr uint16_t kNone = 0xFFFF;
    static_assert(lanes * kMinStride <= kShortestInLanes);  // a head for every lane at the start

    struct Segment {
        uint16_t firstPiece;
        uint16_t nextHead;
    };
    struct Piece {
        uint32_t begin;
        uint32_t end;
        uint16_t next;  // of the same segment
    };

    size_t roomOf(size_t lane) const { return static_cast<size_t>(outEnd_[lane] - out_[lane]); }

    size_t leastRoom() const {
        size_t least = n_;
        for (size_t lane = 0; lane < active_; ++lane)
            least = std::min(least, roomOf(lane));
        return least;
    }

    uint16_t openPiece(size_t lane) {
        pieces_[pieceCount_] = {static_cast<uint32_t>(out_[lane] - dst_), 0, kNone};
        pieceOf_[lane] = static_cast<uint16_t>(pieceCount_);
        return static_cast<uint16_t>(pieceCount_++);
    }

    void closePiece(size_t lane) {
        pieces_[pieceOf_[lane]].end = static_cast<uint32_t>(out_[lane] - dst_);
    }

    // Starts the lane on the next segment: that of the first head, then the others around.
    void begin(size_t lane) {
        const size_t head = (firstHead_ + started_++) % heads_.count();
        headOf_[lane] = static_cast<uint16_t>(head);
        row_[lane] = static_cast<uint32_t>(heads_.row(head));
        segments_[head].firstPiece = openPiece(lane);
    }

    // One step of a lane; returns the row it leads to, with the head bit.
    uint32_t step(size_t lane, size_t k, const uint32_t* vector, const uint8_t* src) {
        const uint32_t entry = vector[row_[lane]];
        out_[lane][k] = Entry::symbol(entry, src);
        row_[lane] = Entry::row(entry);
        return row_[lane];
    }

    // Takes up to `steps` steps in every lane, fewer when one of them comes to a head. Rows are
    // copied to locals, which do not alias dst.
    size_t stepAll(size_t steps) {
        const uint32_t* const vector = vector_;
        const uint8_t* const src = src_;
        uint32_t row[lanes];
        uint8_t* out[lanes];
        std::copy(row_, row_ + lanes, row);
        std::copy(out_, out_ + lanes, out);
        size_t k = 0;
        for (uint32_t met = 0; k < steps && !(met & Entry::kRowToHead); ++k) {
#pragma GCC unroll 16
            for (size_t lane = 0; lane < lanes; ++lane) {
                const uint32_t entry = vector[row[lane]];
                out[lane][k] = Entry::symbol(entry, src);
                row[lane] = Entry::row(entry);
                met |= row[lane];
            }
        }
        std::copy(row, row + lanes, row_);
        return k;
    }

    size_t stepActive(size_t steps) {
        const size_t active = active_;
        size_t k = 0;
        for (uint32_t met = 0; k < steps && !(met & Entry::kRowToHead); ++k) {
            for (size_t lane = 0; lane < active; ++lane)
                met |= step(lane, k, vector_, src_);
        }
        return k;
    }

    void finishSegments() {
        for (size_t lane = 0; lane < active_;) {
            if (!(row_[lane] & Entry::kRowToHead)) {
                ++lane;
                continue;
            }
            const size_t next = row_[lane] & (Entry::kRowToHead - 1);
            closePiece(lane);
            segments_[headOf_[lane]].nextHead = static_cast<uint16_t>(heads_.of(next));
            if (started_ < heads_.count()) {
                begin(lane++);
            } else {
                retire(lane);
            }
        }
    }

    // What the lane leaves of its range stays behind the active ones as room to take.
    void retire(size_t lane) {
        --active_;
        std::swap(row_[lane], row_[active_]);
        std::swap(out_[lane], out_[active_]);
        std::swap(outEnd_[lane], outEnd_[active_]);
        std::swap(headOf_[lane], headOf_[active_]);
        std::swap(pieceOf_[lane], pieceOf_[active_]);
    }

    // Gives every lane without room a part of the widest range: all of it when its lane is retired,
    // the later half when it is not.
    bool makeRoom() {
        for (size_t lane = 0; lane < active_; ++lane) {
            if (roomOf(lane) != 0) continue;
            if (pieceCount_ == kMaxPieces) return false;
            size_t widest = 0;
            for (size_t other = 0; other < lanes; ++other) {
                if (roomOf(other) > roomOf(widest)) widest = other;
            }
            const size_t keep = widest < active_ ? (roomOf(widest) + 1) / 2 : roomOf(widest) / 4;
            closePiece(lane);
            out_[lane] = out_[widest] + keep;
            outEnd_[lane] = outEnd_[widest];
            outEnd_[widest] -= roomOf(lane);
            const uint16_t before = pieceOf_[lane];
            pieces_[before].next = openPiece(lane);
        }
        return true;
    }

    // Puts the pieces in order, by way of the memory of the vector, which has served. Where the
    // walk closes before n bytes, it spells the same bytes again.
    void assemble() {
        auto* const pieces = reinterpret_cast<uint8_t*>(vector_);
        std::memcpy(pieces, dst_, n_);
        size_t size = 0;
        size_t head = firstHead_;
        do {
            const Segment& segment = segments_[head];
            for (uint16_t p = segment.firstPiece; p != kNone; p = pieces_[p].next) {
                const size_t length = pieces_[p].end - pieces_[p].begin;
                std::memcpy(dst_ + size, pieces + pieces_[p].begin, length);
                size += length;
            }
            head = segment.nextHead;
        } while (head != firstHead_);
        while (size < n_) {
            const size_t again = std::min(size, n_ - size);
            std::memcpy(dst_ + size, dst_, again);
            size += again;
        }
    }

    const uint8_t* src_;
    uint8_t* dst_;
    size_t n_;
    Heads heads_;
    uint32_t* vector_;
    size_t firstHead_ = 0;
    size_t started_ = 0;
    size_t active_ = 0;
    size_t pieceCount_ = 0;
    uint32_t row_[lanes];
    uint8_t* out_[lanes];
    uint8_t* outEnd_[lanes];
    uint16_t headOf_[lanes];
    uint16_t pieceOf_[lanes];
    Segment segments_[kMaxHeads];
    Piece pieces_[kMaxPieces];
};

template <class Entry>
void invertBy(const uint8_t* src, uint8_t* dst, size_t n, size_t index, uint32_t* vector) {
    if (n < kShortestInLanes) {
        buildVector<Entry>(src, n, nullptr, vector);
    } else {
        const Heads heads = headsFor(n, index);
        const bool runs = buildVector<Entry>(src, n, &heads, vector) >= inRunsFrom(n);
        if (runs ? LaneWalk<Entry, kLanesInRuns>(src, dst, n, heads, vector).walk(index)
                 : LaneWalk<Entry, kLanes>(src, dst, n, heads, vector).walk(index)) {
            return;
        }
    }
    walkPlainly<Entry>(src, dst, n, index, vector);
}

}  // namespace

void invert(const uint8_t* src, uint8_t* dst, size_t n, size_t index, uint8_t* buffer) {
    auto* vector = reinterpret_cast<uint32_t*>(alignUp(buffer, kCacheLine));
    if (n <= PackedEntry::kLongest) {
        invertBy<PackedEntry>(src, dst, n, index, vector);
    } else {
        invertBy<PlainEntry>(src, dst, n, index, vector);
    }
}

}  // namespace zeldc::blocksort

using namespace zeldc;

extern "C" {

ZelStatus zelsBWTInvGetSize_8u(int32_t len, int32_t* pSize) {
    if (pSize == nullptr) return zelStsNullPointer;
    store(pSize, 4 * static_cast<uint32_t>(len) + uint32_t{blocksort::kInverseSlack});
    return zelStsOk;
}

ZelStatus zelsBWTInv_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t index,
                        uint8_t* pBuffer) {
    if (len < 2) return zelsCopy_8u(pSrc, pDst, len);
    if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr) return zelStsNullPointer;
    if (index >= len) return zelStsBadSize;
    blocksort::invert(pSrc, pDst, static_cast<size_t>(len), blocksort::safeRow(index), pBuffer);
    return zelStsOk;
}

}  // extern "C"
