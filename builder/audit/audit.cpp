#include "builder/audit/audit.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <span>

#include <fmt/format.h>
#include <openssl/evp.h>

#include "builder/check/table_check.h"
#include "builder/keys/hex.h"
#include "builder/keys/key_set.h"

namespace wbtables {
namespace {

constexpr std::size_t kBlock = 16;

template <typename Tables>
struct AttackRow {
    std::string_view name;
    Recovery (*run)(const Tables &tables);
    std::string_view needed_what;
};
constexpr AttackRow<AesTablesView> kAesAttacks[] = {
    {"read-out", read_out_aes, ""},
    {"structure", recover_by_structure, ""},
    {"collisions", recover_by_collisions, ""},
    {"faults", recover_by_faults, "faults"},
};
constexpr AttackRow<Sm4TablesView> kSm4Attacks[] = {
    {"read-out", read_out_sm4, ""},
};
constexpr std::string_view kStructure = kAesAttacks[1].name;

struct PeakRow {
    std::string_view name;
    std::size_t CorrelatedByte::*guess;
};
constexpr PeakRow kPeaks[] = {
    {"correlation, highest peak", &CorrelatedByte::highest_guess},
    {"correlation, lowest peak", &CorrelatedByte::lowest_guess},
};

double cpu_seconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::string_view name_of_aes(std::uint32_t rounds) {
    const AlgorithmRow *const row = aes_of(rounds);
    return row == nullptr ? "aes" : row->name;
}

template <typename Tables>
AttackResult run_attack(const AttackRow<Tables> &row, const Tables &tables) {
    AttackResult result;
    result.attack = row.name;
    result.needed_what = row.needed_what;
    const double start = cpu_seconds();
    Recovery recovery = row.run(tables);
    result.cpu_seconds = cpu_seconds() - start;
    result.succeeded = recovery.key.has_value();
    result.needed = recovery.faults;
    result.remark = std::move(recovery.remark);
    if (recovery.key) {
        result.key = std::move(*recovery.key);
        result.fingerprint = fingerprint_of(result.key);
    }
    return result;
}

template <typename Tables, std::size_t n>
void run_attacks(const AttackRow<Tables> (&rows)[n], const Tables &tables, const AuditOptions &options,
                 KeyAudit &audit) {
    for (const AttackRow<Tables> &row : rows) {
        if (options.progress) {
            options.progress(tables.key_id, row.name);
        }
        audit.attacks.push_back(run_attack(row, tables));
    }
}

// The first round key, as any of the attacks found it: a key of AES begins with it.
SecretBytes first_round_key(const KeyAudit &audit) {
    const auto found = std::find_if(audit.attacks.begin(), audit.attacks.end(),
                                    [](const AttackResult &attack) { return attack.key.size() >= kBlock; });
    return found == audit.attacks.end() ? SecretBytes() : SecretBytes(found->key.begin(), found->key.begin() + kBlock);
}

std::size_t count_right(const Correlation &correlation, std::size_t CorrelatedByte::*guess, const SecretBytes &right) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < right.size(); ++i) {
        count += correlation.bytes[i].*guess == right[i] ? std::size_t{1} : 0;
    }
    return count;
}

// The first trace count that tells the whole round key decides; without one, the last says how near it came.
AttackResult judge_peaks(const PeakRow &row, const std::vector<Correlation> &correlations, const SecretBytes &right) {
    AttackResult result;
    result.attack = row.name;
    result.needed_what = "traces";
    for (const Correlation &correlation : correlations) {
        const std::size_t count = count_right(correlation, row.guess, right);
        result.needed = correlation.traces;
        result.succeeded = count == kBlock;
        result.remark =
            fmt::format("{} of {} key bytes; the CPU time is that of highest and lowest peak together", count, kBlock);
        if (result.succeeded) {
            result.key = right;
            result.fingerprint = fingerprint_of(right);
            break;
        }
    }
    if (right.empty()) {
        result.remark = "no other attack found the key, so its guesses cannot be judged";
    }
    return result;
}

void add_correlation(const AesTablesView &tables, const AuditOptions &options, KeyAudit &audit) {
    if (options.trace_counts.empty()) {
        return;
    }
    if (options.progress) {
        options.progress(tables.key_id, "correlation");
    }
    const double start = cpu_seconds();
    const std::vector<Correlation> correlations = correlate(tables, options.trace_counts);
    const double taken = cpu_seconds() - start;
    const SecretBytes right = first_round_key(audit);
    for (const PeakRow &row : kPeaks) {
        audit.attacks.push_back(judge_peaks(row, correlations, right));
        audit.attacks.back().cpu_seconds = taken;
        audit.attacks.back().is_round_key = audit.cipher != row_of(Algorithm::aes128).name;
    }
    const Correlation &last = correlations.back();
    audit.traces = last.traces;
    for (std::size_t i = 0; i < last.bytes.size(); ++i) {
        const auto &peak = last.bytes[i].peak;
        audit.bytes.push_back({{peak.begin(), peak.end()}, right.empty() ? std::nullopt : std::optional(right[i])});
    }
}

