package com.vorlix.quen.wb;

/** A table library has no key, or no signing key, of this id. */
public final class UnknownKeyException extends WbkitException {
    private static final long serialVersionUID = 1;

    UnknownKeyException(String message) {
        super(message);
    }
}
