// Implementation notes. Integer multiplication with holes: of both factors only every fourth bit is kept, so that a
// column of the product sums up to 16 bits at most, and what it carries falls into the holes beside it. Sixteen such
// products make a carry-less one of 64 x 64 bits, but only its lower half, as the highest column may carry beyond it;
// the upper half is the lower one of the factors with their bits reversed. Multiplication takes the same time whatever
// the factors on the CPUs that this is for, so that nothing here depends on the subkey or the data.
#include <string.h>

#include <algorithm>

#include "aes/ghash_kernel.h"
#include "support/byte_order.h"

namespace wbkit {
namespace {

constexpr uint64_t kEveryFourth = 0x1111111111111111;

// A number in four parts of every fourth bit.
struct Split {
    Split() = default;           // holds nothing yet: zeros would take time
    explicit Split(uint64_t x) { // NOLINT(cppcoreguidelines-pro-type-member-init): the loop does
        for (unsigned i = 0; i < 4; ++i) {
            part[i] = x & kEveryFourth << i;
        }
    }

    uint64_t part[4];
};

// The lower 64 bits of the carry-less product.
uint64_t multiply_low(const Split &x, const Split &y) {
    uint64_t product = 0;
    for (unsigned i = 0; i < 4; ++i) {
        uint64_t part = 0;
        for (unsigned j = 0; j < 4; ++j) {
            part ^= x.part[j] * y.part[(i - j) % 4];
        }
        product |= part & kEveryFourth << i;
    }
    return product;
}

uint64_t swap_bits(uint64_t x, uint64_t mask, unsigned distance) {
    return (x & mask) << distance | (x >> distance & mask);
}

uint64_t reverse_bits(uint64_t x) {
    x = swap_bits(x, 0x5555555555555555, 1);
    x = swap_bits(x, 0x3333333333333333, 2);
    x = swap_bits(x, 0x0f0f0f0f0f0f0f0f, 4);
    return __builtin_bswap64(x);
}

// An element of GF(2^128): bit k, counted from the least significant bit of `low`, is the coefficient of x^(127 - k).
struct Element {
    uint64_t high;
    uint64_t low;
};

Element load(const uint8_t *block) {
    return {load_be64(block), load_be64(block + 8)};
}

void store(uint8_t *block, const Element &element) {
    store_be64(block, element.high);
    store_be64(block + 8, element.low);
}

// A factor in three parts, as Karatsuba's method takes it, and each with its bits reversed.
struct Factor {
    Factor() = default;
    explicit Factor(const Element &x)
        : part{x.high, x.low, x.high ^ x.low}, reversed{reverse_bits(x.high), reverse_bits(x.low), 0} {
        reversed[2] = reversed[0] ^ reversed[1];
    }

    uint64_t part[3] = {};
    uint64_t reversed[3] = {};
};

// A power of the subkey, which many factors are multiplied by.
struct Power {
    Power() = default;
    explicit Power(const Element &x) { // NOLINT(cppcoreguidelines-pro-type-member-init): the loop does
        const Factor factor(x);
        for (size_t i = 0; i < 3; ++i) {
            part[i] = Split(factor.part[i]);
            reversed[i] = Split(factor.reversed[i]);
        }
    }

    Split part[3];
    Split reversed[3];
};

// A sum of products of parts: their lower halves, and their upper ones as they come of reversed factors.
struct Sum {
    uint64_t lower[3] = {};
    uint64_t upper[3] = {};

    void add_product(const Factor &x, const Power &y) {
        for (size_t i = 0; i < 3; ++i) {
            lower[i] ^= multiply_low(Split(x.part[i]), y.part[i]);
            upper[i] ^= multiply_low(Split(x.reversed[i]), y.reversed[i]);
        }
    }

    [[nodiscard]] Element reduced() const {
        // A product of 64 x 64 bits has 127, so that its upper half lacks the most significant one.
        uint64_t up[3];
        for (size_t i = 0; i < 3; ++i) {
            up[i] = reverse_bits(upper[i]) >> 1;
        }
        const uint64_t middle_low = lower[0] ^ lower[1] ^ lower[2];
        const uint64_t middle_up = up[0] ^ up[1] ^ up[2];
        // 255 bits, the least significant word first, shifted by one as the coefficient of x^255 is none of them.
        uint64_t word[4] = {lower[1], up[1] ^ middle_low, middle_up ^ lower[0], up[0]};
        word[3] = word[3] << 1 | word[2] >> 63;
        word[2] = word[2] << 1 | word[1] >> 63;
        word[1] = word[1] << 1 | word[0] >> 63;
        word[0] = word[0] << 1;
        // x^128 = x^7 + x^2 + x + 1, a word at a time.
        for (size_t i = 0; i < 2; ++i) {
            const uint64_t w = word[i];
            word[i + 1] ^= w << 63 ^ w << 62 ^ w << 57;
            word[i + 2] ^= w ^ w >> 1 ^ w >> 2 ^ w >> 7;
        }
        return {word[3], word[2]};
    }
};

// So many blocks make one sum, each multiplied by its own power of the subkey, if that pays.
constexpr size_t kPowers = 8;
constexpr size_t kWorthPowers = 40;

[[gnu::noinline]] void make_powers(GhashState &state) {
    const Power h(load(state.h));
    memcpy(state.powers, state.h, sizeof state.h);
    for (size_t i = 1; i < kPowers; ++i) {
        Sum product;
        product.add_product(Factor(load(state.powers + 16 * (i - 1))), h);
        store(state.powers + 16 * i, product.reduced());
    }
    state.powers_made = kPowers;
}

// `elements` are so many powers of the subkey, itself first.
template <size_t Powers>
[[gnu::noinline]] void absorb(GhashState &state, const uint8_t *elements, const uint8_t *data, size_t blocks) {
    Power powers[Powers];
    for (size_t i = 0; i < Powers; ++i) {
        powers[i] = Power(load(elements + 16 * i));
    }
    Element y = load(state.y);
    while (blocks > 0) {
        const size_t count = std::min(blocks, Powers);
        Sum sum;
        for (size_t i = count; i-- > 0; data += 16) {
            const Element x = load(data);
            sum.add_product(Factor({y.high ^ x.high, y.low ^ x.low}), powers[i]);
            y = {0, 0};
        }
        y = sum.reduced();
        blocks -= count;
    }
    store(state.y, y);
}

} // namespace

void ghash_absorb_portable(GhashState &state, const uint8_t *data, size_t blocks) {
    if (blocks < kWorthPowers) {
        absorb<1>(state, state.h, data, blocks);
        wipe_stack<1024>();
        return;
    }
    if (state.powers_made == 0) {
        make_powers(state);
    }
    absorb<kPowers>(state, state.powers, data, blocks);
    wipe_stack<3072>();
}

} // namespace wbkit
