#include "folded_vectors.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <gtest/gtest.h>

#include "aes/block.h"
#include "builder/library.h"
#include "sm4/block.h"

namespace test {
namespace {

wbtables::EncodingKind encoding() {
    const char *name = getenv("WBKIT_TEST_ENCODING");
    if (name == nullptr || (strcmp(name, "none") != 0 && strcmp(name, "hardened") != 0)) {
        throw std::runtime_error("WBKIT_TEST_ENCODING is neither none nor hardened");
    }
    return strcmp(name, "none") == 0 ? wbtables::EncodingKind::none : wbtables::EncodingKind::hardened;
}

wbtables::Algorithm algorithm(bool sm4, const Bytes &key) {
    using wbtables::Algorithm;
    return sm4                ? Algorithm::sm4
           : key.size() == 16 ? Algorithm::aes128
           : key.size() == 24 ? Algorithm::aes192
                              : Algorithm::aes256;
}

wbtables::SecretBytes secret(const Bytes &bytes) {
    return {bytes.begin(), bytes.end()};
}

} // namespace

tb_entry Key::entry() const {
    return get_tb_entry(dir.c_str(), wbid.c_str(), id.c_str(), 1);
}

void Key::encrypt_block(uint8_t *block) const {
    if (sm4) {
        wbsm4(block, block, entry());
    } else {
        Cipher(block, entry());
    }
}

Bytes Key::run(ModeFunction function, const Bytes &iv, const Bytes &in) const {
    Bytes out(in.size() + 16);
    int64_t len = 0;
    // The functions of SM4 refuse an empty text.
    if (!in.empty()) {
        EXPECT_EQ(
            function(dir.c_str(), iv.data(), in.data(), in.size(), out.data(), &len, 0, wbid.c_str(), id.c_str(), 1),
            0);
    }
    out.resize(static_cast<size_t>(len));
    return out;
}

FoldedVectors::FoldedVectors(const std::string &kind) : cases_(read_vectors(kind)), sm4_(kind.rfind("sm4", 0) == 0) {
    std::vector<Bytes> pending;
    for (const VectorCase &each : cases_) {
        Key key{dir_.string(), "v" + std::to_string(libraries_), "k" + std::to_string(pending.size()), sm4_};
        if (keys_.try_emplace(each.word("key"), std::move(key)).second) {
            pending.push_back(each.bytes("key"));
        }
        if (pending.size() == 10 || (&each == &cases_.back() && !pending.empty())) {
            build(std::exchange(pending, {}));
        }
    }
}

std::vector<wbkit::KernelRow> FoldedVectors::kernels() const {
    std::vector<wbkit::KernelRow> usable;
    std::ranges::copy_if(sm4_ ? wbkit::sm4_kernels() : wbkit::aes_kernels(), std::back_inserter(usable),
                         [](const auto &row) { return row.usable(); });
    return usable;
}

void FoldedVectors::build(const std::vector<Bytes> &keys) {
    wbtables::KeySet set;
    set.wbid = "v" + std::to_string(libraries_++);
    set.version = 1;
    set.appid = "vectors";
    set.sk = secret(bytes_of("sk"));
    set.ak = secret(bytes_of("ak"));
    for (size_t i = 0; i < keys.size(); ++i) {
        wbtables::KeySpec key;
        key.id = "k" + std::to_string(i);
        key.algorithm = algorithm(sm4_, keys[i]);
        key.value = secret(keys[i]);
        set.keys.push_back(std::move(key));
    }
    wbtables::BuildOptions options;
    options.encoding = encoding();
    options.check = false; // the vectors check it
    wbtables::build_library(set, dir_.path(), options);
}

} // namespace test
