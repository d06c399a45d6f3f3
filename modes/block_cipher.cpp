#include "modes/block_cipher.h"

namespace wbkit {

BlockKernel choose_kernel(std::span<const KernelRow> rows) {
    const KernelRow *row = rows.data();
    const KernelRow *last = row + rows.size() - 1;
    while (row != last && !row->usable()) {
        ++row;
    }
    return row->encrypt;
}

} // namespace wbkit
