#include "builder/tables/aes_tables.h"

#include <array>
#include <numeric>

#include "builder/tables/aes_key_schedule.h"

namespace wbtables {
namespace {

constexpr std::size_t kPositions = 16;
constexpr std::size_t kBytes = 256;
constexpr std::size_t kWordBytes = 4;

// The position whose byte ShiftRows moves to `position`.
constexpr std::size_t shifted_from(std::size_t position) {
    const std::size_t column = position / 4;
    const std::size_t row = position % 4;
    return 4 * ((column + row) % 4) + row;
}

// The column that MixColumns makes of `byte` in `row` and zeros elsewhere.
constexpr std::array<std::uint8_t, 4> mix_column(std::uint8_t byte, std::size_t row) {
    const std::uint8_t twice = xtime(byte);
    std::array<std::uint8_t, 4> column = {byte, byte, byte, byte};
    column[row] = twice;
    column[(row + 3) % 4] = static_cast<std::uint8_t>(twice ^ byte);
    return column;
}

constexpr std::array<std::uint8_t, kBytes> identity_map() {
    std::array<std::uint8_t, kBytes> map{};
    std::iota(map.begin(), map.end(), std::uint8_t{0});
    return map;
}

class AesTableMaker {
  public:
    AesTableMaker(std::span<const std::uint8_t> key, EncodingKind kind)
        : table_rounds_(key.size() / 4 + 5), schedule_(expand_aes_key(key)), encoding_(kind, table_rounds_) {}

    [[nodiscard]] AesTables make() const {
        const auto round_count = static_cast<std::uint8_t>(table_rounds_ + 1);
        return {{round_count, 0, 0, 0}, encoding_.xor_table(), round_tables(), last_round()};
    }

  private:
    [[nodiscard]] SecretBytes round_tables() const {
        SecretBytes words(table_rounds_ * kPositions * kBytes * kWordBytes);
        std::uint8_t *word = words.data();
        for (std::size_t round = 0; round < table_rounds_; ++round) {
            for (std::size_t position = 0; position < kPositions; ++position) {
                for (std::size_t stored = 0; stored < kBytes; ++stored, word += kWordBytes) {
                    set_word(word, round, position, substitute(round, position, stored));
                }
            }
        }
        return words;
    }

    [[nodiscard]] SecretBytes last_round() const {
        SecretBytes bytes(kPositions * kBytes);
        for (std::size_t position = 0; position < kPositions; ++position) {
            const std::uint8_t last_key = schedule_[16 * (table_rounds_ + 1) + position];
            for (std::size_t stored = 0; stored < kBytes; ++stored) {
                bytes[position * kBytes + stored] =
                    static_cast<std::uint8_t>(substitute(table_rounds_, position, stored) ^ last_key);
            }
        }
        return bytes;
    }

    // The S-box's output for what reaches `position` in `round` as the stored byte `stored`.
    [[nodiscard]] std::uint8_t substitute(std::size_t round, std::size_t position, std::size_t stored) const {
        static constexpr auto kPlainInput = identity_map();
        const std::size_t from = shifted_from(position);
        const std::uint8_t *const to_plain = round == 0 ? kPlainInput.data() : encoding_.to_plain(round - 1, from);
        return kAesSbox[to_plain[stored] ^ schedule_[16 * round + from]];
    }

    void set_word(std::uint8_t *word, std::size_t round, std::size_t position, std::uint8_t substituted) const {
        const std::size_t column = position / 4;
        const auto mixed = mix_column(substituted, position % 4);
        for (std::size_t row = 0; row < 4; ++row) {
            word[3 - row] = encoding_.to_stored(round, 4 * column + row)[mixed[row]];
        }
    }

    std::size_t table_rounds_;
    SecretBytes schedule_;
    Encoding encoding_;
};

} // namespace

AesTables make_aes_tables(std::span<const std::uint8_t> key, EncodingKind kind) {
    return AesTableMaker(key, kind).make();
}

} // namespace wbtables
