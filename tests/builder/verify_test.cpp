// Verification of table libraries as files: one is built, and copies of it are damaged.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <numeric>
#include <random>

#include <elf.h>
#include <gtest/gtest.h>

#include "builder/check/compare_with_keys.h"
#include "builder/check/table_check.h"
#include "builder/check/verify_library.h"
#include "builder/library.h"
#include "builder/tables/nibble_code.h"
#include "key_sets.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using namespace std::string_view_literals;
using test::Bytes;
using wbtables::Algorithm;
using wbtables::Findings;
using wbtables::KeySet;
using wbtables::TableLibraryFile;

const KeySet &keys() {
    static const KeySet set =
        test::key_set_of({test::signing_key_of("a", Algorithm::aes128), test::signing_key_of("ab", Algorithm::aes192),
                          test::key_of("sm", Algorithm::sm4)});
    return set;
}

// A library's file, whose bytes a test may change.
class Verify : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder() = std::make_unique<test::TempDir>();
        intact() = test::read_text(wbtables::build_library(keys(), folder()->path(), {}));
    }
    static void TearDownTestSuite() { folder().reset(); }
    static std::unique_ptr<test::TempDir> &folder() {
        static std::unique_ptr<test::TempDir> dir;
        return dir;
    }
    static std::string &intact() {
        static std::string bytes;
        return bytes;
    }

    // Both verifications of the changed file.
    Findings verify(const KeySet &set = keys()) const {
        const auto path = folder()->path() / "libwb_tables_demo_1.so";
        test::write_text(path, file_);
        const TableLibraryFile library(path);
        Findings findings = verify_library(library);
        compare_with_keys(library, set, findings);
        return findings;
    }
    std::string problems(const KeySet &set = keys()) const {
        std::string all;
        try {
            for (const std::string &problem : verify(set).problems) {
                all += problem + "\n";
            }
        } catch (const wbtables::Error &error) {
            all = error.what();
        }
        return all;
    }

    // The library as somebody else builds it from the sources, which sed changes, with more text for the assembler.
    std::string built_otherwise(const std::string &change, const std::string &more, const std::string &flags) {
        const test::TempDir dir;
        wbtables::emit_sources(keys(), dir.path(), {});
        test::write_text(dir.path() / "more.s", more + "\n");
        const std::string command = "cd '" + dir.string() + "' && sed -i '" + change + "' tables.s && clang -shared " +
                                    "-nostdlib -fuse-ld=lld -Wl,--hash-style=both," +
                                    "-soname,libwb_tables_demo_1.so " + flags + " -o a.so tables.s more.s";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        file_ = test::read_text(dir.path() / "a.so");
        return problems();
    }

    // Where a symbol's bytes stand in the file.
    size_t offset_of(const std::string &symbol) const {
        const TableLibraryFile library(folder()->path() / "libwb_tables_demo_1.so");
        const auto bytes = library.elf().bytes_from(library.elf().find(symbol)->address);
        return file_.find(
            std::string(reinterpret_cast<const char *>(bytes.data()), std::min<size_t>(bytes.size(), 4096)));
    }
    std::string file_ = intact();
};

TEST_F(Verify, FindsNothingInASoundLibrary) {
    const Findings findings = verify();
    EXPECT_EQ(findings.problems, std::vector<std::string>());
    EXPECT_EQ(findings.notes, std::vector<std::string>());
}

TEST_F(Verify, SeesAChangedByteAnywhereInATableWithoutTheKeys) {
    const std::pair<const char *, size_t> tables[] = {
        {"Xor_a", 256}, {"Tyboxes128_a", 147456}, {"TboxesLast_a", 4096}, {"Nr_a", 4}, {"table_sm", 32768}};
    std::mt19937 random(20);
    verify();
    const auto path = folder()->path() / "libwb_tables_demo_1.so";
    for (const auto &[symbol, size] : tables) {
        const size_t start = offset_of(symbol);
        for (int i = 0; i < 200; ++i) {
            const size_t at = start + random() % size;
            const auto changed = static_cast<char>(file_[at] ^ static_cast<char>(1 + random() % 255));
            std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
            file.seekp(static_cast<std::streamoff>(at)).put(changed).flush();
            ASSERT_FALSE(verify_library(TableLibraryFile(path)).problems.empty()) << symbol << " + " << at - start;
            file.seekp(static_cast<std::streamoff>(at)).put(file_[at]);
        }
    }
    EXPECT_EQ(problems(), "");
}

