package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import androidx.annotation.Nullable;
import java.io.NotSerializableException;
import java.io.ObjectInputStream;
import java.io.ObjectOutputStream;
import java.nio.charset.StandardCharsets;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.MessageDigest;
import java.util.Arrays;
import java.util.Objects;
import javax.crypto.AEADBadTagException;
import javax.crypto.BadPaddingException;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.SecretKey;
import javax.security.auth.DestroyFailedException;

/**
 * A key of a table library: where it is, not what it is. It has no encoded form and cannot be serialised. Any thread
 * may use it, as long as nobody changes the arrays of a call that runs.
 *
 * <p>Every operation may also throw {@link AuthorizationException} and {@link TableLibraryException}, which are
 * {@link WbkitException}s, and {@link IllegalStateException} when the {@link Credentials} of the table library were
 * destroyed. No result is null, and arguments must not be null unless the contrary is said.
 */
public final class WhiteboxKey implements SecretKey {
    private static final long serialVersionUID = 1;

    private final transient Access access;
    private final transient Algorithm algorithm;
    private final transient String id;
    private final transient byte[] idBytes;

    WhiteboxKey(Access access, Algorithm algorithm, String id) {
        this.access = access;
        this.algorithm = algorithm;
        this.id = id;
        this.idBytes = id.getBytes(StandardCharsets.UTF_8);
    }

    /**
     * Returns the key id.
     *
     * @return the id
     */
    @NonNull
    public String id() {
        return id;
    }

    /**
     * Returns the version of the table library, which a ciphertext's reader has to know.
     *
     * @return the version
     */
    public int version() {
        return access.version();
    }

    /**
     * Returns the cipher.
     *
     * @return "AES" or "SM4"
     */
    @Override
    @NonNull
    public String getAlgorithm() {
        return algorithm.name();
    }

    /**
     * Returns null: the key has no encoded form.
     *
     * @return null
     */
    @Override
    @Nullable
    public String getFormat() {
        return null;
    }

    /**
     * Returns null: nobody gets the key.
     *
     * @return null
     */
    @Override
    @Nullable
    public byte[] getEncoded() {
        return null;
    }

    /**
     * Tells whether the key can be used no more, because the {@link Credentials} of its table library were destroyed.
     * They hold all that there is to destroy.
     *
     * @return whether the credentials were destroyed
     */
    @Override
    public boolean isDestroyed() {
        return access.isDestroyed();
    }

    /**
     * Refuses: the key holds nothing of its own, and others may use its {@link Credentials}.
     *
     * @throws DestroyFailedException always
     */
    @Override
    public void destroy() throws DestroyFailedException { // below API level 24, Android's interface has none
        throw new DestroyFailedException(this + " has nothing of its own to destroy. Destroy the Credentials that its"
                + " table library was opened with.");
    }

