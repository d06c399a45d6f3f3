#include "builder/manifest/manifest.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "builder/keys/limits.h"
#include "builder/keys/rules.h"
#include "builder/manifest/diagnostics.h"
#include "builder/manifest/document.h"
#include "builder/manifest/secret_source.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

// A field of the manifest itself, or of the key with this index.
struct Place {
    std::optional<std::size_t> key;
    std::string_view field;
    auto operator<=>(const Place &) const = default; // NOLINT(modernize-use-nullptr): no pointer is meant
};

class ManifestParser {
  public:
    ManifestParser(const fs::path &path, const ManifestOptions &options)
        : document_(path), folder_(path.parent_path()), options_(options), diagnostics_(path.string()) {}

    KeySet parse() {
        read_table(document_.root(), std::nullopt, kManifestFields);
        diagnostics_.throw_if_any();
        report(name_problems(set_));
        for (const auto &[place, source] : sources_) {
            read_secret(place, source);
        }
        diagnostics_.throw_if_any();
        report(secret_problems(set_));
        return std::move(set_);
    }

  private:
    struct Field {
        std::string_view name;
        bool required;
        void (ManifestParser::*read)(const toml::node &node, const Place &place);
    };
    static const std::array<Field, 7> kManifestFields;
    static const std::array<Field, 4> kKeyFields;

    void read_table(const toml::table &table, std::optional<std::size_t> key, std::span<const Field> fields) {
        const Position start = key ? position_of(table.source()) : Position{};
        for (const Field &field : fields) {
            const Place place{key, field.name};
            const toml::node *const node = table.get(field.name);
            positions_[place] = node != nullptr ? position_of(node->source()) : start;
            if (node != nullptr) {
                (this->*field.read)(*node, place);
            } else if (field.required) {
                diagnostics_.add(start, key ? fmt::format("{} has no {}", describe_key(set_, *key), field.name)
                                            : fmt::format("{} is missing", field.name));
            }
        }
        refuse_unknown(table, fields);
    }

    void refuse_unknown(const toml::table &table, std::span<const Field> fields) {
        for (const auto &[name, node] : table) {
            const std::string_view text = name.str();
            if (std::none_of(fields.begin(), fields.end(), [text](const Field &field) { return field.name == text; })) {
                diagnostics_.add(position_of(name.source()), fmt::format("unknown field {}", in_quotes(text)));
            }
        }
    }

    void read_wbid(const toml::node &node, const Place &place) { set_.wbid = text(node, place); }
    void read_appid(const toml::node &node, const Place &place) { set_.appid = text(node, place); }
    void read_id(const toml::node &node, const Place &place) { set_.keys[*place.key].id = text(node, place); }

    void read_version(const toml::node &node, const Place &place) {
        using Limits = std::numeric_limits<std::int32_t>;
        const auto *const integer = node.as_integer();
        if (integer == nullptr) {
            refuse(place, "must be an integer");
        } else if (integer->get() < Limits::min() || integer->get() > Limits::max()) {
            refuse(place, fmt::format("must be a number from {} to {}", Limits::min(), Limits::max()));
        } else {
            set_.version = static_cast<std::int32_t>(integer->get());
        }
    }

    void read_whitelist(const toml::node &node, const Place &place) {
        const toml::array *const names = node.as_array();
        if (names == nullptr || !std::all_of(names->begin(), names->end(), [](const toml::node &name) {
                return name.is_string() && !name.as_string()->get().empty();
            })) {
            refuse(place, "must be an array of strings that are not empty");
            return;
        }
        if (names->empty()) {
            refuse(place, "is empty, which would admit every caller; to have that, leave the field out");
            return;
        }
        // In the text that the library searches, a comma ends a name.
        if (std::any_of(names->begin(), names->end(), [](const toml::node &name) {
                return name.as_string()->get().find(',') != std::string::npos;
            })) {
            refuse(place, "has a name with a comma: write a string for each name");
            return;
        }
        std::string joined;
        for (const toml::node &name : *names) {
            joined.append(joined.empty() ? "" : ",").append(name.as_string()->get());
        }
        set_.whitelist = std::move(joined);
    }

    void read_sk(const toml::node &node, const Place &place) {
        read_source(node, place, SecretForm::text, kRandomTextLen);
    }
    void read_ak(const toml::node &node, const Place &place) { read_source(node, place, SecretForm::text, 0); }
    void read_value(const toml::node &node, const Place &place) {
        read_source(node, place, SecretForm::key, row_of(set_.keys[*place.key].algorithm).key_len);
    }
    void read_signing_key(const toml::node &node, const Place &place) {
        set_.keys[*place.key].signing_key.emplace();
        read_source(node, place, SecretForm::key, kSigningKeyLen);
    }

