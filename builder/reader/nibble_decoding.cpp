#include "builder/reader/nibble_decoding.h"

#include <cstddef>

namespace wbtables {
namespace {

constexpr std::size_t kNibbles = 16;
using Nibbles = std::array<std::uint8_t, kNibbles>;

// The inverse of a permutation; nothing if it is none.
std::optional<Nibbles> inverse_of(std::span<const std::uint8_t, kNibbles> images) {
    Nibbles inverse{};
    unsigned taken = 0;
    for (std::size_t i = 0; i < kNibbles; ++i) {
        if (images[i] >= kNibbles) {
            return std::nullopt;
        }
        inverse[images[i]] = static_cast<std::uint8_t>(i);
        taken |= 1U << images[i];
    }
    return taken == 0xFFFF ? std::optional(inverse) : std::nullopt;
}

// The translations [t] as permutations, t being where nibble 0 goes; nothing if the rows are no such set.
std::optional<std::array<Nibbles, kNibbles>> translations(std::span<const std::uint8_t> xor_table) {
    const auto back = inverse_of(xor_table.first<kNibbles>());
    if (!back) {
        return std::nullopt;
    }
    std::array<Nibbles, kNibbles> moves{};
    unsigned found = 0;
    for (std::size_t a = 0; a < kNibbles; ++a) {
        const auto row = xor_table.subspan(a * kNibbles).first<kNibbles>();
        if (!inverse_of(row)) {
            return std::nullopt;
        }
        const std::uint8_t to = row[(*back)[0]];
        for (std::size_t y = 0; y < kNibbles; ++y) {
            moves[to][y] = row[(*back)[y]];
        }
        found |= 1U << to;
    }
    return found == 0xFFFF ? std::optional(moves) : std::nullopt;
}

} // namespace

std::optional<Nibbles> decode_nibbles(std::span<const std::uint8_t> xor_table) {
    const auto moves = xor_table.size() == kNibbles * kNibbles ? translations(xor_table) : std::nullopt;
    if (!moves) {
        return std::nullopt;
    }
    // Element v is where the moves of a basis take nibble 0, those of the bits of v.
    Nibbles element{};
    unsigned taken = 1;
    for (std::size_t bit = 1; bit < kNibbles; bit *= 2) {
        std::uint8_t next = 0;
        while ((taken >> next & 1U) != 0 && next < kNibbles - 1) {
            ++next;
        }
        for (std::size_t low = 0; low < bit; ++low) {
            element[bit + low] = (*moves)[next][element[low]];
            taken |= 1U << element[bit + low];
        }
    }
    for (std::size_t v = 0; v < kNibbles; ++v) {
        for (std::size_t w = 0; w < kNibbles; ++w) {
            if ((*moves)[element[v]][element[w]] != element[v ^ w]) {
                return std::nullopt;
            }
        }
    }
    return inverse_of(element);
}

} // namespace wbtables
