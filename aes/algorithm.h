// The numbers that stand for an AES key's size, in get_aes_alg and in CMS messages.
#pragma once

#include <stdint.h>

#include "quen/tables.h"

namespace wbkit {

// Not the numbering of the message schema's CipherAlg, in which 11 is AES_256_CFB: intended.
constexpr uint32_t kAes128 = 17;
constexpr uint32_t kAes192 = 14;
constexpr uint32_t kAes256 = 11;

// By the key's round count; for one that is not AES's, kAes128 after a line in the log that names `wbid`.
uint32_t aes_algorithm_number(const tb_entry &key, const char *wbid);

} // namespace wbkit
