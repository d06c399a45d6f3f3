// The AES block function as the tables define it, one block at a time.
//
// The four words of a column are added nibble by nibble through the XOR table, since the stored nibbles are encoded and
// only that table knows how to add them.

#include "aes/block.h"
#include "aes/shift_rows.h"
#include "aes/table_layout.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {
namespace {

class XorTable {
  public:
    explicit XorTable(const uint8_t *entries) : entries_(entries) {}

    // Adds the nibbles of four words at bit position `shift`: the first two, the last two, then the two results.
    [[nodiscard]] uint32_t add(const uint32_t words[4], int shift) const {
        const uint32_t left = look_up(words[0] >> shift & 15, words[1] >> shift & 15);
        const uint32_t right = look_up(words[2] >> shift & 15, words[3] >> shift & 15);
        return look_up(left, right);
    }

  private:
    // An entry of 16 or more is outside the format; the mask keeps it from leading outside the table.
    [[nodiscard]] uint32_t look_up(uint32_t a, uint32_t b) const { return entries_[(a * 16 + b) & 0xff]; }

    const uint8_t *entries_;
};

// `position_tables` are those of the column's four positions.
void mix_column(const uint8_t *position_tables, const XorTable &xor_table, const uint8_t column_in[4],
                uint8_t column_out[4]) {
    uint32_t words[4];
    for (size_t row = 0; row < 4; ++row) {
        words[row] = load_le32(position_tables + row * kAesPositionBytes + column_in[row] * kAesWordBytes);
    }
    for (int row = 0; row < 4; ++row) {
        const int low_shift = 24 - 8 * row;
        const uint32_t high = xor_table.add(words, low_shift + 4);
        column_out[row] = static_cast<uint8_t>(high * 16 + xor_table.add(words, low_shift));
    }
}

// `state` and `shifted` are room for the state before and after ShiftRows.
void encrypt_block(const tb_entry &key, const uint8_t *in, uint8_t *out, uint8_t *state, uint8_t *shifted) {
    const XorTable xor_table(key.Xor);
    const int32_t table_rounds = aes_table_rounds(key.Nr);
    shift_rows(in, shifted);
    for (int32_t round = 0; round < table_rounds; ++round) {
        const uint8_t *round_tables = key.Tyboxes + static_cast<size_t>(round) * kAesRoundBytes;
        for (size_t first = 0; first < kBlockSize; first += 4) {
            mix_column(round_tables + first * kAesPositionBytes, xor_table, shifted + first, state + first);
        }
        shift_rows(state, shifted);
    }
    for (size_t position = 0; position < kBlockSize; ++position) {
        out[position] = key.TboxesLast[position * kAesEntries + shifted[position]];
    }
}

[[gnu::noinline]] void encrypt_blocks(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    uint8_t state[kBlockSize];
    uint8_t shifted[kBlockSize];
    for (size_t block = 0; block < blocks; ++block) {
        encrypt_block(key, in + block * kBlockSize, out + block * kBlockSize, state, shifted);
    }
}

} // namespace

void aes_encrypt_blocks_portable(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    encrypt_blocks(key, in, out, blocks);
    wipe_stack();
}

} // namespace wbkit
