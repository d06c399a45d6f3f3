// Hex text.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

// Lower case, two digits a byte.
SecretBytes to_hex(std::span<const std::uint8_t> bytes);

// The bytes of an even number of hex digits of either case; nothing if `text` holds anything else.
std::optional<SecretBytes> from_hex(std::span<const std::uint8_t> text);

} // namespace wbtables
