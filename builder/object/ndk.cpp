#include "builder/object/ndk.h"

#include <system_error>

#include <fmt/format.h>
#include <unistd.h>

#include "builder/error.h"
#include "builder/keys/key_set.h"

namespace wbtables {

namespace fs = std::filesystem;

// The folder between is named for the machine that the NDK runs on; there is one.
fs::path find_ndk_compiler(const fs::path &folder) {
    std::error_code error;
    for (fs::directory_iterator each(folder / "toolchains/llvm/prebuilt", error), end; !error && each != end;
         each.increment(error)) {
        fs::path compiler = each->path() / "bin/clang";
        if (::access(compiler.c_str(), X_OK) == 0) {
            return compiler;
        }
    }
    throw Error(Failure::compiler, fmt::format("{}: no NDK: there is no toolchains/llvm/prebuilt/*/bin/clang in it",
                                               without_controls(folder.string())));
}

} // namespace wbtables
