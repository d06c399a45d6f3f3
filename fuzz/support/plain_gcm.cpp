#include "plain_gcm.h"

#include "bench/literal.h"

namespace fuzz {
namespace {

using test::Bytes;
namespace literal = bench::literal;

// Never null, also if there are none.
literal::Bytes view(const Bytes &bytes) {
    static const uint8_t none = 0;
    return {bytes.empty() ? &none : bytes.data(), bytes.size()};
}

} // namespace

Sealed seal(const tb_entry &key, const Bytes &iv, const Bytes &aad, const Bytes &text) {
    const literal::Cipher cipher{literal::aes_block, key};
    Bytes h(16);
    literal::aes_block(h.data(), key);
    Bytes j0 = iv;
    j0.resize(16);
    j0[15] = 1;
    if (iv.size() != 12) {
        literal::gcm_hash(h.data(), view({}), view(iv), j0.data());
    }
    Bytes next = j0;
    for (size_t i = 16; i-- > 0 && ++next[i] == 0;) {
    }
    Sealed sealed{Bytes(text.size()), Bytes(16)};
    literal::ctr_crypt(cipher, next.data(), text.data(), sealed.ciphertext.data(), text.size());
    Bytes sum(16);
    literal::gcm_hash(h.data(), view(aad), view(sealed.ciphertext), sum.data());
    literal::ctr_crypt(cipher, j0.data(), sum.data(), sealed.tag.data(), 16);
    return sealed;
}

} // namespace fuzz
