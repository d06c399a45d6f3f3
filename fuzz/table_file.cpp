// Damaged table libraries, read as `verify` and `inspect` read them: as files. No loader sees one. Undamaged ones are
// fine, and so is nothing that differs from them in what the manifest decides.

#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest.h>

#include "builder/check/compare_with_keys.h"
#include "builder/check/verify_library.h"
#include "builder/commands/inspect.h"
#include "builder/error.h"
#include "fuzz/support/memory_file.h"
#include "fuzz/support/sound_libraries.h"
#include "support/temp_dir.h"

namespace {

// Headers, symbols and relocations stand at both ends, so that is where most damage goes. A permutation of which two
// bytes are exchanged is one still.
void damage(FuzzedDataProvider &in, std::string &file) {
    constexpr size_t kEnd = 4096;
    constexpr int kAnywhere = 0;
    constexpr int kCut = 2;
    constexpr int kExchange = 4;
    while (in.remaining_bytes() > 0 && !file.empty()) {
        const auto kind = in.ConsumeIntegralInRange(0, 15);
        const size_t last = kind == kAnywhere || kind == kExchange ? file.size() : std::min(kEnd, file.size());
        auto at = in.ConsumeIntegralInRange<size_t>(0, last);
        at = kind % 2 == 1 ? file.size() - at : at;
        if (kind == kCut) {
            file.resize(at);
        } else if (kind == kExchange) {
            std::iter_swap(file.begin() + static_cast<ptrdiff_t>(at % file.size()),
                           file.begin() + static_cast<ptrdiff_t>((at + 1) % file.size()));
        } else {
            const auto bytes = in.ConsumeBytes<char>(size_t{1} << in.ConsumeIntegralInRange(0, 3));
            std::copy_n(bytes.begin(), std::min(bytes.size(), file.size() - at),
                        file.begin() + static_cast<ptrdiff_t>(at));
        }
    }
}

// A file in memory under the name that table libraries have.
class LibraryFile {
  public:
    LibraryFile() { std::filesystem::create_symlink(file_.path(), path_); }

    void fill(const std::string &bytes) const {
        file_.fill({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
    }
    [[nodiscard]] const std::filesystem::path &path() const { return path_; }

  private:
    const fuzz::MemoryFile file_{"library"};
    const test::TempDir dir_;
    const std::filesystem::path path_ = dir_.path() / file_name(fuzz::sound_keys());
};

// What of a library the manifest decides.
std::string deciding(const wbtables::TableLibraryFile &library) {
    std::string all = library.appid() + '\0' + (library.whitelist() ? "=" + *library.whitelist() : "") + '\0';
    const auto add = [&all](const auto &bytes) { all.append(bytes.begin(), bytes.end()).push_back('\0'); };
    add(library.sk());
    add(library.ak());
    for (const wbtables::AesTablesView &key : library.aes_keys()) {
        add(key.key_id);
        add(key.xor_table);
        add(key.round_tables);
        add(key.last_round);
    }
    for (const wbtables::Sm4TablesView &key : library.sm4_keys()) {
        add(key.key_id);
        add(key.tables);
    }
    return all;
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
    static const LibraryFile file;
    static const std::string sound = [] {
        file.fill(libraries.front());
        return deciding(wbtables::TableLibraryFile(file.path()));
    }();
    FuzzedDataProvider in(data, size);
    const auto base = in.ConsumeIntegralInRange<size_t>(0, libraries.size());
    const bool compares = in.ConsumeIntegralInRange(0, 31) == 31; // it takes long
    std::string bytes = base < libraries.size() ? libraries[base] : in.ConsumeRemainingBytesAsString();
    damage(in, bytes);
    file.fill(bytes);
    try {
        const wbtables::TableLibraryFile library(file.path());
        wbtables::Findings findings = verify_library(library);
        if (compares) {
            compare_with_keys(library, fuzz::sound_keys(), findings);
        }
        const bool is_fine = findings.problems.empty();
        EXPECT_TRUE(is_fine || base == libraries.size() || bytes != libraries[base]) << findings.problems.front();
        EXPECT_TRUE(!is_fine || !compares || deciding(library) == sound);
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
