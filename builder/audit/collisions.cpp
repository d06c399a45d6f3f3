// A nibble of a word is some bijection of 4 bits that are affine in u = S(y ^ k). Whatever the bijection is, where two
// words have the same nibble, those 4 bits are equal, so the difference of their u lies in the kernel of rank 4. For
// the right k the differences of all such collisions span 4 dimensions, for a wrong one they soon span more.
//
// The XOR table stays unread for the key byte itself. For the second round key it serves to run the first round.

#include <algorithm>
#include <bit>

#include "builder/audit/key_byte_search.h"

namespace wbtables {
namespace {

// A space over GF(2), by a vector for each highest bit.
class Span {
  public:
    void add(unsigned vector) {
        while (vector != 0) {
            unsigned &of_highest_bit = basis_.at(static_cast<std::size_t>(std::bit_width(vector)) - 1);
            if (of_highest_bit == 0) {
                of_highest_bit = vector;
                ++dimension_;
                return;
            }
            vector ^= of_highest_bit;
        }
    }
    [[nodiscard]] int dimension() const { return dimension_; }

  private:
    std::array<unsigned, 8> basis_{};
    int dimension_ = 0;
};

bool collisions_span_four(const WordsOfPlace &words, unsigned shift, std::uint8_t guess) {
    constexpr unsigned kNone = 256;
    std::array<unsigned, 16> first_of_nibble{};
    first_of_nibble.fill(kNone);
    Span differences;
    for (std::size_t y = 0; y < words.size() && differences.dimension() <= 4; ++y) {
        const unsigned u = kAesSbox[y ^ guess];
        unsigned &first = first_of_nibble[words[y] >> shift & 15U];
        if (first == kNone) {
            first = u;
        }
        differences.add(u ^ first);
    }
    return differences.dimension() == 4;
}

bool collisions_fit(const WordsOfPlace &words, std::uint8_t guess) {
    constexpr std::array<unsigned, 8> kShifts = {0, 4, 8, 12, 16, 20, 24, 28};
    return std::ranges::all_of(kShifts, [&](unsigned shift) { return collisions_span_four(words, shift, guess); });
}

} // namespace

Recovery recover_by_collisions(const AesTablesView &tables) {
    return search_key_bytes(tables, collisions_fit);
}

} // namespace wbtables
