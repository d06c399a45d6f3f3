#include "builder/library.h"

#include <span>
#include <vector>

#include "builder/check/check.h"
#include "builder/error.h"
#include "builder/keys/rules.h"
#include "builder/object/assembler.h"
#include "builder/object/compiler.h"
#include "builder/object/contents.h"
#include "builder/object/work_folder.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

constexpr const char *kSource = "tables.s";
constexpr const char *kData = "tables.bin";

void refuse_problems(const KeySet &set) {
    std::vector<Problem> problems = name_problems(set);
    for (Problem &problem : secret_problems(set)) {
        problems.push_back(std::move(problem));
    }
    std::string message;
    for (const Problem &problem : problems) {
        message.append(message.empty() ? "" : "\n").append(problem.message);
    }
    if (!message.empty()) {
        throw Error(Failure::refused, message);
    }
}

void throw_if_interrupted(const BuildOptions &options) {
    if (options.interrupted && options.interrupted()) {
        throw Interrupted();
    }
}

void begin_step(const BuildOptions &options, std::string_view step) {
    throw_if_interrupted(options);
    if (options.progress) {
        options.progress(step);
    }
}

void write_sources(const Image &image, const fs::path &folder) {
    const std::string text = assembler_text(image, kData, sizeof(void *));
    write_file(folder / kSource, std::as_bytes(std::span(text)));
    write_file(folder / kData, std::as_bytes(std::span(image.bytes())));
}

} // namespace

fs::path build_library(const KeySet &set, const fs::path &dir, const BuildOptions &options) {
    refuse_problems(set);
    const std::string name = file_name(set);
    const WorkFolder folder(dir);
    begin_step(options, "tables");
    const Image image = table_library_image(set, options.encoding);
    begin_step(options, "assemble and link");
    write_sources(image, folder.path());
    run_compiler({options.compiler, folder.path(), kSource, name}, options.interrupted);
    if (options.check) {
        begin_step(options, "check");
        check_library(folder.path(), set, image, options.library_log);
    }
    throw_if_interrupted(options);
    publish_file(folder.path() / name, dir / name);
    return dir / name;
}

} // namespace wbtables
