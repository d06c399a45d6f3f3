// What is measured.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace bench {

constexpr std::size_t kSizes[] = {16, 1024, 65536, 1 << 20};
constexpr std::size_t kLongest = kSizes[std::size(kSizes) - 1];
// By which an output may exceed its input.
constexpr std::size_t kGrowth = 32;

// Rows that are no kernels of ours.
constexpr char kLiteral[] = "literal";
constexpr char kOpenssl[] = "OpenSSL";
constexpr char kOpensslTables[] = "OpenSSL, table AES";

// The operations, as the tables name them.
constexpr char kCtr[] = "AES-128 CTR";
constexpr char kCfbDecrypt[] = "AES-128 CFB decryption";
constexpr char kCfbEncrypt[] = "AES-128 CFB encryption";
constexpr char kOfb[] = "AES-128 OFB";
constexpr char kGcm[] = "AES-128 GCM";
constexpr char kSm4Ctr[] = "SM4 CTR";
constexpr char kSm4CfbDecrypt[] = "SM4 CFB decryption";
constexpr char kSm4CfbEncrypt[] = "SM4 CFB encryption";
constexpr char kSm4Ofb[] = "SM4 OFB";
constexpr char kGhash[] = "GHASH";
constexpr char kSha256[] = "SHA-256";
constexpr char kNative[] = "GCM native, authorised";

// One way to do an operation. All rows of an operation give the same output.
struct Case {
    std::string operation;
    std::string row;
    std::function<void(const std::uint8_t *in, std::uint8_t *out, std::size_t len)> run;
    std::string forced{}; // kernels, with commas between them
    std::span<const std::size_t> sizes = kSizes;
};

class Keys;

// Every row that this CPU can run; the literal ones first of their operation. They refer to `keys`.
std::vector<Case> all_cases(const Keys &keys);

// OpenSSL's ways to do the same, for keys and IVs of its own library.
void add_openssl_cases(std::vector<Case> &cases, const Keys &keys);

} // namespace bench
