package com.vorlix.quen.wb;

/** The table library does not let the caller in: its access key, its token or its name is not accepted. */
public final class AuthorizationException extends WbkitException {
    private static final long serialVersionUID = 1;

    AuthorizationException(String message) {
        super(message);
    }
}
