// The twelve mode functions as rows.
#pragma once

#include "modes/cipher_family.h"
#include "modes/padded_message.h"

namespace wbkit {

struct StreamFunction {
    const CipherFamily &family;
    bool (*accepts)(const Message &message); // asked before the key
    decltype(&encrypt_message) direction;
    StreamMode mode;
    const char *op;        // as the load message names it
    const char *no_memory; // logged when memory runs out; a decryption has its encryption's text
};

// Runs a row over a message. Returns the status that quen/aes.h and quen/sm4.h state.
int32_t run_stream(const StreamFunction &function, KeySource &key, const Message &message);

} // namespace wbkit
