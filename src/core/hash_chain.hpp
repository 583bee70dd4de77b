// Match search over a 32 KB window, shared by the coders that parse with hash chains: the tables of
// positions, the tabulation hash, the walk along a chain, the search position by position and
// ahead, and the upkeep of the history between calls.
//
// Bytes are numbered by positions. The bytes of a call are read where the caller has them, earlier
// ones from a window of 64 KB that is refilled after each call; the first bytes of the call follow
// the history there too, so that a match that begins in the history can be compared in one piece.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/memory.hpp"
#include "core/unaligned.hpp"

namespace zeldc {

constexpr uint32_t kHistorySize = 32768;
constexpr uint32_t kHashSize = 32768;
constexpr uint32_t kMinMatch = 3;
constexpr uint32_t kMaxMatch = 258;
// An empty table entry: as a position it is 32768 or more away from every position that occurs.
constexpr uint32_t kNoPosition = 0U - kHistorySize;

// Positions that a search enters in one step: a match, or more where it works by blocks.
constexpr uint32_t kStepReach = 1024;

constexpr uint32_t kWindowBufferSize = 65536;
// History never reaches beyond this, so that the start of a call always fits behind it.
constexpr uint32_t kWindowFill = kWindowBufferSize - kMaxMatch;

// Positions are renumbered when a call begins at or above this.
constexpr uint32_t kRebaseAt = 1U << 30;
// A call holds fewer than 2^31 bytes: positions stay clear of kNoPosition.
static_assert(uint64_t{kRebaseAt} + 0x7FFFFFFFU + kHistorySize < kNoPosition);

// Tabulation hashing (Zobrist): one row of 15-bit values for each of three bytes. The first entries
// of the rows are fixed; the others come from a generator, whose seed was the best of 1 to 1024 for
// the frequent triples (8 times or more in 4 MB) of English text, C headers and an executable: it
// lets 42 % fewer pairs of different occurrences collide than the mean seed does.
constexpr std::array<std::array<uint16_t, 256>, 3> makeTabulationRows() {
    constexpr uint16_t kFirst[3][4] = {
        {18845, 15810, 11527, 28763}, {23403, 25964, 7330, 5756}, {23616, 7640, 29028, 30668}};
    std::array<std::array<uint16_t, 256>, 3> rows{};
    uint64_t state = 757;
    for (size_t row = 0; row < 3; ++row) {
        for (size_t i = 0; i < 256; ++i) {
            // splitmix64 (Steele, Lea and Flood, 2014)
            uint64_t z = state += 0x9E3779B97F4A7C15U;
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
            rows[row][i] = i < 4 ? kFirst[row][i] : static_cast<uint16_t>((z ^ (z >> 31)) & 0x7FFF);
        }
    }
    return rows;
}
inline constexpr auto kTabulationRows = makeTabulationRows();

inline uint32_t tabulationHash(uint32_t b0, uint32_t b1, uint32_t b2) {
    return static_cast<uint32_t>(kTabulationRows[0][b0] ^ kTabulationRows[1][b1] ^
                                 kTabulationRows[2][b2]);
}

// The hashes of consecutive positions, at a lookup for each byte: of a byte's values in the three
// rows, each waits for as many bytes as it has to.
class TabulationHashes {
  public:
    explicit TabulationHashes(const uint8_t* bytes)
        : waiting_(kValues[bytes[0]] >> 16 ^ kValues[bytes[1]]) {}

    // The hash of the next position, whose third byte this is.
    uint32_t next(uint8_t third) {
        waiting_ = waiting_ >> 16 ^ kValues[third];
        return static_cast<uint16_t>(waiting_);
    }

  private:
    static constexpr auto kValues = [] {
        std::array<uint64_t, 256> values{};
        for (size_t i = 0; i < 256; ++i) {
            for (size_t row = 0; row < 3; ++row)
                values[i] |= uint64_t{kTabulationRows[row][i]} << (32 - 16 * row);
        }
        return values;
    }();

