#include "builder/tables/aes_key_schedule.h"

#include <algorithm>
#include <bit>
#include <functional>

#include <openssl/crypto.h>

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

constexpr std::uint8_t round_constant(std::size_t number) {
    std::uint8_t constant = 1;
    for (std::size_t i = 1; i < number; ++i) {
        constant = xtime(constant);
    }
    return constant;
}

} // namespace

constexpr std::array<std::uint8_t, 256> kAesSbox = make_sbox();

namespace {

// The word at byte `at` of a schedule is the one key_len bytes before it XOR this change of the one just before it.
void add_changed_word(std::uint8_t *to, const std::uint8_t *before, std::size_t at, std::size_t key_len) {
    std::array<std::uint8_t, 4> word{};
    std::copy_n(before, word.size(), word.begin());
    const bool starts_key = at % key_len == 0;
    if (starts_key) {
        std::rotate(word.begin(), word.begin() + 1, word.end());
    }
    if (starts_key || (key_len == 32 && at % key_len == 16)) {
        std::transform(word.begin(), word.end(), word.begin(), [](std::uint8_t byte) { return kAesSbox[byte]; });
    }
    if (starts_key) {
        word[0] ^= round_constant(at / key_len);
    }
    std::transform(word.begin(), word.end(), to, to, std::bit_xor<>());
    OPENSSL_cleanse(word.data(), word.size());
}

std::size_t schedule_len(std::size_t key_len) {
    return 16 * (key_len / 4 + 7);
}

} // namespace

SecretBytes expand_aes_key(std::span<const std::uint8_t> key) {
    SecretBytes schedule(schedule_len(key.size()));
    std::copy(key.begin(), key.end(), schedule.begin());
    for (std::size_t at = key.size(); at < schedule.size(); at += 4) {
        std::copy_n(&schedule[at - key.size()], 4, &schedule[at]);
        add_changed_word(&schedule[at], &schedule[at - 4], at, key.size());
    }
    return schedule;
}

SecretBytes aes_key_of_schedule_end(std::span<const std::uint8_t> end) {
    SecretBytes schedule(schedule_len(end.size()));
    std::copy(end.begin(), end.end(), schedule.end() - static_cast<std::ptrdiff_t>(end.size()));
    for (std::size_t at = schedule.size() - 4; at >= end.size(); at -= 4) {
        std::copy_n(&schedule[at], 4, &schedule[at - end.size()]);
        add_changed_word(&schedule[at - end.size()], &schedule[at - 4], at, end.size());
    }
    schedule.resize(end.size());
    return schedule;
}

} // namespace wbtables
