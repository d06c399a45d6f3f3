// A whole message in a stream mode: pad and encrypt, or decrypt and unpad, through a scratch buffer.
#pragma once

#include "modes/stream.h"

namespace wbkit {

// Messages are no longer, so that padded lengths stay within a signed 32-bit number.
constexpr uint64_t kLongestMessage = INT32_MAX - kBlockSize;

// The arguments that the mode functions of both ciphers share, as quen/aes.h states them.
struct Message {
    const uint8_t *iv;
    const uint8_t *in;
    uint64_t in_len;
    uint8_t *out;
    int64_t *out_len;
    int32_t padding;
};

// Returns 0; -1 for an unknown padding mode; -100, after logging `no_memory`, if memory ran out or the length is too
// large. Nothing is read or written on failure.
int32_t encrypt_message(const BlockCipher &cipher, StreamMode mode, const Message &message, const char *no_memory);

// Returns 0; -1 for an empty message; -100 as above; with `*out_len` stored, -98 if the padding is bad and -1 for an
// unknown padding mode.
int32_t decrypt_message(const BlockCipher &cipher, StreamMode mode, const Message &message, const char *no_memory);

} // namespace wbkit
