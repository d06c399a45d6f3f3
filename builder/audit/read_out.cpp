// What stands in the tables as it is, found by looking alone.

#include <algorithm>
#include <optional>

#include "builder/audit/attack.h"
#include "builder/audit/recovery.h"
#include "builder/reader/table_cipher.h"
#include "builder/tables/sm4_key_schedule.h"

namespace wbtables {
namespace {

// The byte k with look_up(x) = sbox[x ^ k] for every x.
template <typename LookUp>
std::optional<std::uint8_t> key_byte_in(const std::array<std::uint8_t, 256> &sbox, const LookUp &look_up) {
    const auto k = static_cast<std::uint8_t>(std::ranges::find(sbox, look_up(0)) - sbox.begin());
    for (unsigned x = 0; x < sbox.size(); ++x) {
        if (look_up(static_cast<std::uint8_t>(x)) != sbox[x ^ k]) {
            return std::nullopt;
        }
    }
    return k;
}

} // namespace

Recovery read_out_aes(const AesTablesView &tables) {
    const auto cipher = AesTableCipher::over(tables);
    if (!cipher) {
        return without_format();
    }
    SecretBytes key(2 * kAesBlock);
    for (std::size_t at = 0; at < cipher->key_len(); ++at) {
        const std::size_t place = shifted_to(at % kAesBlock);
        const std::size_t shift = 24 - 8 * ((place + 1) % 4); // the row below, where MixColumns multiplies by 1
        const auto byte = key_byte_in(kAesSbox, [&](std::uint8_t x) {
            return static_cast<std::uint8_t>(cipher->word(at / kAesBlock, place, x) >> shift);
        });
        if (!byte) {
            return without_key("no S-box stands in clear in the round tables");
        }
        key[at] = *byte;
    }
    key.resize(cipher->key_len());
    return with_key_if_confirmed(tables, std::move(key));
}

Recovery read_out_sm4(const Sm4TablesView &tables) {
    const auto cipher = Sm4TableCipher::over(tables);
    if (!cipher) {
        return without_format();
    }
    SecretBytes round_keys(16);
    for (std::size_t at = 0; at < round_keys.size(); ++at) {
        const auto byte = key_byte_in(kSm4Sbox, [&](std::uint8_t x) { return cipher->entry(at / 4, at % 4, x); });
        if (!byte) {
            return without_key("the tables are not the S-box with round keys folded in");
        }
        round_keys[at] = *byte;
    }
    return with_key_if_confirmed(tables, sm4_key_of_round_keys(std::span(round_keys).first<16>()));
}

} // namespace wbtables
