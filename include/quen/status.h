/* The results of every function that can fail. The conventions stand in quen/wbkit.h. */
#ifndef QUEN_STATUS_H
#define QUEN_STATUS_H

/* Functions return these as plain int32_t. */
enum wbkit_status {
    /* Success. */
    WBKIT_OK = 0,
    /* Refused: a null or bad argument (a padding mode, a length of a tag or signature, an empty ciphertext), a text or
     * signing key that the table library does not give, a caller without authorisation. */
    WBKIT_REFUSED = -1,
    /* Bad arguments of an SM4 mode or of the CMS packer; memory for the ciphertext of a CMS message ran out; or, from
     * get_ekey, a table library without `keys`. */
    WBKIT_BAD_ARGUMENTS = -2,
    /* The packed CMS message is larger than the buffer for it. */
    WBKIT_BUFFER_TOO_SMALL = -3,
    /* The table library holds no encrypted key for the key id. */
    WBKIT_NO_ENCRYPTED_KEY = -4,
    /* Memory ran out while a CMS message was packed. */
    WBKIT_PACK_NO_MEMORY = -7,
    /* The table library cannot be opened, or the key's tables cannot be used. */
    WBKIT_NO_TABLES = -70,
    /* The table library's own wbid or version is not the one that was asked for. */
    WBKIT_WRONG_LIBRARY = -71,
    /* The key id is neither an SM4 nor an AES key of the table library, or an AES key without a round count. */
    WBKIT_UNKNOWN_KEY = -72,
    /* The table library has no `aes_keyids`, or its joined list of key ids does not fit a tb_common. */
    WBKIT_NO_KEY_LIST = -73,
    /* A signing key did not decrypt to 32 bytes. */
    WBKIT_BAD_SIGNING_KEY = -90,
    /* An encrypted-key entry of the table library does not unpack, or has a field above its room. */
    WBKIT_BAD_ENCRYPTED_KEY = -92,
    /* The GCM tag does not belong to the message, or there is too little of it: an input that is shorter than its tag,
     * a CMS message with less than 4 bytes. */
    WBKIT_TAG_MISMATCH = -93,
    /* The decrypted text does not end in a possible count of padding bytes, or is nothing but padding. */
    WBKIT_BAD_PADDING = -98,
    /* Memory ran out, or the length is one that no buffer can have. */
    WBKIT_NO_MEMORY = -100,
    /* A CMS message could not be serialised. */
    WBKIT_PACK_FAILED = -20001,
    /* The bytes are not a valid CMS message, or memory ran out while they were unpacked. */
    WBKIT_UNPACK_FAILED = -20005
};

#endif
