// From fresh secrets to an admitted caller: keygen, build, token.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "builder/manifest/manifest.h"
#include "builder/manifest/manifest_folder.h"
#include "key_sets.h"
#include "quen/natives.h"
#include "run_command.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using test::Bytes;
using test::CommandResult;
using test::run_wbtables;
using wbtables::Algorithm;

class Keygen : public testing::Test {
  protected:
    const fs::path &folder() const { return dir_.path(); }
    CommandResult run(const std::vector<std::string> &arguments, std::string_view input = {}) const {
        return run_wbtables(folder(), arguments, input);
    }

  private:
    test::TempDir dir_;
};

TEST_F(Keygen, MakesFilesThatNobodyElseCanRead) {
    const CommandResult result = run({"keygen", "new/made", "--wbid", "demo", "--appid", "com.\"demo\"\n", "--key",
                                      "pay:aes-192:signing", "--key", "sm:sm4", "--whitelist", "a,b\\"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, "new/made/manifest.toml: 2 keys\n");
    EXPECT_EQ(test::names_in(folder() / "new/made/secrets"),
              (std::vector<std::string>{".gitignore", "ak", "pay.hex", "pay.signing", "sk", "sm.hex"}));
    for (const auto &entry : fs::recursive_directory_iterator(folder() / "new")) {
        struct stat status {};
        ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, entry.is_directory() ? 0700U : 0600U) << entry.path();
    }
    const auto set = wbtables::parse_manifest(folder() / "new/made/manifest.toml", {});
    EXPECT_EQ(set.appid, "com.\"demo\"\n");
    EXPECT_EQ(set.whitelist, "a,b\\");
    EXPECT_EQ(set.sk.size(), 64U);
    EXPECT_NE(set.sk, set.ak);
    ASSERT_EQ(set.keys.size(), 2U);
    EXPECT_EQ(set.keys[0].algorithm, Algorithm::aes192);
    EXPECT_EQ(set.keys[0].signing_key.value().size(), 32U);
    EXPECT_EQ(set.keys[1].id, "sm");
    EXPECT_FALSE(set.keys[1].signing_key);
}

TEST_F(Keygen, WritesNothingIfItCannotWriteAll) {
    test::write_text(folder() / "file", "");
    fs::create_directories(folder() / "full/manifest.toml");
    const auto before = test::names_in(folder());
    const struct {
        int exit_code;
        std::vector<std::string> arguments;
        std::string message;
    } cases[] = {
        {4, {"file/made", "--wbid", "w", "--appid", "a"}, "file: cannot be written: Not a directory\n"},
        {4, {"full", "--wbid", "w", "--appid", "a"}, "full: cannot be written: Directory not empty\n"},
        {4, {"file", "--wbid", "w", "--appid", "a"}, "file: cannot be written: Not a directory\n"},
        {4, {"no/such/made", "--wbid", "w", "--appid", "a"}, "no/such: cannot be written: No such file or directory\n"},
        {1, {"made", "--wbid", "a/b", "--appid", "a"}, "wbid \"a/b\" has characters outside A-Z a-z 0-9 _ -\n"},
        {1, {"made", "--wbid", "w", "--appid", "a", "--key", "s:sm4:signing"}, "only AES keys can have a signing_key"},
        {1, {"made", "--wbid", "w", "--appid", "a\xff"}, "manifest.toml:"},
        {2, {"made", "--wbid", "w", "--appid", "a", "--key", "k:des"}, "\"k:des\" is not ID:CIPHER"},
        {2, {"made", "--wbid", "w", "--appid", "a", "--key", "k"}, "\"k\" is not ID:CIPHER"},
        {2, {"made", "--appid", "a"}, "--wbid is required"},
    };
    for (const auto &each : cases) {
        std::vector<std::string> arguments = {"keygen"};
        arguments.insert(arguments.end(), each.arguments.begin(), each.arguments.end());
        const CommandResult result = run(arguments);
        EXPECT_EQ(result.exit_code, each.exit_code) << result.err;
        EXPECT_NE(result.err.find(each.message), std::string::npos) << result.err;
        EXPECT_EQ(test::names_in(folder()), before) << each.message;
        EXPECT_EQ(test::names_in(folder() / "full").size(), 1U);
    }
}

