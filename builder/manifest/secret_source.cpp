#include "builder/manifest/secret_source.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "builder/files/file_descriptor.h"
#include "builder/files/private_file.h"
#include "builder/files/read_all.h"
#include "builder/keys/hex.h"
#include "builder/keys/key_set.h"
#include "builder/keys/random.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestSecret = 4096;

std::string text_of(const SecretBytes &bytes) {
    return {bytes.begin(), bytes.end()};
}

SecretBytes bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

SecretBytes read_descriptor(int fd, const std::string &name) {
    try {
        if (auto bytes = read_all(fd, kLongestSecret)) {
            return *std::move(bytes);
        }
    } catch (const std::system_error &error) {
        throw SourceError(fmt::format("{} cannot be read: {}", name, error.code().message()));
    }
    throw SourceError(fmt::format("{} holds more than {} bytes", name, kLongestSecret));
}

SecretBytes read_file(const fs::path &path) {
    const std::string name = without_controls(path.string());
    // Opening a pipe must not wait for somebody to write to it.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file.is_open() || ::fstat(file.get(), &status) != 0) {
        throw SourceError(fmt::format("{} cannot be read: {}", name, std::generic_category().message(errno)));
    }
    if (!S_ISREG(status.st_mode)) {
        throw SourceError(fmt::format("{} is not a regular file", name));
    }
    if (const std::string_view exposure = exposure_of(status); !exposure.empty()) {
        throw SourceError(fmt::format("{} {}", name, exposure));
    }
    return read_descriptor(file.get(), name);
}

bool is_variable_name(std::string_view name) {
    constexpr std::string_view kDigits = "0123456789";
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    return kDigits.find(name.front()) == std::string_view::npos && std::all_of(name.begin(), name.end(), [&](char c) {
               return kLetters.find(c) != std::string_view::npos || kDigits.find(c) != std::string_view::npos;
           });
}

SecretBytes read_environment(const std::string &name) {
    const char *const value = std::getenv(name.c_str()); // NOLINT(concurrency-mt-unsafe): nothing here changes it
    if (value == nullptr) {
        throw SourceError(fmt::format("environment variable {} is not set", name));
    }
    return bytes_of(value);
}

void trim_newline(SecretBytes &bytes) {
    if (!bytes.empty() && bytes.back() == '\n') {
        bytes.pop_back();
        if (!bytes.empty() && bytes.back() == '\r') {
            bytes.pop_back();
        }
    }
}

SecretBytes decode_key(const SecretBytes &text) {
    auto key = from_hex(text);
    if (!key) {
        throw SourceError(text.size() % 2 != 0
                              ? fmt::format("holds {} characters, which is no even number of hex digits", text.size())
                              : "holds something other than hex digits");
    }
    return *std::move(key);
}

} // namespace

SecretSource::SecretSource(std::string_view text, SecretForm form, std::size_t random_len, bool allow_inline)
    : form_(form), random_len_(random_len) {
    const std::string_view inline_prefix = form == SecretForm::key ? "hex:" : "text:";
    const auto takes = [this, text](std::string_view prefix, Kind kind) {
        if (!text.starts_with(prefix)) {
            return false;
        }
        kind_ = kind;
        argument_ = bytes_of(text.substr(prefix.size()));
        return true;
    };
    if (takes("file:", Kind::file) || takes("env:", Kind::environment)) {
        if (argument_.empty()) {
            throw SourceError(fmt::format("{} names nothing", in_quotes(text)));
        }
        // What stands there may be the secret itself, so it is not repeated.
        if (kind_ == Kind::environment && !is_variable_name(text_of(argument_))) {
            throw SourceError("env: needs the name of a variable: letters, digits and _, with no digit in front");
        }
    } else if (takes("fd:", Kind::descriptor)) {
        set_descriptor(text.substr(3));
    } else if (text == "-") {
        kind_ = Kind::descriptor;
        descriptor_ = STDIN_FILENO;
    } else if (text == "random") {
        kind_ = Kind::random;
        if (random_len == 0) {
            throw SourceError("cannot be random, for its users have to know it");
        }
    } else if (allow_inline && takes(inline_prefix, Kind::literal)) {
        return;
    } else {
        // What stands there may be the secret itself, so it is not repeated.
        throw SourceError(fmt::format("must be file:PATH, env:NAME, fd:N, -{}{}", random_len == 0 ? "" : ", random",
                                      allow_inline ? fmt::format(" or {}...", inline_prefix)
                                                   : fmt::format("; {}... needs --allow-inline-keys", inline_prefix)));
    }
    if (text_of(argument_).find('\0') != std::string::npos) {
        throw SourceError("contains a NUL character");
    }
}

void SecretSource::set_descriptor(std::string_view number) {
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), descriptor_);
    if (error != std::errc() || end != number.data() + number.size() || descriptor_ < 0 ||
        descriptor_ == STDOUT_FILENO || descriptor_ == STDERR_FILENO) {
        throw SourceError("needs fd:0 or fd:N with N above 2");
    }
}

std::optional<int> SecretSource::descriptor() const {
    return kind_ == Kind::descriptor ? std::optional(descriptor_) : std::nullopt;
}

SecretBytes SecretSource::read(const fs::path &folder) const {
    if (kind_ == Kind::random) {
        const SecretBytes bytes = random_bytes(random_len_);
        return form_ == SecretForm::key ? bytes : to_hex(bytes);
    }
    SecretBytes raw = read_raw(folder);
    if (kind_ != Kind::literal) {
        trim_newline(raw);
    }
    return form_ == SecretForm::key ? decode_key(raw) : raw;
}

SecretBytes SecretSource::read_raw(const fs::path &folder) const {
    switch (kind_) {
    case Kind::file:
        return read_file(folder / text_of(argument_));
    case Kind::environment:
        return read_environment(text_of(argument_));
    case Kind::descriptor:
        return read_descriptor(descriptor_, descriptor_ == STDIN_FILENO ? "standard input"
                                                                        : fmt::format("descriptor {}", descriptor_));
    case Kind::literal:
    case Kind::random:
        break;
    }
    return argument_;
}

} // namespace wbtables
