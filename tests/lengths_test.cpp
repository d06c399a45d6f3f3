// Lengths near the largest ones, without the memory: whoever asks for that much is refused, and nobody may ask for too
// little because a sum was cut to the 32 bits of a small machine's addresses.

#include <cstdlib>

#include "natives_table.h"
#include "quen/wbkit.h"

extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size) {
    constexpr size_t kMost = size_t{1} << 28;
    return size > kMost ? nullptr : __real_malloc(size);
}

namespace test {
namespace {

// What the library reads where it is has no limit but memory's, and a prefix is all that it takes of some.
bool is_copied(const NativeRow &row, const std::string &array) {
    const bool envelope = row.op.starts_with("en_cms");
    return array != "hash" && (array != "aad" || envelope) && (array != "key" || envelope) &&
           (array != "iv" || row.op == "en_cms_aes_gcm");
}

// hmac tells nobody and answers zeros; verify hands on the status.
Answer refusal_of(const NativeRow &row, const std::string &array) {
    return row.op == "hmac" ? Answer(Bytes(32)) : row.op == "verify" && array == "data" ? Answer(-100) : row.refusal();
}

TEST_F(Natives, RefuseArraysThatMemoryCannotHold) {
    for (const NativeRow &row : natives()) {
        const Arguments good = good_arguments(row);
        std::vector<Words> claims;
        for (const std::string &array : row.arrays()) {
            if (is_copied(row, array)) {
                claims.push_back({array});
                claims.push_back({array, row.input()});
            }
        }
        EXPECT_FALSE(claims.empty()) << row.op;
        for (const Words &claim : claims) {
            for (const jint length : {INT32_MAX, INT32_MAX - 15, INT32_MAX - 16, INT32_MAX - 208}) {
                for (const std::string &array : claim) {
                    jni_.claimed_lengths[array] = length;
                }
                EXPECT_EQ(row(jni_, good), refusal_of(row, claim.front()))
                    << row.op << ": " << claim.front() << " of " << length;
                EXPECT_NE(log_.take(), Lines{}) << row.op;
                jni_.claimed_lengths.clear();
            }
        }
    }
}

const uint8_t kFew[16] = {};

int64_t hmac_of(uint64_t len) {
    uint8_t mac[32];
    return hmac_sha256(kFew, len, kFew, 16, mac);
}
int64_t signature_of(uint64_t len) {
    uint8_t mac[32];
    uint32_t mac_len = 0;
    return signature(nullptr, kFew, len, "natives", "k", kNativesVersion, mac, &mac_len);
}
int64_t ctr_of(uint64_t len) {
    uint8_t out[16];
    int64_t out_len = 0;
    return aes_WBkit_encrypt_ctr(nullptr, kFew, kFew, len, out, &out_len, 1, "natives", "k", kNativesVersion);
}
int64_t sm4_of(uint64_t len) {
    uint8_t out[16];
    int64_t out_len = 0;
    return wbsm4_cfb_decrypt(nullptr, kFew, len, out, &out_len, kFew, 1, "natives", "s", kNativesVersion);
}
int64_t envelope_of(uint64_t len) {
    uint8_t out[16];
    int32_t out_len = INT32_MAX;
    return aes_cms_WBkit_encrypt_cfb(nullptr, kFew, kFew, len, 1, kFew, INT32_MAX, out, &out_len, "natives", "k",
                                     kNativesVersion);
}
int64_t gcm_envelope_of(uint64_t len) {
    uint8_t out[16];
    uint8_t tag[16];
    int32_t out_len = INT32_MAX;
    return aes_cms_WBkit_encrypt_gcm(nullptr, kFew, 12, kFew, len, kFew, 16, kFew, INT32_MAX, tag, 16, out, &out_len,
                                     "natives", "k", kNativesVersion);
}
int64_t message_of(uint64_t len) {
    uint8_t out[16];
    int32_t out_len = INT32_MAX;
    return CMSEncrypted_Pack(17, 7, kFew, static_cast<int32_t>(len - 16), nullptr, 0, nullptr, 0, kFew, 16, kFew, 0,
                             out, &out_len);
}
int64_t long_content(uint64_t len) {
    uint8_t out[16];
    int32_t out_len = INT32_MAX;
    return CMSEncrypted_Pack(17, 7, kFew, INT32_MAX, kFew, INT32_MAX, kFew, INT32_MAX, kFew, 16, kFew,
                             static_cast<uint32_t>(len), out, &out_len);
}

TEST_F(Natives, ExportedFunctionsRefuseLengthsThatMemoryCannotHold) {
    constexpr uint64_t kMost = INT32_MAX;
    const struct {
        const char *name;
        int64_t (*run)(uint64_t len);
        std::vector<uint64_t> lengths;
        int64_t status;
    } functions[] = {
        {"hmac", hmac_of, {kMost - 64, kMost, kMost + 1, UINT32_MAX - 64, UINT32_MAX, UINT64_MAX - 63}, -100},
        {"signature", signature_of, {kMost - 64, kMost, kMost + 1, UINT32_MAX - 64, UINT32_MAX, UINT64_MAX - 63}, -100},
        {"ctr", ctr_of, {kMost - 16, kMost - 15, kMost, kMost + 1, UINT32_MAX - 15, UINT64_MAX - 15}, -100},
        {"sm4", sm4_of, {kMost - 16, kMost - 15, kMost, kMost + 1, UINT32_MAX - 15, UINT64_MAX - 15}, -100},
        {"envelope", envelope_of, {kMost - 16}, -2},
        {"long envelope", envelope_of, {kMost - 15, kMost, UINT32_MAX - 15, UINT64_MAX - 15}, -100},
        {"GCM envelope", gcm_envelope_of, {kMost - 16, kMost - 15, UINT32_MAX - 15, UINT64_MAX - 15}, -2},
        {"GCM envelope with a long key", gcm_envelope_of, {16}, -3},
        {"message", message_of, {kMost - 100, kMost}, -7},
        {"long message", long_content, {0, 16, kMost, UINT32_MAX}, -3},
    };
    for (const auto &function : functions) {
        for (const uint64_t length : function.lengths) {
            EXPECT_EQ(function.run(length), function.status) << function.name << " of " << length;
        }
    }
}

} // namespace
} // namespace test