TEST(ManifestFolder, IsReadBackAsTheSameKeys) {
    const test::TempDir dir;
    auto set = test::key_set_of({test::signing_key_of("a.x", Algorithm::aes128), test::key_of("-b", Algorithm::sm4)});
    set.version = -5;
    set.whitelist.reset();
    fs::create_directory(dir.path() / "empty");
    const fs::path manifest = wbtables::write_manifest_folder(set, dir.path() / "empty/", {});
    const auto read = wbtables::parse_manifest(manifest, {});
    EXPECT_EQ(read.version, -5);
    EXPECT_FALSE(read.whitelist);
    EXPECT_EQ(read.sk, set.sk);
    EXPECT_EQ(read.ak, set.ak);
    ASSERT_EQ(read.keys.size(), 2U);
    EXPECT_EQ(read.keys[0].value, set.keys[0].value);
    EXPECT_EQ(read.keys[0].signing_key, set.keys[0].signing_key);
    EXPECT_EQ(read.keys[1].id, "-b");
    EXPECT_EQ(read.keys[1].value, set.keys[1].value);
    EXPECT_THROW(wbtables::write_manifest_folder(set, dir.path() / "late", [] { return true; }), wbtables::Interrupted);
    EXPECT_EQ(test::names_in(dir.path()), std::vector<std::string>{"empty"});
}

TEST_F(Keygen, ItsTokenIsAdmittedByTheLibrary) {
    ASSERT_EQ(run({"keygen", "made", "--wbid", "token_test", "--appid", "com.example", "--whitelist", "me"}).exit_code,
              0);
    ASSERT_EQ(run({"build", "made/manifest.toml", "-o", "."}).exit_code, 0);
    const CommandResult result =
        run({"token", "--wbid", "token_test", "--appid", "com.example", "--sk", "file:made/secrets/sk"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    const Bytes token = test::from_hex(result.out.substr(0, 64));
    // A library is found by its name once it is loaded.
    ASSERT_NE(dlopen((folder() / "libwb_tables_token_test_1.so").c_str(), RTLD_LAZY), nullptr);
    const auto call = [](const Bytes &hash) {
        const Bytes wbid = test::bytes_of("token_test");
        const Bytes caller = test::bytes_of("me");
        return check_is_valid_call(hash.data(), 32, caller.data(), 2, wbid.data(), 10, 1);
    };
    EXPECT_EQ(call(token), 0);
    EXPECT_EQ(call(Bytes(32)), -1);
}

TEST_F(Keygen, TokensComeFromSourcesThatStandNowhere) {
    test::write_text(folder() / "sk", "the sk\n");
    test::write_text(folder() / "open", "the sk\n", 0644);
    const auto token = [this](const std::string &source, const std::vector<std::string> &more = {},
                              const std::string &appid = "a") {
        std::vector<std::string> arguments = {"token", "--wbid", "w", "--appid", appid, "--sk", source};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments, "the sk\n");
    };
    const std::string expected = token("file:sk").out;
    EXPECT_EQ(expected.size(), 65U);
    EXPECT_EQ(token("-").out, expected);
    EXPECT_EQ(token("fd:9").out, expected);
    const CommandResult json = token("-", {"--json"});
    EXPECT_EQ(json.out,
              "{\n  \"wbid\": \"w\",\n  \"appid\": \"a\",\n  \"token\": \"" + expected.substr(0, 64) + "\"\n}\n");
    for (const char *const source : {"the sk", "env:HOME", "text:the sk", "random"}) {
        const CommandResult result = token(source);
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.err, "--sk must be file:PATH, fd:N or -\n");
    }
    EXPECT_EQ(token("file:open").err, "--sk ./open is open to others than its owner; its mode must be 600\n");
    EXPECT_EQ(token("-", {}, std::string(80, 'a')).err, "appid has 80 bytes, at most 79 are possible\n");
}

} // namespace
