// inspect and verify as their users run them.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "key_sets.h"
#include "run_command.h"
#include "support/temp_dir.h"

namespace {

using nlohmann::json;
using test::CommandResult;

constexpr const char *kLibrary = "libwb_tables_demo_1.so";
constexpr const char *kKey = "000102030405060708090a0b0c0d0e0f";
constexpr const char *kSigningKey = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfefff0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";

class Inspect : public testing::Test {
  protected:
    Inspect() {
        test::write_text(
            dir_.path() / "demo.toml",
            "wbid = 'demo'\nversion = 1\nappid = \"\\u001b[31m\"\nsk = 'text:secret-sk'\nak = 'text:secret-ak'\n"
            "[[key]]\nid = 'pay'\ncipher = 'aes-128'\nvalue = 'hex:" +
                std::string(kKey) + "'\nsigning_key = 'hex:" + kSigningKey +
                "'\n[[key]]\nid = 'sm'\ncipher = 'sm4'\nvalue = 'random'\n");
    }
    CommandResult run(const std::vector<std::string> &arguments) const {
        return test::run_wbtables(dir_.path(), arguments);
    }
    void build(const char *encoding) const {
        ASSERT_EQ(run({"build", "demo.toml", "-o", ".", "--allow-inline-keys", "--encoding", encoding}).exit_code, 0);
    }

    test::TempDir dir_;
};

TEST_F(Inspect, ShowsSecretsOnlyIfAsked) {
    build("none");
    const std::string text = run({"inspect", kLibrary}).out;
    for (const char *const part :
         {"demo", "\\x1b[31m", "key          \"pay\", aes-128, 151808 bytes, with a signing key\n",
          "\"sm\", sm4, 32768 bytes, whose round keys can be read", "aligned to 16384 bytes",
          "none: admits every caller with a token", "sk           9 bytes, not shown"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " in\n" << text;
    }
    EXPECT_TRUE(text.find("NONE: EVERY KEY CAN BE READ") != std::string::npos ||
                text.find("BUT THE XOR TABLE IS PLAIN: \"pay\"") != std::string::npos)
        << text;
    const std::string hidden =
        text + run({"inspect", kLibrary, "--json"}).out + run({"verify", kLibrary, "--json"}).out;
    EXPECT_EQ(hidden.find("secret-"), std::string::npos);
    EXPECT_EQ(hidden.find("f0f1f2f3"), std::string::npos);
    const std::string shown = run({"inspect", kLibrary, "--show-secrets"}).out;
    EXPECT_NE(shown.find("secret-sk"), std::string::npos);
    EXPECT_NE(shown.find("secret-ak"), std::string::npos);
    EXPECT_NE(shown.find(kSigningKey), std::string::npos);
}

TEST_F(Inspect, SaysTheSameToMachines) {
    build("hardened");
    const json document = json::parse(run({"inspect", kLibrary, "--json", "--show-secrets"}).out);
    EXPECT_EQ(document["wbid"], "demo");
    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["appid"], "\x1b[31m");
    EXPECT_EQ(document["whitelist"], nullptr);
    EXPECT_EQ(document["sk"], "secret-sk");
    EXPECT_EQ(document["needed"], json::array());
    EXPECT_EQ(document["problems"], json::array());
    EXPECT_EQ(document["text_relocations"], false);
    EXPECT_EQ(document["keys"][0], (json{{"id", "sm"}, {"cipher", "sm4"}, {"bytes", 32768}}));
    EXPECT_EQ(document["keys"][1]["plain_xor_table"], false);
    EXPECT_EQ(document["keys"][1]["signing_key_value"], kSigningKey);
}

TEST_F(Inspect, VerifyEndsAsItFinds) {
    build("hardened");
    const CommandResult fine = run({"verify", kLibrary, "demo.toml", "--allow-inline-keys"});
    EXPECT_EQ(fine.exit_code, 0) << fine.out;
    EXPECT_NE(fine.out.find("note: key \"sm\": value is random in the manifest"), std::string::npos) << fine.out;
    EXPECT_NE(fine.out.find(", 2 keys, 1 signing entry; as demo.toml says, as far as it can be compared\n"),
              std::string::npos)
        << fine.out;
    const json compared =
        json::parse(run({"verify", kLibrary, "demo.toml", "--allow-inline-keys", "--json"}).out)["compared"];
    EXPECT_EQ(compared, (json{"wbid", "version", "appid", "whitelist", "sk", "ak", "key \"pay\": value",
                              "key \"pay\": signing_key"}));
    EXPECT_EQ(run({"verify", kLibrary, "demo.toml"}).exit_code, 1);
    EXPECT_EQ(run({"verify", "demo.toml"}).exit_code, 4);
    EXPECT_EQ(run({"verify"}).exit_code, 2);
    std::filesystem::rename(dir_.path() / kLibrary, dir_.path() / "libwb_tables_other_1.so");
    const CommandResult wrong = run({"verify", "libwb_tables_other_1.so", "--json"});
    EXPECT_EQ(wrong.exit_code, 4);
    EXPECT_EQ(wrong.err, "libwb_tables_other_1.so: 2 problems\n");
    const json document = json::parse(wrong.out);
    EXPECT_EQ(document["fine"], false);
    EXPECT_EQ(document["problems"].size(), 2U);
}

TEST_F(Inspect, AuditWarnsOfPlainTablesWhateverTheLibrarySays) {
    build("none");
    std::string file = test::read_text(dir_.path() / kLibrary);
    file.replace(file.find(std::string("none\0", 5)), 4, "gone");
    const auto audit = [&] {
        test::write_text(dir_.path() / kLibrary, file);
        return run({"audit", kLibrary, "--html", "page.html", "--traces", "10"});
    };
    const std::string out = audit().out;
    EXPECT_NE(out.find("WARNING: the XOR table is plain, so the tables are not encoded, of key \"pay\"\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find(" key bytes; the CPU time is that of highest and lowest peak together\n"), std::string::npos);
    EXPECT_NE(test::read_text(dir_.path() / "page.html").find("Warning: the XOR table is plain"), std::string::npos);

    file[file.find("Xor_pay")] = 'x'; // and a key that cannot be read is counted
    const CommandResult result = audit();
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_EQ(result.err, std::string(kLibrary) + ": holds keys whose tables cannot be read\n");
    EXPECT_NE(result.out.find("\n1 of 2 keys recovered\nkey \"pay\": its tables cannot be read\n"), std::string::npos)
        << result.out;
    EXPECT_NE(test::read_text(dir_.path() / "page.html").find("1 of 2 keys were recovered"), std::string::npos);
    EXPECT_EQ(json::parse(run({"audit", kLibrary, "--json"}).out)["unreadable_keys"], json{"pay"});
}

} // namespace
