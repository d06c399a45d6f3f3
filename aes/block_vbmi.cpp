// AES blocks from tables on AVX-512 with byte permutations (VBMI).
//
// A two-register permutation looks 64 bytes up at once, in 128 entries. The XOR table fits into one, two nibbles a
// byte, of which the index's top bit then chooses; a table of 256 bytes takes two.
//
// Many blocks: a register holds one state byte of 64 blocks. ShiftRows is then a choice of registers, and the round
// tables are looked up in registers too: the 256 words of a position are split into four tables of bytes, for all
// blocks of the batch. The units that permute bytes and make masks bound it; the split pays from tens of blocks on.
//
// Few blocks: a register holds four blocks or one. Their words are loaded one by one, and only the additions are done
// in registers. The way to the words in the second-level cache bounds it, and for one block its latency.

#include <string.h>

#include <algorithm>

#include "aes/block.h"
#include "aes/block_state.h"
#include "aes/table_layout.h"
#include "support/avx512.h"
#include "support/secret.h"

#define WBKIT_TARGET "avx512f,avx512bw,avx512vl,avx512vbmi"
#include "support/target.h"

namespace wbkit {
namespace {

constexpr size_t kVector = 64;

WBKIT_INLINE __m512i load(const uint8_t *bytes) {
    return _mm512_loadu_si512(bytes);
}

WBKIT_INLINE void store(uint8_t *bytes, __m512i value) {
    _mm512_storeu_si512(bytes, value);
}

// The upper nibbles of `upper` and the lower ones of `lower`.
WBKIT_INLINE __m512i join_nibbles(__m512i upper, __m512i lower) {
    return _mm512_ternarylogic_epi64(_mm512_set1_epi8(-16), upper, lower, 0xca);
}

// Byte i holds entry i in its lower nibble and entry i + 128 in its upper one.
struct XorTable {
    __m512i part[2];
};

WBKIT_INLINE XorTable load_xor_table(const uint8_t *entries) {
    XorTable table{};
    for (size_t i = 0; i < 2; ++i) {
        const __m512i low = load(entries + i * kVector);
        const __m512i high = load(entries + (i + 2) * kVector);
        table.part[i] = join_nibbles(_mm512_slli_epi16(high, 4), low);
    }
    return table;
}

// Looks up in both tables, and joins the results to bytes that have those of the first in their upper nibbles.
WBKIT_INLINE __m512i add_pairs(const XorTable &first, __m512i first_index, const XorTable &second,
                               __m512i second_index) {
    const __m512i upper = _mm512_permutex2var_epi8(first.part[0], first_index, first.part[1]);
    const __m512i lower = _mm512_permutex2var_epi8(second.part[0], second_index, second.part[1]);
    return join_nibbles(_mm512_mask_mov_epi8(_mm512_slli_epi16(upper, 4), _mm512_movepi8_mask(first_index), upper),
                        _mm512_mask_mov_epi8(lower, _mm512_movepi8_mask(second_index), _mm512_srli_epi16(lower, 4)));
}

// ---- Few blocks

// The words that one row of the state adds to the four columns.
WBKIT_INLINE __m128i load_row(const uint8_t *tables, const uint8_t *state, size_t row) {
    const auto word = [&](size_t column) { return static_cast<int>(load_word(tables, state, column * kRows + row)); };
    return _mm_setr_epi32(word(0), word(1), word(2), word(3));
}

WBKIT_INLINE __m256i load_row_of_two(const uint8_t *tables, const uint8_t *states, size_t row) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load_row(tables, states, row)),
                                   load_row(tables, states + kBlockSize, row), 1);
}

WBKIT_INLINE __m512i load_row_of_four(const uint8_t *tables, const uint8_t *states, size_t row) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(load_row_of_two(tables, states, row)),
                              load_row_of_two(tables, states + 2 * kBlockSize, row), 1);
}

// Adds the four words of each column, in every lane.
WBKIT_INLINE __m512i add_words(const XorTable &table, __m512i w0, __m512i w1, __m512i w2, __m512i w3) {
    const __m512i high =
        add_pairs(table, join_nibbles(w0, _mm512_srli_epi32(w1, 4)), table, join_nibbles(w2, _mm512_srli_epi32(w3, 4)));
    const __m512i low =
        add_pairs(table, join_nibbles(_mm512_slli_epi32(w0, 4), w1), table, join_nibbles(_mm512_slli_epi32(w2, 4), w3));
    return add_pairs(table, high, table, low);
}

