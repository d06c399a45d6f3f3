// The SM4 block function from tables: its kernels.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

#include "modes/block_cipher.h"

namespace wbkit {

// The cipher of a key whose `table` is set, with the best kernel of the CPU that runs.
BlockCipher sm4_cipher(const tb_entry &key);
BlockCipher sm4_cipher(tb_entry &&key) = delete; // the cipher keeps a reference

// Every kernel, best first. A kernel leaves no state of a block behind in memory, and asks for its instruction set by
// target attributes on its functions.
std::span<const KernelRow> sm4_kernels();

// The definition, which all other kernels are compared with.
void sm4_encrypt_blocks_portable(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);

} // namespace wbkit
