#include "builder/commands/keygen.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "builder/commands/interrupt.h"
#include "builder/error.h"
#include "builder/keys/hex.h"
#include "builder/keys/key_set.h"
#include "builder/keys/limits.h"
#include "builder/keys/random.h"
#include "builder/keys/rules.h"
#include "builder/manifest/manifest_folder.h"

namespace wbtables {
namespace {

struct KeygenCommand {
    std::string folder;
    std::string wbid;
    std::string appid;
    std::int32_t version = 1;
    std::vector<std::string> whitelist;
    std::vector<std::string> keys{"main:aes-256"};
};

constexpr const char *kHelp = R"(Makes the folder DIR, which is not there yet or is empty, open to this user alone:

  DIR/manifest.toml          what `wbtables build` takes
  DIR/secrets/sk, ak         32 random bytes each, as hex text
  DIR/secrets/ID.hex         a random key for each --key, as hex text
  DIR/secrets/ID.signing     32 random bytes for each key that ends in :signing, as hex text
  DIR/secrets/.gitignore     keeps all of them out of Git

Each --key is ID:CIPHER or, for AES, ID:CIPHER:signing; CIPHER is aes-128, aes-192, aes-256 or sm4.

Example: wbtables keygen demo --wbid demo --appid com.example.demo --key pay:aes-256:signing --key sm:sm4
then     wbtables build demo/manifest.toml -o out

Exit status: 0 done; 1 a name is refused; 2 wrong usage; 4 the folder or standard output could not be written. Whenever
it is not 0, nothing was written, but for when standard output alone is to blame.
)";

constexpr std::string_view kSigning = ":signing";

struct KeyArgument {
    std::string id;
    Algorithm algorithm{};
    bool signing = false;
};

// The value of --key; nothing if it is none.
std::optional<KeyArgument> parse_key(std::string_view text) {
    const bool signing = text.ends_with(kSigning);
    if (signing) {
        text.remove_suffix(kSigning.size());
    }
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view cipher = text.substr(colon + 1);
    const auto *const row = std::find_if(std::begin(kAlgorithms), std::end(kAlgorithms),
                                         [cipher](const AlgorithmRow &each) { return each.name == cipher; });
    if (row == std::end(kAlgorithms)) {
        return std::nullopt;
    }
    return KeyArgument{std::string(text.substr(0, colon)), row->algorithm, signing};
}

std::string check_key(const std::string &text) {
    return parse_key(text) ? "" : in_quotes(text) + " is not ID:CIPHER or ID:CIPHER:signing";
}

SecretBytes random_text() {
    return to_hex(random_bytes(kRandomTextLen));
}

KeySet make_key_set(const KeygenCommand &command) {
    KeySet set;
    set.wbid = command.wbid;
    set.version = command.version;
    set.appid = command.appid;
    if (!command.whitelist.empty()) {
        set.whitelist = fmt::format("{}", fmt::join(command.whitelist, ","));
    }
    set.sk = random_text();
    set.ak = random_text();
    for (const std::string &text : command.keys) {
        const KeyArgument key = parse_key(text).value();
        set.keys.push_back({key.id, key.algorithm, random_bytes(row_of(key.algorithm).key_len), {}});
        if (key.signing) {
            set.keys.back().signing_key = random_bytes(kSigningKeyLen);
        }
    }
    return set;
}

void run_keygen(const KeygenCommand &command) {
    note_interruptions();
    const KeySet set = make_key_set(command);
    refuse(name_problems(set));
    const std::filesystem::path manifest = write_manifest_folder(set, command.folder, was_interrupted);
    fmt::print("{}: {} key{}\n", without_controls(manifest.string()), set.keys.size(), set.keys.size() == 1 ? "" : "s");
}

} // namespace

void add_keygen_command(CLI::App &app, std::function<void()> &run) {
    const auto command = std::make_shared<KeygenCommand>();
    CLI::App *const keygen = app.add_subcommand("keygen", "Make a manifest with fresh random secrets");
    keygen->add_option("DIR", command->folder, "the folder to make")->type_name("")->required();
    keygen->add_option("--wbid", command->wbid, "names the library, with the version")->type_name("TEXT")->required();
    keygen->add_option("--appid", command->appid, "the application id")->type_name("TEXT")->required();
    keygen->add_option("--version", command->version, "the library's version")->type_name("N")->capture_default_str();
    keygen->add_option("--key", command->keys, "a key to make; may be given again")
        ->type_name("ID:CIPHER[:signing]")
        ->check(check_key, "")
        ->allow_extra_args(false)
        ->capture_default_str();
    keygen->add_option("--whitelist", command->whitelist, "names of admitted callers; without it, all with a token")
        ->type_name("NAME,...")
        ->delimiter(',')
        ->allow_extra_args(false);
    keygen->footer(kHelp);
    keygen->callback([command, &run] { run = [command] { run_keygen(*command); }; });
}

} // namespace wbtables
