#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "aes/block.h"
#include "aes/gcm.h"
#include "aes/ghash_kernel.h"
#include "case.h"
#include "fake_jni.h"
#include "hash/sha256.h"
#include "hash/sha256_constants.h"
#include "hash/sha256_kernel.h"
#include "keys.h"
#include "literal.h"
#include "modes/stream.h"
#include "quen/hash.h"
#include "quen/natives.h"
#include "sm4/block.h"
#include "support/byte_order.h"

namespace bench {
namespace {

using wbkit::BlockCipher;

// The GHASH kernel that a CPU has for which an AES kernel is the best.
constexpr struct {
    const char *aes;
    const char *ghash;
} kCompanions[] = {
    {"vbmi", "vpclmul"}, {"avx2", "pclmul"}, {"ssse3", "pclmul"}, {"neon", "pmull"}, {"portable", "portable"},
};

std::string companion_of(const std::string &aes) {
    for (const auto &pair : kCompanions) {
        if (aes == pair.aes) {
            return pair.ghash;
        }
    }
    throw std::runtime_error("which GHASH goes with " + aes + '?');
}

constexpr struct {
    const char *operation;
    const wbkit::CipherFamily &family;
    wbkit::StreamMode run;
    literal::Mode literal;
} kStreams[] = {
    {kCtr, wbkit::kAes, wbkit::ctr_crypt, literal::ctr_crypt},
    {kCfbDecrypt, wbkit::kAes, wbkit::cfb_decrypt, literal::cfb_decrypt},
    {kCfbEncrypt, wbkit::kAes, wbkit::cfb_encrypt, literal::cfb_encrypt},
    {kOfb, wbkit::kAes, wbkit::ofb_crypt, literal::ofb_crypt},
    {kSm4Ctr, wbkit::kSm4, wbkit::ctr_crypt, literal::ctr_crypt},
    {kSm4CfbDecrypt, wbkit::kSm4, wbkit::cfb_decrypt, literal::cfb_decrypt},
    {kSm4CfbEncrypt, wbkit::kSm4, wbkit::cfb_encrypt, literal::cfb_encrypt},
    {kSm4Ofb, wbkit::kSm4, wbkit::ofb_crypt, literal::ofb_crypt},
};

// Rows of any kernel table that this CPU can run.
template <typename Row, typename Action>
void for_usable(std::span<const Row> rows, Action action) {
    for (const Row &row : rows) {
        if (row.usable()) {
            action(row);
        }
    }
}

void add_stream_cases(std::vector<Case> &cases, const Keys &keys) {
    for (const auto &stream : kStreams) {
        const bool aes = &stream.family == &wbkit::kAes;
        const tb_entry &entry = aes ? keys.aes() : keys.sm4();
        const literal::Cipher cipher{aes ? literal::aes_block : literal::sm4_block, entry};
        cases.push_back({stream.operation, kLiteral, [mode = stream.literal, cipher](auto *in, auto *out, size_t len) {
                             mode(cipher, Keys::kIv, in, out, len);
                         }});
        for_usable(stream.family.kernels(), [&](const wbkit::KernelRow &row) {
            cases.push_back({stream.operation, row.name,
                             [mode = stream.run, &entry, kernel = row.encrypt](auto *in, auto *out, size_t len) {
                                 mode(BlockCipher{entry, kernel}, Keys::kIv, in, out, len);
                             }});
        });
    }
}

void add_gcm_cases(std::vector<Case> &cases, const Keys &keys) {
    const tb_entry &entry = keys.aes();
    cases.push_back({kGcm, kLiteral, [&entry](auto *in, auto *out, size_t len) {
                         if (!literal::gcm_encrypt({literal::aes_block, entry}, Keys::kIv, {in, 0}, {in, len}, out)) {
                             throw std::bad_alloc();
                         }
                     }});
    for_usable(wbkit::aes_kernels(), [&](const wbkit::KernelRow &row) {
        cases.push_back({kGcm, row.name,
                         [&entry, kernel = row.encrypt](auto *in, auto *out, size_t len) {
                             gcm_encrypt(BlockCipher{entry, kernel}, {Keys::kIv, Keys::kGcmIvLen, nullptr, 0}, in, out,
                                         len, out + len);
                         },
                         companion_of(row.name)});
    });
}

// GHASH of the text and of the block of its lengths behind it.
void add_ghash_cases(std::vector<Case> &cases, const Keys &keys) {
    uint8_t h[16] = {};
    literal::aes_block(h, keys.aes());
    std::array<uint8_t, 16> subkey{};
    std::copy_n(h, 16, subkey.begin());
    cases.push_back({kGhash, kLiteral, [subkey](auto *in, auto *out, size_t len) {
                         if (!literal::gcm_hash(subkey.data(), {in, len}, {in, 0}, out)) {
                             throw std::bad_alloc();
                         }
                     }});
    for_usable(wbkit::ghash_kernels(), [&](const wbkit::GhashRow &row) {
        cases.push_back({kGhash, row.name, [subkey, absorb = row.absorb](auto *in, auto *out, size_t len) {
                             wbkit::GhashState state;
                             memcpy(state.h, subkey.data(), subkey.size());
                             absorb(state, in, len / 16);
                             uint8_t lengths[16] = {};
                             wbkit::store_be64(lengths, uint64_t{8} * len);
                             absorb(state, lengths, 1);
                             memcpy(out, state.y, sizeof state.y);
                         }});
    });
}

// A kernel inside a whole hash: what it leaves to do is the padding.
void hash_with(wbkit::Sha256Kernel compress, const uint8_t *in, size_t len, uint8_t *digest) {
    uint32_t state[8];
    memcpy(state, wbkit::kSha256Constants.initial, sizeof state);
    const size_t blocks = len / wbkit::kSha256BlockSize;
    if (blocks != 0) {
        compress(state, in, blocks);
    }
    uint8_t last[wbkit::kSha256BlockSize] = {};
    const size_t rest = len % sizeof last; // below 56 for every size that is measured
    memcpy(last, in + len - rest, rest);
    last[rest] = 0x80;
    wbkit::store_be64(last + sizeof last - 8, uint64_t{8} * len);
    compress(state, last, 1);
    for (size_t i = 0; i < 8; ++i) {
        wbkit::store_be32(digest + 4 * i, state[i]);
    }
}

void add_sha256_cases(std::vector<Case> &cases) {
    cases.push_back({kSha256, kLiteral, [](auto *in, auto *out, size_t len) { literal::sha256(in, len, out); }});
    for_usable(wbkit::sha256_kernels(), [&](const wbkit::Sha256Row &row) {
        cases.push_back({kSha256, row.name, [compress = row.compress](auto *in, auto *out, size_t len) {
                             hash_with(compress, in, len, out);
                         }});
    });
}

// The arguments of a native call in a virtual machine of its own.
struct NativeCall {
    FakeJni jni;
    jbyteArray hash;
    jbyteArray caller = text(Keys::kCaller);
    jbyteArray iv = jni.array(Keys::kIv, Keys::kGcmIvLen);
    jbyteArray input;
    jbyteArray aad = jni.array(nullptr, 0);
    jbyteArray wbid = text(Keys::kWbid);
    jbyteArray keyid = text(Keys::kAesId);

