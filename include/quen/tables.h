/* Table libraries: opening, key tables, metadata, encrypted keys. The conventions stand in quen/wbkit.h.
 *
 * A table library is the shared object libwb_tables_<wbid>_<version>.so. It exports white-box tables and metadata under
 * fixed symbol names. Each function that is told its coordinates opens it anew (the loader hands back an object that is
 * already loaded) and none ever closes it.
 *
 * A table library is trusted, since opening it runs its code: missing symbols and bad texts are refused, but that
 * tables and lists have the size that their kind implies is taken for granted.
 *
 * A path of 200 characters or more, a null `wbid` and a `wbid` with a '/' or a '$' are answered like a library that
 * cannot be opened. */
#ifndef QUEN_TABLES_H
#define QUEN_TABLES_H

#include <stdint.h>

#include "quen/export.h"

WBKIT_BEGIN_DECLS

/* The white-box tables of one key id. Every pointer points into the table library; the record owns nothing and may be
 * copied freely.
 *
 * `status` tells which fields mean something; the others are zero or null:
 *   0 and an AES key      all
 *   0 and an SM4 key      wbid, version, table, appid, sk, ak, whitelist
 *   -72                   wbid, version, appid, sk, ak, whitelist
 *   -70, -71              status alone */
typedef struct tb_entry {
    const char *wbid;          /* the table library's own wbid */
    int32_t version;           /* the version asked for, which is the library's */
    const uint8_t *table;      /* SM4: 32 rounds of 4 lanes of 256 bytes. AES: the same as TboxesLast */
    int32_t Nr;                /* AES: round count; 10, 12 or 14 in a usable key */
    const uint8_t *Xor;        /* AES: the XOR table, 16 rows of 16 nibbles, a byte each */
    const uint8_t *Tyboxes;    /* AES: Nr - 1 rounds of 16 positions of 256 little-endian 32-bit words */
    const uint8_t *TboxesLast; /* AES: the last round, 16 positions of 256 bytes */
    const char *appid;         /* null where the table library has none, like the next three */
    const char *sk;
    const char *ak;
    const char *whitelist;
    int32_t status; /* 0, -70, -71 or -72 */
} tb_entry;

/* The metadata of one table library. The texts point into the table library and are null where it has none; `keyids`
 * belongs to the record. With status -73 the four texts are set and `keyids` is empty; with -70 and -71 only `status`
 * means something. */
typedef struct tb_common {
    const char *appid;
    const char *sk;
    const char *ak;
    const char *whitelist;
    char keyids[210]; /* every key id followed by a comma, SM4 ids first: "s1,s2,a1," */
    int32_t status;   /* 0, -70, -71 or -73 */
} tb_common;

/* get_so_handle opens the table library of `wbid` and `version` and returns the loader's handle of it, or null. It
 * checks nothing inside the library and logs nothing. The handle must not be closed. */
WBKIT_API void *get_so_handle(const char *dir, const char *wbid, int32_t version);

/* check_keyid_alg returns 0 if `keyid` is an SM4 key of the table library behind `handle`, 1 if it is an AES key, -1 if
 * it is neither (null and longer than 68 characters included) or the library has no `aes_keyids`. An id in both lists
 * is an SM4 key. A null `handle` counts as a library without lists. */
WBKIT_API int32_t check_keyid_alg(void *handle, const char *keyid);

/* get_tb_entry looks the tables of a key up. The returned `status` is 0; -70 if the table library cannot be opened; -71
 * if its own wbid or version is missing or differs from the request; -72 if it has no such key id (null and longer than
 * 68 characters included), an AES key without a round count, or no `aes_keyids`, without which no key is served.
 *
 * Status 0 does not promise tables: a table whose symbol is missing is a null field, and the round count is what the
 * library says. The modes refuse such records. */
WBKIT_API tb_entry get_tb_entry(const char *dir, const char *wbid, const char *keyid, int32_t version);

/* get_tb_common reads the metadata of a table library. The returned `status` is 0, -70 or -71 as in get_tb_entry, or
 * -73 if the library has no `aes_keyids` or its joined list of key ids is longer than 209 characters. */
WBKIT_API tb_common get_tb_common(const char *dir, const char *wbid, int32_t version);

/* get_byte_data decodes hex text: strlen(hex) / 2 bytes go to `out`, each pair of characters scanned by itself with
 * "%2hhx". A pair that does not scan leaves its byte of `out` untouched; an odd last character is ignored. */
WBKIT_API void get_byte_data(const char *hex, uint8_t *out);

/* get_keyids, get_whitelist and get_appid copy a text of the table library to `out`, without a terminator, and store
 * its length in `*out_len`: the joined key ids (every id followed by a comma), the whitelist, the application id.
 *
 * `out` has room for the text: at most 209 bytes for the key ids, for the others what the library holds and nobody else
 * knows: its size is the strlen of the field in get_tb_common's record.
 *
 * Return 0; -1 if `wbid`, `out` or `out_len` is null, the metadata cannot be read, or the library has no such text. */
WBKIT_API int32_t get_keyids(const char *dir, const char *wbid, int32_t version, char *out, uint64_t *out_len);
WBKIT_API int32_t get_whitelist(const char *dir, const char *wbid, int32_t version, char *out, uint64_t *out_len);
WBKIT_API int32_t get_appid(const char *dir, const char *wbid, int32_t version, char *out, uint64_t *out_len);

/* get_sk copies the secret key text `sk` of the table library to `out`, as get_appid copies its text, if `ak` begins
 * with the library's access key `ak`. What follows that beginning is ignored, so a library with an empty `ak` accepts
 * every caller.
 *
 * Returns 0; -1 if `ak`, `wbid`, `out` or `out_len` is null, the metadata cannot be read, the library has no `ak` or no
 * `sk`, or `ak` differs. */
WBKIT_API int32_t get_sk(const char *dir, const char *ak, const char *wbid, int32_t version, char *out,
                         uint64_t *out_len);

/* get_sk_without_ak returns the table library's own `sk` text (not a copy), or null if the metadata cannot be read or
 * the library has none. */
WBKIT_API const char *get_sk_without_ak(const char *dir, const char *wbid, int32_t version);

/* get_ekey finds the encrypted key of `keyid` in the table library's `keys`: ten slots, each null or the hex text of a
 * packed CMSEncryptedData whose `key` field is the hex text of a key id. The first entry whose key id begins with
 * `keyid` matches. The library's own wbid and version are not checked.
 *
 * `out` has room for 1024 bytes and receives the entry's encryptedContent; `*out_len` receives the low 8 bits of its
 * length. `iv` receives the `iv` field of every entry that was read on the way, the last one staying; an entry without
 * that field leaves it as it was, also when the function then fails.
 *
 * Returns 0; -1 if `out`, `out_len` or `iv` is null; -70 if the table library cannot be opened; -2 if it has no `keys`;
 * -92 if an entry before the match, or the match itself, does not unpack (also for want of memory) or has a field above
 * its room (key 100, iv, aad and tag 16, encryptedContent 1024 bytes); -4 if no entry has the key id, or, whatever the
 * library is, `keyid` is null. */
WBKIT_API int32_t get_ekey(const char *dir, const char *wbid, const char *keyid, int32_t version, uint8_t *out,
                           uint8_t *out_len, uint8_t iv[16]);

WBKIT_END_DECLS

#endif
