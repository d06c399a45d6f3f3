// Libraries for other machines than this one, and sources for other compilers than clang.

#include <algorithm>
#include <cstdlib>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "builder/library.h"
#include "builder/object/ndk.h"
#include "builder/reader/table_library_file.h"
#include "key_sets.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using test::key_of;
using testing::ElementsAre;
using testing::HasSubstr;
using wbtables::Abi;
using wbtables::Algorithm;
using wbtables::BuildOptions;
using wbtables::TableLibraryFile;

constexpr const char *kName = "libwb_tables_demo_1.so";

const std::vector<Abi> &all_abis() {
    static const std::vector<Abi> abis(std::begin(wbtables::kAbis), std::end(wbtables::kAbis));
    return abis;
}

wbtables::KeySet sample_set() {
    return test::key_set_of({test::signing_key_of("pay", Algorithm::aes128), key_of("sm", Algorithm::sm4)});
}

std::string everything_in(const TableLibraryFile &library) {
    std::string all(library.sk().begin(), library.sk().end());
    for (const auto &key : library.aes_keys()) {
        for (const auto view : {key.xor_table, key.round_tables, key.last_round}) {
            all.append(view.begin(), view.end());
        }
    }
    all.append(library.sm4_keys().at(0).tables.begin(), library.sm4_keys().at(0).tables.end());
    return all + library.signing_entries().at(0);
}

TEST(Abis, AllHoldTheSameTables) {
    const test::TempDir dir;
    std::vector<std::string> steps;
    BuildOptions options;
    options.progress = [&](std::string_view step) { steps.emplace_back(step); };
    const auto paths = wbtables::build_libraries(sample_set(), dir.path(), all_abis(), options);
    ASSERT_EQ(paths.size(), 4U);
    const std::string expected = everything_in(TableLibraryFile(paths[0]));
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const TableLibraryFile library(paths[i]);
        EXPECT_EQ(paths[i], dir.path() / all_abis()[i].name / kName);
        EXPECT_EQ(library.elf().abi(), all_abis()[i].name);
        EXPECT_THAT(library.problems(), testing::IsEmpty());
        EXPECT_EQ(library.encoding(), "hardened");
        EXPECT_TRUE(everything_in(library) == expected) << paths[i];
    }
    EXPECT_THAT(test::names_in(dir.path()), ElementsAre("arm64-v8a", "armeabi-v7a", "x86", "x86_64"));
    EXPECT_THAT(steps, testing::IsSupersetOf({"tables", "x86: assemble and link", "arm64-v8a: check"}));
    EXPECT_EQ(steps.size(), 9U);
}

// What a compiler does wrong for one of two ABIs, before it would do it right.
struct BadCompiler {
    const char *script;
    const char *message;
};
constexpr BadCompiler kBadCompilers[] = {
    {"exit 7", "--target=armv7a-linux-androideabi21: failed with exit status 7"},
    {"shift; exec clang --target=i686-linux-android21 \"$@\"", "check failed: x86: it is for x86, not for armeabi-v7a"},
    {"echo rubbish > armeabi-v7a/libwb_tables_demo_1.so; exit 0", "is no shared object"},
    {"exec clang \"$@\" -Wl,-z,max-page-size=4096", "its segments are not aligned to 16 KiB"},
    {"exec clang \"$@\" -Wl,-soname,libother.so", "its SONAME is not its file name"},
    {R"(sed -i 's/^.Ldata:/.byte 0\n&/' $last)", "is not what was made"},
    {R"(sed -i '/.size "sk"/d' $last)", "symbol \"sk\" is not what was made"},
    {R"(sed -i '/.size "keys"/d' $last)", "symbol keys is not what was made"},
    {R"(sed -i 's/.dc.a 0/.dc.a .Ldata/' $last)", "slot 1 of sm4_keyids is not what was made"},
    {R"(sed -i 's/.dc.a .Ldata.*/.dc.a 0/' $last)", "slot 0 of sm4_keyids is not what was made"},
    {R"(sed -i 's/"wbid", .Ldata + 0/"wbid", .Ldata + 64/' $last)", "symbol \"wbid\" is not what was made"},
    {R"(printf '.data\n.globl more\nmore: .byte 1\n' >> $last)", "it exports more than was made"},
};

TEST(Abis, AreReplacedTogetherOrNotAtAll) {
    for (const BadCompiler &compiler : kBadCompilers) {
        SCOPED_TRACE(compiler.script);
        const test::TempDir tools;
        // The other ABI's compiler runs beside the bad one, which gets sources of its own.
        test::write_text(
            tools.path() / "cc",
            std::string("#!/bin/sh\ncase $1 in *armv7a*)\nmkdir bad; cp tables.* bad; mkdir bad/armeabi-v7a; "
                        "last=bad/tables.s\n") +
                compiler.script +
                "\ncd bad; clang \"$@\" && mv armeabi-v7a/* ../armeabi-v7a; exit;;\nesac\nexec clang \"$@\"\n",
            0700);
        const test::TempDir dir;
        fs::create_directory(dir.path() / "arm64-v8a");
        test::write_text(dir.path() / "arm64-v8a" / kName, "an earlier library");
        BuildOptions options;
        options.compiler = (tools.path() / "cc").string();
        const std::vector<Abi> abis(all_abis().begin(), all_abis().begin() + 2);
        const auto thrown =
            test::thrown_by([&] { wbtables::build_libraries(sample_set(), dir.path(), abis, options); });
        // On a machine of that ABI the library is loaded before its file is read, and other words tell of it.
        EXPECT_THAT(thrown.message, HasSubstr(wbtables::host_abi() == "armeabi-v7a" ? "failed" : compiler.message));
        EXPECT_THAT(test::names_in(dir.path()), ElementsAre("arm64-v8a"));
        EXPECT_EQ(test::read_text(dir.path() / "arm64-v8a" / kName), "an earlier library");
    }
}