// Each value still comes once, so what a key encrypts is all that tells.
TEST_F(Verify, SeesExchangedEntriesWithTheKeys) {
    const struct {
        const char *symbol;
        size_t entry;
        size_t len;
        const char *message;
    } cases[] = {
        {"Tyboxes128_a", 70 * 256 + 17, 4, "key \"a\" encrypts "},
        {"TboxesLast_a", 5 * 256 + 200, 1, "key \"a\" encrypts "},
        {"table_sm", 99 * 256 + 3, 1, "key \"sm\": round 24, lane 3: the 256 bytes are not the S-box behind the XOR "},
    };
    for (const auto &each : cases) {
        file_ = intact();
        verify();
        const auto first = file_.begin() + static_cast<std::ptrdiff_t>(offset_of(each.symbol) + each.entry * each.len);
        std::swap_ranges(first, first + static_cast<std::ptrdiff_t>(each.len),
                         first + static_cast<std::ptrdiff_t>(each.len));
        EXPECT_EQ(problems().rfind(each.message, 0), 0U) << problems();
    }
}

// The packed entry of key "a" up to its iv's bytes, as hex text.
constexpr const char *kEntry = "2a0236313210";
constexpr size_t kBehindIv = 12 + 32;

// What stands `offset` bytes behind the beginning of `from` becomes `to`.
struct Damage {
    std::string_view from;
    size_t offset;
    std::string_view to;
    const char *problem;
};

const Damage kDamages[] = {
    {"Xor_a\0"sv, 4, "q", "symbol \"Xor_a\" is missing\n"},
    {"Xor_a\0"sv, 4, "q", "key \"a\" is in the manifest, but has no complete tables\n"},
    {"com.example.demo\0"sv, 15, "X", "appid is \"com.example.demX\", the manifest says \"com.example.demo\"\n"},
    {"the sk", 5, "X", "sk is not the manifest's\n"},
    {"the ak", 5, "X", "ak is not the manifest's\n"},
    // encryptedContent becomes the tag, which has less room.
    {kEntry, kBehindIv, "42", "signing entry 1 of 2: its tag has 32 bytes, at most 16 are possible\n"},
    {kEntry, kBehindIv, "x", "are no hex text of a message\n"},
    {kEntry, 0, "2f", "signing entry 1 of 2: it is the hex text of something other than a CMSEncryptedData\n"},
    {kEntry, 6, "7a", "signing entry 1 of 2: its key field is no hex text of a key id\n"},
    {kEntry, 6, "32", "key \"a\" is served with the signing entry of key \"ab\", which comes first\n"},
    {kEntry, 6, "32", "key \"a\" has no signing entry for its signing_key\n"},
    {kEntry, kBehindIv + 4, "00000000", "key \"a\" signs with another key than the manifest's signing_key\n"},
};

TEST_F(Verify, NamesWhatIsWrongWithTheFile) {
    for (const Damage &damage : kDamages) {
        file_ = intact();
        const size_t at = file_.find(damage.from);
        ASSERT_NE(at, std::string::npos) << damage.from;
        file_.replace(at + damage.offset, damage.to.size(), damage.to);
        EXPECT_NE(problems().find(damage.problem), std::string::npos) << damage.problem << " in:\n" << problems();
    }
}

