/* Encrypts a text with a key of a table library in CTR mode, decrypts it again and compares.
 *
 *     consumer DIR WBID VERSION KEYID
 *
 * DIR holds libwb_tables_<WBID>_<VERSION>.so. */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <quen/wbkit.h>

#define PKCS5 1

int main(int argc, char **argv) {
    /* An iv is used once with a key. This program writes its ciphertext nowhere, so a fixed one does no harm. */
    static const uint8_t iv[16] = {1, 2, 3};
    static const char text[] = "The key of this text exists only as tables.";
    uint8_t cipher[sizeof text + 16];
    uint8_t plain[sizeof cipher];
    int64_t cipher_len = 0;
    int64_t plain_len = 0;

    if (argc != 5) {
        fprintf(stderr, "usage: %s DIR WBID VERSION KEYID\n", argv[0]);
        return 2;
    }
    const char *dir = argv[1];
    const char *wbid = argv[2];
    const int32_t version = (int32_t)strtol(argv[3], NULL, 10);
    const char *keyid = argv[4];

    int32_t status = aes_WBkit_encrypt_ctr(dir, iv, (const uint8_t *)text, sizeof text, cipher, &cipher_len, PKCS5,
                                           wbid, keyid, version);
    if (status != WBKIT_OK) {
        fprintf(stderr, "encryption failed with status %" PRId32 "\n", status);
        return 1;
    }
    status =
        aes_WBkit_decrypt_ctr(dir, iv, cipher, (uint64_t)cipher_len, plain, &plain_len, PKCS5, wbid, keyid, version);
    if (status != WBKIT_OK) {
        fprintf(stderr, "decryption failed with status %" PRId32 "\n", status);
        return 1;
    }
    const int same = plain_len == (int64_t)sizeof text && memcmp(plain, text, sizeof text) == 0;
    printf("%zu bytes became %" PRId64 " and then %s\n", sizeof text, cipher_len,
           same ? "the same again" : "DIFFERENT");
    return same ? 0 : 1;
}
