// The assembler text of a table library.
#pragma once

#include <string>
#include <string_view>

#include "builder/object/image.h"

namespace wbtables {

// The text takes the image's bytes from the file `data_file`, so no secret stands in it. It says the same to clang's
// and GNU's assemblers for all the processors that Android runs on.
std::string assembler_text(const Image &image, std::string_view data_file);

} // namespace wbtables
