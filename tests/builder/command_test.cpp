// wbtables as its users run it.

#include <csignal>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "key_sets.h"
#include "quen/tables.h"
#include "run_command.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using test::CommandResult;
using test::run_wbtables;

constexpr const char *kManifest = R"(wbid = "demo"
version = 1
appid = "com.example.demo"
sk = "-"
ak = "env:DEMO_AK"

[[key]]
id = "pay"
cipher = "aes-256"
value = "file:pay.hex"

[[key]]
id = "sm"
cipher = "sm4"
value = "random"
)";

constexpr const char *kSk = "the-secret-sk-text";
constexpr const char *kAk = "the-secret-ak-text";
constexpr const char *kKey = "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f";

class Command : public testing::Test {
  protected:
    Command() {
        test::write_text(folder() / "demo.toml", kManifest);
        test::write_text(folder() / "pay.hex", kKey);
        fs::create_directory(folder() / "out");
    }
    ~Command() override {
        for (const char *const secret : {kSk, kAk, "0001020304"}) {
            EXPECT_EQ(all_output_.find(secret), std::string::npos) << all_output_;
        }
    }
    const fs::path &folder() const { return dir_.path(); }

    CommandResult run(std::vector<std::string> arguments) {
        CommandResult result = run_wbtables(folder(), arguments, std::string(kSk) + "\n", {{"DEMO_AK", kAk}});
        all_output_ += result.out + result.err;
        return result;
    }
    CommandResult build_with(const std::string &compiler_script) {
        test::write_text(folder() / "cc", "#!/bin/sh\n" + compiler_script + "\n", 0700);
        return run({"build", "demo.toml", "-o", "out", "--cc", "./cc"});
    }

  private:
    test::TempDir dir_;
    std::string all_output_;
};

TEST_F(Command, BuildsALibraryAndSaysSoInOneLine) {
    const CommandResult result = run({"build", "demo.toml", "-o", "out"});
    EXPECT_EQ(result.exit_code, 0);
    const fs::path library = folder() / "out/libwb_tables_demo_1.so";
    EXPECT_EQ(result.out, "out/libwb_tables_demo_1.so: 2 keys, " + std::to_string(fs::file_size(library)) + " bytes\n");
    EXPECT_EQ(result.err, "wbtables: warning: SM4 round keys can be read from the tables of SM4 keys\n");
    const tb_common common = get_tb_common((folder() / "out").c_str(), "demo", 1);
    EXPECT_EQ(common.status, 0);
    EXPECT_STREQ(common.sk, kSk);
    EXPECT_STREQ(common.ak, kAk);
}

TEST_F(Command, RepeatsALibraryFromASeedAndSaysWhatThatMeans) {
    std::string first;
    for (const char *const seed : {"1", "1", "2"}) {
        const CommandResult result = run({"build", "demo.toml", "-o", "out", "--seed", seed});
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_NE(result.err.find("WARNING: --seed"), std::string::npos) << result.err;
        const std::string made = test::read_text(folder() / "out/libwb_tables_demo_1.so");
        EXPECT_EQ(first.empty() || made == first, seed[0] == '1');
        first = made;
    }
}

TEST_F(Command, BuildsForSeveralAbisAndWarnsAloudOfPlainTables) {
    const fs::path bin = folder() / "ndk/toolchains/llvm/prebuilt/linux-x86_64/bin";
    fs::create_directories(bin);
    test::write_text(bin / "clang", "#!/bin/sh\nexec clang \"$@\"\n", 0700);
    const CommandResult result = run(
        {"build", "demo.toml", "-o", "out", "--abi", "x86,arm64-v8a", "--ndk", "ndk", "--json", "--encoding", "none"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.err,
              "wbtables: WARNING: --encoding none: every key can be read from this library. For tests only!\n"
              "wbtables: warning: SM4 round keys can be read from the tables of SM4 keys\n");
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["wbid"], "demo");
    EXPECT_EQ(report["version"], 1);
    EXPECT_EQ(report["encoding"], "none");
    EXPECT_EQ(report["keys"][1], (nlohmann::json{{"id", "sm"}, {"cipher", "sm4"}, {"signing_key", false}}));
    ASSERT_EQ(report["files"].size(), 2U);
    for (const auto &file : report["files"]) {
        const std::string path = file["path"];
        EXPECT_EQ(path, "out/" + file["abi"].get<std::string>() + "/libwb_tables_demo_1.so");
        EXPECT_EQ(file["bytes"], fs::file_size(folder() / path));
    }
}

