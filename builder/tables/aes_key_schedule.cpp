#include "builder/tables/aes_key_schedule.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace wbtables {
namespace {

constexpr std::array<std::uint8_t, 256> make_sbox() {
    std::array<std::uint8_t, 256> sbox{};
    // `power` runs through the powers of the generator 3 and `inverse` through those of its inverse 0xF6, so each is
    // the other's reciprocal.
    std::uint8_t power = 1;
    std::uint8_t inverse = 1;
    do {
        power ^= xtime(power);
        inverse ^= static_cast<std::uint8_t>(inverse << 1U);
        inverse ^= static_cast<std::uint8_t>(inverse << 2U);
        inverse ^= static_cast<std::uint8_t>(inverse << 4U);
        inverse ^= static_cast<std::uint8_t>((inverse & 0x80U) != 0 ? 0x09U : 0U);
        sbox[power] = static_cast<std::uint8_t>(inverse ^ std::rotl(inverse, 1) ^ std::rotl(inverse, 2) ^
                                                std::rotl(inverse, 3) ^ std::rotl(inverse, 4) ^ 0x63U);
    } while (power != 1);
    sbox[0] = 0x63;
    return sbox;
}

} // namespace

constexpr std::array<std::uint8_t, 256> kAesSbox = make_sbox();

SecretBytes expand_aes_key(std::span<const std::uint8_t> key) {
    const std::size_t rounds = key.size() / 4 + 6;
    SecretBytes schedule(16 * (rounds + 1));
    std::copy(key.begin(), key.end(), schedule.begin());
    std::uint8_t rcon = 1;
    for (std::size_t at = key.size(); at < schedule.size(); at += 4) {
        std::uint8_t *const word = &schedule[at];
        std::copy_n(word - 4, 4, word);
        if (at % key.size() == 0) {
            const std::uint8_t first = word[0];
            word[0] = static_cast<std::uint8_t>(kAesSbox[word[1]] ^ rcon);
            word[1] = kAesSbox[word[2]];
            word[2] = kAesSbox[word[3]];
            word[3] = kAesSbox[first];
            rcon = xtime(rcon);
        } else if (key.size() == 32 && at % key.size() == 16) {
            std::transform(word, word + 4, word, [](std::uint8_t byte) { return kAesSbox[byte]; });
        }
        std::transform(word, word + 4, word - key.size(), word, std::bit_xor<>());
    }
    return schedule;
}

} // namespace wbtables
