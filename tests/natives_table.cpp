#include "natives_table.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "quen/natives.h"
#include "quen/wbkit.h"
#include "support/cms_message.h"
#include "support/loaded_library.h"

namespace test {
namespace {

const std::string kSk = "sk: 8d1f60c2b94e";

int32_t length(const Bytes &bytes) {
    return static_cast<int32_t>(bytes.size());
}

template <typename T>
T argument(FakeJni &jni, const Arguments &arguments, Words::const_iterator &next) {
    const std::string &name = *next++;
    if constexpr (std::is_same_v<T, jint>) {
        return arguments.numbers.at(name);
    } else {
        const auto &bytes = arguments.arrays.at(name);
        return bytes ? jni.array(name, *bytes) : nullptr;
    }
}

template <typename Result, typename... Parameters>
auto calls(Result (*native)(JNIEnv *, jobject, Parameters...)) {
    return [native](FakeJni &jni, const Arguments &arguments, const Words &names) -> Answer {
        EXPECT_EQ(names.size(), sizeof...(Parameters));
        auto next = names.begin();
        // Braces are evaluated in order.
        const std::tuple<Parameters...> values{argument<Parameters>(jni, arguments, next)...};
        const auto result = std::apply([&](auto... each) { return native(jni.env(), nullptr, each...); }, values);
        if constexpr (std::is_same_v<Result, jint>) {
            return result;
        } else {
            return FakeJni::bytes(result);
        }
    };
}

// A length of whatever type a function stores, which holds the room beforehand.
template <typename T>
class Stored {
  public:
    explicit Stored(int64_t &len) : len_(len), value_(static_cast<T>(len)) {}
    ~Stored() { len_ = static_cast<int64_t>(value_); }
    operator T *() { return &value_; }

  private:
    int64_t &len_;
    T value_;
};

} // namespace

// What the native has not is empty.
struct Given {
    Bytes iv, input, aad, key, message, data, sig;
    std::string ak, wbid, keyid;
    jint padding, version;

    explicit Given(const Arguments &arguments)
        : iv(bytes(arguments, "iv")), input(bytes(arguments, "input")), aad(bytes(arguments, "aad")),
          key(bytes(arguments, "key")), message(bytes(arguments, "message")), data(bytes(arguments, "data")),
          sig(bytes(arguments, "sig")), ak(text(arguments, "ak")), wbid(text(arguments, "wbid")),
          keyid(text(arguments, "keyid")), padding(arguments.numbers.at("padding")),
          version(arguments.numbers.at("version")) {}

