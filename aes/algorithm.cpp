#include "aes/algorithm.h"

#include "quen/aes.h"
#include "support/log.h"

namespace wbkit {

uint32_t aes_algorithm_number(const tb_entry &key, const char *wbid) {
    switch (key.Nr) {
    case 10:
        return kAes128;
    case 12:
        return kAes192;
    case 14:
        return kAes256;
    default:
        WBKIT_LOG_ERROR("FAIL: can't en/decrypt, %s\n", text_or_null(wbid));
        return kAes128;
    }
}

} // namespace wbkit

uint32_t get_aes_alg(const char *dir, const char *wbid, const char *keyid, int32_t version) {
    // The record's status is not asked: a key that did not load has no rounds, and is answered for that.
    return wbkit::aes_algorithm_number(get_tb_entry(dir, wbid, keyid, version), wbid);
}
