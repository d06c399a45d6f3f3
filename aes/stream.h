// The six AES mode functions as rows, for keys that are already at hand.
#pragma once

#include "modes/padded_message.h"

namespace wbkit {

struct StreamFunction {
    decltype(&encrypt_message) direction;
    StreamMode mode;
    const char *op;        // as the load message names it
    const char *no_memory; // logged when memory runs out; a decryption has its encryption's text
};

// The missing comma is intended: this function alone logs it so.
inline constexpr StreamFunction kEncryptCfb{encrypt_message, cfb_encrypt, "en_aes_cfb", "ERR: malloc failed!"};
inline constexpr StreamFunction kDecryptCfb{decrypt_message, cfb_decrypt, "de_aes_cfb,", "ERR: malloc failed!"};
inline constexpr StreamFunction kEncryptOfb{encrypt_message, ofb_crypt, "en_aes_ofb,", "[error]: malloc failed!"};
inline constexpr StreamFunction kDecryptOfb{decrypt_message, ofb_crypt, "de_aes_ofb,", "[error]: malloc failed!"};
inline constexpr StreamFunction kEncryptCtr{encrypt_message, ctr_crypt, "en_aes_ctr,", "[error]: malloc failed!"};
inline constexpr StreamFunction kDecryptCtr{decrypt_message, ctr_crypt, "de_aes_ctr,", "[error]: malloc failed!"};

// Runs a row with the key's tables, if they are usable. `wbid` stands in the message if they are not.
int32_t run_stream(const StreamFunction &function, const tb_entry &key, const char *wbid, const Message &message);

} // namespace wbkit