    /**
     * Encrypts in a stream mode.
     *
     * @param mode the mode
     * @param padding the padding
     * @param iv 16 bytes, never used before with this key; {@link #newIv()} makes some
     * @param plain the text, of any length
     * @return the ciphertext
     * @throws InvalidAlgorithmParameterException if the iv has another length
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public byte[] encrypt(@NonNull StreamMode mode, @NonNull Padding padding, @NonNull byte[] iv, @NonNull byte[] plain)
            throws InvalidAlgorithmParameterException, WbkitException {
        requireStreamArguments(mode, padding, iv);
        Objects.requireNonNull(plain, "plain");
        byte[] filler = padding.after(plain.length);
        if (filler.length == 0) {
            return runWhole(mode, true, iv, plain);
        }
        byte[] padded = Arrays.copyOf(plain, plain.length + filler.length);
        System.arraycopy(filler, 0, padded, plain.length, filler.length);
        try {
            return runWhole(mode, true, iv, padded);
        } finally {
            Secrets.wipe(padded);
        }
    }

    /**
     * Decrypts in a stream mode. A changed ciphertext is not noticed, but for its padding by chance.
     *
     * @param mode the mode of the encryption
     * @param padding its padding
     * @param iv its iv
     * @param ciphertext the ciphertext
     * @return the text
     * @throws InvalidAlgorithmParameterException if the iv has not 16 bytes
     * @throws IllegalBlockSizeException if the ciphertext should have a padding and does not consist of whole blocks
     * @throws BadPaddingException if what was decrypted does not end in the padding
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public byte[] decrypt(@NonNull StreamMode mode, @NonNull Padding padding, @NonNull byte[] iv,
            @NonNull byte[] ciphertext) throws InvalidAlgorithmParameterException, IllegalBlockSizeException,
            BadPaddingException, WbkitException {
        requireStreamArguments(mode, padding, iv);
        return decryptChecked(mode, padding, iv, Objects.requireNonNull(ciphertext, "ciphertext"));
    }

    /**
     * Encrypts and authenticates with AES-GCM under a fresh random nonce. Of one key not more than 2^32 texts: beyond
     * that, a nonce could come twice.
     *
     * @param plain the text, which may be empty
     * @param aad additional data, which is authenticated and not part of the result; it may be empty
     * @return the nonce of 12 bytes, the ciphertext, and the tag of 16 bytes
     * @throws InvalidKeyException if this is not an AES key
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public byte[] seal(@NonNull byte[] plain, @NonNull byte[] aad) throws InvalidKeyException, WbkitException {
        byte[] nonce = RandomBytes.of(Gcm.NONCE);
        byte[] ciphertext;
        try {
            ciphertext = seal(plain, aad, nonce);
        } catch (InvalidAlgorithmParameterException e) {
            throw new AssertionError(e); // the nonce is one
        }
        byte[] sealed = Arrays.copyOf(nonce, nonce.length + ciphertext.length);
        System.arraycopy(ciphertext, 0, sealed, nonce.length, ciphertext.length);
        return sealed;
    }

    /**
     * Encrypts and authenticates with AES-GCM under a nonce of the caller's.
     *
     * @param plain the text, which may be empty
     * @param aad additional data, which is authenticated and not part of the result; it may be empty
     * @param nonce 12 bytes, never used before with this key: who uses one twice gives the texts and all authenticity
     *     away
     * @return the ciphertext and the tag of 16 bytes
     * @throws InvalidKeyException if this is not an AES key
     * @throws InvalidAlgorithmParameterException if the nonce has another length
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public byte[] seal(@NonNull byte[] plain, @NonNull byte[] aad, @NonNull byte[] nonce)
            throws InvalidKeyException, InvalidAlgorithmParameterException, WbkitException {
        Objects.requireNonNull(plain, "plain");
        requireGcmArguments(aad, nonce);
        return Gcm.encrypt(this, nonce, aad, plain);
    }

    /**
     * Decrypts what {@link #seal(byte[], byte[])} made and nobody has changed.
     *
     * @param sealed the nonce, the ciphertext and the tag
     * @param aad the additional data of the encryption
     * @return the text
     * @throws InvalidKeyException if this is not an AES key
     * @throws AEADBadTagException if anything was changed, or if key or additional data are others
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public byte[] open(@NonNull byte[] sealed, @NonNull byte[] aad)
            throws InvalidKeyException, AEADBadTagException, WbkitException {
        Objects.requireNonNull(sealed, "sealed");
        Objects.requireNonNull(aad, "aad");
        Gcm.requireAes(this);
        if (sealed.length < Gcm.NONCE) {
            throw Gcm.badTag();
        }
        return Gcm.decrypt(this, Arrays.copyOf(sealed, Gcm.NONCE), aad,
                Arrays.copyOfRange(sealed, Gcm.NONCE, sealed.length));
    }

    /**
     * Decrypts what {@link #seal(byte[], byte[], byte[])} made and nobody has changed.
     *
     * @param sealed the ciphertext and the tag
     * @param aad the additional data of the encryption
     * @param nonce its nonce
     * @return the text
     * @throws InvalidKeyException if this is not an AES key
     * @throws InvalidAlgorithmParameterException if the nonce has not 12 bytes
     * @throws AEADBadTagException if anything was changed, or if key, nonce or additional data are others
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public byte[] open(@NonNull byte[] sealed, @NonNull byte[] aad, @NonNull byte[] nonce)
            throws InvalidKeyException, InvalidAlgorithmParameterException, AEADBadTagException, WbkitException {
        Objects.requireNonNull(sealed, "sealed");
        requireGcmArguments(aad, nonce);
        return Gcm.decrypt(this, nonce, aad, sealed);
    }

    /**
     * Encrypts in a stream mode, under a fresh random iv, into a packed {@code CMSEncryptedData} that carries iv and
     * padding.
     *
     * @param mode the mode, which the reader has to know
     * @param padding the padding
     * @param plain the text, not empty: an empty one does not come back out of such a message
     * @param keyField bytes that the message carries for its reader, neither encrypted nor authenticated; may be empty
     * @return the message
     * @throws IllegalBlockSizeException if the text is empty
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public byte[] encryptMessage(@NonNull StreamMode mode, @NonNull Padding padding, @NonNull byte[] plain,
            @NonNull byte[] keyField) throws IllegalBlockSizeException, WbkitException {
        Objects.requireNonNull(mode, "mode");
        Objects.requireNonNull(padding, "padding");
        Objects.requireNonNull(plain, "plain");
        Objects.requireNonNull(keyField, "keyField");
        if (plain.length == 0) {
            throw new IllegalBlockSizeException("The text is empty, and would not come back. Use sealMessage.");
        }
        byte[] message = access.present(token -> algorithm.natives(mode).encryptMessage.run(token, access.caller(),
                newIv(), plain, padding.number(), keyField, access.wbid(), idBytes, access.version()));
        if (message == null) {
            throw access.refusal("The encryption");
        }
        return message;
    }

    /**
     * Decrypts a packed {@code CMSEncryptedData} in a stream mode, as {@link #decrypt} does with the iv, the padding
     * and the content that stand in it. A changed message is not noticed, but for its padding by chance; what it says
     * of its cipher is not looked at. An iv of other than 16 bytes is cut, or extended with zeros.
     *
     * @param mode the mode of the encryption
     * @param message the message
     * @return the text
     * @throws IllegalBlockSizeException if the message has no content, or one that should have a padding and does not
     *     consist of whole blocks
     * @throws BadPaddingException if what was decrypted does not end in the padding
     * @throws WbkitException if these bytes are no such message, or the library refuses
     */
    @NonNull
    public byte[] decryptMessage(@NonNull StreamMode mode, @NonNull byte[] message)
            throws IllegalBlockSizeException, BadPaddingException, WbkitException {
        Objects.requireNonNull(mode, "mode");
        Objects.requireNonNull(message, "message");
        CmsMessage fields = CmsMessage.of(message);
        if (fields.content.length == 0) {
            throw new IllegalBlockSizeException("The message has no content. Take one that was made from a text.");
        }
        // Not by the native: of a padding, it looks at the length alone.
        return decryptChecked(mode, fields.padding, fields.iv, fields.content);
    }

