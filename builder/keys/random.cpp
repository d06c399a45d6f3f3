#include "builder/keys/random.h"

#include <numeric>
#include <utility>

#include <openssl/rand.h>

#include "builder/error.h"

#ifdef WBTABLES_SEEDED_RANDOM
#include <algorithm>
#include <array>
#include <memory>
#include <mutex>

#include <openssl/evp.h>
#endif

namespace wbtables {
#ifdef WBTABLES_SEEDED_RANDOM
namespace {

// The key stream of ChaCha20 with the seed as its key.
class SeededSource {
  public:
    static SeededSource &instance() {
        static SeededSource source;
        return source;
    }

    void seed(std::optional<std::uint64_t> seed) {
        const std::lock_guard lock(mutex_);
        context_.reset(seed ? EVP_CIPHER_CTX_new() : nullptr);
        std::array<std::uint8_t, 32> key{};
        for (std::size_t i = 0; seed && i < sizeof(*seed); ++i) {
            key.at(i) = static_cast<std::uint8_t>(*seed >> 8 * i);
        }
        const std::array<std::uint8_t, 16> iv{};
        require(!seed || EVP_EncryptInit_ex(context_.get(), EVP_chacha20(), nullptr, key.data(), iv.data()) == 1);
    }

    // False: there is no seed.
    bool fill(std::span<std::uint8_t> out) {
        const std::lock_guard lock(mutex_);
        if (context_ == nullptr) {
            return false;
        }
        std::ranges::fill(out, std::uint8_t{0});
        int written = 0;
        require(EVP_EncryptUpdate(context_.get(), out.data(), &written, out.data(), static_cast<int>(out.size())) == 1);
        return true;
    }

  private:
    static void require(bool done) {
        if (!done) {
            throw Error(Failure::library, "the seeded random source failed");
        }
    }

    std::mutex mutex_;
    std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX *)> context_{nullptr, EVP_CIPHER_CTX_free};
};

} // namespace

void seed_random(std::optional<std::uint64_t> seed) {
    SeededSource::instance().seed(seed);
}
#endif

void fill_random(std::span<std::uint8_t> out) {
#ifdef WBTABLES_SEEDED_RANDOM
    if (SeededSource::instance().fill(out)) {
        return;
    }
#endif
    // out.size() <= INT_MAX: the longest request is a few kilobytes.
    if (RAND_priv_bytes(out.data(), static_cast<int>(out.size())) != 1) {
        throw Error(Failure::library, "the system's random source failed");
    }
}

SecretBytes random_bytes(std::size_t count) {
    SecretBytes bytes(count);
    fill_random(bytes);
    return bytes;
}

unsigned random_below(unsigned bound) {
    const unsigned unbiased = 256 - 256 % bound;
    std::uint8_t byte = 0;
    do {
        fill_random({&byte, 1});
    } while (byte >= unbiased);
    return byte % bound;
}

void random_permutation(std::span<std::uint8_t> out) {
    std::iota(out.begin(), out.end(), std::uint8_t{0});
    for (std::size_t i = out.size(); i > 1; --i) {
        std::swap(out[i - 1], out[random_below(static_cast<unsigned>(i))]);
    }
}

} // namespace wbtables
