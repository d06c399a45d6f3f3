#include "builder/commands/audit.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "builder/audit/audit.h"
#include "builder/audit/report.h"
#include "builder/commands/interrupt.h"
#include "builder/error.h"
#include "builder/files/publication.h"
#include "builder/files/work_folder.h"
#include "builder/keys/key_set.h"
#include "builder/reader/table_library_file.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostTraces = 1'000'000;

struct AuditCommand {
    std::string library;
    std::string page;
    std::vector<std::size_t> traces = AuditOptions().trace_counts;
    bool json = false;
    bool show_secrets = false;
};

constexpr const char *kHelp =
    R"(The library is read as a file, of whatever ABI; nothing in it runs. The audit knows its format and no key:

  read-out       looks for round keys that stand in the tables as they are (AES and SM4)
  structure      takes the XOR table apart and fits the S-box
  collisions     fits the S-box to equal entries, without the XOR table
  faults         changes bytes of the state and compares what the cipher makes of them
  correlation    simulates traces and guesses by their highest, or lowest, peaks

A recovered key is tried on the tables before it is called one, and told by its fingerprint: the first 8 bytes of its
SHA-256. That AES and SM4 keys are recovered is what to expect of this format.

Example: wbtables audit out/libwb_tables_demo_1.so --html audit.html

Exit status: 0 the audit is done, whatever it found; 2 wrong usage; 4 the library cannot be read, holds no key or one
whose tables cannot be read, or holds tables of another make, which the audit cannot judge.
)";

void write_page(const fs::path &path, const std::string &page, bool secret) {
    const fs::path parent = path.has_parent_path() ? path.parent_path() : fs::path(".");
    const WorkFolder folder(parent);
    const fs::path finished = folder.path() / "page.html";
    write_file(finished, std::as_bytes(std::span(page)));
    if (!secret) {
        fs::permissions(finished, fs::perms::group_read | fs::perms::others_read, fs::perm_options::add);
    }
    Publication publication(folder.path());
    publication.put(finished, path);
    publication.finish();
}

void run_audit(const AuditCommand &command) {
    const TableLibraryFile library{fs::path(command.library)};
    note_interruptions();
    AuditOptions options;
    const std::set<std::size_t> counts(command.traces.begin(), command.traces.end());
    options.trace_counts.assign(counts.begin(), counts.end());
    const bool terminal = ::isatty(STDERR_FILENO) != 0;
    options.progress = [terminal](std::string_view key_id, std::string_view attack) {
        if (was_interrupted()) {
            throw Interrupted();
        }
        if (terminal) {
            fmt::print(stderr, "wbtables: key {}: {}\n", in_quotes(key_id), attack);
        }
    };
    const LibraryAudit audit = audit_library(command.library, library, options);
    const ReportOptions report{command.show_secrets};
    fmt::print("{}", command.json ? audit_json(audit, report) : audit_table(audit, report));
    if (!command.page.empty()) {
        write_page(command.page, audit_page(audit, report), command.show_secrets);
    }
    const std::string name = without_controls(command.library);
    if (audit.keys.empty()) {
        throw Error(Failure::library, fmt::format("{}: holds no key that can be read", name));
    }
    if (!audit.unreadable_keys.empty()) {
        throw Error(Failure::library, fmt::format("{}: holds keys whose tables cannot be read", name));
    }
    if (!std::all_of(audit.keys.begin(), audit.keys.end(), is_conclusive)) {
        throw Error(Failure::library, fmt::format("{}: holds tables that this audit cannot judge", name));
    }
}

} // namespace

void add_audit_command(CLI::App &app, std::function<void()> &run) {
    const auto command = std::make_shared<AuditCommand>();
    CLI::App *const audit = app.add_subcommand("audit", "Attack the keys of a table library and report what it took");
    audit->add_option("LIB", command->library, "the table library, a file")->type_name("")->required();
    audit->add_flag("--json", command->json, "print JSON instead of a table");
    audit->add_option("--html", command->page, "write a page too")->type_name("FILE");
    audit->add_option("--traces", command->traces, "how many traces correlation takes, up to a million each")
        ->type_name("N,N,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::Range(std::size_t{2}, kMostTraces))
        ->capture_default_str();
    audit->add_flag("--show-secrets", command->show_secrets, "show the recovered keys themselves");
    audit->footer(kHelp);
    audit->callback([command, &run] { run = [command] { run_audit(*command); }; });
}

} // namespace wbtables
