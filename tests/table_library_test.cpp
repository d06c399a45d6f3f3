#include <dlfcn.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "quen/aes.h"
#include "quen/tables.h"
#include "support/captured_log.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;
using test::error;
using test::Lines;
using test::TableSource;
using test::TempDir;

constexpr int32_t kVersion = 3;
const std::string kNotMatched = "load wb 3 err. alg not matched.\n";

class TableLibrary : public testing::Test {
  protected:
    // A library with one key of each cipher and every text.
    TableSource source() {
        return TableSource()
            .header("wb", kVersion)
            .text("sk", "the sk")
            .text("ak", "the ak")
            .text("appid", "the app")
            .text("whitelist", "a,b")
            .slots("sm4_keyids", {"s"})
            .slots("aes_keyids", {std::nullopt, "a"})
            .aes_tables("a", test::sample(16))
            .sm4_table("s");
    }
    void build(const TableSource &library) { library.build(dir_.path(), "wb", kVersion); }
    tb_entry entry(const char *key_id) { return get_tb_entry(dir_.string().c_str(), "wb", key_id, kVersion); }
    tb_common common() { return get_tb_common(dir_.string().c_str(), "wb", kVersion); }
    void *handle() { return get_so_handle(dir_.string().c_str(), "wb", kVersion); }
    const void *symbol(const char *name) { return dlsym(handle(), name); }

    TempDir dir_;
    test::CapturedLog log_;
};

