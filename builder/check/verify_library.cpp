#include "builder/check/verify_library.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "builder/check/table_check.h"
#include "builder/keys/key_set.h"
#include "builder/keys/limits.h"
#include "builder/reader/packed_entry.h"

namespace wbtables {
namespace {

class LibraryVerification {
  public:
    explicit LibraryVerification(const TableLibraryFile &library) : library_(library) {}

    Findings run() {
        findings_.problems = library_.problems();
        check_file();
        for (const AesTablesView &key : library_.aes_keys()) {
            add_all(table_problems(key));
        }
        for (const Sm4TablesView &key : library_.sm4_keys()) {
            add_all(table_problems(key));
        }
        check_entries();
        for (const AesTablesView &key : library_.aes_keys()) {
            check_served_entry(key.key_id);
        }
        return std::move(findings_);
    }

  private:
    void add_all(const std::vector<std::string> &problems) {
        findings_.problems.insert(findings_.problems.end(), problems.begin(), problems.end());
    }

    void check_file() {
        if (library_.elf().has_text_relocations()) {
            findings_.problems.emplace_back("it has text relocations, and Android loads no library that has");
        }
        if (library_.elf().page_alignment() < kLargestPage) {
            findings_.notes.push_back(
                fmt::format("its segments are aligned to {} bytes; Android devices with pages of {} "
                            "bytes cannot load it",
                            library_.elf().page_alignment(), kLargestPage));
        }
        if (!library_.elf().protects_whole_pages()) {
            findings_.notes.emplace_back(
                "its protected part ends inside a page where pages have 16384 bytes; loaders may "
                "leave that page writable");
        }
        if (library_.encoding() == "none") {
            findings_.notes.emplace_back("ENCODING NONE: every key can be read from the tables");
        }
    }

    void check_entries() {
        const std::vector<std::string> &entries = library_.signing_entries();
        for (std::size_t i = 0; i < entries.size(); ++i) {
            std::vector<std::string> problems;
            auto entry = unpack_entry(entries[i], problems);
            for (const std::string &problem : problems) {
                findings_.problems.push_back(fmt::format("signing entry {} of {}: {}", i + 1, entries.size(), problem));
            }
            if (entry) {
                note_unusual(*entry);
                entries_.push_back(*std::move(entry));
            }
        }
    }

    // An entry may serve others than `signature`, so this is no problem.
    void note_unusual(const PackedEntry &entry) {
        if (entry.content.size() != kSigningKeyLen || entry.iv.size() != kSigningIvLen) {
            findings_.notes.push_back(fmt::format(
                "the signing entry of key {} has {} bytes and an iv of {}; signing uses {} and {}",
                in_quotes(entry.key_id), entry.content.size(), entry.iv.size(), kSigningKeyLen, kSigningIvLen));
        }
        if (std::ranges::find(library_.aes_keys(), entry.key_id, &AesTablesView::key_id) == library_.aes_keys().end()) {
            findings_.notes.push_back(
                fmt::format("there is a signing entry of key {}, but no such AES key", in_quotes(entry.key_id)));
        }
    }

    // The library takes the first entry whose id begins with the wanted one.
    void check_served_entry(const std::string &id) {
        const auto served =
            std::ranges::find_if(entries_, [&id](const PackedEntry &entry) { return entry.key_id.starts_with(id); });
        if (served != entries_.end() && served->key_id != id) {
            findings_.problems.push_back(
                fmt::format("key {} is served with the signing entry of key {}, which comes first", in_quotes(id),
                            in_quotes(served->key_id)));
        }
    }

    const TableLibraryFile &library_;
    std::vector<PackedEntry> entries_;
    Findings findings_;
};

} // namespace

Findings verify_library(const TableLibraryFile &library) {
    return LibraryVerification(library).run();
}

} // namespace wbtables
