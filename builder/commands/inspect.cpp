#include "builder/commands/inspect.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "builder/check/table_check.h"
#include "builder/commands/json.h"
#include "builder/keys/hex.h"
#include "builder/keys/key_set.h"
#include "builder/reader/packed_entry.h"
#include "builder/reader/table_library_file.h"

namespace wbtables {
namespace {

using Json = nlohmann::ordered_json;

struct InspectCommand {
    std::string library;
    bool json = false;
    bool show_secrets = false;
};

constexpr const char *kHelp =
    R"(Says what a table library for any machine is, without running anything in it. The secrets that it holds as text
(sk and ak) and the signing keys, which its own tables decrypt, are shown with --show-secrets alone; otherwise their
lengths are. The AES and SM4 keys are not looked for: what it takes to find them is what an audit tells.

Example: wbtables inspect out/libwb_tables_demo_1.so

--json prints one object: library, wbid, version, abi, soname, needed, encoding, appid, whitelist, sk_len, ak_len,
bytes, relocations, text_relocations, page_alignment, keys (id, cipher, bytes and, of AES keys, plain_xor_table and
signing_key) and problems, which are those of its symbols and code that it brings: verify finds more. --show-secrets
adds sk, ak and, in keys, signing_key_value.

Exit status: 0 done; 2 wrong usage; 4 the file is no shared object.
)";

struct KeyRow {
    std::string id;
    std::string_view cipher;
    std::size_t bytes;
    bool plain_xor_table;
    const AesTablesView *tables; // of AES keys
};

std::vector<KeyRow> key_rows(const TableLibraryFile &library) {
    std::vector<KeyRow> rows;
    for (const Sm4TablesView &key : library.sm4_keys()) {
        rows.push_back({key.key_id, row_of(Algorithm::sm4).name, key.tables.size(), false, nullptr});
    }
    for (const AesTablesView &key : library.aes_keys()) {
        rows.push_back({key.key_id, aes_of(key.rounds)->name,
                        key.xor_table.size() + key.round_tables.size() + key.last_round.size(), adds_plain_nibbles(key),
                        &key});
    }
    return rows;
}

std::vector<PackedEntry> entries_of(const TableLibraryFile &library) {
    std::vector<PackedEntry> entries;
    std::vector<std::string> ignored;
    for (const std::string &text : library.signing_entries()) {
        if (auto entry = unpack_entry(text, ignored)) {
            entries.push_back(*std::move(entry));
        }
    }
    return entries;
}

Json key_as_json(const KeyRow &row, const std::vector<PackedEntry> &entries, bool show_secrets) {
    const auto entry = std::ranges::find(entries, row.id, &PackedEntry::key_id);
    Json key = {{"id", row.id}, {"cipher", row.cipher}, {"bytes", row.bytes}};
    if (row.tables != nullptr) {
        key["plain_xor_table"] = row.plain_xor_table;
        key["signing_key"] = entry != entries.end();
        if (show_secrets && entry != entries.end()) {
            key["signing_key_value"] = as_text(to_hex(decrypt_entry(*entry, *row.tables)));
        }
    }
    return key;
}

// What is printed, whichever way.
Json describe(const InspectCommand &command, const TableLibraryFile &library) {
    const ElfFile &elf = library.elf();
    Json document;
    document["library"] = command.library;
    document["wbid"] = library.wbid() ? Json(*library.wbid()) : Json();
    document["version"] = library.version() ? Json(*library.version()) : Json();
    document["abi"] = elf.abi();
    document["soname"] = elf.soname();
    document["needed"] = elf.needed();
    document["encoding"] = library.encoding();
    document["appid"] = library.appid();
    document["whitelist"] = library.whitelist() ? Json(*library.whitelist()) : Json();
    document["sk_len"] = library.sk().size();
    document["ak_len"] = library.ak().size();
    if (command.show_secrets) {
        document["sk"] = as_text(library.sk());
        document["ak"] = as_text(library.ak());
    }
    document["bytes"] = elf.file_size();
    document["relocations"] = elf.relocations();
    document["text_relocations"] = elf.has_text_relocations();
    document["page_alignment"] = elf.page_alignment();
    document["keys"] = Json::array();
    const std::vector<PackedEntry> entries = entries_of(library);
    for (const KeyRow &row : key_rows(library)) {
        document["keys"].push_back(key_as_json(row, entries, command.show_secrets));
    }
    document["problems"] = library.problems();
    return document;
}

// What the library says of itself is hostile on a terminal.
std::string plain(const Json &value) {
    if (value.is_string()) {
        return in_quotes(value.get_ref<const std::string &>());
    }
    return value.is_null() ? "none" : value.dump();
}

// The same without a limit, for texts that are worth reading whole.
std::string whole_text(const Json &text) {
    return fmt::format("\"{}\"", without_controls(text.get_ref<const std::string &>()));
}

void print_line(std::string_view name, std::string_view value) {
    fmt::print("  {:<12} {}\n", name, value);
}

std::string describe_encoding(const Json &document) {
    std::string plain_keys;
    for (const Json &key : document["keys"]) {
        if (key.value("plain_xor_table", false)) {
            plain_keys.append(plain_keys.empty() ? "" : ", ").append(plain(key["id"]));
        }
    }
    if (document["encoding"] == "none") {
        return "NONE: EVERY KEY CAN BE READ FROM THE TABLES. FOR TESTS ONLY!";
    }
    return plain_keys.empty()
               ? plain(document["encoding"])
               : fmt::format("{}, BUT THE XOR TABLE IS PLAIN: {}", plain(document["encoding"]), plain_keys);
}

std::string describe_secret(const Json &document, const std::string &name) {
    return document.contains(name) ? whole_text(document[name])
                                   : fmt::format("{} bytes, not shown", plain(document[name + "_len"]));
}

std::string describe_key(const Json &key) {
    std::string line = fmt::format("{}, {}, {} bytes", plain(key["id"]), key["cipher"].get<std::string>(),
                                   key["bytes"].get<std::size_t>());
    if (key.value("signing_key", false)) {
        line.append(", with a signing key").append(key.contains("signing_key_value") ? " " : "");
        line.append(key.value("signing_key_value", ""));
    }
    return line.append(key["cipher"] == "sm4" ? ", whose round keys can be read" : "");
}

void print_as_text(const Json &document) {
    fmt::print("{}\n", without_controls(document["library"].get<std::string>()));
    for (const char *const name : {"wbid", "version"}) {
        print_line(name, plain(document[name]));
    }
    print_line("ABI", document["abi"].get<std::string>());
    print_line("SONAME", plain(document["soname"]));
    std::string needed;
    for (const Json &name : document["needed"]) {
        needed.append(needed.empty() ? "" : ", ").append(plain(name));
    }
    print_line("needs", needed.empty() ? "no other library" : needed);
    print_line("encoding", describe_encoding(document));
    print_line("appid", whole_text(document["appid"]));
    print_line("whitelist", document["whitelist"].is_null() ? "none: admits every caller with a token"
                                                            : whole_text(document["whitelist"]));
    print_line("sk", describe_secret(document, "sk"));
    print_line("ak", describe_secret(document, "ak"));
    print_line("size", fmt::format("{} bytes", plain(document["bytes"])));
    print_line("relocations", fmt::format("{}{}", plain(document["relocations"]),
                                          document["text_relocations"].get<bool>() ? ", IN READ-ONLY PARTS TOO" : ""));
    print_line("pages", fmt::format("aligned to {} bytes", plain(document["page_alignment"])));
    for (const Json &key : document["keys"]) {
        print_line("key", describe_key(key));
    }
    for (const Json &problem : document["problems"]) {
        print_line("problem", problem.get<std::string>());
    }
}

void run_inspect(const InspectCommand &command) {
    const TableLibraryFile library{command.library};
    const Json document = describe(command, library);
    if (command.json) {
        print_json(document);
    } else {
        print_as_text(document);
    }
}

} // namespace

void add_inspect_command(CLI::App &app, std::function<void()> &run) {
    const auto command = std::make_shared<InspectCommand>();
    CLI::App *const inspect = app.add_subcommand("inspect", "Say what a table library is");
    inspect->add_option("LIB", command->library, "the table library, a file")->type_name("")->required();
    inspect->add_flag("--json", command->json, "print it as JSON");
    inspect->add_flag("--show-secrets", command->show_secrets, "show sk, ak and the signing keys");
    inspect->footer(kHelp);
    inspect->callback([command, &run] { run = [command] { run_inspect(*command); }; });
}

} // namespace wbtables
