// The tables of one key id.

#include <dlfcn.h>
#include <string.h>

#include "quen/status.h"
#include "quen/tables.h"
#include "support/log.h"
#include "tables/entry.h"
#include "tables/library.h"
#include "tables/symbols.h"

namespace wbkit {
namespace {

constexpr size_t kSymbolSize = 80;
// The longest prefix, "TboxesLast_", and a terminator must fit beside it.
constexpr size_t kLongestKeyId = kSymbolSize - sizeof "TboxesLast_";
static_assert(kLongestKeyId == 68);

enum KeyAlgorithm : int32_t { kSm4Key = 0, kAesKey = 1, kNoKey = -1 };

// key_id is at most kLongestKeyId characters: algorithm_of admits no other. Not by printf: short calls would feel it.
const uint8_t *find_table(void *handle, const char *prefix, const char *key_id) {
    char symbol[kSymbolSize];
    stpcpy(stpcpy(symbol, prefix), key_id);
    return static_cast<const uint8_t *>(dlsym(handle, symbol));
}

// Any other round count is looked for under 256: intended, the modes refuse it.
const char *round_table_prefix(int32_t round_count) {
    switch (round_count) {
    case 10:
        return "Tyboxes128_";
    case 12:
        return "Tyboxes192_";
    default:
        return "Tyboxes256_";
    }
}

bool holds(const TextSlots &list, const char *key_id) {
    for (size_t slot = 0; slot < kSlots; ++slot) {
        if (list[slot] != nullptr && strcmp(list[slot], key_id) == 0) {
            return true;
        }
    }
    return false;
}

// False if the key has no round count. Missing tables are null fields, which the modes refuse.
bool find_aes_tables(void *handle, const char *key_id, tb_entry &entry) {
    const uint8_t *round_count = find_table(handle, "Nr_", key_id);
    if (round_count == nullptr) {
        return false;
    }
    memcpy(&entry.Nr, round_count, sizeof entry.Nr);
    entry.Xor = find_table(handle, "Xor_", key_id);
    entry.Tyboxes = find_table(handle, round_table_prefix(entry.Nr), key_id);
    entry.TboxesLast = find_table(handle, "TboxesLast_", key_id);
    entry.table = entry.TboxesLast;
    return true;
}

KeyAlgorithm algorithm_of(const KeyLists &lists, const char *key_id) {
    // Only the AES list is required, also in a library that holds SM4 keys alone: intended.
    if (!lists.aes) {
        WBKIT_LOG_ERROR("check_keyid_alg get keyids failed, sm4:%p aes:%p\n", lists.sm4.address(), lists.aes.address());
        return kNoKey;
    }
    if (key_id == nullptr || strlen(key_id) > kLongestKeyId) {
        return kNoKey;
    }
    // An id in both lists is an SM4 key: intended.
    if (lists.sm4 && holds(lists.sm4, key_id)) {
        return kSm4Key;
    }
    return holds(lists.aes, key_id) ? kAesKey : kNoKey;
}

bool find_tables(const CheckedLibrary &library, const char *key_id, tb_entry &entry) {
    switch (algorithm_of(library.lists, key_id)) {
    case kAesKey:
        return find_aes_tables(library.handle, key_id, entry);
    case kSm4Key:
        entry.table = find_table(library.handle, "table_", key_id);
        return true;
    default:
        return false;
    }
}

} // namespace

tb_entry find_key(const CheckedLibrary &library, const char *wbid, const char *key_id, int32_t version) {
    tb_entry entry = {};
    entry.status = library.status;
    if (library.status != WBKIT_OK) {
        return entry;
    }
    entry.wbid = library.wbid;
    entry.version = version;
    if (!find_tables(library, key_id, entry)) {
        // The message names the library, not the key id: intended.
        WBKIT_LOG_ERROR("load %s %d err. alg not matched.\n", wbid, version);
        entry.status = WBKIT_UNKNOWN_KEY;
    }
    return entry;
}

} // namespace wbkit

int32_t check_keyid_alg(void *handle, const char *keyid) {
    return wbkit::algorithm_of(wbkit::find_key_lists(handle), keyid);
}

tb_entry get_tb_entry(const char *dir, const char *wbid, const char *keyid, int32_t version) {
    const wbkit::CheckedLibrary library = wbkit::open_checked_library(dir, wbid, version);
    tb_entry entry = wbkit::find_key(library, wbid, keyid, version);
    if (library.status == WBKIT_OK) {
        wbkit::find_texts(library.handle, entry);
    }
    return entry;
}
