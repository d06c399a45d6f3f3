#include "modes/padded_message.h"

#include <iterator>

#include "quen/padding.h"
#include "quen/status.h"
#include "support/log.h"
#include "support/scratch.h"

namespace wbkit {
namespace {

struct PaddingScheme {
    const uint8_t *(*pad)(const uint8_t *in, uint64_t in_len, uint8_t *out, uint64_t out_len);
    int32_t (*unpad)(const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t out_len);
};

// By padding mode.
constexpr PaddingScheme kSchemes[] = {
    {nullptr, nullptr}, // pads nothing
    {PKCS5Padding, PKCS5unPadding},
    {ISO10126Padding, ISO10126unPadding},
};

const PaddingScheme *find_scheme(int32_t padding) {
    const auto index = static_cast<uint32_t>(padding);
    return index < std::size(kSchemes) ? &kSchemes[index] : nullptr;
}

constexpr uint64_t padded_len(uint64_t in_len) {
    return in_len + kBlockSize - in_len % kBlockSize;
}

int32_t out_of_memory(const char *text) {
    WBKIT_LOG_ERROR("%s", text);
    return WBKIT_NO_MEMORY;
}

// Copies the message into the buffer, pads it there and returns its length afterwards.
uint64_t pad_into(uint8_t *buffer, const Message &message, const PaddingScheme &scheme) {
    if (scheme.pad == nullptr) {
        NoPadding(message.in, message.in_len, buffer);
        return message.in_len;
    }
    const uint64_t padded = padded_len(message.in_len);
    scheme.pad(message.in, message.in_len, buffer, padded);
    return padded;
}

// Copies the text without its padding to the message's output. The length is stored also when the padding is bad, or
// its mode unknown: intended.
int32_t unpad_from(const uint8_t *buffer, const Message &message) {
    const auto in_len = static_cast<int64_t>(message.in_len);
    const PaddingScheme *scheme = find_scheme(message.padding);
    if (scheme != nullptr && scheme->unpad == nullptr) {
        NoPadding(buffer, message.in_len, message.out);
        *message.out_len = in_len;
        return WBKIT_OK;
    }
    const int64_t remaining = in_len - buffer[in_len - 1];
    const int32_t status = scheme == nullptr ? static_cast<int32_t>(WBKIT_REFUSED)
                                             : scheme->unpad(buffer, message.in_len, message.out, remaining);
    *message.out_len = remaining;
    return status;
}

} // namespace

int32_t encrypt_message(const BlockCipher &cipher, StreamMode mode, const Message &message, const char *no_memory) {
    const PaddingScheme *scheme = find_scheme(message.padding);
    if (scheme == nullptr) {
        return WBKIT_REFUSED;
    }
    if (message.in_len > kLongestMessage) {
        return out_of_memory(no_memory);
    }
    ScratchBuffer buffer(padded_len(message.in_len));
    if (!buffer) {
        return out_of_memory(no_memory);
    }
    const uint64_t len = pad_into(buffer.data(), message, *scheme);
    mode(cipher, message.iv, buffer.data(), message.out, static_cast<size_t>(len));
    *message.out_len = static_cast<int64_t>(len);
    return WBKIT_OK;
}

int32_t decrypt_message(const BlockCipher &cipher, StreamMode mode, const Message &message, const char *no_memory) {
    if (message.in_len == 0) {
        return WBKIT_REFUSED;
    }
    if (message.in_len > kLongestMessage) {
        return out_of_memory(no_memory);
    }
    ScratchBuffer buffer(message.in_len);
    if (!buffer) {
        return out_of_memory(no_memory);
    }
    mode(cipher, message.iv, message.in, buffer.data(), static_cast<size_t>(message.in_len));
    return unpad_from(buffer.data(), message);
}

} // namespace wbkit
