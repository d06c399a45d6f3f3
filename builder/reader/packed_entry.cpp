#include "builder/reader/packed_entry.h"

#include <algorithm>
#include <array>
#include <span>

#include <fmt/format.h>

#include "builder/keys/hex.h"
#include "builder/reader/table_cipher.h"
#include "quen/cms.h"

namespace wbtables {
namespace {

// The fields of an entry, each in a buffer that any field of the message fits.
struct Fields {
    explicit Fields(const SecretBytes &message)
        : key(message.size()), aad(message.size()), tag(message.size()), iv(message.size()), content(message.size()) {
        const auto message_len = static_cast<std::int32_t>(message.size());
        std::int32_t algorithm = 0;
        std::uint32_t padding = 0;
        std::array<std::int32_t, 4> lens{};
        std::uint32_t content_len = 0;
        unpacked =
            CMSEncrypted_Unpack(message.data(), message_len, &algorithm, &padding, key.data(), lens.data(), aad.data(),
                                &lens[1], tag.data(), &lens[2], iv.data(), &lens[3], content.data(), &content_len) == 0;
        SecretBytes *const fields[] = {&key, &aad, &tag, &iv};
        for (std::size_t i = 0; i < lens.size(); ++i) {
            fields[i]->resize(static_cast<std::size_t>(lens[i]));
        }
        content.resize(content_len);
    }

    SecretBytes key;
    SecretBytes aad;
    SecretBytes tag;
    SecretBytes iv;
    SecretBytes content;
    bool unpacked = false;
};

struct Room {
    const char *name;
    SecretBytes Fields::*field;
    std::size_t bytes;
};
constexpr Room kRooms[] = {
    {"key", &Fields::key, 100},
    {"iv", &Fields::iv, 16},
    {"aad", &Fields::aad, 16},
    {"tag", &Fields::tag, 16},
    {"encryptedContent", &Fields::content, 1024},
};

} // namespace

std::optional<PackedEntry> unpack_entry(std::string_view text, std::vector<std::string> &problems) {
    const auto message = from_hex({reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
    if (!message || message->empty()) {
        problems.push_back(fmt::format("its {} characters are no hex text of a message", text.size()));
        return std::nullopt;
    }
    Fields fields(*message);
    if (!fields.unpacked) {
        problems.emplace_back("it is the hex text of something other than a CMSEncryptedData");
        return std::nullopt;
    }
    for (const Room &room : kRooms) {
        if (const std::size_t size = (fields.*room.field).size(); size > room.bytes) {
            problems.push_back(
                fmt::format("its {} has {} bytes, at most {} are possible", room.name, size, room.bytes));
        }
    }
    const auto id = from_hex(fields.key);
    if (!id || id->empty()) {
        problems.emplace_back("its key field is no hex text of a key id");
        return std::nullopt;
    }
    return PackedEntry{{id->begin(), id->end()}, std::move(fields.iv), std::move(fields.content)};
}

SecretBytes decrypt_entry(const PackedEntry &entry, const AesTablesView &tables) {
    const auto cipher = AesTableCipher::over(tables);
    AesState chain{};
    std::copy_n(entry.iv.begin(), std::min(entry.iv.size(), chain.size()), chain.begin());
    SecretBytes key = entry.content;
    for (std::size_t at = 0; cipher && at < key.size(); at += chain.size()) {
        const AesState stream = cipher->encrypt(chain);
        const std::size_t count = std::min(chain.size(), key.size() - at);
        std::copy_n(&entry.content[at], count, chain.begin());
        for (std::size_t i = 0; i < count; ++i) {
            key[at + i] ^= stream[i];
        }
    }
    return key;
}

} // namespace wbtables
