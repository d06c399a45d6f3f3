// The library's kernels are those that the environment names, where this stands in place of its own function.

#include <cstdlib>

#include "support/kernel.h"

const char *wbkit::forced_kernels() {
    return std::getenv("WBKIT_KERNELS"); // set before the program begins, or by its only thread
}
