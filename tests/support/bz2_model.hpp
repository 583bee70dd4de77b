// The multi-table decoder once more, byte by byte and bit by bit, with nothing in common with the
// library's: what it takes, gives and answers on each call is what the library must.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/shapes.hpp"
#include "zeldc.h"

namespace support {

class ModelDecoder {
  public:
    ModelDecoder(int alphaSize, int capacity) : alphaSize_(alphaSize), capacity_(capacity) {}

    struct Cursor {
        const uint8_t* src;
        int32_t srcLen;
        uint64_t word;  // the pending bits, right-aligned
        int32_t count;
    };

    ZelStatus unpack(Cursor& c) {
        const ZelStatus status = unpackOn(c);
        if (status == zelStsSrcExhausted) return status;
        phase_ = 0;
        group_ = inGroup_ = 0;
        ready_ = status == zelStsOk;
        codes_.clear();
        if (!ready_) return status;
        for (const auto& lengths : lengths_)
            codes_.emplace_back(lengths);
        return status;
    }

    ZelStatus decode(Cursor& c, std::vector<uint16_t>& out, int32_t room) {
        for (;; ++group_, inGroup_ = 0) {
            if (!ready_ || group_ >= static_cast<int>(selectors_.size())) return zelStsBadData;
            for (; inGroup_ < 50;) {
                if (!hold(c, 20)) return zelStsSrcExhausted;
                const int symbol = next(c, codes_[selectors_[static_cast<size_t>(group_)]]);
                if (symbol < 0) return zelStsBadData;
                out.push_back(static_cast<uint16_t>(symbol));
                ++inGroup_;
                if (symbol == alphaSize_ - 1) {
                    group_ = inGroup_ = 0;
                    return zelStsOk;
                }
                if (--room == 0) return c.srcLen == 0 ? zelStsSrcExhausted : zelStsDstFull;
            }
        }
    }

    int tableCount() const { return tables_; }
    const std::vector<uint8_t>& selectors() const { return selectors_; }
    const std::vector<int>& lengths(int table) const {
        return lengths_[static_cast<size_t>(table)];
    }

  private:
    static bool hold(Cursor& c, int bits) {
        for (; c.count < bits; c.count += 8, --c.srcLen) {
            if (c.srcLen == 0) return false;
            c.word = c.word << 8 | *c.src++;
        }
        return true;
    }
    static uint32_t peek(const Cursor& c, int bits) {
        return static_cast<uint32_t>(c.word >> (c.count - bits) & ((1ULL << bits) - 1));
    }
    static uint32_t take(Cursor& c, int bits) {
        const uint32_t value = peek(c, bits);
        c.count -= bits;
        return value;
    }

    ZelStatus unpackOn(Cursor& c) {
        if (phase_ == 0) {
            if (!hold(c, 18)) return zelStsSrcExhausted;
            tables_ = static_cast<int>(take(c, 3));
            selectorCount_ = static_cast<int>(take(c, 15));
            selectors_.clear();
            lengths_.assign(1, {});
            running_ = 0;
            if (tables_ < 2 || tables_ > 6) return zelStsBz2BadContext;
            if (selectorCount_ < 1 || selectorCount_ > capacity_) return zelStsBz2BadContext;
            list_ = {0, 1, 2, 3, 4, 5};
            phase_ = 1;
        }
        while (static_cast<int>(selectors_.size()) < selectorCount_) {
            if (!hold(c, 6)) return zelStsSrcExhausted;
            int rank = 0;
            while (rank < 6 && (peek(c, 6) >> (5 - rank) & 1) != 0)
                ++rank;
            if (rank >= tables_) return zelStsBz2BadContext;
            take(c, rank + 1);
            const uint8_t table = list_[static_cast<size_t>(rank)];
            list_.erase(list_.begin() + rank);
            list_.insert(list_.begin(), table);
            selectors_.push_back(table);
        }
        for (;;) {
            if (static_cast<int>(lengths_.back().size()) == alphaSize_) {
                if (static_cast<int>(lengths_.size()) == tables_) return zelStsOk;
                lengths_.emplace_back();
                running_ = 0;
            }
            if (running_ == 0) {
                if (!hold(c, 5)) return zelStsSrcExhausted;
                running_ = static_cast<int>(take(c, 5));
            } else {
                if (!hold(c, 2)) return zelStsSrcExhausted;
                if (take(c, 1) == 0) {
                    lengths_.back().push_back(running_);
                    continue;
                }
                running_ += take(c, 1) == 0 ? 1 : -1;
            }
            if (running_ < 1 || running_ > 20) return zelStsBz2BadContext;
        }
    }

    // Canonical decoding one bit at a time.
    struct Canonical {
        explicit Canonical(const std::vector<int>& lengths) : symbols(21) {
            for (size_t s = 0; s < lengths.size(); ++s)
                symbols[static_cast<size_t>(lengths[s])].push_back(static_cast<int>(s));
        }
        std::vector<std::vector<int>> symbols;  // by length
    };
    static int next(Cursor& c, const Canonical& code) {
        uint32_t first = 0;
        for (int length = 1; length <= 20; ++length) {
            first *= 2;
            const auto& symbols = code.symbols[static_cast<size_t>(length)];
            const uint32_t nth = peek(c, length) - first;
            if (nth < symbols.size()) {
                take(c, length);
                return symbols[nth];
            }
            first += static_cast<uint32_t>(symbols.size());
        }
        return -1;
    }

    int alphaSize_;
    int capacity_;
    int phase_ = 0;
    bool ready_ = false;
    int tables_ = 0;
    int selectorCount_ = 0;
    int running_ = 0;
    int group_ = 0;
    int inGroup_ = 0;
    std::vector<uint8_t> selectors_;
    std::vector<uint8_t> list_;
    std::vector<std::vector<int>> lengths_;
    std::vector<Canonical> codes_;
};

}  // namespace support
