#include "support/secret.h"

#include <string.h>

namespace wbkit {

// Not inlined where the size is known: GCC would write a string instruction there, which is slow to start.
[[gnu::noinline]] void wipe(void *data, size_t size) {
    if (size == 0) {
        return;
    }
    // Calls of a function with such a statement stay, whatever becomes of the memory. It stands first, so that this
    // ends with a jump to memset: a call would have to push a register, which may hold a secret.
    asm volatile("" : : : "memory");
    memset(data, 0, size);
}

bool equal_in_constant_time(const void *a, const void *b, size_t size) {
    const auto *left = static_cast<const uint8_t *>(a);
    const auto *right = static_cast<const uint8_t *>(b);
    unsigned difference = 0;
    for (size_t i = 0; i < size; ++i) {
        difference |= static_cast<unsigned>(left[i] ^ right[i]);
        // The compiler must not know when the result is settled, or it could leave the loop then.
        asm volatile("" : "+r"(difference));
    }
    const bool equal = difference == 0;
    clear_registers();
    return equal;
}

int32_t order_in_constant_time(const void *a, const void *b, size_t size) {
    const auto *left = static_cast<const uint8_t *>(a);
    const auto *right = static_cast<const uint8_t *>(b);
    int32_t order = 0;
    // From the end, so that the first difference has the last word.
    for (size_t i = size; i-- > 0;) {
        const int32_t difference = left[i] - right[i];
        // All ones if they differ: then the difference or its opposite is negative.
        const int32_t differs = (difference | -difference) >> 31;
        order = (difference & differs) | (order & ~differs);
        asm volatile("" : "+r"(order)); // as above
    }
    clear_registers();
    return order;
}

} // namespace wbkit
