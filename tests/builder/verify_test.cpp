// Verification of table libraries as files: one is built, and copies of it are damaged.

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

#include "builder/check/compare_with_keys.h"
#include "builder/check/table_check.h"
#include "builder/check/verify_library.h"
#include "builder/library.h"
#include "key_sets.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

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
        for (const std::string &problem : verify(set).problems) {
            all += problem + "\n";
        }
        return all;
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

struct Damage {
    const char *name;
    void (*change)(std::string &file);
    const char *problem;
};

void replace(std::string &file, std::string_view from, std::string_view to) {
    const size_t at = file.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    file.replace(at, from.size(), to);
}
void change_entry(std::string &file, size_t offset, std::string_view to) {
    const size_t at = file.find(kEntry);
    ASSERT_NE(at, std::string::npos);
    file.replace(at + offset, to.size(), to);
}

const Damage kDamages[] = {
    {"symbol",
     [](auto &file) {
         replace(file, {"Xor_a", 6}, {"Xor_q", 6});
     },
     "symbol \"Xor_a\" is missing\n"},
    {"tables",
     [](auto &file) {
         replace(file, {"Xor_a", 6}, {"Xor_q", 6});
     },
     "key \"a\" is in the manifest, but has no complete tables\n"},
    {"appid",
     [](auto &file) {
         replace(file, {"com.example.demo", 17}, {"com.example.demX", 17});
     },
     "appid is \"com.example.demX\", the manifest says \"com.example.demo\"\n"},
    {"sk", [](auto &file) { replace(file, "the sk", "the sX"); }, "sk is not the manifest's\n"},
    {"ak", [](auto &file) { replace(file, "the ak", "the aX"); }, "ak is not the manifest's\n"},
    // encryptedContent becomes the tag, which has less room.
    {"room", [](auto &file) { change_entry(file, kBehindIv, "42"); },
     "signing entry 1 of 2: its tag has 32 bytes, at most 16 are possible\n"},
    {"hex text", [](auto &file) { change_entry(file, kBehindIv, "x"); }, "are no hex text of a message\n"},
    {"message", [](auto &file) { change_entry(file, 0, "2f"); },
     "signing entry 1 of 2: it is the hex text of something other than a CMSEncryptedData\n"},
    {"entry's id", [](auto &file) { change_entry(file, 6, "7a"); },
     "signing entry 1 of 2: its key field is no hex text of a key id\n"},
    {"other id", [](auto &file) { change_entry(file, 6, "32"); },
     "key \"a\" is served with the signing entry of key \"ab\", which comes first\n"},
    {"no entry", [](auto &file) { change_entry(file, 6, "32"); },
     "key \"a\" has no signing entry for its signing_key\n"},
    {"signing key", [](auto &file) { change_entry(file, kBehindIv + 4, "00000000"); },
     "key \"a\" signs with another key than the manifest's signing_key\n"},
};

TEST_F(Verify, NamesWhatIsWrongWithTheFile) {
    for (const Damage &damage : kDamages) {
        file_ = intact();
        damage.change(file_);
        EXPECT_NE(problems().find(damage.problem), std::string::npos) << damage.name << ": " << problems();
    }
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
    EXPECT_EQ(verify(unknown).notes.size(), 3U);
}

using Nibbles = std::array<uint8_t, 16>;

Nibbles random_permutation(std::mt19937 &random) {
    Nibbles out{};
    std::iota(out.begin(), out.end(), uint8_t{0});
    std::shuffle(out.begin(), out.end(), random);
    return out;
}

// An invertible matrix as the images of all nibbles.
Nibbles random_linear_map(std::mt19937 &random) {
    for (;;) {
        const auto columns = random();
        Nibbles out{};
        for (size_t x = 0; x < 16; ++x) {
            for (size_t bit = 0; bit < 4; ++bit) {
                out[x] ^= static_cast<uint8_t>((x >> bit & 1U) * (columns >> 4 * bit & 15U));
            }
        }
        if (std::ranges::count(out, 0) == 1) { // of zero alone
            return out;
        }
    }
}

// g(left(a) + right(b))
Bytes xor_table(const Nibbles &g, const Nibbles &left, const Nibbles &right) {
    Bytes table;
    for (const uint8_t a : left) {
        for (const uint8_t b : right) {
            table.push_back(g[a ^ b]);
        }
    }
    return table;
}

// All libraries of the format have an XOR table of the first kind; the second has permutations in rows and columns too.
TEST(TableCheck, TellsXorTablesThatCombineFourWords) {
    std::mt19937 random(7);
    const test::AesTables tables = test::fold_aes_key(test::sample(16));
    for (int i = 0; i < 50; ++i) {
        const Nibbles h = random_permutation(random);
        Nibbles left{};
        Nibbles right{};
        const Nibbles of_a = random_linear_map(random);
        const Nibbles of_b = random_linear_map(random);
        const auto c = static_cast<uint8_t>(random() % 16);
        for (size_t x = 0; x < 16; ++x) {
            left[h[x]] = static_cast<uint8_t>(of_a[x] ^ c);
            right[h[x]] = of_b[x];
        }
        wbtables::AesTablesView view{"k", 10, {}, tables.round_tables, tables.last_round};
        const Bytes good = xor_table(h, left, right);
        view.xor_table = good;
        EXPECT_EQ(table_problems(view), std::vector<std::string>());
        for (const Bytes &bad :
             {xor_table(h, random_permutation(random), right), xor_table(h, left, random_permutation(random)),
              xor_table(random_permutation(random), left, right)}) {
            view.xor_table = bad;
            EXPECT_EQ(
                table_problems(view),
                std::vector<std::string>{"key \"k\": the XOR table does not combine four words as an XOR, under no "
                                         "encoding of nibbles"});
        }
    }
    Bytes plain = xor_table(random_permutation(random), random_permutation(random), random_permutation(random));
    plain[0x3A] = 17;
    const std::vector<std::string> problems =
        table_problems(wbtables::AesTablesView{"k", 10, plain, tables.round_tables, tables.last_round});
    ASSERT_EQ(problems.size(), 3U);
    EXPECT_EQ(problems[0], "key \"k\": entry [3][10] of the XOR table is 17, at most 15 is possible");
    EXPECT_EQ(problems[1], "key \"k\": row 3 of the XOR table is no permutation of 0 to 15");
    EXPECT_EQ(problems[2], "key \"k\": column 10 of the XOR table is no permutation of 0 to 15");
}

} // namespace
