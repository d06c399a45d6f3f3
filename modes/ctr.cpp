#include <algorithm>

#include "modes/counter_block.h"
#include "modes/keystream.h"
#include "modes/stream.h"

namespace wbkit {

void ctr_crypt(const BlockCipher &cipher, CounterBlock &counter, const uint8_t *in, uint8_t *out, size_t len) {
    Keystream keystream(len);
    for (size_t done = 0; done < len;) {
        const size_t bytes = std::min(keystream.size(), len - done);
        const size_t blocks = blocks_of(bytes);
        counter.write(keystream.data(), blocks);
        cipher.encrypt(keystream.data(), keystream.data(), blocks);
        xor_keystream(out + done, in + done, keystream.data(), bytes);
        done += bytes;
    }
    wipe_stack<256>(); // the kernel may have pushed registers with the counter
}

void ctr_crypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len) {
    CounterBlock counter(iv);
    ctr_crypt(cipher, counter, in, out, len);
}

} // namespace wbkit
