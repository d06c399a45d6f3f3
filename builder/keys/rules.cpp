#include "builder/keys/rules.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "builder/error.h"
#include "builder/keys/limits.h"

namespace wbtables {
namespace {

constexpr std::string_view kAlphanumeric = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

bool consists_of(std::string_view text, std::string_view others) {
    return std::all_of(text.begin(), text.end(), [others](char c) {
        return kAlphanumeric.find(c) != std::string_view::npos || others.find(c) != std::string_view::npos;
    });
}

class Rules {
  public:
    explicit Rules(const KeySet &set) : set_(set) {}

    std::vector<Problem> take() { return std::move(problems_); }

    void check_names() {
        check_wbid();
        check_text("appid", set_.appid, kLongestAppid);
        check_text("whitelist", set_.whitelist.value_or(""), kLongestWhitelist);
        if (set_.keys.empty()) {
            add("key", "no keys: a table library needs at least one [[key]]");
        }
        for (std::size_t i = 0; i < set_.keys.size(); ++i) {
            check_id(i);
            check_duplicate(i);
            check_hidden(i);
        }
        check_slots("AES", true);
        check_slots("SM4", false);
        check_id_list();
    }

    void check_caller() {
        if (set_.wbid.empty()) {
            add("wbid", "wbid is empty");
        }
        check_text("appid", set_.appid, kLongestAppid);
        check_access_text("sk", set_.sk);
    }

    void check_secrets() {
        check_access_text("sk", set_.sk);
        check_access_text("ak", set_.ak);
        for (std::size_t i = 0; i < set_.keys.size(); ++i) {
            check_key_lengths(i);
        }
    }

  private:
    void add(std::string field, std::string message) {
        problems_.push_back({std::nullopt, std::move(field), std::move(message)});
    }
    void add(std::size_t key, std::string field, std::string_view message) {
        problems_.push_back({key, std::move(field), fmt::format("{} {}", describe_key(set_, key), message)});
    }

    void check_wbid() {
        if (set_.wbid.empty()) {
            add("wbid", "wbid is empty");
        } else if (!consists_of(set_.wbid, "_-")) {
            add("wbid", fmt::format("wbid {} has characters outside A-Z a-z 0-9 _ -", in_quotes(set_.wbid)));
        } else if (const std::size_t length = file_name(set_).size(); length > kLongestFileName) {
            add("wbid", fmt::format("wbid makes a file name of {} characters, at most {} are possible", length,
                                    kLongestFileName));
        }
    }

    void check_text(const char *field, std::string_view text, std::size_t longest) {
        if (text.find('\0') != std::string_view::npos) {
            add(field, fmt::format("{} contains a NUL character", field));
        } else if (text.size() > longest) {
            add(field, fmt::format("{} has {} bytes, at most {} are possible", field, text.size(), longest));
        }
    }

    void check_access_text(const char *field, std::span<const std::uint8_t> text) {
        if (text.empty()) {
            // The library compares a caller's ak over the length of its own: an empty one would admit everybody.
            add(field, fmt::format("{} is empty", field));
        }
        check_text(field, as_text(text), kLongestAccessText);
    }

    void check_id(std::size_t index) {
        const KeySpec &key = set_.keys[index];
        const std::size_t longest = key.signing_key ? kLongestSigningKeyId : kLongestKeyId;
        if (key.id.empty()) {
            add(index, "id", "has an empty id");
        } else if (!consists_of(key.id, "_.-")) {
            add(index, "id", "has characters outside A-Z a-z 0-9 _ . - in its id");
        } else if (key.id.size() > longest) {
            add(index, "id",
                fmt::format("has an id of {} characters, at most {} are possible{}", key.id.size(), longest,
                            key.signing_key ? " with a signing_key" : ""));
        }
        if (key.signing_key && !is_aes(key.algorithm)) {
            add(index, "signing_key", "is an sm4 key: only AES keys can have a signing_key");
        }
    }

    void check_duplicate(std::size_t index) {
        const auto first = std::find_if(set_.keys.begin(), set_.keys.end(),
                                        [&](const KeySpec &key) { return key.id == set_.keys[index].id; });
        if (first - set_.keys.begin() < static_cast<std::ptrdiff_t>(index)) {
            add(index, "id", "has the id of an earlier key");
        }
    }

    // The library takes the first signing entry whose id begins with the wanted one. An AES key without an entry of its
    // own would get the other key's entry, decrypt it with the wrong tables and sign with the garbage.
    void check_hidden(std::size_t index) {
        const KeySpec &key = set_.keys[index];
        if (key.signing_key || !is_aes(key.algorithm) || key.id.empty()) {
            return;
        }
        for (const KeySpec &other : set_.keys) {
            if (other.signing_key && other.id != key.id && other.id.starts_with(key.id)) {
                add(index, "id",
                    fmt::format(
                        "has no signing_key, but its id begins that of {}, whose signing_key would be taken for "
                        "its own: rename one or give both a signing_key",
                        in_quotes(other.id)));
                return;
            }
        }
    }

    void check_slots(std::string_view cipher, bool aes) {
        std::size_t count = 0;
        for (std::size_t i = 0; i < set_.keys.size(); ++i) {
            if (is_aes(set_.keys[i].algorithm) == aes && ++count == kSlots + 1) {
                add(i, "id", fmt::format("is one {} key too many: at most {} are possible", cipher, kSlots));
            }
        }
    }

    void check_id_list() {
        if (const std::size_t length = joined_ids(set_).size(); length > kLongestIdList) {
            add("key",
                fmt::format("the list of key ids, a comma after each, has {} characters, at most {} are possible",
                            length, kLongestIdList));
        }
    }

    void check_key_lengths(std::size_t index) {
        const KeySpec &key = set_.keys[index];
        const AlgorithmRow &row = row_of(key.algorithm);
        if (key.value.size() != row.key_len) {
            add(index, "value",
                fmt::format("has a value of {} bytes, {} needs {}", key.value.size(), row.name, row.key_len));
        }
        if (key.signing_key && key.signing_key->size() != kSigningKeyLen) {
            add(index, "signing_key",
                fmt::format("has a signing_key of {} bytes, {} are needed", key.signing_key->size(), kSigningKeyLen));
        }
    }

    const KeySet &set_;
    std::vector<Problem> problems_;
};

} // namespace

std::vector<Problem> name_problems(const KeySet &set) {
    Rules rules(set);
    rules.check_names();
    return rules.take();
}

std::vector<Problem> secret_problems(const KeySet &set) {
    Rules rules(set);
    rules.check_secrets();
    return rules.take();
}

std::vector<Problem> caller_problems(const KeySet &set) {
    Rules rules(set);
    rules.check_caller();
    return rules.take();
}

void refuse(const std::vector<Problem> &problems) {
    std::string message;
    for (const Problem &problem : problems) {
        message.append(message.empty() ? "" : "\n").append(problem.message);
    }
    if (!message.empty()) {
        throw Error(Failure::refused, message);
    }
}

} // namespace wbtables
