// Damaged table libraries, read as `verify` and `inspect` read them: as files. No loader sees one.

#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest.h>

#include "builder/check/compare_with_keys.h"
#include "builder/check/verify_library.h"
#include "builder/commands/inspect.h"
#include "builder/error.h"
#include "fuzz/support/memory_file.h"
#include "fuzz/support/sound_libraries.h"

namespace {

// Headers, symbols and relocations stand at both ends, so that is where most damage goes.
void damage(FuzzedDataProvider &in, std::string &file) {
    constexpr size_t kEnd = 4096;
    while (in.remaining_bytes() > 0 && !file.empty()) {
        const auto kind = in.ConsumeIntegralInRange(0, 15);
        size_t at = in.ConsumeIntegralInRange<size_t>(0, kind == 0 ? file.size() : std::min(kEnd, file.size()));
        at = kind % 2 == 1 ? file.size() - at : at;
        if (kind == 2) {
            file.resize(at);
        } else {
            const auto bytes = in.ConsumeBytes<char>(size_t{1} << in.ConsumeIntegralInRange(0, 3));
            std::copy_n(bytes.begin(), std::min(bytes.size(), file.size() - at),
                        file.begin() + static_cast<ptrdiff_t>(at));
        }
    }
}

void inspect(const std::string &path) {
    CLI::App app;
    std::function<void()> run;
    wbtables::add_inspect_command(app, run);
    app.parse(std::vector<std::string>{path, "--show-secrets", "inspect"}); // from behind
    run();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::vector<std::string> libraries = fuzz::sound_libraries();
    static const fuzz::MemoryFile file("library");
    FuzzedDataProvider in(data, size);
    const auto base = in.ConsumeIntegralInRange<size_t>(0, libraries.size());
    const bool compares = in.ConsumeIntegralInRange(0, 31) == 31; // it takes long
    std::string bytes = base < libraries.size() ? libraries[base] : in.ConsumeRemainingBytesAsString();
    damage(in, bytes);
    file.fill({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
    try {
        const wbtables::TableLibraryFile library(file.path());
        wbtables::Findings findings = verify_library(library);
        if (compares) {
            compare_with_keys(library, fuzz::sound_keys(), findings);
        }
        for (const auto *const sentences : {&findings.problems, &findings.notes}) {
            for (const std::string &sentence : *sentences) {
                EXPECT_TRUE(fuzz::is_harmless(sentence)) << sentence;
            }
        }
        inspect(file.path());
    } catch (const wbtables::Error &error) {
        EXPECT_EQ(error.failure(), wbtables::Failure::library);
        EXPECT_TRUE(fuzz::is_harmless(error.what())) << error.what();
    }
    return 0;
}
