// AES from FIPS 197 alone, folded into tables: nothing here is shared with the builder.

#include <stdexcept>

#include "support/table_source.h"

namespace test {
namespace {

uint8_t xtime(uint8_t a) {
    return static_cast<uint8_t>(a << 1 ^ ((a & 0x80) != 0 ? 0x1b : 0));
}

uint8_t multiply(uint8_t a, uint8_t b) {
    uint8_t product = 0;
    for (; b != 0; b = static_cast<uint8_t>(b >> 1), a = xtime(a)) {
        if ((b & 1) != 0) {
            product ^= a;
        }
    }
    return product;
}

uint8_t sub_byte(uint8_t x) {
    uint8_t inverse = 0;
    for (int candidate = 1; candidate < 256 && x != 0; ++candidate) {
        if (multiply(x, static_cast<uint8_t>(candidate)) == 1) {
            inverse = static_cast<uint8_t>(candidate);
            break;
        }
    }
    uint8_t result = 0x63;
    for (int rotation = 0; rotation < 5; ++rotation) {
        result ^= static_cast<uint8_t>(inverse << rotation | inverse >> (8 - rotation));
    }
    return result;
}

const Bytes &s_box() {
    static const Bytes box = [] {
        Bytes values;
        for (int x = 0; x < 256; ++x) {
            values.push_back(sub_byte(static_cast<uint8_t>(x)));
        }
        return values;
    }();
    return box;
}

// FIPS 197, 5.2: the round keys, byte by byte.
Bytes expand(const Bytes &key, size_t round_count) {
    const size_t nk = key.size() / 4;
    Bytes w = key;
    uint8_t rcon = 1;
    for (size_t i = nk; i < 4 * (round_count + 1); ++i) {
        Bytes word(w.end() - 4, w.end());
        if (i % nk == 0) {
            word = {s_box()[word[1]], s_box()[word[2]], s_box()[word[3]], s_box()[word[0]]};
            word[0] ^= rcon;
            rcon = xtime(rcon);
        } else if (nk == 8 && i % nk == 4) {
            for (uint8_t &byte : word) {
                byte = s_box()[byte];
            }
        }
        for (size_t j = 0; j < 4; ++j) {
            w.push_back(w[4 * (i - nk) + j] ^ word[j]);
        }
    }
    return w;
}

// Which byte ShiftRows moves to position p.
size_t shifted_from(size_t p) {
    return 4 * ((p / 4 + p % 4) % 4) + p % 4;
}

} // namespace

AesTables fold_aes_key(const Bytes &key) {
    const size_t rounds = key.size() / 4 + 6;
    const Bytes w = expand(key, rounds);
    AesTables tables{static_cast<int32_t>(rounds), {}, {}, {}};
    for (int a = 0; a < 16; ++a) {
        for (int b = 0; b < 16; ++b) {
            tables.xor_table.push_back(static_cast<uint8_t>(a ^ b));
        }
    }
    constexpr uint8_t kMixColumn[4][4] = {{2, 1, 1, 3}, {3, 2, 1, 1}, {1, 3, 2, 1}, {1, 1, 3, 2}};
    for (size_t round = 0; round + 1 < rounds; ++round) {
        for (size_t p = 0; p < 16; ++p) {
            for (size_t x = 0; x < 256; ++x) {
                const uint8_t s = s_box()[x ^ w[16 * round + shifted_from(p)]];
                // Little-endian words: the byte of row 3 comes first.
                for (size_t row = 4; row-- > 0;) {
                    tables.round_tables.push_back(multiply(s, kMixColumn[p % 4][row]));
                }
            }
        }
    }
    for (size_t p = 0; p < 16; ++p) {
        for (size_t x = 0; x < 256; ++x) {
            const uint8_t s = s_box()[x ^ w[16 * (rounds - 1) + shifted_from(p)]];
            tables.last_round.push_back(s ^ w[16 * rounds + p]);
        }
    }
    return tables;
}

} // namespace test
