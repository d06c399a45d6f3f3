// Implementation notes. Sixteen blocks are worked on at once, their state as sixteen vectors: byte j of word i of every
// block. A look-up of sixteen bytes in 256 entries takes four TBL over 64 bytes each; an index outside of such a part
// gives 0, so that the four results are put together by OR. The linear transform shifts and exchanges vectors.
//
// What bounds it are the two vector pipes, which look-ups keep busy for two thirds of the time. A lane's 256 entries
// fill half of the registers, so they are loaded for each lane, and for several groups of sixteen blocks together,
// whose states wait in memory meanwhile.
//
// A few blocks are left to the portable kernel, as one costs as much as sixteen here.

#include <arm_neon.h>
#include <string.h>

#include "modes/block_cipher.h"
#include "sm4/block.h"
#include "sm4/table_layout.h"
#include "support/secret.h"
#include "support/target.h"

namespace wbkit {
namespace {

constexpr size_t kGroupBlocks = 16;
constexpr size_t kGroupBytes = kGroupBlocks * kBlockSize;
constexpr size_t kGroups = 4; // so many share the loads of a table
constexpr size_t kWorthAGroup = 6;

struct Group {
    uint8x16_t words[4][4]; // byte j of word i of sixteen blocks in words[i][j]
    uint8x16_t substituted[4];
};

struct Workspace {
    Group groups[kGroups];
    uint8_t planes[4][kGroupBytes / 4];
    uint8_t blocks[kGroupBytes]; // of a group that is not full
};

// The four bytes of words apart, then the four words of blocks.
WBKIT_INLINE void load_group(Workspace &work, Group &group, const uint8_t *in) {
#pragma GCC unroll 4
    for (size_t quarter = 0; quarter < 4; ++quarter) {
        const uint8x16x4_t bytes = vld4q_u8(in + 64 * quarter);
#pragma GCC unroll 4
        for (size_t j = 0; j < 4; ++j) {
            vst1q_u8(work.planes[j] + 16 * quarter, bytes.val[j]);
        }
    }
#pragma GCC unroll 4
    for (size_t j = 0; j < 4; ++j) {
        const uint8x16x4_t words = vld4q_u8(work.planes[j]);
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; ++i) {
            group.words[i][j] = words.val[i];
        }
    }
}

// The words leave in reverse order.
WBKIT_INLINE void store_group(Workspace &work, const Group &group, uint8_t *out) {
#pragma GCC unroll 4
    for (size_t j = 0; j < 4; ++j) {
        const uint8x16x4_t words = {{group.words[3][j], group.words[2][j], group.words[1][j], group.words[0][j]}};
        vst4q_u8(work.planes[j], words);
    }
#pragma GCC unroll 4
    for (size_t quarter = 0; quarter < 4; ++quarter) {
        uint8x16x4_t bytes;
#pragma GCC unroll 4
        for (size_t j = 0; j < 4; ++j) {
            bytes.val[j] = vld1q_u8(work.planes[j] + 16 * quarter);
        }
        vst4q_u8(out + 64 * quarter, bytes);
    }
}

WBKIT_INLINE void substitute(Group *groups, size_t count, const uint8_t *round_table, size_t round, size_t j) {
    const uint8_t *lane_table = round_table + j * kSm4LaneBytes;
    // Not an array, which a compiler would put into memory.
    const uint8x16x4_t first = vld1q_u8_x4(lane_table);
    const uint8x16x4_t second = vld1q_u8_x4(lane_table + 64);
    const uint8x16x4_t third = vld1q_u8_x4(lane_table + 128);
    const uint8x16x4_t fourth = vld1q_u8_x4(lane_table + 192);
#pragma GCC unroll 1
    for (size_t g = 0; g < count; ++g) {
        const auto &words = groups[g].words;
        const uint8x16_t index =
            veorq_u8(veorq_u8(words[(round + 1) % 4][j], words[(round + 2) % 4][j]), words[(round + 3) % 4][j]);
        const uint8x16_t lower =
            vorrq_u8(vqtbl4q_u8(first, index), vqtbl4q_u8(second, veorq_u8(index, vdupq_n_u8(0x40))));
        const uint8x16_t upper = vorrq_u8(vqtbl4q_u8(third, veorq_u8(index, vdupq_n_u8(0x80))),
                                          vqtbl4q_u8(fourth, veorq_u8(index, vdupq_n_u8(0xc0))));
        groups[g].substituted[j] = vorrq_u8(lower, upper);
    }
}

// Adds b + (b <<< 2) + (b <<< 10) + (b <<< 18) + (b <<< 24) to the word. With r = b <<< 2, that is b and b <<< 24, and
// all rotations of r by whole bytes but r <<< 24.
WBKIT_INLINE void add_transformed(uint8x16_t word[4], const uint8x16_t b[4]) {
    uint8x16_t r[4];
#pragma GCC unroll 4
    for (size_t j = 0; j < 4; ++j) {
        r[j] = vsriq_n_u8(vshlq_n_u8(b[j], 2), b[(j + 1) % 4], 6);
    }
    const uint8x16_t all = veorq_u8(veorq_u8(r[0], r[1]), veorq_u8(r[2], r[3]));
#pragma GCC unroll 4
    for (size_t j = 0; j < 4; ++j) {
        const size_t before = (j + 3) % 4;
        const uint8x16_t rotated = veorq_u8(all, veorq_u8(b[before], r[before]));
        word[j] = veorq_u8(word[j], veorq_u8(b[j], rotated));
    }
}

WBKIT_INLINE void pass_round(Group *groups, size_t count, const uint8_t *round_table, size_t round) {
    for (size_t j = 0; j < 4; ++j) {
        substitute(groups, count, round_table, round, j);
    }
#pragma GCC unroll 1
    for (size_t g = 0; g < count; ++g) {
        add_transformed(groups[g].words[round % 4], groups[g].substituted);
    }
}

WBKIT_OUTLINE void encrypt_groups(Workspace &work, const uint8_t *table, const uint8_t *in, uint8_t *out,
                                  size_t count) {
    for (size_t g = 0; g < count; ++g) {
        load_group(work, work.groups[g], in + g * kGroupBytes);
    }
    for (size_t round = 0; round < kSm4Rounds; ++round) {
        pass_round(work.groups, count, table + round * kSm4RoundBytes, round);
    }
    for (size_t g = 0; g < count; ++g) {
        store_group(work, work.groups[g], out + g * kGroupBytes);
    }
}

void encrypt_part_of_a_group(Workspace &work, const uint8_t *table, const uint8_t *in, uint8_t *out, size_t blocks) {
    memset(work.blocks, 0, sizeof work.blocks);
    memcpy(work.blocks, in, blocks * kBlockSize);
    encrypt_groups(work, table, work.blocks, work.blocks, 1);
    memcpy(out, work.blocks, blocks * kBlockSize);
}

WBKIT_OUTLINE size_t encrypt_blocks(Workspace &work, const uint8_t *table, const uint8_t *in, uint8_t *out,
                                    size_t blocks) {
    size_t done = 0;
    while (blocks - done >= kGroupBlocks) {
        const size_t whole = (blocks - done) / kGroupBlocks;
        const size_t count = whole < kGroups ? whole : kGroups;
        encrypt_groups(work, table, in + done * kBlockSize, out + done * kBlockSize, count);
        done += count * kGroupBlocks;
    }
    if (blocks - done >= kWorthAGroup) {
        encrypt_part_of_a_group(work, table, in + done * kBlockSize, out + done * kBlockSize, blocks - done);
        done = blocks;
    }
    return done;
}

} // namespace

void sm4_encrypt_blocks_neon(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    size_t done = 0;
    if (blocks >= kWorthAGroup) {
        Workspace work; // NOLINT(cppcoreguidelines-pro-type-member-init): filled as far as it is used
        done = encrypt_blocks(work, key.table, in, out, blocks);
        wipe(&work, sizeof work);
        wipe_stack();
    }
    if (done < blocks) {
        sm4_encrypt_blocks_portable(key, in + done * kBlockSize, out + done * kBlockSize, blocks - done);
    }
}

} // namespace wbkit