    explicit NativeCall(size_t len) {
        const std::string message = std::string(Keys::kWbid) + Keys::kCaller;
        uint8_t token[32];
        if (hmac_sha256(reinterpret_cast<const uint8_t *>(message.data()), message.size(),
                        reinterpret_cast<const uint8_t *>(Keys::kSk), sizeof Keys::kSk - 1, token) != 0) {
            throw std::bad_alloc();
        }
        hash = jni.array(token, sizeof token);
        input = jni.array(std::vector<uint8_t>(len).data(), len);
    }
    jbyteArray text(const char *text) { return jni.array(text, strlen(text)); }

    void run(decltype(&WBkit_AES_GCM_encrypt) native, const uint8_t *in, uint8_t *out, size_t len) {
        FakeJni::fill(input, in, len);
        const auto &result =
            FakeJni::bytes(native(jni.env(), nullptr, hash, caller, iv, input, aad, wbid, keyid, Keys::kVersion));
        std::ranges::copy(result, out);
    }
};

void add_native_cases(std::vector<Case> &cases) {
    const struct {
        const char *row;
        decltype(&WBkit_AES_GCM_encrypt) native;
        const char *forced;
    } rows[] = {
        {kLiteral, literal::gcm_native, ""},
        {"best kernels", WBkit_AES_GCM_encrypt, ""},
        {"portable", WBkit_AES_GCM_encrypt, "portable"},
    };
    constexpr size_t kShort = kSizes[0];
    for (const auto &row : rows) {
        cases.push_back({kNative, row.row,
                         [call = std::make_shared<NativeCall>(kShort),
                          native = row.native](auto *in, auto *out, size_t len) { call->run(native, in, out, len); },
                         row.forced, std::span(kSizes).first(1)});
    }
}

} // namespace

std::vector<Case> all_cases(const Keys &keys) {
    std::vector<Case> cases;
    add_stream_cases(cases, keys);
    add_gcm_cases(cases, keys);
    add_ghash_cases(cases, keys);
    add_sha256_cases(cases);
    add_native_cases(cases);
    add_openssl_cases(cases, keys);
    return cases;
}

} // namespace bench
