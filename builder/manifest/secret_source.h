// Where a manifest says that a secret comes from.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

// What kind of secret a field holds.
enum class SecretForm {
    text, // the bytes themselves
    key,  // hex text of the bytes
};

// The message says what is wrong and how to mend it; it never holds a secret.
class SourceError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One of:
//   file:PATH    a regular file of this user's or root's that nobody but its owner may read; PATH is relative to the
//                manifest's folder
//   env:NAME     an environment variable
//   fd:N         an open file descriptor, read to its end
//   -            standard input, read to its end
//   random       made at random, where the field allows it
//   hex:DIGITS   the key itself, for keys, and
//   text:TEXT    the text itself, for texts: only if inline secrets are allowed, and nobody else may read the manifest
// One newline at the end of what is read is not part of the secret.
class SecretSource {
  public:
    // `random_len` is the number of random bytes that the field takes (a text gets twice as many hex digits); 0 if
    // "random" makes no sense for it. Throws SourceError.
    SecretSource(std::string_view text, SecretForm form, std::size_t random_len, bool allow_inline);

    // What can be read only once, if the source is such a thing.
    [[nodiscard]] std::optional<int> descriptor() const;

    [[nodiscard]] bool is_random() const { return kind_ == Kind::random; }
    [[nodiscard]] bool is_inline() const { return kind_ == Kind::literal; }

    // Throws SourceError.
    [[nodiscard]] SecretBytes read(const std::filesystem::path &folder) const;

  private:
    enum class Kind { file, environment, descriptor, random, literal };

    [[nodiscard]] SecretBytes read_raw(const std::filesystem::path &folder) const;

    void set_descriptor(std::string_view number);

    Kind kind_{};
    SecretForm form_;
    std::size_t random_len_;
    int descriptor_ = -1;
    SecretBytes argument_; // a path, a name or the secret itself
};

} // namespace wbtables
