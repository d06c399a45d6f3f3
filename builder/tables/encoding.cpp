#include "builder/tables/encoding.h"

#include <numeric>

#include <openssl/crypto.h>

#include "builder/keys/random.h"
#include "builder/tables/gf2.h"

namespace wbtables {
namespace {

constexpr std::size_t kPositions = 16;
constexpr std::size_t kNibbles = 16;
constexpr std::size_t kBytes = 256;

std::size_t map_index(std::size_t boundary, std::size_t position) {
    return boundary * kPositions + position;
}

SecretBytes nibble_bijection(EncodingKind kind) {
    SecretBytes nibbles(kNibbles);
    if (kind == EncodingKind::none) {
        std::iota(nibbles.begin(), nibbles.end(), std::uint8_t{0});
    } else {
        random_permutation(nibbles);
    }
    return nibbles;
}

} // namespace

Encoding::Encoding(EncodingKind kind, std::size_t boundaries)
    : to_stored_(boundaries * kPositions * kBytes), to_plain_(to_stored_.size()), xor_table_(kNibbles * kNibbles) {
    const SecretBytes nibbles = nibble_bijection(kind);
    set_xor_table(nibbles);
    for (std::size_t index = 0; index < boundaries * kPositions; ++index) {
        set_maps(index, kind, nibbles);
    }
}

const std::uint8_t *Encoding::to_stored(std::size_t boundary, std::size_t position) const {
    return &to_stored_[map_index(boundary, position) * kBytes];
}

const std::uint8_t *Encoding::to_plain(std::size_t boundary, std::size_t position) const {
    return &to_plain_[map_index(boundary, position) * kBytes];
}

void Encoding::set_xor_table(const SecretBytes &nibbles) {
    for (std::size_t a = 0; a < kNibbles; ++a) {
        for (std::size_t b = 0; b < kNibbles; ++b) {
            xor_table_[nibbles[a] * kNibbles + nibbles[b]] = nibbles[a ^ b];
        }
    }
}

void Encoding::set_maps(std::size_t index, EncodingKind kind, const SecretBytes &nibbles) {
    constexpr Gf2Matrix kIdentity = {1, 2, 4, 8, 16, 32, 64, 128};
    Gf2Matrix matrix = kind == EncodingKind::none ? kIdentity : random_invertible_matrix();
    for (std::size_t plain = 0; plain < kBytes; ++plain) {
        const std::uint8_t mixed = multiply(matrix, static_cast<std::uint8_t>(plain));
        const auto stored = static_cast<std::uint8_t>(nibbles[mixed >> 4U] << 4U | nibbles[mixed & 15U]);
        to_stored_[index * kBytes + plain] = stored;
        to_plain_[index * kBytes + stored] = static_cast<std::uint8_t>(plain);
    }
    OPENSSL_cleanse(matrix.data(), matrix.size());
}

} // namespace wbtables
