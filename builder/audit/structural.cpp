// Decoded by way of the XOR table, every bit of a word is affine in u = S(y ^ k): nibble encodings are all of a table
// that is not. So for the right k, and for it alone, the words of all 256 values of u follow from nine of them.

#include "builder/audit/key_byte_search.h"
#include "builder/audit/recovery.h"
#include "builder/reader/nibble_decoding.h"

namespace wbtables {
namespace {

using Nibbles = std::array<std::uint8_t, 16>;

std::uint32_t decode(const Nibbles &decoded, std::uint32_t word) {
    std::uint32_t out = 0;
    for (unsigned shift = 0; shift < 32; shift += 4) {
        out |= std::uint32_t{decoded[word >> shift & 15U]} << shift;
    }
    return out;
}

bool is_affine_under(const Nibbles &decoded, const WordsOfPlace &words, std::uint8_t guess) {
    const auto word_of = [&](std::size_t u) { return decode(decoded, words[aes_inverse_sbox()[u] ^ guess]); };
    const std::uint32_t constant = word_of(0);
    std::array<std::uint32_t, 256> linear{};
    for (std::size_t u = 1; u < linear.size(); ++u) {
        const std::size_t rest = u & (u - 1);
        const std::uint32_t actual = word_of(u) ^ constant;
        if (rest != 0 && actual != (linear[rest] ^ linear[u ^ rest])) {
            return false;
        }
        linear[u] = actual;
    }
    return true;
}

} // namespace

Recovery recover_by_structure(const AesTablesView &tables) {
    const auto decoded = decode_nibbles(tables.xor_table);
    if (!decoded) {
        return without_key("the XOR table adds no nibbles in any encoding");
    }
    return search_key_bytes(
        tables, [&](const WordsOfPlace &words, std::uint8_t guess) { return is_affine_under(*decoded, words, guess); });
}

} // namespace wbtables
