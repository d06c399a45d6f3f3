// Encodings and tables before they become a library.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "builder/keys/random.h"
#include "builder/tables/aes_tables.h"
#include "builder/tables/column_order.h"
#include "builder/tables/encoding.h"
#include "builder/tables/nibble_code.h"
#include "support/bytes.h"

namespace {

using wbtables::Encoding;
using wbtables::EncodingKind;

using test::Bytes;

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

// The tables of a library show no more of it than this.
TEST(XorTable, IsAffineUnderABijectionFarFromAffine) {
    std::set<std::string> tables;
    for (int i = 0; i < 20; ++i) {
        const wbtables::NibbleCode code(EncodingKind::hardened);
        tables.emplace(code.xor_table().begin(), code.xor_table().end());
        Nibbles f{};
        Nibbles back{};
        for (uint8_t v = 0; v < kNibbles; ++v) {
            f.at(v) = code.stored(v) % 16;
            back.at(f.at(v)) = v;
        }
        EXPECT_EQ(linearity(f), 8);
        // Of a, b in one byte: affine means that the images of a byte and of another add up to that of the sum.
        const auto image = [&](size_t ab) {
            return back.at(code.xor_table().at(f.at(ab / 16) * kNibbles + f.at(ab % 16)));
        };
        for (size_t ab = 0; ab < 256; ++ab) {
            for (size_t bit = 1; bit < 256; bit *= 2) {
                ASSERT_EQ(image(ab ^ bit), image(ab) ^ image(bit) ^ image(0));
            }
        }
    }
    EXPECT_EQ(tables.size(), 20U);
}

TEST(Encoding, EveryPlaceHasAMapOfItsOwn) {
    constexpr size_t kBoundaries = 3;
    const Encoding encoding(EncodingKind::hardened, kBoundaries);
    std::set<std::string> maps;
    for (size_t place = 0; place < kBoundaries * 16; ++place) {
        std::string map;
        for (size_t stored = 0; stored < 256; ++stored) {
            map += static_cast<char>(encoding.plain(place / 16, place % 16, stored));
        }
        maps.insert(map);
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

} // namespace
