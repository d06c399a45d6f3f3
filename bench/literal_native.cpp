// The native of AES-GCM encryption with six opens, straight through.

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <initializer_list>

#include "literal.h"

namespace bench::literal {
namespace {

// Opens the table library, checks that it is the one asked for, and looks for its texts.
struct Library {
    void *handle;
    const char *sk;
    const char *ak;
    const char *appid;
    const char *whitelist;
    const char *const *sm4_ids;
    const char *const *aes_ids;

    const void *find(const char *symbol) const { return dlsym(handle, symbol); }
    const char *text(const char *symbol) const { return static_cast<const char *>(find(symbol)); }
};

bool open(Library &library, const char *wbid, int32_t version) {
    char path[200] = {};
    static_cast<void>(snprintf(path, sizeof path, "libwb_tables_%s_%d.so", wbid, version));
    library.handle = dlopen(path, RTLD_LAZY);
    if (library.handle == nullptr) {
        return false;
    }
    const char *own_wbid = library.text("wbid");
    const auto *own_version = static_cast<const int32_t *>(library.find("version"));
    if (own_wbid == nullptr || *own_version != version || strcmp(wbid, own_wbid) != 0) {
        return false;
    }
    library.sk = library.text("sk");
    library.ak = library.text("ak");
    library.appid = library.text("appid");
    library.whitelist = library.text("whitelist");
    library.sm4_ids = static_cast<const char *const *>(library.find("sm4_keyids"));
    library.aes_ids = static_cast<const char *const *>(library.find("aes_keyids"));
    return true;
}

// The metadata record, with the list of the key ids that every caller of it gets.
struct Common {
    Library library;
    char keyids[210];
};

bool load_common(Common &common, const char *wbid, int32_t version) {
    memset(common.keyids, 0, sizeof common.keyids);
    if (!open(common.library, wbid, version)) {
        return false;
    }
    for (const char *const *list : {common.library.sm4_ids, common.library.aes_ids}) {
        for (size_t slot = 0; list != nullptr && slot < 10; ++slot) {
            if (list[slot] != nullptr) {
                strcat(strcat(common.keyids, list[slot]), ",");
            }
        }
    }
    return true;
}

bool load_key(tb_entry &entry, const char *wbid, const char *keyid, int32_t version) {
    Library library = {};
    if (!open(library, wbid, version)) {
        return false;
    }
    for (const char *const *list : {library.sm4_ids, library.aes_ids}) {
        for (size_t slot = 0; slot < 10; ++slot) {
            if (list != nullptr && list[slot] != nullptr && strcmp(list[slot], keyid) == 0) {
                char symbol[80];
                const auto find = [&](const char *prefix) {
                    static_cast<void>(snprintf(symbol, sizeof symbol, "%s%s", prefix, keyid));
                    return static_cast<const uint8_t *>(library.find(symbol));
                };
                entry = {};
                memcpy(&entry.Nr, find("Nr_"), sizeof entry.Nr);
                entry.Xor = find("Xor_");
                entry.Tyboxes = find("Tyboxes128_");
                entry.TboxesLast = find("TboxesLast_");
                return true;
            }
        }
    }
    return false;
}

bool hmac(Bytes message, const char *key, uint8_t out[32]) {
    uint8_t pad[64 + 32] = {};
    memcpy(pad, key, strlen(key)); // the bench's key is a short one
    auto *buffer = static_cast<uint8_t *>(malloc(64 + message.len));
    if (buffer == nullptr) {
        return false;
    }
    for (size_t i = 0; i < 64; ++i) {
        buffer[i] = pad[i] ^ 0x36;
        pad[i] ^= 0x5c;
    }
    memcpy(buffer + 64, message.data, message.len);
    sha256(buffer, 64 + message.len, pad + 64);
    sha256(pad, sizeof pad, out);
    free(buffer);
    return true;
}

bool authorised(const jbyte *token, const char *caller, const char *wbid, int32_t version) {
    uint8_t message[200];
    const size_t wbid_len = strlen(wbid);
    memcpy(message, wbid, wbid_len);
    Common common = {};
    if (!load_common(common, wbid, version)) {
        return false;
    }
    const size_t appid_len = strlen(common.library.appid);
    memcpy(message + wbid_len, common.library.appid, appid_len);
    uint8_t expected[32];
    if (!load_common(common, wbid, version) || !hmac({message, wbid_len + appid_len}, common.library.sk, expected) ||
        memcmp(token, expected, sizeof expected) != 0 || !load_common(common, wbid, version)) {
        return false;
    }
    char whitelist[5000];
    strcpy(whitelist, common.library.whitelist);
    return strstr(whitelist, caller) != nullptr;
}

} // namespace

jbyteArray gcm_native(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                      jbyteArray input, jbyteArray aad, jbyteArray wbid, jbyteArray keyid, jint version) {
    const jbyteArray arrays[] = {input, iv, aad, wbid, keyid, hash, caller};
    jbyte *bytes[7];
    size_t lengths[7];
    for (size_t i = 0; i < 7; ++i) {
        lengths[i] = static_cast<size_t>(env->GetArrayLength(arrays[i]));
        bytes[i] = env->GetByteArrayElements(arrays[i], nullptr);
    }
    const auto text = [&](size_t i, char(&copy)[100]) {
        memcpy(copy, bytes[i], lengths[i]);
        copy[lengths[i]] = '\0';
        return copy;
    };
    char wbid_text[100];
    char keyid_text[100];
    char caller_text[100];
    text(3, wbid_text);
    text(4, keyid_text);
    text(6, caller_text);
    const auto part = [&](size_t i) { return Bytes{reinterpret_cast<const uint8_t *>(bytes[i]), lengths[i]}; };
    auto *out = static_cast<uint8_t *>(malloc(lengths[0] + 16));
    jbyteArray result = nullptr;
    tb_entry entry = {};
    // The key is fetched once by GCM itself, once by each of its two passes of the counter mode.
    if (out != nullptr && authorised(bytes[5], caller_text, wbid_text, version) &&
        load_key(entry, wbid_text, keyid_text, version) && load_key(entry, wbid_text, keyid_text, version) &&
        load_key(entry, wbid_text, keyid_text, version) &&
        gcm_encrypt({aes_block, entry}, part(1).data, part(2), part(0), out)) {
        const auto size = static_cast<jsize>(lengths[0] + 16);
        result = env->NewByteArray(size);
        env->SetByteArrayRegion(result, 0, size, reinterpret_cast<const jbyte *>(out));
    }
    for (size_t i = 0; i < 7; ++i) {
        env->ReleaseByteArrayElements(arrays[i], bytes[i], 0);
    }
    free(out);
    return result;
}

} // namespace bench::literal
