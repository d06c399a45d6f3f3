#include "modes/cipher_family.h"

#include "support/log.h"

namespace wbkit {

bool load_key(const CipherFamily &family, KeySource &key, const char *op) {
    if (family.usable(key.fetch())) {
        return true;
    }
    WBKIT_LOG_ERROR("ERR: %s load %s %s\n", op, family.tables, text_or_null(key.wbid()));
    return false;
}

BlockCipher cipher_of(const CipherFamily &family, const tb_entry &key) {
    return {key, choose_kernel(family.kernels())};
}

} // namespace wbkit
