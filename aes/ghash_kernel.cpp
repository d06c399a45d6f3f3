#include "aes/ghash_kernel.h"

#include "support/cpu.h"

namespace wbkit {
namespace {

constexpr GhashRow kKernels[] = {
#if defined(__x86_64__)
    {"vpclmul", [] { return cpu_has_vpclmul() && cpu_has_pclmul(); }, ghash_absorb_vpclmul},
    {"pclmul", cpu_has_pclmul, ghash_absorb_pclmul},
#elif defined(__aarch64__)
    {"pmull", cpu_has_pmull, ghash_absorb_pmull},
#endif
    {"portable", [] { return true; }, ghash_absorb_portable},
};

} // namespace

std::span<const GhashRow> ghash_kernels() {
    return kKernels;
}

} // namespace wbkit
