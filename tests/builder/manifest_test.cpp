// What a manifest may say, and how each refusal reads.

#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "builder/manifest/manifest.h"
#include "key_sets.h"
#include "support/temp_dir.h"

namespace {

using wbtables::Algorithm;
using wbtables::Failure;

// A manifest in a folder of its own, with a file for each access text.
class ManifestFile {
  public:
    explicit ManifestFile(std::string_view text) {
        test::write_text(dir_.path() / "manifest.toml", text);
        test::write_text(dir_.path() / "sk", "the sk\n");
        test::write_text(dir_.path() / "ak", "the ak\n");
        test::write_text(dir_.path() / "open", "the ak\n", 0644);
    }
    void set_mode(mode_t mode) const { chmod((dir_.path() / "manifest.toml").c_str(), mode); }
    wbtables::KeySet parse(bool allow_inline = true) const {
        return wbtables::parse_manifest(dir_.path() / "manifest.toml", {allow_inline});
    }
    // The message without the folder's name.
    std::string refusal(bool allow_inline = true) const {
        const auto thrown = test::thrown_by([&] { parse(allow_inline); });
        EXPECT_EQ(thrown.failure, Failure::refused);
        std::string message = thrown.message;
        const std::string folder = dir_.string() + "/";
        for (size_t at = message.find(folder); at != std::string::npos; at = message.find(folder)) {
            message.erase(at, folder.size());
        }
        return message;
    }