// A single block waits for its state in every round, so that it stays in registers.
struct State {
    uint64_t half[2];

    [[nodiscard]] uint8_t at(size_t index) const { return static_cast<uint8_t>(half[index / 8] >> 8 * (index % 8)); }
};

WBKIT_INLINE __m512i load_row(const uint8_t *tables, const State &state, size_t row) {
    const auto word = [&](size_t column) {
        const size_t position = column * kRows + row;
        const size_t byte = state.at(shifted_index(position));
        return static_cast<int>(load_le32(tables + position * kAesPositionBytes + byte * kAesWordBytes));
    };
    return _mm512_castsi128_si512(_mm_setr_epi32(word(0), word(1), word(2), word(3)));
}

WBKIT_OUTLINE void encrypt_one(const tb_entry &key, const uint8_t *in, uint8_t *out) {
    const XorTable table = load_xor_table(key.Xor);
    State state = {
        {uint64_t{load_be32(in + 4)} << 32 | load_be32(in), uint64_t{load_be32(in + 12)} << 32 | load_be32(in + 8)}};
    const uint8_t *tables = key.Tyboxes;
    for (int32_t left = aes_table_rounds(key.Nr); left > 0; --left) {
        const __m128i sums =
            _mm512_castsi512_si128(add_words(table, load_row(tables, state, 0), load_row(tables, state, 1),
                                             load_row(tables, state, 2), load_row(tables, state, 3)));
        state = {{static_cast<uint64_t>(_mm_cvtsi128_si64(sums)), static_cast<uint64_t>(_mm_extract_epi64(sums, 1))}};
        tables += kAesRoundBytes;
    }
    for (size_t position = 0; position < kBlockSize; ++position) {
        out[position] = key.TboxesLast[position * kAesEntries + state.at(shifted_index(position))];
    }
}

// They go through a round in batches: the chains of several registers overlap, and a round's tables stay in the cache.
constexpr size_t kMostBatchedFew = 32;

WBKIT_OUTLINE void encrypt_batch(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks, uint8_t *states) {
    const XorTable table = load_xor_table(key.Xor);
    begin_blocks(in, states, blocks);
    const uint8_t *tables = key.Tyboxes;
    for (int32_t left = aes_table_rounds(key.Nr); left > 0; --left) {
        for (size_t i = 0; i < blocks * kBlockSize; i += kVector) {
            const uint8_t *four = states + i;
            store(states + i, add_words(table, load_row_of_four(tables, four, 0), load_row_of_four(tables, four, 1),
                                        load_row_of_four(tables, four, 2), load_row_of_four(tables, four, 3)));
        }
        tables += kAesRoundBytes;
    }
    end_blocks(key.TboxesLast, states, out, blocks);
}

void encrypt_few(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    // A register's last lanes may have no block; they start with zeros.
    alignas(kVector) uint8_t states[kMostBatchedFew * kBlockSize] = {};
    encrypt_batch(key, in, out, blocks, states);
    wipe(states, sizeof states);
    wipe_stack();
}

// ---- Many blocks

constexpr size_t kGroupBlocks = 64;
constexpr size_t kGroups = 4;
constexpr size_t kMostBatched = kGroups * kGroupBlocks;

// 16 planes of 64 blocks: one for each state position, or for each byte of a column's four words.
struct Planes {
    alignas(kVector) uint8_t bytes[kBlockSize][kVector];
};

struct Batch {
    Planes state[kGroups];
    Planes next[kGroups];
    Planes words[kGroups];
};

// A table of 256 bytes.
struct ByteTable {
    __m512i part[4];
};

WBKIT_INLINE ByteTable load_byte_table(const uint8_t *entries) {
    return {{load(entries), load(entries + kVector), load(entries + 2 * kVector), load(entries + 3 * kVector)}};
}

// The indices of 64 look-ups, and which of them are in the upper half of a table.
struct Indices {
    __m512i bytes;
    __mmask64 is_upper;
};

WBKIT_INLINE Indices load_indices(const uint8_t *bytes) {
    const __m512i indices = load(bytes);
    return {indices, _mm512_movepi8_mask(indices)};
}

