#include <bit>

#include "literal.h"
#include "support/byte_order.h"

namespace bench::literal {

void sm4_block(uint8_t state[16], tb_entry entry) {
    const uint8_t *table = entry.table;
    uint32_t slot[4];
    for (size_t k = 0; k < 4; ++k) {
        slot[k] = wbkit::load_be32(state + 4 * k);
    }
    for (size_t i = 0; i < 32; ++i) {
        const uint32_t t = slot[(i + 1) % 4] ^ slot[(i + 2) % 4] ^ slot[(i + 3) % 4];
        uint32_t b = 0;
        for (uint32_t lane = 0; lane < 4; ++lane) {
            b = b << 8 | table[256 * lane + (t >> (24 - 8 * lane) & 0xff)];
        }
        slot[i % 4] ^= b ^ std::rotl(b, 2) ^ std::rotl(b, 10) ^ std::rotl(b, 18) ^ std::rotl(b, 24);
        table += 1024;
    }
    for (size_t k = 0; k < 4; ++k) {
        wbkit::store_be32(state + 4 * k, slot[3 - k]);
    }
}

} // namespace bench::literal
