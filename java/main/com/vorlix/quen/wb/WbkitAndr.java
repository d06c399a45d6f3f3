package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import androidx.annotation.Nullable;

/**
 * The natives of {@code libquen-wbkit.so}: white-box AES and SM4 in CFB, OFB and CTR mode, AES-GCM, ciphertexts in CMS
 * messages, a signature, and what an application needs to be let in.
 *
 * <p>The first use of the class loads the library, which binds every method below, unless the application has done so
 * by {@link System#load}, {@link System#loadLibrary} or {@link WbkitLoader}. Where the load hook of another library may
 * have used the class before, call {@link WbkitLoader#load()} first. Table libraries that are not where the platform
 * searches are loaded in the same way, so that they are found by their names. The library refuses to load if this class
 * lacks one of its methods: whatever shrinks an application or renames its classes leaves this one as it is.
 *
 * <p>These conventions hold for every method:
 * <ul>
 * <li>Texts ({@code wbid}, {@code keyid}, {@code caller}, {@code ak}) travel as bytes, without a terminator. One that
 * has a zero byte ends there.
 * <li>{@code wbid} and {@code version} name the table library {@code libwb_tables_<wbid>_<version>.so}, {@code keyid} a
 * key inside it, which is of the cipher in the method's name: an AES key for GCM and for signatures.
 * <li>{@code hash} is the caller's token: HMAC-SHA256, 32 bytes, of the {@code wbid} bytes followed by the table
 * library's application id, under the table library's {@code sk}. {@link #getSk} and {@link #hmac} make one.
 * <li>{@code caller} is the caller's name. It must occur somewhere in the text of the table library's whitelist, if
 * that library has one: a part of a listed name is let in too, and so is an empty name.
 * <li>The result is a new array, or null on failure: a null argument, a table library that is not found, a caller
 * without authorisation, a key that cannot be used, bad padding, a changed text where the mode notices, lack of memory.
 * The reason stands in the log under the tag VORLIX-WB. Nothing is thrown but the virtual machine's own
 * OutOfMemoryError, if it has no memory for the result. {@link #verify} returns a number, and
 * {@link #WBkit_AES_CMS_GCM_encrypt} a message even if its encryption failed.
 * <li>Arguments are not changed, and no other thread may write to them during the call: what it wrote could be undone.
 * Any thread may call at any time.
 * </ul>
 *
 * <p>The stream modes, CFB with 128-bit feedback, OFB, and CTR with a 128-bit big-endian counter, are those of NIST SP
 * 800-38A with these arguments:
 * <ul>
 * <li>{@code iv}: the 16-byte initial vector (CFB, OFB) or first counter block (CTR). A shorter array is extended with
 * zeros, bytes after the sixteenth are ignored. Never use one twice with the same key.
 * <li>{@code input}: the text to encrypt or decrypt, at most 2147483631 bytes. An empty one is encrypted with an AES
 * key, but not decrypted; with an SM4 key both are refused.
 * <li>{@code padding}: 0 for none, 1 for PKCS #5, 2 for ISO 10126, both on 16-byte blocks; anything else is refused.
 * With 1 and 2 an encryption adds 1 to 16 bytes, and a decryption is refused if its last byte is above 16 or if nothing
 * would remain: an empty text that was encrypted with padding does not come back.
 * </ul>
 * These modes detect no change of a ciphertext: authenticate it by other means.
 *
 * <p>GCM (NIST SP 800-38D) notices a change of the ciphertext, {@code iv} or {@code aad}, and returns null for it.
 * {@code iv} has any length, of which 12 bytes is the one to use, and is never used twice with the same key;
 * {@code aad} is authenticated, not encrypted. There is no padding. Ciphertexts end in their 16-byte tag. An empty text
 * goes both ways.
 *
 * <p>The CMS encryptions run one of these modes and return a packed {@code CMSEncryptedData} (Protocol Buffers), which
 * carries the ciphertext with its {@code iv}, padding mode, {@code aad} and tag, and beside it {@code key}: bytes of
 * the caller's choice, which may be empty, are not used to encrypt, and are not authenticated. The message does not
 * tell which key decrypts it. {@link WbkitCms} decrypts messages; the seven CMS decryptions of this class must not be
 * called: their natives read three arguments more than the methods have, so that the outcome is undefined, and on a
 * desktop the virtual machine goes down.
 */
public final class WbkitAndr {
    static {
        WbkitLoader.loadForNatives();
    }

    private WbkitAndr() {}

