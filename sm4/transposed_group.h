// A group of blocks as 16 planes, for the kernels whose vectors have lanes of 128 bits.
//
// The including file defines WBKIT_TARGET before, and instantiates for a type of its own: no function here may be
// shared by two files.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "sm4/planes.h"
#include "support/target.h"

namespace wbkit {

// `Vectors` names the type Vector, and how two of them are interleaved by bytes: the lower halves of their lanes, and
// the upper ones.
template <typename Vectors>
struct TransposedGroup {
    using Vector = typename Vectors::Vector;

    Vector plane[kPlanes];

    // Rotated by four, register and place have changed places: 16 x 16 bytes are transposed in each lane.
    WBKIT_OUTLINE static void to_planes(const uint8_t *in, TransposedGroup &group) {
        alignas(Vector) uint8_t half_way[sizeof group];
        interleave_twice(half_way, in, kQuarter);
        interleave_twice(reinterpret_cast<uint8_t *>(group.plane), half_way, kQuarter);
    }

    // The other way, and the words in reverse.
    WBKIT_OUTLINE static void from_planes(const TransposedGroup &group, uint8_t *out) {
        alignas(Vector) uint8_t half_way[sizeof group];
        interleave_twice(half_way, reinterpret_cast<const uint8_t *>(group.plane + 12), -kQuarter);
        interleave_twice(out, half_way, kQuarter);
    }

  private:
    static constexpr ptrdiff_t kQuarter = 4 * sizeof(Vector);

    WBKIT_INLINE static Vector load(const uint8_t *from) {
        Vector vector;
        memcpy(&vector, from, sizeof vector);
        return vector;
    }

    WBKIT_INLINE static void store(uint8_t *to, Vector vector) { memcpy(to, &vector, sizeof vector); }

    // Interleaves the first half of 16 registers with the second, twice. That rotates the bits of a byte's position,
    // four of its register and four of its place in a lane, by two. `step` is the way from word to word of four
    // registers.
    WBKIT_INLINE static void interleave_twice(uint8_t *to, const uint8_t *from, ptrdiff_t step) {
        for (size_t i = 0; i < 4; ++i, from += sizeof(Vector), to += 4 * sizeof(Vector)) {
            const Vector word[4] = {load(from), load(from + step), load(from + 2 * step), load(from + 3 * step)};
            const Vector even_low = Vectors::interleave_low(word[0], word[2]);
            const Vector even_high = Vectors::interleave_high(word[0], word[2]);
            const Vector odd_low = Vectors::interleave_low(word[1], word[3]);
            const Vector odd_high = Vectors::interleave_high(word[1], word[3]);
            store(to, Vectors::interleave_low(even_low, odd_low));
            store(to + sizeof(Vector), Vectors::interleave_high(even_low, odd_low));
            store(to + 2 * sizeof(Vector), Vectors::interleave_low(even_high, odd_high));
            store(to + 3 * sizeof(Vector), Vectors::interleave_high(even_high, odd_high));
        }
    }
};

} // namespace wbkit