KeyAudit audit_aes(const AesTablesView &tables, const AuditOptions &options) {
    KeyAudit audit;
    audit.key_id = tables.key_id;
    audit.cipher = name_of_aes(tables.rounds);
    audit.plain_xor_table = adds_plain_nibbles(tables);
    run_attacks(kAesAttacks, tables, options, audit);
    add_correlation(tables, options, audit);
    return audit;
}

KeyAudit audit_sm4(const Sm4TablesView &tables, const AuditOptions &options) {
    KeyAudit audit;
    audit.key_id = tables.key_id;
    audit.cipher = row_of(Algorithm::sm4).name;
    run_attacks(kSm4Attacks, tables, options, audit);
    return audit;
}

} // namespace

LibraryAudit audit_library(const std::string &file, const TableLibraryFile &library, const AuditOptions &options) {
    LibraryAudit audit;
    audit.file = file;
    audit.wbid = library.wbid().value_or("");
    audit.version = library.version() ? std::to_string(*library.version()) : "";
    audit.abi = library.elf().abi();
    audit.encoding = library.encoding();
    audit.problems = library.problems();
    for (const AesTablesView &tables : library.aes_keys()) {
        audit.keys.push_back(audit_aes(tables, options));
    }
    for (const Sm4TablesView &tables : library.sm4_keys()) {
        audit.keys.push_back(audit_sm4(tables, options));
    }
    audit.unreadable_keys = library.unreadable_keys();
    return audit;
}

std::string_view outcome_of(const AttackResult &attack) {
    if (!attack.succeeded) {
        return "no key";
    }
    return attack.is_round_key ? "first round key" : "key recovered";
}

bool is_conclusive(const KeyAudit &audit) {
    return std::any_of(audit.attacks.begin(), audit.attacks.end(), [&audit](const AttackResult &attack) {
        return attack.succeeded && (attack.attack == kStructure || audit.cipher == row_of(Algorithm::sm4).name);
    });
}

bool was_recovered(const KeyAudit &audit) {
    return std::any_of(audit.attacks.begin(), audit.attacks.end(),
                       [](const AttackResult &attack) { return attack.succeeded; });
}

std::string plain_tables_warning(const LibraryAudit &audit) {
    if (audit.encoding == "none") {
        return "its tables are not encoded: every key can be read from them.";
    }
    std::string ids;
    for (const KeyAudit &key : audit.keys) {
        if (key.plain_xor_table) {
            ids.append(ids.empty() ? "" : ", ").append(in_quotes(key.key_id));
        }
    }
    return ids.empty() ? "" : fmt::format("the XOR table is plain, so the tables are not encoded, of key {}", ids);
}

std::string fingerprint_of(const SecretBytes &key) {
    constexpr std::size_t kShown = 8;
    SecretBytes digest(EVP_MAX_MD_SIZE);
    if (EVP_Digest(key.data(), key.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
        return {};
    }
    const SecretBytes hex = to_hex(std::span(digest).first(kShown));
    return {hex.begin(), hex.end()};
}

std::size_t rank_of_right(const ByteCorrelation &byte) {
    const double right = byte.peaks[byte.right.value()];
    return static_cast<std::size_t>(
        std::count_if(byte.peaks.begin(), byte.peaks.end(), [right](double peak) { return peak >= right; }));
}

const std::array<std::string_view, 4> kStatement = {
    "What these tables deter: a search for keys, key schedules and S-boxes in the file or in memory, and tools for "
    "differential computation analysis that take the highest peak and nothing else. The same traces give the key to "
    "those "
    "that look for the lowest.",
    "What they do not: whoever has a table library gets its AES keys in less than a tenth of a second with code "
    "written for this format, and its SM4 keys at once. Copying the library is enough to use its keys. Every mode runs "
    "the cipher in one direction, so who can encrypt can decrypt. sk and ak stand in the library as text: the token "
    "deters misuse by other code and authenticates nobody. A signing key is clear in memory during a call.",
    "What to do: one key for each deployment and version, rotation by version, and the key store of the platform "
    "wherever it fits.",
    "All this was found by wbtables audit in the file alone. Anybody who has the file can repeat it.",
};

} // namespace wbtables
