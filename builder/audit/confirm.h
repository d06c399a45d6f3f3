// Is this the key of these tables?
#pragma once

#include <cstdint>
#include <span>

#include "builder/reader/key_tables.h"

namespace wbtables {

// The tables encrypt random blocks as the clear cipher does under `key`. False also for tables that have not the
// format's sizes and for a key that has not the cipher's.
bool confirms(const AesTablesView &tables, std::span<const std::uint8_t> key);
bool confirms(const Sm4TablesView &tables, std::span<const std::uint8_t> key);

} // namespace wbtables
