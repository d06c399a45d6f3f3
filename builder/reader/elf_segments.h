// What a loader maps of a shared object, and where.
#pragma once

#include <cstdint>

#include <gelf.h>

#include "builder/reader/elf_contents.h"

namespace wbtables {

// Where a dynamic section stands in memory.
struct ElfDynamicSection {
    std::uint64_t address;
    std::uint64_t size;
};

// Puts the segments and what else the program headers say into `contents`, whose file `elf` reads. Throws MalformedElf
// if loaders could map other bytes than the segments' own at their addresses, or could differ in what they see.
ElfDynamicSection read_segments(Elf *elf, ElfContents &contents);

} // namespace wbtables
