// SM4 on planes of 512 bits, for the two kernels that differ in how they rotate bytes.
//
// Implementation notes. A table of 256 arbitrary bytes fills four registers. VPERMI2B looks 64 bytes up in two of them,
// by seven bits of the index; two of these and a blend by the eighth bit are 64 table reads. One group of 64 blocks
// alone waits for the latencies of its chain of look-ups, so up to four go through the rounds together and share the
// loads of a table. Then the number of vector operations bounds it: 40 a round and group, 48 without GFNI.
//
// The including file defines WBKIT_TARGET before, and instantiates for a type of its own: no function here may be
// shared by two files.
#pragma once

#include "sm4/planes.h"
#include "sm4/table_layout.h"
#include "sm4/transposed_group.h"
#include "support/avx512.h"
#include "support/target.h"

namespace wbkit {

// `Bytes::rotate` rotates every byte to the left by 2.
template <typename Bytes>
struct Avx512 {
    struct Vectors {
        using Vector = __m512i;
        WBKIT_INLINE static __m512i interleave_low(__m512i a, __m512i b) { return _mm512_unpacklo_epi8(a, b); }
        WBKIT_INLINE static __m512i interleave_high(__m512i a, __m512i b) { return _mm512_unpackhi_epi8(a, b); }
    };
    using Group = TransposedGroup<Vectors>;

    WBKIT_INLINE static __m512i xor3(__m512i a, __m512i b, __m512i c) {
        return _mm512_ternarylogic_epi64(a, b, c, 0x96);
    }

    // The upper six bits of each byte of `a`, the lower two of `b`.
    WBKIT_INLINE static __m512i join_bits(__m512i a, __m512i b) {
        return _mm512_ternarylogic_epi64(_mm512_set1_epi8(static_cast<char>(0xfc)), a, b, 0xca);
    }

    struct Lane {
        __m512i quarter[4];
    };

    WBKIT_INLINE static Lane load_lane(const uint8_t *table) {
        return {{_mm512_loadu_si512(table), _mm512_loadu_si512(table + 64), _mm512_loadu_si512(table + 128),
                 _mm512_loadu_si512(table + 192)}};
    }

    WBKIT_INLINE static __m512i look_up(const Lane &lane, __m512i index) {
        const __m512i low = _mm512_permutex2var_epi8(lane.quarter[0], index, lane.quarter[1]);
        const __m512i high = _mm512_permutex2var_epi8(lane.quarter[2], index, lane.quarter[3]);
        return _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high);
    }

    // x ^= L(b), a word being four planes, most significant first. Rotating a word by 2 rotates each byte by 2 and
    // takes the lower two bits of the next byte; by 10 and 18 that is the same from the next plane and the one behind
    // it, by 24 it is only another plane. Added up, two of the planes give whole rotated bytes.
    WBKIT_INLINE static void add_linear_transform(__m512i *x, const __m512i *b) {
        __m512i rotated[4];
        for (size_t j = 0; j < 4; ++j) {
            rotated[j] = Bytes::rotate(b[j]);
        }
        for (size_t j = 0; j < 4; ++j) {
            const __m512i sum = xor3(x[j], b[j], b[(j + 3) % 4]);
            x[j] = _mm512_xor_si512(xor3(sum, rotated[(j + 1) % 4], rotated[(j + 2) % 4]),
                                    join_bits(rotated[j], rotated[(j + 3) % 4]));
        }
    }

    // After round i, planes 4 (i mod 4) and following hold X_{i+4}.
    template <size_t Groups>
    WBKIT_INLINE static void encrypt_round(const uint8_t *table, Group *groups, size_t i) {
        __m512i b[Groups][4];
        for (size_t j = 0; j < 4; ++j) {
            const Lane lane = load_lane(table + i * kSm4RoundBytes + j * kSm4LaneBytes);
            for (size_t g = 0; g < Groups; ++g) {
                const __m512i *x = groups[g].plane + j;
                b[g][j] = look_up(lane, xor3(x[(i + 1) % 4 * 4], x[(i + 2) % 4 * 4], x[(i + 3) % 4 * 4]));
            }
        }
        for (size_t g = 0; g < Groups; ++g) {
            add_linear_transform(groups[g].plane + i % 4 * 4, b[g]);
        }
    }

    template <size_t Groups>
    WBKIT_OUTLINE static void encrypt_groups(const uint8_t *table, Group *groups) {
        for (size_t i = 0; i < kSm4Rounds; ++i) {
            encrypt_round<Groups>(table, groups, i);
        }
    }

    // One group stays in registers, which takes constant places in the ring.
    WBKIT_OUTLINE static void encrypt_group(const uint8_t *table, Group *groups) {
        Group group = *groups;
        for (size_t i = 0; i < kSm4Rounds; i += 4, table += 4 * kSm4RoundBytes) {
            encrypt_round<1>(table, &group, 0);
            encrypt_round<1>(table, &group, 1);
            encrypt_round<1>(table, &group, 2);
            encrypt_round<1>(table, &group, 3);
        }
        *groups = group;
    }

    static constexpr size_t kMostGroups = 4;
    static constexpr size_t kFewestBlocks = 5;
    static constexpr void (*kRounds[kMostGroups])(const uint8_t *table, Group *groups) = {
        encrypt_group, encrypt_groups<2>, encrypt_groups<3>, encrypt_groups<4>};
};

} // namespace wbkit
