// SM4 with AVX-512 VBMI and GFNI.

#define WBKIT_TARGET "avx512f,avx512bw,avx512vl,avx512vbmi,gfni"
#include "sm4/planes_avx512.h"

namespace wbkit {
namespace {

struct Bytes {
    WBKIT_INLINE static __m512i rotate(__m512i x) {
        // The matrix of the rotation, the row of the lowest bit in the highest byte.
        return _mm512_gf2p8affine_epi64_epi8(x, _mm512_set1_epi64(0x4080010204081020), 0);
    }
};

} // namespace

void sm4_encrypt_blocks_gfni(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    encrypt_in_groups<Avx512<Bytes>>(key, in, out, blocks);
}

} // namespace wbkit
