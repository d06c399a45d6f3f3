// Implementation notes. The SHA extensions hold the eight words of the chaining value in two registers, ABEF and CDGH,
// and do two rounds in an instruction that takes both: each waits for the one before, and this chain of 32 is what
// bounds the kernel. The message schedule is made beside it, four words at a time.
#include <immintrin.h>

#include "hash/sha256.h"
#include "hash/sha256_constants.h"
#include "hash/sha256_kernel.h"
#include "support/secret.h"

#define WBKIT_TARGET "sha,sse4.1"
#include "support/target.h"

namespace wbkit {
namespace {

WBKIT_INLINE __m128i load(const void *from) {
    return _mm_loadu_si128(static_cast<const __m128i *>(from));
}

WBKIT_INLINE __m128i load_words(const uint8_t *block) {
    return _mm_shuffle_epi8(load(block), _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3));
}

// Four rounds.
WBKIT_INLINE void rounds(__m128i &abef, __m128i &cdgh, __m128i w, size_t t) {
    const __m128i sum = _mm_add_epi32(w, load(kSha256Constants.round + t));
    // After two rounds, the old ABEF is the new CDGH.
    cdgh = _mm_sha256rnds2_epu32(cdgh, abef, sum);
    abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(sum, 0x0e));
}

WBKIT_OUTLINE void compress_blocks(uint32_t state[8], const uint8_t *data, size_t blocks) {
    const __m128i dcba = load(state);
    const __m128i hgfe = load(state + 4);
    const __m128i badc = _mm_shuffle_epi32(dcba, 0xb1);
    const __m128i efgh = _mm_shuffle_epi32(hgfe, 0x1b);
    __m128i abef = _mm_alignr_epi8(badc, efgh, 8);
    __m128i cdgh = _mm_blend_epi16(efgh, badc, 0xf0);
    for (; blocks > 0; data += kSha256BlockSize, --blocks) {
        const __m128i old_abef = abef;
        const __m128i old_cdgh = cdgh;
        __m128i w[4]; // the last sixteen words of the schedule
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; ++i) {
            w[i] = load_words(data + 16 * i);
            rounds(abef, cdgh, w[i], 4 * i);
        }
#pragma GCC unroll 12
        for (size_t i = 4; i < 16; ++i) {
            const __m128i before = w[(i + 3) % 4];
            const __m128i seven_before = _mm_alignr_epi8(before, w[(i + 2) % 4], 4);
            const __m128i sum = _mm_add_epi32(_mm_sha256msg1_epu32(w[i % 4], w[(i + 1) % 4]), seven_before);
            w[i % 4] = _mm_sha256msg2_epu32(sum, before);
            rounds(abef, cdgh, w[i % 4], 4 * i);
        }
        abef = _mm_add_epi32(abef, old_abef);
        cdgh = _mm_add_epi32(cdgh, old_cdgh);
    }
    const __m128i feba = _mm_shuffle_epi32(abef, 0x1b);
    const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xb1);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(state), _mm_blend_epi16(feba, dchg, 0xf0));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(state + 4), _mm_alignr_epi8(dchg, feba, 8));
}

} // namespace

void sha256_compress_shani(uint32_t state[8], const uint8_t *data, size_t blocks) {
    compress_blocks(state, data, blocks);
    wipe_stack();
}

} // namespace wbkit
