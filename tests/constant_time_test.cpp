// What the time of operations depends on, watched by valgrind's memcheck: secrets count as uninitialised, and every
// branch and every address that depends on such bytes is an error. What a comparison answers may be known.

#include <dlfcn.h>
#include <valgrind/memcheck.h>

#include "aes/ghash_kernel.h"
#include "hash/sha256_kernel.h"
#include "natives_table.h"
#include "quen/natives.h"
#include "quen/wbkit.h"
#include "support/forced_kernels.h"
#include "support/secret.h"

// The library's two comparisons: the linker leads their callers here.
extern "C" {

bool __real__ZN5wbkit22equal_in_constant_timeEPKvS1_m(const void *a, const void *b, size_t size);
int32_t __real__ZN5wbkit22order_in_constant_timeEPKvS1_m(const void *a, const void *b, size_t size);

bool __wrap__ZN5wbkit22equal_in_constant_timeEPKvS1_m(const void *a, const void *b, size_t size) {
    bool equal = __real__ZN5wbkit22equal_in_constant_timeEPKvS1_m(a, b, size);
    VALGRIND_MAKE_MEM_DEFINED(&equal, sizeof equal);
    return equal;
}

int32_t __wrap__ZN5wbkit22order_in_constant_timeEPKvS1_m(const void *a, const void *b, size_t size) {
    int32_t order = __real__ZN5wbkit22order_in_constant_timeEPKvS1_m(a, b, size);
    VALGRIND_MAKE_MEM_DEFINED(&order, sizeof order);
    return order;
}
}

namespace {

using test::Bytes;

void hide(const void *secret, size_t size) {
    VALGRIND_MAKE_MEM_UNDEFINED(secret, size);
}

void show(const void *secret, size_t size) {
    VALGRIND_MAKE_MEM_DEFINED(secret, size);
}

Bytes secret(size_t size) {
    Bytes bytes = test::sample(size, 78);
    hide(bytes.data(), size);
    return bytes;
}

// Errors that memcheck finds in an operation.
template <typename Operation>
unsigned errors_in(Operation operation) {
    const unsigned before = VALGRIND_COUNT_ERRORS;
    operation();
    return VALGRIND_COUNT_ERRORS - before;
}

class ConstantTime : public test::Natives {
  protected:
    static void SetUpTestSuite() { ASSERT_NE(RUNNING_ON_VALGRIND, 0U) << "runs under valgrind alone"; }
};

// The tables of the last round, as long as this lives: whatever a cipher makes of known blocks is secret, but where it
// looks it up is not. With them all keystream is secret, GCM's subkey and mask, expected tags, a signing key, MACs and
// texts.
class SecretTables {
  public:
    SecretTables() {
        for (const auto &[from, size] : tables_) {
            hide(from, size);
        }
    }
    ~SecretTables() {
        for (const auto &[from, size] : tables_) {
            show(from, size);
        }
    }
    SecretTables(const SecretTables &) = delete;
    SecretTables &operator=(const SecretTables &) = delete;

