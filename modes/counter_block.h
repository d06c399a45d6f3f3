// The counter of CTR and GCM.
#pragma once

#include "modes/block_cipher.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {

// All 16 bytes count, big-endian, modulo 2^128; no part is reserved as a nonce, in GCM neither: intended. In GCM it can
// be a secret, so it is wiped.
class CounterBlock {
  public:
    explicit CounterBlock(const uint8_t *block) : high_(load_be64(block)), low_(load_be64(block + 8)) {}
    ~CounterBlock() { wipe(this, sizeof *this); }
    CounterBlock(const CounterBlock &) = delete;
    CounterBlock &operator=(const CounterBlock &) = delete;
    CounterBlock(CounterBlock &&) = delete;
    CounterBlock &operator=(CounterBlock &&) = delete;

    // Writes this and the following counter blocks, and goes on behind them. Not inlined, so that a counter for which
    // there are not enough registers is kept below the caller's frame, on the stack that callers wipe.
    [[gnu::noinline]] void write(uint8_t *out, size_t blocks) {
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

} // namespace wbkit
