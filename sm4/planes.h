// SM4 on planes: how any number of blocks is brought to a kernel that works on groups of them.
//
// The state of a group of blocks is 16 planes, one for each byte position of a block; a plane is a vector register with
// that byte of every block. Which block is where in a plane does not matter, as long as all planes agree.
//
// A `Set` describes an instruction set, in a type that one file alone knows. Nothing here is compiled for it; its
// functions are, so they are not inlined.
//   Group                  the 16 planes of a group; to_planes and from_planes bring whole ones there and back
//   kMostGroups            of a batch, which goes through a round with all its groups before the next
//   kFewestBlocks          from this many blocks on, a group that is not full is faster than the portable kernel
//   kRounds                the 32 rounds of 1, 2, ... kMostGroups groups
#pragma once

#include <string.h>

#include <algorithm>

#include "sm4/block.h"
#include "support/secret.h"

namespace wbkit {

constexpr size_t kPlanes = kBlockSize;

template <typename Set>
constexpr size_t kGroupBytes = sizeof(typename Set::Group);

// Bytes of a last group that is not full, if it is worth its while.
template <typename Set>
size_t part_of_group(size_t len) {
    return len < Set::kFewestBlocks * kBlockSize ? 0 : len;
}

// Encrypts as much of `len` bytes as fits into a batch, and returns how much that was. Inlined, so that what wipes the
// stack is called by the caller of all that works on it.
template <typename Set>
[[gnu::always_inline]] inline size_t encrypt_batch(const uint8_t *table, const uint8_t *in, uint8_t *out, size_t len,
                                                   typename Set::Group *groups) {
    const size_t whole = std::min(len / kGroupBytes<Set>, Set::kMostGroups);
    const size_t whole_len = whole * kGroupBytes<Set>;
    const size_t part_len = whole == Set::kMostGroups ? 0 : part_of_group<Set>(len - whole_len);
    uint8_t part[kGroupBytes<Set>];
    for (size_t g = 0; g < whole; ++g) {
        Set::Group::to_planes(in + g * kGroupBytes<Set>, groups[g]);
    }
    if (part_len != 0) {
        memcpy(part, in + whole_len, part_len);
        memset(part + part_len, 0, sizeof part - part_len);
        Set::Group::to_planes(part, groups[whole]);
    }
    Set::kRounds[whole + (part_len != 0 ? 1 : 0) - 1](table, groups);
    for (size_t g = 0; g < whole; ++g) {
        Set::Group::from_planes(groups[g], out + g * kGroupBytes<Set>);
    }
    if (part_len != 0) {
        Set::Group::from_planes(groups[whole], part);
        memcpy(out + whole_len, part, part_len);
        wipe(part, sizeof part);
    }
    return whole_len + part_len;
}

template <typename Set>
void encrypt_in_groups(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    if (blocks >= Set::kFewestBlocks) {
        typename Set::Group groups[Set::kMostGroups];
        size_t len = blocks * kBlockSize;
        const size_t used = (len + kGroupBytes<Set> - 1) / kGroupBytes<Set> * kGroupBytes<Set>;
        while (len >= Set::kFewestBlocks * kBlockSize) {
            const size_t done = encrypt_batch<Set>(key.table, in, out, len, groups);
            in += done;
            out += done;
            len -= done;
        }
        wipe(groups, std::min(sizeof groups, used));
        wipe_stack<1792>();
        blocks = len / kBlockSize;
    }
    if (blocks != 0) {
        sm4_encrypt_blocks_portable(key, in, out, blocks);
    }
}

} // namespace wbkit
