// The hash tables through which a loader finds symbols. The table of symbols does not say itself how long it is, and
// a symbol that no hash table leads to is there for readers of the file alone.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "builder/reader/elf_contents.h"

namespace wbtables {

// How many symbols there are, by the hash table that knows of more. Throws MalformedElf.
std::uint64_t symbol_count(const ElfContents &contents);

// The index at which a search for that name ends, for each hash table that there is; nothing if it finds none.
std::vector<std::optional<std::size_t>> look_up(const ElfContents &contents, std::string_view name);

} // namespace wbtables
