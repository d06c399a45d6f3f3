// What attacks by correlation get from plain and from hardened tables.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <numeric>

#include <gtest/gtest.h>

#include "builder/audit/attack.h"
#include "builder/keys/random.h"
#include "builder/tables/aes_key_schedule.h"
#include "builder/tables/aes_tables.h"

namespace {

using wbtables::AesTables;
using wbtables::EncodingKind;
using wbtables::SecretBytes;

// Everything is the same in every run.
class Correlation : public testing::Test {
  protected:
    Correlation() { wbtables::seed_random(5); }
    ~Correlation() override { wbtables::seed_random({}); }
    SecretBytes key_ = wbtables::random_bytes(16);
};

wbtables::AesTablesView view_of(const AesTables &tables) {
    return {"", 10, tables.xor_table, tables.round_tables, tables.last_round};
}

unsigned multiply_in_field(unsigned a, unsigned b) {
    unsigned product = 0;
    for (; b != 0; b /= 2, a = wbtables::xtime(static_cast<uint8_t>(a))) {
        product ^= b % 2 * a;
    }
    return product;
}

// The predicted bits for what enters the S-box: of its output, twice it, three times it, and of the field inverse.
uint32_t predicted_bits(uint8_t in) {
    unsigned inverse = 0;
    while (in != 0 && multiply_in_field(inverse, in) != 1) {
        ++inverse;
    }
    const uint32_t u = wbtables::kAesSbox.at(in);
    const uint32_t twice = multiply_in_field(u, 2);
    return u | twice << 8U | (twice ^ u) << 16U | inverse << 24U;
}

uint32_t first_word(const AesTables &tables, size_t position, size_t byte) {
    uint32_t word = 0;
    std::memcpy(&word, &tables.round_tables[(position * 256 + byte) * 4], 4);
    return word;
}

size_t shifted_from(size_t position) {
    return (position + position % 4 * 4) % 16;
}

// How many combinations of the bits of one nibble of a word agree with a prediction for more or less than half of the
// plaintext bytes.
int correlated_combinations(const AesTables &tables, const SecretBytes &key) {
    int correlated = 0;
    for (size_t position = 0; position < 16; ++position) {
        std::array<std::array<int, 32>, 8 * 16> agreeing{}; // [nibble and combination][predicted bit]
        for (size_t byte = 0; byte < 256; ++byte) {
            const uint32_t word = first_word(tables, position, byte);
            const uint32_t predicted = predicted_bits(static_cast<uint8_t>(byte ^ key[shifted_from(position)]));
            for (size_t i = 0; i < agreeing.size(); ++i) {
                const bool odd = std::popcount(word >> (i / 16 * 4) & i % 16) % 2 != 0;
                for (size_t bit = 0; bit < 32; ++bit) {
                    agreeing.at(i).at(bit) += (predicted >> bit & 1U) == (odd ? 1U : 0U) ? 1 : 0;
                }
            }
        }
        for (size_t i = 0; i < agreeing.size(); ++i) {
            correlated += i % 16 == 0 ? 0 : static_cast<int>(32 - std::ranges::count(agreeing.at(i), 128));
        }
    }
    return correlated;
}

TEST_F(Correlation, IsExactlyZeroForTheRightKeyOfHardenedTables) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(correlated_combinations(make_aes_tables(key_, EncodingKind::hardened), key_), 0);
    }
    EXPECT_GT(correlated_combinations(make_aes_tables(key_, EncodingKind::none), key_), 0);
    const AesTables of_another = make_aes_tables(wbtables::random_bytes(16), EncodingKind::hardened);
    EXPECT_GT(correlated_combinations(of_another, key_), 0);
}

struct Ranks {
    int highest = 0;
    int lowest = 0;
};

// How many key bytes the guesses name.
Ranks right_guesses(const wbtables::Correlation &correlation, const SecretBytes &key) {
    Ranks right;
    for (size_t at = 0; at < 16; ++at) {
        right.highest += correlation.bytes.at(at).highest_guess == key[at] ? 1 : 0;
        right.lowest += correlation.bytes.at(at).lowest_guess == key[at] ? 1 : 0;
    }
    return right;
}

