// Every kernel of both ciphers against the definition, and the modes over batches of blocks.

#include <algorithm>
#include <bit>
#include <functional>

#include <gtest/gtest.h>

#include "aes/block.h"
#include "modes/stream.h"
#include "quen/aes.h"
#include "quen/sm4.h"
#include "sm4/block.h"
#include "support/fenced_bytes.h"
#include "support/table_source.h"

namespace {

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

// The block function step by step, as slow as it gets: every look-up with its index written out.
Bytes literal_aes(const test::AesTables &t, Bytes state) {
    const auto x = [&t](unsigned a, unsigned b) { return t.xor_table[a * 16 + b]; };
    const auto shift_rows = [&state] { ShiftRows(state.data()); };
    shift_rows();
    for (size_t r = 0; r + 1 < static_cast<size_t>(t.round_count); ++r) {
        Bytes next(16);
        for (size_t c = 0; c < 4; ++c) {
            const uint8_t *w[4]; // little-endian words: w[j][3] is row 0's byte
            for (size_t j = 0; j < 4; ++j) {
                w[j] = t.round_tables.data() + 4 * ((r * 16 + 4 * c + j) * 256 + state[4 * c + j]);
            }
            for (size_t j = 0; j < 4; ++j) {
                const size_t at = 3 - j;
                const unsigned high = x(x(w[0][at] / 16U, w[1][at] / 16U), x(w[2][at] / 16U, w[3][at] / 16U));
                const unsigned low = x(x(w[0][at] % 16U, w[1][at] % 16U), x(w[2][at] % 16U, w[3][at] % 16U));
                next[4 * c + j] = static_cast<uint8_t>(high * 16 + low);
            }
        }
        state = next;
        shift_rows();
    }
    for (size_t p = 0; p < 16; ++p) {
        state[p] = t.last_round[p * 256 + state[p]];
    }
    return state;
}

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

// SM4 as its tables define it (GB/T 32907-2016, 7.1).
Bytes literal_sm4(const Bytes &table, const Bytes &in) {
    std::vector<uint32_t> x;
    for (size_t i = 0; i < 4; ++i) {
        x.push_back(uint32_t{in[4 * i]} << 24 | uint32_t{in[4 * i + 1]} << 16 | uint32_t{in[4 * i + 2]} << 8 |
                    in[4 * i + 3]);
    }
    for (size_t round = 0; round < 32; ++round) {
        const uint32_t t = x[round + 1] ^ x[round + 2] ^ x[round + 3];
        uint32_t b = 0;
        for (size_t lane = 0; lane < 4; ++lane) {
            b = b << 8 | table[1024 * round + 256 * lane + (t >> (24 - 8 * lane) & 255)];
        }
        x.push_back(x[round] ^ b ^ std::rotl(b, 2) ^ std::rotl(b, 10) ^ std::rotl(b, 18) ^ std::rotl(b, 24));
    }
    Bytes out;
    for (size_t i = 36; i-- > 32;) {
        for (const int shift : {24, 16, 8, 0}) {
            out.push_back(static_cast<uint8_t>(x[i] >> shift));
        }
    }
    return out;
}

using Literal = std::function<Bytes(const Bytes &)>;

// Around every batch width that a kernel may have, in place and apart, with nothing readable in front of the buffers or
// behind them.
void expect_literal(std::span<const KernelRow> rows, const tb_entry &entry, const Literal &literal) {
    const Bytes text = test::sample(300 * kBlock);
    Bytes encrypted;
    for (auto at = text.begin(); at != text.end(); at += kBlock) {
        const Bytes block = literal(Bytes(at, at + kBlock));
        encrypted.insert(encrypted.end(), block.begin(), block.end());
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
        const Literal literal = [&](const Bytes &block) { return literal_aes(key.tables, block); };
        expect_literal(wbkit::aes_kernels(), key.entry, literal);
        Bytes state = test::sample(16);
        Cipher(state.data(), key.entry);
        EXPECT_EQ(state, literal(test::sample(16)));
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
    for (const int32_t rounds : {0, -1, 11, 1000}) {
        key.entry.Nr = rounds;
        key.entry.Tyboxes = nullptr;
        for (const size_t blocks : kSomeCounts) {
            const Bytes text = test::sample(blocks * kBlock);
            Bytes expected = text;
            for (size_t i = 0; i < expected.size(); ++i) {
                if (i % kBlock == 0) {
                    ShiftRows(expected.data() + i);
                }
                expected[i] = key.tables.last_round[i % kBlock * 256 + expected[i]];
            }
            for (const KernelRow &row : usable(wbkit::aes_kernels())) {
                Bytes out(text.size());
                row.encrypt(key.entry, text.data(), out.data(), blocks);
                EXPECT_EQ(out, expected) << row.name << ' ' << rounds << ", " << blocks << " blocks";
            }
        }
    }
}

TEST(Kernels, ShiftRowsFourTimesIsNothing) {
    Bytes state(16);
    for (size_t i = 0; i < 16; ++i) {
        state[i] = static_cast<uint8_t>(i);
    }
    const Bytes start = state;
    ShiftRows(state.data());
    EXPECT_EQ(test::to_hex(state), "00050a0f04090e03080d02070c01060b");
    for (int i = 0; i < 3; ++i) {
        ShiftRows(state.data());
    }
    EXPECT_EQ(state, start);
}

TEST(Kernels, Sm4TablesMayHoldAnything) {
    const Bytes table = test::sample(32768);
    FencedTable fenced(table);
    tb_entry entry = {};
    entry.table = fenced.data();
    const Literal literal = [&](const Bytes &block) { return literal_sm4(table, block); };
    expect_literal(wbkit::sm4_kernels(), entry, literal);
    Bytes in = test::sample(16);
    wbsm4(in.data(), in.data(), entry);
    EXPECT_EQ(in, literal(test::sample(16)));
}

// A cipher to look through: adds 1 to every byte, and counts what it is asked for.
size_t largest_batch;
void add_one(const tb_entry &, const uint8_t *in, uint8_t *out, size_t blocks) {
    largest_batch = std::max(largest_batch, blocks);
    std::transform(in, in + blocks * kBlock, out, [](uint8_t byte) { return static_cast<uint8_t>(byte + 1); });
}

const tb_entry kNoKey = {};
const BlockCipher kAddOne{kNoKey, add_one};

// The modes as SP 800-38A writes them, a byte at a time.
Bytes plain_ctr(Bytes counter, const Bytes &in) {
    Bytes out;
    for (size_t i = 0; i < in.size(); ++i) {
        if (i != 0 && i % 16 == 0) {
            for (size_t j = 16; j-- > 0 && ++counter[j] == 0;) {
            }
        }
        out.push_back(in[i] ^ static_cast<uint8_t>(counter[i % 16] + 1));
    }
    return out;
}

Bytes plain_cfb(const Bytes &iv, const Bytes &in, bool decrypts) {
    Bytes joined = iv; // iv, then the ciphertext
    Bytes out;
    for (size_t i = 0; i < in.size(); ++i) {
        out.push_back(in[i] ^ static_cast<uint8_t>(joined[i / 16 * 16 + i % 16] + 1));
        joined.push_back(decrypts ? in[i] : out[i]);
    }
    return out;
}

Bytes plain_ofb(Bytes output_block, const Bytes &in) {
    Bytes out;
    for (size_t i = 0; i < in.size(); ++i) {
        out.push_back(in[i] ^ ++output_block[i % 16]);
    }
    return out;
}

TEST(Modes, AnyLengthInPlaceAndApart) {
    const struct {
        const char *name;
        wbkit::StreamMode run;
        std::function<Bytes(const Bytes &, const Bytes &)> plain;
    } modes[] = {
        {"cfb_encrypt", wbkit::cfb_encrypt, [](const Bytes &iv, const Bytes &in) { return plain_cfb(iv, in, false); }},
        {"cfb_decrypt", wbkit::cfb_decrypt, [](const Bytes &iv, const Bytes &in) { return plain_cfb(iv, in, true); }},
        {"ofb_crypt", wbkit::ofb_crypt, plain_ofb},
        {"ctr_crypt", wbkit::ctr_crypt, plain_ctr},
    };
    const size_t batch = wbkit::kBatchBlocks * kBlock;
    for (const auto &mode : modes) {
        for (const size_t len : {size_t{0}, size_t{1}, size_t{16}, size_t{17}, size_t{33}, batch - 1, batch, batch + 1,
                                 batch + 16, 3 * batch + 5}) {
            for (const Bytes &iv :
                 {test::sample(16), Bytes(16, 0xff), test::from_hex("00ffffffffffffffffffffffffffff80")}) {
                const Bytes in = test::sample(len, 3);
                const Bytes expected = mode.plain(iv, in);
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
