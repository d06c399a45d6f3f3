// The AES block function as the tables define it.
//
// The four words of a column are added nibble by nibble through the XOR table, since the stored nibbles are encoded and
// only that table knows how to add them: the first two, the last two, then the two results.
//
// These look-ups and what finds their indices bound it. So the nibbles of two words are paired all at once, which makes
// each index a byte of a word, and a copy of the XOR table has its results where an index or a byte needs them. For
// many blocks, a table of 4 KiB takes the last look-up of every nibble together with one before. They go through a
// round together before the next, since the tables of one round fit into the nearest cache and those of all do not.

#include <string.h>

#include <algorithm>

#include "aes/block.h"
#include "aes/block_state.h"
#include "aes/table_layout.h"
#include "support/secret.h"

namespace wbkit {
namespace {

constexpr size_t kNibbles = 16;
constexpr size_t kPairs = kNibbles * kNibbles;

// Indices of the XOR table: byte i is that of the nibbles 2i + 1 of two words in `high`, of the nibbles 2i in `low`.
struct NibblePairs {
    uint32_t high;
    uint32_t low;

    [[nodiscard]] size_t high_at(size_t i) const { return high >> 8 * i & 0xff; }
    [[nodiscard]] size_t low_at(size_t i) const { return low >> 8 * i & 0xff; }
};

NibblePairs pair_nibbles(uint32_t first, uint32_t second) {
    // The low nibbles of the first word change places with the high ones of the second.
    const uint32_t difference = (first ^ second >> 4) & 0x0f0f0f0f;
    return {first ^ difference, second ^ difference << 4};
}

// The XOR table with its results in the lower nibble and in the upper one.
class XorTable {
  public:
    // An entry of 16 or more is outside the format; it is cut to a nibble, so that no index leads outside the table.
    explicit XorTable(const uint8_t *entries) { // NOLINT(cppcoreguidelines-pro-type-member-init): the loop does
        for (size_t i = 0; i < kPairs; ++i) {
            lower_[i] = entries[i] & 15;
            upper_[i] = static_cast<uint8_t>(entries[i] << 4);
        }
    }

    [[nodiscard]] uint8_t operator[](size_t i) const { return lower_[i]; }

    // Byte i of the sum of four words.
    [[nodiscard]] uint32_t add(const NibblePairs &left, const NibblePairs &right, size_t i) const {
        return uint32_t{upper_[index(left.high_at(i), right.high_at(i))]} +
               uint32_t{lower_[index(left.low_at(i), right.low_at(i))]};
    }

  private:
    [[nodiscard]] uint32_t index(size_t left, size_t right) const {
        return uint32_t{upper_[left]} + uint32_t{lower_[right]};
    }

    uint8_t lower_[kPairs];
    uint8_t upper_[kPairs];
};

// The bytes of eight words are those of a square, whose rows and columns change places.
void transpose(uint64_t (&rows)[8]) {
    constexpr uint64_t kKept[] = {0x00ff00ff00ff00ff, 0x0000ffff0000ffff, 0x00000000ffffffff};
    for (size_t step = 0; step < 3; ++step) {
        const size_t distance = size_t{1} << step;
        for (size_t i = 0; i < 8; ++i) {
            if ((i & distance) == 0) {
                const uint64_t difference = (rows[i] >> 8 * distance ^ rows[i + distance]) & kKept[step];
                rows[i] ^= difference << 8 * distance;
                rows[i + distance] ^= difference;
            }
        }
    }
}

// Sums of a nibble and of the sum of a pair: a look-up for the left pair finds a row, and one for the right pair is in
// it.
class SumTable {
  public:
    explicit SumTable(const XorTable &xor_table) { // NOLINT(cppcoreguidelines-pro-type-member-init): the loops do
        uint8_t transposed[kPairs];
        for (size_t i = 0; i < kPairs; ++i) {
            transposed[i] = xor_table[i % kNibbles * kNibbles + i / kNibbles];
            rows_[i] = sums_[xor_table[i]];
        }
        for (size_t pair = 0; pair < kPairs; pair += 8) {
            for (size_t nibble = 0; nibble < kNibbles; nibble += 8) {
                uint64_t square[8];
                for (size_t i = 0; i < 8; ++i) {
                    memcpy(&square[i], transposed + xor_table[pair + i] * kNibbles + nibble, sizeof square[i]);
                }
                transpose(square);
                for (size_t i = 0; i < 8; ++i) {
                    memcpy(sums_[nibble + i] + pair, &square[i], sizeof square[i]);
                }
            }
        }
    }
    ~SumTable() = default;
    SumTable(const SumTable &) = delete;
    SumTable &operator=(const SumTable &) = delete;
    SumTable(SumTable &&) = delete;
    SumTable &operator=(SumTable &&) = delete;

