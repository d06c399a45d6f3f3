// Encrypted keys: the ten `keys` slots, each the hex text of a packed CMSEncryptedData.

#include <string.h>

#include "cms/message.h"
#include "quen/status.h"
#include "quen/tables.h"
#include "support/log.h"
#include "support/scratch.h"
#include "tables/encrypted_key.h"
#include "tables/hex.h"
#include "tables/symbols.h"

namespace wbkit {
namespace {

// The room of each field of an entry.
constexpr size_t kKeyRoom = 100;
constexpr size_t kBlockRoom = 16;

bool fields_fit(const CMSEncryptedData &entry) {
    return entry.key.len <= kKeyRoom && entry.iv.len <= kBlockRoom && entry.aad.len <= kBlockRoom &&
           entry.tag.len <= kBlockRoom && entry.encryptedcontent.len <= kEncryptedKeyRoom;
}

// Bytes of a packed entry, decoded from the slot's hex text.
class DecodedEntry {
  public:
    explicit DecodedEntry(const char *hex) : size_(strlen(hex) / 2), bytes_(size_) {
        if (bytes_) {
            // A pair that does not scan counts as 0.
            memset(bytes_.data(), 0, size_);
            decode_hex(hex, size_, bytes_.data());
        }
    }

    explicit operator bool() const { return static_cast<bool>(bytes_); }
    [[nodiscard]] const uint8_t *data() const { return bytes_.data(); }
    [[nodiscard]] size_t size() const { return size_; }

  private:
    size_t size_;
    ScratchBuffer bytes_;
};

// The `key` field is the hex text of a key id. A stored id that goes on behind the wanted one matches too: intended.
bool is_entry_of(const CMSEncryptedData &entry, const char *key_id) {
    uint8_t stored[kKeyRoom / 2] = {};
    const size_t stored_len = entry.key.len / 2;
    decode_hex(reinterpret_cast<const char *>(entry.key.data), stored_len, stored);
    const size_t wanted_len = strlen(key_id);
    return wanted_len <= stored_len && memcmp(stored, key_id, wanted_len) == 0;
}

void copy_bytes(const ProtobufCBinaryData &field, uint8_t *out) {
    if (field.len != 0) {
        memcpy(out, field.data, field.len);
    }
}

enum class Scan { kNext, kFound, kMalformed };

Scan scan_entry(const char *hex, const char *key_id, const EncryptedKeyOutput &output) {
    const DecodedEntry decoded(hex);
    if (!decoded) {
        return Scan::kMalformed;
    }
    const UnpackedMessage entry(decoded.data(), static_cast<int64_t>(decoded.size()));
    if (!entry || !fields_fit(*entry)) {
        return Scan::kMalformed;
    }
    const bool found = is_entry_of(*entry, key_id);
    if (found && entry->encryptedcontent.len > output.room) {
        return Scan::kMalformed;
    }
    // Every entry that was read leaves its iv, matching or not: intended.
    copy_bytes(entry->iv, output.iv);
    if (!found) {
        return Scan::kNext;
    }
    copy_bytes(entry->encryptedcontent, output.out);
    // One byte holds the length, whatever it is: intended.
    *output.out_len = static_cast<uint8_t>(entry->encryptedcontent.len);
    return Scan::kFound;
}

int32_t not_found() {
    WBKIT_LOG_ERROR("ERR: get_ekeys can't find keyid\n");
    return WBKIT_NO_ENCRYPTED_KEY;
}

int32_t scan_entries(const TextSlots &entries, const char *key_id, const EncryptedKeyOutput &output) {
    for (size_t slot = 0; slot < kSlots; ++slot) {
        if (entries[slot] == nullptr) {
            continue;
        }
        switch (scan_entry(entries[slot], key_id, output)) {
        case Scan::kFound:
            return WBKIT_OK;
        case Scan::kMalformed:
            // Also when a later slot would match: intended.
            WBKIT_LOG_ERROR("ERR: get_ekey unpack fail:%d\n", WBKIT_UNPACK_FAILED);
            return WBKIT_BAD_ENCRYPTED_KEY;
        case Scan::kNext:
            break;
        }
    }
    return not_found();
}

} // namespace

int32_t find_encrypted_key(const KeySource &key, const EncryptedKeyOutput &output) {
    if (key.key_id() == nullptr) {
        return not_found();
    }
    // The file name alone selects the library; its own wbid and version are not checked here: intended.
    const OpenedLibrary library = key.open();
    if (library.handle == nullptr) {
        WBKIT_LOG_ERROR("ERR: get_ekey open error:%s\n", library.error);
        return WBKIT_NO_TABLES;
    }
    const TextSlots entries(library.handle, "keys");
    if (!entries) {
        WBKIT_LOG_ERROR("ERR: get_ekey get ekeys failed.\n");
        return WBKIT_BAD_ARGUMENTS;
    }
    return scan_entries(entries, key.key_id(), output);
}

} // namespace wbkit

int32_t get_ekey(const char *dir, const char *wbid, const char *keyid, int32_t version, uint8_t *out, uint8_t *out_len,
                 uint8_t iv[16]) {
    if (out == nullptr || out_len == nullptr || iv == nullptr) {
        return WBKIT_REFUSED;
    }
    const wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::find_encrypted_key(key, {out, wbkit::kEncryptedKeyRoom, out_len, iv});
}
