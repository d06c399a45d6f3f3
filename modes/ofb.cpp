#include <string.h>

#include <algorithm>

#include "modes/stream.h"
#include "support/secret.h"

namespace wbkit {

// Each keystream block is the encryption of the one before: one block at a time.
void ofb_crypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len) {
    SecretBytes<kBlockSize> keystream;
    memcpy(keystream.data(), iv, kBlockSize);
    for (size_t done = 0; done < len; done += kBlockSize) {
        cipher.encrypt(keystream.data(), keystream.data(), 1);
        xor_keystream(out + done, in + done, keystream.data(), std::min(kBlockSize, len - done));
    }
}

} // namespace wbkit
