// Implementation notes. The cryptographic extension holds the eight words of the chaining value in two vectors, ABCD
// and EFGH, and does four rounds in two instructions that take both: each group of rounds waits for the one before, and
// this chain of 16 is what bounds the kernel. The message schedule is made beside it, four words at a time.

// Before version 16, clang declares these intrinsics only where the whole file is compiled for them.
#if defined(__clang__) && __clang_major__ < 16 && !defined(__ARM_FEATURE_SHA2)
#define __ARM_FEATURE_SHA2 1 // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
#endif
#include <arm_neon.h>

#include "hash/sha256.h"
#include "hash/sha256_constants.h"
#include "hash/sha256_kernel.h"
#include "support/secret.h"

#ifdef __clang__
#define WBKIT_TARGET "sha2"
#else
#define WBKIT_TARGET "+crypto"
#endif
#include "support/target.h"

namespace wbkit {
namespace {

WBKIT_INLINE uint32x4_t load_words(const uint8_t *block) {
    return vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(block)));
}

// Four rounds.
WBKIT_INLINE void rounds(uint32x4_t &abcd, uint32x4_t &efgh, uint32x4_t w, size_t t) {
    const uint32x4_t sum = vaddq_u32(w, vld1q_u32(kSha256Constants.round + t));
    const uint32x4_t old_abcd = abcd;
    abcd = vsha256hq_u32(abcd, efgh, sum);
    efgh = vsha256h2q_u32(efgh, old_abcd, sum);
}

WBKIT_OUTLINE void compress_blocks(uint32_t state[8], const uint8_t *data, size_t blocks) {
    uint32x4_t abcd = vld1q_u32(state);
    uint32x4_t efgh = vld1q_u32(state + 4);
    for (; blocks > 0; data += kSha256BlockSize, --blocks) {
        const uint32x4_t old_abcd = abcd;
        const uint32x4_t old_efgh = efgh;
        uint32x4_t w[4]; // the last sixteen words of the schedule
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; ++i) {
            w[i] = load_words(data + 16 * i);
            rounds(abcd, efgh, w[i], 4 * i);
        }
#pragma GCC unroll 12
        for (size_t i = 4; i < 16; ++i) {
            const uint32x4_t sum = vsha256su0q_u32(w[i % 4], w[(i + 1) % 4]);
            w[i % 4] = vsha256su1q_u32(sum, w[(i + 2) % 4], w[(i + 3) % 4]);
            rounds(abcd, efgh, w[i % 4], 4 * i);
        }
        abcd = vaddq_u32(abcd, old_abcd);
        efgh = vaddq_u32(efgh, old_efgh);
    }
    vst1q_u32(state, abcd);
    vst1q_u32(state + 4, efgh);
}

} // namespace

void sha256_compress_arm(uint32_t state[8], const uint8_t *data, size_t blocks) {
    compress_blocks(state, data, blocks);
    wipe_stack();
}

} // namespace wbkit
