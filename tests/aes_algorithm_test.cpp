#include <gtest/gtest.h>

#include "quen/aes.h"
#include "support/captured_log.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::error;
using test::Lines;

TEST(AesAlgorithm, NumberFollowsTheRoundCount) {
    const test::TempDir dir;
    test::TableSource()
        .header("wb", 3)
        .slots("aes_keyids", {"a", "b", "c", "d"})
        .number("Nr_a", 10)
        .number("Nr_b", 12)
        .number("Nr_c", 14)
        .number("Nr_d", 11)
        .build(dir.path(), "wb", 3);
    const auto number = [&](const char *key_id) { return get_aes_alg(dir.string().c_str(), "wb", key_id, 3); };
    test::CapturedLog log;
    EXPECT_EQ(number("a"), 17U);
    EXPECT_EQ(number("b"), 14U);
    EXPECT_EQ(number("c"), 11U);
    EXPECT_EQ(log.take(), Lines{});
    const auto failed = error("FAIL: can't en/decrypt, wb\n");
    EXPECT_EQ(number("d"), 17U);
    EXPECT_EQ(log.take(), Lines{failed});
    // A key that does not load has no rounds.
    EXPECT_EQ(number("unknown"), 17U);
    EXPECT_EQ(log.take(), (Lines{error("load wb 3 err. alg not matched.\n"), failed}));
}

} // namespace
