// Differential faults, from the back of the cipher. The tables serve as a black box in which one stored byte can be
// changed behind a table round; how bytes are encoded, and in which order, plays no part.
//
// A byte changed two table rounds before the last one changes one byte of every column before the last MixColumns, so
// that each column behind it differs by d times a column of its matrix, d and the row of the byte unknown. About a
// thousand of the 2^32 keys of the four ciphertext bytes that the column becomes give such a difference; a second fault
// mostly leaves one.
//
// With the last round key known, its round is taken off. What remains ends like the cipher, with the round key before
// the last one, taken backwards through MixColumns, in place of the last one: the same attack one round deeper.

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "builder/audit/attack.h"
#include "builder/audit/recovery.h"
#include "builder/keys/random.h"
#include "builder/reader/table_cipher.h"

namespace wbtables {
namespace {

constexpr std::size_t kMostFaults = 16; // for one round key; two mostly do

// What the last S-boxes of one column gave, less its key: right, and after a fault.
struct ColumnPair {
    std::array<std::uint8_t, 4> right{};
    std::array<std::uint8_t, 4> faulty{};
};

std::uint8_t difference_before_sbox(const ColumnPair &pair, std::size_t row, std::uint8_t key_byte) {
    const auto &inverse = aes_inverse_sbox();
    return inverse[pair.right[row] ^ key_byte] ^ inverse[pair.faulty[row] ^ key_byte];
}

// The keys of four ciphertext bytes that explain all faults so far.
class ColumnKeys {
  public:
    using Key = std::array<std::uint8_t, 4>;

    void keep_those_that_explain(const ColumnPair &pair) {
        if (!std::exchange(started_, true)) {
            list_all(pair);
        } else {
            std::erase_if(keys_, [&](const Key &key) { return !explains(key, pair); });
        }
    }

    [[nodiscard]] std::size_t count() const { return keys_.size(); }
    [[nodiscard]] const Key &front() const { return keys_.front(); }

  private:
    // [d]: the key bytes of one row with the difference d before the S-box. Four at most, unless d is 0.
    using BytesByDifference = std::array<std::vector<std::uint8_t>, 256>;

    void list_all(const ColumnPair &pair) {
        std::array<BytesByDifference, 4> bytes;
        for (std::size_t row = 0; row < 4; ++row) {
            for (unsigned guess = 0; guess < 256; ++guess) {
                const auto byte = static_cast<std::uint8_t>(guess);
                bytes[row][difference_before_sbox(pair, row, byte)].push_back(byte);
            }
        }
        for (std::size_t from = 0; from < 4; ++from) {
            for (unsigned d = 1; d < 256; ++d) {
                list_products(bytes, from, static_cast<std::uint8_t>(d));
            }
        }
    }

    void list_products(const std::array<BytesByDifference, 4> &bytes, std::size_t from, std::uint8_t d) {
        std::array<const std::vector<std::uint8_t> *, 4> choice{};
        std::size_t products = 1;
        for (std::size_t row = 0; row < 4; ++row) {
            choice[row] = &bytes[row][multiply_field(mix_coefficient(row, from), d)];
            products *= choice[row]->size();
        }
        for (std::size_t i = 0; i < products; ++i) {
            Key key{};
            std::size_t rest = i;
            for (std::size_t row = 0; row < 4; ++row) {
                key[row] = (*choice[row])[rest % choice[row]->size()];
                rest /= choice[row]->size();
            }
            keys_.push_back(key);
        }
    }

    static bool explains(const Key &key, const ColumnPair &pair) {
        std::array<std::uint8_t, 4> differences{};
        for (std::size_t row = 0; row < 4; ++row) {
            differences[row] = difference_before_sbox(pair, row, key[row]);
        }
        constexpr std::array<std::size_t, 4> kRows = {0, 1, 2, 3};
        return std::ranges::any_of(kRows, [&](std::size_t from) {
            const std::uint8_t d = differences[(from + 1) % 4]; // where MixColumns multiplies by 1
            return d != 0 && std::ranges::all_of(kRows, [&](std::size_t row) {
                       return differences[row] == multiply_field(mix_coefficient(row, from), d);
                   });
        });
    }

