#include "support/kernel.h"

namespace wbkit {

// What ships asks nobody. Tests and benchmarks link a function of their own instead.
const char *forced_kernels() {
    return nullptr;
}

} // namespace wbkit
