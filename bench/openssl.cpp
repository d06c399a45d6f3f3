// OpenSSL beside us. Its contexts are made once: its calls start with a key schedule, which ours have no like of.
//
// "Table AES" is AES_encrypt, which looks tables up whatever instructions the CPU has, under OpenSSL's own loops for
// the modes. Switching the AES instructions off would act on the whole process and choose vector code instead.

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/aes.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/modes.h>

#include <cstring>
#include <memory>
#include <stdexcept>

#include "case.h"
#include "keys.h"
#include "literal.h"

namespace bench {
namespace {

template <auto Free>
struct Deleter {
    template <typename T>
    void operator()(T *object) const {
        Free(object);
    }
};
template <typename T, auto Free>
std::shared_ptr<T> own(T *object) {
    if (object == nullptr) {
        throw std::runtime_error("OpenSSL lacks an algorithm");
    }
    return {object, Deleter<Free>()};
}

void check(int result) {
    if (result != 1) {
        throw std::runtime_error("OpenSSL failed");
    }
}

std::shared_ptr<EVP_CIPHER_CTX> context(const char *algorithm, bool encrypts) {
    const auto cipher = own<EVP_CIPHER, EVP_CIPHER_free>(EVP_CIPHER_fetch(nullptr, algorithm, nullptr));
    auto made = own<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>(EVP_CIPHER_CTX_new());
    check(EVP_CipherInit_ex2(made.get(), cipher.get(), Keys::kKey, Keys::kIv, encrypts ? 1 : 0, nullptr));
    return made;
}

void crypt(EVP_CIPHER_CTX *made, const uint8_t *in, uint8_t *out, size_t len) {
    int written = 0;
    check(EVP_CipherInit_ex2(made, nullptr, nullptr, Keys::kIv, -1, nullptr));
    check(EVP_CipherUpdate(made, out, &written, in, static_cast<int>(len)));
}

void add_ciphers(std::vector<Case> &cases) {
    constexpr struct {
        const char *operation;
        const char *algorithm;
        bool encrypts;
    } kCiphers[] = {
        {kCtr, "AES-128-CTR", true},       {kCfbDecrypt, "AES-128-CFB", false}, {kCfbEncrypt, "AES-128-CFB", true},
        {kOfb, "AES-128-OFB", true},       {kSm4Ctr, "SM4-CTR", true},          {kSm4CfbDecrypt, "SM4-CFB", false},
        {kSm4CfbEncrypt, "SM4-CFB", true}, {kSm4Ofb, "SM4-OFB", true},
    };
    for (const auto &row : kCiphers) {
        cases.push_back(
            {row.operation, kOpenssl, [made = context(row.algorithm, row.encrypts)](auto *in, auto *out, size_t len) {
                 crypt(made.get(), in, out, len);
             }});
    }
    cases.push_back({kGcm, kOpenssl, [made = context("AES-128-GCM", true)](auto *in, auto *out, size_t len) {
                         crypt(made.get(), in, out, len);
                         int written = 0;
                         check(EVP_CipherFinal_ex(made.get(), out + len, &written));
                         check(EVP_CIPHER_CTX_ctrl(made.get(), EVP_CTRL_AEAD_GET_TAG, 16, out + len));
                     }});
}

void encrypt_block(const uint8_t *in, uint8_t *out, const void *key) {
    AES_encrypt(in, out, static_cast<const AES_KEY *>(key));
}

template <bool encrypts>
void cfb(const uint8_t *in, uint8_t *out, size_t len, const AES_KEY *key, uint8_t *iv, uint8_t * /*keystream*/) {
    int used = 0;
    CRYPTO_cfb128_encrypt(in, out, len, key, iv, &used, encrypts ? 1 : 0, encrypt_block);
}

void ofb(const uint8_t *in, uint8_t *out, size_t len, const AES_KEY *key, uint8_t *iv, uint8_t * /*keystream*/) {
    int used = 0;
    CRYPTO_ofb128_encrypt(in, out, len, key, iv, &used, encrypt_block);
}

void ctr(const uint8_t *in, uint8_t *out, size_t len, const AES_KEY *key, uint8_t *iv, uint8_t *keystream) {
    unsigned used = 0;
    CRYPTO_ctr128_encrypt(in, out, len, key, iv, keystream, &used, encrypt_block);
}

void add_table_aes(std::vector<Case> &cases) {
    constexpr struct {
        const char *operation;
        decltype(&ctr) run;
    } kModes[] = {{kCtr, ctr}, {kCfbDecrypt, cfb<false>}, {kCfbEncrypt, cfb<true>}, {kOfb, ofb}};
    AES_KEY key;
    if (AES_set_encrypt_key(Keys::kKey, 128, &key) != 0) {
        throw std::runtime_error("OpenSSL took no key");
    }
    for (const auto &mode : kModes) {
        cases.push_back({mode.operation, kOpensslTables, [key, run = mode.run](auto *in, auto *out, size_t len) {
                             uint8_t iv[16];
                             uint8_t keystream[16];
                             memcpy(iv, Keys::kIv, sizeof iv);
                             run(in, out, len, &key, iv, keystream);
                         }});
    }
}

// GHASH is what GMAC adds to an encrypted block.
void add_gmac(std::vector<Case> &cases, const Keys &keys) {
    uint8_t j0[16] = {};
    memcpy(j0, Keys::kIv, Keys::kGcmIvLen);
    j0[15] = 1;
    literal::aes_block(j0, keys.aes());
    std::array<uint8_t, 16> mask{};
    memcpy(mask.data(), j0, sizeof j0);

    const auto mac = own<EVP_MAC, EVP_MAC_free>(EVP_MAC_fetch(nullptr, "GMAC", nullptr));
    auto made = own<EVP_MAC_CTX, EVP_MAC_CTX_free>(EVP_MAC_CTX_new(mac.get()));
    char cipher[] = "AES-128-GCM";
    const OSSL_PARAM with_cipher[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_CIPHER, cipher, 0),
                                      OSSL_PARAM_construct_end()};
    check(EVP_MAC_init(made.get(), Keys::kKey, sizeof Keys::kKey, with_cipher));
    cases.push_back({kGhash, kOpenssl, [made, mask](auto *in, auto *out, size_t len) {
                         uint8_t iv[Keys::kGcmIvLen];
                         memcpy(iv, Keys::kIv, sizeof iv);
                         const OSSL_PARAM with_iv[] = {
                             OSSL_PARAM_construct_octet_string(OSSL_MAC_PARAM_IV, iv, sizeof iv),
                             OSSL_PARAM_construct_end()};
                         check(EVP_MAC_init(made.get(), nullptr, 0, with_iv));
                         check(EVP_MAC_update(made.get(), in, len));
                         size_t written = 0;
                         check(EVP_MAC_final(made.get(), out, &written, 16));
                         for (size_t i = 0; i < 16; ++i) {
                             out[i] ^= mask[i];
                         }
                     }});
}

void add_sha256(std::vector<Case> &cases) {
    const auto digest = own<EVP_MD, EVP_MD_free>(EVP_MD_fetch(nullptr, "SHA256", nullptr));
    auto made = own<EVP_MD_CTX, EVP_MD_CTX_free>(EVP_MD_CTX_new());
    cases.push_back({kSha256, kOpenssl, [digest, made](auto *in, auto *out, size_t len) {
                         check(EVP_DigestInit_ex2(made.get(), digest.get(), nullptr));
                         check(EVP_DigestUpdate(made.get(), in, len));
                         check(EVP_DigestFinal_ex(made.get(), out, nullptr));
                     }});
}

} // namespace

void add_openssl_cases(std::vector<Case> &cases, const Keys &keys) {
    add_ciphers(cases);
    add_table_aes(cases);
    add_gmac(cases, keys);
    add_sha256(cases);
}

} // namespace bench
