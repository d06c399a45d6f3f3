// Where secrets come from and what is refused on the way.

#include <array>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "builder/manifest/secret_source.h"
#include "key_sets.h"
#include "support/temp_dir.h"

namespace {

using test::secret;
using wbtables::SecretBytes;
using wbtables::SecretForm;
using wbtables::SecretSource;

SecretBytes read_text_source(const std::string &source, const std::filesystem::path &folder = ".") {
    return SecretSource(source, SecretForm::text, 0, false).read(folder);
}

std::string refusal(const std::string &source, const std::filesystem::path &folder = ".") {
    try {
        read_text_source(source, folder);
    } catch (const wbtables::SourceError &error) {
        return error.what();
    }
    return "none";
}

// The reading end of a pipe that holds `text`.
class Pipe {
  public:
    explicit Pipe(const std::string &text) {
        if (pipe(ends_.data()) != 0 || write(ends_[1], text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            throw std::runtime_error("no pipe");
        }
        close(ends_[1]);
    }
    ~Pipe() { close(ends_[0]); }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
    std::string source() const { return "fd:" + std::to_string(ends_[0]); }

  private:
    std::array<int, 2> ends_{};
};

TEST(SecretSource, OneNewlineAtTheEndIsTrimmed) {
    const std::pair<const char *, const char *> cases[] = {{"a b\n", "a b"}, {"a\r\n", "a"},       {"a\n\n", "a\n"},
                                                           {"a\r", "a\r"},   {"\r\n\r\n", "\r\n"}, {"\n", ""},
                                                           {"", ""},         {" a", " a"}};
    const test::TempDir dir;
    for (const auto &[content, expected] : cases) {
        test::write_text(dir.path() / "secret", content);
        EXPECT_EQ(read_text_source("file:secret", dir.path()), secret(expected));
        EXPECT_EQ(read_text_source("file:" + (dir.path() / "secret").string(), "/elsewhere"), secret(expected));
        EXPECT_EQ(read_text_source(Pipe(content).source()), secret(expected));
        setenv("WBTABLES_TEST_SECRET", content, 1);
        EXPECT_EQ(read_text_source("env:WBTABLES_TEST_SECRET"), secret(expected));
    }
    unsetenv("WBTABLES_TEST_SECRET");
}

TEST(SecretSource, FilesThatOthersMayUseAreRefused) {
    const test::TempDir dir;
    for (const mode_t mode : {0640U, 0604U, 0620U, 0602U, 0610U, 0601U, 0644U, 0666U}) {
        test::write_text(dir.path() / "secret", "secret", mode);
        const std::string path = (dir.path() / "secret").string();
        EXPECT_EQ(refusal("file:secret", dir.path()), path + " is open to others than its owner; its mode must be 600");
    }
    if (geteuid() == 0) {
        test::write_text(dir.path() / "foreign", "secret", 0600);
        ASSERT_EQ(chown((dir.path() / "foreign").c_str(), 65534, 65534), 0);
        EXPECT_EQ(refusal("file:foreign", dir.path()), (dir.path() / "foreign").string() + " belongs to another user");
    }
    for (const mode_t mode : {0600U, 0400U, 0700U}) {
        test::write_text(dir.path() / "secret", "secret", 0600);
        chmod((dir.path() / "secret").c_str(), mode);
        EXPECT_EQ(read_text_source("file:secret", dir.path()), secret("secret"));
    }
}

TEST(SecretSource, RefusalsSayWhy) {
    const test::TempDir dir;
    mkfifo((dir.path() / "pipe").c_str(), 0600);
    std::filesystem::create_symlink("gone", dir.path() / "link");
    test::write_text(dir.path() / "longest", std::string(4096, 'x'));
    test::write_text(dir.path() / "longer", std::string(4097, 'x'));
    const std::string at = dir.string() + "/";
    EXPECT_EQ(read_text_source("file:longest", dir.path()).size(), 4096U);
    const std::pair<std::string, std::string> cases[] = {
        {"file:pipe", at + "pipe is not a regular file"},
        {"file:.", at + ". is not a regular file"},
        {"file:link", at + "link cannot be read: No such file or directory"},
        {"file:longer", at + "longer holds more than 4096 bytes"},
        {"file:", "\"file:\" names nothing"},
        {"env:", "\"env:\" names nothing"},
        {"env:WBTABLES_TEST_UNSET", "environment variable WBTABLES_TEST_UNSET is not set"},
        {"env:c0ffee c0ffee", "env: needs the name of a variable: letters, digits and _, with no digit in front"},
        {"env:0123", "env: needs the name of a variable: letters, digits and _, with no digit in front"},
        {"file:gone\x1b[31m", at + "gone\\x1b[31m cannot be read: No such file or directory"},
        {"fd:1", "needs fd:0 or fd:N with N above 2"},
        {"fd:2", "needs fd:0 or fd:N with N above 2"},
        {"fd:-1", "needs fd:0 or fd:N with N above 2"},
        {"fd:3x", "needs fd:0 or fd:N with N above 2"},
        {"fd:99999999999", "needs fd:0 or fd:N with N above 2"},
        {"fd:12345", "descriptor 12345 cannot be read: Bad file descriptor"},
        {std::string("file:a\0b", 8), "contains a NUL character"},
        {"text:inline", "must be file:PATH, env:NAME, fd:N, -; text:... needs --allow-inline-keys"},
    };
    for (const auto &[source, message] : cases) {
        EXPECT_EQ(refusal(source, dir.path()), message);
    }
}

TEST(SecretSource, RandomSecretsHaveTheirFieldsFormAndDiffer) {
    const SecretSource key("random", SecretForm::key, 24, false);
    EXPECT_EQ(key.read(".").size(), 24U);
    EXPECT_NE(key.read("."), key.read("."));
    const SecretBytes text = SecretSource("random", SecretForm::text, 32, false).read(".");
    EXPECT_EQ(test::from_hex(std::string(text.begin(), text.end())).size(), 32U);
}

TEST(SecretSource, InlineSecretsAreTakenToTheLetterWhereAllowed) {
    EXPECT_EQ(SecretSource("text:a\n", SecretForm::text, 0, true).read("."), secret("a\n"));
    EXPECT_EQ(SecretSource("hex:6162", SecretForm::key, 16, true).read("."), secret("ab"));
    EXPECT_THROW(SecretSource("text:ab", SecretForm::key, 16, true), wbtables::SourceError);
    EXPECT_THROW(SecretSource("hex:6162", SecretForm::text, 0, true), wbtables::SourceError);
}

} // namespace
