// The table library of the fuzz targets: three AES keys and one of SM4 with tables of any content.
#pragma once

#include <cstdint>

namespace fuzz {

inline constexpr const char *kWbid = "fuzz";
inline constexpr int32_t kVersion = 1;
inline constexpr const char *kAesIds[] = {"a128", "a192", "a256"};
inline constexpr const char *kSm4Id = "s";

// Targets may set the entries; the texts stay theirs.
extern "C" const char *keys[10];

} // namespace fuzz