// The first permutation leaves the indices of the second where that is to look up.
WBKIT_INLINE __m512i look_up(const ByteTable &table, const Indices &indices) {
    const __m512i lower =
        _mm512_mask2_permutex2var_epi8(table.part[0], indices.bytes, ~indices.is_upper, table.part[1]);
    return _mm512_mask2_permutex2var_epi8(table.part[2], lower, indices.is_upper, table.part[3]);
}

// Indices of the bytes 0 of 32 words, then of their bytes 1.
struct FirstBytes {
    alignas(kVector) uint8_t index[kVector] = {};
    constexpr FirstBytes() {
        for (size_t i = 0; i < kVector; ++i) {
            index[i] = static_cast<uint8_t>(i % 32 * kAesWordBytes + i / 32);
        }
    }
};
constexpr FirstBytes kFirstBytes;

// Splits the 256 words of a position into tables of their bytes.
WBKIT_INLINE void split_words(const uint8_t *entries, bool rotated, ByteTable tables[4]) {
    const __m512i first_bytes = load(kFirstBytes.index);
    const __m512i last_bytes = _mm512_add_epi8(first_bytes, _mm512_set1_epi8(2));
    for (size_t part = 0; part < 4; ++part) {
        __m512i words[4];
        for (size_t i = 0; i < 4; ++i) {
            words[i] = load(entries + (part * 4 + i) * kVector);
            if (rotated) {
                words[i] = _mm512_rol_epi32(words[i], 4);
            }
        }
        const __m512i a = _mm512_permutex2var_epi8(words[0], first_bytes, words[1]);
        const __m512i b = _mm512_permutex2var_epi8(words[2], first_bytes, words[3]);
        tables[0].part[part] = _mm512_shuffle_i64x2(a, b, 0x44);
        tables[1].part[part] = _mm512_shuffle_i64x2(a, b, 0xee);
        const __m512i c = _mm512_permutex2var_epi8(words[0], last_bytes, words[1]);
        const __m512i d = _mm512_permutex2var_epi8(words[2], last_bytes, words[3]);
        tables[2].part[part] = _mm512_shuffle_i64x2(c, d, 0x44);
        tables[3].part[part] = _mm512_shuffle_i64x2(c, d, 0xee);
    }
}

// The words of a column's position `row`, whose state byte is in plane `from`.
WBKIT_INLINE void look_up_words(const uint8_t *entries, bool rotated, const Planes *state, size_t from, Planes *words,
                                size_t row, size_t groups) {
    ByteTable tables[4];
    split_words(entries, rotated, tables);
    for (size_t group = 0; group < groups; ++group) {
        const Indices indices = load_indices(state[group].bytes[from]);
        for (size_t byte = 0; byte < 4; ++byte) {
            store(words[group].bytes[row * 4 + byte], look_up(tables[byte], indices));
        }
    }
}

// Words 1 and 2 come rotated left by a nibble, so that the nibbles which meet in an index already stand in its two
// places. In half of the indices the operands stand the other way round: those look up in the transposed table.
WBKIT_INLINE void mix_column(const XorTable &table, const XorTable &transposed, const Planes &words,
                             uint8_t (*column)[kVector]) {
    for (size_t row = 0; row < 4; ++row) {
        const size_t byte = 3 - row;
        const size_t above = (byte + 1) % 4; // where the high nibbles went by the rotation
        const __m512i w0 = load(words.bytes[byte]);
        const __m512i w3 = load(words.bytes[12 + byte]);
        const __m512i high = add_pairs(table, join_nibbles(w0, load(words.bytes[4 + above])), transposed,
                                       join_nibbles(w3, load(words.bytes[8 + above])));
        const __m512i low = add_pairs(table, join_nibbles(load(words.bytes[8 + byte]), w3), transposed,
                                      join_nibbles(load(words.bytes[4 + byte]), w0));
        store(column[row], add_pairs(table, high, transposed, low));
    }
}

// The rows of the first half, each with its fellow of the second, byte by byte.
WBKIT_INLINE void interleave(const __m512i from[16], __m512i to[16]) {
    for (size_t i = 0; i < 8; ++i) {
        to[2 * i] = _mm512_unpacklo_epi8(from[i], from[i + 8]);
        to[2 * i + 1] = _mm512_unpackhi_epi8(from[i], from[i + 8]);
    }
}