    static Bytes bytes(const Arguments &arguments, const std::string &name) {
        const auto found = arguments.arrays.find(name);
        return found == arguments.arrays.end() ? Bytes{} : found->second.value();
    }
    static std::string text(const Arguments &arguments, const std::string &name) {
        const Bytes value = bytes(arguments, name);
        return {value.begin(), value.end()};
    }
};

namespace {

auto runs(decltype(&aes_WBkit_encrypt_cfb) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        return run(nullptr, g.iv.data(), g.input.data(), g.input.size(), out, &len, g.padding, g.wbid.c_str(),
                   g.keyid.c_str(), g.version);
    };
}
auto runs(decltype(&wbsm4_cfb_encrypt) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        return run(nullptr, g.input.data(), g.input.size(), out, &len, g.iv.data(), static_cast<uint32_t>(g.padding),
                   g.wbid.c_str(), g.keyid.c_str(), g.version);
    };
}
auto runs(decltype(&wb_aes_gcm_encrypt) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        thread_local uint8_t tag[16]; // not on the stack, which a test looks at
        return run(nullptr, g.input.data(), g.input.size(), g.iv.data(), g.iv.size(), g.aad.data(), g.aad.size(), tag,
                   sizeof tag, out, &len, g.wbid.c_str(), g.keyid.c_str(), g.version);
    };
}
auto runs(decltype(&wb_aes_gcm_decrypt) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        const uint8_t *tag = g.input.data() + g.input.size() - 16;
        return run(nullptr, g.input.data(), g.input.size(), g.iv.data(), g.iv.size(), g.aad.data(), g.aad.size(), tag,
                   16, out, &len, g.wbid.c_str(), g.keyid.c_str(), g.version);
    };
}
auto runs(decltype(&aes_cms_WBkit_encrypt_cfb) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        return run(nullptr, g.iv.data(), g.input.data(), g.input.size(), g.padding, g.key.data(), length(g.key), out,
                   Stored<int32_t>(len), g.wbid.c_str(), g.keyid.c_str(), g.version);
    };
}
auto runs(decltype(&wbsm4_cms_cfb_encrypt) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        return run(nullptr, g.input.data(), g.input.size(), g.key.data(), length(g.key), out, Stored<int32_t>(len),
                   g.iv.data(), static_cast<uint32_t>(g.padding), g.wbid.c_str(), g.keyid.c_str(), g.version);
    };
}
auto runs(decltype(&aes_cms_WBkit_encrypt_gcm) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        thread_local uint8_t tag[16];
        std::ranges::fill(tag, 0);
        return run(nullptr, g.iv.data(), g.iv.size(), g.input.data(), g.input.size(), g.aad.data(), g.aad.size(),
                   g.key.data(), length(g.key), tag, sizeof tag, out, Stored<int32_t>(len), g.wbid.c_str(),
                   g.keyid.c_str(), g.version);
    };
}
auto runs(decltype(&aes_cms_WBkit_decrypt_cfb) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        return run(nullptr, g.message.data(), length(g.message), out, &len, g.wbid.c_str(), g.keyid.c_str(), g.version);
    };
}
auto runs(decltype(&get_appid) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        return run(nullptr, g.wbid.c_str(), g.version, reinterpret_cast<char *>(out), Stored<uint64_t>(len));
    };
}
auto runs(decltype(&signature) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        return run(nullptr, g.data.data(), g.data.size(), g.wbid.c_str(), g.keyid.c_str(), g.version, out,
                   Stored<uint32_t>(len));
    };
}
auto runs(decltype(&verify) run) {
    return [run](const Given &g, uint8_t * /*out*/, int64_t & /*len*/) {
        return run(nullptr, g.sig.data(), length(g.sig), g.data.data(), g.data.size(), g.wbid.c_str(), g.keyid.c_str(),
                   g.version);
    };
}
auto runs(decltype(&get_sk) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        return run(nullptr, g.ak.c_str(), g.wbid.c_str(), g.version, reinterpret_cast<char *>(out),
                   Stored<uint64_t>(len));
    };
}
auto runs(decltype(&hmac_sha256) run) {
    return [run](const Given &g, uint8_t *out, int64_t &len) {
        len = 32;
        return run(g.message.data(), g.message.size(), g.key.data(), length(g.key), out);
    };
}

const NativeFamily kStream{
    "hash caller iv input padding wbid keyid version",
    "input# input iv wbid wbid# keyid keyid# hash# hash caller# caller",
    "input iv wbid keyid hash caller",
};
// Two arrays are never released: intended.
const NativeFamily kKeepsTwo{kStream.parameters, kStream.fetches, "input iv wbid keyid"};
const NativeFamily kGcm{
    "hash caller iv input aad wbid keyid version",
    "input# iv# aad# input iv aad wbid wbid# keyid keyid# hash# hash caller# caller",
    "input iv aad wbid keyid hash caller",
};
const NativeFamily kEnvelope{
    "hash caller iv input padding key wbid keyid version",
    "input# input iv key# key wbid wbid# keyid keyid# hash# hash caller# caller",
    "input iv key wbid keyid hash caller",
};
const NativeFamily kGcmEnvelope{
    "hash caller iv input aad key wbid keyid version",
    "input# iv# aad# key# input iv aad key wbid wbid# keyid keyid# hash# hash caller# caller",
    "input iv aad key wbid keyid hash caller",
};
const NativeFamily kOpen{
    "hash caller message wbid keyid version",
    "message# message wbid wbid# keyid keyid# hash# hash caller# caller",
    "message wbid keyid hash caller",
};
const NativeFamily kAccessor{
    "hash caller wbid version",
    "wbid wbid# hash# hash caller# caller",
    "wbid hash caller",
};
const NativeFamily kSignature{
    "hash caller data wbid keyid version",
    "data# data wbid wbid# keyid keyid# hash# hash caller# caller",
    "data wbid keyid hash caller",
};
const NativeFamily kVerify{
    "hash caller sig data wbid keyid version",
    "sig# sig data# data wbid wbid# keyid keyid# hash# hash caller# caller",
    "data wbid keyid sig hash caller",
};
const NativeFamily kGetSk{"ak wbid version", "wbid wbid# ak ak#", "wbid ak"};
const NativeFamily kHmac{"message key", "message message# key key#", "message key"};

// An entry of `keys`; the key inside it is whatever its content decrypts to.
const Bytes kSigningIv = sample(16, 3);
const Bytes kSigningKey = sample(32, 6);
std::string encrypted_key(const std::string &keyid) {
    return to_hex(pack_cms({17, 7, bytes_of(to_hex(bytes_of(keyid))), {}, {}, kSigningIv, kSigningKey}).message);
}