    uint64_t waiting_;
};

// The part of a coder's state that the search works on. chain[p % 32768] is the position before p
// that had p's hash.
struct MatchHistory {
    U32 head[kHashSize];
    U32 chain[kHistorySize];
    uint8_t window[kWindowBufferSize];
    U32 origin;    // position of window[0]
    U32 position;  // position of the next byte
};
static_assert(alignof(MatchHistory) == 1);

// Forgets everything; the chain is reached through the head table only and may keep stale entries.
inline void restartHistory(MatchHistory& history) {
    fill32(kNoPosition, history.head, kHashSize);
    history.origin = 0;
    history.position = 0;
}

inline void initHistory(MatchHistory& history) {
    restartHistory(history);
    fill32(kNoPosition, history.chain, kHistorySize);
}

// Starts the numbering again at 0 without history. The head table keeps stale positions: a search
// must refuse those that are not below its own.
inline void dropHistory(MatchHistory& history) {
    history.origin = 0;
    history.position = 0;
}

// The tables as absolute positions, which any search can work on.
class WideTables {
  public:
    explicit WideTables(MatchHistory& history) : head_(history.head), chain_(history.chain) {}

    // Lowers all positions by a multiple of 32768, which leaves the chain's slots where they are.
    // What falls below 0 is more than 65536 bytes back and has left the window.
    static void rebase(MatchHistory& history, uint32_t shift) {
        const auto rebased = [shift](U32& entry) {
            const uint32_t position = entry;
            entry = position >= shift && position != kNoPosition ? position - shift : kNoPosition;
        };
        std::for_each_n(history.head, kHashSize, rebased);
        std::for_each_n(history.chain, kHistorySize, rebased);
    }

    void makeRoom(uint32_t /*p*/) {}
    const void* entry(uint32_t hash) const { return &head_[hash]; }
    uint32_t latest(uint32_t hash) const { return head_[hash]; }
    uint32_t before(uint32_t q) const { return chain_[q % kHistorySize]; }
    void setLatest(uint32_t hash, uint32_t p) { head_[hash] = p; }
    void setBefore(uint32_t p, uint32_t q) { chain_[p % kHistorySize] = q; }

  private:
    U32* head_;
    U32* chain_;
};

// The same with 16 bits a position, of which more stays in the first-level cache, for searches that
// refuse distances of 32768 and more and never start their numbering again. In the memory of the
// wide tables:
//
// - Positions are numbered from a base, which is 32769 or more below every position searched for,
//   so that an empty entry, 0, is too far by itself. Before numbers outgrow 16 bits the base moves
//   up, and what falls below it becomes empty.
// - The chain has an entry for each number, so that the positions of a block can be inserted ahead
//   of a search that may still reach 32767 back, and be taken back.
class NarrowTables {
  public:
    explicit NarrowTables(MatchHistory& history)
        : memory_(memoryOf(history)), base_(memory_.base) {}

    static void restart(MatchHistory& history) {
        history.origin = 0;
        history.position = 0;
        clear(history);
    }
    // Takes all positions out. Room is then for those from 32768 before the next one on.
    static void clear(MatchHistory& history) {
        Memory& memory = memoryOf(history);
        std::memset(memory.head, 0, sizeof memory.head);
        memory.base = history.position - kAboveBaseAfterSlide;
    }
    static void init(MatchHistory& history) {
        restart(history);
        std::memset(memoryOf(history).chain, 0, sizeof Memory::chain);
    }
    static void rebase(MatchHistory& history, uint32_t shift) { memoryOf(history).base -= shift; }

