// No operation leaves a secret on its dead stack or in memory that it has freed: with two secrets, every byte there is
// the same.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "aes/block.h"
#include "aes/gcm.h"
#include "aes/ghash_kernel.h"
#include "hash/sha256_kernel.h"
#include "modes/stream.h"
#include "natives_table.h"
#include "quen/hash.h"
#include "quen/natives.h"
#include "quen/wbkit.h"
#include "sm4/block.h"
#include "support/table_source.h"
#include "support/watched_heap.h"

namespace {

using test::Bytes;

constexpr size_t kLongest = 5000;

std::function<void()> work;

constexpr size_t kStack = size_t{1} << 19;
constexpr size_t kHeap = size_t{1} << 16;

// Runs `work` on a stack and a heap of zeros, and returns what they look like afterwards: the heap behind the stack. It
// starts with the same registers every time, as functions keep their callers' on the stack.
Bytes used_memory() {
    static Bytes memory(kStack + kHeap);
    static ucontext_t tester;
    static const ucontext_t start = [] {
        ucontext_t context;
        getcontext(&context);
        context.uc_stack.ss_sp = memory.data();
        context.uc_stack.ss_size = kStack;
        context.uc_link = &tester;
        makecontext(
            &context, +[] { work(); }, 0);
        return context;
    }();
    static const Bytes first_words(memory);
    std::ranges::copy(first_words, memory.begin()); // what makecontext has put there
    static ucontext_t tested;
    tested = start;
    {
        const test::WatchedHeap heap(std::span<uint8_t>(memory).subspan(kStack));
        swapcontext(&tester, &tested);
    }
    return memory;
}

// Clears words that look like addresses of 64 bits, of which 47 count: where the heap is differs from run to run.
Bytes without_addresses(Bytes memory) {
    for (size_t i = 0; i < memory.size(); i += sizeof(uint64_t)) {
        uint64_t word = 0;
        memcpy(&word, memory.data() + i, sizeof word);
        if (word >> 47 == 0 && word >> 32 != 0) {
            std::fill_n(memory.begin() + static_cast<ptrdiff_t>(i), sizeof word, 0);
        }
    }
    return memory;
}

// `prepare` runs before each run of the operation, beside that stack and heap.
void expect_nothing_left(
    const std::string &name, const std::function<void(const uint8_t *secret)> &operation,
    const std::function<void(const uint8_t *secret)> &prepare = [](const uint8_t *) {}) {
    static Bytes secret(kLongest);
    work = [&] { operation(secret.data()); };
    const auto left_by = [&](uint32_t seed) {
        std::ranges::copy(test::sample(kLongest, seed), secret.begin());
        prepare(secret.data());
        return without_addresses(used_memory());
    };
    left_by(76); // for what happens once in a process
    const Bytes first[] = {left_by(76), left_by(77)};
    const Bytes again[] = {left_by(77), left_by(76)};
    size_t left = 0;
    size_t lowest = first[0].size();
    for (size_t i = first[0].size(); i-- > 0;) {
        // What else differs from run to run, the secret does not make.
        if (first[0][i] != first[1][i] && first[0][i] == again[1][i] && first[1][i] == again[0][i]) {
            ++left;
            lowest = i;
        }
    }
    EXPECT_EQ(left, 0U) << name << ": bytes left, "
                        << (lowest < kStack ? "down to a depth of " + std::to_string(kStack - lowest) : "on the heap");
}

template <typename Row>
void for_each(std::span<const Row> rows, std::initializer_list<size_t> sizes, const char *what,
              const std::function<void(const Row &row, size_t size, const uint8_t *secret)> &operation) {
    for (const Row &row : rows) {
        for (const size_t size : sizes) {
            if (row.usable()) {
                expect_nothing_left(std::string(what) + ", " + row.name + ", " + std::to_string(size),
                                    [&](const uint8_t *secret) { operation(row, size, secret); });
            }
        }
    }
}

uint8_t out[kLongest];
const Bytes kXorTable(256, 5);
const Bytes kTables = test::sample(size_t{9} * 16384, 3); // of AES's rounds, and SM4's

tb_entry aes_key(const uint8_t *last_round) {
    tb_entry key = {};
    key.Nr = 10;
    key.Xor = kXorTable.data();
    key.Tyboxes = kTables.data();
    key.TboxesLast = last_round;
    return key;
}

TEST(Leftovers, OfBlocks) {
    const Bytes last = test::sample(4096);
    tb_entry sm4 = {};
    sm4.table = kTables.data();
    for (const auto &[rows, key] :
         {std::pair(wbkit::aes_kernels(), aes_key(last.data())), std::pair(wbkit::sm4_kernels(), sm4)}) {
        for_each<wbkit::KernelRow>(
            rows, {1, 2, 3, 5, 13, 17, 48, 49, 64, 100, 130, 200, 257, 300}, "blocks",
            [key = key](auto &row, size_t blocks, auto *text) { row.encrypt(key, text, out, blocks); });
    }
}

TEST(Leftovers, OfHashes) {
    for_each<wbkit::GhashRow>(wbkit::ghash_kernels(), {1, 2, 5, 8, 11, 16, 31, 32, 64, 100}, "GHASH",
                              [](auto &row, size_t blocks, auto *secret) {
                                  static wbkit::GhashState state;
                                  state = {};
                                  std::copy_n(secret, 16, state.h);
                                  row.absorb(state, secret + 16, blocks);
                              });
    for_each<wbkit::Sha256Row>(wbkit::sha256_kernels(), {1, 2, 5}, "SHA-256",
                               [](auto &row, size_t blocks, auto *secret) {
                                   static uint32_t state[8];
                                   row.compress(state, secret, blocks);
                               });
    for (const int32_t len : {1, 64, 100}) {
        expect_nothing_left("HMAC", [=](const uint8_t *key) { hmac_sha256(key + 200, 100, key, len, out); });
    }
}

// The secret is the key's last table, and with it all keystream, and the text.
TEST(Leftovers, OfModes) {
    const Bytes iv = test::sample(16);
    for (const auto mode :
         {wbkit::cfb_encrypt, wbkit::cfb_decrypt, wbkit::ofb_crypt, static_cast<wbkit::StreamMode>(wbkit::ctr_crypt)}) {
        for_each<wbkit::KernelRow>(wbkit::aes_kernels(), {16, 20, 100, 1000, kLongest}, "a mode",
                                   [&](auto &row, size_t len, auto *secret) {
                                       mode({aes_key(secret), row.encrypt}, iv.data(), secret, out, len);
                                   });
    }
    for (const size_t iv_len : {12U, 16U}) {
        for_each<wbkit::KernelRow>(
            wbkit::aes_kernels(), {16, 20, 100, 1000, kLongest}, "GCM", [&](auto &row, size_t len, auto *secret) {
                const tb_entry key = aes_key(secret);
                static uint8_t tag[16];
                wbkit::gcm_encrypt({key, row.encrypt}, {iv.data(), iv_len, iv.data(), 9}, secret, out, len, tag);
                wbkit::gcm_decrypt({key, row.encrypt}, {iv.data(), iv_len, iv.data(), 9}, secret, out, len, tag, 16);
            });
    }
}

TEST(Leftovers, OfOtherFunctions) {
    static uint8_t block[16];
    static const uint8_t kPublic[100] = {};
    static const tb_entry aes = aes_key(kTables.data());
    tb_entry table = {};
    table.table = kTables.data();
    static const tb_entry sm4 = table;
    const struct {
        const char *name;
        void (*call)(const uint8_t *secret);
    } functions[] = {
        {"aes_gcm_prepare_j0", [](auto *secret) { aes_gcm_prepare_j0(kPublic, 20, secret, out); }},
        {"ghash", [](auto *secret) { ghash(secret, kPublic, 96, out); }},
        {"gf_mult", [](auto *secret) { gf_mult(secret, secret + 16, out); }},
        {"xor_block", [](auto *secret) { xor_block(out, secret); }},
        {"shift_right_block", [](auto *secret) { shift_right_block(std::copy_n(secret, 16, block) - 16); }},
        {"ShiftRows", [](auto *secret) { ShiftRows(std::copy_n(secret, 16, block) - 16); }},
        {"Cipher", [](auto *secret) { Cipher(std::copy_n(secret, 16, block) - 16, aes); }},
        {"wbsm4", [](auto *secret) { wbsm4(secret, out, sm4); }},
        {"SHA-256",
         [](auto *secret) {
             static sha256_ctx hash;
             sha256_init(&hash);
             sha256_update(&hash, secret, 100);
             sha256_transform(&hash, secret);
             sha256_final(&hash, out);
         }},
        {"PKCS7Padding", [](auto *secret) { PKCS7Padding(secret, 1005, out, 16); }},
        {"ISO10126Padding", [](auto *secret) { ISO10126Padding(secret, 1005, out, 16); }},
        {"PKCS7unPadding",
         [](auto *secret) {
             std::copy_n(secret, 15, block);
             block[15] = 3;
             PKCS7unPadding(block, 16, out, 16);
         }},
    };
    for (const auto &[name, call] : functions) {
        expect_nothing_left(name, call);
    }
}

#if UINTPTR_MAX > UINT32_MAX // elsewhere addresses cannot be told from other words

// Every function behind a native, and the native itself. The secrets are the last tables of both keys, and with them
// all that is made from keystream: texts, subkeys, a signing key; further the text, the library's `sk` and a MAC's key.
class Everything : public test::Natives {
  protected:
    // Writes into the table library.
    static void overwrite(const char *symbol, const uint8_t *bytes, size_t len) {
        auto *at = static_cast<uint8_t *>(dlsym(get_so_handle(nullptr, "natives", test::kNativesVersion), symbol));
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        uint8_t *start = at - reinterpret_cast<uintptr_t>(at) % page;
        ASSERT_EQ(mprotect(start, static_cast<size_t>(at + len - start), PROT_READ | PROT_WRITE), 0) << symbol;
        std::copy_n(bytes, len, at);
    }

