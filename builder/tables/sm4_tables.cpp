#include "builder/tables/sm4_tables.h"

#include "builder/tables/sm4_key_schedule.h"

namespace wbtables {

SecretBytes make_sm4_tables(std::span<const std::uint8_t, 16> key) {
    const SecretBytes round_keys = expand_sm4_key(key);
    SecretBytes tables;
    tables.reserve(round_keys.size() * kSm4Sbox.size());
    for (const std::uint8_t key_byte : round_keys) { // lanes follow each other as the bytes of a round key do
        for (std::size_t x = 0; x < kSm4Sbox.size(); ++x) {
            tables.push_back(kSm4Sbox[x ^ key_byte]);
        }
    }
    return tables;
}

} // namespace wbtables
