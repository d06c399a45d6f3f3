// What the loader writes into a shared object, worked out from the file alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <gelf.h>

#include "builder/reader/elf_contents.h"

namespace wbtables {

// The kinds of relocation that a table library's pointers have, as the processor's ABI numbers them.
struct ElfMachine {
    unsigned machine; // of the ELF header
    int elf_class;    // ELFCLASS32 or ELFCLASS64
    const char *abi;
    std::uint32_t relative; // load address + addend
    std::uint32_t absolute; // symbol + addend
    std::uint32_t global;   // symbol, in a table of addresses
};

// Null for other machines.
const ElfMachine *find_machine(unsigned machine, int elf_class);

class RelocationReader {
  public:
    // Where each symbol of the dynamic symbol table stands; nothing if it is another library's.
    using SymbolAddresses = std::vector<std::optional<std::uint64_t>>;

    // `machine` may be null: then no relocation has a target. `symbols` must outlive the reader.
    RelocationReader(ElfContents &contents, const ElfMachine *machine, const SymbolAddresses &symbols)
        : contents_(contents), machine_(machine), symbols_(symbols) {}

    // A table of entries with addends, of entries whose addends stand in place, and a packed one of relative ones
    // alone. A loader takes the first `relative` entries for relative ones without a look at them.
    void read_rela(Elf_Data *data, std::size_t count, std::uint64_t relative);
    void read_rel(Elf_Data *data, std::size_t count, std::uint64_t relative);
    void read_relr(std::uint64_t address, std::uint64_t size);
    // Sorts what was read.
    void finish();

  private:
    struct Entry {
        std::uint64_t address = 0;
        std::uint64_t kind = 0;
        std::uint64_t symbol = 0; // its index; 0: none
        std::optional<std::uint64_t> addend;
    };

    void read_entry(const Entry &entry, bool is_taken_for_relative);
    void add(std::uint64_t address, std::optional<std::uint64_t> target);
    [[nodiscard]] bool is_usual(const Entry &entry) const;
    [[nodiscard]] std::optional<std::uint64_t> target_of(const Entry &entry) const;
    [[nodiscard]] std::optional<std::uint64_t> addend_at(std::uint64_t address) const;

    ElfContents &contents_;
    const ElfMachine *machine_;
    const SymbolAddresses &symbols_;
};

} // namespace wbtables
