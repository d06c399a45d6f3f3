// What the CPU that runs has, as far as kernels ask. The compiler's runtime finds it out when the library is loaded, so
// that asking costs a look into memory; CPUID itself would trap in a virtual machine. On ARM, the system tells every
// process what there is when it starts.
#pragma once

#if defined(__aarch64__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace wbkit {

#if defined(__x86_64__)

inline bool cpu_has_ssse3() {
    return __builtin_cpu_supports("ssse3");
}
inline bool cpu_has_avx2() {
    return __builtin_cpu_supports("avx2");
}
// With the byte permutations of VBMI, on registers of any width.
inline bool cpu_has_avx512_vbmi() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi");
}
inline bool cpu_has_gfni() {
    return __builtin_cpu_supports("gfni");
}
inline bool cpu_has_pclmul() {
    return __builtin_cpu_supports("pclmul") && cpu_has_ssse3();
}
// On 512-bit registers.
inline bool cpu_has_vpclmul() {
    return __builtin_cpu_supports("vpclmulqdq") && __builtin_cpu_supports("avx512f") &&
           __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
}
inline bool cpu_has_sha() {
#ifdef WBKIT_COMPILER_KNOWS_SHA
    return __builtin_cpu_supports("sha") && __builtin_cpu_supports("sse4.1");
#else
    return false; // this compiler cannot ask, and no other feature tells of it
#endif
}

#elif defined(__aarch64__)

// NEON is part of the architecture.
inline bool cpu_has_pmull() {
    return (getauxval(AT_HWCAP) & HWCAP_PMULL) != 0;
}
inline bool cpu_has_sha2() {
    return (getauxval(AT_HWCAP) & HWCAP_SHA2) != 0;
}

#endif

} // namespace wbkit
