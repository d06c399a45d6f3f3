// What a loader maps of a shared object, and where.
#pragma once

#include <gelf.h>

#include "builder/reader/elf_contents.h"

namespace wbtables {

// Puts the segments and what else the program headers say into `contents`, whose file `elf` reads. Throws MalformedElf
// if loaders could map other bytes than the segments' own at their addresses, or could differ in what they see. Returns
// where the dynamic section stands.
ElfRange read_segments(Elf *elf, ElfContents &contents);

} // namespace wbtables
