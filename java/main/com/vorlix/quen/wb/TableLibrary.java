package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.concurrent.ConcurrentHashMap;

/**
 * A table library that its caller may use: {@code libwb_tables_WBID_VERSION.so}, which stays open for the life of the
 * process. Any thread may use it.
 */
public final class TableLibrary {
    private final Access access;
    private final List<String> keyIds;
    private final String appId;
    private final Map<String, WhiteboxKey> keys = new ConcurrentHashMap<>();

    private TableLibrary(Access access) throws WbkitException {
        this.access = access;
        String ids = textOf(WbkitAndr::getKeyids);
        this.keyIds = ids.isEmpty() ? Collections.<String>emptyList()
                : Collections.unmodifiableList(Arrays.asList(ids.split(","))); // a comma stands behind the last one too
        this.appId = textOf(WbkitAndr::getAppid);
    }

    /**
     * Opens a table library. It is searched where the platform has an application's libraries, in the folders of
     * {@code java.library.path}, beside {@code libquen-wbkit.so}, and among those that {@link #load} has loaded.
     *
     * @param wbid its white-box id
     * @param version its version
     * @param credentials what the caller presents; it is needed as long as the table library and its keys are used
     * @return the table library
     * @throws AuthorizationException if it does not accept the credentials
     * @throws TableLibraryException if it is missing, cannot be loaded, or is another one under this name
     * @throws WbkitException if the library refuses for another reason
     */
    @NonNull
    public static TableLibrary open(@NonNull String wbid, int version, @NonNull Credentials credentials)
            throws WbkitException {
        TableName name = TableName.of(wbid, version);
        Objects.requireNonNull(credentials, "credentials");
        WbkitLoader.load();
        TableFiles.tryToLoad(name); // the natives have ways of their own if this fails
        return new TableLibrary(new Access(name, credentials));
    }

    /**
     * Loads the table library in this file, on a desktop, so that {@link #open} finds it. Android has {@link Path}
     * since API level 26: below, this method cannot be called, nor the methods of this class be listed by reflection.
     *
     * @param file the file, under the name that it was built with
     * @throws TableLibraryException if it is missing or cannot be loaded
     */
    public static void load(@NonNull Path file) throws TableLibraryException {
        TableFiles.load(Objects.requireNonNull(file, "file").toFile());
    }

    /**
     * Returns the ids of all keys, those of SM4 first.
     *
     * @return a list that cannot be changed
     */
    @NonNull
    public List<String> keyIds() {
        return keyIds;
    }

    /**
     * Returns the application id.
     *
     * @return the application id
     */
    @NonNull
    public String appId() {
        return appId;
    }

    /**
     * Returns the whitelist, a text in which the name of every caller that is admitted occurs.
     *
     * @return the whitelist; an empty text if there is none, and every caller with a token is admitted
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public String whitelist() throws WbkitException {
        String whitelist = access.text(WbkitAndr::getWhitelist);
        return whitelist == null ? "" : whitelist;
    }

    /**
     * Returns a key.
     *
     * @param id its id
     * @return the key
     * @throws UnknownKeyException if there is no key of this id that can be used
     * @throws WbkitException if the library refuses
     */
    @NonNull
    public WhiteboxKey key(@NonNull String id) throws WbkitException {
        Objects.requireNonNull(id, "id");
        WhiteboxKey key = keys.get(id);
        if (key == null) {
            key = findKey(id);
            keys.put(id, key);
        }
        return key;
    }

    /**
     * Returns the version.
     *
     * @return the version
     */
    public int version() {
        return access.version();
    }

    /**
     * Returns the white-box id.
     *
     * @return the white-box id
     */
    @NonNull
    public String wbid() {
        return access.name.wbid;
    }

    @Override
    @NonNull
    public String toString() {
        return access.name.toString();
    }

    /**
     * No accessor tells the cipher of a key: the one whose natives accept it. For an SM4 key, those of AES log a line.
     */
    private WhiteboxKey findKey(String id) throws WbkitException {
        if (!keyIds.contains(id)) {
            throw new UnknownKeyException(access.name + " has no key \"" + id + "\". It has " + keyIds + ".");
        }
        for (Algorithm algorithm : Algorithm.values()) {
            WhiteboxKey key = new WhiteboxKey(access, algorithm, id);
            if (key.isUsable()) {
                return key;
            }
        }
        Gcm.throwUnlessAdmitted(access);
        throw new UnknownKeyException("The tables of key " + id + " in " + access.name + " cannot be used. Build the"
                + " table library again.");
    }

    private String textOf(Access.Accessor accessor) throws WbkitException {
        String text = access.text(accessor);
        if (text == null) {
            throw new TableLibraryException(access.name + " has a text that is too long. Build it again.");
        }
        return text;
    }
}
