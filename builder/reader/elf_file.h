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

namespace wbtables {

class ElfFile {
  public:
    struct Symbol { // defined and exported
        std::string name;
        std::uint64_t address;
        std::uint64_t size;
    };

    // Reads the whole file. Throws an Error (Failure::library) that names the file and what is wrong with it. The file is
    // hostile until checked: every offset, size, count, string and relocation.
    explicit ElfFile(const std::filesystem::path &path);

    [[nodiscard]] const std::vector<Symbol> &symbols() const; // sorted by name
    [[nodiscard]] const Symbol *find(std::string_view name) const;
    // The file's bytes from a virtual address up to the end of what the file holds there, at most `size`.
    // Nothing if fewer than `size` bytes are there.
    [[nodiscard]] std::optional<std::span<const std::uint8_t>> bytes(std::uint64_t address, std::size_t size) const;
    // All bytes from an address up to the end of its segment's file part; empty if the address is not in one.
    [[nodiscard]] std::span<const std::uint8_t> bytes_from(std::uint64_t address) const;
    // The pointer at an address after relocation against this file alone; 0 is a null pointer. Nothing: no pointer
    // there, or one that another library decides.
    [[nodiscard]] std::optional<std::uint64_t> pointer(std::uint64_t address) const;

    [[nodiscard]] std::string_view abi() const;    // arm64-v8a, armeabi-v7a, x86_64, x86; else the machine's name
    [[nodiscard]] std::size_t pointer_len() const; // 4 or 8
    [[nodiscard]] std::string_view soname() const; // empty: none
    [[nodiscard]] std::uint64_t page_alignment() const; // the least of the loadable segments
    [[nodiscard]] std::size_t relocations() const;
    [[nodiscard]] bool has_text_relocations() const;
    [[nodiscard]] std::vector<std::string> needed() const;
    [[nodiscard]] std::uint64_t file_size() const;
};

} // namespace wbtables