TEST_F(Verify, NamesCodeAndWhatCanBeWrittenTo) {
    EXPECT_EQ(built_otherwise("", "", ""), "");
    const struct {
        const char *change; // of the emitted assembler text
        const char *more;
        const char *flags;
        const char *problem;
    } cases[] = {
        {"", ".text\nnop", "", "it brings code: 1 of its segments can be executed;"},
        {"", ".section .init_array,\"aw\"\n.dc.a 8", "", "when it is loaded or closed: it has DT_INIT_ARRAY;"},
        {"", ".section .fini_array,\"aw\"\n.dc.a 8", "", "when it is loaded or closed: it has DT_FINI_ARRAY;"},
        {"", ".text\n.globl f\nf: nop", "-Wl,-init=f,-fini=f", "it has DT_INIT, DT_FINI;"},
        {"", ".globl f\n.type f, %function\nf: nop", "", "it exports 1 function, \"f\" for one;"},
        {"", ".globl f\n.type f, %gnu_indirect_function\nf: nop", "", "it exports 1 function, \"f\" for one;"},
        {"", ".globl f\n.type f, %gnu_indirect_function\nf: nop\n.data\n.dc.a f", "",
         "it brings code, which gives 1 of its symbols their addresses;"},
        {"", "f: nop\n.type f, %gnu_indirect_function\n.data\n.dc.a f", "",
         "it has 1 relocation that no table needs, of kind "},
        {"", "", "-Wl,-z,execstack", "it makes the process's stack executable:"},
        {"", "", "-Wl,--no-as-needed -lc", "it needs \"libc.so.6\";"},
        {"", "", "-Wl,--auxiliary=libother.so", "it needs \"libother.so\";"},
        {"", "", "-Wl,-N", "symbol \"Xor_a\" stands where it can be written to at run time"},
        {"", "", "-Wl,-N", "it brings code: 1 of its segments can be executed;"},
        {"", "", "-Wl,-z,norelro", "symbol aes_keyids stands where it can be written to at run time"},
        {"s/.rodata,\"a\"/.data,\"aw\"/", "", "", "symbol sk stands where it can be written to at run time"},
        {"s/.rodata,\"a\"/.data,\"aw\"/", "", "", "symbol \"table_sm\" stands where it can be written to"},
        {"s/.rodata,\"a\"/.data,\"aw\"/", "", "", "slot 0 of aes_keyids stands where it can be written to"},
    };
    for (const auto &each : cases) {
        const std::string found = built_otherwise(each.change, each.more, each.flags);
        EXPECT_NE(found.find(each.problem), std::string::npos) << each.problem << " in:\n" << found;
    }
}

// As linkers make it that round what is protected to pages of 4 KiB: no problem, but worth a word.
TEST_F(Verify, NotesAPageThatIsProtectedInPart) {
    EXPECT_EQ(built_otherwise("/bss.rel.ro/,/skip/d", "", "-Wl,-z,max-page-size=16384,-z,common-page-size=4096"), "");
    EXPECT_EQ(verify().notes, std::vector<std::string>{"its protected part ends inside a page where pages have 16384 "
                                                       "bytes; loaders may leave that page writable"});
}

// A number that the dynamic section of a 64-bit library has under this tag, whose place in the file it is too.
size_t place_of(const std::string &file, std::int64_t tag) {
    Elf64_Ehdr header;
    std::memcpy(&header, file.data(), sizeof header);
    for (size_t i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment;
        std::memcpy(&segment, file.data() + header.e_phoff + i * sizeof segment, sizeof segment);
        for (size_t at = 0; segment.p_type == PT_DYNAMIC && at < segment.p_filesz; at += sizeof(Elf64_Dyn)) {
            Elf64_Dyn entry;
            std::memcpy(&entry, file.data() + segment.p_offset + at, sizeof entry);
            if (entry.d_tag == tag) {
                return static_cast<size_t>(entry.d_un.d_val);
            }
        }
    }
    throw std::runtime_error("no such entry");
}

// Headers of a 64-bit library, and its first relocation.
struct Headers {
    Elf64_Ehdr file;
    std::vector<Elf64_Phdr> program;
    Elf64_Shdr no_section;
    Elf64_Rela relocation;

