#include "support/scratch.h"

#include <stdlib.h>

#include "support/secret.h"

namespace wbkit {

void ScratchBuffer::allocate(uint64_t size) {
    if (size > PTRDIFF_MAX) {
        return;
    }
    size_ = static_cast<size_t>(size);
    // malloc(0) may answer null, which would read as "out of memory".
    data_ = static_cast<uint8_t *>(malloc(size_ == 0 ? 1 : size_));
}

ScratchBuffer::~ScratchBuffer() {
    if (data_ != nullptr) {
        wipe(data_, size_);
        free(data_);
    }
}

} // namespace wbkit
