#include "builder/keys/clear_cipher.h"

#include <memory>

#include <fmt/format.h>
#include <openssl/evp.h>

#include "builder/error.h"

namespace wbtables {
namespace {

template <auto Free>
struct Freer {
    template <typename T>
    void operator()(T *object) const {
        Free(object);
    }
};
using CipherPtr = std::unique_ptr<EVP_CIPHER, Freer<EVP_CIPHER_free>>;
using ContextPtr = std::unique_ptr<EVP_CIPHER_CTX, Freer<EVP_CIPHER_CTX_free>>;

std::string cipher_name(Algorithm algorithm, ClearMode mode) {
    constexpr const char *kModes[] = {"ECB", "CTR", "CFB"};
    const char *const mode_name = kModes[static_cast<std::size_t>(mode)];
    return is_aes(algorithm) ? fmt::format("AES-{}-{}", row_of(algorithm).bits, mode_name)
                             : fmt::format("SM4-{}", mode_name);
}

} // namespace

std::vector<std::uint8_t> clear_encrypt(Algorithm algorithm, ClearMode mode, std::span<const std::uint8_t> key,
                                        std::span<const std::uint8_t> iv, std::span<const std::uint8_t> in) {
    const std::string name = cipher_name(algorithm, mode);
    const CipherPtr cipher(EVP_CIPHER_fetch(nullptr, name.c_str(), nullptr));
    const ContextPtr context(EVP_CIPHER_CTX_new());
    std::vector<std::uint8_t> out(in.size());
    int written = 0;
    // in.size() <= INT_MAX: the longest input is a few kilobytes.
    if (!cipher || !context || key.size() != row_of(algorithm).key_len ||
        EVP_EncryptInit_ex2(context.get(), cipher.get(), key.data(), iv.data(), nullptr) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
        EVP_EncryptUpdate(context.get(), out.data(), &written, in.data(), static_cast<int>(in.size())) != 1 ||
        written != static_cast<int>(in.size())) {
        throw Error(Failure::library, fmt::format("OpenSSL cannot encrypt with {}", name));
    }
    return out;
}

SecretBytes clear_hmac(std::span<const std::uint8_t> key, std::span<const std::uint8_t> message) {
    SecretBytes mac(EVP_MAX_MD_SIZE);
    std::size_t mac_len = 0;
    if (EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA256", nullptr, key.data(), key.size(), message.data(), message.size(),
                  mac.data(), mac.size(), &mac_len) == nullptr) {
        throw Error(Failure::library, "OpenSSL cannot compute HMAC-SHA256");
    }
    mac.resize(mac_len);
    return mac;
}

} // namespace wbtables
