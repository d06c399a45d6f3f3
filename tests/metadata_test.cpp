#include <cstring>

#include <gtest/gtest.h>

#include "quen/tables.h"
#include "support/captured_log.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::error;
using test::Lines;
using test::TableSource;

class Metadata : public testing::Test {
  protected:
    void build(const TableSource &library, const std::string &wbid) { library.build(dir_.path(), wbid, 1); }
    const char *dir() { return path_.c_str(); }

    // What a getter delivers: the text, or its status.
    template <typename Getter>
    std::string read(Getter getter) {
        char out[300];
        memset(out, '#', sizeof out);
        uint64_t len = 12345;
        const int32_t status = getter(out, &len);
        if (status != 0) {
            EXPECT_EQ(len, 12345U);
            EXPECT_EQ(out[0], '#');
            return std::to_string(status);
        }
        EXPECT_EQ(out[len], '#') << "no terminator is written";
        return std::string(out, len);
    }
    std::string sk(const char *ak, const char *wbid) {
        return read([&](char *out, uint64_t *len) { return get_sk(dir(), ak, wbid, 1, out, len); });
    }

    test::TempDir dir_;
    std::string path_ = dir_.string();
    test::CapturedLog log_;
};

using Getter = decltype(&get_appid);
constexpr Getter kGetters[] = {get_keyids, get_whitelist, get_appid};

TEST_F(Metadata, GettersCopyTheirText) {
    build(TableSource()
              .header("m", 1)
              .text("appid", "app")
              .text("whitelist", "")
              .slots("sm4_keyids", {"k1", std::nullopt, "k2"})
              .slots("aes_keyids", {"k3"}),
          "m");
    const char *expected[] = {"k1,k2,k3,", "", "app"};
    for (size_t i = 0; i < std::size(kGetters); ++i) {
        EXPECT_EQ(read([&](char *out, uint64_t *len) { return kGetters[i](dir(), "m", 1, out, len); }), expected[i]);
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(Metadata, SkIsReleasedForItsAk) {
    build(TableSource().header("m", 1).text("sk", "secret").text("ak", "abc"), "m");
    EXPECT_EQ(sk("abc", "m"), "secret");
    EXPECT_EQ(sk("abcdef", "m"), "secret");
    EXPECT_EQ(log_.take(), Lines{});
    for (const char *wrong : {"", "ab", "abd", "Abc"}) {
        EXPECT_EQ(sk(wrong, "m"), "-1");
        EXPECT_EQ(log_.take(), Lines{error("ERR: ak not matched.")});
    }
    build(TableSource().header("open", 1).text("sk", "secret").text("ak", ""), "open");
    EXPECT_EQ(sk("anything", "open"), "secret");
    EXPECT_EQ(sk("", "open"), "secret");
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(Metadata, NullsAreRefused) {
    char out[16];
    uint64_t len = 0;
    for (const Getter getter : kGetters) {
        EXPECT_EQ(getter(dir(), nullptr, 1, out, &len), -1);
        EXPECT_EQ(getter(dir(), "m", 1, nullptr, &len), -1);
        EXPECT_EQ(getter(dir(), "m", 1, out, nullptr), -1);
    }
    EXPECT_EQ(get_sk(dir(), "abc", "m", 1, nullptr, &len), -1);
    EXPECT_EQ(get_sk(dir(), "abc", "m", 1, out, nullptr), -1);
    EXPECT_EQ(log_.take(), Lines{});
    EXPECT_EQ(sk(nullptr, "m"), "-1");
    EXPECT_EQ(sk("abc", nullptr), "-1");
    EXPECT_EQ(log_.take(), Lines(2, error("ERR: sk param is null")));
    EXPECT_EQ(get_sk_without_ak(dir(), nullptr, 1), nullptr);
    EXPECT_EQ(log_.take(), (Lines{error("open error:no wbid\n"), error("ERR: get_sk_without_ak failed.\n")}));
}

} // namespace
