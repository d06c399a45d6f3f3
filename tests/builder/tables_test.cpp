// Encodings and tables before they become a library.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "builder/keys/random.h"
#include "builder/tables/aes_tables.h"
#include "builder/tables/column_order.h"
#include "builder/tables/encoding.h"
#include "builder/tables/gf2.h"
#include "builder/tables/nibble_code.h"
#include "key_sets.h"
#include "quen/aes.h"
#include "support/table_source.h"

namespace {

using wbtables::Encoding;
using wbtables::EncodingKind;

using test::Bytes;

Bytes plain(const wbtables::SecretBytes &bytes) {
    return {bytes.begin(), bytes.end()};
}

TEST(Gf2, InvertibleMeansThatNoTwoBytesHaveTheSameImage) {
    int invertible = 0;
    for (int i = 0; i < 200; ++i) {
        std::array<uint8_t, 8> matrix{};
        wbtables::fill_random(matrix);
        std::set<uint8_t> images;
        for (unsigned byte = 0; byte < 256; ++byte) {
            images.insert(wbtables::multiply(matrix, static_cast<uint8_t>(byte)));
        }
        EXPECT_EQ(wbtables::is_invertible(matrix), images.size() == 256);
        invertible += images.size() == 256 ? 1 : 0;
    }
    EXPECT_GT(invertible, 0); // of 200, 58 are to be expected
    EXPECT_LT(invertible, 200);
}

TEST(Random, PermutationsHoldEachNumberOnceAndDiffer) {
    std::array<uint8_t, 16> numbers{};
    std::set<std::array<uint8_t, 16>> seen;
    for (int i = 0; i < 50; ++i) {
        wbtables::random_permutation(numbers);
        EXPECT_EQ((std::set<uint8_t>(numbers.begin(), numbers.end()).size()), 16U);
        EXPECT_LT(*std::ranges::max_element(numbers), 16);
        seen.insert(numbers);
    }
    EXPECT_EQ(seen.size(), 50U);
}

// The bounds are seven and nine standard deviations wide; the usual mistakes are ten and more off.
TEST(Random, IsUniform) {
    std::map<std::array<uint8_t, 3>, int> permutations;
    for (int i = 0; i < 6000; ++i) {
        std::array<uint8_t, 3> permutation{};
        wbtables::random_permutation(permutation);
        ++permutations[permutation];
    }
    EXPECT_EQ(permutations.size(), 6U);
    for (const auto &[permutation, count] : permutations) {
        EXPECT_NEAR(count, 1000, 200);
    }
    int low = 0;
    for (int i = 0; i < 20000; ++i) {
        low += wbtables::random_below(200) < 56 ? 1 : 0;
    }
    EXPECT_NEAR(low, 5600, 600);
}

constexpr size_t kNibbles = 16;
using Nibbles = std::array<uint8_t, kNibbles>;

// The bijection f with f(a) o f(b) = f(a XOR b), up to a linear map, or nothing if there is none. With
// X[f(a)][f(b)] = f(Aa + Bb + c), x o y is the XOR too once what A, B and c do to x and y is undone.
std::optional<Nibbles> derive_bijection(const Bytes &table) {
    Nibbles left{};  // undoes X[x][0]
    Nibbles right{}; // undoes X[0][y]
    for (uint8_t i = 0; i < kNibbles; ++i) {
        left.at(table[i * kNibbles]) = i;
        right.at(table[i]) = i;
    }
    const auto combine = [&](uint8_t x, uint8_t y) { return table.at(left.at(x) * kNibbles + right.at(y)); };
    Nibbles f{};
    f[0] = table[0];
    std::set<uint8_t> taken = {f[0]};
    for (size_t bit = 1; bit < kNibbles; bit *= 2) {
        while (taken.contains(f.at(bit))) {
            ++f.at(bit);
        }
        for (size_t low = 0; low < bit; ++low) {
            f.at(bit + low) = low == 0 ? f.at(bit) : combine(f.at(bit), f.at(low));
            taken.insert(f.at(bit + low));
        }
    }
    for (size_t ab = 0; ab < kNibbles * kNibbles; ++ab) {
        if (combine(f.at(ab / 16), f.at(ab % 16)) != f.at(ab / 16 ^ ab % 16)) {
            return std::nullopt;
        }
    }
    return taken.size() == kNibbles ? std::optional(f) : std::nullopt;
}

int linearity(const Nibbles &f) {
    int most = 0;
    for (unsigned mask = 16; mask < 256; ++mask) { // the output's above the input's
        int sum = 0;
        for (unsigned in = 0; in < kNibbles; ++in) {
            sum += std::popcount(mask & (unsigned{f.at(in)} << 4U | in)) % 2 == 0 ? 1 : -1;
        }
        most = std::max(most, std::abs(sum));
    }
    return most;
}

TEST(XorTable, IsAffineUnderABijectionFarFromAffine) {
    std::set<std::string> tables;
    for (int i = 0; i < 20; ++i) {
        const Bytes table = plain(wbtables::NibbleCode(EncodingKind::hardened).xor_table());
        tables.emplace(table.begin(), table.end());
        const auto f = derive_bijection(table);
        ASSERT_TRUE(f);
        EXPECT_EQ(linearity(*f), 8);
        Nibbles back{};
        for (uint8_t v = 0; v < kNibbles; ++v) {
            back.at(f->at(v)) = v;
        }
        // Of a, b in one byte: affine means that the images of a byte and of another add up to that of the sum.
        const auto image = [&](size_t ab) { return back.at(table.at(f->at(ab / 16) * kNibbles + f->at(ab % 16))); };
        for (size_t ab = 0; ab < 256; ++ab) {
            for (size_t bit = 1; bit < 256; bit *= 2) {
                ASSERT_EQ(image(ab ^ bit), image(ab) ^ image(bit) ^ image(0));
            }
        }
    }
    EXPECT_EQ(tables.size(), 20U);
    EXPECT_EQ(linearity(*derive_bijection(plain(wbtables::NibbleCode(EncodingKind::none).xor_table()))), 16);
}

// What the block function does with a column: the shares of four words, nibble by nibble through the one XOR table,
// must give the stored sum, at every boundary and position, though each has a matrix and masks of its own.
TEST(Encoding, OneXorTableAddsTheSharesEverywhere) {
    constexpr size_t kBoundaries = 3;
    const Encoding encoding(EncodingKind::hardened, kBoundaries);
    const auto add = [&x = encoding.xor_table()](size_t a, size_t b) {
        return x[a / 16 * 16 + b / 16] * size_t{16} + x[a % 16 * 16 + b % 16];
    };
    std::set<std::string> maps;
    for (size_t place = 0; place < kBoundaries * 16; ++place) {
        const size_t boundary = place / 16;
        const size_t position = place % 16;
        Bytes map;
        for (size_t stored = 0; stored < 256; ++stored) {
            map.push_back(encoding.plain(boundary, position, stored));
        }
        EXPECT_EQ((std::set(map.begin(), map.end()).size()), 256U);
        maps.emplace(map.begin(), map.end());
        for (int i = 0; i < 500; ++i) {
            std::array<uint8_t, 4> bytes{};
            wbtables::fill_random(bytes);
            std::array<size_t, 4> words{};
            for (size_t row = 0; row < 4; ++row) {
                words.at(row) = encoding.contribution(boundary, position, row, bytes.at(row));
            }
            ASSERT_EQ(map[add(add(words[0], words[1]), add(words[2], words[3]))],
                      bytes[0] ^ bytes[1] ^ bytes[2] ^ bytes[3]);
        }
    }
    EXPECT_EQ(maps.size(), kBoundaries * 16);
}

TEST(ColumnOrder, IsRandomButWhereTheStateIsPlain) {
    constexpr size_t kTableRounds = 9;
    const wbtables::ColumnOrder order(EncodingKind::hardened, kTableRounds);
    int moved = 0;
    for (size_t round = 0; round <= kTableRounds; ++round) {
        std::set<size_t> positions;
        for (size_t position = 0; position < 16; ++position) {
            const size_t held = order.true_position(round, position);
            positions.insert(held);
            EXPECT_TRUE(held == position || (round > 0 && round < kTableRounds)) << round;
            EXPECT_TRUE(held / 4 == position / 4 || round > 1) << round;
            moved += held / 4 != position / 4 ? 1 : 0;
        }
        EXPECT_EQ(positions.size(), 16U);
    }
    EXPECT_GT(moved, 16); // of 7 rounds, 84 bytes are to be expected
}

TEST(AesTables, WithoutEncodingsAreTheFoldedKeySchedule) {
    for (const size_t key_len : {16U, 24U, 32U}) {
        const Bytes key = test::sample(key_len);
        const auto made = wbtables::make_aes_tables(key, EncodingKind::none);
        const test::AesTables expected = test::fold_aes_key(key);
        EXPECT_EQ(plain(made.round_count), (Bytes{static_cast<uint8_t>(expected.round_count), 0, 0, 0}));
        EXPECT_EQ(plain(made.xor_table), expected.xor_table);
        EXPECT_EQ(plain(made.round_tables), expected.round_tables);
        EXPECT_EQ(plain(made.last_round), expected.last_round);
    }
}

TEST(AesTables, HardenedOnesEncryptAsOpensslDoes) {
    for (const auto algorithm :
         {wbtables::Algorithm::aes128, wbtables::Algorithm::aes192, wbtables::Algorithm::aes256}) {
        const auto key = test::key_of("pay", algorithm);
        Bytes blocks(16 * 50);
        wbtables::fill_random(blocks);
        const Bytes expected = test::openssl_blocks(key, blocks);
        for (int i = 0; i < 10; ++i) {
            const auto made = wbtables::make_aes_tables(key.value, EncodingKind::hardened);
            EXPECT_LT(*std::ranges::max_element(made.xor_table), 16);
            tb_entry entry{};
            entry.Nr = made.round_count[0];
            entry.Xor = made.xor_table.data();
            entry.Tyboxes = made.round_tables.data();
            entry.TboxesLast = made.last_round.data();
            Bytes out = blocks;
            for (size_t at = 0; at < out.size(); at += 16) {
                Cipher(&out[at], entry);
            }
            EXPECT_EQ(out, expected);
        }
    }
}

std::vector<uint32_t> sorted_words(const wbtables::SecretBytes &bytes) {
    std::vector<uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), bytes.size());
    std::ranges::sort(words);
    return words;
}

