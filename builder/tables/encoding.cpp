#include "builder/tables/encoding.h"

#include <openssl/crypto.h>

#include "builder/keys/random.h"
#include "builder/tables/gf2.h"
#include "builder/tables/mixing_matrix.h"

namespace wbtables {
namespace {

constexpr std::size_t kPositions = 16;
constexpr std::size_t kRows = 4;
constexpr std::size_t kBytes = 256;

std::size_t place_of(std::size_t boundary, std::size_t position) {
    return boundary * kPositions + position;
}

} // namespace

Encoding::Encoding(EncodingKind kind, std::size_t boundaries)
    : nibbles_(kind), mixed_(boundaries * kPositions * kBytes), masks_(boundaries * kPositions * kRows),
      plain_(mixed_.size()) {
    MixingMatrix matrix = {1, 2, 4, 8, 16, 32, 64, 128};
    RandomStream random;
    if (kind == EncodingKind::hardened) {
        fill_random(masks_);
    }
    for (std::size_t place = 0; place < boundaries * kPositions; ++place) {
        if (kind == EncodingKind::hardened) {
            matrix = random_mixing_matrix(random);
        }
        set_place(place, matrix);
    }
    OPENSSL_cleanse(matrix.data(), matrix.size());
}

std::uint8_t Encoding::contribution(std::size_t boundary, std::size_t position, std::size_t row,
                                    std::uint8_t byte) const {
    const std::size_t place = place_of(boundary, position);
    return nibbles_.contribution(row, mixed_[place * kBytes + byte] ^ masks_[place * kRows + row]);
}

std::uint8_t Encoding::plain(std::size_t boundary, std::size_t position, std::size_t stored) const {
    return plain_[place_of(boundary, position) * kBytes + stored];
}

void Encoding::set_place(std::size_t place, std::span<const std::uint8_t> matrix) {
    std::uint8_t sum = nibbles_.constant();
    for (std::size_t row = 0; row < kRows; ++row) {
        sum ^= masks_[place * kRows + row];
    }
    for (std::size_t plain = 0; plain < kBytes; ++plain) {
        const std::uint8_t mixed = multiply(matrix, static_cast<std::uint8_t>(plain));
        mixed_[place * kBytes + plain] = mixed;
        plain_[place * kBytes + nibbles_.stored(mixed ^ sum)] = static_cast<std::uint8_t>(plain);
    }
}

} // namespace wbtables
