#include "builder/check/check.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <fmt/format.h>

#include "builder/error.h"
#include "builder/keys/clear_cipher.h"
#include "builder/keys/limits.h"
#include "builder/keys/random.h"
#include "quen/aes.h"
#include "quen/hash.h"
#include "quen/sm4.h"
#include "quen/tables.h"

namespace wbtables {
namespace {

constexpr std::size_t kBlock = 16;
constexpr std::size_t kSingleBlocks = 32;
constexpr std::size_t kStreamBytes = 256 * kBlock + 5;
constexpr std::size_t kSignedBytes = 100;

// What a mode function of either cipher takes, in whatever order it takes it.
struct StreamCall {
    const char *dir;
    const SecretBytes &iv;
    const SecretBytes &in;
    SecretBytes &out;
    const char *wbid;
    const char *key_id;
    std::int32_t version;
};

template <decltype(&aes_WBkit_encrypt_ctr) function>
std::int64_t encrypt_aes(const StreamCall &call) {
    std::int64_t out_len = 0;
    return function(call.dir, call.iv.data(), call.in.data(), call.in.size(), call.out.data(), &out_len, 0, call.wbid,
                    call.key_id, call.version);
}

template <decltype(&wbsm4_ctr_encrypt) function>
std::int64_t encrypt_sm4(const StreamCall &call) {
    std::int64_t out_len = 0;
    return function(call.dir, call.in.data(), call.in.size(), call.out.data(), &out_len, call.iv.data(), 0, call.wbid,
                    call.key_id, call.version);
}

struct StreamRow {
    const char *name;
    ClearMode mode;
    std::int64_t (*encrypt)(const StreamCall &call);
};
constexpr StreamRow kAesStreams[] = {
    {"CTR", ClearMode::ctr, encrypt_aes<aes_WBkit_encrypt_ctr>},
    {"CFB", ClearMode::cfb, encrypt_aes<aes_WBkit_encrypt_cfb>},
};
constexpr StreamRow kSm4Streams[] = {
    {"CTR", ClearMode::ctr, encrypt_sm4<wbsm4_ctr_encrypt>},
    {"CFB", ClearMode::cfb, encrypt_sm4<wbsm4_cfb_encrypt>},
};

class LibraryCheck {
  public:
    LibraryCheck(const std::filesystem::path &folder, const KeySet &set, const Image &image,
                 const std::function<std::string()> &library_log)
        : set_(set), image_(image), library_log_(library_log) {
        drain_log();
        load(folder);
    }

    void run() {
        check_symbols();
        check_metadata();
        for (std::size_t i = 0; i < set_.keys.size(); ++i) {
            subject_ = describe_key(set_, i);
            const KeySpec &key = set_.keys[i];
            if (is_aes(key.algorithm)) {
                check_aes(key);
                check_signing(key);
            } else {
                check_sm4(key);
            }
        }
    }

  private:
    // With a path too long for the library the loader finds the object by its SONAME, because it is loaded already.
    void load(const std::filesystem::path &folder) {
        const std::string path = folder / file_name(set_);
        if (path.size() <= kLongestFileName) {
            folder_ = folder.string();
            dir_ = folder_.c_str();
        }
        void *const loaded = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
        if (loaded == nullptr) {
            // NOLINTNEXTLINE(concurrency-mt-unsafe): its text is the thread's own
            fail(fmt::format("cannot be loaded: {}", without_controls(dlerror())));
        }
        handle_ = get_so_handle(dir_, set_.wbid.c_str(), set_.version);
        require(handle_ == loaded, "another library of its name is in the way");
    }

    void check_symbols() {
        for (const Image::Item &item : image_.items()) {
            if (item.symbol.empty()) {
                continue;
            }
            const void *const address = dlsym(handle_, item.symbol.c_str());
            const auto expected = image_.bytes_of(item);
            require(address != nullptr && std::memcmp(address, expected.data(), expected.size()) == 0,
                    fmt::format("symbol {} is not what was made", in_quotes(item.symbol)));
        }
    }

    void check_metadata() {
        const tb_common common = get_tb_common(dir_, set_.wbid.c_str(), set_.version);
        require(common.status == 0, fmt::format("its metadata cannot be read: {}", common.status));
        require(common.keyids == joined_ids(set_), "its list of key ids differs");
        require(same_text(common.appid, set_.appid) && same_text(common.sk, as_text(set_.sk)) &&
                    same_text(common.ak, as_text(set_.ak)),
                "its appid, sk or ak differs");
        require(set_.whitelist ? same_text(common.whitelist, *set_.whitelist) : common.whitelist == nullptr,
                "its whitelist differs");
    }