TEST(Abis, AreTakenBackIfOneCannotBePublished) {
    const test::TempDir dir;
    fs::create_directories(dir.path() / "x86" / kName);
    fs::create_directory(dir.path() / "arm64-v8a");
    test::write_text(dir.path() / "arm64-v8a" / kName, "an earlier library");
    const auto thrown = test::thrown_by([&] { wbtables::build_libraries(sample_set(), dir.path(), all_abis(), {}); });
    EXPECT_THAT(thrown.message, HasSubstr("x86/libwb_tables_demo_1.so: cannot be written: Is a directory"));
    EXPECT_THAT(test::names_in(dir.path()), ElementsAre("arm64-v8a", "x86"));
    EXPECT_EQ(test::read_text(dir.path() / "arm64-v8a" / kName), "an earlier library");
}

TEST(Ndk, IsFoundByItsFolders) {
    const test::TempDir ndk;
    const auto thrown = test::thrown_by([&] { wbtables::find_ndk_compiler(ndk.path()); });
    EXPECT_EQ(thrown.failure, wbtables::Failure::compiler);
    EXPECT_THAT(thrown.message, HasSubstr("no NDK"));
    const fs::path bin = ndk.path() / "toolchains/llvm/prebuilt/linux-x86_64/bin";
    fs::create_directories(bin);
    test::write_text(bin / "clang", "#!/bin/sh\n", 0700);
    EXPECT_EQ(wbtables::find_ndk_compiler(ndk.path()), bin / "clang");
}

// GNU's assemblers and linkers, each for its own machine.
class EmittedSources : public testing::TestWithParam<std::pair<const char *, const char *>> {};
INSTANTIATE_TEST_SUITE_P(Gnu, EmittedSources,
                         testing::Values(std::pair("aarch64-linux-gnu", "arm64-v8a"),
                                         std::pair("arm-linux-gnueabihf", "armeabi-v7a"),
                                         std::pair("x86_64-linux-gnu", "x86_64"), std::pair("i686-linux-gnu", "x86")),
                         [](const auto &each) {
                             std::string name = each.param.second;
                             std::ranges::replace(name, '-', '_');
                             return name;
                         });

TEST_P(EmittedSources, MakeALibraryWithOtherTools) {
    const std::string tools = GetParam().first;
    if (std::system((tools + "-ld --version >/dev/null 2>&1").c_str()) != 0) {
        GTEST_SKIP() << "binutils for " << tools << " are not installed";
    }
    const test::TempDir dir;
    const auto set = sample_set();
    const auto paths = wbtables::emit_sources(set, dir.path(), {});
    EXPECT_THAT(test::names_in(dir.path()), ElementsAre("README.txt", "tables.bin", "tables.s"));
    const std::string command = "cd '" + dir.string() + "' && " + tools + "-as -o tables.o tables.s && " + tools +
                                "-ld -shared -soname " + kName + " -o " + kName + " tables.o";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const TableLibraryFile library(dir.path() / kName);
    EXPECT_EQ(library.elf().abi(), GetParam().second);
    EXPECT_THAT(library.problems(), testing::IsEmpty());
    EXPECT_EQ(library.sk(), set.sk);
    EXPECT_EQ(library.aes_keys().size() + library.sm4_keys().size(), 2U);
    EXPECT_EQ(library.signing_entries().size(), 1U);
}

TEST(EmittedSources, AreForTheirOwnerAloneAndBuildAsTheySay) {
    const test::TempDir dir;
    test::write_text(dir.path() / "tables.bin", "earlier data", 0644);
    for (const fs::path &path : wbtables::emit_sources(sample_set(), dir.path(), {})) {
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write) << path;
    }
    const std::string text = test::read_text(dir.path() / "tables.s") + test::read_text(dir.path() / "README.txt");
    EXPECT_EQ(text.find("the sk"), std::string::npos);
    EXPECT_NE(test::read_text(dir.path() / "tables.bin").find("the sk"), std::string::npos);
    const std::string command =
        "cd '" + dir.string() + "' && sed -n 's/^  //p' README.txt > commands && sh -e commands";
    ASSERT_EQ(std::system(command.c_str()), 0);
    for (const Abi &abi : all_abis()) {
        const TableLibraryFile library(dir.path() / abi.name / kName);
        EXPECT_EQ(library.elf().abi(), abi.name);
        EXPECT_THAT(library.problems(), testing::IsEmpty());
    }
    EXPECT_TRUE(fs::exists(dir.path() / kName));
}

} // namespace
