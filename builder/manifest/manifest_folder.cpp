#include "builder/manifest/manifest_folder.h"

#include <cerrno>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <sys/stat.h>

#include "builder/error.h"
#include "builder/files/work_folder.h"
#include "builder/keys/hex.h"
#include "builder/manifest/manifest.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

constexpr const char *kManifest = "manifest.toml";
constexpr const char *kSecrets = "secrets";

// A TOML string (TOML 1.0, "basic strings").
std::string toml_string(std::string_view text) {
    constexpr unsigned char kDelete = 0x7f;
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out.append(1, '\\').append(1, c);
        } else if (byte < ' ' || byte == kDelete) {
            out.append(fmt::format("\\u{:04x}", byte));
        } else {
            out.push_back(c);
        }
    }
    return out.append("\"");
}

std::string whitelist_line(std::string_view names) {
    std::string line;
    while (true) {
        const std::size_t end = names.find(',');
        line.append(line.empty() ? "" : ", ").append(toml_string(names.substr(0, end)));
        if (end == std::string_view::npos) {
            return fmt::format("whitelist = [{}]\n", line);
        }
        names.remove_prefix(end + 1);
    }
}

class ManifestWriter {
  public:
    ManifestWriter(const KeySet &set, const fs::path &folder) : set_(set), folder_(folder) {}

    void write() {
        if (::mkdir((folder_ / kSecrets).c_str(), S_IRWXU) != 0) {
            throw Error(Failure::library,
                        fmt::format("{}: cannot be written: {}", without_controls((folder_ / kSecrets).string()),
                                    std::generic_category().message(errno)));
        }
        const std::string_view ignore_all = "*\n";
        write_file(folder_ / kSecrets / ".gitignore", std::as_bytes(std::span(ignore_all)));
        write_names();
        for (const KeySpec &key : set_.keys) {
            write_key(key);
        }
        write_file(folder_ / kManifest, std::as_bytes(std::span(text_)));
    }

  private:
    void write_names() {
        append("# The secrets stand in files beside this one: who has them needs no table library.\n"
               "wbid = {}\nversion = {}\nappid = {}\n",
               toml_string(set_.wbid), set_.version, toml_string(set_.appid));
        text_.append(set_.whitelist ? whitelist_line(*set_.whitelist) : "");
        append("sk = {}\nak = {}\n", secret_file("sk", set_.sk), secret_file("ak", set_.ak));
    }

    void write_key(const KeySpec &key) {
        append("\n[[key]]\nid = {}\ncipher = \"{}\"\nvalue = {}\n", toml_string(key.id), row_of(key.algorithm).name,
               secret_file(key.id + ".hex", to_hex(key.value)));
        if (key.signing_key) {
            append("signing_key = {}\n", secret_file(key.id + ".signing", to_hex(*key.signing_key)));
        }
    }

    // Writes it and returns the manifest's word for it.
    std::string secret_file(const std::string &name, SecretBytes text) {
        text.push_back('\n');
        write_file(folder_ / kSecrets / name, std::as_bytes(std::span(text)));
        return toml_string(fmt::format("file:{}/{}", kSecrets, name));
    }

    template <typename... Args>
    void append(fmt::format_string<Args...> format, Args &&...args) {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Args>(args)...);
    }

    const KeySet &set_;
    const fs::path &folder_;
    std::string text_;
};

} // namespace

fs::path write_manifest_folder(const KeySet &set, const fs::path &dir, const std::function<bool()> &interrupted) {
    fs::path target = fs::absolute(dir).lexically_normal();
    if (!target.has_filename()) {
        target = target.parent_path();
    }
    const WorkFolder folder(target.parent_path());
    ManifestWriter(set, folder.path()).write();
    // What the writer makes has to be what the reader takes.
    parse_manifest(folder.path() / kManifest, {});
    if (interrupted && interrupted()) {
        throw Interrupted();
    }
    folder.publish(target);
    return dir / kManifest;
}

} // namespace wbtables
