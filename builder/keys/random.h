// Random numbers for secrets, from OpenSSL's private generator, which the operating system seeds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

void fill_random(std::span<std::uint8_t> out);
SecretBytes random_bytes(std::size_t count);

// Uniform in 0 .. bound - 1. 0 < bound <= 256.
unsigned random_below(unsigned bound);

// Makes `out` a uniformly random permutation of 0 .. out.size() - 1 (Fisher-Yates). out.size() <= 256.
void random_permutation(std::span<std::uint8_t> out);

// Bytes for whoever needs many, one at a time: a call of the generator costs more than a byte.
class RandomStream {
  public:
    std::uint8_t next() {
        if (used_ == pool_.size()) {
            fill_random(pool_);
            used_ = 0;
        }
        return pool_[used_++];
    }

  private:
    SecretBytes pool_ = SecretBytes(4096);
    std::size_t used_ = 4096;
};

#ifdef WBTABLES_SEEDED_RANDOM
// For tests that must repeat: all that follows comes from `seed`, in every thread, or again from the system without
// one. Only builds with tests have it.
void seed_random(std::optional<std::uint64_t> seed);
#endif

} // namespace wbtables
