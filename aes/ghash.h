// GHASH (SP 800-38D, 6.4) over parts in turn.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "aes/ghash_kernel.h"

namespace wbkit {

class Ghash {
  public:
    explicit Ghash(const uint8_t h[16]);
    ~Ghash();
    Ghash(const Ghash &) = delete;
    Ghash &operator=(const Ghash &) = delete;
    Ghash(Ghash &&) = delete;
    Ghash &operator=(Ghash &&) = delete;

    // Absorbs `len` bytes, the last block extended with zeros.
    void absorb(const uint8_t *data, uint64_t len);

    // Absorbs the last part, and a block of two lengths, given in bytes and hashed in bits. Each is below 2^61.
    void absorb_last(const uint8_t *data, uint64_t len, uint64_t first, uint64_t second);

    void finish(uint8_t y[16]) const;

  private:
    GhashKernel kernel_;
    GhashState state_;
};

// An IV of this length begins its pre-counter block as it is: no hash subkey is needed for it.
constexpr size_t kPlainIvLen = 12;

// The pre-counter block of an IV under the hash subkey `h` (SP 800-38D, 7.1, step 2).
void prepare_j0(const uint8_t *iv, uint64_t iv_len, const uint8_t h[16], uint8_t j0[16]);

} // namespace wbkit
