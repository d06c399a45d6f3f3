// Every kernel of both ciphers against the definition, and the modes over batches of blocks.

#include <algorithm>

#include <gtest/gtest.h>

#include "aes/block.h"
#include "bench/literal.h"
#include "modes/stream.h"
#include "quen/aes.h"
#include "quen/sm4.h"
#include "sm4/block.h"
#include "support/fenced_bytes.h"
#include "support/table_source.h"

namespace {

namespace literal = bench::literal;
using test::Bytes;
using test::FencedBytes;
using wbkit::BlockCipher;
using wbkit::KernelRow;

constexpr size_t kBlock = wbkit::kBlockSize;

// Tables that end where nobody may read on.
class FencedTable : public FencedBytes {
  public:
    explicit FencedTable(const Bytes &table) : FencedBytes(table.size(), Fence::behind) { fill(table); }
};

// Tables of an AES key, of which XOR table and round tables may be anything.
struct AesKey {
    test::AesTables tables;
    FencedTable xor_table{tables.xor_table};
    FencedTable round_tables{tables.round_tables};
    FencedTable last_round{tables.last_round};
    tb_entry entry = {};

    explicit AesKey(test::AesTables folded) : tables(std::move(folded)) {
        entry.Nr = tables.round_count;
        entry.Xor = xor_table.data();
        entry.Tyboxes = round_tables.data();
        entry.TboxesLast = last_round.data();
    }
};

test::AesTables random_tables(int32_t round_count, uint32_t seed) {
    Bytes xor_table = test::sample(256, seed);
    std::ranges::transform(xor_table, xor_table.begin(), [](uint8_t b) { return static_cast<uint8_t>(b & 15); });
    return {round_count, xor_table, test::sample(static_cast<size_t>(round_count - 1) * 16384, seed + 1),
            test::sample(4096, seed + 2)};
}

// The rows that this CPU can run; the definition at least.
std::vector<KernelRow> usable(std::span<const KernelRow> rows) {
    std::vector<KernelRow> result;
    std::ranges::copy_if(rows, std::back_inserter(result), [](const KernelRow &row) { return row.usable(); });
    EXPECT_FALSE(result.empty());
    return result;
}

// Around every batch width that a kernel may have, in place and apart, with nothing readable in front of the buffers or
// behind them.
void expect_literal(std::span<const KernelRow> rows, const tb_entry &entry, literal::BlockFunction encrypt) {
    const Bytes text = test::sample(300 * kBlock);
    Bytes encrypted = text;
    for (size_t at = 0; at < encrypted.size(); at += kBlock) {
        encrypt(&encrypted[at], entry);
    }
    std::vector<size_t> counts{127, 128, 129, 191, 192, 255, 256, 257, 300};
    for (size_t blocks = 0; blocks <= 70; ++blocks) {
        counts.push_back(blocks);
    }
    for (const KernelRow &row : usable(rows)) {
        for (const size_t blocks : counts) {
            const Bytes expected(encrypted.begin(), encrypted.begin() + static_cast<ptrdiff_t>(blocks * kBlock));
            for (const auto fence : {FencedBytes::Fence::in_front, FencedBytes::Fence::behind}) {
                FencedBytes in(blocks * kBlock, fence);
                FencedBytes out(blocks * kBlock, fence);
                in.fill(text);
                row.encrypt(entry, in.data(), out.data(), blocks);
                EXPECT_EQ(out.bytes(), expected) << row.name << ", " << blocks << " blocks";
                row.encrypt(entry, in.data(), in.data(), blocks);
                EXPECT_EQ(in.bytes(), expected) << row.name << ", " << blocks << " blocks in place";
            }
            // Unaligned.
            Bytes buffer(blocks * kBlock + 2, 0xee);
            std::copy_n(text.begin(), blocks * kBlock, buffer.begin() + 1);
            row.encrypt(entry, buffer.data() + 1, buffer.data() + 1, blocks);
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), buffer.begin() + 1)) << row.name << ' ' << blocks;
            EXPECT_TRUE(buffer.front() == 0xee && buffer.back() == 0xee) << row.name << ' ' << blocks;
        }
    }
}

TEST(Kernels, AesTablesMayHoldAnything) {
    for (const int32_t rounds : {10, 12, 14}) {
        const AesKey key(random_tables(rounds, static_cast<uint32_t>(rounds)));
        expect_literal(wbkit::aes_kernels(), key.entry, literal::aes_block);
        Bytes state = test::sample(16);
        Bytes expected = state;
        Cipher(state.data(), key.entry);
        literal::aes_block(expected.data(), key.entry);
        EXPECT_EQ(state, expected);
    }
}

// Single blocks, and batches of every kind.
constexpr size_t kSomeCounts[] = {1, 3, 40, 64, 129};

// What comes out means nothing, as long as it comes from inside the tables.
TEST(Kernels, AesXorEntriesBeyondANibbleStayInsideTheTable) {
    test::AesTables tables = random_tables(10, 4);
    for (const Bytes &entries : {Bytes(256, 0xff), test::sample(256, 9)}) {
        tables.xor_table = entries;
        const AesKey key(tables);
        for (const KernelRow &row : usable(wbkit::aes_kernels())) {
            for (const size_t blocks : kSomeCounts) {
                FencedBytes text(blocks * kBlock, FencedBytes::Fence::behind);
                row.encrypt(key.entry, text.data(), text.data(), blocks);
            }
        }
    }
}

