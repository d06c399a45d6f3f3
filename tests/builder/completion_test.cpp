// The scripts that complete command lines, run by the shells that they are for.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

#include "key_sets.h"
#include "run_command.h"
#include "support/temp_dir.h"

namespace {

class Completion : public testing::Test {
  protected:
    std::string shell(const std::string &command) const {
        const std::string line = "cd '" + dir_.string() + "' && { " + command + "; } 2>&1";
        const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(line.c_str(), "r"), pclose);
        std::array<char, 4096> output{};
        return {output.data(), fread(output.data(), 1, output.size(), pipe.get())};
    }
    void write_script(const std::string &name) const {
        test::write_text(dir_.path() / name, test::run_wbtables(dir_.path(), {"completion", name}).out);
    }
    // What bash offers for the last of these words.
    std::string offers(const std::string &words) const {
        return shell("bash -c 'source ./bash; COMP_WORDS=(" + words +
                     "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _wbtables; echo \"${COMPREPLY[*]}\"'");
    }

    test::TempDir dir_;
};

TEST_F(Completion, BashOffersWhatFits) {
    write_script("bash");
    std::filesystem::create_directory(dir_.path() / "a folder");
    test::write_text(dir_.path() / "a.toml", "");
    const std::pair<const char *, const char *> cases[] = {
        {"wbtables k", "keygen\n"},
        {"wbtables --v", "--version\n"},
        {"wbtables completion \"\"", "bash zsh\n"},
        {"wbtables completion bash \"\"", "-h --help\n"},
        {"wbtables verify --al", "--allow-inline-keys\n"},
        {"wbtables verify --json a", "a.toml a folder\n"},
        {"wbtables verify x a", "a.toml a folder\n"},
        {"wbtables build -o a", "a folder\n"},
        {"wbtables build -o out --enc", "--encoding\n"},
        {"wbtables build -o out a", "a.toml a folder\n"},
        {"wbtables build m --encoding n", "none\n"},
        {"wbtables token --sk \"\"", "\n"},
        {"wbtables unknown \"\"", "\n"},
    };
    for (const auto &[words, expected] : cases) {
        EXPECT_EQ(offers(words), expected) << words;
    }
    EXPECT_EQ(offers("wbtables \"\"").rfind("audit build completion inspect keygen token verify", 0), 0U);
}

TEST_F(Completion, ZshTakesItsScript) {
    EXPECT_EQ(test::run_wbtables(dir_.path(), {"completion", "fish"}).exit_code, 2);
    if (std::system("command -v zsh >/dev/null") != 0) {
        GTEST_SKIP() << "zsh is not installed";
    }
    write_script("zsh");
    EXPECT_EQ(shell("zsh -fc 'autoload -U compinit; compinit -u -D; source ./zsh; whence -w _wbtables; "
                    "echo $_comps[wbtables]'"),
              "_wbtables: function\n_wbtables\n");
}

} // namespace