    /**
     * Encrypts with an AES key in CFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the text to encrypt
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the ciphertext, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_CFB_encrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts with an AES key in CFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the ciphertext, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_CFB_decrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Encrypts with an AES key in OFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the text to encrypt
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the ciphertext, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_OFB_encrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts with an AES key in OFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the ciphertext, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_OFB_decrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Encrypts with an AES key in CTR mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the first counter block
     * @param input the text to encrypt
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the ciphertext, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_CTR_encrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts with an AES key in CTR mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the first counter block
     * @param input the ciphertext, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_CTR_decrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Encrypts with an SM4 key in CFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the text to encrypt, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the ciphertext, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_CFB_encrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts with an SM4 key in CFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the ciphertext, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_CFB_decrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Encrypts with an SM4 key in OFB mode.
     *
     * <p>Every call keeps the memory of a copy of {@code hash} and of {@code caller}: intended.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the text to encrypt, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the ciphertext, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_OFB_encrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts with an SM4 key in OFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the ciphertext, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_OFB_decrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Encrypts with an SM4 key in CTR mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the first counter block
     * @param input the text to encrypt, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the ciphertext, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_CTR_encrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts with an SM4 key in CTR mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the first counter block
     * @param input the ciphertext, not empty
     * @param padding the padding mode, 0 to 2
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_CTR_decrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, int padding, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Encrypts and authenticates with an AES key in GCM.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector, 12 bytes
     * @param input the text to encrypt, which may be empty
     * @param aad the additional data, which may be empty
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the ciphertext followed by the 16-byte tag, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_GCM_encrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, @NonNull byte[] aad, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts with an AES key in GCM what has not been changed.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector of the encryption
     * @param input the ciphertext followed by the 16-byte tag
     * @param aad the additional data of the encryption
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text, or null on failure, as for a wrong tag
     */
    @Nullable
    public static native byte[] WBkit_AES_GCM_decrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] iv,
            @NonNull byte[] input, @NonNull byte[] aad, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Encrypts with an AES key in CFB mode and packs the ciphertext into a CMS message.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the text to encrypt
     * @param padding the padding mode, 0 to 2
     * @param key bytes that the message carries
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the packed message, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_CMS_CFB_encrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] iv, @NonNull byte[] input, int padding, @NonNull byte[] key, @NonNull byte[] wbid,
            @NonNull byte[] keyid, int version);

    /**
     * Must not be called: see the class.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @return nothing that means anything
     * @deprecated Call {@link WbkitCms#aesCfbDecrypt}.
     */
    @Deprecated
    @Nullable
    public static native byte[] WBkit_AES_CMS_CFB_decrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] message);

    /**
     * Encrypts with an AES key in OFB mode and packs the ciphertext into a CMS message.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the text to encrypt
     * @param padding the padding mode, 0 to 2
     * @param key bytes that the message carries
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the packed message, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_CMS_OFB_encrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] iv, @NonNull byte[] input, int padding, @NonNull byte[] key, @NonNull byte[] wbid,
            @NonNull byte[] keyid, int version);

    /**
     * Must not be called: see the class.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @return nothing that means anything
     * @deprecated Call {@link WbkitCms#aesOfbDecrypt}.
     */
    @Deprecated
    @Nullable
    public static native byte[] WBkit_AES_CMS_OFB_decrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] message);

    /**
     * Encrypts with an AES key in CTR mode and packs the ciphertext into a CMS message.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the first counter block
     * @param input the text to encrypt
     * @param padding the padding mode, 0 to 2
     * @param key bytes that the message carries
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the packed message, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_AES_CMS_CTR_encrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] iv, @NonNull byte[] input, int padding, @NonNull byte[] key, @NonNull byte[] wbid,
            @NonNull byte[] keyid, int version);

    /**
     * Must not be called: see the class.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @return nothing that means anything
     * @deprecated Call {@link WbkitCms#aesCtrDecrypt}.
     */
    @Deprecated
    @Nullable
    public static native byte[] WBkit_AES_CMS_CTR_decrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] message);

    /**
     * Encrypts with an SM4 key in CFB mode and packs the ciphertext into a CMS message.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the text to encrypt, not empty
     * @param padding the padding mode, 0 to 2
     * @param key bytes that the message carries
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the packed message, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_CMS_CFB_encrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] iv, @NonNull byte[] input, int padding, @NonNull byte[] key, @NonNull byte[] wbid,
            @NonNull byte[] keyid, int version);

    /**
     * Must not be called: see the class.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @return nothing that means anything
     * @deprecated Call {@link WbkitCms#sm4CfbDecrypt}.
     */
    @Deprecated
    @Nullable
    public static native byte[] WBkit_SM4_CMS_CFB_decrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] message);

    /**
     * Encrypts with an SM4 key in OFB mode and packs the ciphertext into a CMS message.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector
     * @param input the text to encrypt, not empty
     * @param padding the padding mode, 0 to 2
     * @param key bytes that the message carries
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the packed message, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_CMS_OFB_encrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] iv, @NonNull byte[] input, int padding, @NonNull byte[] key, @NonNull byte[] wbid,
            @NonNull byte[] keyid, int version);

    /**
     * Must not be called: see the class.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @return nothing that means anything
     * @deprecated Call {@link WbkitCms#sm4OfbDecrypt}.
     */
    @Deprecated
    @Nullable
    public static native byte[] WBkit_SM4_CMS_OFB_decrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] message);

    /**
     * Encrypts with an SM4 key in CTR mode and packs the ciphertext into a CMS message.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the first counter block
     * @param input the text to encrypt, not empty
     * @param padding the padding mode, 0 to 2
     * @param key bytes that the message carries
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the packed message, or null on failure
     */
    @Nullable
    public static native byte[] WBkit_SM4_CMS_CTR_encrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] iv, @NonNull byte[] input, int padding, @NonNull byte[] key, @NonNull byte[] wbid,
            @NonNull byte[] keyid, int version);

    /**
     * Must not be called: see the class.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @return nothing that means anything
     * @deprecated Call {@link WbkitCms#sm4CtrDecrypt}.
     */
    @Deprecated
    @Nullable
    public static native byte[] WBkit_SM4_CMS_CTR_decrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] message);

    /**
     * Encrypts and authenticates with an AES key in GCM and packs the ciphertext into a CMS message.
     *
     * <p>If the encryption fails, as with a key that cannot be used, a message is returned all the same: one without
     * content, which every decryption refuses. Only the log tells; {@link #getKeyids} says beforehand which keys there
     * are.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param iv the initial vector, 12 bytes
     * @param input the text to encrypt, which may be empty
     * @param aad the additional data, which may be empty; if it has more than 130 bytes together with {@code iv}, the
     *     message may be refused because it is too long
     * @param key bytes that the message carries
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the packed message, or null on any other failure
     */
    @Nullable
    public static native byte[] WBkit_AES_CMS_GCM_encrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] iv, @NonNull byte[] input, @NonNull byte[] aad, @NonNull byte[] key, @NonNull byte[] wbid,
            @NonNull byte[] keyid, int version);

    /**
     * Must not be called: see the class.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @return nothing that means anything
     * @deprecated Call {@link WbkitCms#aesGcmDecrypt}.
     */
    @Deprecated
    @Nullable
    public static native byte[] WBkit_AES_CMS_GCM_decrypt(@NonNull byte[] hash, @NonNull byte[] caller,
            @NonNull byte[] message);

    /**
     * Returns the key ids of a table library as one text, SM4 ids first, a comma after each one.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param wbid the table library's white-box id
     * @param version the table library's version
     * @return the key ids, or null on failure
     */
    @Nullable
    public static native byte[] getKeyids(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] wbid,
            int version);

    /**
     * Returns the whitelist of a table library: the names that may call.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param wbid the table library's white-box id
     * @param version the table library's version
     * @return the whitelist, or null on failure, as for a table library without one
     */
    @Nullable
    public static native byte[] getWhitelist(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] wbid,
            int version);

    /**
     * Returns the application id of a table library.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param wbid the table library's white-box id
     * @param version the table library's version
     * @return the application id, or null on failure
     */
    @Nullable
    public static native byte[] getAppid(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] wbid,
            int version);

    /**
     * Signs with HMAC-SHA256 under the signing key that the table library keeps, encrypted, for an AES key id.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param data what is signed, which may be empty
     * @param wbid the table library's white-box id
     * @param keyid the key id that the signing key belongs to
     * @param version the table library's version
     * @return the 32-byte signature, or null on failure, as for a key id without a signing key
     */
    @Nullable
    public static native byte[] signature(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] data,
            @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Checks a signature. Only 0 means that it is right.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param sig the signature to check
     * @param data what was signed
     * @param wbid the table library's white-box id
     * @param keyid the key id that the signing key belongs to
     * @param version the table library's version
     * @return 0 if {@code sig} is the signature of {@code data}, otherwise a number that is not 0; -1 also if the
     *     call was refused or {@code sig} does not have 32 bytes
     */
    public static native int verify(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] sig,
            @NonNull byte[] data, @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Returns the secret key {@code sk} of a table library, in return for its access key. It needs no token: it is how
     * a caller comes to one.
     *
     * @param ak the access key; what follows the table library's own {@code ak} is ignored
     * @param wbid the table library's white-box id
     * @param version the table library's version
     * @return the {@code sk} text, or null on failure
     */
    @Nullable
    public static native byte[] getSk(@NonNull byte[] ak, @NonNull byte[] wbid, int version);

    /**
     * Computes HMAC-SHA256. It needs no token.
     *
     * @param message the message, which may be empty
     * @param key the key, of any length
     * @return the 32-byte code, 32 zero bytes if memory for the computation ran out, or null if an argument is null
     */
    @Nullable
    public static native byte[] hmac(@NonNull byte[] message, @NonNull byte[] key);
}
