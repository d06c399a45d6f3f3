// A table library as a file: its metadata and its keys' tables, found by symbols alone.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "builder/keys/secret_bytes.h"
#include "builder/reader/elf_file.h"
#include "builder/reader/key_tables.h"

namespace wbtables {

class TableLibraryFile {
  public:
    // Throws an Error if the file is no shared object. What a table library lacks or has wrong is in problems() instead,
    // so that whatever can be read of a damaged or foreign one is read.
    explicit TableLibraryFile(const std::filesystem::path &path);

    [[nodiscard]] const ElfFile &elf() const;
    // From the file's name, else the SONAME: libwb_tables_<wbid>_<version>.so.
    [[nodiscard]] const std::optional<std::string> &wbid() const;
    [[nodiscard]] std::optional<std::int32_t> version() const;
    [[nodiscard]] std::string encoding() const; // what symbol wbtables_encoding says; "unknown" without it
    [[nodiscard]] const std::string &appid() const;
    [[nodiscard]] const std::optional<std::string> &whitelist() const;
    [[nodiscard]] const SecretBytes &sk() const;
    [[nodiscard]] const SecretBytes &ak() const;
    [[nodiscard]] const std::vector<AesTablesView> &aes_keys() const; // complete ones; views into the file's bytes
    [[nodiscard]] const std::vector<Sm4TablesView> &sm4_keys() const;
    // The entry texts of the `keys` array, in slot order.
    [[nodiscard]] const std::vector<std::string> &signing_entries() const;
    [[nodiscard]] const std::vector<std::string> &problems() const; // a sentence each, naming symbol, slot and limit
};

} // namespace wbtables