    bool started_ = false;
    std::vector<Key, WipingAllocator<Key>> keys_;
};

// A block at the end of the cipher: right, and after a fault.
struct BlockPair {
    AesState right{};
    AesState faulty{};
};

ColumnPair column_of(const BlockPair &pair, std::size_t column) {
    ColumnPair out;
    for (std::size_t row = 0; row < 4; ++row) {
        const std::size_t place = shifted_to(4 * column + row);
        out.right[row] = pair.right[place];
        out.faulty[row] = pair.faulty[place];
    }
    return out;
}

SecretBytes key_of(const std::array<ColumnKeys, 4> &columns) {
    SecretBytes key(kAesBlock);
    for (std::size_t place = 0; place < kAesBlock; ++place) {
        key[shifted_to(place)] = columns[place / 4].front()[place % 4];
    }
    return key;
}

// The block before the last S-boxes, taken backwards through MixColumns.
AesState without_last_round(const AesState &block, const SecretBytes &last_key) {
    AesState before{};
    for (std::size_t place = 0; place < kAesBlock; ++place) {
        before[shifted_from(place)] = aes_inverse_sbox()[block[place] ^ last_key[place]];
    }
    return inverse_mix_columns(before);
}

// As many bytes as the key has. `unmixed` is the round key before the last one, taken backwards through MixColumns.
SecretBytes end_of_schedule(const SecretBytes &unmixed, const SecretBytes &last, std::size_t key_len) {
    AesState before{};
    std::ranges::copy(unmixed, before.begin());
    before = mix_columns(before);
    SecretBytes end(before.end() - static_cast<std::ptrdiff_t>(key_len - kAesBlock), before.end());
    end.insert(end.end(), last.begin(), last.end());
    OPENSSL_cleanse(before.data(), before.size());
    return end;
}

class FaultAttack {
  public:
    explicit FaultAttack(const AesTableCipher &cipher) : cipher_(cipher) {}

    [[nodiscard]] std::size_t faults() const { return faults_; }

    // The end of the key schedule, as long as the key.
    std::optional<SecretBytes> schedule_end() {
        const std::size_t last_table_round = cipher_.rounds() - 2;
        auto last = end_key(last_table_round - 2, [](const AesState &block) { return block; });
        if (!last || cipher_.key_len() == kAesBlock) {
            return last;
        }
        const auto unmixed =
            end_key(last_table_round - 3, [&](const AesState &block) { return without_last_round(block, *last); });
        return unmixed ? std::optional(end_of_schedule(*unmixed, *last, cipher_.key_len())) : std::nullopt;
    }

  private:
    using TakeOff = std::function<AesState(const AesState &block)>;

    // The key at the end of what is left of the cipher once `take_off` was applied to its blocks.
    std::optional<SecretBytes> end_key(std::size_t fault_round, const TakeOff &take_off) {
        std::array<ColumnKeys, 4> columns;
        for (std::size_t i = 0; i < kMostFaults; ++i) {
            const BlockPair blocks = encrypt_with_fault(fault_round);
            const BlockPair ends = {take_off(blocks.right), take_off(blocks.faulty)};
            for (std::size_t column = 0; column < columns.size(); ++column) {
                columns[column].keep_those_that_explain(column_of(ends, column));
            }
            const auto [fewest, most] = std::ranges::minmax(columns, {}, &ColumnKeys::count);
            if (fewest.count() == 0) {
                return std::nullopt;
            }
            if (most.count() == 1) {
                return key_of(columns);
            }
        }
        return std::nullopt;
    }

    BlockPair encrypt_with_fault(std::size_t round) {
        AesState block{};
        fill_random(block);
        const std::size_t place = random_below(kAesBlock);
        const auto change = static_cast<std::uint8_t>(1 + random_below(255));
        ++faults_;
        return {cipher_.encrypt(block), cipher_.encrypt(block, AesTableCipher::Fault{round, place, change})};
    }

    const AesTableCipher &cipher_;
    std::size_t faults_ = 0;
};

} // namespace

Recovery recover_by_faults(const AesTablesView &tables) {
    const auto cipher = AesTableCipher::over(tables);
    if (!cipher) {
        return without_format();
    }
    FaultAttack attack(*cipher);
    const auto schedule_end = attack.schedule_end();
    Recovery recovery = schedule_end ? with_key_if_confirmed(tables, aes_key_of_schedule_end(*schedule_end))
                                     : without_key("no round key explains the faulty ciphertexts");
    recovery.faults = attack.faults();
    return recovery;
}

} // namespace wbtables
