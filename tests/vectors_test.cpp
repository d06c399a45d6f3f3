// Public vectors through table libraries of the project's own builder: the exported functions, and every kernel.
//
// WBKIT_TEST_ENCODING chooses the tables: "none" or "default".

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <span>

#include <gtest/gtest.h>

#include "aes/block.h"
#include "builder/library.h"
#include "modes/stream.h"
#include "quen/aes.h"
#include "quen/sm4.h"
#include "sm4/block.h"
#include "support/temp_dir.h"
#include "support/vector_file.h"

namespace {

using test::Bytes;
using test::VectorCase;

wbtables::EncodingKind encoding() {
    const char *name = getenv("WBKIT_TEST_ENCODING");
    if (name == nullptr || (strcmp(name, "none") != 0 && strcmp(name, "default") != 0)) {
        throw std::runtime_error("WBKIT_TEST_ENCODING is neither none nor default");
    }
    return strcmp(name, "none") == 0 ? wbtables::EncodingKind::none : wbtables::EncodingKind::randomised;
}

struct Coordinates {
    std::string wbid;
    std::string key_id;
};

// Folds keys into table libraries, ten keys each.
class Tables {
  public:
    Tables(const std::vector<VectorCase> &cases, bool sm4) : sm4_(sm4) {
        for (const VectorCase &each : cases) {
            const std::string &key = each.word("key");
            if (coordinates_.contains(key)) {
                continue;
            }
            const std::string id = "k" + std::to_string(pending_.size());
            coordinates_[key] = {"v" + std::to_string(libraries_), id};
            pending_.push_back(each.bytes("key"));
            if (pending_.size() == 10) {
                build();
            }
        }
        if (!pending_.empty()) {
            build();
        }
    }

    const Coordinates &of(const VectorCase &each) const { return coordinates_.at(each.word("key")); }
    std::string dir() const { return dir_.string(); }
    tb_entry entry(const VectorCase &each) const {
        return get_tb_entry(dir().c_str(), of(each).wbid.c_str(), of(each).key_id.c_str(), 1);
    }

  private:
    wbtables::Algorithm algorithm(const Bytes &key) const {
        using wbtables::Algorithm;
        return sm4_               ? Algorithm::sm4
               : key.size() == 16 ? Algorithm::aes128
               : key.size() == 24 ? Algorithm::aes192
                                  : Algorithm::aes256;
    }

    void build() {
        wbtables::KeySet set;
        set.wbid = "v" + std::to_string(libraries_++);
        set.version = 1;
        set.appid = "vectors";
        set.sk = secret(test::bytes_of("sk"));
        set.ak = secret(test::bytes_of("ak"));
        for (size_t i = 0; i < pending_.size(); ++i) {
            wbtables::KeySpec key;
            key.id = "k" + std::to_string(i);
            key.algorithm = algorithm(pending_[i]);
            key.value = secret(pending_[i]);
            set.keys.push_back(std::move(key));
        }
        wbtables::BuildOptions options;
        options.encoding = encoding();
        options.check = false; // the vectors check it
        wbtables::build_library(set, dir_.path(), options);
        pending_.clear();
    }

    static wbtables::SecretBytes secret(const Bytes &bytes) { return {bytes.begin(), bytes.end()}; }