TEST_F(Correlation, RanksEveryByteOfAPlainKeyFirst) {
    const AesTables tables = make_aes_tables(key_, EncodingKind::none);
    const auto results = wbtables::correlate(view_of(tables), {200, 1000});
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].traces, 200U);
    EXPECT_EQ(results[1].traces, 1000U);
    for (const auto &result : results) {
        EXPECT_EQ(right_guesses(result, key_).highest, 16);
        EXPECT_NEAR(result.bytes[3].peak.at(key_[3]), 1, 1e-6);
    }
}

// Chance would have 0.75 of 192 bytes rank first. The matrices keep out what the attack looks for, and just that shows:
// the right guess is the one of which there is least.
TEST_F(Correlation, OfHardenedKeysTheHighestPeakTellsNothingAndTheLowestAll) {
    Ranks right;
    for (int i = 0; i < 12; ++i) {
        const SecretBytes key = wbtables::random_bytes(16);
        const AesTables tables = make_aes_tables(key, EncodingKind::hardened);
        const Ranks ranks = right_guesses(wbtables::correlate(view_of(tables), {10000}).at(0), key);
        right.highest += ranks.highest;
        right.lowest += ranks.lowest;
    }
    EXPECT_LE(right.highest, 3);
    EXPECT_EQ(right.lowest, 192);
}

// The words of the first round and their sums, as the block function makes them.
std::array<uint32_t, 28> words_of(const AesTables &tables, const std::array<uint8_t, 16> &plaintext) {
    std::array<uint32_t, 28> words{};
    for (size_t position = 0; position < 16; ++position) {
        words.at(position) = first_word(tables, position, plaintext.at(shifted_from(position)));
    }
    for (size_t sum = 16; sum < 28; ++sum) {
        const uint32_t left = words.at(2 * sum - 32);
        const uint32_t right = words.at(2 * sum - 31);
        for (size_t shift = 0; shift < 32; shift += 4) {
            const uint32_t nibble = tables.xor_table[(left >> shift & 15U) * 16 + (right >> shift & 15U)];
            words.at(sum) |= nibble << shift;
        }
    }
    return words;
}

using Bits = std::array<bool, 150>; // a trace each

double pearson(const Bits &a, const Bits &b) {
    const auto n = static_cast<double>(a.size());
    const double sum_a = static_cast<double>(std::ranges::count(a, true));
    const double sum_b = static_cast<double>(std::ranges::count(b, true));
    const double product = std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
    const double variances = (n * sum_a - sum_a * sum_a) * (n * sum_b - sum_b * sum_b);
    return variances > 0 ? (n * product - sum_a * sum_b) / std::sqrt(variances) : 0;
}

// By the definition, of the same plaintexts, for one byte and some guesses.
TEST_F(Correlation, IsPearsons) {
    constexpr size_t kByte = 6;
    const AesTables tables = make_aes_tables(key_, EncodingKind::hardened);
    wbtables::seed_random(9);
    const auto peaks = wbtables::correlate(view_of(tables), {Bits().size()}).at(0).bytes.at(kByte).peak;
    for (const uint8_t guess : {key_[kByte], uint8_t{0}, uint8_t{201}}) {
        std::array<Bits, 28 * 32> samples{};
        std::array<Bits, 32> predictions{};
        wbtables::seed_random(9);
        for (size_t trace = 0; trace < Bits().size(); ++trace) {
            std::array<uint8_t, 16> plaintext{};
            wbtables::fill_random(plaintext);
            const auto words = words_of(tables, plaintext);
            const uint32_t predicted = predicted_bits(plaintext.at(kByte) ^ guess);
            for (size_t i = 0; i < samples.size(); ++i) {
                samples.at(i).at(trace) = (words.at(i / 32) >> i % 32 & 1U) != 0;
                predictions.at(i % 32).at(trace) = (predicted >> i % 32 & 1U) != 0;
            }
        }
        double peak = 0;
        for (const Bits &sample : samples) {
            for (const Bits &prediction : predictions) {
                peak = std::max(peak, std::abs(pearson(sample, prediction)));
            }
        }
        EXPECT_NEAR(peaks.at(guess), peak, 1e-5) << int{guess};
    }
}

} // namespace
