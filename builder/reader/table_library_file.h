// A table library as a file: its metadata and its keys' tables, found by symbols alone.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "builder/keys/secret_bytes.h"
#include "builder/reader/elf_file.h"
#include "builder/reader/key_tables.h"

namespace wbtables {

// libwb_tables_<wbid>_<version>.so
struct LibraryName {
    std::string wbid;
    std::int32_t version;
};
std::optional<LibraryName> parse_library_name(std::string_view file_name);

class TableLibraryFile {
  public:
    // Throws an Error if the file is no shared object. What a table library lacks or has wrong is in problems()
    // instead, so that whatever can be read of a damaged or foreign one is read.
    explicit TableLibraryFile(const std::filesystem::path &path);

    [[nodiscard]] const ElfFile &elf() const { return elf_; }
    // From the file's name, else the SONAME, else the symbols.
    [[nodiscard]] const std::optional<std::string> &wbid() const { return contents_.wbid; }
    [[nodiscard]] std::optional<std::int32_t> version() const { return contents_.version; }
    // What symbol wbtables_encoding says; "unknown" without it.
    [[nodiscard]] const std::string &encoding() const { return contents_.encoding; }
    // Texts: empty without the symbol, and cut at 64 KiB.
    [[nodiscard]] const std::string &appid() const { return contents_.appid; }
    [[nodiscard]] const std::optional<std::string> &whitelist() const { return contents_.whitelist; }
    [[nodiscard]] const SecretBytes &sk() const { return contents_.sk; }
    [[nodiscard]] const SecretBytes &ak() const { return contents_.ak; }
    // In slot order. Complete ones; views into the file's bytes. Of an id in both lists the SM4 key counts, as for the
    // library.
    [[nodiscard]] const std::vector<AesTablesView> &aes_keys() const { return contents_.aes_keys; }
    [[nodiscard]] const std::vector<Sm4TablesView> &sm4_keys() const { return contents_.sm4_keys; }
    // Ids of keys without complete tables.
    [[nodiscard]] const std::vector<std::string> &unreadable_keys() const { return contents_.unreadable_keys; }
    // The entry texts of the `keys` array, in slot order. What they pack is not looked at here.
    [[nodiscard]] const std::vector<std::string> &signing_entries() const { return contents_.signing_entries; }
    // A sentence each, naming symbol, slot and limit; never a secret, and harmless on a terminal.
    [[nodiscard]] const std::vector<std::string> &problems() const { return contents_.problems; }

    struct Contents {
        std::optional<std::string> wbid;
        std::optional<std::int32_t> version;
        std::string encoding = "unknown";
        std::string appid;
        std::optional<std::string> whitelist;
        SecretBytes sk;
        SecretBytes ak;
        std::vector<AesTablesView> aes_keys;
        std::vector<Sm4TablesView> sm4_keys;
        std::vector<std::string> unreadable_keys;
        std::vector<std::string> signing_entries;
        std::vector<std::string> problems;
    };

  private:
    ElfFile elf_;
    Contents contents_;
};

} // namespace wbtables
