// What attacks by correlation predict of the first round: bits that are linear in the S-box's output u.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "builder/tables/aes_key_schedule.h"
#include "builder/tables/gf2.h"

namespace wbtables {

using LinearMap = std::uint8_t (*)(std::uint8_t u);

// The coefficients of MixColumns.
constexpr std::array<LinearMap, 3> kMixCoefficients = {
    [](std::uint8_t u) { return u; },
    [](std::uint8_t u) { return xtime(u); },
    [](std::uint8_t u) { return static_cast<std::uint8_t>(xtime(u) ^ u); },
};

// From u to the field inverse that the S-box began with, but for a constant.
constexpr std::uint8_t undo_affine_map(std::uint8_t u) {
    return static_cast<std::uint8_t>(std::rotl(u, 1) ^ std::rotl(u, 3) ^ std::rotl(u, 6));
}

// The mask of u whose parity is that of `mask` of map(u): the transposed map.
constexpr std::uint8_t mask_through(LinearMap map, std::uint8_t mask) {
    unsigned through = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
        through |= static_cast<unsigned>(parity(mask & map(static_cast<std::uint8_t>(1U << bit)))) << bit;
    }
    return static_cast<std::uint8_t>(through);
}

// By mask of u: whether it is a bit of u, 2u, 3u or the field inverse.
constexpr std::array<bool, 256> kIsPredicted = [] {
    std::array<bool, 256> predicted{};
    for (unsigned bit = 1; bit < 256; bit *= 2) {
        for (const LinearMap map : kMixCoefficients) {
            predicted.at(mask_through(map, static_cast<std::uint8_t>(bit))) = true;
        }
        predicted.at(mask_through(undo_affine_map, static_cast<std::uint8_t>(bit))) = true;
    }
    return predicted;
}();

// Of the 32 bits, five of 2u are bits of u, and bit 0 of 3u is bit 1 of 2u.
constexpr std::size_t kPredictedMaskCount = 26;
static_assert(std::count(kIsPredicted.begin(), kIsPredicted.end(), true) == kPredictedMaskCount);

constexpr std::array<std::uint8_t, kPredictedMaskCount> kPredictedMasks = [] {
    std::array<std::uint8_t, kPredictedMaskCount> masks{};
    std::size_t count = 0;
    for (unsigned mask = 0; mask < kIsPredicted.size(); ++mask) {
        if (kIsPredicted.at(mask)) {
            masks.at(count++) = static_cast<std::uint8_t>(mask);
        }
    }
    return masks;
}();

} // namespace wbtables
