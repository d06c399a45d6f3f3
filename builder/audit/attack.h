// Attacks on the tables of one key. They know the format and nothing else: no key, no encoding.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "builder/keys/secret_bytes.h"
#include "builder/reader/key_tables.h"

namespace wbtables {

// What an attack found. A key is one that the tables confirm: they encrypt random blocks as the cipher does under it.
struct Recovery {
    std::optional<SecretBytes> key;
    std::size_t faults = 0; // faulty ciphertexts that it took, if it works with any
    std::string remark;     // why there is no key, in a sentence; never a secret
};

// Round keys that stand in the tables as they are.
Recovery read_out_aes(const AesTablesView &tables);
Recovery read_out_sm4(const Sm4TablesView &tables);
// Peels the XOR table, fits the S-box.
Recovery recover_by_structure(const AesTablesView &tables);
// From the round tables. The XOR table serves to run the first round, for keys longer than a round key, and no more.
Recovery recover_by_collisions(const AesTablesView &tables);
// The tables serve as a black box in which one state byte can be changed.
Recovery recover_by_faults(const AesTablesView &tables);

// Correlation of simulated traces of the first table round with the bits of u = S(p ^ k), 2u, 3u and the field inverse
// of p ^ k (26 different linear masks of u), for every byte of the first round key.
//
// A trace has a sample for every bit that the block function reads or computes in that round: of the 16 words, of the 8
// results of adding two words, of the 4 of adding those, which are the stored bytes. It has no noise.
struct CorrelatedByte {
    // By guess: the highest absolute Pearson correlation of any mask with any of the 896 samples.
    std::array<double, 256> peak{};
    // The guess with the highest peak: what an unmodified attack answers.
    std::size_t highest_guess = 0;
    // The guess whose highest correlation with the 32 bits of this byte's own word is the lowest: what an attack
    // answers that knows of matrices chosen against predictions. Over all 256 plaintext bytes the right guess of a
    // hardened key then has zero exactly, wrong ones have far more; over random ones it has what chance makes of zero.
    // Other samples are left out since further bytes mask them: there every guess has what chance makes of zero.
    // Without encodings this guess means nothing.
    std::size_t lowest_guess = 0;
};
struct Correlation {
    std::size_t traces = 0;
    std::array<CorrelatedByte, 16> bytes{};
};
// One result for each of `trace_counts`, which ascend from at least 1: of the first so many traces of one series, of
// random plaintexts. The tables have the format's sizes.
std::vector<Correlation> correlate(const AesTablesView &tables, const std::vector<std::size_t> &trace_counts);

} // namespace wbtables