    void check_aes(const KeySpec &key) {
        const AlgorithmRow &row = row_of(key.algorithm);
        const tb_entry entry = look_up(key);
        require(entry.Nr == row.rounds && entry.Xor != nullptr && entry.Tyboxes != nullptr &&
                    entry.TboxesLast != nullptr,
                "has incomplete tables");
        check_blocks(key, [&entry](std::uint8_t *block) { Cipher(block, entry); });
        check_streams(key, kAesStreams);
    }

    void check_sm4(const KeySpec &key) {
        const tb_entry entry = look_up(key);
        require(entry.table != nullptr && entry.TboxesLast == nullptr, "has incomplete tables");
        check_blocks(key, [&entry](std::uint8_t *block) { wbsm4(block, block, entry); });
        check_streams(key, kSm4Streams);
    }

    tb_entry look_up(const KeySpec &key) {
        const tb_entry entry = get_tb_entry(dir_, set_.wbid.c_str(), key.id.c_str(), set_.version);
        require(entry.status == 0, fmt::format("is not found: {}", entry.status));
        return entry;
    }

    template <typename EncryptBlock>
    void check_blocks(const KeySpec &key, EncryptBlock encrypt) {
        SecretBytes blocks = random_bytes(kSingleBlocks * kBlock);
        const auto expected = clear_encrypt(key.algorithm, ClearMode::ecb, key.value, {}, blocks);
        for (std::size_t at = 0; at < blocks.size(); at += kBlock) {
            encrypt(&blocks[at]);
        }
        require_same(key, blocks, expected, "single blocks");
    }

    void check_streams(const KeySpec &key, std::span<const StreamRow> streams) {
        for (const StreamRow &stream : streams) {
            const SecretBytes iv = random_bytes(kBlock);
            const SecretBytes in = random_bytes(kStreamBytes);
            SecretBytes out(in.size());
            const std::int64_t status =
                stream.encrypt({dir_, iv, in, out, set_.wbid.c_str(), key.id.c_str(), set_.version});
            require(status == 0, fmt::format("does not encrypt in {} mode: {}", stream.name, status));
            require_same(key, out, clear_encrypt(key.algorithm, stream.mode, key.value, iv, in), stream.name);
        }
    }

    // A key without an entry must not be served with somebody else's.
    void check_signing(const KeySpec &key) {
        SecretBytes content(1024);
        std::uint8_t content_len = 0;
        std::array<std::uint8_t, kBlock> iv{};
        const std::int32_t status =
            get_ekey(dir_, set_.wbid.c_str(), key.id.c_str(), set_.version, content.data(), &content_len, iv.data());
        if (!key.signing_key) {
            require(status != 0, "has a signing entry that is not its own");
            drain_log();
            return;
        }
        require(status == 0 && content_len == key.signing_key->size(),
                fmt::format("has no readable signing entry: {}", status));
        const SecretBytes text = random_bytes(kSignedBytes);
        const SecretBytes expected = clear_hmac(*key.signing_key, text);
        SecretBytes mac(expected.size());
        std::uint32_t mac_len = 0;
        require(signature(dir_, text.data(), text.size(), set_.wbid.c_str(), key.id.c_str(), set_.version, mac.data(),
                          &mac_len) == 0 &&
                    mac_len == mac.size() && mac == expected,
                "does not sign as HMAC-SHA256 under its signing_key does");
    }

    void require_same(const KeySpec &key, std::span<const std::uint8_t> got, std::span<const std::uint8_t> expected,
                      std::string_view what) {
        require(std::equal(got.begin(), got.end(), expected.begin(), expected.end()),
                fmt::format("does not encrypt as {} does: {}", row_of(key.algorithm).name, what));
    }

    static bool same_text(const char *got, std::string_view expected) { return got != nullptr && got == expected; }

    void require(bool holds, std::string_view message) {
        if (!holds) {
            fail(message);
        }
    }

    [[noreturn]] void fail(std::string_view message) {
        const std::string reasons = drain_log();
        throw Error(Failure::library, fmt::format("{}: check failed: {} {}{}{}", file_name(set_), subject_, message,
                                                  reasons.empty() ? "" : "\n", reasons));
    }

    std::string drain_log() { return library_log_ ? library_log_() : std::string(); }

    const KeySet &set_;
    const Image &image_;
    const std::function<std::string()> &library_log_;
    std::string folder_;
    const char *dir_ = nullptr;
    void *handle_ = nullptr;
    std::string subject_ = "the library:";
};

} // namespace

void check_library(const std::filesystem::path &folder, const KeySet &set, const Image &image,
                   const std::function<std::string()> &library_log) {
    LibraryCheck(folder, set, image, library_log).run();
}

} // namespace wbtables
