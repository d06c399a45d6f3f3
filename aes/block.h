// AES from tables: the cipher and its kernels.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

#include "modes/cipher_family.h"

namespace wbkit {

// A key is usable if every table of its record is there and the round count is one of AES.
extern const CipherFamily kAes;

// Every kernel, best first.
//
// A kernel relies on the tables that its rounds read. It takes any round count: one that is not AES's leads through no
// round table, so that only ShiftRows and the last round remain. It takes any XOR table: entries of 16 and more mean
// nothing, but no index may leave the table. It leaves no state of a block behind in memory. It asks for its
// instruction set by target attributes on its functions, so that no function shared with others is compiled with it.
std::span<const KernelRow> aes_kernels();

// For one block, a kernel takes its best way through a single one: CFB encryption and OFB have no more to give.
void aes_encrypt_blocks_ssse3(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);
void aes_encrypt_blocks_avx2(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);
void aes_encrypt_blocks_vbmi(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);
void aes_encrypt_blocks_neon(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);
void aes_encrypt_blocks_portable(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);

// Rounds that go through the round tables.
constexpr int32_t aes_table_rounds(int32_t round_count) {
    return round_count == 10 || round_count == 12 || round_count == 14 ? round_count - 1 : 0;
}

} // namespace wbkit