TEST(Kernels, AesWithoutAnAesRoundCountTakesTheLastRoundAlone) {
    AesKey key(random_tables(10, 5));
    tb_entry last_round_alone = key.entry;
    last_round_alone.Nr = 1;
    for (const int32_t rounds : {0, -1, 11, 1000}) {
        key.entry.Nr = rounds;
        key.entry.Tyboxes = nullptr;
        for (const size_t blocks : kSomeCounts) {
            const Bytes text = test::sample(blocks * kBlock);
            Bytes expected = text;
            for (size_t at = 0; at < expected.size(); at += kBlock) {
                literal::aes_block(&expected[at], last_round_alone);
            }
            for (const KernelRow &row : usable(wbkit::aes_kernels())) {
                Bytes out(text.size());
                row.encrypt(key.entry, text.data(), out.data(), blocks);
                EXPECT_EQ(out, expected) << row.name << ' ' << rounds << ", " << blocks << " blocks";
            }
        }
    }
}

TEST(Kernels, ShiftRows) {
    Bytes state = test::from_hex("000102030405060708090a0b0c0d0e0f");
    ShiftRows(state.data());
    EXPECT_EQ(test::to_hex(state), "00050a0f04090e03080d02070c01060b");
}

TEST(Kernels, Sm4TablesMayHoldAnything) {
    FencedTable table(test::sample(32768));
    tb_entry entry = {};
    entry.table = table.data();
    expect_literal(wbkit::sm4_kernels(), entry, literal::sm4_block);
    Bytes block = test::sample(16);
    Bytes expected = block;
    wbsm4(block.data(), block.data(), entry);
    literal::sm4_block(expected.data(), entry);
    EXPECT_EQ(block, expected);
}

// A cipher to look through: adds 1 to every byte, and counts what it is asked for.
size_t largest_batch;
void add_one(const tb_entry &, const uint8_t *in, uint8_t *out, size_t blocks) {
    largest_batch = std::max(largest_batch, blocks);
    std::transform(in, in + blocks * kBlock, out, [](uint8_t byte) { return static_cast<uint8_t>(byte + 1); });
}
void add_one_to_block(uint8_t state[16], tb_entry key) {
    add_one(key, state, state, 1);
}

const tb_entry kNoKey = {};
const BlockCipher kAddOne{kNoKey, add_one};
const literal::Cipher kLiteralAddOne{add_one_to_block, kNoKey};

TEST(Modes, AnyLengthInPlaceAndApart) {
    const struct {
        const char *name;
        wbkit::StreamMode run;
        literal::Mode plain;
    } modes[] = {
        {"cfb_encrypt", wbkit::cfb_encrypt, literal::cfb_encrypt},
        {"cfb_decrypt", wbkit::cfb_decrypt, literal::cfb_decrypt},
        {"ofb_crypt", wbkit::ofb_crypt, literal::ofb_crypt},
        {"ctr_crypt", wbkit::ctr_crypt, literal::ctr_crypt},
    };
    const size_t batch = wbkit::kBatchBlocks * kBlock;
    for (const auto &mode : modes) {
        for (const size_t len : {size_t{0}, size_t{1}, size_t{16}, size_t{17}, size_t{33}, batch - 1, batch, batch + 1,
                                 batch + 16, 3 * batch + 5}) {
            for (const Bytes &iv :
                 {test::sample(16), Bytes(16, 0xff), test::from_hex("00ffffffffffffffffffffffffffff80")}) {
                const Bytes in = test::sample(len, 3);
                Bytes expected(len);
                mode.plain(kLiteralAddOne, iv.data(), in.data(), expected.data(), len);
                Bytes out(len);
                mode.run(kAddOne, iv.data(), in.data(), out.data(), len);
                EXPECT_EQ(out, expected) << mode.name << ' ' << len;
                out = in;
                mode.run(kAddOne, iv.data(), out.data(), out.data(), len);
                EXPECT_EQ(out, expected) << mode.name << ' ' << len << " in place";
            }
        }
    }
}

TEST(Modes, CtrAndCfbDecryptionAskForManyBlocks) {
    const Bytes in = test::sample(2 * wbkit::kBatchBlocks * kBlock);
    Bytes out(in.size());
    for (const auto run : {wbkit::ctr_crypt, wbkit::cfb_decrypt}) {
        largest_batch = 0;
        run(kAddOne, in.data(), in.data(), out.data(), in.size());
        EXPECT_EQ(largest_batch, wbkit::kBatchBlocks);
    }
}

TEST(Kernels, TheFirstUsableRowIsChosen) {
    const KernelRow rows[] = {
        {"never", [] { return false; }, nullptr},
        {"best", [] { return true; }, add_one},
        {"last", [] { return false; }, wbkit::aes_encrypt_blocks_portable},
    };
    EXPECT_EQ(wbkit::choose_kernel(rows), add_one);
    EXPECT_EQ(wbkit::choose_kernel(std::span(rows).last(1)), wbkit::aes_encrypt_blocks_portable) << "whatever it says";
}

} // namespace
