#include "builder/object/instructions.h"

#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "builder/object/abi.h"
#include "builder/object/compiler.h"

namespace wbtables {
namespace {

constexpr const char *kText = R"({data} IS SECRET: it holds the tables, sk and ak. Whoever has it has the keys.
Remove it, and {source} with it, once the libraries are made.

{source} is assembler text for every ABI. It includes {data} from the folder that the assembler runs in, or from one
that an -I option names. Each command makes the library of one ABI; the file name and the SONAME must be as they
are here.
)";

std::string command(const std::string &options, const std::string &output, const std::string &source) {
    return fmt::format("clang {}{}\n", options, fmt::join(compiler_arguments(source, output), " "));
}

} // namespace

std::string instructions(const std::string &library, const std::string &source, const std::string &data) {
    std::string text = fmt::format(kText, fmt::arg("source", source), fmt::arg("data", data));
    for (const Abi &abi : kAbis) {
        const std::string output = fmt::format("{}/{}", abi.name, library);
        text += fmt::format("\nFor {}:\n  mkdir -p {} &&\n  {}", abi.name, abi.name,
                            command(fmt::format("--target={} ", abi.target), output, source));
    }
    return text + "\nFor the machine that clang is for by itself:\n  " + command("", library, source);
}

} // namespace wbtables
