// Public vectors of GCM, and some for its departure, through tables of the project's own builder.

#include <functional>
#include <map>
#include <optional>

#include <gtest/gtest.h>

#include "folded_vectors.h"
#include "support/forced_kernels.h"

namespace {

using test::Bytes;
using test::FoldedVectors;
using test::mode;
using test::VectorCase;

// What a GCM message needs besides its text.
struct GcmCall {
    const test::Key &key;
    Bytes iv;
    Bytes aad;
    size_t tag_len;

    // Text and tag, joined or apart.
    Bytes joined(Bytes text, const Bytes &tag) const {
        text.insert(text.end(), tag.begin(), tag.begin() + static_cast<ptrdiff_t>(tag_len));
        return text;
    }
    Bytes text_of(const Bytes &sealed) const {
        return {sealed.begin(), sealed.end() - static_cast<ptrdiff_t>(tag_len)};
    }
    Bytes tag_of(const Bytes &sealed) const { return {sealed.end() - static_cast<ptrdiff_t>(tag_len), sealed.end()}; }
};

// Seals a text, its tag behind it, or opens one. Nothing comes of a text that is refused.
using GcmWay = std::function<std::optional<Bytes>(const GcmCall &call, bool opens, const Bytes &in)>;

std::optional<Bytes> exported(const GcmCall &call, bool opens, const Bytes &in) {
    Bytes tag = opens ? call.tag_of(in) : Bytes(16);
    Bytes out = opens ? call.text_of(in) : call.joined(in, tag);
    int64_t len = -1;
    const auto run = [&](auto function) {
        return function(call.key.dir.c_str(), in.data(), in.size(), call.iv.data(), call.iv.size(), call.aad.data(),
                        call.aad.size(), tag.data(), call.tag_len, out.data(), &len, call.key.wbid.c_str(),
                        call.key.id.c_str(), 1);
    };
    const int32_t status = opens ? run(wb_aes_gcm_decrypt) : run(wb_aes_gcm_encrypt);
    EXPECT_EQ(len, static_cast<int64_t>(out.size()));
    EXPECT_TRUE(opens || out == call.joined(call.text_of(out), tag));
    EXPECT_TRUE(status == 0 || (opens && status == -93 && out == Bytes(out.size()))) << status;
    return status == 0 ? std::optional(out) : std::nullopt;
}

// As those do it who have no operation for it: from J0, CTR and the tag.
std::optional<Bytes> composed(const GcmCall &call, bool opens, const Bytes &in) {
    Bytes h(16);
    Bytes j0(16);
    Bytes tag(16);
    call.key.encrypt_block(h.data());
    aes_gcm_prepare_j0(call.iv.data(), call.iv.size(), h.data(), j0.data());
    Bytes counter = j0;
    for (size_t i = 16; i-- > 0 && ++counter[i] == 0;) {
    }
    const auto ctr = call.key.sm4 ? (opens ? mode<wbsm4_ctr_decrypt> : mode<wbsm4_ctr_encrypt>)
                                  : (opens ? mode<aes_WBkit_decrypt_ctr> : mode<aes_WBkit_encrypt_ctr>);
    const Bytes text = opens ? call.text_of(in) : in;
    const Bytes out = call.key.run(ctr, counter, text);
    const Bytes &encrypted = opens ? text : out;
    const auto create_tag = call.key.sm4 ? sm4_gcm_create_tag : aes_gcm_create_tag;
    EXPECT_EQ(create_tag(call.key.dir.c_str(), encrypted.data(), encrypted.size(), call.aad.data(), call.aad.size(),
                         h.data(), j0.data(), tag.data(), call.key.wbid.c_str(), call.key.id.c_str(), 1),
              0);
    if (!opens) {
        return call.joined(out, tag);
    }
    return call.joined(text, tag) == in ? std::optional(out) : std::nullopt;
}

// With the kernels of a set.
GcmWay with_kernels(const char *names, const GcmWay &way) {
    return [names, way](const GcmCall &call, bool opens, const Bytes &in) {
        const test::ForcedKernels forced(names);
        return way(call, opens, in);
    };
}

class GcmVectors : public testing::TestWithParam<const char *> {};

TEST_P(GcmVectors, EveryWay) {
    const FoldedVectors vectors(GetParam());
    std::map<std::string, GcmWay> ways;
    for (const char *names : test::kKernelSets) {
        ways[std::string("composed, ") + names] = with_kernels(names, composed);
        if (std::string(GetParam()).rfind("aes", 0) == 0) {
            ways[std::string("exported, ") + names] = with_kernels(names, exported);
        }
    }
    for (const VectorCase &each : vectors.cases()) {
        const test::Key &key = vectors.key(each);
        const Bytes text = each.bytes("msg");
        const Bytes tag = each.bytes("tag");
        const GcmCall call{key, each.bytes("iv"), each.bytes("aad"), tag.size()};
        const Bytes sealed = call.joined(each.bytes("ct"), tag);
        const bool wide = each.fields.contains("std_ct");
        for (const auto &[name, way] : ways) {
            SCOPED_TRACE(name + " " + each.where);
            if (!wide && each.word("result") == "invalid") {
                EXPECT_EQ(way(call, true, sealed), std::nullopt);
                continue;
            }
            EXPECT_EQ(way(call, false, text), sealed);
            EXPECT_EQ(way(call, true, sealed), text);
            if (wide) {
                EXPECT_EQ(way(call, true, call.joined(each.bytes("std_ct"), each.bytes("std_tag"))),
                          each.bytes("std_ct_opened"));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, GcmVectors, testing::Values("aes-gcm", "aes-gcm-wide", "sm4-gcm", "sm4-gcm-wide"),
                         test::kind_of<testing::TestParamInfo<const char *>>);

} // namespace
