// Key sets and files for tests of the builder.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "builder/error.h"
#include "builder/keys/key_set.h"
#include "support/bytes.h"

namespace test {

wbtables::SecretBytes secret(std::string_view text);

// A key with bytes that depend on its id.
wbtables::KeySpec key_of(const std::string &id, wbtables::Algorithm algorithm);
wbtables::KeySpec signing_key_of(const std::string &id, wbtables::Algorithm algorithm);

// wbid "demo", version 1 and these keys.
wbtables::KeySet key_set_of(std::vector<wbtables::KeySpec> keys);

void write_text(const std::filesystem::path &path, std::string_view text, mode_t mode = 0600);
std::string read_text(const std::filesystem::path &path);

// The names in a folder, sorted.
std::vector<std::string> names_in(const std::filesystem::path &folder);

// What `action` throws: the failure and its message. A test fails if it throws nothing.
struct Thrown {
    wbtables::Failure failure;
    std::string message;
};
template <typename Action>
Thrown thrown_by(Action action) {
    try {
        action();
    } catch (const wbtables::Error &error) {
        return {error.failure(), error.what()};
    }
    throw std::runtime_error("nothing was thrown");
}

} // namespace test
