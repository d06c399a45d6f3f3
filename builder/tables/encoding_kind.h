// Whether the tables of AES keys are encoded.
#pragma once

namespace wbtables {

enum class EncodingKind {
    none,     // bytes are themselves: the key can be read from the tables. For tests
    hardened, // the default
};

} // namespace wbtables
