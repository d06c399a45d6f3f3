// The check of a finished library notices what it is there for.

#include <functional>

#include <gtest/gtest.h>

#include "builder/check/check.h"
#include "builder/library.h"
#include "builder/object/contents.h"
#include "key_sets.h"
#include "support/captured_log.h"
#include "support/temp_dir.h"

namespace {

using test::key_of;
using wbtables::Algorithm;
using wbtables::EncodingKind;
using wbtables::KeySet;

struct Difference {
    const char *name;
    std::function<void(KeySet &)> apply;
    const char *message;
};

const Difference kDifferences[] = {
    {"AES key", [](KeySet &set) { set.keys[0].value[31] ^= 1; },
     "key \"pay\" does not encrypt as aes-256 does: single blocks"},
    {"SM4 key", [](KeySet &set) { set.keys[1].value[0] ^= 1; },
     "key \"sm\" does not encrypt as sm4 does: single blocks"},
    {"signing key", [](KeySet &set) { (*set.keys[0].signing_key)[5] ^= 1; },
     "key \"pay\" does not sign as HMAC-SHA256 under its signing_key does"},
    {"no signing key", [](KeySet &set) { set.keys[0].signing_key.reset(); },
     "key \"pay\" has a signing entry that is not its own"},
    {"appid", [](KeySet &set) { set.appid += "x"; }, "the library: its appid, sk or ak differs"},
    {"whitelist", [](KeySet &set) { set.whitelist.reset(); }, "the library: its whitelist differs"},
    {"list of ids", [](KeySet &set) { set.keys.pop_back(); }, "the library: its list of key ids differs"},
    {"version", [](KeySet &set) { set.version = 2; }, "cannot be loaded"},
};

TEST(Check, NamesTheFirstDifference) {
    KeySet set = test::key_set_of({test::signing_key_of("pay", Algorithm::aes256), key_of("sm", Algorithm::sm4)});
    const test::TempDir dir;
    wbtables::BuildOptions options;
    options.check = false;
    options.encoding = EncodingKind::none;
    wbtables::build_library(set, dir.path(), options);
    // Without encodings the image of the same keys is the same again.
    const wbtables::Image image = wbtables::table_library_image(set, EncodingKind::none);
    EXPECT_NO_THROW(wbtables::check_library(dir.path(), set, image, {}));
    for (const Difference &difference : kDifferences) {
        KeySet other = set;
        difference.apply(other);
        const auto thrown = test::thrown_by([&] { wbtables::check_library(dir.path(), other, image, {}); });
        EXPECT_EQ(thrown.failure, wbtables::Failure::library);
        EXPECT_NE(thrown.message.find(difference.message), std::string::npos)
            << difference.name << ": " << thrown.message;
    }
}

TEST(Check, TellsWhatTheLibraryLogged) {
    KeySet set = test::key_set_of({key_of("pay", Algorithm::aes256)});
    const test::TempDir dir;
    wbtables::build_library(set, dir.path(), {});
    test::CapturedLog log;
    const auto take = [&log] {
        std::string lines;
        for (const auto &line : log.take()) {
            lines += line.text;
        }
        return lines;
    };
    const wbtables::Image nothing_to_compare;
    set.keys[0].signing_key = test::secret("a key that the library does not have");
    const auto thrown = test::thrown_by([&] { wbtables::check_library(dir.path(), set, nothing_to_compare, take); });
    EXPECT_EQ(thrown.message, "libwb_tables_demo_1.so: check failed: key \"pay\" has no readable signing entry: -2\n"
                              "ERR: get_ekey get ekeys failed.\n");
}

} // namespace
