// Bytes and hex text in tests.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace test {

using Bytes = std::vector<uint8_t>;

// Even, valid hex text; throws otherwise.
Bytes from_hex(std::string_view hex);
std::string to_hex(const Bytes &bytes);
Bytes bytes_of(std::string_view text);

// Deterministic filler, different for each seed.
Bytes sample(size_t size, uint32_t seed = 1);

} // namespace test
