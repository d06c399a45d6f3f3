// What natives ask of the virtual machine, what they refuse, and what they say.

#include "natives_table.h"

#include "support/cms_message.h"

namespace test {
namespace {

TEST_F(Natives, RefuseBadParametersBeforeAnyFetch) {
    for (const NativeRow &row : natives()) {
        const Arguments good = good_arguments(row);
        for (const std::string &name : row.arrays()) {
            Arguments bad = good;
            bad.arrays[name] = std::nullopt;
            EXPECT_EQ(row(jni_, bad), row.refusal()) << row.op;
            // One array is noticed late, like one without elements: intended.
            const bool late = row.op == "en_cms_aes_gcm" && name == "key";
            EXPECT_EQ(jni_.take_calls(), late ? row.fetches(name) + row.releases(name) : Words{}) << row.op;
            EXPECT_EQ(log_.take(), late ? row.refused_call() : Lines{row.refused_parameters()});
        }
        for (const jint padding : {3, -1, INT32_MIN}) {
            if (row.takes("padding")) {
                Arguments bad = good;
                bad.numbers["padding"] = padding;
                EXPECT_EQ(row(jni_, bad), row.refusal()) << row.op;
                EXPECT_EQ(jni_.take_calls(), Words{}) << row.op;
                EXPECT_EQ(log_.take(), Lines{row.refused_parameters()});
            }
        }
    }
}

TEST_F(Natives, RefuseCallersWithoutAuthorisation) {
    Bytes short_token = natives_token("natives");
    short_token.pop_back();
    const LogLine no_token = error("WARN: hash is not matched.\n");
    const struct {
        std::string parameter;
        Bytes value;
        LogLine line;
    } refused[] = {
        {"hash", sample(32), no_token},
        {"hash", short_token, no_token},
        {"hash", {}, no_token},
        {"caller", bytes_of("com.stranger"), error("WARN: not in whitelist\n")},
    };
    for (const NativeRow &row : natives()) {
        for (const auto &[parameter, value, line] : refused) {
            if (row.takes("hash")) {
                Arguments bad = good_arguments(row);
                bad.arrays[parameter] = value;
                EXPECT_EQ(row(jni_, bad), row.refusal()) << row.op;
                EXPECT_EQ(jni_.take_calls(), row.fetches() + row.releases()) << row.op;
                EXPECT_EQ(log_.take(), Lines{line} + row.refused_call());
            }
        }
    }
}

TEST_F(Natives, SayThatAKeyIsOfNoUse) {
    const Lines unknown_lines{error("load natives 2 err. alg not matched.\n")};
    for (const NativeRow &row : natives()) {
        Arguments bad = good_arguments(row);
        const Bytes own_key = bad["keyid"];
        for (const std::string keyid : {"nokey", "s", "k"}) {
            if (!row.takes("keyid") || bytes_of(keyid) == own_key) {
                continue;
            }
            const bool unknown = keyid == "nokey";
            bad.arrays["keyid"] = bytes_of(keyid);
            const Answer answer = row(jni_, bad);
            const Lines load = unknown ? unknown_lines : Lines{};
            const Words calls = jni_.take_calls();
            if (row.op == "en_cms_aes_gcm") {
                // A message all the same, without content and with a tag of zeros: intended.
                EXPECT_EQ(log_.take(),
                          load + Lines{row.not_loaded()} + load + Lines{error("FAIL: can't en/decrypt, natives\n")});
                EXPECT_EQ(answer, Answer(pack_cms({17, 7, bad["key"], bad["aad"], Bytes(16), bad["iv"], {}}).message));
                continue;
            }
            EXPECT_EQ(calls, row.fetches() + row.late_fetches() + row.releases()) << row.op;
            if (!row.takes("data")) {
                EXPECT_EQ(answer, row.refusal());
                EXPECT_EQ(log_.take(), (load + Lines{row.not_loaded(), row.failed(-70)}));
                continue;
            }
            const Lines signing =
                unknown ? Lines{error("ERR: get_ekeys can't find keyid\n"), error("ERR: sig, get_ekey:-4\n")}
                        : Lines{row.not_loaded(), error("ERR: sig, decrypt key fail. 100\n")};
            const int status = unknown ? -1 : -90;
            EXPECT_EQ(answer, row.takes("sig") ? Answer(status) : row.refusal());
            EXPECT_EQ(log_.take(),
                      signing + Lines{row.takes("sig") ? error("ERR: verify fail\n") : row.failed(status)});
        }
    }
}

} // namespace
} // namespace test
