#include "builder/commands/build.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <unistd.h>

#include "builder/commands/interrupt.h"
#include "builder/commands/library_log.h"
#include "builder/keys/key_set.h"
#include "builder/keys/random.h"
#include "builder/library.h"
#include "builder/manifest/manifest.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

struct BuildCommand {
    std::string manifest;
    std::string folder;
    std::string encoding = "hardened";
    std::string compiler = "clang";
    bool allow_inline_keys = false;
    std::optional<std::uint64_t> seed; // only builds with tests have the option
};

constexpr const char *kHelp = R"(A manifest is a TOML file:

  wbid = "demo"                     # names the library, with version
  version = 1
  appid = "com.example.demo"
  whitelist = ["com.example.demo"]  # admitted callers; without it, all with a valid token
  sk = "file:secrets/sk"            # key of the caller tokens
  ak = "file:secrets/ak"            # what a caller presents for sk

  [[key]]
  id = "pay"
  cipher = "aes-256"                # aes-128, aes-192, aes-256, sm4
  value = "file:secrets/pay.hex"    # hex text
  signing_key = "random"            # optional, AES only: 32 bytes, stored encrypted

Secrets come from file:PATH (relative to the manifest, mode 600), env:NAME, fd:N, - (standard input) or, ak aside,
are made at "random". With --allow-inline-keys, for tests, also hex:... for keys and text:... for sk and ak: text in
the manifest, which is not wiped from memory to the last copy.

Example: wbtables build demo.toml -o out
makes    out/libwb_tables_demo_1.so

Exit status: 0 done; 1 the manifest or its secrets are refused; 2 wrong usage; 3 the compiler failed; 4 the finished
library failed its check or could not be written. Whenever it is not 0, nothing was written.
)";

void warn(std::string_view message) {
    fmt::print(stderr, "wbtables: {}\n", message);
}

void warn_of_readable_keys(const KeySet &set, EncodingKind encoding) {
    if (encoding == EncodingKind::none) {
        warn("WARNING: --encoding none: every key can be read from this library. For tests only!");
    }
    if (std::any_of(set.keys.begin(), set.keys.end(), [](const KeySpec &key) { return !is_aes(key.algorithm); })) {
        warn("warning: SM4 round keys can be read from the tables of SM4 keys");
    }
}

void run_build(const BuildCommand &command) {
#ifdef WBTABLES_SEEDED_RANDOM
    if (command.seed) {
        seed_random(command.seed);
        warn("WARNING: --seed: whoever knows the seed knows the library's random keys and encodings. For tests only!");
    }
#endif
    const KeySet set = parse_manifest(command.manifest, {command.allow_inline_keys});
    // Until now there was nothing to tidy up, and reading a secret may have waited for a long time.
    note_interruptions();
    BuildOptions options;
    options.encoding = command.encoding == "none" ? EncodingKind::none : EncodingKind::hardened;
    options.compiler = command.compiler;
    options.library_log = take_library_log;
    options.interrupted = was_interrupted;
    if (::isatty(STDERR_FILENO) != 0) {
        options.progress = [](std::string_view step) { fmt::print(stderr, "wbtables: {}\n", step); };
    }
    const fs::path library = build_library(set, command.folder, options);
    warn_of_readable_keys(set, options.encoding);
    fmt::print("{}: {} key{}, {} bytes\n", library.string(), set.keys.size(), set.keys.size() == 1 ? "" : "s",
               fs::file_size(library));
}

} // namespace

void add_build_command(CLI::App &app, std::function<void()> &run) {
    const auto command = std::make_shared<BuildCommand>();
    CLI::App *const build = app.add_subcommand("build", "Make a table library from a manifest of keys");
    build->add_option("MANIFEST", command->manifest, "the manifest, a TOML file")->required();
    build->add_option("-o,--output", command->folder, "the folder, an existing one, that the library goes to")
        ->type_name("DIR")
        ->required();
    build->add_option("--encoding", command->encoding, "hardened (the default), or none: the plain tables, for tests")
        ->check(CLI::IsMember({"hardened", "none"}));
    build->add_option("--cc", command->compiler, "the compiler, a clang with lld")->type_name("CMD");
    build->add_flag("--allow-inline-keys", command->allow_inline_keys, "let secrets stand in the manifest itself");
#ifdef WBTABLES_SEEDED_RANDOM
    build->add_option("--seed", command->seed, "take every random number from this one, for tests");
#endif
    build->footer(kHelp);
    build->callback([command, &run] { run = [command] { run_build(*command); }; });
}

} // namespace wbtables
