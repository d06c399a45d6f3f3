// Numbers of the table library's format: first what the buffers of libquen-wbkit.so hold, terminators not counted.
#pragma once

#include <cstddef>

namespace wbtables {

constexpr std::size_t kLongestFileName = 199; // or path
constexpr std::size_t kLongestAppid = 79;
constexpr std::size_t kLongestWhitelist = 4999;
constexpr std::size_t kLongestAccessText = 99; // sk, ak
constexpr std::size_t kLongestKeyId = 68;
constexpr std::size_t kLongestSigningKeyId = 50; // its hex text has room for 100 characters
constexpr std::size_t kLongestIdList = 209;      // all ids, a comma after each
constexpr std::size_t kSlots = 10;               // ids of one cipher, signing entries

// What `signature` takes (RFC 2104 with SHA-256).
constexpr std::size_t kSigningKeyLen = 32;
constexpr std::size_t kSigningIvLen = 16;

constexpr std::size_t kRandomTextLen = 32; // of an sk or ak that is made at random, as hex text

// To which a library's segments are aligned; Android has pages of this size.
constexpr std::size_t kLargestPage = std::size_t{16} * 1024;

} // namespace wbtables