    // Turns the tables into wide ones. Positions up to 32768 back keep their chain.
    static void widen(MatchHistory& history) {
        Memory& memory = memoryOf(history);
        const uint32_t base = memory.base;
        const uint32_t last = history.position - 1;
        // The part of the chain that counts makes way for the wide one. Calls too short for a
        // search may have left its numbers behind.
        const uint32_t first = last - base - (kHistorySize - 1);
        const uint32_t size = std::min(kHistorySize, kNumbers - std::min(first, kNumbers));
        std::memmove(memory.chain, memory.chain + std::min(first, kNumbers), size * sizeof(U16));
        for (uint32_t i = kHistorySize; i-- > 0;) {
            const uint32_t number = first + i;
            const uint32_t before = i < size ? memory.chain[i] : uint16_t{0};
            const bool known = before != 0 && before < number && base + before <= last;
            history.chain[(base + number) % kHistorySize] = known ? base + before : kNoPosition;
        }
        // The head grows in place, from its end: a wide entry overlaps narrow ones of its index
        // and above.
        for (uint32_t hash = kHashSize; hash-- > 0;) {
            const uint32_t number = memory.head[hash];
            history.head[hash] = number == 0 ? kNoPosition : base + number;
        }
    }

    // Room in the head for the positions [p, p + kStepReach), for searches without chains. Calls
    // too short for a search do not come here, so p may have moved by any amount.
    void makeRoom(uint32_t p) {
        if (p - base_ > kMostAboveBase) slideHead(p - base_ - kAboveBaseAfterSlide);
    }
    // The same in both tables.
    void makeRoomInChain(uint32_t p) {
        if (p - base_ <= kMostAboveBase) return;
        const uint32_t shift = p - base_ - kAboveBaseAfterSlide;
        slideChain(shift);
        slideHead(shift);
    }

    const void* entry(uint32_t hash) const { return &memory_.head[hash]; }
    uint32_t latest(uint32_t hash) const { return base_ + memory_.head[hash]; }
    void setLatest(uint32_t hash, uint32_t p) {
        memory_.head[hash] = static_cast<uint16_t>(p - base_);
    }
    // For searches that keep the pointer and the distance from the base themselves, between two
    // calls of makeRoom.
    U16* heads() { return memory_.head; }
    uint32_t aboveBase(uint32_t p) const { return p - base_; }
    // Makes eight positions the latest of their hashes, and gives how far each is ahead of the one
    // it replaces; 0 stands for too far. `above` has the eight distances from the base, of which
    // `first` is the first. Collected in a register: a second store a position would take as long
    // as all the rest.
    [[gnu::always_inline]] static __m128i replaceEight(U16* head, const uint16_t* hashes,
                                                       uint32_t first, __m128i above) {
        __m128i before = _mm_setzero_si128();
        replaceOne<0>(head, hashes, first, before);
        replaceOne<1>(head, hashes, first, before);
        replaceOne<2>(head, hashes, first, before);
        replaceOne<3>(head, hashes, first, before);
        replaceOne<4>(head, hashes, first, before);
        replaceOne<5>(head, hashes, first, before);
        replaceOne<6>(head, hashes, first, before);
        replaceOne<7>(head, hashes, first, before);
        // Of 32768 and more, an empty entry's among them, the sign bit is set.
        const __m128i distances = _mm_sub_epi16(above, before);
        return _mm_andnot_si128(_mm_srai_epi16(distances, 15), distances);
    }

    uint32_t base() const { return base_; }
    // By its number, the number of the position before each position that had its hash.
    const U16* chain() const { return memory_.chain; }

    // Inserts `count` (at least 1) positions from p on into both tables; their bytes are at
    // `bytes`.
    void enter(const uint8_t* bytes, uint32_t p, uint32_t count) {
        enterAll(memory_, bytes, p - base_, count);
    }
    // Undoes it for the latest positions.
    void takeBack(const uint8_t* bytes, uint32_t p, uint32_t count) {
        while (count-- > 0) {
            const uint8_t* const at = bytes + count;
            memory_.head[tabulationHash(at[0], at[1], at[2])] = memory_.chain[p - base_ + count];
        }
    }
    // Marks a position that is not inserted: no other stands before itself.
    void leaveOut(uint32_t p) { memory_.chain[p - base_] = static_cast<uint16_t>(p - base_); }
    bool leftOut(uint32_t p) const { return memory_.chain[p - base_] == p - base_; }

