// Implementation notes. GHASH numbers the bits of a block from its first byte's most significant bit on. RBIT turns
// that round in every byte; then a block is a polynomial with its coefficients in ascending order, and PMULL multiplies
// such polynomials as they are. Karatsuba's method makes 128 x 128 bits of three PMULL, which are what bounds this
// kernel; reduction takes two more, done once for a sum of up to eight products, each block by its own power of the
// subkey. It folds from the high end, 64 bits at a time: x^128 is x^7 + x^2 + x + 1.

// Before version 16, clang declares these intrinsics only where the whole file is compiled for them.
#if defined(__clang__) && __clang_major__ < 16 && !defined(__ARM_FEATURE_AES)
#define __ARM_FEATURE_AES 1 // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
#endif
#include <arm_neon.h>

#include "aes/ghash_kernel.h"

#ifdef __clang__
#define WBKIT_TARGET "aes"
#else
#define WBKIT_TARGET "+crypto"
#endif
#include "support/target.h"

namespace wbkit {
namespace {

constexpr size_t kPowers = 8;

// From so many blocks on, the powers cost less than they save.
constexpr size_t kWorthPowers = 12;

// What `GhashState::powers` holds of a power: the power, and the sum of its halves in both halves of a vector.
constexpr size_t kPowerBytes = 32;
static_assert(kPowers * kPowerBytes <= sizeof(GhashState::powers));

struct Power {
    poly64x2_t value;
    poly64x2_t halves;
};

// low + middle * x^64 + high * x^128, where `middle` is still Karatsuba's: of the sums of both halves.
struct Product {
    uint64x2_t low;
    uint64x2_t middle;
    uint64x2_t high;
};

WBKIT_INLINE uint64x2_t swap_halves(uint64x2_t x) {
    return vextq_u64(x, x, 1);
}

WBKIT_INLINE uint64x2_t load_block(const uint8_t *block) {
    return vreinterpretq_u64_u8(vrbitq_u8(vld1q_u8(block)));
}

WBKIT_INLINE void store_block(uint8_t *block, uint64x2_t value) {
    vst1q_u8(block, vrbitq_u8(vreinterpretq_u8_u64(value)));
}

WBKIT_INLINE uint64x2_t multiply_low(poly64x2_t a, poly64x2_t b) {
    return vreinterpretq_u64_p128(vmull_p64(vgetq_lane_p64(a, 0), vgetq_lane_p64(b, 0)));
}

WBKIT_INLINE uint64x2_t multiply_high(poly64x2_t a, poly64x2_t b) {
    return vreinterpretq_u64_p128(vmull_high_p64(a, b));
}

WBKIT_INLINE Power power_of(uint64x2_t x) {
    return {vreinterpretq_p64_u64(x), vreinterpretq_p64_u64(veorq_u64(x, swap_halves(x)))};
}

WBKIT_INLINE Power load_power(const GhashState &state, size_t exponent) {
    const uint8_t *power = state.powers + kPowerBytes * (exponent - 1);
    return {vreinterpretq_p64_u8(vld1q_u8(power)), vreinterpretq_p64_u8(vld1q_u8(power + 16))};
}

WBKIT_INLINE void store_power(GhashState &state, size_t exponent, const Power &x) {
    uint8_t *power = state.powers + kPowerBytes * (exponent - 1);
    vst1q_u8(power, vreinterpretq_u8_p64(x.value));
    vst1q_u8(power + 16, vreinterpretq_u8_p64(x.halves));
}

WBKIT_INLINE void add_product(Product &sum, const Power &x, const Power &y) {
    sum.low = veorq_u64(sum.low, multiply_low(x.value, y.value));
    sum.high = veorq_u64(sum.high, multiply_high(x.value, y.value));
    sum.middle = veorq_u64(sum.middle, multiply_low(x.halves, y.halves));
}

WBKIT_INLINE uint64x2_t reduce(const Product &sum) {
    const poly64x2_t polynomial = vreinterpretq_p64_u64(vdupq_n_u64(0x87));
    const uint64x2_t zero = vdupq_n_u64(0);
    const uint64x2_t middle = veorq_u64(sum.middle, veorq_u64(sum.low, sum.high));
    uint64x2_t low = veorq_u64(sum.low, vextq_u64(zero, middle, 1));
    uint64x2_t high = veorq_u64(sum.high, vextq_u64(middle, zero, 1));
    const uint64x2_t folded = multiply_high(vreinterpretq_p64_u64(high), polynomial);
    low = veorq_u64(low, vextq_u64(zero, folded, 1));
    high = veorq_u64(high, vextq_u64(folded, zero, 1));
    return veorq_u64(low, multiply_low(vreinterpretq_p64_u64(high), polynomial));
}

WBKIT_INLINE Power multiply(const Power &x, const Power &y) {
    Product product = {vdupq_n_u64(0), vdupq_n_u64(0), vdupq_n_u64(0)};
    add_product(product, x, y);
    return power_of(reduce(product));
}

// The sum y after `count` blocks more, by the powers from `count` down.
WBKIT_INLINE uint64x2_t absorb_together(const GhashState &state, uint64x2_t y, const uint8_t *data, size_t count) {
    Product sum = {vdupq_n_u64(0), vdupq_n_u64(0), vdupq_n_u64(0)};
#pragma GCC unroll 8
    for (size_t i = 1; i < count; ++i) {
        add_product(sum, power_of(load_block(data + 16 * i)), load_power(state, count - i));
    }
    // Last, as the sum before has to be known.
    add_product(sum, power_of(veorq_u64(y, load_block(data))), load_power(state, count));
    return reduce(sum);
}

WBKIT_OUTLINE void make_first_power(GhashState &state) {
    store_power(state, 1, power_of(load_block(state.h)));
    state.powers_made = 1;
}

WBKIT_OUTLINE void make_powers(GhashState &state) {
    const Power h1 = power_of(load_block(state.h));
    const Power h2 = multiply(h1, h1);
    const Power h3 = multiply(h2, h1);
    const Power h4 = multiply(h2, h2);
    const Power powers[] = {h1, h2, h3, h4, multiply(h4, h1), multiply(h4, h2), multiply(h4, h3), multiply(h4, h4)};
    static_assert(sizeof powers == kPowers * kPowerBytes);
    for (size_t i = 0; i < kPowers; ++i) {
        store_power(state, i + 1, powers[i]);
    }
    state.powers_made = kPowers;
}

WBKIT_OUTLINE void absorb(GhashState &state, const uint8_t *data, size_t blocks) {
    uint64x2_t y = load_block(state.y);
    if (state.powers_made == kPowers) {
        for (; blocks >= kPowers; data += 16 * kPowers, blocks -= kPowers) {
            y = absorb_together(state, y, data, kPowers);
        }
        if (blocks > 0) {
            y = absorb_together(state, y, data, blocks);
        }
    } else {
        for (; blocks > 0; data += 16, --blocks) {
            y = absorb_together(state, y, data, 1);
        }
    }
    store_block(state.y, y);
}

} // namespace

void ghash_absorb_pmull(GhashState &state, const uint8_t *data, size_t blocks) {
    if (blocks >= kWorthPowers && state.powers_made < kPowers) {
        make_powers(state);
    } else if (state.powers_made == 0) {
        make_first_power(state);
    }
    absorb(state, data, blocks);
    wipe_stack();
}

} // namespace wbkit
