// SM4 with AVX-512 VBMI.

#define WBKIT_TARGET "avx512f,avx512bw,avx512vl,avx512vbmi"
#include "sm4/planes_avx512.h"

namespace wbkit {
namespace {

struct Bytes {
    WBKIT_INLINE static __m512i rotate(__m512i x) {
        return Avx512<Bytes>::join_bits(_mm512_slli_epi16(x, 2), _mm512_srli_epi16(x, 6));
    }
};

} // namespace

void sm4_encrypt_blocks_vbmi(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    encrypt_in_groups<Avx512<Bytes>>(key, in, out, blocks);
}

} // namespace wbkit
