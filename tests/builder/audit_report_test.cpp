// What an audit says, and what it must not say.
#include <algorithm>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "builder/audit/audit.h"
#include "builder/audit/report.h"
#include "builder/keys/hex.h"
#include "key_sets.h"

namespace {

using namespace wbtables;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kKey = "a key of 16 byte";
constexpr std::uint8_t kRight = 'k';

// A recovered key, and one byte whose right guess has the third highest peak.
LibraryAudit audit_of(const std::string &key_id) {
    AttackResult found;
    found.attack = "structure";
    found.succeeded = true;
    found.key = test::secret(kKey);
    found.fingerprint = fingerprint_of(found.key);
    AttackResult not_found;
    not_found.attack = "faults";
    not_found.needed = 12;
    not_found.needed_what = "faults";
    not_found.remark = "nothing & <nobody>";
    ByteCorrelation byte{std::vector<double>(256, 0.125), kRight};
    byte.peaks[1] = 0.5;
    byte.peaks[2] = 0.375;
    byte.peaks[kRight] = 0.25;
    return {"lib<b>.so",
            "demo",
            "1",
            "x86_64",
            "none",
            {"a problem"},
            {{key_id, "aes-128", false, {found, not_found}, 1000, {byte}}},
            {}};
}

std::string hex_of_key() {
    const SecretBytes hex = to_hex(test::secret(kKey));
    return {hex.begin(), hex.end()};
}

TEST(AuditReport, FingerprintIsTheBeginningOfSha256) {
    // FIPS 180-4's example of one block.
    EXPECT_EQ(fingerprint_of(test::secret("abc")), "ba7816bf8f01cfea");
}

TEST(AuditReport, RanksTheRightGuessBehindItsEquals) {
    const LibraryAudit audit = audit_of("a");
    ByteCorrelation byte = audit.keys[0].bytes[0];
    EXPECT_EQ(rank_of_right(byte), 3U);
    byte.right = 3;
    EXPECT_EQ(rank_of_right(byte), 256U);
}

TEST(AuditReport, ShowsRecoveredKeysOnlyWhenAsked) {
    const LibraryAudit audit = audit_of("a");
    for (const auto report : {audit_table, audit_json, audit_page}) {
        EXPECT_THAT(report(audit, {false}), Not(HasSubstr(hex_of_key())));
        EXPECT_THAT(report(audit, {false}), HasSubstr(fingerprint_of(test::secret(kKey))));
        EXPECT_THAT(report(audit, {true}), HasSubstr(hex_of_key()));
    }
}

TEST(AuditReport, DoesNotTellTheKeyByTheOrderOfBars) {
    LibraryAudit audit = audit_of("a");
    const std::string page = audit_page(audit, {false});
    ByteCorrelation &byte = audit.keys[0].bytes[0];
    std::swap(byte.peaks[kRight], byte.peaks[200]);
    byte.right = 200;
    EXPECT_EQ(audit_page(audit, {false}), page);
    std::size_t bars = 0;
    for (std::size_t at = page.find("h2v"); at != std::string::npos; at = page.find("h2v", at + 1)) {
        ++bars;
    }
    EXPECT_EQ(bars, 256U);
}

TEST(AuditReport, TellsNamesThatAFileMadeUp) {
    const std::string hostile = "<script>\"&\x1b[2J\xff";
    const LibraryAudit audit = audit_of(hostile);
    EXPECT_THAT(audit_page(audit, {false}), HasSubstr("&lt;script&gt;&quot;&amp;\\x1b[2J"));
    EXPECT_THAT(audit_page(audit, {false}), HasSubstr("nothing &amp; &lt;nobody&gt;"));
    EXPECT_THAT(audit_page(audit, {false}), Not(HasSubstr("<script>")));
    EXPECT_THAT(audit_table(audit, {false}), Not(HasSubstr("\x1b")));
    const auto json = nlohmann::json::parse(audit_json(audit, {false}));
    EXPECT_EQ(json["keys"][0]["attacks"][1]["faults"], 12);
    EXPECT_EQ(json["keys"][0]["correlation"]["bytes"][0]["right_rank"], 3);
}

TEST(AuditReport, ShowsTextsThatAreHarmlessOnATerminal) {
    const std::pair<const char *, const char *> cases[] = {
        {"a/b \xc3\xbc \xe2\x82\xac \xf0\x9f\x94\x91", "a/b \xc3\xbc \xe2\x82\xac \xf0\x9f\x94\x91"},
        {"\x1b[2J\x7f\n", "\\x1b[2J\\x7f\\x0a"},
        {"\xc2\x9b"
         "2J",
         "\\xc2\\x9b2J"},
        {"\xe2\x80\xae"
         "fdp",
         "\\xe2\\x80\\xaefdp"},
        {"\xe2\x81\xa6", "\\xe2\\x81\\xa6"},
        {"\xff\x80", "\\xff\\x80"},
        {"\xc0\xaf \xe0\x82\x9b \xed\xa0\x80 \xf4\x90\x80\x80",
         "\\xc0\\xaf \\xe0\\x82\\x9b \\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80"},
        {"\xe2\x82", "\\xe2\\x82"},
    };
    for (const auto &[text, shown] : cases) {
        EXPECT_EQ(without_controls(text), shown);
    }
}

TEST(AuditReport, NeverTakesAFailedAuditForASafeLibrary) {
    LibraryAudit audit = audit_of("a");
    EXPECT_TRUE(is_conclusive(audit.keys[0]));
    audit.keys[0].attacks[0].succeeded = false;
    EXPECT_FALSE(is_conclusive(audit.keys[0]));
    for (const auto report : {audit_table, audit_page}) {
        EXPECT_THAT(report(audit, {false}), HasSubstr("this audit is at fault"));
        EXPECT_THAT(report(audit, {false}), HasSubstr("not encoded"));
    }
}

} // namespace
