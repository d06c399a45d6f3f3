#include "modes/block_cipher.h"

#include "support/kernel.h"

namespace wbkit {

BlockKernel choose_kernel(std::span<const KernelRow> rows) {
    return choose_row(rows).encrypt;
}

} // namespace wbkit
