#include <string.h>

#include "literal.h"

namespace bench::literal {
namespace {

void increment(uint8_t counter[16]) {
    for (size_t i = 16; i-- > 0 && ++counter[i] == 0;) {
    }
}

// CFB in both directions: the ciphertext, byte by byte, becomes the register.
template <bool decrypts>
void cfb(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len) {
    uint8_t feedback[16];
    memcpy(feedback, iv, sizeof feedback);
    for (size_t i = 0; i < len; ++i) {
        if (i % 16 == 0) {
            cipher.encrypt(feedback, cipher.entry);
        }
        const uint8_t from = in[i];
        out[i] = from ^ feedback[i % 16];
        feedback[i % 16] = decrypts ? from : out[i];
    }
}

} // namespace

void cfb_encrypt(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len) {
    cfb<false>(cipher, iv, in, out, len);
}

void cfb_decrypt(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len) {
    cfb<true>(cipher, iv, in, out, len);
}

void ofb_crypt(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len) {
    uint8_t keystream[16];
    memcpy(keystream, iv, sizeof keystream);
    for (size_t i = 0; i < len; ++i) {
        if (i % 16 == 0) {
            cipher.encrypt(keystream, cipher.entry);
        }
        out[i] = in[i] ^ keystream[i % 16];
    }
}

void ctr_crypt(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len) {
    uint8_t counter[16];
    uint8_t keystream[16];
    memcpy(counter, iv, sizeof counter);
    for (size_t i = 0; i < len; ++i) {
        if (i % 16 == 0) {
            memcpy(keystream, counter, sizeof keystream);
            cipher.encrypt(keystream, cipher.entry);
            increment(counter);
        }
        out[i] = in[i] ^ keystream[i % 16];
    }
}

} // namespace bench::literal
