// How often natives ask the dynamic loader: the linker leads the library's questions here.

#include <dlfcn.h>

#include <algorithm>

#include "natives_table.h"

namespace {

test::Words opened;
test::Words looked_up;

} // namespace

extern "C" void *__real_dlopen(const char *file, int mode);
extern "C" void *__real_dlsym(void *handle, const char *symbol);

extern "C" void *__wrap_dlopen(const char *file, int mode) {
    opened.emplace_back(file);
    return __real_dlopen(file, mode);
}

extern "C" void *__wrap_dlsym(void *handle, const char *symbol) {
    looked_up.emplace_back(symbol);
    return __real_dlsym(handle, symbol);
}

namespace test {
namespace {

// Every symbol that the answer depends on.
Words needed(const NativeRow &row) {
    if (!row.takes("wbid")) {
        return {};
    }
    Words symbols{"wbid", "version", "sm4_keyids", "aes_keyids", "sk"};
    symbols = symbols + (row.takes("ak") ? Words{"ak"} : Words{"appid", "whitelist"});
    if (row.takes("data")) {
        symbols.emplace_back("keys");
    }
    if (row.takes("keyid")) {
        symbols = symbols + (row.is("sm4") ? Words{"table_s"} : Words{"Nr_k", "Xor_k", "Tyboxes256_k", "TboxesLast_k"});
    }
    return symbols;
}

TEST_F(Natives, OpenTheirLibraryOnceAndLookUpWhatTheyNeed) {
    for (const NativeRow &row : natives()) {
        const Arguments good = good_arguments(row);
        opened.clear();
        looked_up.clear();
        EXPECT_NE(row(jni_, good), row.refusal()) << row.op;
        EXPECT_EQ(opened, row.takes("wbid") ? Words{"libwb_tables_natives_2.so"} : Words{}) << row.op;
        Words expected = needed(row);
        std::ranges::sort(expected);
        std::ranges::sort(looked_up);
        EXPECT_EQ(looked_up, expected) << row.op;
    }
}

} // namespace
} // namespace test
