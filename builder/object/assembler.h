// The assembler text of a table library.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "builder/object/image.h"

namespace wbtables {

// The text takes the image's bytes from the file `data_file`, so no secret stands in it. It says the same to the
// assemblers of all the processors that Android runs on; `pointer_len` is 4 or 8.
std::string assembler_text(const Image &image, std::string_view data_file, std::size_t pointer_len);

} // namespace wbtables
