#include "sm4/block.h"

#include "quen/sm4.h"

namespace wbkit {
namespace {

constexpr KernelRow kKernels[] = {
    {"portable", [] { return true; }, sm4_encrypt_blocks_portable},
};

} // namespace

std::span<const KernelRow> sm4_kernels() {
    return kKernels;
}

BlockCipher sm4_cipher(const tb_entry &key) {
    return {key, choose_kernel(kKernels)};
}

} // namespace wbkit

void wbsm4(const uint8_t in[16], uint8_t out[16], tb_entry entry) {
    wbkit::sm4_cipher(entry).encrypt(in, out, 1);
}
