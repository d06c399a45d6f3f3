package com.example.notes;

import com.vorlix.quen.wb.TableLibraries;
import com.vorlix.quen.wb.WhiteboxKey;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.util.Arrays;
import javax.crypto.AEADBadTagException;

/**
 * Encrypted notes, the same on a phone and on a desktop. A sealed note and a signature begin with the version of the
 * key that made them, four bytes: that is how their readers find the key after a rotation.
 */
public final class Notes {
    private static final String KEY = "note";
    private static final int VERSION_SIZE = 4;

    private final TableLibraries keys;

    public Notes(TableLibraries keys) {
        this.keys = keys;
    }

    /** Encrypts a note under the newest key. Its title, which stays readable, is authenticated with it. */
    public byte[] seal(String title, String text) throws GeneralSecurityException {
        WhiteboxKey key = keys.encryptionKey(KEY);
        return withVersion(key, key.seal(utf8(text), utf8(title)));
    }

    /** Decrypts a note. An exception if it, or its title, is not as it was sealed. */
    public String open(String title, byte[] note) throws GeneralSecurityException {
        byte[] text = keyOf(note).open(withoutVersion(note), utf8(title));
        return new String(text, StandardCharsets.UTF_8);
    }

    /** The note under the newest key, sealed again only if it is under an older one. */
    public byte[] rotate(String title, byte[] note) throws GeneralSecurityException {
        return keyOf(note).version() == keys.newest().version() ? note : seal(title, open(title, note));
    }

    /** Signs what leaves the application, such as an export of all notes. */
    public byte[] sign(byte[] export) throws GeneralSecurityException {
        WhiteboxKey key = keys.encryptionKey(KEY);
        return withVersion(key, key.sign(export));
    }

    public boolean isSignature(byte[] export, byte[] signature) throws GeneralSecurityException {
        return signature.length >= VERSION_SIZE && keyOf(signature).verify(export, withoutVersion(signature));
    }

    private WhiteboxKey keyOf(byte[] note) throws GeneralSecurityException {
        if (note.length < VERSION_SIZE) {
            throw new AEADBadTagException("The note is cut off.");
        }
        return keys.decryptionKey(KEY, ByteBuffer.wrap(note).getInt());
    }

    private static byte[] withVersion(WhiteboxKey key, byte[] bytes) {
        return ByteBuffer.allocate(VERSION_SIZE + bytes.length).putInt(key.version()).put(bytes).array();
    }

    private static byte[] withoutVersion(byte[] note) {
        return Arrays.copyOfRange(note, VERSION_SIZE, note.length);
    }

    private static byte[] utf8(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }
}
