// SM4 with AVX2, on planes of 256 bits.
//
// Implementation notes. A table of 256 arbitrary bytes is 16 rows of 16 bytes. VPSHUFB looks 32 bytes up in one row, by
// the low four bits of the index, and gives zero where the top bit of the index is set: so a row of the lower half of
// the table and one of the upper half are joined by OR, and three levels of blends choose among the eight pairs. These
// 35 operations for 32 table reads bound it. Two groups of 32 blocks go through the rounds together, because one alone
// also waits for the latencies of its chain of look-ups.

#include <immintrin.h>

#include "sm4/planes.h"
#include "sm4/table_layout.h"

#define WBKIT_TARGET "avx2"
#include "sm4/transposed_group.h"

namespace wbkit {
namespace {

struct Vectors {
    using Vector = __m256i;
    WBKIT_INLINE static __m256i interleave_low(__m256i a, __m256i b) { return _mm256_unpacklo_epi8(a, b); }
    WBKIT_INLINE static __m256i interleave_high(__m256i a, __m256i b) { return _mm256_unpackhi_epi8(a, b); }
};
using Group = TransposedGroup<Vectors>;

WBKIT_INLINE __m256i fill(int byte) {
    return _mm256_set1_epi8(static_cast<char>(byte));
}

WBKIT_INLINE __m256i look_up_row(const uint8_t *table, size_t row, __m256i index) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i_u *>(table + row * 16));
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(bytes), index);
}

WBKIT_INLINE __m256i look_up(const uint8_t *table, __m256i index) {
    const __m256i flipped = _mm256_xor_si256(index, fill(0x80));
    __m256i pairs[8]; // of rows, chosen between by bit 7
    for (size_t row = 0; row < 8; ++row) {
        pairs[row] = _mm256_or_si256(look_up_row(table, row, index), look_up_row(table, row + 8, flipped));
    }
    // The other bits go to the top one by one, where blends look.
    const __m256i bit6 = _mm256_add_epi8(index, index);
    const __m256i bit5 = _mm256_add_epi8(bit6, bit6);
    const __m256i bit4 = _mm256_add_epi8(bit5, bit5);
    __m256i quarters[4];
    for (size_t i = 0; i < 4; ++i) {
        quarters[i] = _mm256_blendv_epi8(pairs[2 * i], pairs[2 * i + 1], bit4);
    }
    return _mm256_blendv_epi8(_mm256_blendv_epi8(quarters[0], quarters[1], bit5),
                              _mm256_blendv_epi8(quarters[2], quarters[3], bit5), bit6);
}

// x ^= L(b), a word being four planes, most significant first. L(b) is b ^ (b <<< 24) ^ (t <<< 2), where t is
// b ^ (b <<< 8) ^ (b <<< 16); rotations by whole bytes only rename planes.
WBKIT_INLINE void add_linear_transform(__m256i *x, const __m256i *b) {
    __m256i pair[4];
    __m256i upper_six[4];
    __m256i lower_two[4];
    for (size_t j = 0; j < 4; ++j) {
        pair[j] = _mm256_xor_si256(b[j], b[(j + 1) % 4]);
    }
    for (size_t j = 0; j < 4; ++j) {
        const __m256i t = _mm256_xor_si256(pair[j], b[(j + 2) % 4]);
        upper_six[j] = _mm256_and_si256(_mm256_slli_epi16(t, 2), fill(0xfc));
        lower_two[j] = _mm256_and_si256(_mm256_srli_epi16(t, 6), fill(0x03));
    }
    for (size_t j = 0; j < 4; ++j) {
        const __m256i rotated = _mm256_xor_si256(upper_six[j], lower_two[(j + 1) % 4]);
        x[j] = _mm256_xor_si256(_mm256_xor_si256(x[j], pair[(j + 3) % 4]), rotated);
    }
}

// After round i, planes 4 (i mod 4) and following hold X_{i+4}.
WBKIT_INLINE void encrypt_round(const uint8_t *table, Group &group, size_t i) {
    __m256i b[4];
#pragma GCC unroll 4
    for (size_t j = 0; j < 4; ++j) {
        const __m256i *x = group.plane + j;
        const __m256i sum =
            _mm256_xor_si256(_mm256_xor_si256(x[(i + 1) % 4 * 4], x[(i + 2) % 4 * 4]), x[(i + 3) % 4 * 4]);
        b[j] = look_up(table + i * kSm4RoundBytes + j * kSm4LaneBytes, sum);
    }
    add_linear_transform(group.plane + i % 4 * 4, b);
}

template <size_t Groups>
WBKIT_OUTLINE void encrypt_groups(const uint8_t *table, Group *groups) {
    for (size_t i = 0; i < kSm4Rounds; ++i) {
        for (size_t g = 0; g < Groups; ++g) {
            encrypt_round(table, groups[g], i);
        }
    }
}

struct Avx2 {
    using Group = wbkit::Group;
    static constexpr size_t kMostGroups = 2;
    static constexpr size_t kFewestBlocks = 13;
    static constexpr void (*kRounds[kMostGroups])(const uint8_t *table, Group *groups) = {encrypt_groups<1>,
                                                                                          encrypt_groups<2>};
};

} // namespace

void sm4_encrypt_blocks_avx2(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    encrypt_in_groups<Avx2>(key, in, out, blocks);
}

} // namespace wbkit