    Elf64_Phdr &of(unsigned type, size_t nth = 0) {
        return *std::ranges::find_if(program, [&](auto &each) { return each.p_type == type && nth-- == 0; });
    }
    // PT_PHDR, which nobody needs, gives way to it.
    void add(const Elf64_Phdr &header) { of(PT_PHDR) = header; }
    void align_all(std::uint64_t alignment) { of(PT_LOAD).p_align = of(PT_LOAD, 1).p_align = alignment; }
    // Two segments of the first one, the latter `shift` bytes further on in the file.
    void split(std::uint64_t at, std::uint64_t shift = 0) {
        Elf64_Phdr &rest = of(PT_LOAD);
        add(rest);
        of(PT_LOAD).p_filesz = of(PT_LOAD).p_memsz = at;
        rest.p_vaddr += at;
        rest.p_offset += at + shift;
        rest.p_filesz = rest.p_memsz -= at + shift;
    }
};

struct HeaderDamage {
    void (*change)(Headers &headers);
    const char *problem;
};

const HeaderDamage kHeaderDamages[] = {
    {[](auto &h) { h.split(0x1740); }, "has segments that share a page of 4096 bytes"},
    {[](auto &h) { h.split(0x3000); }, "has segments that share a page of 16384 bytes"},
    // Only where pages are larger than the segments' alignment.
    {[](auto &h) {
         h.align_all(0x1000);
         h.split(0x1000, 0x4000);
     },
     "has segments that share a page of 16384 bytes"},
    {[](auto &h) {
         h.align_all(1);
         h.of(PT_LOAD, 1).p_offset += 8;
     },
     "has a segment that stands elsewhere in a page than in the file"},
    {[](auto &h) { h.of(PT_LOAD).p_align = 0x6000; }, "has a segment that does not fit the file"},
    {[](auto &h) {
         h.no_section.sh_info = h.file.e_phnum;
         h.file.e_phnum = PN_XNUM;
     },
     "has a table of segments that cannot be read"},
    {[](auto &h) { h.of(PT_PHDR).p_vaddr += 8; }, "has a PT_PHDR header whose place in the file is not mapped to its"},
    {[](auto &h) {
         h.of(PT_PHDR).p_vaddr += 56;
         h.of(PT_PHDR).p_offset += 56;
     },
     "has a PT_PHDR header that leads to other program headers than its own"},
    {[](auto &h) { h.of(PT_DYNAMIC).p_offset += 16; }, "has a PT_DYNAMIC header whose place in the file is not mapped"},
    {[](auto &h) { h.of(PT_DYNAMIC).p_filesz -= sizeof(Elf64_Dyn); }, "has a dynamic section without an end"},
    {[](auto &h) { h.no_section.sh_type = SHT_DYNAMIC; }, "has section headers that do not lead to the same dynamic"},
    {[](auto &h) { h.add(h.of(PT_DYNAMIC)); }, "has 2 PT_DYNAMIC headers, and loaders differ in which one counts"},
    {[](auto &h) { h.add(h.of(PT_GNU_RELRO)); }, "has 2 PT_GNU_RELRO headers, and loaders differ in which one counts"},
    {[](auto &h) { h.add(h.of(PT_GNU_STACK)); }, "has 2 PT_GNU_STACK headers, and loaders differ in which one counts"},
    {[](auto &h) { h.of(PT_GNU_STACK).p_type = PT_NULL; }, "it makes the process's stack executable:"},
    {[](auto &h) { h.of(PT_GNU_RELRO).p_memsz = 8; },
     "symbol aes_keyids stands where it can be written to at run time"},
    {[](auto &h) { h.relocation.r_info = 0; }, "counts relocations as relative ones that are of another kind"},
    {[](auto &h) { h.relocation.r_offset = h.of(PT_DYNAMIC).p_vaddr + 8; }, "it changes, while it is loaded, what the"},
    {[](auto &h) { h.relocation.r_info |= std::uint64_t{9999} << 32U; }, "it has 1 relocation that no table needs, of"},
};

