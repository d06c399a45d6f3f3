#include "support/loaded_library.h"

#include <dlfcn.h>

#include <stdexcept>

namespace test {

LoadedLibrary::LoadedLibrary(const TableSource &source, const std::string &wbid, int32_t version) {
    const auto file = source.build(dir_.path(), wbid, version);
    // Once loaded, it is found by its SONAME.
    if (dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
        throw std::runtime_error(dlerror());
    }
}

} // namespace test
