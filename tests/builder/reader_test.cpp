// Table libraries of every ABI read as files, sound, damaged and hostile ones.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <numeric>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "builder/object/assembler.h"
#include "builder/object/contents.h"
#include "builder/reader/table_library_file.h"
#include "key_sets.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using test::Bytes;
using test::key_of;
using testing::Contains;
using testing::HasSubstr;
using wbtables::Algorithm;
using wbtables::ElfFile;
using wbtables::Image;
using wbtables::TableLibraryFile;

constexpr const char *kName = "libwb_tables_demo_1.so";

wbtables::KeySet sample_set() {
    return test::key_set_of({test::signing_key_of("a1", Algorithm::aes128), key_of("a2", Algorithm::aes192),
                             test::signing_key_of("a3", Algorithm::aes256), key_of("s1", Algorithm::sm4)});
}

// Every kind of relocation and hash table that a linker may choose.
struct Variant {
    const char *name;
    const char *flags;
    const char *abi;
    std::size_t pointer_len;
};
constexpr Variant kVariants[] = {
    {"arm64", "--target=aarch64-linux-android21", "arm64-v8a", 8},
    {"arm", "--target=armv7a-linux-androideabi21", "armeabi-v7a", 4},
    {"x86_64", "--target=x86_64-linux-android21", "x86_64", 8},
    {"x86", "--target=i686-linux-android21", "x86", 4},
    {"rel", "--target=aarch64-linux-android21 -Wl,-z,rel", "arm64-v8a", 8},
    {"rela", "--target=i686-linux-android21 -Wl,-z,rela", "x86", 4},
    {"relr", "--target=x86_64-linux-android21 -Wl,--pack-dyn-relocs=relr", "x86_64", 8},
    {"relr_of_android", "--target=armv7a-linux-androideabi21 -Wl,--pack-dyn-relocs=relr,--use-android-relr-tags",
     "armeabi-v7a", 4},
    {"gnu_hash", "--target=aarch64-linux-android21 -Wl,--hash-style=gnu", "arm64-v8a", 8},
    {"sysv_hash", "--target=i686-linux-android21 -Wl,--hash-style=sysv", "x86", 4},
};

fs::path link(const fs::path &folder, const Variant &variant, const Image &image) {
    test::write_text(folder / "tables.s", wbtables::assembler_text(image, "tables.bin"));
    test::write_text(folder / "tables.bin",
                     {reinterpret_cast<const char *>(image.bytes().data()), image.bytes().size()});
    const std::string command = "cd '" + folder.string() + "' && clang " + variant.flags +
                                " -shared -nostdlib -fuse-ld=lld -Wl,-z,max-page-size=16384 -Wl,-soname," + kName +
                                " -o " + kName + " tables.s";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return folder / kName;
}

