#include "builder/tables/aes_tables.h"

#include "builder/tables/aes_key_schedule.h"
#include "builder/tables/aes_steps.h"
#include "builder/tables/column_order.h"

namespace wbtables {
namespace {

constexpr std::size_t kBytes = 256;
constexpr std::size_t kWordBytes = 4;

class AesTableMaker {
  public:
    AesTableMaker(std::span<const std::uint8_t> key, EncodingKind kind)
        : table_rounds_(key.size() / 4 + 5), schedule_(expand_aes_key(key)), encoding_(kind, table_rounds_),
          order_(kind, table_rounds_) {}

    [[nodiscard]] AesTables make() const {
        const auto round_count = static_cast<std::uint8_t>(table_rounds_ + 1);
        return {{round_count, 0, 0, 0}, encoding_.xor_table(), round_tables(), last_round()};
    }

  private:
    [[nodiscard]] SecretBytes round_tables() const {
        SecretBytes words(table_rounds_ * kAesBlock * kBytes * kWordBytes);
        std::uint8_t *word = words.data();
        for (std::size_t round = 0; round < table_rounds_; ++round) {
            for (std::size_t position = 0; position < kAesBlock; ++position) {
                for (std::size_t stored = 0; stored < kBytes; ++stored, word += kWordBytes) {
                    set_word(word, round, position, substitute(round, position, stored));
                }
            }
        }
        return words;
    }

    [[nodiscard]] SecretBytes last_round() const {
        SecretBytes bytes(kAesBlock * kBytes);
        for (std::size_t position = 0; position < kAesBlock; ++position) {
            const std::uint8_t last_key = schedule_[kAesBlock * (table_rounds_ + 1) + position];
            for (std::size_t stored = 0; stored < kBytes; ++stored) {
                bytes[position * kBytes + stored] =
                    static_cast<std::uint8_t>(substitute(table_rounds_, position, stored) ^ last_key);
            }
        }
        return bytes;
    }

    // The S-box's output for what reaches `position` in `round` as the stored byte `stored`.
    [[nodiscard]] std::uint8_t substitute(std::size_t round, std::size_t position, std::size_t stored) const {
        const std::size_t from = shifted_from(position);
        const std::size_t plain = round == 0 ? stored : encoding_.plain(round - 1, from, stored);
        return kAesSbox[plain ^ schedule_[kAesBlock * round + order_.true_position(round, from)]];
    }

    // Rows are stored in an order of their own: the true row counts in MixColumns, the stored one in the sum.
    void set_word(std::uint8_t *word, std::size_t round, std::size_t position, std::uint8_t substituted) const {
        const std::size_t true_from = order_.true_position(round, shifted_from(position)) % 4;
        for (std::size_t row = 0; row < 4; ++row) {
            const std::size_t to = position / 4 * 4 + row;
            const std::size_t true_to = order_.true_position(round + 1, to) % 4;
            const std::uint8_t share = multiply_field(mix_coefficient(true_to, true_from), substituted);
            word[3 - row] = encoding_.contribution(round, to, position % 4, share);
        }
    }

    std::size_t table_rounds_;
    SecretBytes schedule_;
    Encoding encoding_;
    ColumnOrder order_;
};

} // namespace

AesTables make_aes_tables(std::span<const std::uint8_t> key, EncodingKind kind) {
    return AesTableMaker(key, kind).make();
}

} // namespace wbtables