  private:
    static constexpr uint32_t kNumbers = 1U << 16;

    template <int i>
    [[gnu::always_inline]] static void replaceOne(U16* head, const uint16_t* hashes, uint32_t first,
                                                  __m128i& before) {
        uintptr_t hash = hashes[i];
        before = _mm_insert_epi16(before, uint16_t{head[hash]}, i);
        // Has the entry go there from memory, without a general register between, and the address
        // not computed apart.
        __asm__("" : "+r"(hash), "+x"(before));
        head[hash] = static_cast<uint16_t>(first + i);
    }

    struct Memory {
        U16 head[kHashSize];
        U16 chain[kNumbers];
        U32 base;
    };
    static_assert(sizeof(Memory) <= offsetof(MatchHistory, window));
    // As widen() has it.
    static_assert(offsetof(Memory, chain) + kHistorySize * sizeof(U16) <=
                  offsetof(MatchHistory, chain));

    // By eights, a slide of the chain leaves out up to seven numbers at the end.
    static constexpr uint32_t kMostAboveBase = 0xFFFF - kStepReach - 8;
    // All that a search can reach stays above the base.
    static constexpr uint32_t kAboveBaseAfterSlide = kHistorySize + 256;

    static Memory& memoryOf(MatchHistory& history) { return reinterpret_cast<Memory&>(history); }

    // Kept out of the searches: within them i386 has no registers left for this loop.
    [[gnu::noinline]] static void enterAll(Memory& memory, const uint8_t* bytes, uint32_t number,
                                           uint32_t count) {
        const uint8_t* const end = bytes + count;
        TabulationHashes hashes(bytes);
        do {
            U16& latest = memory.head[hashes.next(bytes[2])];
            memory.chain[number] = uint16_t{latest};
            latest = static_cast<uint16_t>(number);
            ++number;
        } while (++bytes != end);
    }

    static __m128i lowered(const U16* eight, uint32_t shift) {
        return _mm_subs_epu16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(eight)),
                              _mm_set1_epi16(static_cast<short>(std::min(shift, 0xFFFFU))));
    }
    void slideHead(uint32_t shift) {
        for (uint32_t i = 0; i < kHashSize; i += 8)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(&memory_.head[i]),
                             lowered(&memory_.head[i], shift));
        base_ += shift;
        memory_.base = base_;
    }
    void slideChain(uint32_t shift) {
        for (uint32_t i = 0; shift + i <= kNumbers - 8; i += 8)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(&memory_.chain[i]),
                             lowered(&memory_.chain[shift + i], shift));
    }

    Memory& memory_;
    uint32_t base_;
};

// The bytes that a call can see, by position.
class CallText {
  public:
    CallText(const MatchHistory& history, const uint8_t* src, uint32_t size)
        : first_(history.position),
          end_(first_ + size),
          origin_(history.origin),
          srcBase_(reinterpret_cast<uintptr_t>(src) - first_),
          windowBase_(reinterpret_cast<uintptr_t>(history.window) - origin_) {}

    uint32_t first() const { return first_; }
    uint32_t end() const { return end_; }
    // The earliest position whose byte is still in the window.
    uint32_t earliest() const { return origin_; }

    // The byte at a position of this call.
    const uint8_t* at(uint32_t p) const { return reinterpret_cast<const uint8_t*>(srcBase_ + p); }
    // The byte at any position from earliest() on; kMaxMatch bytes from there are in one piece, as
    // far as the call has them.
    const uint8_t* anywhere(uint32_t q) const {
        return reinterpret_cast<const uint8_t*>((q < first_ ? windowBase_ : srcBase_) + q);
    }

