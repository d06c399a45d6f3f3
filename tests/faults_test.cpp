// Whatever an exported function or native asks for fails once: every allocation, every question to the dynamic loader,
// every request to the virtual machine. What is expected stands in the order of the requests, so nothing is asked for
// twice either.

#include <algorithm>

#include "natives_table.h"
#include "quen/natives.h"
#include "quen/wbkit.h"
#include "support/cms_message.h"
#include "support/faults.h"

namespace test {
namespace {

const std::string kFile = "libwb_tables_natives_2.so";
const std::string kNoFile = "no.such.library: cannot open shared object file: No such file or directory";

using Status = std::optional<int64_t>;

// The same endings with lines behind their own, and with another status, if there is one.
Outcomes then(Status status, Outcomes outcomes, const std::string &lines) {
    for (Outcome &outcome : outcomes) {
        outcome.status = status.value_or(outcome.status);
        outcome.lines += (outcome.lines.empty() || lines.empty() ? "" : " | ") + lines;
    }
    return outcomes;
}

// What names a failure that nobody minds.
Outcomes ignored(const std::string &symbol) {
    return {{symbol, 0, ""}};
}

Outcomes opening(Status status = {}, const std::string &lines = "") {
    return then(status,
                {{kFile, -70, "open error:" + kNoFile},
                 {"wbid", -71, "FAIL: param not match so. wbid:(null), version:2"},
                 {"version", -71, "FAIL: param not match so. wbid:natives, version:0"}},
                lines);
}

// The lists of key ids as they are looked at for a key.
Outcomes choosing(bool sm4, int64_t status, const std::string &lines = "") {
    const std::string unknown = "load natives 2 err. alg not matched.";
    const Outcomes no_sm4 = sm4 ? then(status, {{"sm4_keyids", 0, unknown}}, lines) : ignored("sm4_keyids");
    return no_sm4 +
           then(status, {{"aes_keyids", 0, "check_keyid_alg get keyids failed, sm4:0x aes:(nil) | " + unknown}}, lines);
}

// Of the key "s" or "k" of the test library.
Outcomes tables(bool sm4, int64_t status, const std::string &lines) {
    return sm4 ? Outcomes{{"table_s", status, lines}}
               : then(status,
                      {{"Nr_k", 0, "load natives 2 err. alg not matched."},
                       {"Xor_k", 0, ""},
                       {"Tyboxes256_k", 0, ""},
                       {"TboxesLast_k", 0, ""}},
                      lines);
}

Outcomes loading(bool sm4, int64_t status, const std::string &lines) {
    return opening(status, lines) + choosing(sm4, status, lines) + tables(sm4, status, lines);
}

// The metadata's lists, as get_tb_common and the caller check look at them.
Outcomes listing(Status status = {}, const std::string &lines = "") {
    return opening(status, lines) + ignored("sm4_keyids") +
           then(status, {{"aes_keyids", -73, "get_tb_common get keyids failed, sm4:0x aes:(nil)"}}, lines);
}

Outcomes no_memory(int64_t status, const std::string &lines) {
    return {{"malloc", status, lines}};
}

std::string text_of(const LogLine &line) {
    return line.text.substr(0, line.text.find('\n'));
}

// A mode with a scratch buffer; the line that loading ends with is the row's own.
Outcomes stream_outcomes(const NativeRow &row) {
    const std::string no_room = row.is("sm4") && !row.is("ctr")          ? "[error]: malloc faild!"
                                : row.is("aes_cfb") || row.takes("data") ? "ERR: malloc failed!"
                                                                         : "[error]: malloc failed!";
    return loading(row.is("sm4"), -70, text_of(row.not_loaded())) + no_memory(-100, no_room);
}

Outcomes encrypted_key_outcomes() {
    return Outcomes{{kFile, -70, "ERR: get_ekey open error:" + kNoFile},
                    {"keys", -2, "ERR: get_ekey get ekeys failed."}} +
           no_memory(-92, "ERR: get_ekey unpack fail:-20005");
}

Outcomes signature_outcomes(const NativeRow &row) {
    Outcomes all;
    for (const Outcome &outcome : encrypted_key_outcomes()) {
        all = all + then(-1, {outcome}, "ERR: sig, get_ekey:" + std::to_string(outcome.status));
    }
    for (const Outcome &outcome : stream_outcomes(row)) {
        all = all + (outcome.status == 0 ? Outcomes{outcome} : then(-90, {outcome}, "ERR: sig, decrypt key fail. 100"));
    }
    all = all + no_memory(-100, "ERR: hmac256 malloc failed.");
    for (Outcome &outcome : all) {
        outcome.lines += row.op == "verify" && outcome.status != 0 ? " | ERR: verify fail" : "";
    }
    return all;
}

// The texts that a record of the metadata carries; all but one are not needed.
Outcomes texts(const std::string &needed = "", int64_t status = 0, const std::string &lines = "") {
    Outcomes all;
    for (const char *symbol : {"sk", "ak", "appid", "whitelist"}) {
        all = all + (symbol == needed ? Outcomes{{symbol, status, lines}} : ignored(symbol));
    }
    return all;
}

// Of the exported function behind a native, as its header states them.
Outcomes function_outcomes(const NativeRow &row) {
    const std::string not_loaded = text_of(row.not_loaded());
    if (row.op == "en_cms_aes_gcm") {
        // A key that cannot be used is shown by the log alone: intended.
        return no_memory(-2, "") + loading(false, 0, not_loaded) + no_memory(-7, "[error]: -7");
    }
    if (row.is("cms")) {
        const Outcomes mode = row.is("gcm") ? loading(false, -70, not_loaded) : stream_outcomes(row);
        return row.encrypts() ? no_memory(-2, "") + mode + no_memory(-7, "[error]: -7")
                              : no_memory(-20005, "[error]: -20005") + mode;
    }
    if (row.is("gcm")) {
        return loading(false, -70, not_loaded);
    }
    if (row.encrypts() || row.decrypts()) {
        return stream_outcomes(row);
    }
    if (row.takes("data")) {
        return signature_outcomes(row);
    }
    if (row.op == "get_sk") {
        const std::string no_ak = "ERR: inner ak is null";
        return listing(-1, no_ak) + Outcomes{{"sk", -1, ""}, {"ak", -1, no_ak}, {"appid", 0, ""}, {"whitelist", 0, ""}};
    }
    return row.op == "hmac" ? no_memory(-100, "ERR: hmac256 malloc failed.")
                            : listing(-1) + texts(row.op.substr(4), -1);
}

TEST_F(Natives, FunctionsBehindThem) {
    for (const NativeRow &row : natives()) {
        const Arguments good = good_arguments(row);
        const Bytes untouched(500, 0xee);
        Bytes out;
        const Outcomes outcomes = fail_each(0, [&] {
            out = untouched;
            int64_t len = 500;
            const int64_t status = row.run(good, out.data(), len);
            EXPECT_TRUE(status == 0 || out == untouched) << row.op << " without " << what_failed();
            // The length of a signature is stored before its MAC is made; hmac's is the test's own.
            const bool stored = status == 0 || (status == -100 && (row.op == "signature" || row.op == "hmac"));
            EXPECT_EQ(len == 500, !stored || row.op == "verify") << row.op << " without " << what_failed();
            return status;
        });
        EXPECT_EQ(outcomes, function_outcomes(row)) << row.op;
    }
}

// What the caller check asks for between the arguments' copies and the operation.
Outcomes caller_check_outcomes(int64_t status, const std::string &refused) {
    const std::string end = refused.empty() ? "" : " | " + refused;
    return listing(status, "WARN: get appid fail" + end) +
           Outcomes{{"appid", status, "WARN: get appid fail" + end},
                    {"sk", status, "ERR: get_sk_without_ak failed." + end},
                    {"malloc", status, "ERR: hmac256 malloc failed. | WARN: hash is not matched." + end},
                    {"whitelist", 0, ""}}; // admits everybody: intended
}

// Of a native itself: -1 stands for null, 1 for another answer than the right one.
Outcomes native_outcomes(const NativeRow &row, const std::string &refused, const std::string &new_array) {
    Outcomes all;
    for (const std::string &call : row.fetches()) {
        if (call.starts_with("elements ")) {
            all.push_back({call, -1, refused});
        }
    }
    const auto failed = [&](int64_t status) { return text_of(row.failed(static_cast<int>(status))); };
    const bool verify = row.op == "verify"; // tells by its number
    const Outcomes no_room = no_memory(-1, verify ? refused : failed(-100));
    const Outcomes array{{new_array, -1, ""}};
    if (row.op == "hmac") {
        return all + no_memory(1, "ERR: hmac256 malloc failed.") + array; // zeros: intended
    }
    all = all + no_room;
    if (row.op == "get_sk") {
        const std::string no_ak = "ERR: inner ak is null | " + failed(-1);
        return all + listing(-1, no_ak) + Outcomes{{"ak", -1, no_ak}, {"sk", -1, failed(-1)}} + array;
    }
    all = all + caller_check_outcomes(-1, refused);
    const auto find = [&](const std::string &symbol) { return std::ranges::find(all, symbol, &Outcome::failed); };
    if (!row.takes("keyid")) {
        if (row.op == "get_keyids") {
            find("sm4_keyids")->status = 1; // the ids that are left
        } else if (row.op == "get_whitelist") {
            *find("whitelist") = {"whitelist", -1, failed(-1)};
        }
        return all + array;
    }
    if (row.takes("input") || row.takes("message")) {
        all = all + no_room;
    }
    // The operation, with the library that is open already.
    for (Outcome outcome : function_outcomes(row)) {
        if (outcome.status != 0) {
            outcome.lines += verify ? "" : (outcome.lines.empty() ? "" : " | ") + failed(outcome.status);
            outcome.status = verify ? outcome.status : -1;
        } else if (!outcome.lines.empty()) {
            outcome.status = 1; // a message without content: intended
        }
        const auto seen = outcome.failed == "malloc" ? all.end() : find(outcome.failed);
        if (seen == all.end()) {
            all.push_back(outcome);
        } else if (outcome.failed == "sm4_keyids") {
            *seen = outcome; // the caller check does not mind
        }
    }
    return verify ? all : all + array;
}

TEST_F(Natives, EverythingFailsOnce) {
    for (const NativeRow &row : natives()) {
        const Arguments good = good_arguments(row);
        const Answer expected = row.expected(good);
        const std::string array =
            std::holds_alternative<jint>(expected) ? "" : "new " + std::to_string(std::get<0>(expected).value().size());
        const auto outcomes = fail_each(0, [&]() -> int64_t {
            const Answer answer = row(jni_, good);
            const Words calls = jni_.take_calls();
            const std::string &failed = what_failed();
            if (failed.starts_with("elements ")) {
                const std::string name = failed.substr(failed.find(' ') + 1);
                EXPECT_EQ(calls, row.fetches() + row.releases(name)) << row.op;
            } else if (failed == array && !array.empty()) {
                EXPECT_EQ(calls, row.fetches() + row.late_fetches() + Words{array} + row.releases()) << row.op;
            }
            EXPECT_TRUE(row.op != "hmac" || failed != "malloc" || answer == Answer(Bytes(32)));
            if (row.op == "verify") {
                return std::get<jint>(answer);
            }
            return answer == expected ? 0 : answer == row.refusal() ? -1 : 1;
        });
        const Lines refused = row.refused_call();
        EXPECT_EQ(outcomes, native_outcomes(row, refused.empty() ? "" : text_of(refused[0]), array)) << row.op;
    }
}

// Generated for each type of message.
template <auto Unpack, auto Release>
Outcomes unpacking() {
    return fail_each(0, [] {
        const uint8_t nothing = 0;
        auto *message = Unpack(nullptr, 0, &nothing);
        if (message == nullptr) {
            return -1;
        }
        Release(message, nullptr);
        return 0;
    });
}

TEST_F(Natives, GeneratedUnpacking) {
    for (const Outcomes &outcomes : {unpacking<cmsencrypted_data__unpack, cmsencrypted_data__free_unpacked>(),
                                     unpacking<cmsenveloped_data__unpack, cmsenveloped_data__free_unpacked>(),
                                     unpacking<cmseciesenveloped_data__unpack, cmseciesenveloped_data__free_unpacked>(),
                                     unpacking<cmssigned_data__unpack, cmssigned_data__free_unpacked>(),
                                     unpacking<cmsdigested_data__unpack, cmsdigested_data__free_unpacked>()}) {
        EXPECT_EQ(outcomes, no_memory(-1, ""));
    }
}

int64_t functions_that_ask_for_nothing(const tb_entry &aes, const tb_entry &sm4, uint8_t *out) {
    const uint8_t block[16] = {};
    sha256_ctx hash;
    sha256_init(&hash);
    sha256_update(&hash, block, 5);
    sha256_transform(&hash, out);
    sha256_final(&hash, out);
    Cipher(out, aes);
    ShiftRows(out);
    wbsm4(out, out, sm4);
    xor_block(out, block);
    shift_right_block(out);
    gf_mult(block, out, out);
    ghash(block, block, 5, out);
    aes_gcm_prepare_j0(block, 5, block, out);
    for (auto *pad : {PKCS5Padding, PKCS7Padding, ISO10126Padding}) {
        pad(block, 5, out, 16);
    }
    NoPadding(block, 5, out);
    get_byte_data("0123", out);
    dump_aes_xor();
    dump_table();
    return PKCS5unPadding(block, 16, out, 16) + PKCS7unPadding(block, 16, out, 16) +
           ISO10126unPadding(block, 16, out, 16);
}

TEST_F(Natives, OtherFunctions) {
    const Arguments arguments = good_arguments(native("en_sm4_ctr"));
    const Bytes &token = arguments["hash"];
    const Bytes &caller = arguments["caller"];
    const Bytes message = pack_cms({17, 7, sample(3), sample(4), sample(5), sample(6), sample(7)}).message;
    const auto packed_len = static_cast<int32_t>(message.size());
    const uint8_t block[16] = {};
    uint8_t out[1024];
    uint8_t lengths[5][8];
    const auto number = [&](size_t i) { return reinterpret_cast<int32_t *>(lengths[i]); };
    const auto tag = [&](auto make, const char *keyid) {
        return [=, &out] { return make(nullptr, block, 5, block, 7, block, block, out, "natives", keyid, 2); };
    };
    void *handle = get_so_handle(nullptr, "natives", 2);
    const tb_entry aes = get_tb_entry(nullptr, "natives", "k", 2);
    const tb_entry sm4 = get_tb_entry(nullptr, "natives", "s", 2);
    const std::string unknown = "load natives 2 err. alg not matched.";
    const std::string no_rounds = "FAIL: can't en/decrypt, natives";
    const std::string no_list = "check_keyid_alg get keyids failed, sm4:0x aes:(nil)";
    const struct {
        const char *function;
        int64_t good;
        std::function<int64_t()> call;
        Outcomes outcomes;
    } rows[] = {
        {"CMSEncrypted_Pack", 0,
         [&] {
             *number(0) = sizeof out;
             return CMSEncrypted_Pack(17, 7, block, 3, block, 4, block, 5, block, 6, block, 7, out, number(0));
         },
         no_memory(-7, "")},
        {"CMSEncrypted_Unpack", 0,
         [&] {
             return CMSEncrypted_Unpack(message.data(), packed_len, number(0), reinterpret_cast<uint32_t *>(lengths[1]),
                                        out, number(2), out, number(2), out, number(3), out, number(4), out,
                                        reinterpret_cast<uint32_t *>(lengths[4]));
         },
         no_memory(-20005, "")},
        {"get_ekey", 0, [&] { return get_ekey(nullptr, "natives", "k", 2, out, lengths[0], lengths[1]); },
         encrypted_key_outcomes()},
        {"check_is_valid_call", 0,
         [&] { return check_is_valid_call(token.data(), 32, caller.data(), 3, arguments["wbid"].data(), 7, 2); },
         no_memory(-1, "WARN: get appid fail") + caller_check_outcomes(-1, "")},
        {"get_so_handle",
         0,
         [&] { return get_so_handle(nullptr, "natives", 2) == handle ? 0 : -1; },
         {{kFile, -1, ""}}},
        {"check_keyid_alg", 1, [&] { return check_keyid_alg(handle, "k"); },
         Outcomes{{"sm4_keyids", 1, ""}, {"aes_keyids", -1, no_list}}},
        {"get_tb_entry", 0, [&] { return get_tb_entry(nullptr, "natives", "s", 2).status; },
         opening() + choosing(true, -72) + ignored("table_s") + texts()},
        {"get_tb_common", 0, [&] { return get_tb_common(nullptr, "natives", 2).status; }, listing() + texts()},
        {"get_sk_without_ak", 0, [&] { return get_sk_without_ak(nullptr, "natives", 2) == nullptr ? -1 : 0; },
         listing(-1, "ERR: get_sk_without_ak failed.") + texts("sk", -1, "ERR: get_sk_without_ak failed.")},
        {"get_aes_alg", 11, [&] { return get_aes_alg(nullptr, "natives", "k", 2); },
         opening(17, no_rounds) + then(11, ignored("sm4_keyids"), "") +
             Outcomes{{"aes_keyids", 17, no_list + " | " + unknown + " | " + no_rounds},
                      {"Nr_k", 17, unknown + " | " + no_rounds}} +
             then(11, ignored("Xor_k") + ignored("Tyboxes256_k") + ignored("TboxesLast_k") + texts(), "")},
        {"aes_gcm_create_tag", 0, tag(aes_gcm_create_tag, "k"),
         loading(false, -70, "ERR: en_aes_ctr, load Nr natives")},
        {"sm4_gcm_create_tag", 0, tag(sm4_gcm_create_tag, "s"),
         loading(true, -70, "ERR: en_sm4_ctr, load table natives")},
        {"functions that ask for nothing", 0, [&] { return functions_that_ask_for_nothing(aes, sm4, out); }, {}},
    };
    for (const auto &row : rows) {
        const auto checked = [&] {
            std::ranges::fill(out, 0xee);
            const int64_t status = row.call();
            EXPECT_TRUE(status == row.good || std::ranges::count(out, 0xee) == sizeof out) << row.function;
            return status;
        };
        EXPECT_EQ(fail_each(row.good, checked), row.outcomes) << row.function;
    }
}

} // namespace
} // namespace test
