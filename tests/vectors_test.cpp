// Public vectors through table libraries of the project's own builder: the exported functions, and every kernel.

#include <algorithm>
#include <functional>
#include <utility>

#include <gtest/gtest.h>

#include "folded_vectors.h"
#include "modes/stream.h"
#include "support/forced_kernels.h"

namespace {

using test::Bytes;
using test::FoldedVectors;
using test::mode;
using test::VectorCase;
using wbkit::KernelRow;

struct Mode {
    const char *kind;
    test::ModeFunction encrypt;
    test::ModeFunction decrypt;
    wbkit::StreamMode encrypt_blocks;
    wbkit::StreamMode decrypt_blocks;
};

std::ostream &operator<<(std::ostream &out, const Mode &mode) {
    return out << mode.kind;
}

const Mode kModes[] = {
    {"aes-cfb", mode<aes_WBkit_encrypt_cfb>, mode<aes_WBkit_decrypt_cfb>, wbkit::cfb_encrypt, wbkit::cfb_decrypt},
    {"aes-ofb", mode<aes_WBkit_encrypt_ofb>, mode<aes_WBkit_decrypt_ofb>, wbkit::ofb_crypt, wbkit::ofb_crypt},
    {"aes-ctr", mode<aes_WBkit_encrypt_ctr>, mode<aes_WBkit_decrypt_ctr>, wbkit::ctr_crypt, wbkit::ctr_crypt},
    {"sm4-cfb", mode<wbsm4_cfb_encrypt>, mode<wbsm4_cfb_decrypt>, wbkit::cfb_encrypt, wbkit::cfb_decrypt},
    {"sm4-ofb", mode<wbsm4_ofb_encrypt>, mode<wbsm4_ofb_decrypt>, wbkit::ofb_crypt, wbkit::ofb_crypt},
    {"sm4-ctr", mode<wbsm4_ctr_encrypt>, mode<wbsm4_ctr_decrypt>, wbkit::ctr_crypt, wbkit::ctr_crypt},
};

Bytes through_kernel(const tb_entry &entry, const KernelRow &row, wbkit::StreamMode mode, const Bytes &iv,
                     const Bytes &in) {
    Bytes out(in);
    mode({entry, row.encrypt}, iv.data(), out.data(), out.data(), out.size());
    return out;
}

class StreamVectors : public testing::TestWithParam<Mode> {};

TEST_P(StreamVectors, BothDirections) {
    const Mode &mode = GetParam();
    const FoldedVectors vectors(mode.kind);
    for (const VectorCase &each : vectors.cases()) {
        SCOPED_TRACE(each.where);
        const Bytes iv = each.bytes("iv");
        const Bytes text = each.bytes("msg");
        const Bytes encrypted = each.bytes("ct");
        for (const char *names : test::kKernelSets) {
            const test::ForcedKernels forced(names);
            EXPECT_EQ(vectors.key(each).run(mode.encrypt, iv, text), encrypted) << names;
            EXPECT_EQ(vectors.key(each).run(mode.decrypt, iv, encrypted), text) << names;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, StreamVectors, testing::ValuesIn(kModes), test::kind_of<testing::TestParamInfo<Mode>>);

// The inner loop of NIST's Monte Carlo tests: 1000 operations on one block, each fed with what came before.
class MonteCarlo : public testing::TestWithParam<Mode> {};

Bytes exclusive_or(const Bytes &a, const Bytes &b) {
    Bytes result = a;
    std::transform(a.begin(), a.end(), b.begin(), result.begin(), std::bit_xor<>());
    return result;
}

TEST_P(MonteCarlo, ThousandOperations) {
    const Mode &mode = GetParam();
    const bool cfb = std::string(mode.kind) == "aes-cfb";
    const FoldedVectors vectors(std::string(mode.kind) + "-mct");
    for (const VectorCase &each : vectors.cases()) {
        const bool encrypts = each.word("op") == "encrypt";
        const tb_entry entry = vectors.key(each).entry();
        for (const KernelRow &row : vectors.kernels()) {
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

INSTANTIATE_TEST_SUITE_P(Modes, MonteCarlo, testing::ValuesIn(std::begin(kModes), std::begin(kModes) + 2),
                         test::kind_of<testing::TestParamInfo<Mode>>);

// Blocks by themselves, through the exported block function and through every kernel.
class BlockVectors : public testing::TestWithParam<const char *> {};

TEST_P(BlockVectors, EachByItself) {
    const FoldedVectors vectors(GetParam());
    for (const VectorCase &each : vectors.cases()) {
        const tb_entry entry = vectors.key(each).entry();
        ASSERT_EQ(entry.status, 0) << each.where;
        const Bytes expected = each.bytes("ct");
        Bytes blocks = each.bytes("msg");
        for (size_t i = 0; i < blocks.size(); i += 16) {
            vectors.key(each).encrypt_block(blocks.data() + i);
        }
        EXPECT_EQ(blocks, expected) << each.where;
        for (const KernelRow &row : vectors.kernels()) {
            blocks = each.bytes("msg");
            row.encrypt(entry, blocks.data(), blocks.data(), blocks.size() / 16);
            EXPECT_EQ(blocks, expected) << row.name << ' ' << each.where;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, BlockVectors, testing::Values("aes-block", "sm4-block"),
                         test::kind_of<testing::TestParamInfo<const char *>>);

TEST(BlockVectors, ManyTimesOver) {
    const struct {
        const char *kind;
        const char *in;
        const char *out;
    } kinds[] = {{"aes-block-mct", "in", "out"}, {"sm4-iterate", "msg", "ct"}};
    for (const auto &kind : kinds) {
        const FoldedVectors vectors(kind.kind);
        int64_t encryptions = 0;
        for (const VectorCase &each : vectors.cases()) {
            // The block functions have one direction.
            if (each.fields.contains("op") && each.word("op") != "encrypt") {
                continue;
            }
            const int count = each.fields.contains("count") ? std::stoi(each.word("count")) : 1000;
            const tb_entry entry = vectors.key(each).entry();
            for (const KernelRow &row : vectors.kernels()) {
                Bytes block = each.bytes(kind.in);
                for (int i = 0; i < count; ++i, ++encryptions) {
                    row.encrypt(entry, block.data(), block.data(), 1);
                }
                EXPECT_EQ(block, each.bytes(kind.out)) << row.name << ' ' << each.where;
            }
        }
        EXPECT_GT(encryptions, 0) << kind.kind;
    }
}

} // namespace
