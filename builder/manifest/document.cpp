#include "builder/manifest/document.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <openssl/crypto.h>
#include <sys/stat.h>

#include "builder/files/file_descriptor.h"
#include "builder/files/private_file.h"
#include "builder/files/read_all.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestManifest = 1U << 20U;
constexpr std::size_t kMostDots = 5000; // the longest whitelist has half of them

SecretBytes read_manifest_file(const fs::path &path, std::string_view &exposure) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    try {
        if (!file.is_open() || ::fstat(file.get(), &status) != 0) {
            throw std::system_error(errno, std::generic_category());
        }
        exposure = exposure_of(status);
        if (auto text = read_all(file.get(), kLongestManifest)) {
            return *std::move(text);
        }
    } catch (const std::system_error &error) {
        throw Error(Failure::refused,
                    fmt::format("{}: cannot be read: {}", without_controls(path.string()), error.code().message()));
    }
    throw Error(Failure::refused,
                fmt::format("{}: longer than {} bytes", without_controls(path.string()), kLongestManifest));
}

// The parser quotes what it stumbles over, which may be a key that lacks its quotation marks: that part goes.
std::string without_quotes_of_the_text(std::string_view description) {
    std::string out;
    description = description.substr(0, description.find(", saw"));
    while (!description.empty()) {
        const std::size_t open = description.find('\'');
        const std::size_t close = open == std::string_view::npos ? open : description.find('\'', open + 1);
        if (close == std::string_view::npos) {
            return out.append(description);
        }
        const std::string_view token = description.substr(open, close - open + 1);
        // At most an escaped character.
        constexpr std::size_t kHarmless = 4;
        out.append(description.substr(0, open)).append(token.size() <= kHarmless ? token : "'...'");
        description.remove_prefix(close + 1);
    }
    return out;
}

// Each dot of a dotted key puts a table into another, which the parser does not limit; whoever walks through them, and
// its own destructors do, needs some stack for each. Dots in texts and comments count too: only the parser could tell.
void refuse_too_many_dots(const fs::path &path, std::string_view text) {
    std::size_t dots = 0;
    const auto *const last = std::ranges::find_if(text, [&dots](char c) { return c == '.' && ++dots > kMostDots; });
    if (last != text.end()) {
        const std::string_view before(text.begin(), last);
        const auto line = static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1;
        Diagnostics diagnostics(path.string());
        diagnostics.add(
            {line, before.size() - before.rfind('\n')},
            fmt::format("more than {} dots up to here: tables could stand too deep in each other", kMostDots));
        diagnostics.throw_if_any();
    }
}

toml::table parse(const fs::path &path, std::string_view &exposure) {
    const SecretBytes text = read_manifest_file(path, exposure);
    refuse_too_many_dots(path, as_text(text));
    try {
        return toml::parse(as_text(text));
    } catch (const toml::parse_error &error) {
        Diagnostics diagnostics(path.string());
        diagnostics.add(position_of(error.source()), without_quotes_of_the_text(error.description()));
        diagnostics.throw_if_any();
        throw;
    }
}

// NOLINTNEXTLINE(misc-no-recursion): nested values and dots are limited
void wipe(toml::node &node) {
    if (auto *const text = node.as_string()) {
        OPENSSL_cleanse(text->get().data(), text->get().size());
    } else if (auto *const array = node.as_array()) {
        for (toml::node &element : *array) {
            wipe(element);
        }
    } else if (auto *const table = node.as_table()) {
        for (auto &&[name, element] : *table) {
            wipe(element);
        }
    }
}

} // namespace

Document::Document(const fs::path &path) : root_(parse(path, exposure_)) {}

Document::~Document() {
    wipe(root_);
}

} // namespace wbtables
