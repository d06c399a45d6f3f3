// Encodings and tables before they become a library.

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "builder/keys/random.h"
#include "builder/tables/aes_tables.h"
#include "builder/tables/encoding.h"
#include "builder/tables/gf2.h"
#include "key_sets.h"
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
        wbtables::Gf2Matrix matrix{};
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

// The bijection f with X[f(a)][f(b)] = f(a XOR b), up to a linear map, or nothing if X has none.
std::optional<std::array<uint8_t, 16>> derive_bijection(const Bytes &table) {
    const auto combine = [&table](uint8_t a, uint8_t b) { return table[16U * a + b]; };
    std::array<uint8_t, 16> f{};
    f[0] = table[0];
    std::set<uint8_t> taken = {f[0]};
    for (size_t bit = 1; bit < 16; bit *= 2) {
        while (taken.contains(f[bit])) {
            ++f[bit];
        }
        for (size_t low = 0; low < bit; ++low) {
            f[bit + low] = low == 0 ? f[bit] : combine(f[bit], f[low]);
            taken.insert(f[bit + low]);
        }
    }
    for (size_t a = 0; a < 16; ++a) {
        for (size_t b = 0; b < 16; ++b) {
            if (combine(f[a], f[b]) != f[a ^ b]) {
                return std::nullopt;
            }
        }
    }
    return taken.size() == 16 ? std::optional(f) : std::nullopt;
}

TEST(Encoding, TheXorTableIsXorUnderSomeBijectionOfNibbles) {
    const Encoding none(EncodingKind::none, 1);
    const Encoding randomised(EncodingKind::randomised, 1);
    const auto f = derive_bijection(plain(none.xor_table()));
    ASSERT_TRUE(f);
    EXPECT_EQ((*f)[5], 5);
    EXPECT_TRUE(derive_bijection(plain(randomised.xor_table())));
    EXPECT_NE(none.xor_table(), randomised.xor_table());
}

// What the block function does with a column: stored contributions, nibble by nibble through the one XOR table, must
// give the stored sum, at every boundary and position, though each has a matrix of its own.
TEST(Encoding, OneXorTableAddsStoredBytesEverywhere) {
    constexpr size_t kBoundaries = 3;
    const Encoding encoding(EncodingKind::randomised, kBoundaries);
    const auto &x = encoding.xor_table();
    std::set<std::string> maps;
    for (size_t place = 0; place < kBoundaries * 16; ++place) {
        const uint8_t *const stored = encoding.to_stored(place / 16, place % 16);
        const uint8_t *const back = encoding.to_plain(place / 16, place % 16);
        maps.emplace(stored, stored + 256);
        for (unsigned a = 0; a < 256; ++a) {
            ASSERT_EQ(back[stored[a]], a);
            for (unsigned b = 0; b < 256; b += 7) {
                const unsigned high = x[stored[a] / 16 * 16U + stored[b] / 16];
                const unsigned low = x[stored[a] % 16 * 16U + stored[b] % 16];
                ASSERT_EQ(high * 16 + low, stored[a ^ b]);
            }
        }
    }
    EXPECT_EQ(maps.size(), kBoundaries * 16);
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

TEST(AesTables, TwoEncodingsOfOneKeyHaveNothingInCommon) {
    const Bytes key = test::sample(32);
    const auto one = wbtables::make_aes_tables(key, EncodingKind::randomised);
    const auto other = wbtables::make_aes_tables(key, EncodingKind::randomised);
    EXPECT_NE(one.xor_table, other.xor_table);
    constexpr size_t kTable = 1024;
    for (size_t at = 0; at < one.round_tables.size(); at += kTable) {
        ASSERT_FALSE(std::equal(&one.round_tables[at], &one.round_tables[at] + kTable, &other.round_tables[at])) << at;
    }
    for (size_t at = 0; at < one.last_round.size(); at += 256) {
        ASSERT_FALSE(std::equal(&one.last_round[at], &one.last_round[at] + 256, &other.last_round[at])) << at;
    }
}

} // namespace
