#include "hash/sha256_kernel.h"

#include "support/cpu.h"

namespace wbkit {
namespace {

constexpr Sha256Row kKernels[] = {
#if defined(__x86_64__)
    {"sha-ni", cpu_has_sha, sha256_compress_shani},
#elif defined(__aarch64__)
    {"sha2", cpu_has_sha2, sha256_compress_arm},
#endif
    {"portable", [] { return true; }, sha256_compress_portable},
};

} // namespace

std::span<const Sha256Row> sha256_kernels() {
    return kKernels;
}

} // namespace wbkit
