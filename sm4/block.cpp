#include "sm4/block.h"

#include "quen/sm4.h"
#include "quen/status.h"
#include "support/cpu.h"

namespace wbkit {
namespace {

constexpr KernelRow kKernels[] = {
#if defined(__x86_64__)
    {"gfni", [] { return cpu_has_avx512_vbmi() && cpu_has_gfni(); }, sm4_encrypt_blocks_gfni},
    {"vbmi", cpu_has_avx512_vbmi, sm4_encrypt_blocks_vbmi},
    {"avx2", cpu_has_avx2, sm4_encrypt_blocks_avx2},
#endif
#if defined(__aarch64__)
    {"neon", [] { return true; }, sm4_encrypt_blocks_neon}, // in every CPU of the architecture
#endif
    {"portable", [] { return true; }, sm4_encrypt_blocks_portable},
};

bool is_usable(const tb_entry &key) {
    return key.status == WBKIT_OK && key.table != nullptr && key.Xor == nullptr && key.Tyboxes == nullptr &&
           key.TboxesLast == nullptr;
}

} // namespace

const CipherFamily kSm4{"table", is_usable, sm4_kernels};

std::span<const KernelRow> sm4_kernels() {
    return kKernels;
}

} // namespace wbkit

void wbsm4(const uint8_t in[16], uint8_t out[16], tb_entry entry) {
    wbkit::cipher_of(wbkit::kSm4, entry).encrypt(in, out, 1);
}
