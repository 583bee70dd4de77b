// The tiers of the fast level's blocks.
#include "deflate/fast_blocks.hpp"

#include <immintrin.h>

#include <cstdint>

#include "core/dispatch.hpp"

namespace zeldc::deflate {
namespace {

struct PlainTier {
    class Own {
      public:
        explicit Own(const uint8_t* bytes) : bytes_(bytes) {}

        template <int i>
        __m128i at() const {
            __m128i own = load16(bytes_ + i);
            // Keeps it in a register: gcc sends it through the stack to have an aligned operand.
            __asm__("" : "+x"(own));
            return own;
        }

      private:
        const uint8_t* bytes_;
    };

    template <bool history>
    [[gnu::noinline]] static U32* block(FastBlocks& blocks, const uint8_t* here, uint32_t size,
                                        U32* pairNext) {
        return blocks.block<PlainTier, history>(here, size, pairNext);
    }
};

// Two loads a group where there were eight, and none of its own for a comparison's other operand,
// which may be unaligned.
struct Avx2Tier {
    class Own {
      public:
        explicit Own(const uint8_t* bytes) : low_(load16(bytes)), high_(load16(bytes + 16)) {}

        template <int i>
        __attribute__((target("avx2"))) __m128i at() const {
            return _mm_alignr_epi8(high_, low_, i);
        }

      private:
        __m128i low_;
        __m128i high_;
    };

    template <bool history>
    __attribute__((target("avx2"), noinline)) static U32* block(FastBlocks& blocks,
                                                                const uint8_t* here, uint32_t size,
                                                                U32* pairNext) {
        return blocks.block<Avx2Tier, history>(here, size, pairNext);
    }
};

using BlocksKernel = U32*(FastBlocks& blocks, U32* pairNext, const U32* pairEnd);

template <class Tier>
U32* parse(FastBlocks& blocks, U32* pairNext, const U32* pairEnd) {
    return blocks.parse<Tier>(pairNext, pairEnd);
}

}  // namespace

extern "C" ZELDC_NO_SANITIZE BlocksKernel* zeldcResolveParseBlocks() {
    return cpu::features().avx2 ? parse<Avx2Tier> : parse<PlainTier>;
}
ZELDC_DISPATCHED(BlocksKernel, zeldcParseBlocks, zeldcResolveParseBlocks);

U32* parseBlocks(FastBlocks& blocks, U32* pairNext, const U32* pairEnd) {
    return zeldcParseBlocks(blocks, pairNext, pairEnd);
}

}  // namespace zeldc::deflate
