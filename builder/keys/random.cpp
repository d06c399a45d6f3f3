#include "builder/keys/random.h"

#include <numeric>
#include <utility>

#include <openssl/rand.h>

#include "builder/error.h"

namespace wbtables {

void fill_random(std::span<std::uint8_t> out) {
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