    /**
     * Encrypts and authenticates with AES-GCM, under a fresh random nonce, into a packed {@code CMSEncryptedData} that
     * carries nonce, additional data and tag.
     *
     * @param plain the text, which may be empty
     * @param aad additional data, authenticated and not encrypted; it may be empty, and 100 bytes always fit
     * @param keyField bytes that the message carries for its reader, neither encrypted nor authenticated; may be empty
     * @return the message
     * @throws InvalidKeyException if this is not an AES key
     * @throws WbkitException if the additional data does not fit, or the library refuses
     */
    @NonNull
    public byte[] sealMessage(@NonNull byte[] plain, @NonNull byte[] aad, @NonNull byte[] keyField)
            throws InvalidKeyException, WbkitException {
        Objects.requireNonNull(plain, "plain");
        Objects.requireNonNull(aad, "aad");
        Objects.requireNonNull(keyField, "keyField");
        Gcm.requireAes(this);
        byte[] message = access.present(token -> WbkitAndr.WBkit_AES_CMS_GCM_encrypt(token, access.caller(),
                RandomBytes.of(Gcm.NONCE), plain, aad, keyField, access.wbid(), idBytes, access.version()));
        if (message == null && aad.length > CmsMessage.ROOM_FOR_AAD) {
            Gcm.throwUnlessAdmitted(access);
            throw new WbkitException("The message has no room for " + aad.length + " bytes of additional data. Pass at"
                    + " most " + CmsMessage.ROOM_FOR_AAD + ", such as a hash of them.");
        }
        if (message == null || CmsMessage.endsWithoutContent(message)) { // packed although the encryption failed
            throw access.refusal("The encryption");
        }
        return message;
    }

