#include "builder/commands/build.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "builder/commands/interrupt.h"
#include "builder/commands/json.h"
#include "builder/commands/library_log.h"
#include "builder/keys/key_set.h"
#include "builder/keys/random.h"
#include "builder/library.h"
#include "builder/manifest/manifest.h"
#include "builder/object/contents.h"
#include "builder/object/ndk.h"
#include "builder/reader/elf_file.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

struct BuildCommand {
    std::string manifest;
    std::string folder;
    std::string encoding = "hardened";
    std::vector<std::string> abis;
    std::string compiler = "clang";
    std::string ndk;
    bool emit_only = false;
    bool json = false;
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
the manifest, which then must have mode 600 too, and which is not wiped from memory to the last copy.

Example: wbtables build demo.toml -o out
makes    out/libwb_tables_demo_1.so, for this machine
Example: wbtables build demo.toml -o jniLibs --abi arm64-v8a,armeabi-v7a,x86_64,x86 --ndk "$ANDROID_NDK_HOME"
makes    jniLibs/<abi>/libwb_tables_demo_1.so for each, with the same tables; any clang with lld will do
Example: wbtables build demo.toml -o sources --emit-only
makes    tables.s, tables.bin and README.txt in sources, for a build that runs the compiler itself

--json prints one object: wbid, version, encoding, keys (id, cipher, signing_key) and files (path, bytes and, if it is
a library, abi).

Exit status: 0 done; 1 the manifest or its secrets are refused; 2 wrong usage; 3 the compiler failed; 4 a finished
library failed its check, or it or standard output could not be written. Whenever it is not 0, nothing was written, but
for when standard output alone is to blame.
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

struct BuiltFile {
    fs::path path;
    std::string_view abi; // of a library
};

std::vector<BuiltFile> build_files(const BuildCommand &command, const KeySet &set, const BuildOptions &options) {
    std::vector<BuiltFile> files;
    if (command.emit_only) {
        for (const fs::path &path : emit_sources(set, command.folder, options)) {
            files.push_back({path, {}});
        }
    } else if (command.abis.empty()) {
        files.push_back({build_library(set, command.folder, options), host_abi()});
    } else {
        std::vector<Abi> abis;
        for (const Abi &abi : kAbis) {
            if (std::ranges::find(command.abis, abi.name) != command.abis.end()) {
                abis.push_back(abi);
            }
        }
        for (const fs::path &path : build_libraries(set, command.folder, abis, options)) {
            files.push_back({path, abis[files.size()].name});
        }
    }
    return files;
}

void print_report(const KeySet &set, EncodingKind encoding, const std::vector<BuiltFile> &files) {
    nlohmann::ordered_json report = {
        {"wbid", set.wbid}, {"version", set.version}, {"encoding", encoding_name(encoding)}};
    for (const KeySpec &key : set.keys) {
        report["keys"].push_back(
            {{"id", key.id}, {"cipher", row_of(key.algorithm).name}, {"signing_key", key.signing_key.has_value()}});
    }
    for (const BuiltFile &file : files) {
        nlohmann::ordered_json row = {{"path", file.path.string()}, {"bytes", fs::file_size(file.path)}};
        if (!file.abi.empty()) {
            row["abi"] = file.abi;
        }
        report["files"].push_back(row);
    }
    print_json(report);
}

void print_text(const KeySet &set, const std::vector<BuiltFile> &files) {
    for (const BuiltFile &file : files) {
        const std::string keys =
            file.abi.empty() ? "" : fmt::format("{} key{}, ", set.keys.size(), set.keys.size() == 1 ? "" : "s");
        fmt::print("{}: {}{} bytes\n", without_controls(file.path.string()), keys, fs::file_size(file.path));
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
    options.compiler = command.ndk.empty() ? command.compiler : find_ndk_compiler(command.ndk).string();
    options.library_log = take_library_log;
    options.interruptions = interruptions;
    if (::isatty(STDERR_FILENO) != 0) {
        options.progress = [](std::string_view step) { fmt::print(stderr, "wbtables: {}\n", step); };
    }
    const std::vector<BuiltFile> files = build_files(command, set, options);
    warn_of_readable_keys(set, options.encoding);
    if (command.emit_only) {
        warn("WARNING: tables.bin IS SECRET: whoever has it has the keys, sk and ak. Remove it after the build!");
    }
    if (command.json) {
        print_report(set, options.encoding, files);
    } else {
        print_text(set, files);
    }
}

std::vector<std::string> abi_names() {
    std::vector<std::string> names;
    for (const Abi &abi : kAbis) {
        names.emplace_back(abi.name);
    }
    return names;
}

} // namespace

void add_build_command(CLI::App &app, std::function<void()> &run) {
    const auto command = std::make_shared<BuildCommand>();
    CLI::App *const build = app.add_subcommand("build", "Make table libraries from a manifest of keys");
    build->add_option("MANIFEST", command->manifest, "the manifest, a TOML file")->required();
    build
        ->add_option("-o,--output", command->folder,
                     "the folder that everything goes to; its last part is made if needed")
        ->type_name("DIR")
        ->required();
    auto *const abi = build->add_option("--abi", command->abis, "for these ABIs of Android instead of this machine");
    abi->type_name("ABI,...")->delimiter(',')->allow_extra_args(false)->check(CLI::IsMember(abi_names()));
    build->add_option("--encoding", command->encoding, "hardened: random encodings; none: the plain tables, for tests")
        ->type_name("hardened|none")
        ->check(CLI::IsMember({"hardened", "none"}));
    auto *const compiler = build->add_option("--cc", command->compiler, "the compiler, a clang with lld");
    compiler->type_name("CMD");
    auto *const ndk = build->add_option("--ndk", command->ndk, "take the compiler of the NDK in this folder");
    ndk->type_name("PATH")->needs(abi)->excludes(compiler);
    build->add_flag("--emit-only", command->emit_only, "write the sources, which hold for every ABI, and build nothing")
        ->excludes(abi, compiler, ndk);
    build->add_flag("--json", command->json, "print what was made as JSON");
    build->add_flag("--allow-inline-keys", command->allow_inline_keys, "let secrets stand in the manifest itself");
#ifdef WBTABLES_SEEDED_RANDOM
    build->add_option("--seed", command->seed, "take every random number from this one, for tests");
#endif
    build->footer(kHelp);
    build->callback([command, &run] { run = [command] { run_build(*command); }; });
}

} // namespace wbtables
