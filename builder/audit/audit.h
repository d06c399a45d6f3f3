// Everything that can be found out about the keys of one table library with the file alone.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "builder/audit/attack.h"
#include "builder/keys/secret_bytes.h"
#include "builder/reader/table_library_file.h"

namespace wbtables {

struct AttackResult {
    std::string_view attack;
    bool succeeded = false;
    bool is_round_key = false; // it ends with the first round key, and the rest of a longer key is open
    SecretBytes key;           // what it recovered
    std::string fingerprint;   // of that key
    double cpu_seconds = 0;
    std::size_t needed = 0; // how much of `needed_what` it took; 0: the tables alone
    std::string_view needed_what;
    std::string remark; // more about the result; never a secret
};

// "key recovered", "first round key", "no key"
std::string_view outcome_of(const AttackResult &attack);

// How the 256 guesses of one byte of the first round key correlate.
struct ByteCorrelation {
    std::vector<double> peaks; // by guess
    std::optional<std::uint8_t> right;
};

struct KeyAudit {
    std::string key_id;
    std::string_view cipher;
    bool plain_xor_table = false; // so that the tables are not encoded, whatever the library says
    std::vector<AttackResult> attacks;
    std::size_t traces = 0;             // behind `correlation`
    std::vector<ByteCorrelation> bytes; // AES: 16
};

struct LibraryAudit {
    std::string file;
    std::string wbid;
    std::string version;
    std::string abi;
    std::string encoding;
    std::vector<std::string> problems; // what is wrong with the library itself
    std::vector<KeyAudit> keys;
    std::vector<std::string> unreadable_keys; // ids of those whose tables are not complete
};

struct AuditOptions {
    std::vector<std::size_t> trace_counts = {100, 1000, 10000}; // ascending
    std::function<void(std::string_view key_id, std::string_view attack)> progress{};
};

LibraryAudit audit_library(const std::string &file, const TableLibraryFile &library, const AuditOptions &options);

// On every library of the format the attack on the structure finds each key. Where it does not, the tables are of
// another make or this audit is at fault; never is the library safe.
bool is_conclusive(const KeyAudit &audit);

// The first 8 bytes of its SHA-256, in hex: tells keys apart without telling them.
std::string fingerprint_of(const SecretBytes &key);

bool was_recovered(const KeyAudit &audit);

// What stands in the file as it is: that of every key, or of those named; empty: nothing does.
std::string plain_tables_warning(const LibraryAudit &audit);

// The place of the right guess, from 1, among all by falling peaks; equal peaks count against it.
std::size_t rank_of_right(const ByteCorrelation &byte);

// What all this says about every table library of this format, a paragraph each.
extern const std::array<std::string_view, 4> kStatement;

} // namespace wbtables
