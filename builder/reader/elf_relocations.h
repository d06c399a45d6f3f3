// What the loader writes into a shared object, worked out from the file alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

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
    // Where a symbol of the dynamic symbol table stands; nothing if it is another library's.
    using SymbolAddress = std::function<std::optional<std::uint64_t>(std::uint64_t index)>;

    // `machine` may be null: then no relocation has a target.
    RelocationReader(ElfContents &contents, const ElfMachine *machine, SymbolAddress symbol_address)
        : contents_(contents), machine_(machine), symbol_address_(std::move(symbol_address)) {}

    // A table of entries with addends, of entries whose addends stand in place, and a packed one of relative ones
    // alone.
    void read_rela(Elf_Data *data, std::size_t count);
    void read_rel(Elf_Data *data, std::size_t count);
    void read_relr(std::uint64_t address, std::uint64_t size);
    // Sorts what was read.
    void finish();

  private:
    void add(std::uint64_t address, std::optional<std::uint64_t> target);
    [[nodiscard]] std::optional<std::uint64_t> target_of(std::uint64_t info, std::optional<std::uint64_t> addend) const;
    [[nodiscard]] std::optional<std::uint64_t> addend_at(std::uint64_t address) const;

    ElfContents &contents_;
    const ElfMachine *machine_;
    SymbolAddress symbol_address_;
};

} // namespace wbtables
