#include "builder/reader/table_cipher.h"

#include <algorithm>
#include <bit>

#include "builder/keys/key_set.h"
#include "builder/tables/sm4_key_schedule.h"

namespace wbtables {
namespace {

constexpr std::size_t kEntries = 256;
constexpr std::size_t kWordBytes = 4;

} // namespace

std::optional<AesTableCipher> AesTableCipher::over(const AesTablesView &tables) {
    if (aes_of(tables.rounds) == nullptr || tables.xor_table.size() != kEntries ||
        tables.round_tables.size() != (tables.rounds - 1) * kAesBlock * kEntries * kWordBytes ||
        tables.last_round.size() != kAesBlock * kEntries) {
        return std::nullopt;
    }
    return AesTableCipher(tables);
}

AesTableCipher::AesTableCipher(const AesTablesView &tables)
    : rounds_(tables.rounds), round_tables_(tables.round_tables), last_round_(tables.last_round) {
    std::transform(tables.xor_table.begin(), tables.xor_table.end(), xor_table_.begin(),
                   [](std::uint8_t entry) { return static_cast<std::uint8_t>(entry & 15U); });
}

std::uint32_t AesTableCipher::word(std::size_t round, std::size_t place, std::uint8_t stored) const {
    const auto bytes =
        round_tables_.subspan(((round * kAesBlock + place) * kEntries + stored) * kWordBytes, kWordBytes);
    return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8U | static_cast<std::uint32_t>(bytes[2]) << 16U |
           static_cast<std::uint32_t>(bytes[3]) << 24U;
}

std::uint32_t AesTableCipher::add(std::uint32_t a, std::uint32_t b) const {
    std::uint32_t sum = 0;
    for (unsigned shift = 0; shift < 32; shift += 4) {
        sum |= std::uint32_t{xor_table_[(a >> shift & 15U) << 4U | (b >> shift & 15U)]} << shift;
    }
    return sum;
}

AesState AesTableCipher::run_round(std::size_t round, const AesState &state) const {
    AesState next{};
    for (std::size_t column = 0; column < kAesBlock; column += 4) {
        std::array<std::uint32_t, 4> words{};
        for (std::size_t row = 0; row < 4; ++row) {
            words[row] = word(round, column + row, state[shifted_from(column + row)]);
        }
        const std::uint32_t sum = add(add(words[0], words[1]), add(words[2], words[3]));
        for (std::size_t row = 0; row < 4; ++row) {
            next[column + row] = static_cast<std::uint8_t>(sum >> (24 - 8 * row));
        }
    }
    return next;
}

AesState AesTableCipher::encrypt(const AesState &block, const std::optional<Fault> &fault) const {
    AesState state = block;
    for (std::size_t round = 0; round + 1 < rounds_; ++round) {
        state = run_round(round, state);
        if (fault && fault->round == round) {
            state[fault->place] ^= fault->change;
        }
    }
    AesState out{};
    for (std::size_t place = 0; place < kAesBlock; ++place) {
        out[place] = last_round_[place * kEntries + state[shifted_from(place)]];
    }
    return out;
}

std::optional<Sm4TableCipher> Sm4TableCipher::over(const Sm4TablesView &tables) {
    return tables.tables.size() == kSm4Rounds * 4 * kEntries ? std::optional(Sm4TableCipher(tables)) : std::nullopt;
}

std::uint8_t Sm4TableCipher::entry(std::size_t round, std::size_t lane, std::uint8_t byte) const {
    return tables_[(round * 4 + lane) * kEntries + byte];
}

std::array<std::uint8_t, 16> Sm4TableCipher::encrypt(const std::array<std::uint8_t, 16> &block) const {
    std::array<std::uint32_t, 4> x{};
    for (std::size_t i = 0; i < block.size(); ++i) {
        x[i / 4] = x[i / 4] << 8U | block[i];
    }
    for (std::size_t round = 0; round < kSm4Rounds; ++round) {
        const std::uint32_t in = x[(round + 1) % 4] ^ x[(round + 2) % 4] ^ x[(round + 3) % 4];
        std::uint32_t b = 0;
        for (std::size_t lane = 0; lane < 4; ++lane) {
            b = b << 8U | entry(round, lane, static_cast<std::uint8_t>(in >> (24 - 8 * lane)));
        }
        x[round % 4] ^= b ^ std::rotl(b, 2) ^ std::rotl(b, 10) ^ std::rotl(b, 18) ^ std::rotl(b, 24);
    }
    std::array<std::uint8_t, 16> out{};
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = static_cast<std::uint8_t>(x[3 - i / 4] >> (24 - 8 * (i % 4)));
    }
    return out;
}

} // namespace wbtables
