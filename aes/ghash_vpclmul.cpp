// Implementation notes. As ghash_pclmul.cpp, but four blocks in a register and 32 blocks to a sum, so that reduction is
// lost in the multiplications, which are what bounds this kernel too. Few blocks are left to the other one.
#include "aes/ghash_clmul.h"
#include "support/avx512.h"

#define WBKIT_TARGET "avx512f,avx512bw,avx512vl,vpclmulqdq,pclmul"
#include "support/target.h"

namespace wbkit {
namespace {

constexpr size_t kLanes = 4;
constexpr size_t kGroup = kVpclmulPowers;

struct Product {
    __m512i low;
    __m512i middle;
    __m512i high;
};

WBKIT_INLINE __m512i load(const uint8_t *bytes) {
    return _mm512_loadu_si512(bytes);
}

WBKIT_INLINE __m512i load_blocks(const uint8_t *data) {
    const __m128i reversed = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm512_shuffle_epi8(load(data), _mm512_broadcast_i32x4(reversed));
}

WBKIT_INLINE __m512i swap_halves(__m512i x) {
    return _mm512_shuffle_epi32(x, _MM_PERM_BADC);
}

// The exclusive or of three.
WBKIT_INLINE __m512i add(__m512i a, __m512i b, __m512i c) {
    return _mm512_ternarylogic_epi64(a, b, c, 0x96);
}

WBKIT_INLINE void add_product(Product &sum, __m512i x, __m512i power) {
    sum.low = _mm512_xor_si512(sum.low, _mm512_clmulepi64_epi128(x, power, 0x00));
    sum.high = _mm512_xor_si512(sum.high, _mm512_clmulepi64_epi128(x, power, 0x11));
    const __m512i halves_of_x = _mm512_xor_si512(x, swap_halves(x));
    const __m512i halves_of_power = _mm512_xor_si512(power, swap_halves(power));
    sum.middle = _mm512_xor_si512(sum.middle, _mm512_clmulepi64_epi128(halves_of_x, halves_of_power, 0x00));
}

WBKIT_INLINE __m512i reduce(const Product &sum) {
    const __m512i polynomial = _mm512_set1_epi64(static_cast<int64_t>(0xc200000000000000));
    __m512i middle = add(sum.middle, sum.low, sum.high);
    middle = add(middle, swap_halves(sum.low), _mm512_clmulepi64_epi128(sum.low, polynomial, 0x00));
    return add(sum.high, swap_halves(middle), _mm512_clmulepi64_epi128(middle, polynomial, 0x00));
}

WBKIT_INLINE __m128i sum_of_lanes(__m512i x) {
    const __m256i two = _mm256_xor_si256(_mm512_castsi512_si256(x), _mm512_extracti64x4_epi64(x, 1));
    return _mm_xor_si128(_mm256_castsi256_si128(two), _mm256_extracti128_si256(two, 1));
}

// Doubles the powers from 8 on: the upper ones are the lower ones times the highest.
WBKIT_OUTLINE void extend_powers(GhashState &state) {
    for (size_t made = kPclmulPowers; made < kVpclmulPowers; made *= 2) {
        const __m128i highest = _mm_loadu_si128(reinterpret_cast<const __m128i *>(ghash_power(state, made)));
        for (size_t i = kLanes; i <= made; i += kLanes) {
            Product product = {};
            add_product(product, load(ghash_power(state, i)), _mm512_broadcast_i32x4(highest));
            _mm512_storeu_si512(ghash_power(state, made + i), reduce(product));
        }
    }
    state.powers_made = kVpclmulPowers;
}

WBKIT_OUTLINE void absorb_groups(GhashState &state, const uint8_t *data, size_t groups) {
    const __m128i reversed = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    __m128i y = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(state.y)), reversed);
    for (; groups > 0; data += 16 * kGroup, --groups) {
        const uint8_t *powers = state.powers;
        Product sum = {};
#pragma GCC unroll 8
        for (size_t i = kLanes; i < kGroup; i += kLanes) {
            add_product(sum, load_blocks(data + 16 * i), load(powers + 16 * i));
        }
        // Last, as the sum before has to be known.
        add_product(sum, _mm512_xor_si512(load_blocks(data), _mm512_zextsi128_si512(y)), load(powers));
        y = sum_of_lanes(reduce(sum));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i *>(state.y), _mm_shuffle_epi8(y, reversed));
}

} // namespace

void ghash_absorb_vpclmul(GhashState &state, const uint8_t *data, size_t blocks) {
    // All the powers cost less than they save with the first group.
    if (blocks >= kGroup) {
        if (state.powers_made < kPclmulPowers) {
            ghash_make_powers_pclmul(state);
        }
        if (state.powers_made < kVpclmulPowers) {
            extend_powers(state);
        }
        absorb_groups(state, data, blocks / kGroup);
        wipe_stack<1024>();
    }
    const size_t rest = blocks % kGroup;
    if (rest > 0) {
        ghash_absorb_pclmul(state, data + 16 * (blocks - rest), rest);
    }
}

} // namespace wbkit
