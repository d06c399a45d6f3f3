#include "builder/audit/key_byte_search.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

#include "builder/audit/recovery.h"

namespace wbtables {
namespace {

using ByteMap = std::array<std::uint8_t, 256>;

// What stands behind a stored byte of the state.
struct StoredPlace {
    std::size_t true_place = 0;
    ByteMap to_stored{}; // by the true byte
};
using StoredState = std::array<StoredPlace, kAesBlock>;

StoredState plain_state() {
    StoredState state{};
    for (std::size_t place = 0; place < kAesBlock; ++place) {
        state[place].true_place = place;
        std::iota(state[place].to_stored.begin(), state[place].to_stored.end(), std::uint8_t{0});
    }
    return state;
}

std::optional<std::uint8_t> only_guess(const WordsOfPlace &words, const Explains &explains) {
    std::optional<std::uint8_t> found;
    for (unsigned guess = 0; guess < 256; ++guess) {
        if (explains(words, static_cast<std::uint8_t>(guess))) {
            if (found) {
                return std::nullopt;
            }
            found = static_cast<std::uint8_t>(guess);
        }
    }
    return found;
}

std::optional<SecretBytes> search_round_key(const AesTableCipher &cipher, std::size_t round, const StoredState &state,
                                            const Explains &explains) {
    SecretBytes round_key(kAesBlock);
    for (std::size_t place = 0; place < kAesBlock; ++place) {
        const StoredPlace &stored = state[shifted_from(place)];
        WordsOfPlace words{};
        for (std::size_t y = 0; y < words.size(); ++y) {
            words[y] = cipher.word(round, place, stored.to_stored[y]);
        }
        const auto byte = only_guess(words, explains);
        if (!byte) {
            return std::nullopt;
        }
        round_key[stored.true_place] = *byte;
    }
    return round_key;
}

// Runs of the first round in which the S-box gives `u` in one row and 0 in the others, for every u.
class FirstRoundRuns {
  public:
    FirstRoundRuns(const AesTableCipher &cipher, const SecretBytes &round_key, std::size_t varied_row)
        : varied_row_(varied_row) {
        for (std::size_t u = 0; u < behind_.size(); ++u) {
            AesState block{};
            for (std::size_t place = 0; place < kAesBlock; ++place) {
                block[place] = aes_inverse_sbox()[place % 4 == varied_row ? u : 0] ^ round_key[place];
            }
            behind_[u] = cipher.run_round(0, block);
            OPENSSL_cleanse(block.data(), block.size());
        }
    }

    // By the true byte, if the place held this row of its column. A permutation takes every value.
    [[nodiscard]] ByteMap to_stored(std::size_t place, std::size_t row) const {
        ByteMap map{};
        for (std::size_t u = 0; u < behind_.size(); ++u) {
            const auto byte = static_cast<std::uint8_t>(u);
            map[multiply_field(mix_coefficient(row, varied_row_), byte)] = behind_[u][place];
        }
        return map;
    }

  private:
    std::size_t varied_row_;
    std::array<AesState, 256> behind_{};
};

// The state behind the first round, where every stored column holds the true one.
std::optional<StoredState> state_behind_first_round(const AesTableCipher &cipher, const SecretBytes &round_key) {
    const FirstRoundRuns runs(cipher, round_key, 0);
    const FirstRoundRuns others(cipher, round_key, 1);
    StoredState state{};
    for (std::size_t place = 0; place < kAesBlock; ++place) {
        std::size_t row = 0;
        while (row < 4 && runs.to_stored(place, row) != others.to_stored(place, row)) {
            ++row;
        }
        if (row == 4) {
            return std::nullopt;
        }
        state[place] = {place - place % 4 + row, runs.to_stored(place, row)};
    }
    return state;
}

} // namespace

Recovery search_key_bytes(const AesTablesView &tables, const Explains &explains) {
    const auto cipher = AesTableCipher::over(tables);
    if (!cipher) {
        return without_format();
    }
    auto key = search_round_key(*cipher, 0, plain_state(), explains);
    if (!key) {
        return without_key("no key explains the tables of the first round");
    }
    if (cipher->key_len() > key->size()) {
        const auto state = state_behind_first_round(*cipher, *key);
        const auto next = state ? search_round_key(*cipher, 1, *state, explains) : std::nullopt;
        if (!next) {
            return without_key("no key explains the tables of the second round");
        }
        key->insert(key->end(), next->begin(), next->end());
        key->resize(cipher->key_len());
    }
    return with_key_if_confirmed(tables, std::move(*key));
}

} // namespace wbtables
