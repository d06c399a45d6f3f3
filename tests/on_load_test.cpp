#include <gtest/gtest.h>

#include "quen/natives.h"
#include "support/captured_log.h"

namespace {

using test::error;
using test::info;
using test::Lines;

// A virtual machine that answers the load hook's three questions.
struct FakeVm {
    jint env_status = JNI_OK;
    bool has_class = true;
    jint register_status = 0;
    std::string asked_class;
    std::vector<JNINativeMethod> registered;

    JavaVM vm{};
    JNIEnv env{};
    JNIInvokeInterface_ vm_functions{};
    JNINativeInterface_ env_functions{};

    FakeVm() {
        current = this;
        vm.functions = &vm_functions;
        env.functions = &env_functions;
        vm_functions.GetEnv = [](JavaVM *, void **out, jint version) -> jint {
            EXPECT_EQ(version, 0x10006);
            *out = &current->env;
            return current->env_status;
        };
        env_functions.FindClass = [](JNIEnv *, const char *name) -> jclass {
            current->asked_class = name;
            return current->has_class ? reinterpret_cast<jclass>(current) : nullptr;
        };
        env_functions.RegisterNatives = [](JNIEnv *, jclass, const JNINativeMethod *methods, jint count) -> jint {
            current->registered.assign(methods, methods + count);
            return current->register_status;
        };
    }

