// CFB with 128-bit feedback, OFB and CTR (NIST SP 800-38A, 6.3 to 6.5) for any block cipher, over whole messages.
#pragma once

#include "modes/block_cipher.h"
#include "modes/counter_block.h"

namespace wbkit {

// Runs a mode over `len` bytes; the last block may be partial. `in` and `out` are equal or do not overlap. `iv` is the
// initial vector or the first counter block: 16 bytes, not changed.
using StreamMode = void (*)(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len);

void cfb_encrypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len);
void cfb_decrypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len);

// OFB and CTR are the same computation in both directions.
void ofb_crypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len);
void ctr_crypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len);

// CTR in pieces: all but the last are whole blocks. The counter goes on from piece to piece.
void ctr_crypt(const BlockCipher &cipher, CounterBlock &counter, const uint8_t *in, uint8_t *out, size_t len);

// Modes that can ask for several blocks at a time ask for up to this many: 4 KiB of keystream, which stay in the
// first-level cache beside one round's tables.
constexpr size_t kBatchBlocks = 256;

// Blocks that `len` bytes touch. len <= SIZE_MAX - 15.
constexpr size_t blocks_of(size_t len) {
    return (len + kBlockSize - 1) / kBlockSize;
}

// out = in XOR keystream. `in` and `out` are equal or do not overlap.
inline void xor_keystream(uint8_t *out, const uint8_t *in, const uint8_t *keystream, size_t len) {
    for (size_t i = 0; i < len; ++i) {
        out[i] = in[i] ^ keystream[i];
    }
}

} // namespace wbkit
