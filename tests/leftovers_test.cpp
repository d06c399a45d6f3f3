// No operation leaves a secret on its dead stack: with two secrets, every byte of it is the same.

#include <gtest/gtest.h>
#include <ucontext.h>

#include <algorithm>
#include <functional>

#include "aes/block.h"
#include "aes/gcm.h"
#include "aes/ghash_kernel.h"
#include "hash/sha256_kernel.h"
#include "modes/stream.h"
#include "quen/hash.h"
#include "sm4/block.h"
#include "support/table_source.h"

namespace {

using test::Bytes;

constexpr size_t kLongest = 5000;

std::function<void()> work;

// Runs `work` on a stack of zeros, and returns what that looks like afterwards. It starts with the same registers every
// time, as functions keep their callers' on the stack.
const Bytes &used_stack() {
    static Bytes stack(size_t{1} << 19);
    static ucontext_t tester;
    static const ucontext_t start = [] {
        ucontext_t context;
        getcontext(&context);
        context.uc_stack.ss_sp = stack.data();
        context.uc_stack.ss_size = stack.size();
        context.uc_link = &tester;
        makecontext(
            &context, +[] { work(); }, 0);
        return context;
    }();
    static const Bytes first_words(stack);
    stack = first_words; // what makecontext has put there
    static ucontext_t tested;
    tested = start;
    swapcontext(&tester, &tested);
    return stack;
}

void expect_nothing_left(const std::string &name, const std::function<void(const uint8_t *secret)> &operation) {
    Bytes secret = test::sample(kLongest, 76);
    work = [&] { operation(secret.data()); };
    used_stack(); // once, for what happens once in a process
    const Bytes first = used_stack();
    std::ranges::copy(test::sample(kLongest, 77), secret.begin());
    const Bytes &second = used_stack();
    size_t left = 0;
    size_t depth = 0;
    for (size_t i = first.size(); i-- > 0;) {
        if (first[i] != second[i]) {
            ++left;
            depth = first.size() - i;
        }
    }
    EXPECT_EQ(left, 0U) << name << ": bytes left, down to a depth of " << depth;
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

} // namespace
