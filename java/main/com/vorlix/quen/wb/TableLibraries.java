package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.util.Collections;
import java.util.Objects;
import java.util.Set;
import java.util.TreeMap;

/**
 * Versions of a table library side by side, for rotation: the newest encrypts, and each decrypts what it encrypted. Any
 * thread may use it.
 */
public final class TableLibraries {
    private final TreeMap<Integer, TableLibrary> byVersion = new TreeMap<>();

    /**
     * Versions that are open.
     *
     * @param libraries at least one, all of one white-box id, each version once
     */
    public TableLibraries(@NonNull TableLibrary... libraries) {
        Objects.requireNonNull(libraries, "libraries");
        for (TableLibrary library : libraries) {
            Objects.requireNonNull(library, "libraries");
            if (!library.wbid().equals(libraries[0].wbid()) || byVersion.put(library.version(), library) != null) {
                throw new IllegalArgumentException(library + " stands beside " + libraries[0]
                        + ". Pass versions of one white-box id, each of them once.");
            }
        }
        if (byVersion.isEmpty()) {
            throw new IllegalArgumentException("Pass at least one table library.");
        }
    }

    /**
     * Opens versions of a table library.
     *
     * @param wbid their white-box id
     * @param credentials what the caller presents to each
     * @param versions at least one, each once
     * @return the versions
     * @throws WbkitException if one cannot be opened
     * @see TableLibrary#open
     */
    @NonNull
    public static TableLibraries open(@NonNull String wbid, @NonNull Credentials credentials, @NonNull int... versions)
            throws WbkitException {
        Objects.requireNonNull(wbid, "wbid");
        Objects.requireNonNull(credentials, "credentials");
        Objects.requireNonNull(versions, "versions");
        TableLibrary[] libraries = new TableLibrary[versions.length];
        for (int i = 0; i < versions.length; i++) {
            libraries[i] = TableLibrary.open(wbid, versions[i], credentials);
        }
        return new TableLibraries(libraries);
    }

    /**
     * Returns the versions, the oldest first.
     *
     * @return a set that cannot be changed
     */
    @NonNull
    public Set<Integer> versions() {
        return Collections.unmodifiableSet(byVersion.keySet());
    }

    /**
     * Returns the newest version, which is the one to encrypt with.
     *
     * @return the table library of the highest version
     */
    @NonNull
    public TableLibrary newest() {
        return byVersion.lastEntry().getValue();
    }

    /**
     * Returns the version that decrypts what it encrypted.
     *
     * @param version the version of the encryption
     * @return its table library
     * @throws TableLibraryException if it is not open
     */
    @NonNull
    public TableLibrary version(int version) throws TableLibraryException {
        TableLibrary library = byVersion.get(version);
        if (library == null) {
            throw new TableLibraryException("Version " + version + " of " + newest().wbid() + " is not open, only "
                    + byVersion.keySet() + ". Ship that version too as long as there are ciphertexts of it.");
        }
        return library;
    }

    /**
     * Returns the key to encrypt with. Its {@link WhiteboxKey#version()} has to stand beside the ciphertext.
     *
     * @param id the key id
     * @return the key of the newest version
     * @throws UnknownKeyException if that has no such key
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public WhiteboxKey encryptionKey(@NonNull String id) throws WbkitException {
        return newest().key(id);
    }

    /**
     * Returns the key to decrypt with.
     *
     * @param id the key id
     * @param version the version of the encryption
     * @return the key of that version
     * @throws TableLibraryException if it is not open
     * @throws UnknownKeyException if it has no such key
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public WhiteboxKey decryptionKey(@NonNull String id, int version) throws WbkitException {
        return version(version).key(id);
    }

    @Override
    @NonNull
    public String toString() {
        return byVersion.values().toString();
    }
}
