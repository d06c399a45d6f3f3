// Implementation notes. GHASH numbers the bits of a block from its first byte's most significant bit on. With the bytes
// reversed, a block is a polynomial whose coefficients stand in reversed order, and the carry-less product of two such
// polynomials lacks a shift by one bit, which the subkey's powers have in them once and for all. Karatsuba's method
// makes 128 x 128 bits of three multiplications, which are what bounds this kernel; reduction takes two more, done once
// for a sum of eight products, each block by its own power of the subkey. A reduction by x^128 + x^127 + x^126 + x^121
// + 1 (the polynomial, reversed) folds from the low end, 64 bits at a time.
#include <immintrin.h>

#include "aes/ghash_clmul.h"

#define WBKIT_TARGET "pclmul,ssse3"
#include "support/target.h"

namespace wbkit {
namespace {

// From so many blocks on, the powers cost less than they save.
constexpr size_t kWorthPowers = 6;
static_assert(kWorthPowers <= kPclmulPowers); // more would not find them

// low + middle * x^64 + high * x^128, where `middle` is still Karatsuba's: of the sums of both halves.
struct Product {
    __m128i low;
    __m128i middle;
    __m128i high;
};

WBKIT_INLINE __m128i load(const uint8_t *bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

WBKIT_INLINE void store(uint8_t *bytes, __m128i value) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(bytes), value);
}

WBKIT_INLINE __m128i reverse_bytes(__m128i block) {
    return _mm_shuffle_epi8(block, _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
}

WBKIT_INLINE __m128i swap_halves(__m128i x) {
    return _mm_shuffle_epi32(x, 0x4e);
}

WBKIT_INLINE void add_product(Product &sum, __m128i x, __m128i power) {
    sum.low = _mm_xor_si128(sum.low, _mm_clmulepi64_si128(x, power, 0x00));
    sum.high = _mm_xor_si128(sum.high, _mm_clmulepi64_si128(x, power, 0x11));
    const __m128i halves_of_x = _mm_xor_si128(x, swap_halves(x));
    const __m128i halves_of_power = _mm_xor_si128(power, swap_halves(power));
    sum.middle = _mm_xor_si128(sum.middle, _mm_clmulepi64_si128(halves_of_x, halves_of_power, 0x00));
}

WBKIT_INLINE __m128i reduce(const Product &sum) {
    const __m128i polynomial = _mm_set_epi64x(0, static_cast<int64_t>(0xc200000000000000));
    __m128i middle = _mm_xor_si128(sum.middle, _mm_xor_si128(sum.low, sum.high));
    middle = _mm_xor_si128(middle, swap_halves(sum.low));
    middle = _mm_xor_si128(middle, _mm_clmulepi64_si128(sum.low, polynomial, 0x00));
    const __m128i high = _mm_xor_si128(sum.high, swap_halves(middle));
    return _mm_xor_si128(high, _mm_clmulepi64_si128(middle, polynomial, 0x00));
}

WBKIT_INLINE __m128i multiply(__m128i x, __m128i power) {
    Product product = {};
    add_product(product, x, power);
    return reduce(product);
}

// x times the subkey, as a power must be.
WBKIT_INLINE __m128i first_power(const uint8_t *h) {
    const __m128i x = reverse_bytes(load(h));
    const __m128i carried = _mm_slli_si128(_mm_srli_epi64(x, 63), 8);
    const __m128i shifted = _mm_or_si128(_mm_slli_epi64(x, 1), carried);
    const __m128i overflow = _mm_srai_epi32(_mm_shuffle_epi32(x, 0xff), 31); // all ones, or none
    const __m128i polynomial = _mm_set_epi64x(static_cast<int64_t>(0xc200000000000000), 1);
    return _mm_xor_si128(shifted, _mm_and_si128(overflow, polynomial));
}

// The sum y after `count` blocks more, by the powers from `count` down.
WBKIT_INLINE __m128i absorb_together(GhashState &state, __m128i y, const uint8_t *data, size_t count) {
    const uint8_t *power = ghash_power(state, count);
    Product sum = {};
#pragma GCC unroll 8
    for (size_t i = 1; i < count; ++i) {
        add_product(sum, reverse_bytes(load(data + 16 * i)), load(power + 16 * i));
    }
    // Last, as the sum before has to be known.
    add_product(sum, _mm_xor_si128(y, reverse_bytes(load(data))), load(power));
    return reduce(sum);
}

WBKIT_OUTLINE void make_first_power(GhashState &state) {
    store(ghash_power(state, 1), first_power(state.h));
    state.powers_made = 1;
}

WBKIT_OUTLINE void make_powers(GhashState &state) {
    const __m128i h1 = first_power(state.h);
    const __m128i h2 = multiply(h1, h1);
    const __m128i h3 = multiply(h2, h1);
    const __m128i h4 = multiply(h2, h2);
    const __m128i powers[] = {h1, h2, h3, h4, multiply(h4, h1), multiply(h4, h2), multiply(h4, h3), multiply(h4, h4)};
    static_assert(sizeof powers == 16 * kPclmulPowers);
    for (size_t i = 0; i < kPclmulPowers; ++i) {
        store(ghash_power(state, i + 1), powers[i]);
    }
    state.powers_made = kPclmulPowers;
}

WBKIT_OUTLINE void absorb(GhashState &state, const uint8_t *data, size_t blocks) {
    __m128i y = reverse_bytes(load(state.y));
    for (; blocks >= kPclmulPowers; data += 16 * kPclmulPowers, blocks -= kPclmulPowers) {
        y = absorb_together(state, y, data, kPclmulPowers);
    }
    if (state.powers_made > 1 && blocks > 0) {
        y = absorb_together(state, y, data, blocks);
    } else {
        for (; blocks > 0; data += 16, --blocks) {
            y = absorb_together(state, y, data, 1);
        }
    }
    store(state.y, reverse_bytes(y));
}

} // namespace

void ghash_make_powers_pclmul(GhashState &state) {
    make_powers(state);
    wipe_stack();
}

void ghash_absorb_pclmul(GhashState &state, const uint8_t *data, size_t blocks) {
    if (blocks >= kWorthPowers && state.powers_made < kPclmulPowers) {
        make_powers(state);
    } else if (state.powers_made == 0) {
        make_first_power(state);
    }
    absorb(state, data, blocks);
    wipe_stack();
}

} // namespace wbkit
