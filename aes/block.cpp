#include "aes/block.h"

#include <string.h>

#include "aes/shift_rows.h"
#include "quen/aes.h"
#include "quen/status.h"
#include "support/cpu.h"
#include "support/secret.h"

namespace wbkit {
namespace {

constexpr KernelRow kKernels[] = {
#if defined(__x86_64__)
    {"vbmi", cpu_has_avx512_vbmi, aes_encrypt_blocks_vbmi},
    {"avx2", cpu_has_avx2, aes_encrypt_blocks_avx2},
    {"ssse3", cpu_has_ssse3, aes_encrypt_blocks_ssse3},
#endif
#if defined(__aarch64__)
    {"neon", [] { return true; }, aes_encrypt_blocks_neon}, // in every CPU of the architecture
#endif
    {"portable", [] { return true; }, aes_encrypt_blocks_portable},
};

bool is_usable(const tb_entry &key) {
    return key.status == WBKIT_OK && aes_table_rounds(key.Nr) != 0 && key.Xor != nullptr && key.Tyboxes != nullptr &&
           key.TboxesLast != nullptr;
}

[[gnu::noinline]] void shift_rows_in_place(uint8_t state[16]) {
    uint8_t shifted[16];
    shift_rows(state, shifted);
    memcpy(state, shifted, sizeof shifted);
}

} // namespace

const CipherFamily kAes{"Nr", is_usable, aes_kernels};

std::span<const KernelRow> aes_kernels() {
    return kKernels;
}

} // namespace wbkit

void Cipher(uint8_t state[16], tb_entry entry) {
    wbkit::cipher_of(wbkit::kAes, entry).encrypt(state, state, 1);
}

void ShiftRows(uint8_t state[16]) {
    wbkit::shift_rows_in_place(state);
    wbkit::wipe_stack();
}