TEST_F(Command, EmitsSourcesAndSaysWhichAreSecret) {
    const CommandResult result = run({"build", "demo.toml", "-o", "out", "--emit-only"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_NE(result.err.find("WARNING: tables.bin IS SECRET"), std::string::npos) << result.err;
    EXPECT_EQ(test::names_in(folder() / "out"), (std::vector<std::string>{"README.txt", "tables.bin", "tables.s"}));
    EXPECT_EQ(result.out.rfind("out/tables.s: ", 0), 0U) << result.out;
}

TEST_F(Command, HelpAndVersionSucceed) {
    EXPECT_NE(run({"build", "--help"}).out.find("wbtables build demo.toml -o out"), std::string::npos);
    EXPECT_NE(run({"--help"}).out.find("build"), std::string::npos);
    EXPECT_EQ(run({"--version"}).out.rfind("wbtables ", 0), 0U);
    EXPECT_EQ(run({"--help"}).exit_code, 0);
    EXPECT_EQ(run({"--version"}).exit_code, 0);
}

TEST_F(Command, ExitCodesTellWhoseTurnItIs) {
    test::write_text(folder() / "bad.toml", "wbid = 'demo'\n");
    const struct {
        int exit_code;
        std::vector<std::string> arguments;
        const char *message;
    } cases[] = {
        {1, {"build", "bad.toml", "-o", "out"}, "bad.toml:1:1: version is missing\n"},
        {2, {}, "A subcommand is required"},
        {2, {"make"}, ""},
        {2, {"build", "demo.toml"}, "--output is required"},
        {2, {"build", "demo.toml", "-o", "out", "--encoding", "some"}, "--encoding"},
        {2, {"build", "demo.toml", "-o", "out", "--key", "00"}, "--key"},
        {2, {"build", "demo.toml", "-o", "out", "--abi", "mips"}, "mips not in"},
        {2, {"build", "demo.toml", "-o", "out", "--ndk", "."}, "--ndk requires --abi"},
        {2, {"build", "demo.toml", "-o", "out", "--abi", "x86", "--ndk", ".", "--cc", "cc"}, "excludes"},
        {2, {"build", "demo.toml", "-o", "out", "--abi", "x86", "--emit-only"}, "excludes"},
        {3, {"build", "demo.toml", "-o", "out", "--abi", "x86", "--ndk", "."}, ".: no NDK"},
        {3, {"build", "demo.toml", "-o", "out", "--cc", "false"}, "false: failed with exit status 1\n"},
        {3, {"build", "demo.toml", "-o", "out", "--cc", "./cc"}, "./cc: cannot be run: No such file or directory\n"},
        {2, {"build", "-o", "out", "--abi", "x86", "demo.toml", "more"}, "more"},
        {3, {"build", "-o", "out", "--cc", "false", "--abi", "x86", "demo.toml"}, "failed with exit status 1\n"},
        {3, {"build", "demo.toml", "-o", "new", "--cc", "false"}, "failed with exit status 1\n"},
        {4, {"build", "demo.toml", "-o", "no/where"}, "no/where: cannot be written: No such file or directory\n"},
        {4, {"audit", "--traces", "10", "nothing.so"}, "nothing.so: cannot be read"},
    };
    for (const auto &each : cases) {
        const CommandResult result = run(each.arguments);
        EXPECT_EQ(result.exit_code, each.exit_code) << result.err;
        if (!test::kEmulated || !std::string(each.message).starts_with("./cc: cannot be run")) {
            EXPECT_NE(result.err.find(each.message), std::string::npos) << result.err;
        }
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(test::names_in(folder() / "out").empty());
        EXPECT_FALSE(fs::exists(folder() / "new"));
    }
    EXPECT_EQ(build_with("clang \"$@\" && echo rubbish > libwb_tables_demo_1.so").exit_code, 4);
}

TEST_F(Command, TheCompilerSeesNoSecretOnItsWay) {
    const CommandResult result = build_with("env > '" + (folder() / "seen").string() + "'\nls /proc/self/fd >> '" +
                                            (folder() / "seen").string() + "'\ncat tables.s - >> '" +
                                            (folder() / "seen").string() + "'\nexec clang \"$@\"");
    EXPECT_EQ(result.exit_code, 0) << result.err;
    const std::string seen = test::read_text(folder() / "seen");
    EXPECT_NE(seen.find("TMPDIR=" + (fs::canonical(folder()) / "out/.wbtables-").string()), std::string::npos) << seen;
    EXPECT_NE(seen.find("TboxesLast_pay"), std::string::npos);
    EXPECT_EQ(seen.find("DEMO_AK"), std::string::npos) << seen;
    EXPECT_EQ(seen.find("the-secret"), std::string::npos) << seen;
    EXPECT_NE(seen.find("\n2\n"), std::string::npos) << seen;
    EXPECT_EQ(seen.find("\n9\n"), std::string::npos) << seen;
}

TEST_F(Command, LeavesNothingBehindWhenItIsEnded) {
    const fs::path late = folder() / "late";
    const std::pair<std::string, int> endings[] = {
        {"kill -TERM $PPID", SIGTERM},
        {"kill -INT $PPID", SIGINT},
        {"kill -HUP $PPID", SIGHUP},
        {"kill -QUIT $PPID", SIGQUIT},
        {"kill -XCPU $PPID", SIGXCPU},
        {"kill -ALRM $PPID", SIGALRM},
        {"kill -USR1 $PPID", SIGUSR1},
        {"kill -USR2 $PPID", SIGUSR2},
        {"trap '' TERM; kill -INT $PPID", SIGINT},
        {"trap '' TERM; kill -INT $PPID; sleep .1; kill -HUP $PPID", SIGHUP},
    };
    for (const auto &[script, number] : endings) {
        const CommandResult result = build_with(script + "; sleep 10; touch '" + late.string() + "'");
        EXPECT_EQ(result.exit_code, 128 + number) << script;
        EXPECT_EQ(result.out + (test::kEmulated ? "" : result.err), "") << script;
        EXPECT_TRUE(test::names_in(folder() / "out").empty()) << script;
        EXPECT_FALSE(fs::exists(late)) << script << ": the compiler was waited for";
    }
}

TEST_F(Command, TakesWhatCannotBeWrittenAsAnError) {
    EXPECT_EQ(build_with("kill -PIPE $PPID; kill -XFSZ $PPID; exec clang \"$@\"").exit_code, 0);
    fs::remove(folder() / "out/libwb_tables_demo_1.so");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{10'000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const CommandResult result = run({"build", "demo.toml", "-o", "out"});
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_NE(result.err.find("tables.bin: cannot be written: File too large"), std::string::npos) << result.err;
    EXPECT_TRUE(test::names_in(folder() / "out").empty());
    test::write_text(folder() / "full",
                     "#!/bin/sh\nexec " WBTABLES_EMULATOR " '" WBTABLES_COMMAND "' \"$@\" >/dev/full\n", 0700);
    for (const char *const arguments : {"--help", "completion bash", "keygen made --wbid w --appid a"}) {
        const std::string line = "cd '" + folder().string() + "' && ./full " + arguments + " 2>full.err";
        EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), 4) << arguments;
        EXPECT_NE(test::read_text(folder() / "full.err").find("No space left on device"), std::string::npos);
    }
}

TEST_F(Command, MakesTheFolderUnlessOthersCouldMeddleThere) {
    EXPECT_EQ(run({"build", "demo.toml", "-o", "new/", "--emit-only"}).exit_code, 0);
    EXPECT_EQ(test::names_in(folder() / "new").size(), 3U);
    const struct {
        uid_t owner;
        gid_t group;
        mode_t mode;
        const char *message; // null: taken
    } cases[] = {
        {0, 0, 02775, nullptr},
        {0, 65534, 01777, nullptr},
        {0, 65534, 02775, "out: another group may write there"},
        {0, 0, 0777, "out: everybody may write there"},
        {65534, 0, 0755, "out: belongs to another user"},
    };
    if (geteuid() != 0 || getegid() != 0) {
        GTEST_SKIP() << "not root, who alone can give folders away";
    }
    for (const auto &each : cases) {
        ASSERT_EQ(chown((folder() / "out").c_str(), each.owner, each.group), 0);
        ASSERT_EQ(chmod((folder() / "out").c_str(), each.mode), 0);
        const CommandResult result = run({"build", "demo.toml", "-o", "out", "--emit-only"});
        EXPECT_EQ(result.exit_code, each.message == nullptr ? 0 : 4) << result.err;
        EXPECT_NE(result.err.find(each.message == nullptr ? "" : each.message), std::string::npos) << result.err;
    }
}

} // namespace
