// Secrets end where they are born: wiped memory and comparison in constant time.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace wbkit {

// Overwrites memory with zeros, also where a compiler sees no reader any more.
void wipe(void *data, size_t size);

// On 64-bit machines, clears the registers that a function need not keep: what is called next may push what is in them,
// as variadic functions do. On ARM64 these push vector registers too, if they take arguments.
[[gnu::always_inline]] inline void clear_registers() {
#if defined(__x86_64__)
    asm volatile("xorl %%eax, %%eax\n\txorl %%ecx, %%ecx\n\txorl %%edx, %%edx\n\t"
                 "xorl %%esi, %%esi\n\txorl %%edi, %%edi\n\txorl %%r8d, %%r8d\n\t"
                 "xorl %%r9d, %%r9d\n\txorl %%r10d, %%r10d\n\txorl %%r11d, %%r11d"
                 :
                 :
                 : "rax", "rcx", "rdx", "rsi", "rdi", "r8", "r9", "r10", "r11", "cc");
#elif defined(__aarch64__)
    asm volatile("mov x0, xzr\n\tmov x1, xzr\n\tmov x2, xzr\n\tmov x3, xzr\n\tmov x4, xzr\n\tmov x5, xzr\n\t"
                 "mov x6, xzr\n\tmov x7, xzr\n\tmov x8, xzr\n\tmov x9, xzr\n\tmov x10, xzr\n\tmov x11, xzr\n\t"
                 "mov x12, xzr\n\tmov x13, xzr\n\tmov x14, xzr\n\tmov x15, xzr\n\tmov x16, xzr\n\tmov x17, xzr\n\t"
                 "movi v0.2d, #0\n\tmovi v1.2d, #0\n\tmovi v2.2d, #0\n\tmovi v3.2d, #0\n\t"
                 "movi v4.2d, #0\n\tmovi v5.2d, #0\n\tmovi v6.2d, #0\n\tmovi v7.2d, #0"
                 :
                 :
                 : "x0", "x1", "x2", "x3", "x4", "x5", "x6", "x7", "x8", "x9", "x10", "x11", "x12", "x13", "x14", "x15",
                   "x16", "x17", "v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7");
#endif
}

// Overwrites the piece of the stack on which the functions that were just called worked: what their compiler put there
// that has no name to wipe it by. Called by their caller, into which they must not be inlined. They take at most `size`
// bytes, which depends on the compiler and its options: a test compares the stacks that operations leave. A stack
// protector's word above `stack`, and what aligns it, would not be overwritten.
template <size_t size = 512>
__attribute__((noinline, no_stack_protector)) void wipe_stack() {
#ifdef __OPTIMIZE__
    uint8_t stack[size];
#else
    uint8_t stack[size < 65536 ? 65536 : size]; // every value has a place of its own
#endif
    wipe(stack, sizeof stack);
    clear_registers();
}

// Compares without telling by its time where the first difference is.
bool equal_in_constant_time(const void *a, const void *b, size_t size);

// The same, but tells what differs: negative if the first byte that differs is smaller in `a`, positive if it is larger
// there, 0 if none differs.
int32_t order_in_constant_time(const void *a, const void *b, size_t size);

// Bytes that start as zeros and are wiped when their scope ends.
template <size_t N>
class SecretBytes {
  public:
    SecretBytes() = default;
    ~SecretBytes() { wipe(bytes_, N); }
    SecretBytes(const SecretBytes &) = delete;
    SecretBytes &operator=(const SecretBytes &) = delete;
    SecretBytes(SecretBytes &&) = delete;
    SecretBytes &operator=(SecretBytes &&) = delete;

    [[nodiscard]] uint8_t *data() { return bytes_; }
    [[nodiscard]] const uint8_t *data() const { return bytes_; }
    [[nodiscard]] constexpr size_t size() const { return N; }

  private:
    alignas(16) uint8_t bytes_[N] = {};
};

} // namespace wbkit
