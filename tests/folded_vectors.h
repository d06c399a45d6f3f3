// The cases of a kind of vectors, and their keys folded by the project's own builder.
#pragma once

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "modes/block_cipher.h"
#include "support/mode_functions.h"
#include "support/temp_dir.h"
#include "support/vector_file.h"

namespace test {

// A key in a table library.
struct Key {
    std::string dir;
    std::string wbid;
    std::string id;
    bool sm4 = false;

    tb_entry entry() const;
    // By the exported functions.
    void encrypt_block(uint8_t *block) const;
    Bytes run(ModeFunction function, const Bytes &iv, const Bytes &in) const;
};

// Each library holds ten keys. WBKIT_TEST_ENCODING chooses the tables: "none" or "hardened".
class FoldedVectors {
  public:
    explicit FoldedVectors(const std::string &kind);

    const std::vector<VectorCase> &cases() const { return cases_; }
    const Key &key(const VectorCase &each) const { return keys_.at(each.word("key")); }
    // Those of the kind's cipher that this CPU can run.
    std::vector<wbkit::KernelRow> kernels() const;

  private:
    void build(const std::vector<Bytes> &keys);

    std::vector<VectorCase> cases_;
    bool sm4_;
    TempDir dir_;
    std::map<std::string, Key> keys_;
    int libraries_ = 0;
};

// Names a test like its kind of vectors.
template <typename Info>
std::string kind_of(const Info &info) {
    std::ostringstream kind;
    kind << info.param;
    std::string name = kind.str();
    std::erase(name, '-');
    return name;
}

} // namespace test
