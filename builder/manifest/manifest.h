// The manifest: a TOML file that says what a table library is made from.
//
//   wbid = "demo"                       names the library, with version; A-Z a-z 0-9 _ -
//   version = 1                         a signed 32-bit number
//   appid = "com.example.demo"          part of every caller token
//   whitelist = ["com.example.demo"]    names of admitted callers, joined with commas. Without the field every caller
//                                       with a valid token is admitted, and an empty list would mean the same, so it is
//                                       refused
//   sk = "file:secrets/sk"              key of the caller tokens, a text
//   ak = "file:secrets/ak"              what a caller presents for sk, a text
//
//   [[key]]                             up to ten AES and ten SM4 keys
//   id = "pay"                          A-Z a-z 0-9 _ . -
//   cipher = "aes-256"                  aes-128, aes-192, aes-256, sm4
//   value = "file:secrets/pay.hex"      hex text, or random
//   signing_key = "random"              optional, AES keys only: 32 bytes as hex text, or random
//
// Where sk, ak, value and signing_key may come from stands in secret_source.h.
#pragma once

#include <filesystem>

#include "builder/keys/key_set.h"

namespace wbtables {

struct ManifestOptions {
    bool allow_inline_keys = false; // secrets may stand in the manifest itself
    bool make_random = true;        // else what is to be made at random stays empty
};

// Reads a manifest and the secrets that it names. No secret is read before all else is in order.
//
// Throws an Error with a line "FILE:LINE:COLUMN: message" for each thing that is wrong.
KeySet parse_manifest(const std::filesystem::path &path, const ManifestOptions &options);

} // namespace wbtables
