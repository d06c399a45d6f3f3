// Takes a shared object apart. Program headers and the dynamic section alone are read, as a loader does: section
// headers may be missing, and where they are there they must not lead a loader elsewhere.
#pragma once

#include "builder/reader/elf_contents.h"

namespace wbtables {

// Throws MalformedElf if the bytes are no shared object, or one that cannot be trusted to be what it
// says. `file` is hostile: every offset, size, count, string and relocation.
ElfContents parse_elf(SecretBytes file);

} // namespace wbtables
