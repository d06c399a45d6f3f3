#include "aes/gcm.h"

#include <string.h>

#include <algorithm>

#include "aes/block.h"
#include "aes/gcm_limits.h"
#include "aes/ghash.h"
#include "modes/counter_block.h"
#include "modes/padded_message.h"
#include "modes/stream.h"
#include "quen/aes.h"
#include "quen/status.h"
#include "support/secret.h"

namespace wbkit {
namespace {

// The encryption of a block of zeros.
class HashSubkey {
  public:
    explicit HashSubkey(const BlockCipher &cipher) { cipher.encrypt(h_.data(), h_.data(), 1); }
    [[nodiscard]] const uint8_t *data() const { return h_.data(); }

  private:
    SecretBytes<kBlockSize> h_;
};

// Text and ciphertext go together through the first-level cache.
constexpr size_t kPieceSize = 2 * kBatchBlocks * kBlockSize;

bool overlap(const uint8_t *a, const uint8_t *b, size_t len) {
    const auto distance = reinterpret_cast<uintptr_t>(a) - reinterpret_cast<uintptr_t>(b);
    return distance < len || 0 - distance < len;
}

// Where to read the text from: `in`, or `out` with a copy of it if writing there would change what is yet to be read.
const uint8_t *safe_input(const uint8_t *in, uint8_t *out, size_t len) {
    if (len == 0 || !overlap(in, out, len)) {
        return in;
    }
    memmove(out, in, len);
    return out;
}

// One message under way: the additional data is absorbed, the text comes.
class Gcm {
  public:
    Gcm(const BlockCipher &cipher, const GcmContext &context) : Gcm(cipher, context, HashSubkey(cipher)) {}

    // Absorbs the ciphertext, too.
    void encrypt(const uint8_t *in, uint8_t *out, size_t len) {
        in = safe_input(in, out, len);
        for (size_t done = 0; done < len; done += kPieceSize) {
            const size_t piece = std::min(kPieceSize, len - done);
            ctr_crypt(cipher_, counter_, in + done, out + done, piece);
            hash_.absorb(out + done, piece);
        }
    }

    void absorb(const uint8_t *ciphertext, size_t len) { hash_.absorb(ciphertext, len); }

    void decrypt(const uint8_t *in, uint8_t *out, size_t len) {
        ctr_crypt(cipher_, counter_, safe_input(in, out, len), out, len);
    }

    // When the whole ciphertext is absorbed.
    void make_tag(size_t len, uint8_t *tag) {
        hash_.absorb_lengths(aad_len_, len);
        SecretBytes<kBlockSize> sum;
        hash_.finish(sum.data());
        ctr_crypt(cipher_, tag_counter_.data(), sum.data(), tag, kBlockSize);
    }

  private:
    Gcm(const BlockCipher &cipher, const GcmContext &context, const HashSubkey &h)
        : hash_(h.data()), cipher_(cipher), aad_len_(context.aad_len), counter_(make_j0(context, h)) {
        counter_.write(tag_counter_.data(), 1); // the text begins with the next
        hash_.absorb(context.aad, context.aad_len);
    }

    const uint8_t *make_j0(const GcmContext &context, const HashSubkey &h) {
        prepare_j0(context.iv, context.iv_len, h.data(), tag_counter_.data());
        return tag_counter_.data();
    }

    Ghash hash_;
    const BlockCipher &cipher_;
    uint64_t aad_len_;
    // With an IV of which it was hashed, J0 tells the hash subkey: a secret.
    SecretBytes<kBlockSize> tag_counter_;
    CounterBlock counter_;
};

// Both directions name the encryption: intended.
constexpr char kOp[] = "en_aes_gcm,";

// What both directions ask first. 0 if the message may be processed.
int32_t check_message(KeySource &key, const GcmMessage &message) {
    if (message.tag_len > kGcmTagSize) {
        return WBKIT_REFUSED;
    }
    return load_key(kAes, key, kOp) ? WBKIT_OK : WBKIT_NO_TABLES;
}

int32_t check_lengths(const GcmContext &context, uint64_t len) {
    if (len > kLongestMessage || context.iv_len > kLongestGcmPart || context.aad_len > kLongestGcmPart) {
        log_gcm_too_long();
        return WBKIT_NO_MEMORY;
    }
    return WBKIT_OK;
}

} // namespace

void gcm_encrypt(const BlockCipher &cipher, const GcmContext &context, const uint8_t *in, uint8_t *out, size_t len,
                 uint8_t tag[16]) {
    Gcm gcm(cipher, context);
    gcm.encrypt(in, out, len);
    gcm.make_tag(len, tag);
}

bool gcm_decrypt(const BlockCipher &cipher, const GcmContext &context, const uint8_t *in, uint8_t *out, size_t len,
                 const uint8_t *tag, size_t tag_len) {
    Gcm gcm(cipher, context);
    SecretBytes<kGcmTagSize> expected;
    gcm.absorb(in, len);
    gcm.make_tag(len, expected.data());
    if (!equal_in_constant_time(expected.data(), tag, tag_len)) {
        if (len != 0) {
            memset(out, 0, len);
        }
        return false;
    }
    gcm.decrypt(in, out, len);
    return true;
}

int32_t run_gcm_encrypt(KeySource &key, const GcmMessage &message, uint8_t tag[16]) {
    int32_t status = check_message(key, message);
    if (status == WBKIT_OK) {
        status = check_lengths(message.context, message.in_len);
    }
    if (status != WBKIT_OK) {
        return status;
    }
    const auto len = static_cast<size_t>(message.in_len);
    gcm_encrypt(cipher_of(kAes, key.fetch()), message.context, message.in, message.out, len, tag);
    if (message.tag_len != 0) {
        // The tag may have been made where it goes.
        memmove(message.out + len, tag, static_cast<size_t>(message.tag_len));
    }
    *message.out_len = static_cast<int64_t>(message.in_len + message.tag_len);
    return WBKIT_OK;
}

int32_t run_gcm_decrypt(KeySource &key, const GcmMessage &message, const uint8_t *tag) {
    int32_t status = check_message(key, message);
    if (status == WBKIT_OK) {
        status = message.in_len < message.tag_len ? static_cast<int32_t>(WBKIT_TAG_MISMATCH)
                                                  : check_lengths(message.context, message.in_len - message.tag_len);
    }
    if (status != WBKIT_OK) {
        return status;
    }
    const auto len = static_cast<size_t>(message.in_len - message.tag_len);
    // The length is stored for a wrong tag too: so many bytes were zeroed.
    *message.out_len = static_cast<int64_t>(len);
    const bool right = gcm_decrypt(cipher_of(kAes, key.fetch()), message.context, message.in, message.out, len, tag,
                                   static_cast<size_t>(message.tag_len));
    return right ? WBKIT_OK : WBKIT_TAG_MISMATCH;
}

} // namespace wbkit

int32_t wb_aes_gcm_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *iv, uint64_t iv_len,
                           const uint8_t *aad, uint64_t aad_len, uint8_t tag[16], uint64_t tag_len, uint8_t *out,
                           int64_t *out_len, const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_gcm_encrypt(key, {in, in_len, {iv, iv_len, aad, aad_len}, tag_len, out, out_len}, tag);
}

int32_t wb_aes_gcm_decrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *iv, uint64_t iv_len,
                           const uint8_t *aad, uint64_t aad_len, const uint8_t tag[16], uint64_t tag_len, uint8_t *out,
                           int64_t *out_len, const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_gcm_decrypt(key, {in, in_len, {iv, iv_len, aad, aad_len}, tag_len, out, out_len}, tag);
}
