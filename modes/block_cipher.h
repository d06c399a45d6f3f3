// What a mode knows of a cipher: it encrypts blocks. And how a cipher's fastest way to do so is chosen.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

#include "quen/tables.h"

namespace wbkit {

constexpr size_t kBlockSize = 16;

// Encrypts `blocks` 16-byte blocks. `in` and `out` are equal or do not overlap.
using BlockKernel = void (*)(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks);

struct KernelRow {
    const char *name; // what a test names when it fails
    bool (*usable)(); // asks the CPU that runs, never the one that built
    BlockKernel encrypt;
};

// The first usable row; the last row of every table is usable everywhere. Asked when an operation starts: nothing is
// remembered between calls.
BlockKernel choose_kernel(std::span<const KernelRow> rows);

// A key whose tables were found usable, and a way to encrypt with it.
struct BlockCipher {
    const tb_entry &key;
    BlockKernel kernel;

    void encrypt(const uint8_t *in, uint8_t *out, size_t blocks) const { kernel(key, in, out, blocks); }
};

} // namespace wbkit