  private:
    test::TempDir dir_;
};

// Five lines: keys start in the sixth.
const std::string kHeader = "wbid = 'demo'\nversion = 1\nappid = 'app'\nsk = 'file:sk'\nak = 'file:ak'\n";

std::string key_table(const std::string &id, const std::string &more = "", const std::string &cipher = "aes-128") {
    return "[[key]]\nid = '" + id + "'\ncipher = '" + cipher + "'\nvalue = 'random'\n" + more;
}

const std::string kSigning = "signing_key = 'random'\n";

std::string keys(int count, const std::string &cipher) {
    std::string tables;
    for (int i = 0; i < count; ++i) {
        tables += key_table(cipher + "-" + std::to_string(i), "", cipher);
    }
    return tables;
}

std::string header_with(const std::string &field, const std::string &line) {
    std::string text = kHeader + key_table("pay");
    const size_t start = text.find(field + " = ");
    return text.replace(start, text.find('\n', start) - start, line);
}

// A name of tables in each other.
std::string dotted(size_t dots) {
    std::string name = "a";
    for (size_t i = 0; i < dots; ++i) {
        name += ".a";
    }
    return name;
}

struct Refusal {
    std::string manifest;
    std::string message;
};

const Refusal kRefusals[] = {
    // The document
    {"",
     "manifest.toml:1:1: wbid is missing\nmanifest.toml:1:1: version is missing\nmanifest.toml:1:1: appid is missing\n"
     "manifest.toml:1:1: sk is missing\nmanifest.toml:1:1: ak is missing"},
    {kHeader + "colour = 1\n[[key]]\nid = 'pay'\nvalue = 'random'\nsize = 2\n",
     "manifest.toml:6:1: unknown field \"colour\"\nmanifest.toml:7:1: key \"pay\" has no cipher\nmanifest.toml:10:1: "
     "unknown field \"size\""},
    {kHeader + "[[key]]\ncipher = 'sm4'\n",
     "manifest.toml:6:1: key 1 has no id\nmanifest.toml:6:1: key 1 has no value"},
    {kHeader + "[key]\nid = 'pay'\n", "manifest.toml:6:1: key must be written as [[key]] tables"},
    {kHeader, "manifest.toml:1:1: no keys: a table library needs at least one [[key]]"},

    {kHeader + dotted(5000) + " = 1\n" + key_table("pay"), "manifest.toml:6:1: unknown field \"a\""},
    {kHeader + dotted(5001) + " = 1\n",
     "manifest.toml:6:10002: more than 5000 dots up to here: tables could stand too deep in each other"},
    {kHeader + "[" + dotted(4999) + "]\n" + dotted(2) + " = 1\n",
     "manifest.toml:7:4: more than 5000 dots up to here: tables could stand too deep in each other"},

    // Types
    {header_with("wbid", "wbid = 1"), "manifest.toml:1:8: wbid must be a string"},
    {header_with("version", "version = '1'"), "manifest.toml:2:11: version must be an integer"},
    {header_with("sk", "sk = ['x']"), "manifest.toml:4:6: sk must be a string"},
    {header_with("appid", "appid = 'a'\nwhitelist = 'a'"),
     "manifest.toml:4:13: whitelist must be an array of strings that are not empty"},
    {header_with("appid", "appid = 'a'\nwhitelist = ['a', '']"),
     "manifest.toml:4:13: whitelist must be an array of strings that are not empty"},
    {header_with("appid", "appid = 'a'\nwhitelist = ['a', 'b,c']"),
     "manifest.toml:4:13: whitelist has a name with a comma: write a string for each name"},
    {header_with("appid", "appid = 'a'\nwhitelist = []"),
     "manifest.toml:4:13: whitelist is empty, which would admit every caller; to have that, leave the field out"},

    // Names and their limits
    {header_with("version", "version = 2147483648"),
     "manifest.toml:2:11: version must be a number from -2147483648 to 2147483647"},
    {header_with("wbid", "wbid = ''"), "manifest.toml:1:8: wbid is empty"},
    {header_with("wbid", "wbid = '../demo'"),
     "manifest.toml:1:8: wbid \"../demo\" has characters outside A-Z a-z 0-9 _ -"},
    {header_with("wbid", "wbid = \"a\\u0000\\u001b\""),
     "manifest.toml:1:8: wbid \"a\\x00\\x1b\" has characters outside A-Z a-z 0-9 _ -"},
    {header_with("wbid", "wbid = '" + std::string(183, 'w') + "'"),
     "manifest.toml:1:8: wbid makes a file name of 201 characters, at most 199 are possible"},
    {header_with("appid", "appid = '" + std::string(80, 'a') + "'"),
     "manifest.toml:3:9: appid has 80 bytes, at most 79 are possible"},
    {header_with("appid", "appid = \"a\\u0000b\""), "manifest.toml:3:9: appid contains a NUL character"},
    {header_with("appid",
                 "appid = 'a'\nwhitelist = ['" + std::string(2500, 'a') + "', '" + std::string(2499, 'b') + "']"),
     "manifest.toml:4:13: whitelist has 5000 bytes, at most 4999 are possible"},

    // Key ids
    {kHeader + key_table(""), "manifest.toml:7:6: key 1 has an empty id"},
    {kHeader + key_table("a,b"), "manifest.toml:7:6: key \"a,b\" has characters outside A-Z a-z 0-9 _ . - in its id"},
    {kHeader + key_table(std::string(69, 'k')),
     "manifest.toml:7:6: key \"" + std::string(69, 'k') + "\" has an id of 69 characters, at most 68 are possible"},
    {kHeader + key_table(std::string(51, 'k'), kSigning),
     "manifest.toml:7:6: key \"" + std::string(51, 'k') +
         "\" has an id of 51 characters, at most 50 are possible with a signing_key"},
    {kHeader + key_table("pay") + key_table("pay", "", "sm4"),
     "manifest.toml:11:6: key \"pay\" has the id of an earlier key"},
    {kHeader + key_table("pay-1", kSigning) + key_table("pay"),
     "manifest.toml:12:6: key \"pay\" has no signing_key, but its id begins that of \"pay-1\", whose signing_key would "
     "be taken for "
     "its own: rename one or give both a signing_key"},
    {kHeader + keys(11, "aes-256"),
     "manifest.toml:47:6: key \"aes-256-10\" is one AES key too many: at most 10 are possible"},
    {kHeader + keys(11, "sm4"), "manifest.toml:47:6: key \"sm4-10\" is one SM4 key too many: at most 10 are possible"},
    {kHeader + key_table(std::string(68, 'a')) + key_table(std::string(68, 'b'), "", "sm4") +
         key_table(std::string(68, 'c')) + key_table("dd"),
     "manifest.toml:6:1: the list of key ids, a comma after each, has 210 characters, at most 209 are possible"},
    {kHeader + key_table("pay", "", "des"),
     "manifest.toml:8:10: key \"pay\": cipher \"des\" is unknown; there are aes-128, aes-192, aes-256 and sm4"},
    {kHeader + key_table("pay", "", "c0ffeec0ffeec0ffee"), "manifest.toml:8:10: key \"pay\": cipher what stands there "
                                                           "is unknown; there are aes-128, aes-192, aes-256 and sm4"},
    {kHeader + key_table("s", kSigning, "sm4"),
     "manifest.toml:10:15: key \"s\" is an sm4 key: only AES keys can have a signing_key"},

    // Secrets
    {header_with("sk", "sk = 'text:'"), "manifest.toml:4:6: sk is empty"},
    {header_with("ak", "ak = 'text:'"), "manifest.toml:5:6: ak is empty"},
    {header_with("sk", "sk = 'text:" + std::string(100, 's') + "'"),
     "manifest.toml:4:6: sk has 100 bytes, at most 99 are possible"},
    {header_with("ak", "ak = \"text:a\\u0000\""), "manifest.toml:5:6: ak contains a NUL character"},
    {header_with("ak", "ak = 'random'"), "manifest.toml:5:6: ak cannot be random, for its users have to know it"},
    {header_with("ak", "ak = 'file:open'"),
     "manifest.toml:5:6: ak open is open to others than its owner; its mode must be 600"},
    {header_with("ak", "ak = 'file:missing'"),
     "manifest.toml:5:6: ak missing cannot be read: No such file or directory"},
    {kHeader + "[[key]]\nid = 'pay'\ncipher = 'aes-256'\nvalue = 'hex:00'\nsigning_key = 'hex:0011'\n",
     "manifest.toml:9:9: key \"pay\" has a value of 1 bytes, aes-256 needs 32\nmanifest.toml:10:15: key \"pay\" has a "
     "signing_key of 2 bytes, 32 are needed"},
    {kHeader + "[[key]]\nid = 'pay'\ncipher = 'sm4'\nvalue = 'hex:0g'\n",
     "manifest.toml:9:9: key \"pay\": value holds something other than hex digits"},
    {kHeader + "[[key]]\nid = 'pay'\ncipher = 'sm4'\nvalue = 'hex:001'\n",
     "manifest.toml:9:9: key \"pay\": value holds 3 characters, which is no even number of hex digits"},
    {header_with("sk", "sk = '-'") + "[[key]]\nid = 'k'\ncipher = 'sm4'\nvalue = 'fd:0'\n",
     "manifest.toml:13:9: key \"k\": value reads standard input, which another field has read to its end"},
};

TEST(Manifest, EveryRefusalNamesItsPlaceAndReason) {
    for (const Refusal &refusal : kRefusals) {
        EXPECT_EQ(ManifestFile(refusal.manifest).refusal(), refusal.message) << refusal.manifest;
    }
}

// The words are the parser's and change with it; what it quotes is ours to remove.
TEST(Manifest, ThatIsNoTomlIsRefusedWithItsPlace) {
    const std::pair<std::string, std::string> cases[] = {
        {"wbid = 'demo'\nversion = = 1\n", "manifest.toml:2:11: Error while parsing"},
        {kHeader + "wbid = 'twice'\n", "manifest.toml:6:"},
        {kHeader + "sk = 'not closed\n", "manifest.toml:6:"},
        {kHeader + "[[key]\n", "manifest.toml:6:"},
        {kHeader + "number = 99999999999999999999\n", "manifest.toml:6:"},
        {kHeader + "number = 0x12z4\n", "manifest.toml:6:"},
        {std::string("wbid = 'a\0b'", 12), "manifest.toml:1:"},
    };
    for (const auto &[text, message] : cases) {
        const std::string refusal = ManifestFile(text).refusal();
        EXPECT_TRUE(refusal.starts_with(message)) << refusal;
        EXPECT_EQ(refusal.find('\n'), std::string::npos) << refusal;
        EXPECT_EQ(refusal.find("9999"), std::string::npos) << refusal;
        EXPECT_EQ(refusal.find("saw"), std::string::npos) << refusal;
    }
}

TEST(Manifest, IsReadWhole) {
    const auto set =
        ManifestFile("wbid = 'a_B-9'\nversion = -7\nappid = 'app'\nwhitelist = ['com.a', 'com.b']\n"
                     "sk = 'file:sk'\nak = 'text:access'\n"
                     "[[key]]\nid = 'pay'\ncipher = 'aes-192'\n"
                     "value = 'hex:000102030405060708090A0b0c0d0e0f1011121314151617'\nsigning_key = 'random'\n"
                     "[[key]]\nid = 'sm'\ncipher = 'sm4'\nvalue = 'random'\n")
            .parse();
    EXPECT_EQ(wbtables::file_name(set), "libwb_tables_a_B-9_-7.so");
    EXPECT_EQ(set.appid, "app");
    EXPECT_EQ(set.whitelist, "com.a,com.b");
    EXPECT_EQ(set.sk, test::secret("the sk"));
    EXPECT_EQ(set.ak, test::secret("access"));
    ASSERT_EQ(set.keys.size(), 2U);
    EXPECT_EQ(set.keys[0].id, "pay");
    EXPECT_EQ(set.keys[0].algorithm, Algorithm::aes192);
    const test::Bytes value = test::from_hex("000102030405060708090a0b0c0d0e0f1011121314151617");
    EXPECT_EQ(set.keys[0].value, wbtables::SecretBytes(value.begin(), value.end()));
    EXPECT_EQ(set.keys[0].signing_key.value().size(), 32U);
    EXPECT_EQ(set.keys[1].algorithm, Algorithm::sm4);
    EXPECT_EQ(set.keys[1].value.size(), 16U);
    EXPECT_FALSE(set.keys[1].signing_key);
    EXPECT_FALSE(ManifestFile(kHeader + key_table("pay")).parse().whitelist);
}

// An id without a signing key may begin one that has none either, or an SM4 key's: those signatures fail aloud.
TEST(Manifest, PrefixesThatHideNothingAreAllowed) {
    const std::string harmless = kHeader + key_table("pay", kSigning) + key_table("pay-1", kSigning) +
                                 key_table("pay-1.x") + key_table("pay-1.x.y") + key_table("p", "", "sm4");
    EXPECT_EQ(ManifestFile(harmless).parse().keys.size(), 5U);
}

// Whatever stands where a source should stand may be the secret itself.
TEST(Manifest, NoMessageRepeatsASecret) {
    const std::string secret = "00112233445566778899aabbccddeeff";
    const std::string lines[] = {"value = '" + secret + "'",
                                 "value = 'hex:" + secret + "'",
                                 "value = " + secret,
                                 "value = hex:" + secret,
                                 "value = 1122334455667788990011223344",
                                 "value = '" + secret,
                                 "value = ['" + secret + "']",
                                 secret};
    for (const std::string &line : lines) {
        const std::string message =
            ManifestFile(kHeader + "[[key]]\nid = 'pay'\ncipher = 'aes-128'\n" + line + "\n").refusal(false);
        EXPECT_TRUE(message.starts_with("manifest.toml:9:")) << message;
        EXPECT_EQ(message.find("1122"), std::string::npos) << message;
    }
    EXPECT_EQ(ManifestFile(kHeader + "[[key]]\nid = 'pay'\ncipher = 'sm4'\nvalue = '" + secret + "'\n").refusal(false),
              "manifest.toml:9:9: key \"pay\": value must be file:PATH, env:NAME, fd:N, -, random; hex:... needs "
              "--allow-inline-keys");
}

TEST(Manifest, OthersMayReadItIfNoSecretStandsInIt) {
    const ManifestFile secret(kHeader + "[[key]]\nid = 'pay'\ncipher = 'sm4'\nvalue = 'hex:" + std::string(32, '1') +
                              "'\n");
    const ManifestFile fine(kHeader + key_table("pay"));
    for (const mode_t mode : {0640U, 0604U}) {
        secret.set_mode(mode);
        EXPECT_EQ(secret.refusal(), "manifest.toml:9:9: key \"pay\": value stands in a manifest that is open to others "
                                    "than its owner; its mode must be 600");
        fine.set_mode(mode);
        EXPECT_NO_THROW(fine.parse());
    }
    secret.set_mode(0400);
    EXPECT_NO_THROW(secret.parse());
}

TEST(Manifest, ThatCannotBeReadIsRefused) {
    const test::TempDir dir;
    const std::string path = (dir.path() / "none.toml").string();
    EXPECT_EQ(test::thrown_by([&] { wbtables::parse_manifest(path, {}); }).message,
              path + ": cannot be read: No such file or directory");
    EXPECT_EQ(test::thrown_by([&] { wbtables::parse_manifest(dir.path(), {}); }).message,
              dir.string() + ": cannot be read: Is a directory");
    test::write_text(path, std::string((1U << 20U) + 1, '\n'));
    EXPECT_EQ(test::thrown_by([&] { wbtables::parse_manifest(path, {}); }).message,
              path + ": longer than 1048576 bytes");
}

} // namespace