// Between blocks and planes, in both directions: done four times, interleaving transposes. In a plane the blocks are
// not in their order, which nothing asks for.
WBKIT_OUTLINE void transpose(const uint8_t *in, uint8_t *out) {
    __m512i rows[16];
    __m512i once[16];
    for (size_t i = 0; i < 16; ++i) {
        rows[i] = load(in + i * kVector);
    }
    interleave(rows, once);
    interleave(once, rows);
    interleave(rows, once);
    interleave(once, rows);
    for (size_t i = 0; i < 16; ++i) {
        store(out + i * kVector, rows[i]);
    }
}

WBKIT_INLINE XorTable load_transposed(const uint8_t *entries) {
    uint8_t transposed[kAesEntries];
    for (size_t i = 0; i < kAesEntries; ++i) {
        transposed[i] = entries[i % 16 * 16 + i / 16];
    }
    return load_xor_table(transposed);
}

// Returns which of the batch's states are the last.
WBKIT_OUTLINE Planes *encrypt_planes(const tb_entry &key, Batch &batch, size_t groups) {
    const XorTable xor_table = load_xor_table(key.Xor);
    const XorTable transposed = load_transposed(key.Xor);
    Planes *state = batch.state;
    Planes *next = batch.next;
    const uint8_t *tables = key.Tyboxes;
    const int32_t rounds = aes_table_rounds(key.Nr);
    for (int32_t round = 0; round < rounds; ++round) {
        for (size_t column = 0; column < 4; ++column) {
            for (size_t row = 0; row < 4; ++row) {
                const bool rotated = row == 1 || row == 2;
                look_up_words(tables, rotated, state, kShiftRows[column * 4 + row], batch.words, row, groups);
                tables += kAesPositionBytes;
            }
            for (size_t group = 0; group < groups; ++group) {
                mix_column(xor_table, transposed, batch.words[group], next[group].bytes + column * 4);
            }
        }
        Planes *const done = next;
        next = state;
        state = done;
    }
    for (size_t position = 0; position < kBlockSize; ++position) {
        const ByteTable table = load_byte_table(key.TboxesLast + position * kAesEntries);
        for (size_t group = 0; group < groups; ++group) {
            store(next[group].bytes[position], look_up(table, load_indices(state[group].bytes[kShiftRows[position]])));
        }
    }
    return next;
}

void encrypt_many(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    Batch batch; // NOLINT(cppcoreguidelines-pro-type-member-init): written before it is read
    const size_t whole = blocks / kGroupBlocks;
    const size_t rest = blocks % kGroupBlocks * kBlockSize;
    uint8_t *const last = batch.words[0].bytes[0];
    for (size_t group = 0; group < whole; ++group) {
        transpose(in + group * sizeof(Planes), batch.state[group].bytes[0]);
    }
    if (rest != 0) {
        memcpy(last, in + whole * sizeof(Planes), rest);
        memset(last + rest, 0, sizeof(Planes) - rest);
        transpose(last, batch.state[whole].bytes[0]);
    }
    const Planes *const done = encrypt_planes(key, batch, whole + (rest != 0 ? 1 : 0));
    for (size_t group = 0; group < whole; ++group) {
        transpose(done[group].bytes[0], out + group * sizeof(Planes));
    }
    if (rest != 0) {
        transpose(done[whole].bytes[0], last);
        memcpy(out + whole * sizeof(Planes), last, rest);
    }
    wipe(&batch, sizeof batch);
    wipe_stack<2560>();
}

// Up to here the few are faster.
constexpr size_t kFewBlocks = 48;

} // namespace

void aes_encrypt_blocks_vbmi(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    if (blocks == 1) {
        encrypt_one(key, in, out);
        wipe_stack();
        return;
    }
    while (blocks != 0) {
        const bool few = blocks <= kFewBlocks;
        const size_t now = std::min(blocks, few ? kMostBatchedFew : kMostBatched);
        (few ? encrypt_few : encrypt_many)(key, in, out, now);
        in += now * kBlockSize;
        out += now * kBlockSize;
        blocks -= now;
    }
}

} // namespace wbkit
