// The kernels of SHA-256.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

namespace wbkit {

// Compresses `blocks` 64-byte blocks into the chaining value (FIPS 180-4, 6.2.2).
using Sha256Kernel = void (*)(uint32_t state[8], const uint8_t *data, size_t blocks);

struct Sha256Row {
    const char *name;
    bool (*usable)();
    Sha256Kernel compress;
};

// Every kernel, best first. They ask for their instruction set by target attributes on their functions, and leave
// nothing of the blocks behind on the stack.
std::span<const Sha256Row> sha256_kernels();

void sha256_compress_shani(uint32_t state[8], const uint8_t *data, size_t blocks);
void sha256_compress_arm(uint32_t state[8], const uint8_t *data, size_t blocks);
void sha256_compress_portable(uint32_t state[8], const uint8_t *data, size_t blocks);

} // namespace wbkit
