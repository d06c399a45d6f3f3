#include "cms/envelope.h"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "aes/algorithm.h"
#include "aes/stream.h"
#include "cms/message.h"
#include "quen/status.h"
#include "sm4/stream.h"
#include "support/log.h"
#include "support/scratch.h"

namespace wbkit {
namespace {

// The key's size, whatever the mode, GCM included: intended.
int32_t aes_cipheralg(KeySource &key) {
    return static_cast<int32_t>(aes_algorithm_number(key.fetch(), key.wbid()));
}

// Numbers that the schema does not name: intended.
template <int32_t number>
int32_t sm4_cipheralg(KeySource & /*key*/) {
    return number;
}

// By padding mode; the schema does not name the last one.
constexpr int32_t kPaddingNumbers[] = {PADDING_MODE__IRVO_NO_PADDING, PADDING_MODE__IRVO_PKCS7_PADDING, 9};

int32_t padding_mode_of(int32_t number) {
    const auto *const end = std::end(kPaddingNumbers);
    const auto *const found = std::find(std::begin(kPaddingNumbers), end, number);
    // A number that means nothing here means no padding.
    return found == end ? 0 : static_cast<int32_t>(found - std::begin(kPaddingNumbers));
}

// The ciphertext on its way into a message.
class Content {
  public:
    explicit Content(uint64_t room) : bytes_(room) {}

    explicit operator bool() const { return static_cast<bool>(bytes_); }
    uint8_t *data() { return bytes_.data(); }
    int64_t *len() { return &len_; }
    [[nodiscard]] FieldBytes field() const { return {bytes_.data(), len_}; }

  private:
    ScratchBuffer bytes_;
    int64_t len_ = 0;
};

int32_t log_failure(int32_t status) {
    WBKIT_LOG_ERROR("[error]: %d", status);
    return status;
}

int32_t pack(const MessageFields &fields, const PackedOutput &out) {
    const int32_t status = pack_message(fields, out.data, out.len);
    return status == WBKIT_OK ? status : log_failure(status);
}

// A message to decrypt; empty, with a line in the log, if it is none or its tag is longer than any.
class ReceivedMessage {
  public:
    explicit ReceivedMessage(const PackedInput &packed)
        : message_(packed.data, packed.len), good_(message_ && message_->tag.len <= kGcmTagSize) {
        if (!good_) {
            log_failure(WBKIT_UNPACK_FAILED);
        }
    }

    explicit operator bool() const { return good_; }
    const CMSEncryptedData *operator->() const { return &*message_; }

  private:
    UnpackedMessage message_;
    bool good_;
};

} // namespace

const Envelope kAesCfbEnvelope{kAesEncryptCfb, kAesDecryptCfb, aes_cipheralg};
const Envelope kAesOfbEnvelope{kAesEncryptOfb, kAesDecryptOfb, aes_cipheralg};
const Envelope kAesCtrEnvelope{kAesEncryptCtr, kAesDecryptCtr, aes_cipheralg};
const Envelope kSm4CfbEnvelope{kSm4EncryptCfb, kSm4DecryptCfb, sm4_cipheralg<18>};
const Envelope kSm4OfbEnvelope{kSm4EncryptOfb, kSm4DecryptOfb, sm4_cipheralg<19>};
const Envelope kSm4CtrEnvelope{kSm4EncryptCtr, kSm4DecryptCtr, sm4_cipheralg<20>};

int32_t encrypt_envelope(const Envelope &envelope, KeySource &key, const EnvelopeText &text, const PackedOutput &out) {
    // A text that is too long gets no room: its encryption refuses it without touching any.
    Content content(text.in_len <= kLongestMessage ? text.in_len + kBlockSize : 0);
    if (!content) {
        // What an SM4 mode says of an output that is null.
        return WBKIT_BAD_ARGUMENTS;
    }
    const int32_t status =
        run_stream(envelope.encrypt, key, {text.iv, text.in, text.in_len, content.data(), content.len(), text.padding});
    if (status != WBKIT_OK) {
        return status;
    }
    return pack({.cipheralg = envelope.cipheralg(key),
                 .padding = kPaddingNumbers[text.padding],
                 .key = text.carried,
                 .aad = {},
                 .tag = {},
                 .iv = {text.iv, kBlockSize},
                 .content = content.field()},
                out);
}

int32_t encrypt_gcm_envelope(KeySource &key, const GcmEnvelopeText &text, const PackedOutput &out) {
    if (text.tag_len > kGcmTagSize) {
        return WBKIT_REFUSED;
    }
    if (text.in_len > kLongestMessage) {
        return WBKIT_BAD_ARGUMENTS;
    }
    Content content(text.in_len + text.tag_len);
    if (!content) {
        return WBKIT_BAD_ARGUMENTS;
    }
    // With a key that cannot be used the message is packed all the same, without content: intended. What else is
    // refused there, parts that are too long, is refused by the packer too.
    static_cast<void>(run_gcm_encrypt(
        key, {text.in, text.in_len, text.context, text.tag_len, content.data(), content.len()}, text.tag));
    return pack({.cipheralg = aes_cipheralg(key),
                 .padding = PADDING_MODE__IRVO_NO_PADDING,
                 .key = text.carried,
                 .aad = FieldBytes::of(text.context.aad, text.context.aad_len),
                 .tag = FieldBytes::of(text.tag, text.tag_len),
                 .iv = FieldBytes::of(text.context.iv, text.context.iv_len),
                 .content = content.field()},
                out);
}

int32_t decrypt_envelope(const Envelope &envelope, KeySource &key, const PackedInput &packed, uint8_t *out,
                         int64_t *out_len) {
    const ReceivedMessage message(packed);
    if (!message) {
        return WBKIT_UNPACK_FAILED;
    }
    uint8_t iv[kBlockSize] = {};
    if (message->iv.len != 0) {
        memcpy(iv, message->iv.data, std::min(message->iv.len, kBlockSize));
    }
    const ProtobufCBinaryData &content = message->encryptedcontent;
    return run_stream(envelope.decrypt, key,
                      {iv, content.data, content.len, out, out_len, padding_mode_of(number_in(message->padding))});
}

int32_t decrypt_gcm_envelope(KeySource &key, const PackedInput &packed, uint8_t *out, int64_t *out_len) {
    // A message without its tag, or with next to nothing of one, is not authenticated.
    constexpr size_t kShortestTag = 4;
    const ReceivedMessage message(packed);
    if (!message) {
        return WBKIT_UNPACK_FAILED;
    }
    if (message->tag.len < kShortestTag) {
        return WBKIT_TAG_MISMATCH;
    }
    const GcmContext context{message->iv.data, message->iv.len, message->aad.data, message->aad.len};
    const ProtobufCBinaryData &content = message->encryptedcontent;
    return run_gcm_decrypt(key, {content.data, content.len, context, message->tag.len, out, out_len},
                           message->tag.data);
}

} // namespace wbkit
