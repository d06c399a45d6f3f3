package com.vorlix.quen.wb;

/**
 * The natives of {@code libquen-wbkit.so}: white-box AES, and what an application needs to be let in.
 *
 * <p>The class does not load the library. A caller runs {@link System#load} or {@link System#loadLibrary} first, which
 * binds every method below, and then may do the same with its table libraries so that they are found by their names.
 *
 * <p>These conventions hold for every method:
 * <ul>
 * <li>Texts ({@code wbid}, {@code keyid}, {@code caller}, {@code ak}) travel as bytes, without a terminator. One that
 * has a zero byte ends there.
 * <li>{@code wbid} and {@code version} name the table library {@code libwb_tables_<wbid>_<version>.so}, {@code keyid} a
 * key inside it.
 * <li>{@code hash} is the caller's token: HMAC-SHA256, 32 bytes, of the {@code wbid} bytes followed by the table
 * library's application id, under the table library's {@code sk}. {@link #getSk} and {@link #hmac} make one.
 * <li>{@code caller} is the caller's name. It must occur somewhere in the text of the table library's whitelist, if that
 * library has one: a part of a listed name is let in too, and so is an empty name.
 * <li>The result is a new array, or null on failure: a null argument, a table library that is not found, a caller without
 * authorisation, a key that cannot be used, bad padding, lack of memory. The reason stands in the log under the tag
 * VORLIX-WB. Nothing is thrown but the virtual machine's own OutOfMemoryError, if it has no memory for the result.
 * <li>Arguments are not changed, and no other thread may write to them during the call: what it wrote could be undone.
 * Any thread may call at any time.
 * </ul>
 *
 * <p>The stream modes are those of NIST SP 800-38A with these arguments:
 * <ul>
 * <li>{@code iv}: the 16-byte initial vector (CFB, OFB) or first counter block (CTR). A shorter array is extended with
 * zeros, bytes after the sixteenth are ignored. Never use one twice with the same key.
 * <li>{@code input}: the text to encrypt or decrypt, at most 2147483631 bytes. An empty one can be encrypted, but not
 * decrypted.
 * <li>{@code padding}: 0 for none, 1 for PKCS #5, 2 for ISO 10126, both on 16-byte blocks; anything else is refused.
 * With 1 and 2 an encryption adds 1 to 16 bytes, and a decryption is refused if its last byte is above 16 or if nothing
 * would remain: an empty text that was encrypted with padding does not come back.
 * </ul>
 * These modes detect no change of a ciphertext: authenticate it by other means.
 */
public final class WbkitAndr {
    private WbkitAndr() {}

    /**
     * Encrypts with an AES key in CFB mode with 128-bit feedback.
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
    public static native byte[] WBkit_AES_CFB_encrypt(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding,
            byte[] wbid, byte[] keyid, int version);

    /**
     * Decrypts with an AES key in CFB mode with 128-bit feedback.
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
    public static native byte[] WBkit_AES_CFB_decrypt(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding,
            byte[] wbid, byte[] keyid, int version);

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
    public static native byte[] WBkit_AES_OFB_encrypt(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding,
            byte[] wbid, byte[] keyid, int version);

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
    public static native byte[] WBkit_AES_OFB_decrypt(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding,
            byte[] wbid, byte[] keyid, int version);

    /**
     * Encrypts with an AES key in CTR mode with a 128-bit big-endian counter.
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
    public static native byte[] WBkit_AES_CTR_encrypt(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding,
            byte[] wbid, byte[] keyid, int version);

    /**
     * Decrypts with an AES key in CTR mode with a 128-bit big-endian counter.
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
    public static native byte[] WBkit_AES_CTR_decrypt(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding,
            byte[] wbid, byte[] keyid, int version);

    /**
     * Returns the key ids of a table library as one text, SM4 ids first, a comma after each one.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param wbid the table library's white-box id
     * @param version the table library's version
     * @return the key ids, or null on failure
     */
    public static native byte[] getKeyids(byte[] hash, byte[] caller, byte[] wbid, int version);

    /**
     * Returns the whitelist of a table library: the names that may call.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param wbid the table library's white-box id
     * @param version the table library's version
     * @return the whitelist, or null on failure, as for a table library without one
     */
    public static native byte[] getWhitelist(byte[] hash, byte[] caller, byte[] wbid, int version);

    /**
     * Returns the application id of a table library.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param wbid the table library's white-box id
     * @param version the table library's version
     * @return the application id, or null on failure
     */
    public static native byte[] getAppid(byte[] hash, byte[] caller, byte[] wbid, int version);

    /**
     * Returns the secret key {@code sk} of a table library, in return for its access key. It needs no token: it is how
     * a caller comes to one.
     *
     * @param ak the access key; what follows the table library's own {@code ak} is ignored
     * @param wbid the table library's white-box id
     * @param version the table library's version
     * @return the {@code sk} text, or null on failure
     */
    public static native byte[] getSk(byte[] ak, byte[] wbid, int version);

    /**
     * Computes HMAC-SHA256. It needs no token.
     *
     * @param message the message, which may be empty
     * @param key the key, of any length
     * @return the 32-byte code, 32 zero bytes if memory for the computation ran out, or null if an argument is null
     */
    public static native byte[] hmac(byte[] message, byte[] key);
}
