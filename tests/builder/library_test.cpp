// Whole libraries, loaded again and used through the exported functions.

#include <array>
#include <cstring>
#include <fstream>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>

#include "builder/library.h"
#include "key_sets.h"
#include "quen/aes.h"
#include "quen/cms.h"
#include "quen/sm4.h"
#include "quen/tables.h"
#include "run_command.h"
#include "support/captured_log.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using test::Bytes;
using test::key_of;
using test::key_set_of;
using test::signing_key_of;
using wbtables::Algorithm;
using wbtables::BuildOptions;
using wbtables::EncodingKind;
using wbtables::Failure;

// A library in a folder of its own, so that none meets another of its name.
class BuiltLibrary {
  public:
    explicit BuiltLibrary(const wbtables::KeySet &set, const BuildOptions &options = {}) {
        path_ = wbtables::build_library(set, dir_.path(), options);
        dir_text_ = dir_.string();
    }
    const char *dir() const { return dir_text_.c_str(); }
    const fs::path &path() const { return path_; }
    void *handle() const { return get_so_handle(dir(), "demo", 1); }
    tb_entry entry(const std::string &id) const { return get_tb_entry(dir(), "demo", id.c_str(), 1); }

  private:
    test::TempDir dir_;
    std::string dir_text_;
    fs::path path_;
};

class EveryEncoding : public testing::TestWithParam<EncodingKind> {};
INSTANTIATE_TEST_SUITE_P(Library, EveryEncoding, testing::Values(EncodingKind::none, EncodingKind::hardened),
                         [](const auto &each) { return each.param == EncodingKind::none ? "none" : "hardened"; });

TEST_P(EveryEncoding, TablesEncryptAsOpensslDoes) {
    const auto set = key_set_of({key_of("a-128.x", Algorithm::aes128), key_of("_a192", Algorithm::aes192),
                                 key_of(std::string(68, 'z'), Algorithm::aes256), key_of("9sm4", Algorithm::sm4)});
    BuildOptions options;
    options.encoding = GetParam();
    options.check = false;
    const BuiltLibrary library(set, options);
    const Bytes in = test::sample(16 * 1000);
    for (const auto &key : set.keys) {
        const tb_entry entry = library.entry(key.id);
        ASSERT_EQ(entry.status, 0) << key.id;
        Bytes out = in;
        for (size_t at = 0; at < out.size(); at += 16) {
            if (wbtables::is_aes(key.algorithm)) {
                Cipher(&out[at], entry);
            } else {
                wbsm4(&out[at], &out[at], entry);
            }
        }
        EXPECT_EQ(out, test::openssl_blocks(key, in)) << key.id;
    }
}

TEST(Library, MetadataIsWhatTheKeySetSays) {
    auto set =
        key_set_of({key_of("a2", Algorithm::aes128), key_of("s1", Algorithm::sm4), key_of("a1", Algorithm::aes256)});
    const BuiltLibrary full(set);
    const tb_common common = get_tb_common(full.dir(), "demo", 1);
    ASSERT_EQ(common.status, 0);
    EXPECT_STREQ(common.keyids, "s1,a2,a1,");
    EXPECT_STREQ(common.appid, "com.example.demo");
    EXPECT_STREQ(common.whitelist, "com.example.demo");
    EXPECT_STREQ(common.sk, "the sk");
    EXPECT_STREQ(common.ak, "the ak");
    EXPECT_EQ(dlsym(full.handle(), "keys"), nullptr);

    set.whitelist.reset();
    set.keys.erase(set.keys.begin() + 1);
    const BuiltLibrary no_sm4(set);
    EXPECT_EQ(get_tb_common(no_sm4.dir(), "demo", 1).whitelist, nullptr);
    EXPECT_EQ(dlsym(no_sm4.handle(), "sm4_keyids"), nullptr);

    const BuiltLibrary no_aes(key_set_of({key_of("s1", Algorithm::sm4)}));
    EXPECT_EQ(check_keyid_alg(no_aes.handle(), "s1"), 0);
}

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