    /**
     * Decrypts a packed {@code CMSEncryptedData} with AES-GCM, if nobody has changed it. What it carries beside the
     * text is authenticated as far as the nonce and the additional data go.
     *
     * @param message the message
     * @return the text
     * @throws InvalidKeyException if this is not an AES key
     * @throws AEADBadTagException if anything was changed, or the key is another
     * @throws WbkitException if these bytes are no such message, or the library refuses
     */
    @NonNull
    public byte[] openMessage(@NonNull byte[] message) throws InvalidKeyException, AEADBadTagException, WbkitException {
        Objects.requireNonNull(message, "message");
        Gcm.requireAes(this);
        byte[] plain = access.present(token -> WbkitCms.aesGcmDecrypt(token, access.caller(), message, access.wbid(),
                idBytes, access.version()));
        if (plain == null) {
            Gcm.throwUnlessAdmitted(access);
            CmsMessage.of(message);
            throw Gcm.badTag();
        }
        return plain;
    }

    /**
     * Signs with HMAC-SHA256 under the signing key that the table library keeps for this key id.
     *
     * @param data what is signed
     * @return the signature, 32 bytes
     * @throws InvalidKeyException if this is not an AES key
     * @throws UnknownKeyException if the key id has no signing key
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public byte[] sign(@NonNull byte[] data) throws InvalidKeyException, WbkitException {
        Objects.requireNonNull(data, "data");
        Gcm.requireAes(this);
        byte[] signature = access.present(token -> WbkitAndr.signature(token, access.caller(), data, access.wbid(),
                idBytes, access.version()));
        if (signature == null) {
            Gcm.throwUnlessAdmitted(access);
            throw new UnknownKeyException(access.name + " has no signing key that can be used for " + id
                    + ". Add a signing_key to the manifest and build the table library again, or use another key id.");
        }
        return signature;
    }

    /**
     * Checks a signature.
     *
     * @param data what was signed
     * @param signature the signature
     * @return whether it is that of the data
     * @throws InvalidKeyException if this is not an AES key
     * @throws UnknownKeyException if the key id has no signing key
     * @throws WbkitException if the library refuses
     */
    public boolean verify(@NonNull byte[] data, @NonNull byte[] signature) throws InvalidKeyException, WbkitException {
        Objects.requireNonNull(data, "data");
        Objects.requireNonNull(signature, "signature");
        Gcm.requireAes(this);
        // Not by the native: its sign tells how a wrong signature differs, and why it failed it does not tell. What is
        // done here takes the same time for every signature.
        byte[] right = sign(data);
        try {
            return MessageDigest.isEqual(right, signature);
        } finally {
            Secrets.wipe(right);
        }
    }

    /**
     * Returns a fresh random iv for a stream mode.
     *
     * @return 16 bytes
     */
    @NonNull
    public static byte[] newIv() {
        return RandomBytes.of(StreamEngine.BLOCK);
    }

    /** Whether the other one names the same key, with the same credentials or not. */
    @Override
    public boolean equals(@Nullable Object other) {
        return other instanceof WhiteboxKey && access.name.equals(((WhiteboxKey) other).access.name)
                && id.equals(((WhiteboxKey) other).id);
    }

