// What natives return: what the exported functions compute, and texts that come back.

#include <algorithm>
#include <functional>
#include <set>

#include "natives_table.h"
#include "support/loaded_library.h"

namespace test {
namespace {

Answer nothing() {
    return std::nullopt;
}

const Bytes &content(const Answer &answer) {
    return std::get<0>(answer).value();
}

Answer open(FakeJni &jni, const NativeRow &row, const Bytes &input, jint padding = 0) {
    Arguments arguments = good_arguments(row);
    arguments.arrays[row.input()] = input;
    arguments.numbers["padding"] = padding;
    return row(jni, arguments);
}

TEST_F(Natives, ReturnWhatTheExportedFunctionsReturn) {
    for (const NativeRow &row : natives()) {
        const Arguments good = good_arguments(row);
        const Answer expected = row.expected(good);
        EXPECT_NE(expected, row.refusal()) << row.op;
        EXPECT_EQ(row(jni_, good), expected) << row.op;
        Words answers;
        if (!row.takes("sig")) {
            const std::string size = std::to_string(content(expected).size());
            answers = {"new " + size, "region " + size};
        }
        EXPECT_EQ(jni_.take_calls(), row.fetches() + row.late_fetches() + answers + row.releases()) << row.op;
        EXPECT_EQ(log_.take(), Lines{}) << row.op;
    }
}

// The row that makes what this one decrypts.
const NativeRow &encrypting(const NativeRow &row) {
    return native("en" + row.op.substr(2));
}

TEST_F(Natives, DecryptWhatTheyEncrypted) {
    for (const NativeRow &decrypts : natives()) {
        for (const size_t size : {0U, 1U, 16U, 40U}) {
            for (const jint padding : {0, 1, 2}) {
                // GCM has no padding, and it alone takes an empty text.
                if (!decrypts.decrypts() || (decrypts.is("gcm") ? padding != 0 : size == 0)) {
                    continue;
                }
                const NativeRow &encrypts = encrypting(decrypts);
                Arguments arguments = good_arguments(encrypts);
                arguments.arrays["input"] = sample(size);
                arguments.arrays["key"] = sample(100 * size); // which envelopes carry
                arguments.numbers["padding"] = padding;
                const Answer expected = encrypts.expected(arguments);
                const Answer encrypted = encrypts(jni_, arguments);
                if (padding != 2) { // which is random
                    EXPECT_EQ(encrypted, expected) << encrypts.op << size;
                }
                EXPECT_EQ(open(jni_, decrypts, content(encrypted), padding), Answer(sample(size)))
                    << decrypts.op << size;
            }
        }
    }
}

TEST_F(Natives, EmptyAndBrokenTexts) {
    for (const NativeRow &row : natives()) {
        if (!row.encrypts() && !row.decrypts()) {
            continue;
        }
        Arguments empty = good_arguments(row);
        empty.arrays[row.input()] = Bytes{};
        if (row.encrypts() && !row.is("sm4")) {
            const Answer expected = row.expected(empty);
            EXPECT_EQ(row(jni_, empty), expected);
            EXPECT_EQ(log_.take(), Lines{});
        } else {
            EXPECT_EQ(row(jni_, empty), nothing());
            EXPECT_EQ(log_.take(), Lines{row.failed(row.is("sm4") ? -2 : row.is("gcm") ? -93 : -1)});
        }
        if (row.decrypts() && row.takes("padding")) {
            // One block of nothing but padding cannot be told from none.
            Arguments block = good_arguments(encrypting(row));
            block.arrays["input"] = Bytes(16, 16);
            EXPECT_EQ(open(jni_, row, content(encrypting(row).expected(block)), 1), nothing());
            EXPECT_EQ(log_.take(), (Lines{error("ERR: padding mode is error.\n"), row.failed(-98)}));
        }
        if (row.decrypts() && row.takes("message")) {
            EXPECT_EQ(open(jni_, row, {0xff}), nothing());
            EXPECT_EQ(log_.take(), (Lines{error("[error]: -20005"), row.failed(-20005)}));
        }
    }
    EXPECT_EQ(open(jni_, native("de_aes_gcm"), sample(15)), nothing());
    EXPECT_EQ(log_.take(), Lines{native("de_aes_gcm").failed(-93)});
}

TEST_F(Natives, IvOfABlockIsExtendedOrCut) {
    for (const NativeRow &row : natives()) {
        for (const size_t size : {1U, 5U, 20U}) {
            if (!row.takes("iv") || row.op == "de_aes_gcm") {
                continue;
            }
            Arguments arguments = good_arguments(row);
            Bytes iv = sample(size, 9);
            arguments.arrays["iv"] = iv;
            const Answer answer = row(jni_, arguments);
            iv.resize(row.is("gcm") ? size : 16); // GCM takes all of it
            arguments.arrays["iv"] = iv;
            EXPECT_EQ(answer, row.expected(arguments)) << row.op << size;
        }
    }
}

TEST_F(Natives, TextsAndTokensAreTakenAsTheyCome) {
    for (const NativeRow &row : natives()) {
        Arguments good = good_arguments(row);
        const Answer expected = row.expected(good);
        good.arrays["hash"]->push_back(1);         // 32 bytes count
        for (const uint8_t byte : Bytes{0, 'x'}) { // a text ends at its first zero byte
            good.arrays["keyid"]->push_back(byte);
            good.arrays["caller"]->push_back(byte);
        }
        EXPECT_EQ(row(jni_, good), expected) << row.op;
        EXPECT_EQ(log_.take(), Lines{});

        if (row.takes("hash")) {
            good.arrays["wbid"] = Bytes(5000, 'w');
            EXPECT_EQ(row(jni_, good), row.refusal());
            EXPECT_EQ(log_.take(), (Lines{error("open error:path too long\n"), error("WARN: get appid fail\n")}) +
                                       row.refused_call());
        }
    }
}

TEST_F(Natives, EnvelopesFillTheirRoomExactly) {
    // A block-mode envelope never does; additional data has no room of its own.
    const NativeRow &row = native("en_cms_aes_gcm");
    std::set<size_t> sizes;
    for (size_t aad = 0; aad < 200; ++aad) {
        Arguments arguments = good_arguments(row);
        arguments.arrays["aad"] = sample(aad);
        const Answer expected = row.expected(arguments);
        const bool fits = content(expected).size() <= 40 + 10 + 208;
        EXPECT_EQ(row(jni_, arguments), fits ? expected : nothing());
        EXPECT_EQ(log_.take(), fits ? Lines{} : (Lines{error("[error]: -3"), row.failed(-3)}));
        sizes.insert(content(expected).size());
    }
    EXPECT_TRUE(sizes.contains(40 + 10 + 208)) << "the limit itself was not tried";
}

TEST_F(Natives, TextsOfALibraryAreMeasured) {
    const struct {
        std::string op;
        std::string symbol;
        size_t room;
    } texts[] = {{"get_whitelist", "whitelist", 10000}, {"get_appid", "appid", 100}, {"get_sk", "sk", 100}};
    for (const auto &[op, symbol, room] : texts) {
        for (const size_t size : {room, room + 1}) {
            const std::string wbid = symbol + std::to_string(size);
            const std::string text(size, 'c');
            const LoadedLibrary loaded(natives_library(wbid).text(symbol, text), wbid, kNativesVersion);
            Arguments arguments = good_arguments(native(op));
            arguments.arrays["wbid"] = bytes_of(wbid);
            arguments.arrays["hash"] = natives_token(wbid, symbol == "appid" ? text : kNativesAppid);
            arguments.arrays["caller"] = bytes_of("c");
            const bool fits = size == room;
            EXPECT_EQ(native(op)(jni_, arguments), fits ? Answer(bytes_of(text)) : nothing()) << op;
            EXPECT_EQ(log_.take(), fits ? Lines{} : Lines{native(op).failed(-1)});
        }
    }
    // Without a whitelist everybody is admitted, and nothing can be returned.
    const LoadedLibrary loaded(natives_library("nolist").without("whitelist"), "nolist", kNativesVersion);
    Arguments arguments = good_arguments(native("get_whitelist"));
    arguments.arrays["wbid"] = bytes_of("nolist");
    arguments.arrays["hash"] = natives_token("nolist");
    arguments.arrays["caller"] = bytes_of("com.stranger");
    EXPECT_EQ(native("get_whitelist")(jni_, arguments), nothing());
    EXPECT_EQ(log_.take(), Lines{native("get_whitelist").failed(-1)});
}

TEST_F(Natives, VerifyTellsTheDifference) {
    const NativeRow &row = native("verify");
    Arguments arguments = good_arguments(row);
    Bytes smaller = arguments["sig"];
    Bytes greater = smaller;
    --*std::ranges::find_if(smaller, std::identity());
    ++*std::ranges::find_if(greater, [](uint8_t byte) { return byte != 255; });
    for (const Bytes &sig : {smaller, greater, Bytes(31), Bytes(33)}) {
        arguments.arrays["sig"] = sig;
        EXPECT_EQ(row(jni_, arguments), row.expected(arguments));
    }
}

TEST_F(Natives, HmacOfNothing) {
    // RFC 2104's MAC of nothing under no key.
    const Answer mac = native("hmac")(jni_, {{{"message", Bytes{}}, {"key", Bytes{}}}, {}});
    EXPECT_EQ(mac, Answer(from_hex("b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad")));
}

} // namespace
} // namespace test