Bytes copy(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

TEST(Reader, FindsEverythingWhateverTheAbi) {
    const auto set = sample_set();
    const Image image = wbtables::table_library_image(set, wbtables::EncodingKind::none);
    for (const Variant &variant : kVariants) {
        SCOPED_TRACE(variant.name);
        const test::TempDir dir;
        const TableLibraryFile library(link(dir.path(), variant, image));
        EXPECT_THAT(library.problems(), testing::IsEmpty());
        EXPECT_EQ(library.elf().abi(), variant.abi);
        EXPECT_EQ(library.elf().pointer_len(), variant.pointer_len);
        EXPECT_EQ(library.elf().soname(), kName);
        EXPECT_EQ(library.elf().page_alignment(), 16384U);
        EXPECT_EQ(library.elf().relocations(), 6U); // 3 AES ids, 1 SM4 id, 2 signing entries
        EXPECT_FALSE(library.elf().has_text_relocations());
        EXPECT_THAT(library.elf().needed(), testing::IsEmpty());
        EXPECT_EQ(library.wbid(), "demo");
        EXPECT_EQ(library.version(), 1);
        EXPECT_EQ(library.appid(), set.appid);
        EXPECT_EQ(library.whitelist(), set.whitelist);
        EXPECT_EQ(library.sk(), set.sk);
        EXPECT_EQ(library.ak(), set.ak);
        EXPECT_THAT(library.signing_entries(), testing::SizeIs(2));
        for (const Image::Item &item : image.items()) {
            if (!item.symbol.empty()) {
                const auto *const symbol = library.elf().find(item.symbol);
                ASSERT_NE(symbol, nullptr) << item.symbol;
                EXPECT_EQ(copy(library.elf().bytes(symbol->address, item.size).value()), copy(image.bytes_of(item)));
            }
        }
        ASSERT_EQ(library.aes_keys().size(), 3U);
        EXPECT_EQ(library.aes_keys()[2].key_id, "a3");
        EXPECT_EQ(library.aes_keys()[2].rounds, 14U);
        EXPECT_EQ(library.aes_keys()[2].round_tables.size(), 13U * 16384);
        ASSERT_EQ(library.sm4_keys().size(), 1U);
        EXPECT_EQ(library.sm4_keys()[0].key_id, "s1");
    }
}

// Pointers to symbols, as compilers write them: the linker leaves their addresses to the loader.
TEST(Reader, FollowsPointersToTheFilesOwnSymbolsAlone) {
    for (const Variant &variant : std::span(kVariants).first(6)) {
        SCOPED_TRACE(variant.name);
        const test::TempDir dir;
        const std::string word = variant.pointer_len == 8 ? ".8byte " : ".4byte ";
        test::write_text(dir.path() / "tables.s",
                         ".data\n.globl first, slots, wide\n.weak gone\nfirst: .asciz \"one\"\n.balign 16\nslots: " +
                             word + "first\n" + word + "first + 2\n" + word + "0\n" + word + "gone\n" + word +
                             "7\n.globl tail\ntail: .byte 1\n");
        const std::string command =
            "cd '" + dir.string() + "' && clang " + variant.flags + " -shared -nostdlib -fuse-ld=lld -o a.so tables.s";
        ASSERT_EQ(std::system(command.c_str()), 0);
        const ElfFile file(dir.path() / "a.so");
        const std::uint64_t slots = file.find("slots")->address;
        const std::uint64_t first = file.find("first")->address;
        const auto pointer = [&](std::size_t slot) { return file.pointer(slots + slot * variant.pointer_len); };
        EXPECT_EQ(pointer(0), first);
        EXPECT_EQ(pointer(1), first + 2);
        EXPECT_EQ(pointer(2), 0U);
        EXPECT_EQ(pointer(3), std::nullopt);
        EXPECT_EQ(pointer(4), std::nullopt) << "a number that nobody relocates";
        EXPECT_EQ(file.pointer(slots + 1), std::nullopt) << "inside a pointer";
        EXPECT_TRUE(file.is_relocated(slots + 1, 1));
        EXPECT_FALSE(file.is_relocated(first, 4));
        EXPECT_EQ(file.pointer(file.find("tail")->address), std::nullopt) << "beyond the file";
        EXPECT_EQ(file.find("gone"), nullptr);
    }
}

test::TableSource sound() {
    return test::TableSource()
        .header("demo", 1)
        .text("sk", "s")
        .text("ak", "a")
        .text("appid", "app")
        .slots("sm4_keyids", {"s1"})
        .slots("aes_keyids", {"a1"})
        .aes_tables("a1", Bytes(16))
        .sm4_table("s1");
}

TEST(Reader, NamesWhatATableLibraryLacks) {
    const std::string a(68, 'a');
    const std::string b(68, 'b');
    const std::string c(68, 'c');
    const std::pair<const char *, test::TableSource> cases[] = {
        {"symbol \"wbid\" is missing", sound().without("wbid")},
        {R"(symbol wbid is "other", but the file is named for "demo")", sound().text("wbid", "other")},
        {"symbol version is 2, but the file is named for 1", sound().number("version", 2)},
        {"symbol \"version\" is said to have 2 bytes, not 4", sound().bytes("version", {1, 0})},
        {"symbol \"sk\" is missing", sound().without("sk")},
        {"symbol ak is an empty text", sound().text("ak", "")},
        {"symbol appid has a text of 80 bytes, at most 79 are possible", sound().text("appid", std::string(80, 'a'))},
        {"symbol \"aes_keyids\" is missing", sound().without("aes_keyids")},
        {"slot 1 of aes_keyids has a text of 69 bytes, at most 68", sound().slots("aes_keyids", {"a1", a + "a"})},
        {"slot 1 of aes_keyids is key \"a1\" again", sound().slots("aes_keyids", {"a1", "a1"})},
        {"slot 0 of sm4_keyids is \"a,b\", which is no key id", sound().slots("sm4_keyids", {"a,b"})},
        {"key \"s1\" is in sm4_keyids and in aes_keyids", sound().slots("aes_keyids", {"s1"})},
        {"has 212 characters, at most 209", sound().slots("aes_keyids", {a, b, c, "x"})},
        {"symbol \"Nr_a1\" is 11, not 10, 12 or 14", sound().number("Nr_a1", 11)},
        {"symbol \"Tyboxes192_a1\" is missing", sound().number("Nr_a1", 12)},
        {"symbol \"Xor_a1\" is said to have 255 bytes, not 256", sound().bytes("Xor_a1", Bytes(255))},
        {"symbol \"Xor_a1\": the loader changes its bytes", sound().slots("Xor_a1", {std::string(200, 'x')})},
        {"symbol \"table_s1\" is missing", sound().without("table_s1")},
    };
    for (const auto &[problem, source] : cases) {
        const test::TempDir dir;
        const TableLibraryFile library(source.build(dir.path(), "demo", 1));
        EXPECT_THAT(library.problems(), Contains(HasSubstr(problem)));
    }
}

TEST(Reader, TakesNamesApart) {
    const struct {
        const char *name;
        const char *wbid;
        std::int32_t version;
    } sound[] = {{kName, "demo", 1},
                 {"libwb_tables_a_b-c_-2147483648.so", "a_b-c", -2147483647 - 1},
                 {"libwb_tables___2147483647.so", "_", 2147483647}};
    for (const auto &each : sound) {
        const auto name = wbtables::parse_library_name(each.name);
        ASSERT_TRUE(name) << each.name;
        EXPECT_EQ(name->wbid, each.wbid);
        EXPECT_EQ(name->version, each.version);
    }
    for (const char *const name : {"", "libwb_tables_.so", "libwb_tables_demo.so", "libwb_tables__1.so",
                                   "libwb_tables_demo_01.so", "libwb_tables_demo_+1.so", "libwb_tables_demo_.so",
                                   "libwb_tables_demo_2147483648.so", "libwb_tables_demo_1.so.bak"}) {
        EXPECT_FALSE(wbtables::parse_library_name(name)) << name;
    }
}

TEST(Reader, RefusesWhatIsNoSharedObject) {
    const test::TempDir dir;
    test::write_text(dir.path() / "empty", "");
    test::write_text(dir.path() / "text", "no shared object at all");
    std::ofstream(dir.path() / "huge").close();
    fs::resize_file(dir.path() / "huge", (std::uintmax_t{256} << 20U) + 1);
    for (const auto &[name, message] :
         {std::pair("missing", "cannot be read: No such file or directory"), std::pair("", "is no file"),
          std::pair("empty", "is no shared object"), std::pair("text", "is no shared object"),
          std::pair("huge", "has 268435457 bytes, at most 268435456 are read")}) {
        const auto thrown = test::thrown_by([&, &file = name] { ElfFile(dir.path() / file); });
        EXPECT_EQ(thrown.failure, wbtables::Failure::library);
        EXPECT_THAT(thrown.message, HasSubstr(message));
    }
}

// Reads a file, whatever it is: only an Error may come of it, and every view must be readable to its end.
unsigned read_hostile(const fs::path &path) {
    try {
        const TableLibraryFile library(path);
        unsigned sum = static_cast<unsigned>(library.problems().size());
        const auto read = [&sum](std::span<const std::uint8_t> view) {
            sum = std::accumulate(view.begin(), view.end(), sum);
        };
        for (const auto &key : library.aes_keys()) {
            read(key.xor_table);
            read(key.round_tables);
            read(key.last_round);
        }
        for (const auto &key : library.sm4_keys()) {
            read(key.tables);
        }
        return sum;
    } catch (const wbtables::Error &) {
        return 1;
    }
}

TEST(Reader, SurvivesTruncatedAndMutatedFiles) {
    const Image image = wbtables::table_library_image(test::key_set_of({test::signing_key_of("a1", Algorithm::aes128)}),
                                                      wbtables::EncodingKind::none);
    std::minstd_rand random(1);
    for (const Variant &variant : kVariants) {
        const test::TempDir dir;
        const std::string sound = test::read_text(link(dir.path(), variant, image));
        const auto try_it = [&](std::string_view bytes) {
            test::write_text(dir.path() / kName, bytes);
            return read_hostile(dir.path() / kName);
        };
        EXPECT_NE(try_it(sound), 1U);
        for (std::size_t size = 0; size < sound.size(); size += size < 4096 ? 61 : 16411) {
            EXPECT_NE(try_it(std::string_view(sound).substr(0, size)), 0U) << size;
        }
        // The headers stand at both ends, so that is where the damage goes.
        for (std::size_t i = 0; i < 300; ++i) {
            std::string bytes = sound;
            for (std::size_t n = 0; n < 1 + i % 8; ++n) {
                const std::size_t from_end = random() % 2 == 0 ? bytes.size() : 4096;
                bytes[from_end - 1 - random() % 4096] = static_cast<char>(random() % 2 == 0 ? 0xff : random());
            }
            try_it(bytes);
        }
    }
}

} // namespace