    // What leads from the place of a position in the source to that in the window.
    uintptr_t windowFromSource() const { return windowBase_ - srcBase_; }
    // The same text by positions less a base, from the base on, which is less than 2^31 away.
    CallText numberedFrom(uint32_t base) const {
        const auto ahead = static_cast<int32_t>(base - first_);
        const uintptr_t shift = first_ + static_cast<uintptr_t>(intptr_t{ahead});
        CallText text = *this;
        text.first_ = ahead > 0 ? 0 : first_ - base;
        text.end_ -= base;
        text.origin_ -= base;
        text.srcBase_ += shift;
        text.windowBase_ += shift;
        return text;
    }

  private:
    uint32_t first_;
    uint32_t end_;
    uint32_t origin_;
    uintptr_t srcBase_;
    uintptr_t windowBase_;
};

// Renumbers if need be and puts the start of the source behind the history.
template <class Tables = WideTables>
CallText beginCall(MatchHistory& history, const uint8_t* src, uint32_t size) {
    if (history.position >= kRebaseAt) {
        const uint32_t shift = (history.position - kWindowBufferSize) & ~(kHistorySize - 1);
        Tables::rebase(history, shift);
        history.origin -= shift;
        history.position -= shift;
    }
    const CallText text(history, src, size);
    std::memcpy(history.window + (text.first() - text.earliest()), src, std::min(size, kMaxMatch));
    return text;
}

// Takes the `consumed` bytes from `src` on into the history. At least the last 32768 bytes of all
// stay in the window.
inline void endCall(MatchHistory& history, const uint8_t* src, uint32_t consumed) {
    const uint32_t position = history.position;
    const uint32_t held = position - history.origin;
    if (consumed >= kHistorySize) {
        std::memcpy(history.window, src + (consumed - kHistorySize), kHistorySize);
        history.origin = position + consumed - kHistorySize;
    } else {
        uint32_t kept = held;
        if (held + consumed > kWindowFill) {
            kept = std::min({held, kHistorySize, kWindowFill - consumed});
            std::memmove(history.window, history.window + (held - kept), kept);
            history.origin = position - kept;
        }
        std::memcpy(history.window + kept, src, consumed);
    }
    history.position = position + consumed;
}

// The number of equal bytes from `a` and `b` on, up to `limit`; reads no byte beyond the limit.
//
// By 16 bytes from the start: where a short match ends cannot be predicted, and one comparison that
// covers most of them costs less than a loop that leaves at the right word.
inline uint32_t matchLength(const uint8_t* a, const uint8_t* b, uint32_t limit) {
    uint32_t length = 0;
    for (; length + 16 <= limit; length += 16) {
        const __m128i equal =
            _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + length)),
                           _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + length)));
        const auto differing = static_cast<uint32_t>(_mm_movemask_epi8(equal)) ^ 0xFFFFU;
        if (differing != 0) return length + static_cast<uint32_t>(std::countr_zero(differing));
    }
    for (; length + 4 <= limit; length += 4) {
        const uint32_t differing = load<uint32_t>(a + length) ^ load<uint32_t>(b + length);
        if (differing != 0) {
            return length + static_cast<uint32_t>(std::countr_zero(differing)) / 8;
        }
    }
    while (length < limit && a[length] == b[length])
        ++length;
    return length;
}

// How far back a candidate may lie. `window`: less than 32768 bytes, the rule of a running stream.
// `anyDistance`: at position 1 or later, wherever its bytes can still be read.
enum class Reach { window, anyDistance };

// Whether the position q, from a table, can serve as an earlier occurrence for p.
template <Reach reach>
bool admissible(uint32_t p, uint32_t q, uint32_t earliest) {
    if (reach == Reach::window) return p - q - 1 < kHistorySize - 1;
    return q >= earliest && q < p;
}

// Whether a search counts its remote candidates: those beyond the first ones, which cost as much
// wherever they are found.
enum class Counting { off, on };
constexpr uint32_t remote(uint32_t candidates) {
    constexpr uint32_t kClose = 8;
    return candidates - std::min(candidates, kClose);
}

struct Match {
    uint32_t length;    // kMinMatch - 1 when there is none
    uint32_t position;  // where the earlier occurrence begins
};