    static void make_secret(const uint8_t *secret) {
        overwrite("TboxesLast_k", secret, 4096);
        overwrite("table_s", secret, 4096);
        const std::string sk = test::to_hex(Bytes(secret, secret + 8));
        overwrite("sk", reinterpret_cast<const uint8_t *>(sk.data()), sk.size());
    }

    static test::Arguments arguments(const test::NativeRow &row, const uint8_t *secret) {
        make_secret(secret);
        test::Arguments arguments = test::good_arguments(row, Bytes(secret + 100, secret + 400));
        arguments.arrays["key"] = Bytes(secret + 400, secret + 500);
        return arguments;
    }
};

TEST_F(Everything, OfExportedFunctions) {
    for (const test::NativeRow &row : test::natives()) {
        test::Arguments arguments;
        int64_t len = 0;
        expect_nothing_left(
            row.op, [&](const uint8_t *) { EXPECT_EQ(row.run(arguments, out, len), 0); },
            [&](const uint8_t *secret) {
                arguments = Everything::arguments(row, secret);
                len = kLongest;
            });
    }
}

TEST_F(Everything, OfSubkeysAndMetadata) {
    const auto create_tag = [](auto function, const char *keyid) {
        return [=](const uint8_t *secret) {
            function(nullptr, kXorTable.data(), 50, kXorTable.data(), 20, secret, secret + 16, out, "natives", keyid,
                     test::kNativesVersion);
        };
    };
    expect_nothing_left("aes_gcm_create_tag", create_tag(aes_gcm_create_tag, "k"), make_secret);
    expect_nothing_left("sm4_gcm_create_tag", create_tag(sm4_gcm_create_tag, "s"), make_secret);
    expect_nothing_left(
        "get_ekey",
        [](const uint8_t *) { get_ekey(nullptr, "natives", "k", test::kNativesVersion, out, out + 256, out + 300); },
        make_secret);
}

// What is computed to compare with a wrong token or tag is as secret as the right one.
TEST_F(Everything, OfRefusedCalls) {
    for (const test::NativeRow &row : test::natives()) {
        for (const std::string wrong : {"hash", "input"}) {
            if (!row.takes(wrong) || (wrong != "hash" && !(row.is("gcm") && row.decrypts()))) {
                continue;
            }
            test::Arguments arguments;
            expect_nothing_left(
                row.op + " with a wrong " + wrong,
                [&](const uint8_t *) {
                    test::FakeJni jni;
                    EXPECT_EQ(row(jni, arguments), row.refusal());
                },
                [&](const uint8_t *secret) {
                    arguments = Everything::arguments(row, secret);
                    arguments.arrays[wrong]->back() ^= 1;
                    log_.take();
                });
        }
    }
}

TEST_F(Everything, OfNatives) {
    for (const test::NativeRow &row : test::natives()) {
        test::Arguments arguments;
        bool refused = true;
        expect_nothing_left(
            row.op,
            [&](const uint8_t *) {
                test::FakeJni jni;
                refused = row(jni, arguments) == row.refusal();
            },
            [&](const uint8_t *secret) { arguments = Everything::arguments(row, secret); });
        EXPECT_FALSE(refused) << row.op;
    }
}

#endif

} // namespace
