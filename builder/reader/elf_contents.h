// What is read out of a shared object once, when its file is opened.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

// A file that says of itself what cannot be; the text says what, and goes on after the file's name.
class MalformedElf : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

constexpr std::size_t kMostSymbols = std::size_t{1} << 16U;

struct ElfSymbol { // defined and exported
    std::string name;
    std::uint64_t address;
    std::uint64_t size; // as the file says; 0: it does not say
    std::size_t index;  // in the table of symbols
};

struct ElfSegment {
    std::uint64_t address;
    std::uint64_t memory_size; // file_size <= memory_size, and address + memory_size does not overflow
    std::size_t offset;
    std::size_t file_size; // offset + file_size <= the file's size
    bool writable;
    bool executable;
};

// Bytes of memory.
struct ElfRange {
    std::uint64_t address;
    std::uint64_t size; // address + size does not overflow
};

struct ElfRelocation {
    std::uint64_t address = 0;
    std::optional<std::uint64_t> target; // nothing: another library decides, or its kind is unknown
};

struct ElfContents {
    SecretBytes file;
    std::string abi;
    std::size_t pointer_len = 0;
    std::vector<ElfSegment> segments; // loadable ones, in order of address, no two in one page
    std::uint64_t page_alignment = 0;
    std::optional<ElfRange> protection; // from writing, once addresses are put in: whole pages of 4 KiB
    bool protects_whole_pages = true;   // also where they are larger
    bool executable_stack = false;
    std::vector<ElfSymbol> symbols;         // sorted by name
    std::vector<std::string> names;         // of symbols that a loader may find, by index; empty: it passes this one by
    std::vector<std::string> functions;     // names of those that are code
    std::size_t resolvers = 0;              // symbols whose address the loader asks code for
    std::vector<ElfRelocation> relocations; // sorted by address
    std::vector<std::uint64_t> other_kinds; // of relocations that no table needs, as the file has them
    bool text_relocations = false;
    bool relocates_itself = false; // changes what the loader reads of it: entries, names, symbols, hash tables
    std::string soname;
    std::vector<std::string> needed;
    std::vector<std::string_view> initialisers; // the dynamic section's entries for code that the loader runs
    std::optional<std::uint64_t> sysv_hash;     // addresses of hash tables
    std::optional<std::uint64_t> gnu_hash;

    // What the file holds from an address up to the end of its segment's file part; empty if the address is in none.
    [[nodiscard]] std::span<const std::uint8_t> bytes_from(std::uint64_t address) const;
    // Nothing if fewer bytes are there.
    [[nodiscard]] std::optional<std::span<const std::uint8_t>> bytes(std::uint64_t address, std::uint64_t size) const;
    // Whether the process may write to any of them.
    [[nodiscard]] bool is_writable(std::uint64_t address, std::uint64_t size) const;
    // A little-endian number of 4 or 8 bytes.
    [[nodiscard]] std::optional<std::uint64_t> number(std::uint64_t address, std::size_t size) const;
};

} // namespace wbtables