    static inline FakeVm *current = nullptr;
};

template <typename Function>
void *address(Function *function) {
    return reinterpret_cast<void *>(function);
}

TEST(OnLoad, RegistersTheTableInOrder) {
    const char *stream = "([B[B[B[BI[B[BI)[B";
    const char *gcm = "([B[B[B[B[B[B[BI)[B";
    const char *envelope = "([B[B[B[BI[B[B[BI)[B";
    const char *opened = "([B[B[B)[B"; // three arrays of the functions' six parameters: intended
    const char *accessor = "([B[B[BI)[B";
    const struct {
        const char *name;
        const char *signature;
        void *function;
    } expected[] = {
        {"WBkit_AES_CFB_encrypt", stream, address(WBkit_AES_CFB_encrypt)},
        {"WBkit_AES_CFB_decrypt", stream, address(WBkit_AES_CFB_decrypt)},
        {"WBkit_AES_OFB_encrypt", stream, address(WBkit_AES_OFB_encrypt)},
        {"WBkit_AES_OFB_decrypt", stream, address(WBkit_AES_OFB_decrypt)},
        {"WBkit_AES_CTR_encrypt", stream, address(WBkit_AES_CTR_encrypt)},
        {"WBkit_AES_CTR_decrypt", stream, address(WBkit_AES_CTR_decrypt)},
        {"WBkit_SM4_CFB_encrypt", stream, address(WBkit_SM4_CFB_encrypt)},
        {"WBkit_SM4_CFB_decrypt", stream, address(WBkit_SM4_CFB_decrypt)},
        {"WBkit_SM4_OFB_encrypt", stream, address(WBkit_SM4_OFB_encrypt)},
        {"WBkit_SM4_OFB_decrypt", stream, address(WBkit_SM4_OFB_decrypt)},
        {"WBkit_SM4_CTR_encrypt", stream, address(WBkit_SM4_CTR_encrypt)},
        {"WBkit_SM4_CTR_decrypt", stream, address(WBkit_SM4_CTR_decrypt)},
        {"WBkit_AES_GCM_encrypt", gcm, address(WBkit_AES_GCM_encrypt)},
        {"WBkit_AES_GCM_decrypt", gcm, address(WBkit_AES_GCM_decrypt)},
        {"WBkit_AES_CMS_CFB_encrypt", envelope, address(WBkit_AES_CMS_CFB_encrypt)},
        {"WBkit_AES_CMS_CFB_decrypt", opened, address(WBkit_AES_CMS_CFB_decrypt)},
        {"WBkit_AES_CMS_OFB_encrypt", envelope, address(WBkit_AES_CMS_OFB_encrypt)},
        {"WBkit_AES_CMS_OFB_decrypt", opened, address(WBkit_AES_CMS_OFB_decrypt)},
        {"WBkit_AES_CMS_CTR_encrypt", envelope, address(WBkit_AES_CMS_CTR_encrypt)},
        {"WBkit_AES_CMS_CTR_decrypt", opened, address(WBkit_AES_CMS_CTR_decrypt)},
        {"WBkit_SM4_CMS_CFB_encrypt", envelope, address(WBkit_SM4_CMS_CFB_encrypt)},
        {"WBkit_SM4_CMS_CFB_decrypt", opened, address(WBkit_SM4_CMS_CFB_decrypt)},
        {"WBkit_SM4_CMS_OFB_encrypt", envelope, address(WBkit_SM4_CMS_OFB_encrypt)},
        {"WBkit_SM4_CMS_OFB_decrypt", opened, address(WBkit_SM4_CMS_OFB_decrypt)},
        {"WBkit_SM4_CMS_CTR_encrypt", envelope, address(WBkit_SM4_CMS_CTR_encrypt)},
        {"WBkit_SM4_CMS_CTR_decrypt", opened, address(WBkit_SM4_CMS_CTR_decrypt)},
        {"WBkit_AES_CMS_GCM_encrypt", "([B[B[B[B[B[B[B[BI)[B", address(WBkit_AES_CMS_GCM_encrypt)},
        {"WBkit_AES_CMS_GCM_decrypt", opened, address(WBkit_AES_CMS_GCM_decrypt)},
        {"getKeyids", accessor, address(WBkit_get_keyids)},
        {"getWhitelist", accessor, address(WBkit_get_whitelist)},
        {"getAppid", accessor, address(WBkit_get_appid)},
        {"signature", "([B[B[B[B[BI)[B", address(WBkit_signature)},
        {"verify", "([B[B[B[B[B[BI)I", address(WBkit_verify)},
        {"getSk", "([B[BI)[B", address(WBkit_get_sk)},
        {"hmac", "([B[B)[B", address(WBkit_hmac)},
    };
    FakeVm fake;
    test::CapturedLog log;
    EXPECT_EQ(JNI_OnLoad(&fake.vm, nullptr), 0x10006);
    EXPECT_EQ(fake.asked_class, "com/vorlix/quen/wb/WbkitAndr");
    ASSERT_EQ(fake.registered.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_STREQ(fake.registered[i].name, expected[i].name);
        EXPECT_STREQ(fake.registered[i].signature, expected[i].signature) << expected[i].name;
        EXPECT_EQ(fake.registered[i].fnPtr, expected[i].function) << expected[i].name;
    }
    EXPECT_EQ(log.take(), (Lines{info("JNI_OnLoad\n"), info("register natives!\n"), info("registerNativeMethods!\n")}));
    EXPECT_EQ(JNI_OnLoad(&fake.vm, nullptr), 0x10006) << "loading twice registers twice";
}

TEST(OnLoad, FailuresAreSaid) {
    const std::string name = "com/vorlix/quen/wb/WbkitAndr";
    FakeVm fake;
    test::CapturedLog log;
    fake.env_status = JNI_EVERSION;
    EXPECT_EQ(JNI_OnLoad(&fake.vm, nullptr), -1);
    EXPECT_EQ(log.take(), (Lines{info("JNI_OnLoad\n"), error("ERROR: GetEnv failed\n")}));

    fake.env_status = JNI_OK;
    fake.has_class = false;
    const Lines begin{info("JNI_OnLoad\n"), info("register natives!\n")};
    const auto failed = error("ERROR: registerNatives failed\n");
    EXPECT_EQ(JNI_OnLoad(&fake.vm, nullptr), -1);
    EXPECT_EQ(log.take(),
              (Lines{begin[0], begin[1], error("Native registration unable to find class '" + name + "'\n"), failed}));

    fake.has_class = true;
    fake.register_status = -1;
    EXPECT_EQ(JNI_OnLoad(&fake.vm, nullptr), -1);
    EXPECT_EQ(log.take(), (Lines{begin[0], begin[1], error("RegisterNatives failed for '" + name + "'\n"), failed}));
}

} // namespace