    [[nodiscard]] uint32_t add(const NibblePairs &left, const NibblePairs &right, size_t i) const {
        return uint32_t{rows_[left.high_at(i)][right.high_at(i)]} << 4 |
               uint32_t{rows_[left.low_at(i)][right.low_at(i)]};
    }

  private:
    const uint8_t *rows_[kPairs];
    uint8_t sums_[kNibbles][kPairs];
};

// ShiftRows and one round. `tables` are those of the round.
template <typename Table>
void encrypt_round(const uint8_t *tables, const Table &table, uint8_t *state) {
    uint32_t words[kBlockSize];
    for (size_t i = 0; i < kBlockSize; ++i) {
        words[i] = load_word(tables, state, i);
    }
#pragma GCC unroll 4
    for (size_t column = 0; column < kColumns; ++column) {
        const uint32_t *word = words + column * kRows;
        const NibblePairs left = pair_nibbles(word[0], word[1]);
        const NibblePairs right = pair_nibbles(word[2], word[3]);
#pragma GCC unroll 4
        for (size_t i = 0; i < kRows; ++i) {
            uint32_t sum = table.add(left, right, i);
            asm("" : "+r"(sum)); // or GCC gathers bytes in vectors, and the next round waits for their store
            state[column * kRows + i] = static_cast<uint8_t>(sum);
        }
    }
}

// Every round's tables are used for all blocks before the next round's.
template <typename Table>
[[gnu::noinline]] void encrypt_batch(const tb_entry &key, const Table &table, const uint8_t *in, uint8_t *out,
                                     size_t blocks, uint8_t *states) {
    begin_blocks(in, states, blocks);
    const uint8_t *tables = key.Tyboxes;
    for (int32_t left = aes_table_rounds(key.Nr); left > 0; --left) {
        for (size_t i = 0; i < blocks * kBlockSize; i += kBlockSize) {
            encrypt_round(tables, table, states + i);
        }
        tables += kAesRoundBytes;
    }
    end_blocks(key.TboxesLast, states, out, blocks);
}

// More pay for the table of sums.
constexpr size_t kFewBlocks = 16;
constexpr size_t kMostBatched = 128;

void encrypt_few(const tb_entry &key, const XorTable &table, const uint8_t *in, uint8_t *out, size_t blocks) {
    uint8_t states[kFewBlocks * kBlockSize];
    encrypt_batch(key, table, in, out, blocks, states);
    wipe(states, blocks * kBlockSize);
    wipe_stack();
}

[[gnu::noinline]] void encrypt_many(const tb_entry &key, const SumTable &table, const uint8_t *in, uint8_t *out,
                                    size_t blocks) {
    uint8_t states[kMostBatched * kBlockSize];
    while (blocks != 0) {
        const size_t now = std::min(blocks, kMostBatched);
        encrypt_batch(key, table, in, out, now, states);
        in += now * kBlockSize;
        out += now * kBlockSize;
        blocks -= now;
    }
    wipe(states, sizeof states);
    wipe_stack();
}

} // namespace

void aes_encrypt_blocks_portable(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    const XorTable table(key.Xor);
    if (blocks <= kFewBlocks) {
        encrypt_few(key, table, in, out, blocks);
    } else {
        encrypt_many(key, SumTable(table), in, out, blocks);
    }
}

} // namespace wbkit