    @Override
    public int hashCode() {
        return 31 * access.name.hashCode() + id.hashCode();
    }

    /** Tells where the key is. */
    @Override
    @NonNull
    public String toString() {
        return algorithm + " key " + id + " of " + access.name;
    }

    Algorithm algorithm() {
        return algorithm;
    }

    Access access() {
        return access;
    }

    /** For the natives, which do not change it. */
    byte[] idBytes() {
        return idBytes;
    }

    /** Whether the natives of the key's cipher accept it. */
    boolean isUsable() {
        return tryToRun(algorithm.natives(StreamMode.CTR).encrypt, new byte[StreamEngine.BLOCK], new byte[1]) != null;
    }

    /** Runs a native of a stream mode over a text that is not empty. */
    byte[] run(Algorithm.Stream function, byte[] iv, byte[] input) throws WbkitException {
        byte[] output = tryToRun(function, iv, input);
        if (output == null) {
            throw access.refusal("The operation");
        }
        return output;
    }

    private byte[] tryToRun(Algorithm.Stream function, byte[] iv, byte[] input) {
        return access.present(token -> function.run(token, access.caller(), iv, input, Padding.NONE.number(),
                access.wbid(), idBytes, access.version()));
    }

    /** Texts of many pieces take many calls: a native holds three copies of its text. */
    private byte[] runWhole(StreamMode mode, boolean encrypting, byte[] iv, byte[] input) throws WbkitException {
        if (input.length > 0 && input.length <= StreamEngine.PIECE) {
            Algorithm.Natives natives = algorithm.natives(mode);
            return run(encrypting ? natives.encrypt : natives.decrypt, iv, input);
        }
        StreamEngine engine = new StreamEngine(this, mode, encrypting, iv);
        try {
            return Secrets.written(input.length, output -> engine.process(input, 0, input.length, output, 0));
        } finally {
            engine.wipe();
        }
    }

    /** The arguments have been checked, but for the length. */
    private byte[] decryptChecked(StreamMode mode, Padding padding, byte[] iv, byte[] ciphertext)
            throws IllegalBlockSizeException, BadPaddingException, WbkitException {
        int length = ciphertext.length;
        if (padding == Padding.NONE) {
            return runWhole(mode, false, iv, ciphertext);
        }
        if (length == 0 || length % StreamEngine.BLOCK != 0) {
            throw StreamCipher.wrongLength(length);
        }
        byte[] padded = runWhole(mode, false, iv, ciphertext);
        try {
            return Arrays.copyOf(padded, length - padding.countAtEndOf(padded));
        } finally {
            Secrets.wipe(padded);
        }
    }

    private static void requireStreamArguments(StreamMode mode, Padding padding, byte[] iv)
            throws InvalidAlgorithmParameterException {
        Objects.requireNonNull(mode, "mode");
        Objects.requireNonNull(padding, "padding");
        Objects.requireNonNull(iv, "iv");
        StreamEngine.checkIv(iv);
    }

    private void requireGcmArguments(byte[] aad, byte[] nonce)
            throws InvalidKeyException, InvalidAlgorithmParameterException {
        Objects.requireNonNull(aad, "aad");
        Objects.requireNonNull(nonce, "nonce");
        Gcm.requireAes(this);
        if (nonce.length != Gcm.NONCE) {
            throw new InvalidAlgorithmParameterException("The nonce has " + nonce.length + " bytes. Pass " + Gcm.NONCE
                    + ".");
        }
    }

    /**
     * Refuses.
     *
     * @param out not used
     * @throws NotSerializableException always
     */
    private void writeObject(ObjectOutputStream out) throws NotSerializableException {
        throw new NotSerializableException(getClass().getName());
    }

    /**
     * Refuses.
     *
     * @param in not used
     * @throws NotSerializableException always
     */
    private void readObject(ObjectInputStream in) throws NotSerializableException {
        throw new NotSerializableException(getClass().getName());
    }
}