TEST_F(Verify, SeesWhatLoadersMapOrProtectOtherwise) {
    if (sizeof(void *) != 8) {
        GTEST_SKIP() << "reads 64-bit libraries";
    }
    for (const HeaderDamage &damage : kHeaderDamages) {
        file_ = intact();
        Headers headers;
        headers.program.resize(static_cast<unsigned char>(file_[offsetof(Elf64_Ehdr, e_phnum)]));
        const auto with_each = [&headers](auto copy) {
            copy(0, headers.file);
            for (size_t i = 0; i < headers.program.size(); ++i) {
                copy(static_cast<size_t>(headers.file.e_phoff) + i * sizeof(Elf64_Phdr), headers.program[i]);
            }
            copy(static_cast<size_t>(headers.file.e_shoff), headers.no_section);
            copy(place_of(intact(), DT_RELA), headers.relocation);
        };
        with_each([this](size_t at, auto &header) { std::memcpy(&header, &file_[at], sizeof header); });
        damage.change(headers);
        with_each([this](size_t at, const auto &header) { std::memcpy(&file_[at], &header, sizeof header); });
        EXPECT_NE(problems().find(damage.problem), std::string::npos) << damage.problem << " in:\n" << problems();
    }
}

// The file's symbols stay as they are.
TEST_F(Verify, SeesSymbolsThatALoaderDoesNotFind) {
    if (sizeof(void *) != 8) {
        GTEST_SKIP() << "reads 64-bit libraries";
    }
    ASSERT_EQ(built_otherwise("", "", ""), "");
    const std::string sound = file_;
    const auto words_of = [&sound](std::int64_t tag) {
        std::array<std::uint32_t, 4> words{};
        std::memcpy(words.data(), &sound[place_of(sound, tag)], sizeof words);
        return words;
    };
    const size_t gnu = place_of(sound, DT_GNU_HASH);
    const size_t filter_len = 8 * words_of(DT_GNU_HASH)[2];
    const size_t gnu_buckets = words_of(DT_GNU_HASH)[0];
    const size_t first_hashed = words_of(DT_GNU_HASH)[1];
    const size_t sysv = place_of(sound, DT_HASH);
    const size_t buckets = words_of(DT_HASH)[0];
    const size_t count = words_of(DT_HASH)[1];
    const size_t symbols = place_of(sound, DT_SYMTAB);
    const struct {
        const char *name;
        size_t from;
        size_t len;
        char value;
    } cases[] = {
        {"bloom filter", gnu + 16, filter_len, 0},
        {"shift", gnu + 12, 1, 40},
        {"GNU buckets", gnu + 16 + filter_len, 4 * gnu_buckets, 0},
        {"GNU hashes", gnu + 16 + filter_len + 4 * gnu_buckets, 4 * (count - first_hashed), 1},
        {"SysV buckets", sysv + 8, 4 * buckets, 0},
        {"SysV buckets beyond", sysv + 8, 4 * buckets, 127},
        {"SysV number of buckets", sysv, 4, 0},
        {"SysV number of symbols", sysv + 4, 4, 0},
        {"SysV chains", sysv + 8 + 4 * buckets, 4 * count, 0},
    };
    for (const auto &each : cases) {
        file_ = sound;
        std::fill_n(file_.begin() + static_cast<std::ptrdiff_t>(each.from), each.len, each.value);
        EXPECT_NE(problems().find("through a hash table a loader does not find it"), std::string::npos)
            << each.name << ": " << problems();
    }
    // All symbols of a chain in a ring.
    file_ = sound;
    for (size_t i = 0; i < count; ++i) {
        const auto self = static_cast<std::uint32_t>(i);
        std::memcpy(&file_[sysv + 8 + 4 * (buckets + i)], &self, sizeof self);
    }
    EXPECT_NE(problems().find("through a hash table a loader does not find it"), std::string::npos);
    file_ = sound;
    for (size_t i = 1; i < count; ++i) {
        file_[symbols + i * sizeof(Elf64_Sym) + offsetof(Elf64_Sym, st_other)] = STV_HIDDEN;
    }
    EXPECT_NE(problems().find("symbol whitelist is not exported, but a loader may find it"), std::string::npos);
}

struct Difference {
    void (*change)(KeySet &set);
    const char *problems;
};