TEST(Library, SigningEntriesAreFoundByTheirOwnIdAndDecrypt) {
    // Longer ids first: an entry is found by the beginning of its id.
    const auto set =
        key_set_of({signing_key_of("pay.long.er", Algorithm::aes128), signing_key_of("pay.long", Algorithm::aes192),
                    signing_key_of("pay", Algorithm::aes256), key_of("pay.lo2", Algorithm::aes128)});
    const BuiltLibrary library(set);
    const std::array<int32_t, 3> expected_algorithms = {11, 14, 17}; // shortest id first
    const auto *const slots = static_cast<const char *const *>(dlsym(library.handle(), "keys"));
    ASSERT_NE(slots, nullptr);
    for (size_t i = 0; i < 10; ++i) {
        if (i >= expected_algorithms.size()) {
            EXPECT_EQ(slots[i], nullptr);
            continue;
        }
        const Bytes packed = test::from_hex(slots[i]); // lower case, or it throws
        Bytes key(packed.size());
        Bytes iv(packed.size());
        Bytes content(packed.size());
        int32_t algorithm = 0;
        uint32_t padding = 0;
        std::array<int32_t, 4> lens{};
        uint32_t content_len = 0;
        ASSERT_EQ(CMSEncrypted_Unpack(packed.data(), static_cast<int32_t>(packed.size()), &algorithm, &padding,
                                      key.data(), &lens[0], key.data(), &lens[1], key.data(), &lens[2], iv.data(),
                                      &lens[3], content.data(), &content_len),
                  0);
        EXPECT_EQ(algorithm, expected_algorithms.at(i));
        EXPECT_EQ(padding, 7U);
        EXPECT_EQ(lens, (std::array<int32_t, 4>{lens[0], 0, 0, 16}));
        EXPECT_EQ(content_len, 32U);
    }
    for (const auto &key : set.keys) {
        Bytes content(1024);
        Bytes signing_key(32);
        std::array<uint8_t, 16> iv{};
        uint8_t content_len = 0;
        int64_t out_len = 0;
        const int32_t status =
            get_ekey(library.dir(), "demo", key.id.c_str(), 1, content.data(), &content_len, iv.data());
        if (!key.signing_key) {
            EXPECT_EQ(status, -4) << key.id;
            continue;
        }
        ASSERT_EQ(status, 0) << key.id;
        ASSERT_EQ(aes_WBkit_decrypt_cfb(library.dir(), iv.data(), content.data(), content_len, signing_key.data(),
                                        &out_len, 0, "demo", key.id.c_str(), 1),
                  0);
        EXPECT_EQ(signing_key, Bytes(key.signing_key->begin(), key.signing_key->end())) << key.id;
    }
}

TEST(Library, IsMappedReadOnlyInLargePagesUnderItsOwnName) {
    const BuiltLibrary library(key_set_of({signing_key_of("pay", Algorithm::aes128)}));
    void *const handle = library.handle();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(dlopen("libwb_tables_demo_1.so", RTLD_NOLOAD | RTLD_LAZY) != nullptr, true);

    link_map *map = nullptr;
    ASSERT_EQ(dlinfo(handle, RTLD_DI_LINKMAP, &map), 0);
    struct Segments {
        std::string name;
        uintptr_t tables;
        uintptr_t pointers;
        bool tables_read_only = false;
        bool pointers_protected = false;
        bool stack_not_executable = false;
    } found{map->l_name, reinterpret_cast<uintptr_t>(dlsym(handle, "Tyboxes128_pay")),
            reinterpret_cast<uintptr_t>(dlsym(handle, "keys"))};
    dl_iterate_phdr(
        [](dl_phdr_info *info, size_t, void *data) {
            auto &segments = *static_cast<Segments *>(data);
            if (segments.name != info->dlpi_name) {
                return 0;
            }
            for (size_t i = 0; i < info->dlpi_phnum; ++i) {
                const ElfW(Phdr) &header = info->dlpi_phdr[i];
                const auto holds = [&](uintptr_t address) {
                    const uintptr_t start = info->dlpi_addr + header.p_vaddr;
                    return address >= start && address < start + header.p_memsz;
                };
                EXPECT_FALSE((header.p_flags & PF_X) != 0);
                if (header.p_type == PT_LOAD) {
                    EXPECT_EQ(header.p_align, 16384U);
                    segments.tables_read_only |= holds(segments.tables) && header.p_flags == PF_R;
                }
                segments.pointers_protected |= header.p_type == PT_GNU_RELRO && holds(segments.pointers);
                segments.stack_not_executable |= header.p_type == PT_GNU_STACK;
            }
            return 1;
        },
        &found);
    EXPECT_TRUE(found.tables_read_only);
    EXPECT_TRUE(found.pointers_protected);
    EXPECT_TRUE(found.stack_not_executable);
    EXPECT_EQ(found.tables % 16, 0U);
}

