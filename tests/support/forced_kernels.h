// Kernels chosen by a test instead of by the CPU.
#pragma once

#include <cstdlib>

namespace test {

// Sets of kernels that name every row. A name that the CPU cannot use leaves the choice to the library.
inline constexpr const char *kKernelSets[] = {
    "portable", "ssse3,pclmul,sha-ni", "avx2,vpclmul", "vbmi", "gfni", "neon,pmull,sha2",
};

class ForcedKernels {
  public:
    explicit ForcedKernels(const char *names) { setenv("WBKIT_KERNELS", names, 1); }
    ~ForcedKernels() { unsetenv("WBKIT_KERNELS"); }
    ForcedKernels(const ForcedKernels &) = delete;
    ForcedKernels &operator=(const ForcedKernels &) = delete;
};

} // namespace test
