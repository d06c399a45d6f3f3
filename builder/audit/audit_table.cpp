#include <algorithm>
#include <iterator>

#include <fmt/format.h>

#include "builder/audit/report.h"
#include "builder/keys/hex.h"
#include "builder/keys/key_set.h"

namespace wbtables {
namespace {

class Table {
  public:
    explicit Table(const ReportOptions &options) : options_(options) {}

    void add_heading(const LibraryAudit &audit) {
        line("{}: wbid {}, version {}, {}, encoding {}", without_controls(audit.file), in_quotes(audit.wbid),
             audit.version.empty() ? "unknown" : audit.version, audit.abi, without_controls(audit.encoding));
        if (const std::string warning = plain_tables_warning(audit); !warning.empty()) {
            line("WARNING: {}", warning);
        }
        for (const std::string &problem : audit.problems) {
            line("problem: {}", problem);
        }
        const auto recovered = std::count_if(audit.keys.begin(), audit.keys.end(), was_recovered);
        line("{} of {} keys recovered", recovered, audit.keys.size() + audit.unreadable_keys.size());
        for (const std::string &id : audit.unreadable_keys) {
            line("key {}: its tables cannot be read", in_quotes(id));
        }
    }

    void add_key(const KeyAudit &key) {
        line("\nkey {}, {}", in_quotes(key.key_id), key.cipher);
        line("  {:25} {:15} {:>10} {:>13}  {}", "attack", "result", "CPU", "needed", "fingerprint");
        for (const AttackResult &attack : key.attacks) {
            add_attack(attack);
        }
        if (!is_conclusive(key)) {
            line("  These tables are of another make, or this audit is at fault. It does not mean that they are safe.");
        }
    }

    void add_statement() {
        for (const std::string_view paragraph : kStatement) {
            line("");
            add_wrapped(paragraph);
        }
    }

    std::string take() { return std::move(text_); }

  private:
    template <typename... Args>
    void line(fmt::format_string<Args...> format, Args &&...args) {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Args>(args)...);
        text_ += '\n';
    }

    void add_attack(const AttackResult &attack) {
        const std::string needed =
            attack.needed == 0 ? "tables" : fmt::format("{} {}", attack.needed, attack.needed_what);
        line("  {:25} {:15} {:>7.1f} ms {:>13}  {}", attack.attack, outcome_of(attack), attack.cpu_seconds * 1e3,
             needed, attack.fingerprint);
        if (!attack.remark.empty()) {
            line("  {:25} {}", "", without_controls(attack.remark));
        }
        if (options_.show_secrets && !attack.key.empty()) {
            const SecretBytes hex = to_hex(attack.key);
            line("  {:25} {}", "", as_text(hex));
        }
    }

    void add_wrapped(std::string_view paragraph) {
        constexpr std::size_t kWidth = 100;
        while (paragraph.size() > kWidth) {
            const std::size_t space = paragraph.rfind(' ', kWidth);
            line("{}", paragraph.substr(0, space));
            paragraph.remove_prefix(space + 1);
        }
        line("{}", paragraph);
    }

    const ReportOptions &options_;
    std::string text_;
};

} // namespace

std::string audit_table(const LibraryAudit &audit, const ReportOptions &options) {
    Table table(options);
    table.add_heading(audit);
    std::for_each(audit.keys.begin(), audit.keys.end(), [&table](const KeyAudit &key) { table.add_key(key); });
    table.add_statement();
    return table.take();
}

} // namespace wbtables
