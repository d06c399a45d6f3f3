#include <algorithm>

#include "modes/stream.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {
namespace {

// All 16 bytes count, big-endian, modulo 2^128; no part is reserved as a nonce.
class CounterBlock {
  public:
    explicit CounterBlock(const uint8_t *block) : high_(load_be64(block)), low_(load_be64(block + 8)) {}

    // Writes this and the following counter blocks, and goes on behind them.
    void write(uint8_t *out, size_t blocks) {
        for (size_t i = 0; i < blocks; ++i) {
            store_be64(out + i * kBlockSize, high_);
            store_be64(out + i * kBlockSize + 8, low_);
            ++low_;
            high_ += low_ == 0 ? 1 : 0;
        }
    }

  private:
    uint64_t high_;
    uint64_t low_;
};

} // namespace

void ctr_crypt(const BlockCipher &cipher, const uint8_t *iv, const uint8_t *in, uint8_t *out, size_t len) {
    SecretBytes<kBatchBlocks * kBlockSize> keystream;
    CounterBlock counter(iv);
    for (size_t done = 0; done < len;) {
        const size_t bytes = std::min(keystream.size(), len - done);
        const size_t blocks = blocks_of(bytes);
        counter.write(keystream.data(), blocks);
        cipher.encrypt(keystream.data(), keystream.data(), blocks);
        xor_keystream(out + done, in + done, keystream.data(), bytes);
        done += bytes;
    }
}

} // namespace wbkit
