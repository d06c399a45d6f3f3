#include "aes/block.h"

#include <string.h>

#include "aes/shift_rows.h"
#include "quen/aes.h"
#include "quen/status.h"

namespace wbkit {
namespace {

constexpr KernelRow kKernels[] = {
    {"portable", [] { return true; }, aes_encrypt_blocks_portable},
};

bool is_usable(const tb_entry &key) {
    return key.status == WBKIT_OK && aes_table_rounds(key.Nr) != 0 && key.Xor != nullptr && key.Tyboxes != nullptr &&
           key.TboxesLast != nullptr;
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
    uint8_t shifted[16];
    wbkit::shift_rows(state, shifted);
    memcpy(state, shifted, sizeof shifted);
}