  private:
    static const uint8_t *table(const char *symbol) {
        return static_cast<const uint8_t *>(dlsym(get_so_handle(nullptr, "natives", test::kNativesVersion), symbol));
    }
    std::pair<const uint8_t *, size_t> tables_[2] = {{table("TboxesLast_k"), 4096},
                                                     {table("table_s") + 31 * 1024, 1024}};
};

TEST_F(ConstantTime, OfExportedFunctions) {
    for (const char *kernels : test::kKernelSets) {
        const test::ForcedKernels forced(kernels);
        for (const test::NativeRow &row : test::natives()) {
            if (!row.encrypts() && !row.decrypts() && !row.takes("data") && row.op != "hmac") {
                continue; // has no secret but texts of the library
            }
            // Where one block is made from another, what is looked up next is secret: a block alone. GCM's counter is,
            // where the IV is hashed: one that is not.
            const bool chained = row.is("ofb") || (row.is("cfb") && row.encrypts());
            test::Arguments arguments =
                test::good_arguments(row, test::sample(chained ? 16 : 300), row.is("gcm") ? 12 : 16);
            for (const auto &[name, hidden] : {std::pair("input", row.encrypts()),
                                               {"message", row.op == "hmac"},
                                               {"key", row.op == "hmac"},
                                               {"data", true},
                                               {"sig", true}}) {
                if (row.takes(name) && hidden) {
                    hide(arguments.arrays[name]->data(), arguments[name].size());
                }
            }
            const SecretTables hidden;
            Bytes out(1000);
            int64_t len = 1000;
            int64_t status = -1;
            EXPECT_EQ(errors_in([&] { status = row.run(arguments, out.data(), len); }), 0U)
                << row.op << ", " << kernels;
            EXPECT_EQ(status, 0) << row.op;
        }
    }
}

TEST_F(ConstantTime, OfTokens) {
    const Bytes caller = test::bytes_of("com.example.app.caller");
    const Bytes wbid = test::bytes_of("natives");
    for (Bytes token : {test::natives_token("natives"), test::sample(32)}) {
        const bool right = token == test::natives_token("natives");
        hide(token.data(), token.size());
        int32_t status = 1;
        EXPECT_EQ(
            errors_in([&] { status = check_is_valid_call(token.data(), 32, caller.data(), 22, wbid.data(), 7, 2); }),
            0U);
        EXPECT_EQ(status, right ? 0 : -1);
    }
}

TEST_F(ConstantTime, OfHashes) {
    const Bytes data = secret(640);
    for (const wbkit::GhashRow &row : wbkit::ghash_kernels()) {
        for (const size_t blocks : {1U, 2U, 5U, 40U}) {
            wbkit::GhashState state = {};
            hide(state.h, sizeof state.h);
            hide(state.y, sizeof state.y);
            EXPECT_TRUE(!row.usable() || errors_in([&] { row.absorb(state, data.data(), blocks); }) == 0) << row.name;
        }
    }
    for (const wbkit::Sha256Row &row : wbkit::sha256_kernels()) {
        uint32_t state[8];
        hide(state, sizeof state);
        EXPECT_TRUE(!row.usable() || errors_in([&] { row.compress(state, data.data(), 10); }) == 0) << row.name;
    }
    uint8_t block[16];
    EXPECT_EQ(errors_in([&] {
                  gf_mult(data.data(), data.data() + 16, block);
                  xor_block(block, data.data());
                  shift_right_block(block);
                  ghash(data.data(), data.data(), 100, block);
                  aes_gcm_prepare_j0(data.data(), 20, data.data(), block);
                  aes_gcm_create_tag(nullptr, data.data(), 50, data.data(), 20, data.data(), test::sample(16).data(),
                                     block, "natives", "k", 2);
              }),
              0U);
}

// What does depend on secrets is noticed: in a comparison as it must not be, and in what is known to be so.
TEST_F(ConstantTime, LeaksAreNoticed) {
    const Bytes a = secret(32);
    const Bytes b(a);
    EXPECT_NE(errors_in([&] {
                  volatile size_t same = 0;
                  while (same < 32 && a[same] == b[same]) {
                      same = same + 1;
                  }
              }),
              0U);
    // The block functions look tables up at secret positions.
    Bytes state = secret(16);
    const tb_entry key = get_tb_entry(nullptr, "natives", "k", 2);
    EXPECT_NE(errors_in([&] { Cipher(state.data(), key); }), 0U);
    // A padding's length comes out.
    const test::NativeRow &row = test::native("de_aes_ctr");
    test::Arguments arguments = test::good_arguments(row, Bytes(16, 4));
    arguments.numbers["padding"] = 1;
    const SecretTables hidden;
    int64_t len = 16;
    EXPECT_NE(errors_in([&] { row.run(arguments, state.data(), len); }), 0U);
}

} // namespace
