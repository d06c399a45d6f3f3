// SM4 from tables: the cipher and its kernels.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

#include "modes/cipher_family.h"

namespace wbkit {

// A key is usable if its record has a table set and is none of AES, whose `table` is another and smaller one.
extern const CipherFamily kSm4;

// Every kernel, best first. A kernel leaves no state of a block behind in memory, and asks for its instruction set by
// target attributes on its functions.
std::span<const KernelRow> sm4_kernels();

void sm4_encrypt_blocks_avx2(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);
void sm4_encrypt_blocks_vbmi(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);
void sm4_encrypt_blocks_gfni(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks); // and VBMI
void sm4_encrypt_blocks_neon(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);
void sm4_encrypt_blocks_portable(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);

} // namespace wbkit
