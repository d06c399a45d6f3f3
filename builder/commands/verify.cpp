#include "builder/commands/verify.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "builder/check/compare_with_keys.h"
#include "builder/check/verify_library.h"
#include "builder/commands/json.h"
#include "builder/error.h"
#include "builder/manifest/manifest.h"
#include "builder/reader/table_library_file.h"

namespace wbtables {
namespace {

struct VerifyCommand {
    std::string library;
    std::string manifest;
    bool json = false;
    bool allow_inline_keys = false;
};

constexpr const char *kHelp =
    R"(Reads a table library for any machine, of any builder and with any encoding, and lists whatever is wrong, a
line each: symbols, slots and lengths; symbols that a loader would not find; code, which no table needs, and tables that
a process could write to; tables that cannot be those of a key; signing entries that the library could not use. With
the manifest also names that differ, and every key that does not encrypt as the clear cipher does under its value or
does not sign with its signing_key. What the manifest makes at "random" is known to nobody and is left out.

Nothing in the library is run, and its keys are not needed: without the manifest, verify says that there are keys in it,
not which ones.

Example: wbtables verify out/libwb_tables_demo_1.so demo.toml
prints   out/libwb_tables_demo_1.so: fine: x86_64, 2 keys, 1 signing entry; as demo.toml says

--json prints one object: library, manifest, abi, keys, signing_entries, fine, problems, notes and compared, which lists
the manifest's fields that the library was compared with.

Exit status: 0 nothing is wrong; 1 the manifest or its secrets are refused; 2 wrong usage; 4 something is wrong, or the
file is no shared object.
)";

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

void print_as_json(const VerifyCommand &command, const TableLibraryFile &library, const Findings &findings) {
    print_json(
        {{"library", command.library},
         {"manifest", command.manifest.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(command.manifest)},
         {"abi", library.elf().abi()},
         {"keys", library.aes_keys().size() + library.sm4_keys().size()},
         {"signing_entries", library.signing_entries().size()},
         {"fine", findings.problems.empty()},
         {"problems", findings.problems},
         {"notes", findings.notes},
         {"compared", findings.compared}});
}

std::string describe_comparison(const VerifyCommand &command, const Findings &findings) {
    return command.manifest.empty()
               ? "not compared with a manifest"
               : fmt::format("as {} says{}", without_controls(command.manifest),
                             findings.not_compared.empty() ? "" : ", as far as it can be compared");
}

void print_as_text(const VerifyCommand &command, const TableLibraryFile &library, const Findings &findings) {
    const std::string name = without_controls(command.library);
    for (const std::string &problem : findings.problems) {
        fmt::print("{}: {}\n", name, problem);
    }
    for (const std::string &note : findings.notes) {
        fmt::print("{}: note: {}\n", name, note);
    }
    if (findings.problems.empty()) {
        fmt::print("{}: fine: {}, {}, {}; {}\n", name, library.elf().abi(),
                   counted(library.aes_keys().size() + library.sm4_keys().size(), "key", "keys"),
                   counted(library.signing_entries().size(), "signing entry", "signing entries"),
                   describe_comparison(command, findings));
    }
}

void run_verify(const VerifyCommand &command) {
    const TableLibraryFile library{command.library};
    Findings findings = verify_library(library);
    if (!command.manifest.empty()) {
        ManifestOptions options;
        options.allow_inline_keys = command.allow_inline_keys;
        options.make_random = false;
        compare_with_keys(library, parse_manifest(command.manifest, options), findings);
    }
    (command.json ? print_as_json : print_as_text)(command, library, findings);
    if (!findings.problems.empty()) {
        throw Error(Failure::library, fmt::format("{}: {}", without_controls(command.library),
                                                  counted(findings.problems.size(), "problem", "problems")));
    }
}

} // namespace

void add_verify_command(CLI::App &app, std::function<void()> &run) {
    const auto command = std::make_shared<VerifyCommand>();
    CLI::App *const verify = app.add_subcommand("verify", "Check a table library, on its own or against its manifest");
    verify->add_option("LIB", command->library, "the table library, a file")->type_name("")->required();
    verify->add_option("MANIFEST", command->manifest, "what it was made from")->type_name("");
    verify->add_flag("--json", command->json, "print the findings as JSON");
    verify->add_flag("--allow-inline-keys", command->allow_inline_keys, "let secrets stand in the manifest itself");
    verify->footer(kHelp);
    verify->callback([command, &run] { run = [command] { run_verify(*command); }; });
}

} // namespace wbtables
