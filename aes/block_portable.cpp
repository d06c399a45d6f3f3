// The AES block function as the tables define it.
//
// The four words of a column are added nibble by nibble through the XOR table, since the stored nibbles are encoded and
// only that table knows how to add them: the first two, the last two, then the two results.
//
// These look-ups are what bounds it. So the nibbles of two words are paired all at once, which makes each index a byte
// of a word, and a copy of the XOR table has its results where an index or a byte needs them. Many blocks go through a
// round before the next, since the tables of one round fit into the nearest cache and those of all rounds do not.

#include "aes/block.h"
#include "aes/shift_rows.h"
#include "aes/table_layout.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {
namespace {

// Indices of the XOR table: byte i is that of the nibbles 2i + 1 of two words in `high`, of the nibbles 2i in `low`.
struct NibblePairs {
    uint32_t high;
    uint32_t low;
};

NibblePairs pair_nibbles(uint32_t first, uint32_t second) {
    // The low nibbles of the first word change places with the high ones of the second.
    const uint32_t difference = (first ^ second >> 4) & 0x0f0f0f0f;
    return {first ^ difference, second ^ difference << 4};
}

// The XOR table with its results in the lower nibble and in the upper one.
class XorTable {
  public:
    static constexpr size_t kEntries = 256;

    // An entry of 16 or more is outside the format; it is cut to a nibble, so that no index leads outside the table.
    explicit XorTable(const uint8_t *entries) { // NOLINT(cppcoreguidelines-pro-type-member-init): the loop does
        for (size_t i = 0; i < kEntries; ++i) {
            lower_[i] = entries[i] & 15;
            upper_[i] = static_cast<uint8_t>(entries[i] << 4);
        }
    }

    // Adds the nibbles of four words whose pairs are at `shift`, the high and the low ones, to a byte.
    [[nodiscard]] uint8_t add(const NibblePairs &left, const NibblePairs &right, size_t shift) const {
        const uint32_t high = upper_[index(left.high >> shift & 0xff, right.high >> shift & 0xff)];
        const uint32_t low = lower_[index(left.low >> shift & 0xff, right.low >> shift & 0xff)];
        return static_cast<uint8_t>(high + low);
    }

  private:
    [[nodiscard]] uint32_t index(uint32_t left, uint32_t right) const {
        return uint32_t{upper_[left]} + uint32_t{lower_[right]};
    }

    uint8_t lower_[kEntries];
    uint8_t upper_[kEntries];
};

// One column of a round, ShiftRows before it. `tables` are those of the round.
template <size_t first>
void mix_column(const uint8_t *tables, const XorTable &xor_table, const uint8_t *state, uint8_t *next) {
    uint32_t words[4];
    for (size_t row = 0; row < 4; ++row) {
        const size_t entry = state[kShiftRows[first + row]];
        words[row] = load_le32(tables + (first + row) * kAesPositionBytes + entry * kAesWordBytes);
    }
    const NibblePairs left = pair_nibbles(words[0], words[1]);
    const NibblePairs right = pair_nibbles(words[2], words[3]);
    for (size_t row = 0; row < 4; ++row) {
        next[first + row] = xor_table.add(left, right, 24 - 8 * row);
    }
}

void last_round(const uint8_t *tables, const uint8_t *state, uint8_t *out) {
    uint8_t shifted[kBlockSize];
    shift_rows(state, shifted);
    for (size_t position = 0; position < kBlockSize; ++position) {
        out[position] = tables[position * kAesEntries + shifted[position]];
    }
}

constexpr size_t kBlocksTogether = 64;

using States = uint8_t[kBlocksTogether * kBlockSize];

// A round leads from one of the two `states` to the other.
[[gnu::noinline]] void encrypt_together(const tb_entry &key, const XorTable &xor_table, const uint8_t *in, uint8_t *out,
                                        size_t blocks, States *states) {
    const size_t size = blocks * kBlockSize;
    const int32_t table_rounds = aes_table_rounds(key.Nr);
    const uint8_t *state = in;
    for (int32_t round = 0; round < table_rounds; ++round) {
        const uint8_t *tables = key.Tyboxes + static_cast<size_t>(round) * kAesRoundBytes;
        uint8_t *next = states[round % 2];
        for (size_t block = 0; block < size; block += kBlockSize) {
            mix_column<0>(tables, xor_table, state + block, next + block);
            mix_column<4>(tables, xor_table, state + block, next + block);
            mix_column<8>(tables, xor_table, state + block, next + block);
            mix_column<12>(tables, xor_table, state + block, next + block);
        }
        state = next;
    }
    for (size_t block = 0; block < size; block += kBlockSize) {
        last_round(key.TboxesLast, state + block, out + block);
    }
}

} // namespace

void aes_encrypt_blocks_portable(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    const XorTable xor_table(key.Xor);
    States states[2];
    const size_t used = (blocks < kBlocksTogether ? blocks : kBlocksTogether) * kBlockSize;
    while (blocks != 0) {
        const size_t now = blocks < kBlocksTogether ? blocks : kBlocksTogether;
        encrypt_together(key, xor_table, in, out, now, states);
        in += now * kBlockSize;
        out += now * kBlockSize;
        blocks -= now;
    }
    wipe(states[0], used);
    wipe(states[1], used);
    wipe_stack();
}

} // namespace wbkit