const Difference kDifferences[] = {
    {[](auto &set) { set.version = 2; }, "version is \"1\", the manifest says \"2\"\n"},
    {[](auto &set) { set.whitelist.reset(); }, "whitelist is \"com.example.demo\", the manifest says \"\"\n"},
    {[](auto &set) { set.keys[0].value[15] ^= 1U; },
     "key \"a\" encrypts 4096 of 4096 blocks otherwise than aes-128 under the manifest's value\n"},
    {[](auto &set) { set.keys[2].value[0] ^= 1U; },
     "key \"sm\" encrypts 4096 of 4096 blocks otherwise than sm4 under the manifest's value\n"},
    {[](auto &set) { set.keys[1].algorithm = Algorithm::aes256; },
     "key \"ab\" is no aes-256 key, as the manifest says\n"},
    {[](auto &set) { set.keys[2].algorithm = Algorithm::aes128; },
     "key \"sm\" is no aes-128 key, as the manifest says\n"},
    {[](auto &set) { set.keys.erase(set.keys.begin()); }, "key \"a\" is not in the manifest\n"},
    {[](auto &set) { set.keys[2].id = "other"; },
     "key \"other\" is in the manifest, but has no complete tables\nkey \"sm\" is not in the manifest\n"},
    {[](auto &set) { set.keys[0].signing_key.reset(); },
     "key \"a\" has a signing entry, but no signing_key in the manifest\n"},
    {[](auto &set) { (*set.keys[1].signing_key)[31] ^= 1U; },
     "key \"ab\" signs with another key than the manifest's signing_key\n"},
};

TEST_F(Verify, NamesWhatIsNotTheManifests) {
    for (const Difference &difference : kDifferences) {
        KeySet set = keys();
        difference.change(set);
        EXPECT_EQ(problems(set), difference.problems);
    }
    KeySet unknown = keys();
    unknown.sk.clear();
    unknown.keys[0].value.clear();
    unknown.keys[1].signing_key->clear();
    EXPECT_EQ(problems(unknown), "");
    const Findings findings = verify(unknown);
    EXPECT_EQ(findings.notes.size(), 3U);
    EXPECT_EQ(findings.not_compared, (std::vector<std::string>{"sk", "key \"a\": value", "key \"ab\": signing_key"}));
    EXPECT_EQ(findings.compared,
              (std::vector<std::string>{"wbid", "version", "appid", "whitelist", "ak", "key \"a\": signing_key",
                                        "key \"ab\": value", "key \"sm\": value"}));
}

// Rows or columns in another order, or other values, are permutations in rows and columns too.
TEST(TableCheck, TellsXorTablesThatCombineFourWords) {
    std::mt19937 random(7);
    const test::AesTables tables = test::fold_aes_key(test::sample(16));
    wbtables::AesTablesView view{"k", 10, {}, tables.round_tables, tables.last_round};
    const auto problems_with = [&view](const Bytes &xor_table) {
        view.xor_table = xor_table;
        return table_problems(view);
    };
    for (int i = 0; i < 50; ++i) {
        const auto made = wbtables::NibbleCode(wbtables::EncodingKind::hardened).xor_table();
        const Bytes good(made.begin(), made.end());
        EXPECT_EQ(problems_with(good), std::vector<std::string>());
        std::array<uint8_t, 16> other{};
        std::iota(other.begin(), other.end(), uint8_t{0});
        std::shuffle(other.begin(), other.end(), random);
        Bytes rows = good;
        Bytes columns = good;
        Bytes values = good;
        for (size_t at = 0; at < 256; ++at) {
            rows[at] = good[size_t{other[at / 16]} * 16 + at % 16];
            columns[at] = good[at / 16 * 16 + other[at % 16]];
            values[at] = other[good[at]];
        }
        for (const Bytes &bad : {rows, columns, values}) {
            EXPECT_EQ(problems_with(bad),
                      std::vector<std::string>{"key \"k\": the XOR table does not combine four words as an XOR, under "
                                               "no encoding of nibbles"});
        }
    }
    Bytes plain = tables.xor_table;
    plain[0x3A] = 17;
    EXPECT_EQ(problems_with(plain),
              (std::vector<std::string>{"key \"k\": entry [3][10] of the XOR table is 17, at most 15 is possible",
                                        "key \"k\": row 3 of the XOR table is no permutation of 0 to 15",
                                        "key \"k\": column 10 of the XOR table is no permutation of 0 to 15"}));
}

} // namespace