// The longest match for the bytes at `here` among the first candidates, from q on, of a chain: up
// to `limit` bytes, the nearest of equal ones; only what is longer than `floor` (at least 2)
// counts. Ends at the first candidate that the chain does not reach. There is a byte beyond the
// limit. Leaves in `candidates` (at least 1) how many more it would have looked at.
template <class Chain>
[[gnu::always_inline]] inline Match walk(const Chain& chain, const uint8_t* here, uint32_t q,
                                         uint32_t limit, uint32_t& candidates, uint32_t floor) {
    Match best{floor, q};
    if (limit <= floor) return best;
    if (floor < kMinMatch) {
        // Three bytes decide, of four that are there to be read.
        const uint32_t start = load<uint32_t>(here) << 8;
        for (;; q = chain.before(q)) {
            if (!chain.reaches(q)) return best;
            const uint8_t* const there = chain.at(q);
            if (load<uint32_t>(there) << 8 == start) {
                best = {matchLength(there, here, limit), q};
                break;
            }
            if (--candidates == 0) return best;
        }
        if (best.length == limit || --candidates == 0) return best;
        q = chain.before(q);
    }
    // A longer match has the four bytes that end one past the best one, which rejects nearly all
    // others at once.
    uint32_t ending = load<uint32_t>(here + best.length - 3);
    for (; chain.reaches(q); q = chain.before(q)) {
        const uint8_t* const there = chain.at(q);
        if (load<uint32_t>(there + best.length - 3) == ending) {
            const uint32_t length = matchLength(there, here, limit);
            if (length > best.length) {
                best = {length, q};
                if (length == limit) break;
                ending = load<uint32_t>(here + length - 3);
            }
        }
        if (--candidates == 0) break;
    }
    return best;
}

// Searches and updates wide tables during one call, position by position. The chain limit bounds
// the work at a position whatever the tables hold.
template <Reach reach>
class ChainSearch {
  public:
    ChainSearch(MatchHistory& history, const CallText& text, uint32_t /*stop*/)
        : tables_(history), text_(text), earliest_(std::max(text.earliest(), uint32_t{1})) {}

    const uint8_t* at(uint32_t p) const { return text_.at(p); }

    void beginStep(uint32_t /*p*/, size_t /*room*/) {}
    void end(uint32_t /*p*/) {}

    // The latest position with the hash of p, without inserting p. Three bytes at p must exist.
    uint32_t candidateAt(uint32_t p) const { return tables_.latest(hashAt(p)); }

    // Inserts p and returns the latest position before it with the same hash.
    uint32_t insert(uint32_t p) { return insertHash(p, hashAt(p)); }

    // Inserts the positions [p, stop).
    void insertUpTo(uint32_t p, uint32_t stop) {
        const uint8_t* bytes = text_.at(p);
        TabulationHashes hashes(bytes);
        for (; p != stop; ++p, ++bytes)
            insertHash(p, hashes.next(bytes[2]));
    }

    // walk() for p.
    [[gnu::always_inline]] Match longest(uint32_t p, uint32_t q, uint32_t limit,
                                         uint32_t candidates,
                                         uint32_t floor = kMinMatch - 1) const {
        return walk(Chain{tables_, text_, p, earliest_}, text_.at(p), q, limit, candidates, floor);
    }

  private:
    struct Chain {
        const WideTables& tables;
        const CallText& text;
        uint32_t p;
        uint32_t earliest;

        bool reaches(uint32_t q) const { return admissible<reach>(p, q, earliest); }
        uint32_t before(uint32_t q) const { return tables.before(q); }
        const uint8_t* at(uint32_t q) const { return text.anywhere(q); }
    };

    uint32_t hashAt(uint32_t p) const {
        const uint8_t* bytes = text_.at(p);
        return tabulationHash(bytes[0], bytes[1], bytes[2]);
    }