    void read_cipher(const toml::node &node, const Place &place) {
        const std::string name = text(node, place);
        const auto *const row = std::find_if(std::begin(kAlgorithms), std::end(kAlgorithms),
                                             [&name](const AlgorithmRow &candidate) { return candidate.name == name; });
        if (row != std::end(kAlgorithms)) {
            set_.keys[*place.key].algorithm = row->algorithm;
        } else if (node.is_string()) {
            // A longer name may be a secret in the wrong field.
            constexpr std::size_t kLongestShown = 16;
            const std::string shown = name.size() > kLongestShown ? "what stands there" : in_quotes(name);
            refuse(place, fmt::format("{} is unknown; there are aes-128, aes-192, aes-256 and sm4", shown));
        }
    }

    void read_keys(const toml::node &node, const Place &place) {
        const toml::array *const tables = node.as_array();
        if (tables == nullptr ||
            !std::all_of(tables->begin(), tables->end(), [](const toml::node &table) { return table.is_table(); })) {
            refuse(place, "must be written as [[key]] tables");
            return;
        }
        for (const toml::node &table : *tables) {
            set_.keys.emplace_back();
            read_table(*table.as_table(), set_.keys.size() - 1, kKeyFields);
        }
    }

    void read_source(const toml::node &node, const Place &place, SecretForm form, std::size_t random_len) {
        if (!node.is_string()) {
            refuse(place, "must be a string");
            return;
        }
        try {
            const SecretSource source(node.as_string()->get(), form, random_len, options_.allow_inline_keys);
            if (const auto fd = source.descriptor(); fd && !descriptors_.insert(*fd).second) {
                refuse(place, *fd == 0
                                  ? "reads standard input, which another field has read to its end"
                                  : fmt::format("reads descriptor {}, which another field has read to its end", *fd));
            }
            if (source.is_inline() && !document_.exposure().empty()) {
                refuse(place, fmt::format("stands in a manifest that {}", document_.exposure()));
            }
            sources_.emplace_back(place, source);
        } catch (const SourceError &error) {
            refuse(place, error.what());
        }
    }

    void read_secret(const Place &place, const SecretSource &source) {
        if (source.is_random() && !options_.make_random) {
            left_empty_.insert(place);
            return;
        }
        try {
            secret_at(place) = source.read(folder_);
        } catch (const SourceError &error) {
            refuse(place, error.what());
        }
    }

    SecretBytes &secret_at(const Place &place) {
        if (!place.key) {
            return place.field == "sk" ? set_.sk : set_.ak;
        }
        KeySpec &key = set_.keys[*place.key];
        return place.field == "value" ? key.value : *key.signing_key;
    }

    std::string text(const toml::node &node, const Place &place) {
        if (!node.is_string()) {
            refuse(place, "must be a string");
            return {};
        }
        return node.as_string()->get();
    }

    void refuse(const Place &place, std::string_view message) {
        diagnostics_.add(positions_.at(place),
                         place.key ? fmt::format("{}: {} {}", describe_key(set_, *place.key), place.field, message)
                                   : fmt::format("{} {}", place.field, message));
    }

    void report(const std::vector<Problem> &problems) {
        for (const Problem &problem : problems) {
            const Place place{problem.key, problem.field};
            if (!left_empty_.contains(place)) {
                diagnostics_.add(positions_.at(place), problem.message);
            }
        }
        diagnostics_.throw_if_any();
    }

    Document document_;
    fs::path folder_;
    ManifestOptions options_;
    Diagnostics diagnostics_;
    KeySet set_;
    std::map<Place, Position> positions_;
    std::vector<std::pair<Place, SecretSource>> sources_;
    std::set<int> descriptors_;
    std::set<Place> left_empty_;
};

const std::array<ManifestParser::Field, 7> ManifestParser::kManifestFields = {{
    {"wbid", true, &ManifestParser::read_wbid},
    {"version", true, &ManifestParser::read_version},
    {"appid", true, &ManifestParser::read_appid},
    {"whitelist", false, &ManifestParser::read_whitelist},
    {"sk", true, &ManifestParser::read_sk},
    {"ak", true, &ManifestParser::read_ak},
    {"key", false, &ManifestParser::read_keys}, // without keys it is refused by the rules
}};

// The id comes first, because messages name it, and the cipher before the value, whose length depends on it.
const std::array<ManifestParser::Field, 4> ManifestParser::kKeyFields = {{
    {"id", true, &ManifestParser::read_id},
    {"cipher", true, &ManifestParser::read_cipher},
    {"value", true, &ManifestParser::read_value},
    {"signing_key", false, &ManifestParser::read_signing_key},
}};

} // namespace

KeySet parse_manifest(const fs::path &path, const ManifestOptions &options) {
    return ManifestParser(path, options).parse();
}

} // namespace wbtables
