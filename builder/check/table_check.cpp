#include "builder/check/table_check.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <span>

#include <fmt/format.h>

#include "builder/keys/key_set.h"
#include "builder/reader/nibble_decoding.h"
#include "builder/tables/sm4_key_schedule.h"

namespace wbtables {
namespace {

constexpr std::size_t kPositions = 16;
constexpr std::size_t kBytes = 256;
constexpr std::size_t kWordBytes = 4;
constexpr std::size_t kNibbles = 16;

using Nibbles = std::array<std::uint8_t, kNibbles>;

// The `count` entries from `first` on, `stride` apart, are 0 to count - 1 in some order.
bool is_permutation(std::span<const std::uint8_t> table, std::size_t first, std::size_t stride, std::size_t count) {
    std::bitset<kBytes> taken;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t entry = table[first + i * stride];
        if (entry >= count || taken.test(entry)) {
            return false;
        }
        taken.set(entry);
    }
    return true;
}

// f(a + b) + f(0) = f(a) + f(b), + being XOR.
bool is_affine(const Nibbles &f) {
    for (std::size_t a = 0; a < kNibbles; ++a) {
        for (std::size_t b = 0; b < kNibbles; ++b) {
            if ((f[a ^ b] ^ f[0]) != (f[a] ^ f[b])) {
                return false;
            }
        }
    }
    return true;
}

// A column is X[X[a][b]][X[d][e]] of four words, nibble by nibble, and has to be what XOR makes of them, seen through a
// bijection for each word and one for the result. That holds for X[a][b] = h(A h^-1(a) + B h^-1(b) + c) and for no
// other X: with three words fixed, X is an XOR seen through bijections; with that in the inner and the outer place,
// each of these must turn an XOR into an XOR, so it is h and an affine map.
bool combines_four_words(std::span<const std::uint8_t> xor_table) {
    const auto decode = decode_nibbles(xor_table);
    if (!decode) {
        return false;
    }
    Nibbles encode{};
    for (std::size_t nibble = 0; nibble < kNibbles; ++nibble) {
        encode[(*decode)[nibble]] = static_cast<std::uint8_t>(nibble);
    }
    const auto sum = [&](std::size_t a, std::size_t b) {
        return (*decode)[xor_table[encode[a] * kNibbles + encode[b]]];
    };
    Nibbles of_left{};
    Nibbles of_right{};
    for (std::size_t a = 0; a < kNibbles; ++a) {
        of_left[a] = sum(a, 0);
        of_right[a] = sum(0, a);
    }
    // That sum(a, b) is the XOR of a function of a and one of b is what the decoding rests on.
    return is_affine(of_left) && is_affine(of_right);
}

class AesTableCheck {
  public:
    explicit AesTableCheck(const AesTablesView &tables) : tables_(tables) {}

    std::vector<std::string> run() {
        check_xor_table();
        for (std::size_t table = 0; table < (tables_.rounds - 1) * kPositions; ++table) {
            check_words(table);
        }
        for (std::size_t position = 0; position < kPositions; ++position) {
            if (!is_permutation(tables_.last_round, position * kBytes, 1, kBytes)) {
                report("last round, position {}: the 256 bytes are not all different", position);
            }
        }
        return std::move(problems_);
    }

  private:
    template <typename... Args>
    void report(fmt::format_string<Args...> format, Args &&...args) {
        problems_.push_back(
            fmt::format("key {}: {}", in_quotes(tables_.key_id), fmt::format(format, std::forward<Args>(args)...)));
    }

    void check_xor_table() {
        for (std::size_t i = 0; i < tables_.xor_table.size(); ++i) {
            if (tables_.xor_table[i] >= kNibbles) {
                report("entry [{}][{}] of the XOR table is {}, at most 15 is possible", i / kNibbles, i % kNibbles,
                       tables_.xor_table[i]);
            }
        }
        for (std::size_t i = 0; i < kNibbles; ++i) {
            if (!is_permutation(tables_.xor_table, i * kNibbles, 1, kNibbles)) {
                report("row {} of the XOR table is no permutation of 0 to 15", i);
            }
            if (!is_permutation(tables_.xor_table, i, kNibbles, kNibbles)) {
                report("column {} of the XOR table is no permutation of 0 to 15", i);
            }
        }
        if (problems_.empty() && !combines_four_words(tables_.xor_table)) {
            report("the XOR table does not combine four words as an XOR, under no encoding of nibbles");
        }
    }

    void check_words(std::size_t table) {
        for (std::size_t row = 0; row < kWordBytes; ++row) {
            const std::size_t first = table * kBytes * kWordBytes + kWordBytes - 1 - row;
            if (!is_permutation(tables_.round_tables, first, kWordBytes, kBytes)) {
                report("round {}, position {}: the 256 bytes for row {} are not all different", table / kPositions,
                       table % kPositions, row);
            }
        }
    }

    const AesTablesView &tables_;
    std::vector<std::string> problems_;
};

} // namespace

std::vector<std::string> table_problems(const AesTablesView &tables) {
    return AesTableCheck(tables).run();
}

std::vector<std::string> table_problems(const Sm4TablesView &tables) {
    std::vector<std::string> problems;
    for (std::size_t table = 0; table < kSm4Rounds * 4; ++table) {
        const auto lane = tables.tables.subspan(table * kBytes, kBytes);
        const auto key_byte = static_cast<std::size_t>(std::ranges::find(kSm4Sbox, lane[0]) - kSm4Sbox.begin());
        std::size_t x = 0;
        if (!std::ranges::all_of(lane, [&](std::uint8_t entry) { return entry == kSm4Sbox[x++ ^ key_byte]; })) {
            problems.push_back(fmt::format("key {}: round {}, lane {}: the 256 bytes are not the S-box behind the XOR "
                                           "with one byte",
                                           in_quotes(tables.key_id), table / 4, table % 4));
        }
    }
    return problems;
}

bool adds_plain_nibbles(const AesTablesView &tables) {
    for (std::size_t i = 0; i < tables.xor_table.size(); ++i) {
        if (tables.xor_table[i] != (i / kNibbles ^ i % kNibbles)) {
            return false;
        }
    }
    return true;
}

} // namespace wbtables
