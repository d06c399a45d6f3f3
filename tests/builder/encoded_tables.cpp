#include "encoded_tables.h"

#include <array>
#include <set>
#include <vector>

#include "builder/keys/random.h"
#include "builder/tables/aes_key_schedule.h"

namespace test {
namespace {

using Nibbles = std::array<uint8_t, 16>; // a bijection
using Columns = std::array<size_t, 4>;   // the true column that each stored one holds

Nibbles after(const Nibbles &second, const Nibbles &first) {
    Nibbles both{};
    for (size_t i = 0; i < 16; ++i) {
        both[i] = second[first[i]];
    }
    return both;
}

Nibbles inverse(const Nibbles &map) {
    Nibbles back{};
    for (size_t i = 0; i < 16; ++i) {
        back[map[i]] = static_cast<uint8_t>(i);
    }
    return back;
}

template <size_t Size>
std::array<uint8_t, Size> random_linear_bijection() {
    std::array<uint8_t, Size> map{};
    std::set<uint8_t> images;
    while (images.size() < Size) {
        images = {0};
        for (size_t i = 1; i < Size; ++i) {
            const size_t rest = i & (i - 1);
            map[i] = rest == 0 ? static_cast<uint8_t>(wbtables::random_below(Size)) : map[rest] ^ map[i ^ rest];
            images.insert(map[i]);
        }
    }
    return map;
}

uint8_t both_halves(const Nibbles &map, uint8_t byte) {
    return static_cast<uint8_t>(map[byte >> 4U] << 4U | map[byte & 15U]);
}

uint8_t mixed(size_t to, size_t from, uint8_t byte) {
    const uint8_t twice = wbtables::xtime(byte);
    const std::array<uint8_t, 4> products = {twice, static_cast<uint8_t>(twice ^ byte), byte, byte};
    return products[(from + 4 - to) % 4];
}

class Maker {
  public:
    explicit Maker(const Bytes &key) : schedule_(wbtables::expand_aes_key(key)) {
        made_.rounds = static_cast<uint32_t>(key.size() / 4 + 6);
        wbtables::random_permutation(h_);
        make_xor_table();
        columns_.assign(made_.rounds, {0, 1, 2, 3});
        for (size_t round = 1; round + 2 < made_.rounds; ++round) {
            std::array<uint8_t, 4> order{};
            wbtables::random_permutation(order);
            columns_[round] = {order[0], order[1], order[2], order[3]};
        }
    }

    EncodedTables make() {
        for (size_t place = 0; place < 16; ++place) {
            for (size_t x = 0; x < 256; ++x) {
                to_true_[place][x] = static_cast<uint8_t>(x);
            }
            true_place_[place] = place;
        }
        for (size_t round = 0; round + 1 < made_.rounds; ++round) {
            make_round(round);
        }
        for (size_t place = 0; place < 16; ++place) {
            for (size_t stored = 0; stored < 256; ++stored) {
                made_.last_round.push_back(substituted(made_.rounds - 1, place, stored) ^
                                           schedule_[16 * made_.rounds + place]);
            }
        }
        return made_;
    }

  private:
    void make_xor_table() {
        const auto a = random_linear_bijection<16>();
        const auto b = random_linear_bijection<16>();
        const auto c = static_cast<uint8_t>(wbtables::random_below(16));
        made_.xor_table.resize(256);
        for (size_t v = 0; v < 16; ++v) {
            for (size_t w = 0; w < 16; ++w) {
                made_.xor_table[16U * h_[v] + h_[w]] = h_[a[v] ^ b[w] ^ c];
            }
        }
        constant_ = a[c] ^ b[c] ^ c;
        before_ = {inverse(after(a, a)), inverse(after(a, b)), inverse(after(b, a)), inverse(after(b, b))};
    }

    [[nodiscard]] uint8_t substituted(size_t round, size_t place, size_t stored) const {
        const size_t from = (place + 4 * (place % 4)) % 16;
        return wbtables::kAesSbox[to_true_[from][stored] ^ schedule_[16 * round + true_place_[from]]];
    }

    void make_round(size_t round) {
        std::array<std::array<uint8_t, 256>, 16> matrices{};
        std::array<std::array<uint8_t, 4>, 16> masks{};
        for (size_t place = 0; place < 16; ++place) {
            matrices[place] = random_linear_bijection<256>();
            wbtables::fill_random(masks[place]);
        }
        const auto true_row = [&](size_t place) {
            const size_t next = columns_[round + 1][(place / 4 + 4 - place % 4) % 4];
            return (columns_[round][place / 4] + 4 - next) % 4;
        };
        for (size_t place = 0; place < 16; ++place) {
            const size_t from = true_place_[(place + 4 * (place % 4)) % 16] % 4;
            for (size_t stored = 0; stored < 256; ++stored) {
                for (size_t lane = 4; lane-- > 0;) {
                    const size_t to = place - place % 4 + lane;
                    const uint8_t byte = mixed(true_row(to), from, substituted(round, place, stored));
                    const uint8_t masked = matrices[to][byte] ^ masks[to][place % 4];
                    made_.round_tables.push_back(both_halves(h_, both_halves(before_[place % 4], masked)));
                }
            }
        }
        for (size_t place = 0; place < 16; ++place) {
            const auto &m = masks[place];
            const auto sum = static_cast<uint8_t>(m[0] ^ m[1] ^ m[2] ^ m[3] ^ constant_ * 0x11);
            for (size_t y = 0; y < 256; ++y) {
                const auto byte = static_cast<uint8_t>(y);
                to_true_[place][both_halves(h_, matrices[place][y] ^ sum)] = byte;
            }
            true_place_[place] = 4 * columns_[round][place / 4] + true_row(place);
        }
    }

    wbtables::SecretBytes schedule_;
    EncodedTables made_;
    Nibbles h_{};
    uint8_t constant_ = 0;
    std::array<Nibbles, 4> before_{};                    // by input row
    std::vector<Columns> columns_;                       // behind each table round
    std::array<std::array<uint8_t, 256>, 16> to_true_{}; // of the state before the round that is being made
    std::array<size_t, 16> true_place_{};
};

} // namespace

EncodedTables encoded_tables(const Bytes &key) {
    return Maker(key).make();
}

} // namespace test
