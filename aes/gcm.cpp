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

// What GCM encrypts to begin with: zeros, which make the hash subkey, the pre-counter block J0, which makes the tag's
// mask, and the counter blocks of a message that is short enough for the rest of one call of the kernel.
class FirstBlocks {
  public:
    static constexpr size_t kLongestText = 14 * kBlockSize;

    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): what is used is written first; more would cost time
    explicit FirstBlocks(size_t text_len) : count_(2 + (text_len <= kLongestText ? blocks_of(text_len) : 0)) {
        memset(h(), 0, kBlockSize);
    }
    ~FirstBlocks() { wipe(bytes_, count_ * kBlockSize); }
    FirstBlocks(const FirstBlocks &) = delete;
    FirstBlocks &operator=(const FirstBlocks &) = delete;
    FirstBlocks(FirstBlocks &&) = delete;
    FirstBlocks &operator=(FirstBlocks &&) = delete;

    [[nodiscard]] uint8_t *h() { return bytes_; }
    [[nodiscard]] uint8_t *mask() { return bytes_ + kBlockSize; }
    // That of the whole text, if it is short.
    [[nodiscard]] bool has_keystream() const { return count_ != 2; }
    [[nodiscard]] uint8_t *keystream() { return bytes_ + 2 * kBlockSize; }

    // J0, as long as nothing is encrypted. Only an IV that is hashed for it needs the subkey beforehand.
    const uint8_t *make_j0(const BlockCipher &cipher, const GcmContext &context) {
        if (context.iv_len != kPlainIvLen) {
            cipher.encrypt(h(), h(), 1);
            has_subkey_ = true;
        }
        prepare_j0(context.iv, context.iv_len, h(), mask());
        return mask();
    }

    // Leaves the counter behind J0 and the counter blocks here.
    void encrypt(const BlockCipher &cipher, CounterBlock &counter) {
        counter.write(mask(), count_ - 1);
        uint8_t *from = has_subkey_ ? mask() : h();
        cipher.encrypt(from, from, has_subkey_ ? count_ - 1 : count_);
    }

  private:
    size_t count_;
    bool has_subkey_ = false;
    alignas(16) uint8_t bytes_[2 * kBlockSize + kLongestText];
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
    Gcm(const BlockCipher &cipher, const GcmContext &context, size_t text_len)
        : cipher_(cipher), aad_len_(context.aad_len), first_(text_len), counter_(first_.make_j0(cipher, context)),
          hash_(encrypt_first()) {
        hash_.absorb(context.aad, context.aad_len);
    }

    // Absorbs the ciphertext, too.
    void encrypt(const uint8_t *in, uint8_t *out, size_t len) {
        in = safe_input(in, out, len);
        size_t done = 0;
        for (; len - done > kPieceSize; done += kPieceSize) {
            crypt(in + done, out + done, kPieceSize);
            hash_.absorb(out + done, kPieceSize);
        }
        crypt(in + done, out + done, len - done);
        hash_.absorb_last(out + done, len - done, aad_len_, len);
    }

    void absorb(const uint8_t *ciphertext, size_t len) { hash_.absorb_last(ciphertext, len, aad_len_, len); }

    void decrypt(const uint8_t *in, uint8_t *out, size_t len) { crypt(safe_input(in, out, len), out, len); }

    // When the ciphertext is absorbed.
    void make_tag(uint8_t *tag) {
        SecretBytes<kBlockSize> sum;
        hash_.finish(sum.data());
        xor_keystream(tag, sum.data(), first_.mask(), kBlockSize);
    }

  private:
    const uint8_t *encrypt_first() {
        first_.encrypt(cipher_, counter_);
        return first_.h();
    }

    // The next `len` bytes.
    void crypt(const uint8_t *in, uint8_t *out, size_t len) {
        if (first_.has_keystream()) {
            xor_keystream(out, in, first_.keystream(), len);
        } else {
            ctr_crypt(cipher_, counter_, in, out, len);
        }
    }

    const BlockCipher &cipher_;
    uint64_t aad_len_;
    FirstBlocks first_;
    CounterBlock counter_;
    Ghash hash_;
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
    Gcm gcm(cipher, context, len);
    gcm.encrypt(in, out, len);
    gcm.make_tag(tag);
}

bool gcm_decrypt(const BlockCipher &cipher, const GcmContext &context, const uint8_t *in, uint8_t *out, size_t len,
                 const uint8_t *tag, size_t tag_len) {
    Gcm gcm(cipher, context, len);
    SecretBytes<kGcmTagSize> expected;
    gcm.absorb(in, len);
    gcm.make_tag(expected.data());
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
