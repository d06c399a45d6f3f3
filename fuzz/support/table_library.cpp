// A table library as a compiler makes it of variables, each with room of its own that a sanitizer knows.

#include "table_library.h"

#include <cstddef>
#include <random>

extern "C" {

char wbid[] = "fuzz";
int32_t version = fuzz::kVersion;
const char *sm4_keyids[10] = {fuzz::kSm4Id};
const char *aes_keyids[10] = {fuzz::kAesIds[0], fuzz::kAesIds[1], fuzz::kAesIds[2]};

#define WBKIT_FUZZ_AES_KEY(bits, rounds)                                                                               \
    int32_t Nr_a##bits = rounds;                                                                                       \
    uint8_t Xor_a##bits[256];                                                                                          \
    uint8_t Tyboxes##bits##_a##bits[(rounds - 1) * 16384];                                                             \
    uint8_t TboxesLast_a##bits[4096]

WBKIT_FUZZ_AES_KEY(128, 10);
WBKIT_FUZZ_AES_KEY(192, 12);
WBKIT_FUZZ_AES_KEY(256, 14);
uint8_t table_s[32768];
}

const char *fuzz::keys[10] = {};

namespace {

struct Table {
    uint8_t *bytes;
    size_t size;
    uint8_t mask = 0xff;
};

// The entries of XOR tables are nibbles.
const Table kTables[] = {
    {Xor_a128, sizeof Xor_a128, 15},           {Tyboxes128_a128, sizeof Tyboxes128_a128},
    {TboxesLast_a128, sizeof TboxesLast_a128}, {Xor_a192, sizeof Xor_a192, 15},
    {Tyboxes192_a192, sizeof Tyboxes192_a192}, {TboxesLast_a192, sizeof TboxesLast_a192},
    {Xor_a256, sizeof Xor_a256, 15},           {Tyboxes256_a256, sizeof Tyboxes256_a256},
    {TboxesLast_a256, sizeof TboxesLast_a256}, {table_s, sizeof table_s},
};

const struct Filler {
    Filler() {
        std::minstd_rand random(1);
        for (const Table &table : kTables) {
            for (size_t i = 0; i < table.size; ++i) {
                table.bytes[i] = static_cast<uint8_t>(random() >> 8) & table.mask;
            }
        }
    }
} kFiller;

} // namespace
