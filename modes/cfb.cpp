#include <string.h>

#include <algorithm>

#include "modes/keystream.h"
#include "modes/stream.h"
#include "support/secret.h"

namespace wbkit {

// Each block needs the ciphertext of the one before: one block at a time.
void cfb_encrypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len) {
    SecretBytes<kBlockSize> keystream;
    const uint8_t *feedback = iv;
    for (size_t done = 0; done < len; done += kBlockSize) {
        cipher.encrypt(feedback, keystream.data(), 1);
        xor_keystream(out + done, in + done, keystream.data(), std::min(kBlockSize, len - done));
        feedback = out + done;
    }
}

// The feedback is the ciphertext, known in full beforehand: many blocks at a time.
void cfb_decrypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len) {
    Keystream keystream(len);
    SecretBytes<kBlockSize> feedback;
    memcpy(feedback.data(), iv, kBlockSize);
    for (size_t done = 0; done < len;) {
        const size_t bytes = std::min(keystream.size(), len - done);
        const size_t blocks = blocks_of(bytes);
        // What is encrypted is copied before `out`, which may be `in`, is written.
        memcpy(keystream.data(), feedback.data(), kBlockSize);
        memcpy(keystream.data() + kBlockSize, in + done, (blocks - 1) * kBlockSize);
        if (bytes == keystream.size()) {
            memcpy(feedback.data(), in + done + bytes - kBlockSize, kBlockSize);
        }
        cipher.encrypt(keystream.data(), keystream.data(), blocks);
        xor_keystream(out + done, in + done, keystream.data(), bytes);
        done += bytes;
    }
    wipe_stack<256>(); // the kernel may have pushed registers with the feedback
}

} // namespace wbkit
