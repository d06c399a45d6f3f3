// The kernels of GHASH.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

#include "support/secret.h"

namespace wbkit {

// A GHASH under way. A kernel keeps in `powers` what it makes of the hash subkey, in a form of its own, when it first
// pays: `powers_made` says how much of it there is, 0 at the start. One message stays with one kernel. Whoever holds
// the state wipes it.
struct GhashState {
    alignas(64) uint8_t powers[512] = {};
    size_t powers_made = 0;
    alignas(16) uint8_t h[16] = {}; // as it came
    alignas(16) uint8_t y[16] = {};
};

// Absorbs whole blocks: y = (y + block) * h for each in turn (SP 800-38D, 6.4). Takes the same time whatever the bytes.
using GhashKernel = void (*)(GhashState &state, const uint8_t *data, size_t blocks);

struct GhashRow {
    const char *name;
    bool (*usable)();
    GhashKernel absorb;
};

// Every kernel, best first. They ask for their instruction set by target attributes on their functions, and leave
// nothing of the subkey or the sum behind on the stack.
std::span<const GhashRow> ghash_kernels();

void ghash_absorb_vpclmul(GhashState &state, const uint8_t *data, size_t blocks);
void ghash_absorb_pclmul(GhashState &state, const uint8_t *data, size_t blocks);
void ghash_absorb_pmull(GhashState &state, const uint8_t *data, size_t blocks);
void ghash_absorb_portable(GhashState &state, const uint8_t *data, size_t blocks);

} // namespace wbkit
