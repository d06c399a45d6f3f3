package com.vorlix.quen.wb;

import java.nio.charset.StandardCharsets;

/** What every native of a table library is presented with: its name, and the caller's token and name. */
final class Access {
    private static final byte[] NOBODY = {};

    final TableName name;
    private final Credentials credentials;
    private final byte[] token;

    Access(TableName name, Credentials credentials) throws WbkitException {
        this.name = name;
        this.credentials = credentials;
        this.token = credentials.tokenFor(name);
    }

    /** Throws if there is no token any more. */
    void requireUsable() {
        credentials.requireUsable();
    }

    boolean isDestroyed() {
        return credentials.isDestroyed();
    }

    /** A native that is presented with the token. */
    interface Native {
        byte[] run(byte[] token);
    }

    /** Runs a native, which may write the token back after it was destroyed. */
    byte[] present(Native call) {
        credentials.requireUsable();
        try {
            return call.run(token);
        } finally {
            credentials.settle(token);
        }
    }

    byte[] caller() {
        return credentials.caller();
    }

    byte[] wbid() {
        return name.wbidBytes;
    }

    int version() {
        return name.version;
    }

    /** An accessor of the natives; they all take the same. */
    interface Accessor {
        byte[] run(byte[] hash, byte[] caller, byte[] wbid, int version);
    }

    /** The text of an accessor, null if the table library has none. */
    String text(Accessor accessor) throws WbkitException {
        byte[] text = present(token -> accessor.run(token, caller(), wbid(), version()));
        if (text == null) {
            WbkitException problem = problem();
            if (problem != null) {
                throw problem;
            }
            return null;
        }
        return new String(text, StandardCharsets.UTF_8);
    }

    /** Why the table library is refused to this caller, found out after a native said so; null if it is not. */
    WbkitException problem() {
        if (present(token -> WbkitAndr.getKeyids(token, caller(), wbid(), version())) != null) {
            return null;
        }
        // Everybody with a token may be nobody.
        if (present(token -> WbkitAndr.getKeyids(token, NOBODY, wbid(), version())) != null) {
            return new AuthorizationException("The whitelist of " + name + " has no caller \""
                    + new String(caller(), StandardCharsets.UTF_8) + "\". Pass a name that is in it, or add this one to"
                    + " the manifest and build the table library again.");
        }
        TableLibraryException problem = TableFiles.problem(name);
        return problem != null ? problem
                : new AuthorizationException(name + " does not accept the token. Pass the application id and the"
                        + " secrets of its manifest; a token is valid for one white-box id and one sk.");
    }

    /** The exception for an operation that was refused for no reason of its own. */
    WbkitException refusal(String operation) {
        WbkitException problem = problem();
        return problem != null ? problem
                : new WbkitException(operation + " was refused by the library. Its log, under the tag VORLIX-WB, has"
                        + " the reason, such as too little memory.");
    }
}
