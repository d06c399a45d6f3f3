#include "builder/object/signing_entry.h"

#include <array>

#include <fmt/format.h>

#include "builder/error.h"
#include "builder/keys/clear_cipher.h"
#include "builder/keys/hex.h"
#include "builder/keys/random.h"
#include "quen/cms.h"

namespace wbtables {

SecretBytes signing_entry(const KeySpec &key) {
    constexpr std::uint32_t kNoPadding = 7;
    const SecretBytes iv = random_bytes(16);
    const auto content = clear_encrypt(key.algorithm, ClearMode::cfb, key.value, iv, *key.signing_key);
    const SecretBytes id = to_hex({reinterpret_cast<const std::uint8_t *>(key.id.data()), key.id.size()});
    // The fields have 19 + 100 + 16 + 32 bytes at most.
    std::array<std::uint8_t, 256> packed{};
    auto packed_len = static_cast<std::int32_t>(packed.size());
    const std::int32_t status =
        CMSEncrypted_Pack(row_of(key.algorithm).cms_number, kNoPadding, id.data(), static_cast<std::int32_t>(id.size()),
                          nullptr, 0, nullptr, 0, iv.data(), static_cast<std::int32_t>(iv.size()), content.data(),
                          static_cast<std::uint32_t>(content.size()), packed.data(), &packed_len);
    if (status != 0) {
        throw Error(Failure::library,
                    fmt::format("the signing_key of key {} cannot be packed: {}", in_quotes(key.id), status));
    }
    return to_hex({packed.data(), static_cast<std::size_t>(packed_len)});
}

} // namespace wbtables
