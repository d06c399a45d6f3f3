package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import androidx.annotation.Nullable;

/**
 * The decryption of CMS messages that the CMS encryptions of {@link WbkitAndr} made, or anybody else: packed
 * {@code CMSEncryptedData} with a ciphertext and its iv, padding mode, additional data and tag.
 *
 * <p>The conventions are those of {@link WbkitAndr}. Each method decrypts in the mode and with the cipher of its name,
 * and with the key that is named in the call; what the message says of its cipher is not looked at. In CFB, OFB and CTR
 * the wrong method, the wrong key and a changed message therefore give null only if the message cannot be unpacked or
 * the padding is bad, and garbage otherwise. A message without content, which an empty text gives without padding, is
 * refused. In GCM a change of ciphertext, iv, additional data or tag gives null, the copy of the tag behind the
 * ciphertext aside, which is not looked at.
 *
 * <p>The virtual machine binds these methods by their names when they are called; the first use of the class loads the
 * library. Whatever renames the classes of an application leaves this one as it is.
 */
public final class WbkitCms {
    static {
        WbkitLoader.load();
    }

    private WbkitCms() {}

    /**
     * Decrypts a message with an AES key in CFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] aesCfbDecrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] message,
            @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts a message with an AES key in OFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] aesOfbDecrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] message,
            @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts a message with an AES key in CTR mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] aesCtrDecrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] message,
            @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts a message with an AES key in GCM, if it has not been changed.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text, or null on failure, as for a wrong tag
     */
    @Nullable
    public static native byte[] aesGcmDecrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] message,
            @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts a message with an SM4 key in CFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] sm4CfbDecrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] message,
            @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts a message with an SM4 key in OFB mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] sm4OfbDecrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] message,
            @NonNull byte[] wbid, @NonNull byte[] keyid, int version);

    /**
     * Decrypts a message with an SM4 key in CTR mode.
     *
     * @param hash the caller's token
     * @param caller the caller's name
     * @param message the packed message
     * @param wbid the table library's white-box id
     * @param keyid the key id
     * @param version the table library's version
     * @return the decrypted text without its padding, or null on failure
     */
    @Nullable
    public static native byte[] sm4CtrDecrypt(@NonNull byte[] hash, @NonNull byte[] caller, @NonNull byte[] message,
            @NonNull byte[] wbid, @NonNull byte[] keyid, int version);
}