std::vector<NativeRow> make_natives() {
    std::vector<NativeRow> rows = {
        {calls(WBkit_AES_CFB_encrypt), runs(aes_WBkit_encrypt_cfb), kStream, "en_aes_cfb", ""},
        {calls(WBkit_AES_CFB_decrypt), runs(aes_WBkit_decrypt_cfb), kStream, "de_aes_cfb", "AES_CFB_DE"},
        {calls(WBkit_AES_OFB_encrypt), runs(aes_WBkit_encrypt_ofb), kStream, "en_aes_ofb", "AES_OFB_EN"},
        {calls(WBkit_AES_OFB_decrypt), runs(aes_WBkit_decrypt_ofb), kStream, "de_aes_ofb", "AES_OFB_DE"},
        {calls(WBkit_AES_CTR_encrypt), runs(aes_WBkit_encrypt_ctr), kStream, "en_aes_ctr", "AES_CTR_EN"},
        {calls(WBkit_AES_CTR_decrypt), runs(aes_WBkit_decrypt_ctr), kStream, "de_aes_ctr", "AES_CTR_DE"},
        {calls(WBkit_SM4_CFB_encrypt), runs(wbsm4_cfb_encrypt), kStream, "en_sm4_cfb", "SM4_CFB_EN"},
        {calls(WBkit_SM4_CFB_decrypt), runs(wbsm4_cfb_decrypt), kStream, "de_sm4_cfb", "SM4_CFB_DE"},
        {calls(WBkit_SM4_OFB_encrypt), runs(wbsm4_ofb_encrypt), kKeepsTwo, "en_sm4_ofb", "SM4_OFB_EN"},
        {calls(WBkit_SM4_OFB_decrypt), runs(wbsm4_ofb_decrypt), kStream, "de_sm4_ofb", "SM4_OFB_DE"},
        {calls(WBkit_SM4_CTR_encrypt), runs(wbsm4_ctr_encrypt), kStream, "en_sm4_ctr", "SM4_CTR_EN"},
        {calls(WBkit_SM4_CTR_decrypt), runs(wbsm4_ctr_decrypt), kStream, "de_sm4_ctr", "SM4_CTR_DE"},
        {calls(WBkit_AES_GCM_encrypt), runs(wb_aes_gcm_encrypt), kGcm, "en_aes_gcm", "en_aes_gcm"},
        {calls(WBkit_AES_GCM_decrypt), runs(wb_aes_gcm_decrypt), kGcm, "de_aes_gcm", "de_aes_gcm"},
        {calls(WBkit_AES_CMS_CFB_encrypt), runs(aes_cms_WBkit_encrypt_cfb), kEnvelope, "en_cms_aes_cfb",
         "AES_CMS_CFB_EN"},
        // Its line names another native: intended.
        {calls(WBkit_AES_CMS_CFB_decrypt), runs(aes_cms_WBkit_decrypt_cfb), kOpen, "de_cms_aes_cfb", "AES_CMS_CFB_DE",
         "de_sm4_cfb"},
        {calls(WBkit_AES_CMS_OFB_encrypt), runs(aes_cms_WBkit_encrypt_ofb), kEnvelope, "en_cms_aes_ofb",
         "AES_CMS_OFB_EN"},
        {calls(WBkit_AES_CMS_OFB_decrypt), runs(aes_cms_WBkit_decrypt_ofb), kOpen, "de_cms_aes_ofb", "AES_CMS_OFB_DE"},
        {calls(WBkit_AES_CMS_CTR_encrypt), runs(aes_cms_WBkit_encrypt_ctr), kEnvelope, "en_cms_aes_ctr",
         "AES_CMS_CTR_EN"},
        {calls(WBkit_AES_CMS_CTR_decrypt), runs(aes_cms_WBkit_decrypt_ctr), kOpen, "de_cms_aes_ctr", "AES_CMS_CTR_DE"},
        {calls(WBkit_SM4_CMS_CFB_encrypt), runs(wbsm4_cms_cfb_encrypt), kEnvelope, "en_cms_sm4_cfb", "SM4_CMS_CFB_EN"},
        {calls(WBkit_SM4_CMS_CFB_decrypt), runs(wbsm4_cms_cfb_decrypt), kOpen, "de_cms_sm4_cfb", "SM4_CMS_CFB_DE"},
        {calls(WBkit_SM4_CMS_OFB_encrypt), runs(wbsm4_cms_ofb_encrypt), kEnvelope, "en_cms_sm4_ofb", "SM4_CMS_OFB_EN"},
        {calls(WBkit_SM4_CMS_OFB_decrypt), runs(wbsm4_cms_ofb_decrypt), kOpen, "de_cms_sm4_ofb", "SM4_CMS_OFB_DE"},
        {calls(WBkit_SM4_CMS_CTR_encrypt), runs(wbsm4_cms_ctr_encrypt), kEnvelope, "en_cms_sm4_ctr", "SM4_CMS_CTR_EN"},
        {calls(WBkit_SM4_CMS_CTR_decrypt), runs(wbsm4_cms_ctr_decrypt), kOpen, "de_cms_sm4_ctr", "SM4_CMS_CTR_DE"},
        {calls(WBkit_AES_CMS_GCM_encrypt), runs(aes_cms_WBkit_encrypt_gcm), kGcmEnvelope, "en_cms_aes_gcm",
         "en_cms_aes_gcm"},
        {calls(WBkit_AES_CMS_GCM_decrypt), runs(aes_cms_WBkit_decrypt_gcm), kOpen, "de_cms_aes_gcm", "de_cms_aes_gcm"},
        {calls(WBkit_get_keyids), runs(get_keyids), kAccessor, "get_keyids", "WBkit_get_keyids"},
        {calls(WBkit_get_whitelist), runs(get_whitelist), kAccessor, "get_whitelist", "get_whitelist"},
        {calls(WBkit_get_appid), runs(get_appid), kAccessor, "get_appid", "get_appid"},
        {calls(WBkit_signature), runs(signature), kSignature, "signature", "WBkit_signature"},
        {calls(WBkit_verify), runs(verify), kVerify, "verify", "verify"},
        {calls(WBkit_get_sk), runs(get_sk), kGetSk, "get_sk", "WBkit_get_sk"},
        {calls(WBkit_hmac), runs(hmac_sha256), kHmac, "hmac", "hmac"},
    };
    const std::pair<const char *, decltype(&WBkit_AES_CMS_CFB_decrypt)> twins[] = {
        {"de_cms_aes_cfb", Java_com_vorlix_quen_wb_WbkitCms_aesCfbDecrypt},
        {"de_cms_aes_ofb", Java_com_vorlix_quen_wb_WbkitCms_aesOfbDecrypt},
        {"de_cms_aes_ctr", Java_com_vorlix_quen_wb_WbkitCms_aesCtrDecrypt},
        {"de_cms_aes_gcm", Java_com_vorlix_quen_wb_WbkitCms_aesGcmDecrypt},
        {"de_cms_sm4_cfb", Java_com_vorlix_quen_wb_WbkitCms_sm4CfbDecrypt},
        {"de_cms_sm4_ofb", Java_com_vorlix_quen_wb_WbkitCms_sm4OfbDecrypt},
        {"de_cms_sm4_ctr", Java_com_vorlix_quen_wb_WbkitCms_sm4CtrDecrypt},
    };
    for (const auto &[op, function] : twins) {
        NativeRow row = *std::ranges::find(rows, op, &NativeRow::op);
        row.call = calls(function);
        rows.push_back(std::move(row));
    }
    return rows;
}

} // namespace