TEST_F(TableLibrary, AesRecordHoldsTheLibrarysAddresses) {
    for (const size_t key_size : {16U, 24U, 32U}) {
        const std::string wbid = "wb" + std::to_string(key_size);
        source()
            .header(wbid, -7)
            .slots("aes_keyids", {"a"})
            .aes_tables("a", test::sample(key_size))
            .build(dir_.path(), wbid, -7);
        const tb_entry found = get_tb_entry(dir_.string().c_str(), wbid.c_str(), "a", -7);
        void *library = get_so_handle(dir_.string().c_str(), wbid.c_str(), -7);
        const auto at = [library](const std::string &name) { return dlsym(library, name.c_str()); };
        EXPECT_EQ(found.status, 0);
        EXPECT_EQ(found.wbid, at("wbid"));
        EXPECT_EQ(found.version, -7);
        EXPECT_EQ(found.Nr, static_cast<int32_t>(key_size / 4 + 6));
        EXPECT_EQ(found.Xor, at("Xor_a"));
        EXPECT_EQ(found.Tyboxes, at("Tyboxes" + std::to_string(8 * key_size) + "_a"));
        EXPECT_NE(found.Tyboxes, nullptr);
        EXPECT_EQ(found.TboxesLast, at("TboxesLast_a"));
        EXPECT_EQ(found.table, found.TboxesLast);
        EXPECT_STREQ(found.sk, "the sk");
        EXPECT_STREQ(found.ak, "the ak");
        EXPECT_STREQ(found.appid, "the app");
        EXPECT_STREQ(found.whitelist, "a,b");
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(TableLibrary, Sm4RecordHasTheTableAlone) {
    // An id in both lists is an SM4 key.
    build(source().slots("aes_keyids", {"s", "a"}).aes_tables("s", test::sample(16)));
    const tb_entry found = entry("s");
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(found.table, symbol("table_s"));
    EXPECT_EQ(found.Nr, 0);
    EXPECT_EQ(found.Xor, nullptr);
    EXPECT_EQ(found.Tyboxes, nullptr);
    EXPECT_EQ(found.TboxesLast, nullptr);
    EXPECT_STREQ(found.appid, "the app");
    EXPECT_EQ(check_keyid_alg(handle(), "s"), 0);
    EXPECT_EQ(check_keyid_alg(handle(), "a"), 1);
    EXPECT_EQ(check_keyid_alg(handle(), "x"), -1);
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(TableLibrary, SlotsFromFirstToLastCount) {
    build(source()
              .slots("sm4_keyids", {"1", {}, {}, {}, {}, {}, {}, {}, {}, "2"})
              .slots("aes_keyids", {"3", "4", "5", "6", "7", "8", "9", "10", "11", "12"}));
    EXPECT_EQ(check_keyid_alg(handle(), "2"), 0);
    EXPECT_EQ(check_keyid_alg(handle(), "12"), 1);
    EXPECT_STREQ(common().keyids, "1,2,3,4,5,6,7,8,9,10,11,12,");
}

// What is asked for, and the reason that the log gives.
struct Refusal {
    const char *name;
    std::string dir;
    const char *wbid;
    std::string reason;
};

TEST_F(TableLibrary, CannotBeOpened) {
    const std::string dir = dir_.string();
    const std::string file = dir + "/libwb_tables_no_3.so";
    const std::string missing = file + ": cannot open shared object file: No such file or directory";
    const std::string long_wbid(200, 'w');
    std::ofstream(dir + "/libwb_tables_text_3.so")
        << "not a library, but long enough to be looked at as one: " << std::string(100, '.');
    const Refusal cases[] = {
        {"missing file", dir, "no", missing},
        {"null wbid", dir, nullptr, "no wbid"},
        {"a place for a name", dir, "../wb", "wbid with a slash or a dollar sign"},
        {"what the loader expands", dir, "${ORIGIN}", "wbid with a slash or a dollar sign"},
        {"long wbid", dir, long_wbid.c_str(), "path too long"},
        {"long folder", std::string(190, '/'), "no", "path too long"},
        {"not a library", dir, "text", dir + "/libwb_tables_text_3.so: invalid ELF header"},
    };
    for (const Refusal &each : cases) {
        SCOPED_TRACE(each.name);
        EXPECT_EQ(get_so_handle(each.dir.c_str(), each.wbid, kVersion), nullptr);
        EXPECT_EQ(log_.take(), Lines{});
        const tb_entry found = get_tb_entry(each.dir.c_str(), each.wbid, "a", kVersion);
        EXPECT_EQ(found.status, -70);
        EXPECT_EQ(found.wbid, nullptr);
        EXPECT_EQ(log_.take(), Lines{error("open error:" + each.reason + "\n")});
        EXPECT_EQ(get_tb_common(each.dir.c_str(), each.wbid, kVersion).status, -70);
        EXPECT_EQ(log_.take(), Lines{error("open error:" + each.reason + "\n")});
    }
}

TEST_F(TableLibrary, PathOf199CharactersIsTheLongest) {
    // Slashes in front make a path longer without leading elsewhere.
    const std::string file = "/libwb_tables_wb_3.so";
    build(source());
    const std::string slashes(199 - file.size() - dir_.string().size(), '/');
    EXPECT_NE(get_so_handle((slashes + dir_.string()).c_str(), "wb", kVersion), nullptr);
    EXPECT_EQ(get_so_handle(("/" + slashes + dir_.string()).c_str(), "wb", kVersion), nullptr);
}

TEST_F(TableLibrary, IsNotTheOneAskedFor) {
    struct Case {
        const char *file_wbid;
        TableSource library;
        std::string line;
    };
    const Case cases[] = {
        {"v", source().header("v", 4), "FAIL: param not match so. wbid:v, version:4"},
        {"w", source().header("wx", kVersion), "FAIL: param not match so. wbid:wx, version:3"},
        {"p", source().header("", kVersion), "FAIL: param not match so. wbid:, version:3"},
        {"n", source().without("wbid"), "FAIL: param not match so. wbid:(null), version:3"},
        {"m", source().header("m", kVersion).without("version"), "FAIL: param not match so. wbid:m, version:0"},
    };
    for (const Case &each : cases) {
        SCOPED_TRACE(each.line);
        each.library.build(dir_.path(), each.file_wbid, kVersion);
        const tb_entry found = get_tb_entry(dir_.string().c_str(), each.file_wbid, "a", kVersion);
        EXPECT_EQ(found.status, -71);
        EXPECT_EQ(found.appid, nullptr);
        const tb_common texts = get_tb_common(dir_.string().c_str(), each.file_wbid, kVersion);
        EXPECT_EQ(texts.status, -71);
        EXPECT_EQ(texts.appid, nullptr);
        EXPECT_EQ(log_.take(), (Lines{error(each.line), error(each.line)}));
    }
}

TEST_F(TableLibrary, UnknownKeyIds) {
    const std::string longest(68, 'k');
    const std::string too_long(69, 'k');
    build(source().slots("aes_keyids", {"a", longest, too_long}).aes_tables(longest, test::sample(16)));
    EXPECT_EQ(entry(longest.c_str()).status, 0);
    EXPECT_NE(entry(longest.c_str()).TboxesLast, nullptr);
    EXPECT_EQ(log_.take(), Lines{});
    for (const char *key_id : {"", "A", "aa", too_long.c_str(), static_cast<const char *>(nullptr)}) {
        SCOPED_TRACE(key_id == nullptr ? "null" : key_id);
        const tb_entry found = entry(key_id);
        EXPECT_EQ(found.status, -72);
        EXPECT_STREQ(found.wbid, "wb");
        EXPECT_EQ(found.version, kVersion);
        EXPECT_STREQ(found.sk, "the sk");
        EXPECT_EQ(found.table, nullptr);
        EXPECT_EQ(log_.take(), Lines{error(kNotMatched)});
        EXPECT_EQ(check_keyid_alg(handle(), key_id), -1);
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(TableLibrary, WithoutAesListNoKeyIsServed) {
    build(source().without("aes_keyids"));
    const tb_common texts = common();
    EXPECT_EQ(texts.status, -73);
    EXPECT_STREQ(texts.keyids, "");
    EXPECT_STREQ(texts.appid, "the app");
    EXPECT_STREQ(texts.whitelist, "a,b");
    EXPECT_EQ(check_keyid_alg(handle(), "s"), -1);
    EXPECT_EQ(check_keyid_alg(nullptr, "s"), -1);
    EXPECT_EQ(log_.take().size(), 3U);
}

TEST_F(TableLibrary, JoinedListOf209CharactersIsTheLongest) {
    const std::string id(104, 'i');
    build(source().slots("sm4_keyids", {id}).slots("aes_keyids", {std::nullopt, id.substr(1)}));
    EXPECT_EQ(common().status, 0);
    EXPECT_EQ(strlen(common().keyids), 209U);
    EXPECT_EQ(log_.take(), Lines{});

    const TempDir other;
    source().slots("sm4_keyids", {id}).slots("aes_keyids", {id}).build(other.path(), "wb", kVersion);
    const tb_common texts = get_tb_common(other.string().c_str(), "wb", kVersion);
    EXPECT_EQ(texts.status, -73);
    EXPECT_STREQ(texts.keyids, "");
    EXPECT_STREQ(texts.sk, "the sk");
    const Lines lines = log_.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text.find("get_tb_common get keyids failed, sm4:0x"), 0U) << lines[0];
}

TEST_F(TableLibrary, EmptyListsAndMissingTextsAreNoFailure) {
    build(TableSource().header("wb", kVersion));
    const tb_common texts = common();
    EXPECT_EQ(texts.status, 0);
    EXPECT_STREQ(texts.keyids, "");
    for (const char *text : {texts.appid, texts.sk, texts.ak, texts.whitelist}) {
        EXPECT_EQ(text, nullptr);
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(TableLibrary, AnyOtherRoundCountLooksForTheTablesOf256Bits) {
    build(source().slots("aes_keyids", {"eleven"}).number("Nr_eleven", 11).bytes("Tyboxes256_eleven", {0}));
    EXPECT_EQ(entry("eleven").status, 0);
    EXPECT_EQ(entry("eleven").Nr, 11);
    EXPECT_EQ(entry("eleven").Tyboxes, symbol("Tyboxes256_eleven"));
    EXPECT_EQ(entry("eleven").Xor, nullptr);
    EXPECT_EQ(log_.take(), Lines{});
    EXPECT_EQ(get_aes_alg(dir_.string().c_str(), "wb", "eleven", kVersion), 17U);
    EXPECT_EQ(log_.take(), Lines{error("FAIL: can't en/decrypt, wb\n")});
}

TEST(HexText, EachPairIsScannedByItself) {
    struct Case {
        const char *hex;
        const char *bytes;
    };
    // ee marks bytes that stay as they were.
    const Case cases[] = {
        {"0aFf3", "0aff"}, {"", ""}, {"f", ""}, {" fab", "0fab"}, {"zz12", "ee12"}, {"1z2", "01"}, {"  12", "ee12"},
    };
    for (const Case &each : cases) {
        Bytes out(strlen(each.hex) / 2, 0xee);
        get_byte_data(each.hex, out.data());
        EXPECT_EQ(test::to_hex(out), each.bytes) << '"' << each.hex << '"';
    }
}

} // namespace