TEST(AesTables, TwoEncodingsOfOneKeyHaveNothingInCommon) {
    const Bytes key = test::sample(32);
    const auto one = wbtables::make_aes_tables(key, EncodingKind::hardened);
    const auto other = wbtables::make_aes_tables(key, EncodingKind::hardened);
    EXPECT_NE(one.xor_table, other.xor_table);
    std::vector<uint32_t> shared; // wherever they stand
    std::ranges::set_intersection(sorted_words(one.round_tables), sorted_words(other.round_tables),
                                  std::back_inserter(shared));
    EXPECT_LT(shared.size(), one.round_tables.size() / 4 / 100);
    size_t same = 0; // by chance one in 256
    for (size_t at = 0; at < one.last_round.size(); ++at) {
        same += one.last_round[at] == other.last_round[at] ? 1U : 0U;
    }
    EXPECT_LT(same, one.last_round.size() / 50);
}

TEST(Random, RepeatsWithASeedAlone) {
    const auto tables = [](std::optional<uint64_t> seed) {
        wbtables::seed_random(seed);
        const auto made = wbtables::make_aes_tables(test::sample(16), EncodingKind::hardened);
        wbtables::seed_random({});
        return made.round_tables;
    };
    EXPECT_EQ(tables(7), tables(7));
    EXPECT_NE(tables(7), tables(8));
    EXPECT_NE(tables({}), tables({}));
}

} // namespace
