#include "builder/check/compare_with_keys.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "builder/keys/clear_cipher.h"
#include "builder/keys/random.h"
#include "builder/reader/packed_entry.h"
#include "builder/reader/table_cipher.h"
#include "quen/hash.h"

namespace wbtables {
namespace {

constexpr std::size_t kBlock = 16;
// An entry of a table serves one block of 256, so that a wrong one stays unseen once in nine million times.
constexpr std::size_t kBlocks = 4096;

template <typename Tables>
const Tables *find_key(const std::vector<Tables> &keys, const std::string &id) {
    const auto found = std::ranges::find(keys, id, &Tables::key_id);
    return found == keys.end() ? nullptr : &*found;
}

class Comparison {
  public:
    Comparison(const TableLibraryFile &library, const KeySet &set, Findings &findings)
        : library_(library), set_(set), findings_(findings) {}

    void run() {
        compare_names();
        compare_secret("sk", library_.sk(), set_.sk);
        compare_secret("ak", library_.ak(), set_.ak);
        for (const KeySpec &key : set_.keys) {
            subject_ = fmt::format("key {}", in_quotes(key.id));
            compare_key(key);
        }
        report_unlisted(library_.sm4_keys());
        report_unlisted(library_.aes_keys());
    }

  private:
    void report(const std::string &problem) { findings_.problems.push_back(problem); }
    void report_key(std::string_view problem) { report(fmt::format("{} {}", subject_, problem)); }
    // Whether the manifest knows this field; one that it makes at random it does not.
    bool is_known(std::string_view field, const SecretBytes &expected) {
        (expected.empty() ? findings_.not_compared : findings_.compared).emplace_back(field);
        if (expected.empty()) {
            findings_.notes.push_back(
                fmt::format("{} is random in the manifest, so there is nothing to compare it with", field));
        }
        return !expected.empty();
    }

    void compare_names() {
        compare_text("wbid", library_.wbid().value_or(""), set_.wbid);
        compare_text("version", library_.version() ? fmt::format("{}", *library_.version()) : "",
                     fmt::format("{}", set_.version));
        compare_text("appid", library_.appid(), set_.appid);
        compare_text("whitelist", library_.whitelist().value_or(""), set_.whitelist.value_or(""));
    }

    void compare_text(std::string_view name, std::string_view found, std::string_view expected) {
        findings_.compared.emplace_back(name);
        if (found != expected) {
            report(fmt::format("{} is {}, the manifest says {}", name, in_quotes(found), in_quotes(expected)));
        }
    }

    void compare_secret(std::string_view name, const SecretBytes &found, const SecretBytes &expected) {
        if (is_known(name, expected) && found != expected) {
            report(fmt::format("{} is not the manifest's", name));
        }
    }

    template <typename Tables>
    void report_unlisted(const std::vector<Tables> &keys) {
        for (const Tables &tables : keys) {
            if (std::ranges::find(set_.keys, tables.key_id, &KeySpec::id) == set_.keys.end()) {
                report(fmt::format("key {} is not in the manifest", in_quotes(tables.key_id)));
            }
        }
    }

    void compare_key(const KeySpec &key) {
        const AlgorithmRow &row = row_of(key.algorithm);
        const AesTablesView *const aes = find_key(library_.aes_keys(), key.id);
        const Sm4TablesView *const sm4 = find_key(library_.sm4_keys(), key.id);
        if (aes == nullptr && sm4 == nullptr) {
            report_key("is in the manifest, but has no complete tables");
        } else if (aes == nullptr ? is_aes(key.algorithm) : static_cast<int>(aes->rounds) != row.rounds) {
            report_key(fmt::format("is no {} key, as the manifest says", row.name));
        } else if (aes == nullptr) {
            compare_blocks(key, Sm4TableCipher::over(*sm4));
        } else {
            compare_blocks(key, AesTableCipher::over(*aes));
            compare_signing_key(key, *aes);
        }
    }

    template <typename Cipher>
    void compare_blocks(const KeySpec &key, const std::optional<Cipher> &cipher) {
        if (!is_known(fmt::format("{}: value", subject_), key.value)) {
            return;
        }
        SecretBytes blocks = random_bytes(kBlocks * kBlock);
        const auto expected = clear_encrypt(key.algorithm, ClearMode::ecb, key.value, {}, blocks);
        std::size_t wrong = 0;
        std::array<std::uint8_t, kBlock> block{};
        for (std::size_t at = 0; cipher && at < blocks.size(); at += kBlock) {
            std::copy_n(&blocks[at], kBlock, block.begin());
            block = cipher->encrypt(block);
            wrong += std::equal(block.begin(), block.end(), &expected[at]) ? 0U : 1U;
        }
        if (wrong != 0) {
            report_key(fmt::format("encrypts {} of {} blocks otherwise than {} under the manifest's value", wrong,
                                   kBlocks, row_of(key.algorithm).name));
        }
    }

    void compare_signing_key(const KeySpec &key, const AesTablesView &tables) {
        const auto entry = entry_of(key.id);
        if (!key.signing_key) {
            if (entry) {
                report_key("has a signing entry, but no signing_key in the manifest");
            }
        } else if (!entry) {
            report_key("has no signing entry for its signing_key");
        } else if (is_known(fmt::format("{}: signing_key", subject_), *key.signing_key) &&
                   !signs_with(decrypt_entry(*entry, tables), *key.signing_key)) {
            report_key("signs with another key than the manifest's signing_key");
        }
    }

    // Equal keys say more than equal HMACs, for HMAC fills short keys up with zeros; that the library computes it as
    // OpenSSL does is the rest.
    static bool signs_with(const SecretBytes &found, const SecretBytes &expected) {
        const SecretBytes text = random_bytes(kBlock);
        const SecretBytes expected_mac = clear_hmac(expected, text);
        SecretBytes mac(expected_mac.size());
        return found == expected &&
               hmac_sha256(text.data(), text.size(), found.data(), static_cast<std::int32_t>(found.size()),
                           mac.data()) == 0 &&
               mac == expected_mac;
    }

    // What is wrong with entries is reported elsewhere.
    std::optional<PackedEntry> entry_of(const std::string &id) {
        std::vector<std::string> ignored;
        for (const std::string &text : library_.signing_entries()) {
            if (auto entry = unpack_entry(text, ignored); entry && entry->key_id == id) {
                return entry;
            }
        }
        return std::nullopt;
    }

    const TableLibraryFile &library_;
    const KeySet &set_;
    Findings &findings_;
    std::string subject_;
};

} // namespace

void compare_with_keys(const TableLibraryFile &library, const KeySet &set, Findings &findings) {
    Comparison(library, set, findings).run();
}

} // namespace wbtables
