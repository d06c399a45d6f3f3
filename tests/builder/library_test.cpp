// Whole libraries, built and read again.

#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "builder/library.h"
#include "builder/reader/table_library_file.h"
#include "key_sets.h"
#include "support/cms_message.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using test::key_of;
using test::key_set_of;
using test::signing_key_of;
using wbtables::Algorithm;
using wbtables::BuildOptions;
using wbtables::Failure;

TEST(Library, AsLongAsTheLibraryCanServeIsBuilt) {
    wbtables::KeySet set = key_set_of({});
    set.version = -2147483647 - 1;
    set.wbid = std::string(199 - std::strlen("libwb_tables__-2147483648.so"), 'w');
    set.appid = std::string(79, 'a');
    set.whitelist = std::string(4999, 'l');
    set.sk = test::secret(std::string(99, 's'));
    set.ak = test::secret(std::string(99, 'k'));
    // 51 + 69 + 9 * 5 + 9 * 4 + 8 = 209
    set.keys = {signing_key_of(std::string(50, 'i'), Algorithm::aes256), key_of(std::string(68, 'j'), Algorithm::sm4)};
    for (const char digit : std::string("123456789")) {
        set.keys.push_back(key_of(std::string("aes") + digit, Algorithm::aes128));
        set.keys.push_back(key_of(std::string("sm") + digit, Algorithm::sm4));
    }
    set.keys.back().id += "_to_209";
    set.keys.back().id += "x";
    const test::TempDir dir;
    const fs::path path = wbtables::build_library(set, dir.path(), {});
    EXPECT_EQ(wbtables::joined_ids(set).size(), 209U);
    EXPECT_EQ(path.filename().string().size(), 199U);
}

TEST(Library, NeedsNeitherBothCiphersNorAWhitelist) {
    for (const auto algorithm : {Algorithm::sm4, Algorithm::aes192}) {
        wbtables::KeySet set = key_set_of({key_of("only", algorithm)});
        set.whitelist.reset();
        const test::TempDir dir;
        const wbtables::TableLibraryFile library(wbtables::build_library(set, dir.path(), {}));
        EXPECT_EQ(library.elf().find("sm4_keyids") != nullptr, algorithm == Algorithm::sm4);
        EXPECT_NE(library.elf().find("aes_keyids"), nullptr);
        EXPECT_EQ(library.elf().find("keys"), nullptr);
    }
}

// Longer ids first: an entry is found by the beginning of its id.
TEST(Library, SigningEntriesStandShortestIdFirst) {
    const auto set =
        key_set_of({signing_key_of("pay.long.er", Algorithm::aes128), signing_key_of("pay.long", Algorithm::aes192),
                    signing_key_of("pay", Algorithm::aes256), key_of("pay.lo2", Algorithm::aes128)});
    const test::TempDir dir;
    const wbtables::TableLibraryFile library(wbtables::build_library(set, dir.path(), {}));
    ASSERT_EQ(library.signing_entries().size(), 3U);
    const std::array<int32_t, 3> cipheralgs = {11, 14, 17};
    for (size_t i = 0; i < cipheralgs.size(); ++i) {
        // Lower case, or it throws.
        const test::CmsFields entry = test::unpack_cms(test::from_hex(library.signing_entries()[i])).fields;
        const test::Bytes key_id = test::bytes_of(test::to_hex(test::bytes_of(set.keys[2 - i].id)));
        EXPECT_EQ(entry, (test::CmsFields{cipheralgs.at(i), 7, key_id, {}, {}, entry.iv, entry.content}));
        EXPECT_EQ(entry.iv.size(), 16U);
        EXPECT_EQ(entry.content.size(), 32U);
    }
}

// Stand-ins for the compiler; the last one changes the last byte of the tables.
struct BadCompiler {
    const char *script;
    Failure failure;
    const char *message;
};
constexpr BadCompiler kBadCompilers[] = {
    {"echo 'no room for' tables >&2; exit 7", Failure::compiler, "failed with exit status 7\nno room for tables"},
    {"kill -9 $$", Failure::compiler, "failed with signal 9"},
    {"exit 0", Failure::compiler, "made no library"},
    {"b=$(tail -c 1 tables.bin | od -An -tu1); n=$(($(wc -c < tables.bin) - 1))\n"
     "printf \"\\\\$(printf %o $((b ^ 1)))\" | dd of=tables.bin bs=1 seek=$n conv=notrunc 2>/dev/null\n"
     "exec clang \"$@\"",
     Failure::library, "check failed: the library: symbol \"TboxesLast_pay\" is not what was made"},
};

TEST(FailedBuild, LeavesTheFolderAsItWas) {
    const auto set = key_set_of({key_of("pay", Algorithm::aes128)});
    for (const BadCompiler &compiler : kBadCompilers) {
        SCOPED_TRACE(compiler.script);
        const test::TempDir tools;
        const fs::path script = tools.path() / "cc";
        test::write_text(script, std::string("#!/bin/sh\n") + compiler.script + "\n", 0700);
        BuildOptions options;
        options.compiler = script.string();
        for (const bool exists : {false, true}) {
            const test::TempDir dir;
            if (exists) {
                test::write_text(dir.path() / "libwb_tables_demo_1.so", "an earlier library");
            }
            const auto thrown = test::thrown_by([&] { wbtables::build_library(set, dir.path(), options); });
            EXPECT_EQ(thrown.failure, compiler.failure) << thrown.message;
            EXPECT_NE(thrown.message.find(compiler.message), std::string::npos) << thrown.message;
            EXPECT_EQ(test::names_in(dir.path()).size(), exists ? 1U : 0U);
            EXPECT_EQ(test::read_text(dir.path() / "libwb_tables_demo_1.so"), exists ? "an earlier library" : "");
        }
    }
}

TEST(FailedBuild, NamesWhatCannotBeWritten) {
    const test::TempDir dir;
    test::write_text(dir.path() / "file", "");
    fs::create_directory(dir.path() / "public");
    fs::permissions(dir.path() / "public", fs::perms::all);
    fs::create_directory(dir.path() / "$LIB");
    const std::pair<fs::path, const char *> folders[] = {{dir.path() / "file", "Not a directory"},
                                                         {"/proc", "cannot be written"},
                                                         {dir.path() / "public", "everybody may write there"},
                                                         {dir.path() / "$LIB", "replace what follows the '$'"}};
    for (const auto &[folder, message] : folders) {
        const auto thrown = test::thrown_by(
            [&where = folder] { wbtables::build_library(key_set_of({key_of("pay", Algorithm::aes128)}), where, {}); });
        EXPECT_EQ(thrown.failure, Failure::library);
        EXPECT_NE(thrown.message.find(message), std::string::npos) << thrown.message;
    }
    EXPECT_EQ(test::names_in(dir.path()), (std::vector<std::string>{"$LIB", "file", "public"}));
}

TEST(FailedBuild, RefusesKeySetsThatNoManifestHasSeen) {
    auto set = key_set_of({key_of("pay", Algorithm::aes128), key_of("pay", Algorithm::sm4)});
    set.keys[0].value.pop_back();
    set.ak.clear();
    const test::TempDir dir;
    const auto thrown = test::thrown_by([&] { wbtables::build_library(set, dir.path(), {}); });
    EXPECT_EQ(thrown.failure, Failure::refused);
    EXPECT_EQ(
        thrown.message,
        "key \"pay\" has the id of an earlier key\nak is empty\nkey \"pay\" has a value of 15 bytes, aes-128 needs 16");
    EXPECT_TRUE(test::names_in(dir.path()).empty());
}

} // namespace
