// What the library's buffers hold, terminators not counted.
#pragma once

#include <cstddef>

namespace wbtables {

constexpr std::size_t kLongestFileName = 199;
constexpr std::size_t kLongestAppid = 79;
constexpr std::size_t kLongestWhitelist = 4999;
constexpr std::size_t kLongestAccessText = 99; // sk, ak
constexpr std::size_t kLongestKeyId = 68;
constexpr std::size_t kLongestSigningKeyId = 50; // its hex text has room for 100 characters
constexpr std::size_t kLongestIdList = 209;      // all ids, a comma after each
constexpr std::size_t kSlots = 10;               // ids of one cipher, signing entries

} // namespace wbtables
