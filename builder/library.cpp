#include "builder/library.h"

#include <exception>
#include <future>
#include <mutex>
#include <span>

#include <fmt/format.h>

#include "builder/check/check.h"
#include "builder/check/file_check.h"
#include "builder/error.h"
#include "builder/files/publication.h"
#include "builder/files/work_folder.h"
#include "builder/keys/rules.h"
#include "builder/object/assembler.h"
#include "builder/object/compiler.h"
#include "builder/object/contents.h"
#include "builder/object/instructions.h"
#include "builder/reader/elf_file.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

constexpr const char *kSource = "tables.s";
constexpr const char *kData = "tables.bin";
constexpr const char *kInstructions = "README.txt";

void refuse_problems(const KeySet &set) {
    std::vector<Problem> problems = name_problems(set);
    const std::vector<Problem> secret = secret_problems(set);
    problems.insert(problems.end(), secret.begin(), secret.end());
    refuse(problems);
}

// Waits for all and throws the first error.
void finish_all(std::vector<std::future<void>> &tasks) {
    std::exception_ptr error;
    for (std::future<void> &task : tasks) {
        try {
            task.get();
        } catch (...) {
            error = error ? error : std::current_exception();
        }
    }
    if (error) {
        std::rethrow_exception(error);
    }
}

// One image in a work folder, and the libraries that are made of it there.
class Build {
  public:
    Build(const KeySet &set, const fs::path &dir, const BuildOptions &options)
        : set_(set), dir_(dir), options_(options), folder_(dir) {
        begin_step("", "tables");
        image_ = table_library_image(set, options.encoding);
    }

    // Each of `libraries` is a path below the folder, with the ABI it is for; none: this machine.
    struct Library {
        fs::path path;
        const Abi *abi;
    };

    void make(const std::vector<Library> &libraries) {
        write_sources();
        std::vector<std::future<void>> tasks;
        tasks.reserve(libraries.size());
        for (const Library &library : libraries) {
            fs::create_directories((folder_.path() / library.path).parent_path());
            tasks.push_back(std::async(std::launch::async, [this, &library] { compile(library); }));
        }
        finish_all(tasks);
        for (const Library &library : libraries) {
            check(library);
        }
    }

    void write_sources() const {
        const std::string text = assembler_text(image_, kData);
        write_file(folder_.path() / kSource, std::as_bytes(std::span(text)));
        write_file(folder_.path() / kData, std::as_bytes(std::span(image_.bytes())));
    }

    void write_instructions() const {
        const std::string text = instructions(file_name(set_), kSource, kData);
        write_file(folder_.path() / kInstructions, std::as_bytes(std::span(text)));
    }

    // All or none. Returns where they are now.
    [[nodiscard]] std::vector<fs::path> publish(const std::vector<fs::path> &files) const {
        throw_if_interrupted();
        Publication publication(folder_.path());
        std::vector<fs::path> places;
        for (const fs::path &file : files) {
            publication.put(folder_.path() / file, dir_ / file);
            places.push_back(dir_ / file);
        }
        publication.finish();
        return places;
    }

  private:
    void compile(const Library &library) {
        begin_step(library, "assemble and link");
        run_compiler({options_.compiler, folder_.path(), library.abi == nullptr ? "" : library.abi->target, kSource,
                      library.path},
                     options_.interruptions);
    }

    // A library that this machine cannot load is compared as a file; so is one that it can.
    void check(const Library &library) {
        if (!options_.check) {
            return;
        }
        begin_step(library, "check");
        const std::string_view abi = library.abi == nullptr ? host_abi() : library.abi->name;
        const fs::path path = folder_.path() / library.path;
        if (abi == host_abi()) {
            check_library(path.parent_path(), set_, image_, options_.library_log);
        }
        if (!abi.empty()) {
            check_library_file(path, abi, image_);
        }
    }

    void throw_if_interrupted() const {
        if (options_.interruptions && options_.interruptions() != 0) {
            throw Interrupted();
        }
    }

    void begin_step(const Library &library, std::string_view step) {
        begin_step(library.abi == nullptr ? "" : fmt::format("{}: ", library.abi->name), step);
    }
    void begin_step(std::string_view subject, std::string_view step) {
        throw_if_interrupted();
        if (options_.progress) {
            const std::lock_guard lock(progress_);
            options_.progress(fmt::format("{}{}", subject, step));
        }
    }

    const KeySet &set_;
    const fs::path &dir_;
    const BuildOptions &options_;
    WorkFolder folder_;
    Image image_;
    std::mutex progress_;
};

} // namespace

fs::path build_library(const KeySet &set, const fs::path &dir, const BuildOptions &options) {
    refuse_problems(set);
    Build build(set, dir, options);
    const fs::path name = file_name(set);
    build.make({{name, nullptr}});
    return build.publish({name}).front();
}

std::vector<fs::path> build_libraries(const KeySet &set, const fs::path &dir, const std::vector<Abi> &abis,
                                      const BuildOptions &options) {
    refuse_problems(set);
    Build build(set, dir, options);
    std::vector<Build::Library> libraries;
    std::vector<fs::path> paths;
    for (const Abi &abi : abis) {
        libraries.push_back({fs::path(abi.name) / file_name(set), &abi});
        paths.push_back(libraries.back().path);
    }
    build.make(libraries);
    return build.publish(paths);
}

std::vector<fs::path> emit_sources(const KeySet &set, const fs::path &dir, const BuildOptions &options) {
    refuse_problems(set);
    const Build build(set, dir, options);
    build.write_sources();
    build.write_instructions();
    return build.publish({kSource, kData, kInstructions});
}

} // namespace wbtables
