#include "builder/object/contents.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "builder/object/signing_entry.h"
#include "builder/tables/aes_tables.h"
#include "builder/tables/sm4_tables.h"

namespace wbtables {
namespace {

std::array<std::uint8_t, 4> little_endian(std::int32_t value) {
    const auto bits = static_cast<std::uint32_t>(value);
    return {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8U),
            static_cast<std::uint8_t>(bits >> 16U), static_cast<std::uint8_t>(bits >> 24U)};
}

void add_metadata(Image &image, const KeySet &set) {
    image.add_text("wbid", set.wbid);
    image.add("version", little_endian(set.version));
    image.add_text("sk", set.sk);
    image.add_text("ak", set.ak);
    image.add_text("appid", set.appid);
    if (set.whitelist) {
        image.add_text("whitelist", *set.whitelist);
    }
}

void add_ids(Image &image, const KeySet &set) {
    std::vector<std::size_t> sm4;
    std::vector<std::size_t> aes;
    for (const KeySpec &key : set.keys) {
        (is_aes(key.algorithm) ? aes : sm4).push_back(image.add_text("", key.id));
    }
    if (!sm4.empty()) {
        image.add_pointers("sm4_keyids", sm4);
    }
    // A library of SM4 keys alone has this list too: no key is found without it.
    image.add_pointers("aes_keyids", aes);
}

// The library takes the first entry whose id begins with the wanted one, so an id stands before all that it begins.
void add_signing_entries(Image &image, const KeySet &set) {
    std::vector<const KeySpec *> keys;
    for (const KeySpec &key : set.keys) {
        if (key.signing_key) {
            keys.push_back(&key);
        }
    }
    std::stable_sort(keys.begin(), keys.end(),
                     [](const KeySpec *a, const KeySpec *b) { return a->id.size() < b->id.size(); });
    std::vector<std::size_t> entries;
    entries.reserve(keys.size());
    for (const KeySpec *key : keys) {
        entries.push_back(image.add_text("", signing_entry(*key)));
    }
    if (!entries.empty()) {
        image.add_pointers("keys", entries);
    }
}

void add_tables(Image &image, const KeySpec &key, EncodingKind kind) {
    if (!is_aes(key.algorithm)) {
        image.add("table_" + key.id, make_sm4_tables(std::span(key.value).first<16>()));
        return;
    }
    const AesTables tables = make_aes_tables(key.value, kind);
    image.add("Nr_" + key.id, tables.round_count);
    image.add("Xor_" + key.id, tables.xor_table);
    image.add(fmt::format("Tyboxes{}_{}", row_of(key.algorithm).bits, key.id), tables.round_tables);
    image.add("TboxesLast_" + key.id, tables.last_round);
}

} // namespace

std::string_view encoding_name(EncodingKind kind) {
    return kind == EncodingKind::none ? "none" : "hardened";
}

Image table_library_image(const KeySet &set, EncodingKind kind) {
    Image image;
    add_metadata(image, set);
    // The library never reads it: it is for reviewers, who would otherwise have to look at the tables.
    image.add_text("wbtables_encoding", encoding_name(kind));
    add_ids(image, set);
    add_signing_entries(image, set);
    for (const KeySpec &key : set.keys) {
        add_tables(image, key, kind);
    }
    return image;
}

} // namespace wbtables