const std::vector<NativeRow> &natives() {
    static const std::vector<NativeRow> rows = make_natives();
    return rows;
}

const NativeRow &native(const std::string &op) {
    const auto found = std::ranges::find(natives(), op, &NativeRow::op);
    return found == natives().end() ? throw std::invalid_argument("no native " + op) : *found;
}

Words words(const std::string &text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

bool NativeRow::takes(const std::string &parameter) const {
    return std::ranges::count(words(family.parameters), parameter) != 0;
}

Words NativeRow::arrays() const {
    Words names = words(family.parameters);
    std::erase_if(names, [](const std::string &name) { return name == "padding" || name == "version"; });
    return names;
}

Answer NativeRow::operator()(FakeJni &jni, const Arguments &arguments) const {
    const Answer answer = call(jni, arguments, words(family.parameters));
    for (const std::string &name : jni.take_held()) {
        EXPECT_EQ(std::ranges::count(words(family.releases), name), 0) << op << " keeps " << name;
    }
    return answer;
}

int64_t NativeRow::run(const Arguments &arguments, uint8_t *out, int64_t &len) const {
    return function(Given(arguments), out, len);
}

Answer NativeRow::expected(const Arguments &arguments) const {
    const Answer answer = run_function(arguments);
    CapturedLog().take();
    return answer;
}

Answer NativeRow::run_function(const Arguments &arguments) const {
    Bytes out(1 << 16);
    auto len = static_cast<int64_t>(out.size());
    const int64_t status = run(arguments, out.data(), len);
    if (takes("sig")) {
        return static_cast<jint>(status);
    }
    if (status != 0) {
        return std::nullopt;
    }
    out.resize(static_cast<size_t>(len));
    return out;
}

Lines NativeRow::refused_call() const {
    return tag.empty() ? Lines{} : Lines{error(tag + ": input args invalid")};
}

LogLine NativeRow::failed(int status) const {
    return error("jni " + failure + " fail " + std::to_string(status) + "\n");
}

LogLine NativeRow::not_loaded() const {
    if (takes("data")) {
        return error("ERR: de_aes_cfb, load Nr natives\n");
    }
    if (is("gcm")) {
        return error("ERR: en_aes_gcm, load Nr natives\n"); // decrypting too: intended
    }
    std::string mode = op;
    if (is("cms_")) {
        mode.erase(mode.find("cms_"), 4);
    }
    return error("ERR: " + mode + (mode == "en_aes_cfb" ? "" : ",") + (is("sm4") ? " load table" : " load Nr") +
                 " natives\n");
}

Words NativeRow::fetches(const std::string &without) const {
    Words calls;
    for (const std::string &word : words(family.fetches)) {
        const std::string name = word.substr(0, word.find('#'));
        if (name != without) {
            calls.push_back((word == name ? "elements " : "length ") + name);
        }
    }
    return calls;
}

// An iv that has to be one block is measured once the caller is authorised.
Words NativeRow::late_fetches() const {
    return takes("iv") && takes("padding") ? Words{"length iv"} : Words{};
}

Words NativeRow::releases(const std::string &without) const {
    Words calls = words(family.releases);
    std::erase(calls, without);
    for (std::string &name : calls) {
        name = "release " + name;
    }
    return calls;
}

Bytes natives_token(const std::string &wbid, const std::string &appid) {
    const Bytes message = bytes_of(wbid + appid);
    const Bytes sk = bytes_of(get_sk_without_ak(nullptr, wbid.c_str(), kNativesVersion));
    Bytes mac(32);
    hmac_sha256(message.data(), message.size(), sk.data(), length(sk), mac.data());
    keep_secret(mac);
    return mac;
}

Arguments good_arguments(const NativeRow &row, const Bytes &text, size_t iv_len, const std::string &wbid) {
    Arguments arguments{{{"hash", natives_token(wbid)},
                         {"caller", bytes_of("com.example.app.caller")},
                         {"iv", sample(iv_len, 9)},
                         {"input", text},
                         {"aad", sample(20, 7)},
                         {"key", sample(10, 8)},
                         {"message", sample(30, 4)},
                         {"data", sample(50, 5)},
                         {"ak", bytes_of(kNativesAk)},
                         {"wbid", bytes_of(wbid)},
                         {"keyid", bytes_of(row.is("sm4") ? "s" : "k")}},
                        {{"padding", 0}, {"version", kNativesVersion}}};
    keep_secret(text);
    if (row.decrypts()) {
        arguments.arrays[row.input()] = std::get<0>(native("en" + row.op.substr(2)).expected(arguments));
    }
    if (row.takes("sig")) {
        arguments.arrays["sig"] = std::get<0>(native("signature").expected(arguments));
    }
    return arguments;
}

TableSource natives_library(const std::string &wbid) {
    return TableSource()
        .header(wbid, kNativesVersion)
        .text("sk", kSk)
        .text("ak", kNativesAk)
        .text("appid", kNativesAppid)
        .text("whitelist", "com.example.app.caller,com.example.other")
        .slots("aes_keyids", {"k"})
        .slots("sm4_keyids", {"s"})
        .slots("keys", {encrypted_key("k"), encrypted_key("s")})
        .aes_tables("k", sample(32))
        .bytes("table_s", sample(32 * 4 * 256));
}

Natives::Natives() {
    static const LoadedLibrary loaded(natives_library(kNativesWbid), kNativesWbid, kNativesVersion);
    Bytes signing_key(kSigningKey.size());
    int64_t len = 0;
    aes_WBkit_decrypt_cfb(nullptr, kSigningIv.data(), kSigningKey.data(), kSigningKey.size(), signing_key.data(), &len,
                          0, kNativesWbid.c_str(), "k", kNativesVersion);
    keep_secret(signing_key);
}

} // namespace test