    bool sm4_;
    test::TempDir dir_;
    std::map<std::string, Coordinates> coordinates_;
    std::vector<Bytes> pending_;
    int libraries_ = 0;
};

using Exported = decltype(&aes_WBkit_encrypt_cfb);

struct Mode {
    const char *name;
    const char *kind;
    Exported encrypt;
    Exported decrypt;
    wbkit::StreamMode encrypt_blocks;
    wbkit::StreamMode decrypt_blocks;
};

const Mode kModes[] = {
    {"CFB", "aes-cfb", aes_WBkit_encrypt_cfb, aes_WBkit_decrypt_cfb, wbkit::cfb_encrypt, wbkit::cfb_decrypt},
    {"OFB", "aes-ofb", aes_WBkit_encrypt_ofb, aes_WBkit_decrypt_ofb, wbkit::ofb_crypt, wbkit::ofb_crypt},
    {"CTR", "aes-ctr", aes_WBkit_encrypt_ctr, aes_WBkit_decrypt_ctr, wbkit::ctr_crypt, wbkit::ctr_crypt},
};

std::ostream &operator<<(std::ostream &out, const Mode &mode) {
    return out << mode.name;
}

class AesVectors : public testing::TestWithParam<Mode> {};

Bytes through_library(const Tables &tables, const VectorCase &each, Exported run, const Bytes &iv, const Bytes &in) {
    const Coordinates &key = tables.of(each);
    Bytes out(in.size() + 16);
    int64_t len = -1;
    EXPECT_EQ(run(tables.dir().c_str(), iv.data(), in.data(), in.size(), out.data(), &len, 0, key.wbid.c_str(),
                  key.key_id.c_str(), 1),
              0)
        << each.where;
    out.resize(static_cast<size_t>(len));
    return out;
}

Bytes through_kernel(const tb_entry &entry, const wbkit::KernelRow &row, wbkit::StreamMode mode, const Bytes &iv,
                     const Bytes &in) {
    Bytes out(in);
    mode({entry, row.encrypt}, iv.data(), out.data(), out.data(), out.size());
    return out;
}

TEST_P(AesVectors, BothDirections) {
    const auto cases = test::read_vectors(GetParam().kind);
    const Tables tables(cases, false);
    for (const VectorCase &each : cases) {
        const Bytes iv = each.bytes("iv");
        const Bytes text = each.bytes("msg");
        const Bytes encrypted = each.bytes("ct");
        EXPECT_EQ(through_library(tables, each, GetParam().encrypt, iv, text), encrypted) << each.where;
        EXPECT_EQ(through_library(tables, each, GetParam().decrypt, iv, encrypted), text) << each.where;
        const tb_entry entry = tables.entry(each);
        for (const wbkit::KernelRow &row : wbkit::aes_kernels()) {
            if (row.usable()) {
                EXPECT_EQ(through_kernel(entry, row, GetParam().encrypt_blocks, iv, text), encrypted)
                    << row.name << ' ' << each.where;
                EXPECT_EQ(through_kernel(entry, row, GetParam().decrypt_blocks, iv, encrypted), text)
                    << row.name << ' ' << each.where;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, AesVectors, testing::ValuesIn(kModes),
                         [](const auto &info) { return info.param.name; });

// The inner loop of NIST's Monte Carlo tests: 1000 operations on one block, each fed with what came before.
class AesMonteCarlo : public testing::TestWithParam<Mode> {};

Bytes exclusive_or(const Bytes &a, const Bytes &b) {
    Bytes result = a;
    std::transform(a.begin(), a.end(), b.begin(), result.begin(), std::bit_xor<>());
    return result;
}

TEST_P(AesMonteCarlo, ThousandOperations) {
    const Mode &mode = GetParam();
    const bool cfb = std::string(mode.kind) == "aes-cfb";
    const auto cases = test::read_vectors(std::string(mode.kind) + "-mct");
    const Tables tables(cases, false);
    for (const VectorCase &each : cases) {
        const bool encrypts = each.word("op") == "encrypt";
        const tb_entry entry = tables.entry(each);
        for (const wbkit::KernelRow &row : wbkit::aes_kernels()) {
            if (!row.usable()) {
                continue;
            }
            Bytes iv = each.bytes("iv");
            Bytes in = each.bytes("in");
            Bytes before = iv; // the output before the last one
            for (int i = 0; i < 1000; ++i) {
                const Bytes out =
                    through_kernel(entry, row, encrypts ? mode.encrypt_blocks : mode.decrypt_blocks, iv, in);
                iv = !cfb ? exclusive_or(in, out) : encrypts ? out : in;
                in = std::exchange(before, out);
            }
            EXPECT_EQ(before, each.bytes("out")) << row.name << ' ' << each.where;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, AesMonteCarlo, testing::ValuesIn(std::begin(kModes), std::begin(kModes) + 2),
                         [](const auto &info) { return info.param.name; });

// Blocks by themselves, through the exported block function and through every kernel.
void expect_blocks(const std::string &kind, bool sm4, void (*encrypt_one)(uint8_t *block, const tb_entry &entry),
                   std::span<const wbkit::KernelRow> rows) {
    const auto cases = test::read_vectors(kind);
    const Tables tables(cases, sm4);
    for (const VectorCase &each : cases) {
        const tb_entry entry = tables.entry(each);
        ASSERT_EQ(entry.status, 0) << each.where;
        const Bytes expected = each.bytes("ct");
        Bytes blocks = each.bytes("msg");
        for (size_t i = 0; i < blocks.size(); i += 16) {
            encrypt_one(blocks.data() + i, entry);
        }
        EXPECT_EQ(blocks, expected) << each.where;
        for (const wbkit::KernelRow &row : rows) {
            if (row.usable()) {
                blocks = each.bytes("msg");
                row.encrypt(entry, blocks.data(), blocks.data(), blocks.size() / 16);
                EXPECT_EQ(blocks, expected) << row.name << ' ' << each.where;
            }
        }
    }
}

TEST(BlockVectors, Aes) {
    expect_blocks(
        "aes-block", false, [](uint8_t *block, const tb_entry &entry) { Cipher(block, entry); }, wbkit::aes_kernels());
}

TEST(BlockVectors, AesMonteCarlo) {
    const auto cases = test::read_vectors("aes-block-mct");
    const Tables tables(cases, false);
    size_t encryptions = 0;
    for (const VectorCase &each : cases) {
        // The block function has one direction.
        if (each.word("op") != "encrypt") {
            continue;
        }
        ++encryptions;
        const tb_entry entry = tables.entry(each);
        for (const wbkit::KernelRow &row : wbkit::aes_kernels()) {
            Bytes block = each.bytes("in");
            for (int i = 0; i < 1000 && row.usable(); ++i) {
                row.encrypt(entry, block.data(), block.data(), 1);
            }
            EXPECT_TRUE(!row.usable() || block == each.bytes("out")) << row.name << ' ' << each.where;
        }
    }
    EXPECT_GT(encryptions, 0U);
}

TEST(BlockVectors, Sm4) {
    expect_blocks(
        "sm4-block", true, [](uint8_t *block, const tb_entry &entry) { wbsm4(block, block, entry); },
        wbkit::sm4_kernels());
}

TEST(BlockVectors, Sm4MillionTimes) {
    const auto cases = test::read_vectors("sm4-iterate");
    const Tables tables(cases, true);
    for (const VectorCase &each : cases) {
        const tb_entry entry = tables.entry(each);
        for (const wbkit::KernelRow &row : wbkit::sm4_kernels()) {
            Bytes block = each.bytes("msg");
            for (int i = std::stoi(each.word("count")); i > 0 && row.usable(); --i) {
                row.encrypt(entry, block.data(), block.data(), 1);
            }
            EXPECT_TRUE(!row.usable() || block == each.bytes("ct")) << row.name << ' ' << each.where;
        }
    }
}

} // namespace
