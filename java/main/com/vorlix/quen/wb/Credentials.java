package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.HashMap;
import java.util.Map;
import java.util.Objects;
import javax.security.auth.Destroyable;

/**
 * What an application presents to table libraries: the name of the caller, and either the access key, from which a
 * token is made for every table library that is opened, or a token.
 *
 * <p>Any thread may use it. What was opened with it works until {@link #destroy()}, which wipes all of its secrets.
 */
public final class Credentials implements Destroyable { // of javax.security.auth, which every Android has
    /** The bytes of a token, an HMAC-SHA256. */
    private static final int TOKEN_SIZE = 32;

    private final byte[] caller;
    /** Null if the secret is a token. */
    private final byte[] appId;
    private final byte[] secret;
    private final Map<TableName, byte[]> tokens = new HashMap<>();
    private volatile boolean destroyed;

    private Credentials(byte[] secret, byte[] appId, String caller) {
        Objects.requireNonNull(caller, "caller");
        if (caller.isEmpty() || caller.indexOf('\0') >= 0) { // the library would admit either as an empty name
            throw new IllegalArgumentException("A caller has a name, without zero characters: pass one that is in the"
                    + " whitelist of the table library.");
        }
        this.caller = caller.getBytes(StandardCharsets.UTF_8);
        this.appId = appId;
        this.secret = secret.clone();
    }

    /**
     * Credentials from an access key. The key gives the table library's {@code sk}, which is forgotten when the token
     * is made.
     *
     * @param ak the access key, as it stands in the manifest of the table library; it is copied
     * @param appId the application id of the table library
     * @param caller the name of the caller; it, or a text that it is part of, stands in the whitelist
     * @return the credentials
     */
    @NonNull
    public static Credentials fromAccessKey(@NonNull byte[] ak, @NonNull String appId, @NonNull String caller) {
        Objects.requireNonNull(ak, "ak");
        Objects.requireNonNull(appId, "appId");
        return new Credentials(ak, appId.getBytes(StandardCharsets.UTF_8), caller);
    }

    /**
     * Credentials from a token: HMAC-SHA256 of white-box id and application id under the table library's {@code sk}.
     * They open every table library of that white-box id, application id and {@code sk}.
     *
     * @param token the token, 32 bytes; it is copied
     * @param caller the name of the caller; it, or a text that it is part of, stands in the whitelist
     * @return the credentials
     * @throws IllegalArgumentException if it has another length, or is what {@link WbkitAndr#hmac} answers when memory
     *     runs out: zeros
     */
    @NonNull
    public static Credentials fromToken(@NonNull byte[] token, @NonNull String caller) {
        Objects.requireNonNull(token, "token");
        if (token.length != TOKEN_SIZE || isFailure(token)) {
            throw new IllegalArgumentException("A token has " + TOKEN_SIZE + " bytes, which are not all zero, and this"
                    + " has " + token.length + ": pass the HMAC-SHA256 of wbid and application id under sk.");
        }
        return new Credentials(token, null, caller);
    }

    /** Wipes the access key and all tokens. The table libraries and keys that were opened cannot be used any more. */
    @Override
    public synchronized void destroy() {
        destroyed = true;
        Secrets.wipe(secret);
        Secrets.wipe(tokens.values().toArray(new byte[0][]));
        tokens.clear();
    }

    @Override
    public boolean isDestroyed() {
        return destroyed;
    }

    @Override
    public String toString() {
        return "Credentials";
    }

    /** For the natives, which do not change it. */
    byte[] caller() {
        return caller;
    }

    void requireUsable() {
        if (destroyed) {
            throw new IllegalStateException("The credentials were destroyed. Open the table library with new ones.");
        }
    }

    /** To be called when a native that was given it has ended: it writes back what it took. */
    void settle(byte[] token) {
        if (destroyed) {
            Secrets.wipe(token);
        }
    }

    /** The token for this table library. The array stays ours: it is wiped with the rest. */
    synchronized byte[] tokenFor(TableName name) throws WbkitException {
        requireUsable();
        if (appId == null) {
            return secret;
        }
        byte[] token = tokens.get(name);
        if (token == null) {
            token = makeToken(name);
            tokens.put(name, token);
        }
        return token;
    }

    private byte[] makeToken(TableName name) throws WbkitException {
        byte[] sk = WbkitAndr.getSk(secret, name.wbidBytes, name.version);
        if (sk == null) {
            TableLibraryException problem = TableFiles.problem(name);
            throw problem != null ? problem
                    : new AuthorizationException(name
                            + " does not accept the access key. Pass the ak of its manifest.");
        }
        try {
            byte[] message = Arrays.copyOf(name.wbidBytes, name.wbidBytes.length + appId.length);
            System.arraycopy(appId, 0, message, name.wbidBytes.length, appId.length);
            byte[] token = WbkitAndr.hmac(message, sk);
            if (token == null || isFailure(token)) {
                throw new WbkitException("The token for " + name + " could not be computed for lack of memory. Free"
                        + " some and open the table library again.");
            }
            return token;
        } finally {
            Secrets.wipe(sk);
        }
    }

    /** The native that makes tokens answers with zeros when it fails. */
    private static boolean isFailure(byte[] token) {
        int bits = 0;
        for (byte part : token) {
            bits |= part;
        }
        return bits == 0;
    }
}