    uint32_t insertHash(uint32_t p, uint32_t hash) {
        const uint32_t previous = tables_.latest(hash);
        tables_.setBefore(p, previous);
        tables_.setLatest(hash, p);
        return previous;
    }

    WideTables tables_;
    CallText text_;
    uint32_t earliest_;
};

// The same with narrow tables. Which positions are inserted does not depend on what is found, so
// they are inserted some hundred at a time, ahead of the search, and those that it does not come to
// are taken back.
template <Counting counting = Counting::off>
class AheadSearch {
  public:
    // For positions before `stop`.
    AheadSearch(MatchHistory& history, const CallText& text, uint32_t stop)
        : tables_(history), text_(text), stop_(stop), ahead_(text.first()) {}

    const uint8_t* at(uint32_t p) const { return text_.at(p); }

    // To be called before each step, at p, that looks for matches at p and p + 1. There is room for
    // about so many literals or matches more.
    void beginStep(uint32_t p, size_t room) {
        if (p + 2 > ahead_) insertAhead(p, room);
    }
    // To be called with the position reached, at most `stop`.
    void end(uint32_t p) {
        if (p > ahead_) insertAhead(p, 0);
        if (p < ahead_) tables_.takeBack(text_.at(p), p, ahead_ - p);
    }

    // Where the walk for p begins.
    uint32_t insert(uint32_t p) const { return candidateAt(p); }
    uint32_t candidateAt(uint32_t p) const { return tables_.chain()[p - tables_.base()]; }
    void insertUpTo(uint32_t /*p*/, uint32_t /*stop*/) {}

    // walk() for p.
    [[gnu::always_inline]] Match longest(uint32_t p, uint32_t q, uint32_t limit,
                                         uint32_t candidates, uint32_t floor = kMinMatch - 1) {
        const uint32_t base = tables_.base();
        const Links links{tables_.chain(), p - base - (kHistorySize - 1)};
        const uint8_t* const here = text_.at(p);
        const uint32_t most = candidates;
        Match best{};
        if (links.oldest < numbered_.first()) {
            best = walk(Chain{links, numbered_}, here, q, limit, candidates, floor);
        } else {
            const auto text = reinterpret_cast<uintptr_t>(numbered_.at(0));
            best = walk(SourceChain{links, text}, here, q, limit, candidates, floor);
        }
        if constexpr (counting == Counting::on) remoteCandidates_ += remote(most - candidates);
        best.position += base;
        return best;
    }

    // The sum of remote() over the searches.
    uint32_t remoteCandidates() const { return remoteCandidates_; }

  private:
    struct Links {
        const U16* entries;
        uint32_t oldest;

        bool reaches(uint32_t q) const { return q >= oldest; }
        uint32_t before(uint32_t q) const { return entries[q]; }
    };
    struct Chain : Links {
        const CallText& text;

        const uint8_t* at(uint32_t q) const { return text.anywhere(q); }
    };
    // All of it in the source, which saves registers.
    struct SourceChain : Links {
        uintptr_t text;

        const uint8_t* at(uint32_t q) const { return reinterpret_cast<const uint8_t*>(text + q); }
    };

    // No farther than what will be used even where there are literals only, but for a few
    // positions.
    [[gnu::noinline]] void insertAhead(uint32_t p, size_t room) {
        const uint32_t from = ahead_;
        // With the rest of the match that p is behind, at most kStepReach.
        const auto step = static_cast<uint32_t>(std::min(room + 2, size_t{kStepReach - kMaxMatch}));
        ahead_ = std::min(stop_, std::max(p, from) + step);
        if (ahead_ == from) return;
        tables_.makeRoomInChain(from);
        numbered_ = text_.numberedFrom(tables_.base());
        tables_.enter(text_.at(from), from, ahead_ - from);
    }

    NarrowTables tables_;
    CallText text_;
    CallText numbered_{text_};  // by the numbers in the tables
    uint32_t stop_;
    uint32_t ahead_;  // the positions before it are inserted
    uint32_t remoteCandidates_ = 0;
};

}  // namespace zeldc