// Stand-ins for the compiler; the last one changes the last byte of the tables.
struct BadCompiler {
    const char *name;
    const char *script;
    Failure failure;
    const char *message;
};
constexpr BadCompiler kBadCompilers[] = {
    {"fails", "echo 'no room for' tables >&2; exit 7", Failure::compiler,
     "failed with exit status 7\nno room for tables"},
    {"dies", "kill -9 $$", Failure::compiler, "failed with signal 9"},
    {"makes_nothing", "exit 0", Failure::compiler, "made no library"},
    {"makes_rubbish", "echo rubbish > libwb_tables_demo_1.so", Failure::library, "cannot be loaded"},
    {"alters_a_byte",
     "b=$(tail -c 1 tables.bin | od -An -tu1); n=$(($(wc -c < tables.bin) - 1))\n"
     "printf \"\\\\$(printf %o $((b ^ 1)))\" | dd of=tables.bin bs=1 seek=$n conv=notrunc 2>/dev/null\n"
     "exec clang \"$@\"",
     Failure::library, "check failed: the library: symbol \"TboxesLast_pay\" is not what was made"},
};

TEST(FailedBuild, LeavesTheFolderAsItWas) {
    const auto set = key_set_of({key_of("pay", Algorithm::aes128)});
    for (const BadCompiler &compiler : kBadCompilers) {
        SCOPED_TRACE(compiler.name);
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

TEST(FailedBuild, NamesWhatCannotBeWrittenOrRun) {
    const auto set = key_set_of({key_of("pay", Algorithm::aes128)});
    const test::TempDir dir;
    test::write_text(dir.path() / "file", "");
    fs::create_directories(dir.path() / "taken/libwb_tables_demo_1.so");
    fs::create_directory(dir.path() / "public");
    fs::permissions(dir.path() / "public", fs::perms::all);
    fs::create_directory(dir.path() / "$LIB");
    const std::pair<fs::path, const char *> folders[] = {{dir.path() / "missing/folder", "No such file or directory"},
                                                         {dir.path() / "file", "Not a directory"},
                                                         {"/proc", "cannot be written"},
                                                         {dir.path() / "public", "everybody may write there"},
                                                         {dir.path() / "$LIB", "replace what follows the '$'"},
                                                         {dir.path() / "taken", "Is a directory"}};
    for (const auto &[folder, message] : folders) {
        const auto thrown = test::thrown_by([&, &where = folder] { wbtables::build_library(set, where, {}); });
        EXPECT_EQ(thrown.failure, Failure::library);
        EXPECT_NE(thrown.message.find(message), std::string::npos) << thrown.message;
    }
    BuildOptions options;
    options.compiler = "no-such-compiler";
    const auto thrown = test::thrown_by([&] { wbtables::build_library(set, dir.path(), options); });
    EXPECT_EQ(thrown.failure, Failure::compiler);
    EXPECT_TRUE(test::kEmulated || thrown.message.starts_with("no-such-compiler: cannot be run: ")) << thrown.message;
    EXPECT_EQ(test::names_in(dir.path()), (std::vector<std::string>{"$LIB", "file", "public", "taken"}));
    EXPECT_EQ(test::names_in(dir.path() / "taken"), (std::vector<std::string>{"libwb_tables_demo_1.so"}));
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

TEST(Library, ReplacesAnEarlierOneAndReportsItsSteps) {
    const test::TempDir dir;
    test::write_text(dir.path() / "libwb_tables_demo_1.so", "an earlier library");
    std::vector<std::string> steps;
    BuildOptions options;
    options.progress = [&](std::string_view step) { steps.emplace_back(step); };
    wbtables::build_library(key_set_of({key_of("pay", Algorithm::aes128)}), dir.path(), options);
    EXPECT_EQ(steps, (std::vector<std::string>{"tables", "assemble and link", "check"}));
    EXPECT_EQ(test::names_in(dir.path()), (std::vector<std::string>{"libwb_tables_demo_1.so"}));
    EXPECT_GT(fs::file_size(dir.path() / "libwb_tables_demo_1.so"), 150000U);
}

} // namespace
