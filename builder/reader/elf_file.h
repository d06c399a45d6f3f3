// A shared object of any ABI, read as a file and never loaded: nothing in it runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "builder/reader/elf_contents.h"

namespace wbtables {

class ElfFile {
  public:
    using Symbol = ElfSymbol;

    // Reads the whole file. Throws an Error (Failure::library) that names the file and what is wrong with it. The file
    // is hostile until checked: every offset, size, count, string and relocation.
    explicit ElfFile(const std::filesystem::path &path);
    // What it hands out are views into its bytes: it can move, they stay.
    ElfFile(const ElfFile &) = delete;
    ElfFile &operator=(const ElfFile &) = delete;
    ElfFile(ElfFile &&) = default;
    ElfFile &operator=(ElfFile &&) = default;
    ~ElfFile() = default;

    [[nodiscard]] const std::vector<Symbol> &symbols() const { return contents_.symbols; } // sorted by name
    // The first of that name.
    [[nodiscard]] const Symbol *find(std::string_view name) const;
    // The `size` bytes that the file holds for an address. Nothing if it holds fewer in that segment.
    [[nodiscard]] std::optional<std::span<const std::uint8_t>> bytes(std::uint64_t address, std::uint64_t size) const {
        return contents_.bytes(address, size);
    }
    // All bytes from an address up to the end of its segment's file part; empty if the address is not in one.
    [[nodiscard]] std::span<const std::uint8_t> bytes_from(std::uint64_t address) const {
        return contents_.bytes_from(address);
    }
    // The pointer at an address after relocation against this file alone; 0 is a null pointer. Nothing: no pointer
    // there, or one that another library decides.
    [[nodiscard]] std::optional<std::uint64_t> pointer(std::uint64_t address) const;
    // Whether the loader changes any of these bytes, so that they are not what the file says.
    [[nodiscard]] bool is_relocated(std::uint64_t address, std::uint64_t size) const;

    // Whether the process may write to any of these bytes.
    [[nodiscard]] bool is_writable(std::uint64_t address, std::uint64_t size) const {
        return contents_.is_writable(address, size);
    }
    // Whether a loader, through every hash table, finds what find() finds: that symbol or none.
    [[nodiscard]] bool is_found_alike(std::string_view name) const;

    // arm64-v8a, armeabi-v7a, x86_64, x86; "machine" and its number for another.
    [[nodiscard]] std::string_view abi() const { return contents_.abi; }
    [[nodiscard]] std::size_t pointer_len() const { return contents_.pointer_len; }         // 4 or 8
    [[nodiscard]] std::string_view soname() const { return contents_.soname; }              // empty: none
    [[nodiscard]] std::uint64_t page_alignment() const { return contents_.page_alignment; } // least of the segments'
    [[nodiscard]] std::size_t relocations() const { return contents_.relocations.size(); }
    // Their kinds, by the processor's ABI, if those are not the ones that a pointer to data needs.
    [[nodiscard]] const std::vector<std::uint64_t> &other_relocations() const { return contents_.other_kinds; }
    [[nodiscard]] bool protects_whole_pages() const { return contents_.protects_whole_pages; }
    [[nodiscard]] bool has_text_relocations() const { return contents_.text_relocations; }
    // Whether relocations change the dynamic section or what that leads to, which is then not what the file says.
    [[nodiscard]] bool relocates_itself() const { return contents_.relocates_itself; }
    [[nodiscard]] const std::vector<std::string> &needed() const { return contents_.needed; }
    // Entries of the dynamic section for code that the loader runs, as in DT_INIT.
    [[nodiscard]] const std::vector<std::string_view> &initialisers() const { return contents_.initialisers; }
    [[nodiscard]] const std::vector<std::string> &functions() const { return contents_.functions; } // exported
    [[nodiscard]] std::size_t executable_segments() const;
    // Symbols, exported or not, whose address the loader asks code of the library for.
    [[nodiscard]] std::size_t resolvers() const { return contents_.resolvers; }
    // Whether a process that loads it gets stacks that can be executed.
    [[nodiscard]] bool has_executable_stack() const { return contents_.executable_stack; }
    [[nodiscard]] std::uint64_t file_size() const { return contents_.file.size(); }

  private:
    ElfContents contents_;
};

// What ElfFile::abi() says of this machine's own libraries; empty on a machine that Android does not know.
std::string_view host_abi();

} // namespace wbtables
